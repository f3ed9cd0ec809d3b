// Reading host strings: raw bytes, UTF-8 and UTF-16 views, the ASCII fast path, unknown
// encodings and the UTF-8 decoder.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "frame/host_contract.h"
#include "bridge/host_string_read.h"
#include "bridge_fixture.h"

namespace {

using namespace bridge_test;  // the fixture, the host and its log helpers

std::vector<uint16_t> UnitsOf(rbText& text) {
  const uint16_t* units = text.UTF16();
  return std::vector<uint16_t>(units, units + text.UTF16Length());
}

// Decodes exactly the given bytes from a buffer of exactly their size, so that a read past the
// end shows up under AddressSanitizer.
std::vector<uint16_t> Decode(const std::string& bytes, std::vector<std::string>* log = nullptr,
                             simhost::Host* host = nullptr) {
  std::vector<uint8_t> input(bytes.begin(), bytes.end());
  std::vector<uint16_t> out(bytes.size() + 1, 0xAAAA);
  int64_t written = 0;
  auto run = [&] {
    written = DecodeUTF8(input.data(), static_cast<int64_t>(input.size()), out.data());
  };
  if (log != nullptr) {
    *log = LogOf(*host, run);
  } else {
    run();
  }
  EXPECT_EQ(out[written], 0) << "terminator after the units";
  return std::vector<uint16_t>(out.begin(), out.begin() + written);
}

using Units = std::vector<uint16_t>;

TEST_F(BridgeTest, NullStringGivesEmptyViews) {
  rbText text(nullptr);
  EXPECT_EQ(text.UTF8Length(), 0);
  EXPECT_STREQ(text.UTF8(), "");
  EXPECT_EQ(text.UTF16Length(), 0);
  EXPECT_EQ(text.UTF16()[0], 0);
  EXPECT_EQ(text.state, rbText::kPureASCII);
  EXPECT_EQ(host.AllCalls().size(), 0u) << "a null string never reaches the host";

  rbData data(nullptr);
  EXPECT_EQ(data.data, nullptr);
  EXPECT_EQ(data.length, 0);
}

TEST_F(BridgeTest, CafeInUTF8GivesFourUTF16Units) {
  REALstring s = host.NewStringUTF8("Caf\xC3\xA9");
  {
    rbText text(s);
    EXPECT_EQ(UnitsOf(text), (Units{0x0043, 0x0061, 0x0066, 0x00E9}));
    EXPECT_EQ(text.UTF16()[4], 0) << "zero-terminated";
    EXPECT_EQ(std::string(text.UTF8(), text.UTF8Length()), "Caf\xC3\xA9");
    EXPECT_EQ(text.state, rbText::kNotASCII);
    EXPECT_EQ(host.RefCount(s), 2) << "locked while the reader lives";
  }
  EXPECT_EQ(host.RefCount(s), 1);
  EXPECT_EQ(host.LiveStringData(), 0u);
  host.Release(s);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(BridgeTest, UTF8ToUTF16ConversionIsLogged) {
  REALstring s = host.NewStringUTF8("\xC3\xA9t\xC3\xA9");
  std::vector<std::string> log = LogOf(host, [&] {
    rbText text(s);
    EXPECT_EQ(UnitsOf(text), (Units{0xE9, 't', 0xE9}));
  });
  EXPECT_EQ(log, std::vector<std::string>{Line("Try UTF8 to UTF16 conversion...")});
  host.Release(s);
}

TEST_F(BridgeTest, FourByteSequenceBecomesSurrogatePair) {
  REALstring s = host.NewStringUTF8("\xF0\x9F\x98\x80");
  {
    rbText text(s);
    EXPECT_EQ(UnitsOf(text), (Units{0xD83D, 0xDE00}));
  }
  host.Release(s);
}

TEST_F(BridgeTest, UTF8ByteOrderMarkVanishesInUTF16View) {
  REALstring s = host.NewStringUTF8(
      "\xEF\xBB\xBF"
      "abc\xC3\xA9");
  {
    rbText text(s);
    EXPECT_EQ(UnitsOf(text), (Units{'a', 'b', 'c', 0xE9}));
  }
  host.Release(s);
}

TEST_F(BridgeTest, DecoderRejectsEncodedSurrogateAtOffsetZero) {
  std::vector<std::string> log;
  EXPECT_EQ(Decode("\xED\xA0\x80", &log, &host), Units{});
  EXPECT_EQ(log, std::vector<std::string>{Line("Illegal UTF-8 sequence! 0")});
}

TEST_F(BridgeTest, DecoderKeepsUnitsBeforeAnIllegalSequence) {
  std::vector<std::string> log;
  EXPECT_EQ(Decode("ab\xC3\xA9\xC0\xAFzz", &log, &host), (Units{'a', 'b', 0xE9}));
  EXPECT_EQ(log, std::vector<std::string>{Line("Illegal UTF-8 sequence! 4")});
}

TEST_F(BridgeTest, DecoderNeverReadsPastTheEnd) {
  // Truncated sequences at the very end stop the decoder at their lead byte.
  std::vector<std::string> log;
  EXPECT_EQ(Decode("a\xE2\x82", &log, &host), Units{'a'});
  EXPECT_EQ(log, std::vector<std::string>{Line("Illegal UTF-8 sequence! 1")});
  EXPECT_EQ(Decode("\xF0\x9F\x98", &log, &host), Units{});
  EXPECT_EQ(log, std::vector<std::string>{Line("Illegal UTF-8 sequence! 0")});
  EXPECT_EQ(Decode("xy\xC3", &log, &host), (Units{'x', 'y'}));
  EXPECT_EQ(log, std::vector<std::string>{Line("Illegal UTF-8 sequence! 2")});
  // A complete final sequence is decoded.
  EXPECT_EQ(Decode("a\xE2\x82\xAC", &log, &host), (Units{'a', 0x20AC}));
  EXPECT_TRUE(log.empty());
}

TEST_F(BridgeTest, DecoderChecksEveryLegalityRule) {
  // Continuation bytes out of range, overlong forms, beyond U+10FFFF, five- and six-byte leads.
  for (const char* bad : {"\xC3\x28", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
                          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80",
                          "\xFC\x84\x80\x80\x80\x80", "\x80", "\xBF", "\xE2\x28\xA1"}) {
    std::vector<std::string> log;
    EXPECT_EQ(Decode(bad, &log, &host), Units{}) << bad;
    EXPECT_EQ(log, std::vector<std::string>{Line("Illegal UTF-8 sequence! 0")}) << bad;
  }
  // The edges that are legal.
  EXPECT_EQ(Decode("\xE0\xA0\x80"), Units{0x0800});
  EXPECT_EQ(Decode("\xED\x9F\xBF"), Units{0xD7FF});
  EXPECT_EQ(Decode("\xF0\x90\x80\x80"), (Units{0xD800, 0xDC00}));
  EXPECT_EQ(Decode("\xF4\x8F\xBF\xBF"), (Units{0xDBFF, 0xDFFF}));
  EXPECT_EQ(Decode("\xC2\x80"), Units{0x0080});
}

TEST_F(BridgeTest, DecoderDropsByteOrderMarksAndNonCharacterFFFE) {
  EXPECT_EQ(Decode("a\xEF\xBB\xBF"
                   "b\xEF\xBF\xBE"
                   "c"),
            (Units{'a', 'b', 'c'}));
  EXPECT_EQ(Decode("\xEF\xBF\xBF"), Units{0xFFFF});
  EXPECT_EQ(Decode(std::string("a\0b", 3)), (Units{'a', 0, 'b'}));
}

TEST_F(BridgeTest, DecoderTablesAreTheStandardOnes) {
  EXPECT_EQ(UTF8_TRAILING_BYTES[0x00], 0);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xBF], 0);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xC0], 1);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xDF], 1);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xE0], 2);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xEF], 2);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xF0], 3);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xF7], 3);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xF8], 4);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xFB], 4);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xFC], 5);
  EXPECT_EQ(UTF8_TRAILING_BYTES[0xFF], 5);
  EXPECT_EQ(UTF8_OFFSETS[0], 0x00000000u);
  EXPECT_EQ(UTF8_OFFSETS[1], 0x00003080u);
  EXPECT_EQ(UTF8_OFFSETS[2], 0x000E2080u);
  EXPECT_EQ(UTF8_OFFSETS[3], 0x03C82080u);
  EXPECT_EQ(UTF8_OFFSETS[4], 0xFA082080u);
  EXPECT_EQ(UTF8_OFFSETS[5], 0x82082080u);
}

