// Conversions of the simulated host between its text encodings, including the encodings that
// glibc lacks and the host replaces by documented approximations.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <string>

#include "simhost/host.h"

namespace {

using simhost::Host;

constexpr uint32_t kUTF8 = kREALTextEncodingUTF8;

// UTF-8 of bytes in an encoding ("<failed>" when the host refuses the encoding).
std::string U8(const std::string& bytes, uint32_t encoding) {
  return Host::Convert(bytes, encoding, kUTF8).value_or("<failed>");
}

// Bytes in an encoding of UTF-8 text.
std::string To(const std::string& utf8, uint32_t encoding) {
  return Host::Convert(utf8, kUTF8, encoding).value_or("<failed>");
}

TEST(SimhostEncodings, UnicodeFormsInBothByteOrders) {
  const std::string text = "A\u00E9\U0001F600";  // A, e acute, an emoji (a surrogate pair)
  EXPECT_EQ(To(text, kREALTextEncodingUTF16BE), std::string("\x00\x41\x00\xE9\xD8\x3D\xDE\x00", 8));
  EXPECT_EQ(To(text, kREALTextEncodingUTF16LE), std::string("\x41\x00\xE9\x00\x3D\xD8\x00\xDE", 8));
  EXPECT_EQ(To(text, kREALTextEncodingUTF32BE),
            std::string("\0\0\0\x41\0\0\0\xE9\0\x01\xF6\x00", 12));
  EXPECT_EQ(To(text, kREALTextEncodingUTF32LE),
            std::string("\x41\0\0\0\xE9\0\0\0\x00\xF6\x01\0", 12));
  // The native forms use the machine's byte order.
  const bool little = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
  EXPECT_EQ(To(text, kREALTextEncodingUTF16),
            To(text, little ? kREALTextEncodingUTF16LE : kREALTextEncodingUTF16BE));
  EXPECT_EQ(To(text, kREALTextEncodingUTF32),
            To(text, little ? kREALTextEncodingUTF32LE : kREALTextEncodingUTF32BE));
  for (uint32_t e : {kREALTextEncodingUTF16, kREALTextEncodingUTF16BE, kREALTextEncodingUTF16LE,
                     kREALTextEncodingUTF32, kREALTextEncodingUTF32BE, kREALTextEncodingUTF32LE}) {
    EXPECT_EQ(U8(To(text, e), e), text) << e;
  }
  // No byte-order mark is written or interpreted.
  EXPECT_EQ(U8(std::string("\xFE\xFF\x00\x41", 4), kREALTextEncodingUTF16BE),
            "\uFEFF"
            "A");
}

// UTF-8 read as characters and written again.
std::string Reencoded(const std::string& utf8) {
  return U8(To(utf8, kREALTextEncodingUTF32LE), kREALTextEncodingUTF32LE);
}

TEST(SimhostEncodings, IllFormedInputBecomesReplacementCharacters) {
  const std::string r = "\uFFFD";
  EXPECT_EQ(Reencoded("a\xC3"), "a" + r);
  EXPECT_EQ(Reencoded("\xE2\x82z"), r + "z");              // one truncated sequence
  EXPECT_EQ(Reencoded("\xED\xA0\x80"), r + r + r);         // an encoded surrogate
  EXPECT_EQ(Reencoded("\xC0\xAF"), r + r);                 // an overlong form
  EXPECT_EQ(Reencoded("\xF0\x9F\x98\x80"), "\U0001F600");  // well formed: unchanged
  EXPECT_EQ(U8(std::string("\x00\xD8\x41\x00", 4), kREALTextEncodingUTF16LE), r + "A");
  EXPECT_EQ(U8(std::string("\x41\x00\x42", 3), kREALTextEncodingUTF16LE), "A" + r);
  EXPECT_EQ(U8(std::string("\x00\x00\x11\x00", 4), kREALTextEncodingUTF32LE), r);
  EXPECT_EQ(U8("\x80", kREALTextEncodingASCII), r);
  EXPECT_EQ(U8("\x81", kREALTextEncodingWindowsLatin1), r);  // undefined in Windows-1252
}

TEST(SimhostEncodings, UnencodableCharactersBecomeQuestionMarks) {
  EXPECT_EQ(To("caf\u00E9", kREALTextEncodingASCII), "caf?");
  EXPECT_EQ(To("\u20AC1", kREALTextEncodingISOLatin1), "?1");
}

TEST(SimhostEncodings, SingleByteEncodings) {
  EXPECT_EQ(U8("Caf\xE9", kREALTextEncodingISOLatin1), "Caf\u00E9");
  EXPECT_EQ(U8("\x80", kREALTextEncodingWindowsLatin1), "\u20AC");
  EXPECT_EQ(U8("\x8E\xDB", kREALTextEncodingMacRoman), "\u00E9\u20AC");
  // Mac Roman as current macOS has it: increment sign and the Apple logo.
  EXPECT_EQ(U8("\xC6\xF0", kREALTextEncodingMacRoman), "\u2206\uF8FF");
  EXPECT_EQ(To("\u2206", kREALTextEncodingMacRoman), "\xC6");
  EXPECT_EQ(U8("\x84", 0x001D), "\u0104");            // Mac Central European
  EXPECT_EQ(U8("\x80\xFF", 0x0007), "\u0410\u20AC");  // Mac Cyrillic with the euro sign
  EXPECT_EQ(U8("\x82", 0x0400), "\u00E9");            // DOS Latin US
  EXPECT_EQ(U8("\xA5", 0x0412), "\u0105");            // DOS Latin 2
  EXPECT_EQ(U8("\x80", 0x041B), "\u0410");            // DOS Russian
  EXPECT_EQ(U8("\x80", 0x0405), "\u0391");            // DOS Greek
  EXPECT_EQ(U8("\x80", 0x0406), "\u0106");            // DOS Baltic
  EXPECT_EQ(U8("\xA1", 0x041D), "\u0E01");            // Thai
  EXPECT_EQ(U8("\x8A", 0x0501), "\u0160");            // Windows-1250
  EXPECT_EQ(U8("\xC0", 0x0502), "\u0410");            // Windows-1251
  EXPECT_EQ(U8("\xC1", 0x0503), "\u0391");            // Windows-1253
  EXPECT_EQ(U8("\xD0", 0x0504), "\u011E");            // Windows-1254
  EXPECT_EQ(U8("\xE0", 0x0505), "\u05D0");            // Windows-1255
  EXPECT_EQ(U8("\xC7", 0x0506), "\u0627");            // Windows-1256
  EXPECT_EQ(U8("\xC0", 0x0507), "\u0104");            // Windows-1257
  EXPECT_EQ(U8("\xC3", 0x0508), "\u0102");            // Windows-1258
}

TEST(SimhostEncodings, Windows1258KeepsCombiningMarksSeparate) {
  // glibc's converter would compose "a" + combining grave into one character; the host reads
  // byte by byte as Windows does.
  EXPECT_EQ(U8("a\xCC", 0x0508), "a\u0300");
  EXPECT_EQ(To("a\u0300", 0x0508), "a\xCC");
}

TEST(SimhostEncodings, MultiByteEncodings) {
  EXPECT_EQ(U8("\x82\xA0", 0x0420), "\u3042");  // CP932
  EXPECT_EQ(U8("\xC4\xE3", 0x0421), "\u4F60");  // CP936
  EXPECT_EQ(U8("\xB0\xA1", 0x0422), "\uAC00");  // CP949
  EXPECT_EQ(U8("\xA4\x40", 0x0423), "\u4E00");  // CP950
  EXPECT_EQ(U8("\x88\x61", 0x0510), "\uAC00");  // Johab
  EXPECT_EQ(To("\u3042", 0x0420), "\x82\xA0");
  EXPECT_EQ(To("\uAC00", 0x0510), "\x88\x61");
  // A bad byte is replaced and the rest still decodes; a cut-off sequence ends in U+FFFD.
  EXPECT_EQ(U8("\xFDz\x82\xA0", 0x0420), "\uFFFDz\u3042");
  EXPECT_EQ(U8("a\x82", 0x0420), "a\uFFFD");
  EXPECT_EQ(To("\u0E01a", 0x0420), "?a");  // Thai has no Shift-JIS form
}

TEST(SimhostEncodings, UndecodableKoreanPairIsOneReplacement) {
  // glibc's CP949 refuses A2 E8 only after stepping over it; the pair still counts as one bad
  // sequence, wherever it stands.
  EXPECT_EQ(U8("\xA2\xE8", 0x0422), "\uFFFD");
  EXPECT_EQ(U8("\xA2\xE8\x41", 0x0422), "\uFFFD\x41");
  EXPECT_EQ(U8("a\xA2\xE8\xFF\xB0\xA1", 0x0422), "a\uFFFD\uFFFD\uAC00");
  EXPECT_EQ(U8("\xA2\xE8\xA2\xE8", 0x0003), "\uFFFD\uFFFD");
}

TEST(SimhostEncodings, MacJapaneseIsShiftJisWithAppleSingleBytes) {
  EXPECT_EQ(U8("\x82\xA0", 0x0001), "\u3042");
  EXPECT_EQ(U8("\xA0\xFD\xFE\xFF", 0x0001), "\u00A0\u00A9\u2122\u2026");
  EXPECT_EQ(U8("\x80", 0x0001), "\\");
  EXPECT_EQ(To("\u00A9\u3042\u2122", 0x0001), "\xFD\x82\xA0\xFE");
  EXPECT_EQ(To("\\", 0x0001), "\\");
}

TEST(SimhostEncodings, MacTurkishIsMacRomanWithTurkishLetters) {
  EXPECT_EQ(U8("\xDA\xDB\xDC\xDD\xDE\xDF", 0x0023), "\u011E\u011F\u0130\u0131\u015E\u015F");
  EXPECT_EQ(U8("\x8E\xF5", 0x0023), "\u00E9\uF8A0");  // the rest as Mac Roman; 0xF5 undefined
  EXPECT_EQ(To("\u011E\u0131\u00E9", 0x0023), "\xDA\xDD\x8E");
  EXPECT_EQ(To("\u20AC", 0x0023), "?");  // Mac Roman's euro position holds a Turkish letter
}

TEST(SimhostEncodings, MacGreekAndArabicUseEmbeddedTables) {
  EXPECT_EQ(U8("\xA1\xE1\xE2", 0x0006), "\u0393\u03B1\u03B2");
  EXPECT_EQ(To("\u03A9\u03C9", 0x0006), "\xBF\xF6");
  EXPECT_EQ(U8("\xC7\xB0", 0x0004), "\u0627\u0660");
  // Mac Arabic repeats ASCII punctuation in its upper half; encoding prefers the ASCII byte.
  EXPECT_EQ(U8("\xA0", 0x0004), " ");
  EXPECT_EQ(To(" (", 0x0004), " (");
}

TEST(SimhostEncodings, MacHebrewIsApproximatedByWindowsHebrew) {
  EXPECT_EQ(U8("\xE0\xFA", 0x0005), "\u05D0\u05EA");
  EXPECT_EQ(Host::Convert("\xE0", 0x0005, kUTF8), Host::Convert("\xE0", 0x0505, kUTF8));
}

TEST(SimhostEncodings, UnknownEncodingReadsAsWindowsLatin1WithEveryByteDefined) {
  EXPECT_EQ(U8("\x80\xE9", kREALTextEncodingUnknown), "\u20AC\u00E9");
  EXPECT_EQ(U8("\x81\x8D\x8F\x90\x9D", kREALTextEncodingUnknown), "\u0081\u008D\u008F\u0090\u009D");
  EXPECT_EQ(To("\u20AC\u0081", kREALTextEncodingUnknown), "\x80\x81");
}

TEST(SimhostEncodings, WindowsCodePageNumberingIsAccepted) {
  EXPECT_EQ(U8("\x80", 0xFFFF0000u | 1252), "\u20AC");
  EXPECT_EQ(U8("\x82\xA0", 0xFFFF0000u | 932), "\u3042");
  EXPECT_EQ(U8("\xC3\xA9", 0xFFFF0000u | 65001), "\u00E9");
  EXPECT_EQ(U8(std::string("\xE9\x00", 2), 0xFFFF0000u | 1200), "\u00E9");
  EXPECT_FALSE(Host::Convert("a", 0xFFFF0000u | 4242, kUTF8).has_value());
}

TEST(SimhostEncodings, UnknownEncodingValuesFail) {
  EXPECT_FALSE(Host::Convert("a", 0x12345, kUTF8).has_value());
  EXPECT_FALSE(Host::Convert("a", kUTF8, 0x0BAD).has_value());
}

TEST(SimhostEncodings, SameEncodingKeepsTheBytes) {
  // Nothing to convert, so nothing is checked either.
  EXPECT_EQ(Host::Convert("\xFF\xFE", kUTF8, kUTF8), std::string("\xFF\xFE"));
  EXPECT_EQ(Host::Convert("\xFF\xFE", kUTF8, kREALTextEncodingUTF16BE),
            std::string("\xFF\xFD\xFF\xFD", 4));
}

TEST(SimhostEncodings, EveryListedEncodingRoundTripsText) {
  const uint32_t encodings[] = {
      0x0000,     0x0001,     0x0004,     0x0005,    0x0006, 0x0007, 0x001D, 0x0023,     0x0100,
      0x0201,     0x0400,     0x0405,     0x0406,    0x0410, 0x0411, 0x0412, 0x0413,     0x0414,
      0x0415,     0x0416,     0x0417,     0x0418,    0x0419, 0x041A, 0x041B, 0x041C,     0x041D,
      0x0420,     0x0421,     0x0422,     0x0423,    0x0500, 0x0501, 0x0502, 0x0503,     0x0504,
      0x0505,     0x0506,     0x0507,     0x0508,    0x0510, 0x0600, 0xFFFF, 0x08000100, 0x0C000100,
      0x10000100, 0x14000100, 0x18000100, 0x1C000100};
  const std::string text = "Hello, world!\r\n0123456789 {}[]\\";
  for (uint32_t e : encodings) {
    std::optional<std::string> bytes = Host::Convert(text, kUTF8, e);
    ASSERT_TRUE(bytes.has_value()) << std::hex << e;
    EXPECT_EQ(Host::Convert(*bytes, e, kUTF8), text) << std::hex << e;
  }
}

#ifndef _WIN32
// Windows has no iconv: the host converts through its own tables there, so there is no missing
// converter to stop on (and no file limit to provoke one with).

// A C library without the converter of a known encoding (the target's gconv modules missing)
// stops the host with a message, also while standard error is being captured into the log,
// rather than give empty text. Here no further file can be opened, so glibc finds no module.
TEST(SimhostEncodingsDeathTest, MissingConverterStopsTheHostWithAMessage) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, no converter opened yet
  EXPECT_DEATH(
      {
        Host host;
        host.BeginLogCapture();
        const int lowestFree = dup(0);
        close(lowestFree);
        rlimit files{};
        getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = static_cast<rlim_t>(lowestFree);
        setrlimit(RLIMIT_NOFILE, &files);
        Host::Convert("caf\xE9", kREALTextEncodingWindowsLatin1, kUTF8);
      },
      "simhost: no converter from CP1252 to UTF-32LE .*gconv modules");
}
#endif  // _WIN32

}  // namespace
