// The host's shortcuts for the text it handles most (pure ASCII, well-formed UTF-8, a few
// UTF-16 or UTF-32 characters) give exactly what its general conversions give, on random and
// malformed input: string conversion, string data, the text a StyledText keeps, Len and the
// comparison.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "services.h"
#include "simhost/host.h"

namespace {

using namespace simhost_test;
using simhost::Encoding;
using simhost::Host;

const Encoding kEncodings[] = {kREALTextEncodingUTF8,
                               kREALTextEncodingUTF16,
                               kREALTextEncodingUTF16BE,
                               kREALTextEncodingUTF16LE,
                               kREALTextEncodingUTF32,
                               kREALTextEncodingUTF32BE,
                               kREALTextEncodingUTF32LE,
                               kREALTextEncodingASCII,
                               kREALTextEncodingWindowsLatin1,
                               kREALTextEncodingMacRoman,
                               kREALTextEncodingUnknown,
                               0x0502 /* Windows-1251 */,
                               0x0508 /* Windows-1258 */,
                               0x0207 /* ISO 8859-7 */,
                               0x041B /* DOS Russian */,
                               0x0007 /* Mac Cyrillic */,
                               0x0A02 /* KOI8-R */,
                               0x0420 /* Shift_JIS */,
                               0x0423 /* Big5 */,
                               0x0422 /* Korean */,
                               0x0510 /* Johab */,
                               0x0632 /* GB18030 */,
                               0x0940 /* EUC-KR */,
                               0xFFFF0000u | 65001 /* UTF-8 by code page */,
                               0xFFFF0000u | 1200 /* UTF-16 LE by code page */};

// Random bytes that are often, but not always, well-formed in some encoding.
std::string RandomBytes(std::mt19937& rng) {
  static const char* const kPieces[] = {"\xE0\x80\xAF",
                                        "\xE0\xA0\x80",
                                        "\xF0\x80\x80\x80",
                                        "\xF4\x90\x80\x80",
                                        "\xF4\x8F\xBF\xBF",
                                        "\xE1\x80",
                                        "a",
                                        "\r",
                                        "\n",
                                        "\xC3\xA9",
                                        "\xE2\x82\xAC",
                                        "\xF0\x9F\x98\x80",
                                        "\xED\xA0\x80",
                                        "\xC0\xAF",
                                        "\x80",
                                        "\xFF",
                                        "\x00",
                                        "\x3D\xD8",
                                        "\x00\xDC",
                                        "\xD8\x3D\xDE\x00"};
  std::string s;
  const int pieces = static_cast<int>(rng() % 6);
  for (int i = 0; i < pieces; ++i) {
    if (rng() % 3 == 0) {
      s.push_back(static_cast<char>(rng() % 256));
    } else {
      const char* piece = kPieces[rng() % std::size(kPieces)];
      s.append(piece, piece[0] == '\0' ? 1 : std::char_traits<char>::length(piece));
    }
  }
  return s;
}

// The text the general decoding finds in the bytes, as UTF-8 (converting to the bytes' own
// encoding would give them back unchanged, so the way goes through UTF-32).
std::string Decoded(const std::string& bytes, Encoding encoding) {
  const Encoding via =
      encoding == kREALTextEncodingUTF32LE ? kREALTextEncodingUTF32BE : kREALTextEncodingUTF32LE;
  std::optional<std::string> units = Host::Convert(bytes, encoding, via);
  // Without a converter for the encoding (Windows has no GB18030 table) the host reads the
  // bytes as text of an unknown encoding.
  if (!units) units = Host::Convert(bytes, kREALTextEncodingUnknown, via);
  return *Host::Convert(*units, via, kREALTextEncodingUTF8);
}

TEST(FastPaths, ConversionToUTF8MatchesTheGeneralConversion) {
  Host host;
  std::mt19937 rng(7);
  auto convert = Service<ConvertFn>("REALConvertString");
  auto getData = Service<GetStringDataFn>("PluginGetStringData");
  auto dispose = Service<DisposeStringDataFn>("PluginDisposeStringData");
  auto len = Global(kLen);
  for (int i = 0; i < 20000; ++i) {
    const std::string bytes = RandomBytes(rng);
    const Encoding from = kEncodings[rng() % std::size(kEncodings)];
    const Encoding to =
        rng() % 2 ? kREALTextEncodingUTF8 : kEncodings[rng() % std::size(kEncodings)];
    const std::optional<std::string> expected = Host::Convert(bytes, from, to);
    REALstring s = host.NewString(bytes, from);
    REALstring c = convert(s, to);
    ASSERT_EQ(c != nullptr, expected.has_value());
    if (c != nullptr) {
      ASSERT_EQ(host.BytesOf(c), *expected) << i;
      ASSERT_EQ(host.EncodingOf(c), to);
    }
    REALstringData data{};
    ASSERT_EQ(getData(s, to, &data) != 0, expected.has_value());
    if (expected) {
      ASSERT_EQ(std::string(static_cast<const char*>(data.data), data.length), *expected);
      dispose(&data);
    }
    // Len counts the characters the general decoding finds (as text of an unknown encoding
    // where this platform has no converter for the encoding).
    const Encoding utf32 =
        from == kREALTextEncodingUTF32LE ? kREALTextEncodingUTF32BE : kREALTextEncodingUTF32LE;
    std::optional<std::string> characters = Host::Convert(bytes, from, utf32);
    if (!characters) characters = Host::Convert(bytes, kREALTextEncodingUnknown, utf32);
    ASSERT_EQ(len(s), static_cast<RBInteger>(characters->size() / 4)) << i;
    host.Release(c);
    host.Release(s);
  }
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_EQ(host.LiveStringData(), 0u);
}

TEST(FastPaths, AppendedTextIsTheUTF8TheHostReadsIn) {
  Host host;
  std::mt19937 rng(11);
  auto append = Service<LoadObjectMethodFn>("REALLoadObjectMethod");
  auto compare = Service<CompareFn>("RuntimeStringCompare");
  REALobject st = host.NewStyledText();
  auto appendRun = reinterpret_cast<ObjectActionFn>(append(st, kAppendStyleRun));
  std::string expected;
  for (int i = 0; i < 3000; ++i) {
    const std::string bytes = RandomBytes(rng);
    const Encoding encoding = kEncodings[rng() % std::size(kEncodings)];
    REALobject run = host.NewObject("StyleRun");
    REALstring text = host.NewString(bytes, encoding);
    Service<SetStringPropFn>("REALSetPropValueString")(run, "Text", text);
    appendRun(st, run);
    host.Release(run);
    expected += Decoded(bytes, encoding);
    // The bytes compare equal to the UTF-8 of the text they decode to.
    REALstring utf8 = host.NewString(Decoded(bytes, encoding), kREALTextEncodingUTF8);
    ASSERT_EQ(compare(text, utf8), 0) << i;
    host.Release(utf8);
    host.Release(text);
  }
  EXPECT_EQ(host.TextOf(st), expected);
  host.Release(st);
}

TEST(FastPaths, StringsOfEveryShortLengthAndBeyondKeepTheirBytes) {
  Host host;
  auto getString = Service<GetStringPropFn>("REALGetPropValueString");
  auto setString = Service<SetStringPropFn>("REALSetPropValueString");
  auto cString = Service<CStringFn>("StringGetCString");
  auto convert = Service<ConvertFn>("REALConvertString");
  REALobject run = host.NewObject("StyleRun");
  // Lengths around the in-place limit, set in growing and then shrinking order on the same
  // StyleRun, each read back, converted and checked for its terminating zero.
  std::vector<size_t> lengths;
  for (size_t n = 0; n <= 70; ++n) lengths.push_back(n);
  for (size_t n = 70; n-- > 0;) lengths.push_back(n);
  for (size_t n : lengths) {
    std::string bytes;
    for (size_t k = 0; k < n; ++k) bytes.push_back(static_cast<char>('a' + (n + k) % 26));
    REALstring s = host.NewString(bytes, kREALTextEncodingUTF8);
    ASSERT_EQ(std::string(static_cast<const char*>(cString(s))), bytes);
    ASSERT_TRUE(setString(run, "Text", s));
    ASSERT_TRUE(setString(run, "Font", s));
    REALstring text = nullptr, font = nullptr;
    ASSERT_TRUE(getString(run, "Text", &text));
    ASSERT_TRUE(getString(run, "Font", &font));
    EXPECT_EQ(host.BytesOf(text), bytes) << n;
    EXPECT_EQ(host.BytesOf(font), bytes) << n;
    REALstring utf16 = convert(s, kREALTextEncodingUTF16);
    REALstring back = convert(utf16, kREALTextEncodingUTF8);
    EXPECT_EQ(host.BytesOf(back), bytes) << n;
    for (REALstring r : {s, text, font, utf16, back}) host.Release(r);
  }
  host.Release(run);
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_EQ(host.Misuses(), 0u);
}

TEST(FastPaths, ComparisonFoldsCaseTheSameWayEverywhere) {
  Host host;
  auto compare = Service<CompareFn>("RuntimeStringCompare");
  struct Case {
    std::string a;
    Encoding ea;
    std::string b;
    Encoding eb;
    int expected;
  };
  const Case cases[] = {
      {"Arial", kREALTextEncodingUTF8, "ARIAL", kREALTextEncodingASCII, 0},
      {"Arial", kREALTextEncodingUTF8, "Arial Black", kREALTextEncodingUTF8, -1},
      {"\xC3\x89lan", kREALTextEncodingUTF8, "\xE9LAN", kREALTextEncodingISOLatin1, 0},
      {"b", kREALTextEncodingUTF8, "A", kREALTextEncodingWindowsLatin1, 1},
      {"\xCE\xA3", kREALTextEncodingUTF8, "\xCF\x83", kREALTextEncodingUTF8, 0},
      {"abc\x80", kREALTextEncodingUTF8, "ABC\xEF\xBF\xBD", kREALTextEncodingUTF8, 0},
      {"", kREALTextEncodingUTF8, "", kREALTextEncodingUTF16, 0},
  };
  for (const Case& c : cases) {
    REALstring a = host.NewString(c.a, c.ea);
    REALstring b = host.NewString(c.b, c.eb);
    EXPECT_EQ(compare(a, b), c.expected) << c.a << " / " << c.b;
    EXPECT_EQ(compare(b, a), -c.expected) << c.b << " / " << c.a;
    host.Release(a);
    host.Release(b);
  }
}

}  // namespace