TEST_F(BridgeTest, PureASCIIUsesTheHostsOwnBytes) {
  REALstring s = host.NewStringUTF8("plain text");
  host.ResetCounters();
  {
    rbText text(s);
    EXPECT_EQ(std::string(text.UTF8()), "plain text");
    EXPECT_EQ(text.UTF8Length(), 10);
    EXPECT_EQ(text.state, rbText::kPureASCII);
    int64_t length = 0;
    EXPECT_EQ(text.UTF8(), REALGetStringContents(s, &length)) << "no copy";
    EXPECT_EQ(text.views[rbText::kUTF8], text.views[rbText::kBytes]);
    EXPECT_EQ(UnitsOf(text), (Units{'p', 'l', 'a', 'i', 'n', ' ', 't', 'e', 'x', 't'}));
  }
  EXPECT_EQ(host.Calls("PluginGetStringData"), 0u) << "nothing converted";
  host.Release(s);
}

TEST_F(BridgeTest, ASCIIInEveryCompatibleEncodingTakesTheFastPath) {
  for (uint32_t encoding :
       {kREALTextEncodingMacRoman, kREALTextEncodingISOLatin1, kREALTextEncodingWindowsLatin1,
        kREALTextEncodingASCII, kREALTextEncodingUTF8}) {
    REALstring s = host.NewString("abc", encoding);
    host.ResetCounters();
    {
      rbText text(s);
      EXPECT_EQ(text.state, rbText::kUnchecked) << encoding;
      EXPECT_STREQ(text.UTF8(), "abc");
      EXPECT_EQ(text.state, rbText::kPureASCII);
      EXPECT_EQ(text.encoding, encoding);
    }
    EXPECT_EQ(host.Calls("PluginGetStringData"), 0u) << encoding;
    host.Release(s);
  }
}

// The strings a StyledText's runs may hold: held as UTF-8 or not, pure ASCII or not, empty.
std::vector<REALstring> AssortedStrings(simhost::Host& host) {
  const uint16_t units[] = {0x0041, 0x00E9};
  return {host.NewStringUTF8("Arial"),
          host.NewStringUTF8("Gr\xC3\xBC\xC3\x9F"
                             "e"),
          host.NewStringUTF8(""),
          host.NewStringUTF8("a {braced} line\r\n"),
          host.NewString("caf\xE9", kREALTextEncodingWindowsLatin1),
          host.NewString("abc", kREALTextEncodingMacRoman),
          host.NewString(std::string(reinterpret_cast<const char*>(units), sizeof units),
                         kREALTextEncodingUTF16),
          host.NewString("plain", kREALTextEncodingUnknown),
          host.NewString("\xE9t\xE9", kREALTextEncodingUnknown),
          nullptr};
}

TEST_F(BridgeTest, UTF8ViewWithoutAReaderMatchesTheReader) {
  const std::vector<REALstring> strings = AssortedStrings(host);
  // Every service is found first, so the counts below hold no one-time lookups.
  for (REALstring s : strings) {
    rbText text(s);
    text.UTF8();
  }
  for (REALstring s : strings) {
    std::string expected;
    host.ResetCounters();
    const Log expectedLog = LogOf(host, [&] {
      rbText text(s);
      expected.assign(text.UTF8(), static_cast<size_t>(text.UTF8Length()));
    });
    const auto expectedCalls = host.AllCalls();

    std::string seen = "unset";
    host.ResetCounters();
    const Log log = LogOf(host, [&] {
      const UTF8View view(s);
      seen.assign(view.data(), static_cast<size_t>(view.length()));
      EXPECT_EQ(view.data()[view.length()], 0) << "zero-terminated";
    });
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(host.AllCalls(), expectedCalls) << expected;
    EXPECT_EQ(log, expectedLog) << expected;

    // The same through the services taken from the wrappers' cache, all found by now.
    CachedStringServices cached;
    ASSERT_TRUE(cached.Take());
    seen = "unset";
    host.ResetCounters();
    const Log cachedLog = LogOf(host, [&] {
      const UTF8View view(cached, s);
      seen.assign(view.data(), static_cast<size_t>(view.length()));
    });
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(host.AllCalls(), expectedCalls) << expected;
    EXPECT_EQ(cachedLog, expectedLog) << expected;
    if (s != nullptr) {
      EXPECT_EQ(host.RefCount(s), 1) << "every lock given back";
      host.Release(s);
    }
  }
  EXPECT_EQ(host.LiveStringData(), 0u);
  EXPECT_EQ(host.Misuses(), 0u);
}

TEST_F(BridgeTest, ReaderTakesOverWhereTheFirstCallsStopped) {
  for (REALstring s : AssortedStrings(host)) {
    {
      rbText whole(s);
      whole.CheckASCII();
      const int held = s != nullptr ? host.RefCount(s) : 0;
      host.ResetCounters();
      {
        const TextStart start = StartReading(s);
        rbText text(start);
        text.CheckASCII();
        EXPECT_EQ(text.state, whole.state);
        EXPECT_EQ(text.encoding, whole.encoding);
        EXPECT_EQ(text.lengths[rbText::kBytes], whole.lengths[rbText::kBytes]);
        EXPECT_EQ(text.views[rbText::kBytes], whole.views[rbText::kBytes]);
        EXPECT_STREQ(text.UTF8(), whole.UTF8());
        EXPECT_EQ(UnitsOf(text), UnitsOf(whole));
      }
      if (s == nullptr) {
        EXPECT_EQ(host.AllCalls().size(), 0u) << "a null string never reaches the host";
        continue;
      }
      EXPECT_EQ(host.RefCount(s), held) << "every lock of the second reading given back";
      EXPECT_GE(host.Calls("REALGetStringEncoding"), 1u);
    }
    host.Release(s);
  }
  EXPECT_EQ(host.LiveStringData(), 0u);
  EXPECT_EQ(host.Misuses(), 0u);
}

TEST_F(BridgeTest, EncodingsSortIntoStates) {
  struct Case {
    uint32_t encoding;
    uint32_t state;
  };
  for (Case c : {Case{kREALTextEncodingUTF16, rbText::kNotASCII},
                 Case{kREALTextEncodingUTF32, rbText::kNotASCII},
                 Case{kREALTextEncodingUTF16BE, rbText::kNotASCII},
                 Case{kREALTextEncodingUTF16LE, rbText::kNotASCII},
                 Case{kREALTextEncodingUTF32BE, rbText::kNotASCII},
                 Case{kREALTextEncodingUTF32LE, rbText::kNotASCII},
                 Case{0x0400, rbText::kNotCheckable}, Case{0x0504, rbText::kNotCheckable}}) {
    REALstring s = host.NewString(std::string(8, '\0'), c.encoding);
    {
      rbText text(s);
      EXPECT_EQ(text.state, c.state) << c.encoding;
      EXPECT_EQ(text.encoding, c.encoding);
      for (int v = 0; v < rbText::kViews; ++v) EXPECT_EQ(text.lengths[v], -1);
    }
    host.Release(s);
  }
}

TEST_F(BridgeTest, TextOutsideASCIIIsConvertedByTheHost) {
  // Windows Latin 1 "café" and DOS Latin US "é" (0x82) come back as UTF-8.
  REALstring latin = host.NewString("caf\xE9", kREALTextEncodingWindowsLatin1);
  REALstring dos = host.NewString("\x82", 0x0400);
  {
    rbText text(latin);
    EXPECT_STREQ(text.UTF8(), "caf\xC3\xA9");
    EXPECT_EQ(UnitsOf(text), (Units{'c', 'a', 'f', 0xE9}));
    rbText dosText(dos);
    EXPECT_STREQ(dosText.UTF8(), "\xC3\xA9");
    EXPECT_EQ(host.LiveStringData(), 3u) << "records held while the readers live";
  }
  EXPECT_EQ(host.LiveStringData(), 0u);
  host.Release(latin);
  host.Release(dos);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(BridgeTest, HostUTF16ComesBackAsUTF8AndUnits) {
  const uint16_t units[] = {0x0048, 0x00E9, 0xD83D, 0xDE00};
  REALstring s = host.NewString(std::string(reinterpret_cast<const char*>(units), sizeof units),
                                kREALTextEncodingUTF16);
  {
    rbText text(s);
    EXPECT_EQ(UnitsOf(text), (Units{0x0048, 0x00E9, 0xD83D, 0xDE00}));
    EXPECT_STREQ(text.UTF8(), "H\xC3\xA9\xF0\x9F\x98\x80");
  }
  host.Release(s);
}

TEST_F(BridgeTest, SwappedUTF16IsSwappedBackAndItsMarkDropped) {
  // The bytes of a byte-order mark and "AB" in the other byte order: the first unit reads 0xFFFE.
  const uint16_t swapped[] = {0xFFFE, 0x4100, 0x4200};
  REALstring s = host.NewString(std::string(reinterpret_cast<const char*>(swapped), sizeof swapped),
                                kREALTextEncodingUTF16);
  std::vector<std::string> log = LogOf(host, [&] {
    rbText text(s);
    EXPECT_EQ(UnitsOf(text), (Units{'A', 'B'}));
    EXPECT_EQ(text.UTF16()[2], 0);
  });
  EXPECT_EQ(log, std::vector<std::string>{Line("String is Little Endian. Swap.")});
  host.Release(s);
}

TEST_F(BridgeTest, LeadingByteOrderMarkOfUTF16IsDropped) {
  const uint16_t marked[] = {0xFEFF, 0xFFFE, 'x'};
  REALstring s = host.NewString(std::string(reinterpret_cast<const char*>(marked), sizeof marked),
                                kREALTextEncodingUTF16);
  {
    rbText text(s);
    EXPECT_EQ(UnitsOf(text), Units{'x'}) << "the mark and a following swapped mark both go";
  }
  host.Release(s);
}

TEST_F(BridgeTest, UnknownEncodingWithOnlyASCIIKeepsItsHandle) {
  REALstring s = host.NewString("just ascii", kREALTextEncodingUnknown);
  host.ResetCounters();
  std::vector<std::string> log = LogOf(host, [&] {
    rbText text(s);
    EXPECT_EQ(text.string, s);
    EXPECT_EQ(text.state, rbText::kPureASCII);
    EXPECT_EQ(text.encoding, kREALTextEncodingUnknown);
    EXPECT_FALSE(text.conversionFailed);
    EXPECT_STREQ(text.UTF8(), "just ascii");
  });
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(host.Calls("REALBuildStringWithEncoding"), 0u);
  host.Release(s);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(BridgeTest, UnknownEncodingWithHighBytesIsRebuiltAsMacRoman) {
  // 0xE9 is "È" in Mac Roman.
  REALstring s = host.NewString("\xE9t\xE9", kREALTextEncodingUnknown);
  std::vector<std::string> log = LogOf(host, [&] {
    rbText text(s);
    EXPECT_NE(text.string, s);
    EXPECT_EQ(text.encoding, kREALTextEncodingMacRoman);
    EXPECT_EQ(host.EncodingOf(text.string), kREALTextEncodingMacRoman);
    EXPECT_EQ(text.state, rbText::kNotASCII);
    EXPECT_TRUE(text.conversionFailed);
    EXPECT_EQ(host.RefCount(s), 1) << "the original is no longer kept";
    EXPECT_EQ(host.RefCount(text.string), 1) << "only the reader's reference";
    EXPECT_STREQ(text.UTF8(), "\xC3\x88t\xC3\x88");
    EXPECT_EQ(UnitsOf(text), (Units{0x00C8, 't', 0x00C8}));
  });
  EXPECT_EQ(log, std::vector<std::string>{Line("REALBuildUnicodeString failed")});
  EXPECT_EQ(host.LiveStrings(), startStrings + 1);
  host.Release(s);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(BridgeTest, GetStringInUTF8StopsAtTheFirstZeroByte) {
  REALstring s = host.NewStringUTF8(std::string("a\0b", 3));
  EXPECT_EQ(GetStringInUTF8(s), "a");
  host.Release(s);
  EXPECT_EQ(GetStringInUTF8(nullptr), "");
  REALstring latin = host.NewString("\xE9\xE8", kREALTextEncodingISOLatin1);
  EXPECT_EQ(GetStringInUTF8(latin), "\xC3\xA9\xC3\xA8");
  host.Release(latin);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(BridgeTest, RawBytesComeWithTheirLength) {
  REALstring s = host.NewString("caf\xE9", kREALTextEncodingWindowsLatin1);
  {
    rbData data(s);
    ASSERT_NE(data.data, nullptr);
    EXPECT_EQ(std::string(data.data, data.length), "caf\xE9");
    EXPECT_EQ(host.RefCount(s), 2);
  }
  EXPECT_EQ(host.RefCount(s), 1);
  host.Release(s);
}

TEST_F(BridgeTest, DamagedMarkersAreReportedOnDestruction) {
  REALstring s = host.NewStringUTF8("x");
  std::vector<std::string> log = LogOf(host, [&] {
    rbText text(s);
    text.marker1 = 7;
    text.marker2 = 9;
  });
  EXPECT_EQ(log, (std::vector<std::string>{Line("Check1 in rbText invalid 7"),
                                           Line("Check2 in rbText invalid 9")}));
  EXPECT_EQ(host.RefCount(s), 1) << "the string is still given back";
  host.Release(s);
}

TEST_F(BridgeTest, NothingIsLoggedWithDebuggingOff) {
  REALstring s = host.NewString("\xE9", kREALTextEncodingUnknown);
  const uint16_t swapped[] = {0xFFFE, 0x4100};
  REALstring u = host.NewString(std::string(reinterpret_cast<const char*>(swapped), 4),
                                kREALTextEncodingUTF16);
  REALstring c = host.NewStringUTF8("\xC3\xA9");
  std::vector<std::string> log = QuietLogOf(host, [&] {
    rbText a(s), b(u), d(c);
    a.UTF16();
    b.UTF16();
    d.UTF16();
    uint16_t out[4];
    DecodeUTF8(reinterpret_cast<const uint8_t*>("\xED\xA0\x80"), 3, out);
  });
  EXPECT_TRUE(log.empty());
  host.Release(s);
  host.Release(u);
  host.Release(c);
}

// A host whose buffers are not zero-terminated: the byte after the data is readable but not 0.
namespace unterminated {

const char kASCII[] = "abc!";  // "abc" as the host reports it, then a stray byte

RBBoolean RBCALL GetStringData(REALstring, uint32_t encoding, REALstringData* out) {
  static const char utf8[] = "caf\xC3\xA9X";
  static const uint16_t utf16[] = {'c', 'a', 'f', 0xE9, 0x4141};
  const void* source = encoding == kREALTextEncodingUTF16 ? static_cast<const void*>(utf16)
                                                          : static_cast<const void*>(utf8);
  size_t length = encoding == kREALTextEncodingUTF16 ? 8 : 5;
  auto* copy = static_cast<char*>(std::malloc(length + 2));
  std::memcpy(copy, source, length + 2);
  out->data = copy;
  out->length = length;
  out->encoding = encoding;
  out->private1 = copy;
  out->private2 = 0;
  return 1;
}

void RBCALL DisposeStringData(REALstringData* data) {
  std::free(const_cast<void*>(data->private1));
  data->private1 = nullptr;
}

// The string "abc" comes from an unterminated buffer, every other one from the host.
void* RBCALL GetCString(REALstring s) {
  auto real =
      reinterpret_cast<void*(RBCALL*)(REALstring)>(simhost::Host::Resolve("StringGetCString"));
  void* bytes = real(s);
  if (bytes != nullptr && std::strcmp(static_cast<const char*>(bytes), "abc") == 0) {
    return const_cast<char*>(kASCII);
  }
  return bytes;
}

void* RBCALL Resolve(const char* name) {
  if (std::strcmp(name, "PluginGetStringData") == 0) return reinterpret_cast<void*>(&GetStringData);
  if (std::strcmp(name, "PluginDisposeStringData") == 0) {
    return reinterpret_cast<void*>(&DisposeStringData);
  }
  if (std::strcmp(name, "StringGetCString") == 0) return reinterpret_cast<void*>(&GetCString);
  return simhost::Host::Resolve(name);
}

}  // namespace unterminated

TEST_F(BridgeUnterminated, ViewsAreCopiedAndTerminated) {
  simhost::Host host;
  bridge_test::ConnectLibrary();
  gResolver = &unterminated::Resolve;
  REALstring latin = host.NewString("caf\xE9", kREALTextEncodingWindowsLatin1);
  REALstring ascii = host.NewStringUTF8("abc");
  std::vector<std::string> log = LogOf(host, [&] {
    rbText text(latin);
    EXPECT_EQ(std::string(text.UTF8()), "caf\xC3\xA9");
    EXPECT_EQ(text.UTF8Length(), 5);
    EXPECT_EQ(UnitsOf(text), (Units{'c', 'a', 'f', 0xE9}));
    EXPECT_EQ(text.UTF16()[4], 0);
    rbText plain(ascii);
    EXPECT_EQ(std::string(plain.UTF8()), "abc");
    EXPECT_NE(plain.UTF8(), unterminated::kASCII) << "a terminated copy";
    EXPECT_EQ(plain.views[rbText::kBytes], static_cast<const void*>(unterminated::kASCII));
  });
  EXPECT_EQ(log, (std::vector<std::string>{Line("String is not zero terminated. Fixed."),
                                           Line("String is not zero terminated. Fixed."),
                                           Line("String is not zero terminated. Fixed.")}));
  host.Release(latin);
  host.Release(ascii);
  EXPECT_EQ(host.LiveStrings(), 0u);
}

// Hosts without some of the string services.

TEST_F(BridgeWithheld, MissingEncodingServiceStillFindsASCII) {
  bridge_test::HostWithout host({"REALGetStringEncoding"});
  REALstring s = host.NewStringUTF8("abc");
  {
    rbText text(s);
    EXPECT_EQ(text.encoding, 0u);
    EXPECT_EQ(text.state, rbText::kUnchecked);
    EXPECT_STREQ(text.UTF8(), "abc");
    EXPECT_EQ(text.state, rbText::kPureASCII);
  }
  host.Release(s);
  EXPECT_EQ(host.LiveStrings(), 0u);
}

TEST_F(BridgeWithheld, MissingStringDataLeavesConvertedViewsEmpty) {
  bridge_test::HostWithout host({"PluginGetStringData"});
  REALstring s = host.NewString("caf\xE9", kREALTextEncodingWindowsLatin1);
  std::vector<std::string> log = LogOf(host, [&] {
    rbText text(s);
    EXPECT_EQ(text.UTF8Length(), 0);
    EXPECT_STREQ(text.UTF8(), "");
    EXPECT_EQ(text.UTF16Length(), 0);
    EXPECT_TRUE(text.conversionFailed);
  });
  EXPECT_EQ(log, (std::vector<std::string>{Line("REALGetStringData failed."),
                                           Line("REALGetStringData failed.")}));
  host.Release(s);
  EXPECT_EQ(host.LiveStrings(), 0u);
}

TEST_F(BridgeWithheld, MissingBytesServiceFixesTheLengthToZero) {
  bridge_test::HostWithout host({"StringGetCString"});
  REALstring s = host.NewStringUTF8("abc");
  std::vector<std::string> log = LogOf(host, [&] {
    rbData data(s);
    EXPECT_EQ(data.data, nullptr);
    EXPECT_EQ(data.length, 0);
  });
  EXPECT_EQ(log, std::vector<std::string>{Line("data is NULL, so size fixed to zero.")});
  host.Release(s);
}

TEST_F(BridgeWithheld, MissingLenBGivesLengthZeroButKeepsTheBytes) {
  bridge_test::HostWithout host({host_contract::kLenBDeclaration});
  REALstring s = host.NewStringUTF8("abc");
  {
    CachedStringServices cached;
    EXPECT_FALSE(cached.Take()) << "a missing service keeps readers on the wrappers";
    rbData data(s);
    EXPECT_NE(data.data, nullptr);
    EXPECT_EQ(data.length, 0);
    rbText text(s);
    EXPECT_EQ(text.UTF8Length(), 0);
    // Read without a reader: the same bytes, still with length 0.
    const UTF8View view(s);
    EXPECT_EQ(view.data(), data.data);
    EXPECT_EQ(view.length(), 0);
  }
  host.Release(s);
}

}  // namespace
