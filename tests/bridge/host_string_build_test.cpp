// Building host strings on every host version: the generic path, UTF-16 and UTF-32 input, the
// UTF-32 fallback of hosts before 2013, the count limits and the ASCII relabelling.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "bridge/host_string_build.h"
#include "bridge_fixture.h"

namespace {

using namespace bridge_test;  // the fixture, the host and its log helpers

std::string UTF32Bytes(const std::vector<uint32_t>& units) {
  return std::string(reinterpret_cast<const char*>(units.data()), units.size() * 4);
}

std::string UTF16Bytes(const std::vector<uint16_t>& units) {
  return std::string(reinterpret_cast<const char*>(units.data()), units.size() * 2);
}

std::string Repeat(const std::string& piece, size_t times) {
  std::string out;
  for (size_t i = 0; i < times; ++i) out += piece;
  return out;
}

class StringBuilding : public BridgeTest {
 protected:
  // Builds, checks the result's encoding and UTF-8 text, releases it.
  void ExpectBuilt(const std::string& bytes, uint32_t encoding, uint32_t builtEncoding,
                   const std::string& utf8) {
    REALstring s =
        REALBuildUnicodeString(bytes.data(), static_cast<int64_t>(bytes.size()), encoding);
    ASSERT_NE(s, nullptr) << "version " << rbversion << " encoding " << encoding;
    EXPECT_EQ(host.EncodingOf(s), builtEncoding) << "version " << rbversion;
    EXPECT_EQ(host.UTF8Of(s), utf8) << "version " << rbversion;
    EXPECT_EQ(host.RefCount(s), 1);
    host.Release(s);
    EXPECT_EQ(host.LiveStrings(), startStrings) << "version " << rbversion;
  }
};

const double kVersions[] = {2009.05, 2011.04, 2012.0, 2012.02, 2013.0, 2013.04, 2021.03};

TEST_F(StringBuilding, EmptyOrNullInputGivesNullWithoutLog) {
  Log log = LogOf(host, [&] {
    EXPECT_EQ(REALBuildUnicodeString("abc", 0, kREALTextEncodingUTF8), nullptr);
    EXPECT_EQ(REALBuildUnicodeString("abc", -1, kREALTextEncodingUTF8), nullptr);
    EXPECT_EQ(REALBuildUnicodeString("abc", INT64_MIN, kREALTextEncodingUTF16), nullptr);
    EXPECT_EQ(REALBuildUnicodeString(nullptr, 3, kREALTextEncodingUTF8), nullptr);
  });
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(host.AllCalls().size(), 0u) << "the host is not asked";
}

TEST_F(StringBuilding, CountOf2GiBOrMoreIsRefusedBeforeAnythingIsRead) {
  // A small real buffer: the count check must come before any byte is touched.
  const char small[4] = {'a', 'b', 'c', 'd'};
  Log log = LogOf(host, [&] {
    EXPECT_EQ(REALBuildUnicodeString(small, 0x80000000LL, kREALTextEncodingWindowsLatin1), nullptr);
    EXPECT_EQ(REALBuildUnicodeString(small, INT64_MAX, kREALTextEncodingUTF32), nullptr);
  });
  EXPECT_EQ(log, (Log{Line("Count too big for REALBuildUnicodeString."),
                      Line("Count too big for REALBuildUnicodeString.")}));
  EXPECT_EQ(host.LiveStrings(), startStrings);
  EXPECT_EQ(host.Calls("REALBuildStringWithEncoding"), 0u);
  EXPECT_TRUE(host.Exceptions().empty());
}

TEST_F(StringBuilding, ASCIIBytesInSingleByteEncodingsAreBuiltAsASCII) {
  for (uint32_t encoding : {kREALTextEncodingMacRoman, kREALTextEncodingISOLatin1,
                            kREALTextEncodingWindowsLatin1, kREALTextEncodingUnknown}) {
    ExpectBuilt("plain", encoding, kREALTextEncodingASCII, "plain");
  }
}

TEST_F(StringBuilding, HighBytesKeepTheirEncoding) {
  ExpectBuilt("caf\xE9", kREALTextEncodingWindowsLatin1, kREALTextEncodingWindowsLatin1,
              "caf\xC3\xA9");
  ExpectBuilt("caf\xE9", kREALTextEncodingISOLatin1, kREALTextEncodingISOLatin1, "caf\xC3\xA9");
  ExpectBuilt("\x8E", kREALTextEncodingMacRoman, kREALTextEncodingMacRoman, "\xC3\xA9");
  REALstring s = REALBuildUnicodeString("\xE9", 1, kREALTextEncodingUnknown);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(host.EncodingOf(s), kREALTextEncodingUnknown);
  EXPECT_EQ(host.BytesOf(s), "\xE9");
  host.Release(s);
}

TEST_F(StringBuilding, ASCIIAndUTF8AreBuiltAsTheyCome) {
  ExpectBuilt("abc", kREALTextEncodingASCII, kREALTextEncodingASCII, "abc");
  ExpectBuilt("abc", kREALTextEncodingUTF8, kREALTextEncodingUTF8, "abc");
  ExpectBuilt("\xC3\xA9", kREALTextEncodingUTF8, kREALTextEncodingUTF8, "\xC3\xA9");
}

TEST_F(StringBuilding, GenericPathOnEveryHostVersion) {
  for (double version : kVersions) {
    rbversion = version;
    host.ResetCounters();
    ExpectBuilt("caf\xE9", kREALTextEncodingWindowsLatin1, kREALTextEncodingWindowsLatin1,
                "caf\xC3\xA9");
    if (version >= 2012.0) {
      EXPECT_EQ(host.Calls("REALBuildStringWithEncoding"), 1u) << version;
      EXPECT_EQ(host.Calls("REALBuildString"), 0u) << version;
    } else {
      // Older hosts build plain bytes and label them afterwards.
      EXPECT_EQ(host.Calls("REALBuildStringWithEncoding"), 0u) << version;
      EXPECT_EQ(host.Calls("REALBuildString"), 1u) << version;
      EXPECT_EQ(host.Calls("REALSetStringEncoding"), 1u) << version;
    }
  }
}

TEST_F(StringBuilding, ByteStringsAreBuiltAsTheGeneralBuilderBuildsThem) {
  const uint32_t encodings[] = {kREALTextEncodingMacRoman,      kREALTextEncodingISOLatin1,
                                kREALTextEncodingWindowsLatin1, kREALTextEncodingUnknown,
                                kREALTextEncodingASCII,         kREALTextEncodingUTF8,
                                kREALTextEncodingUTF16,         0x0400};
  const std::string inputs[] = {"", "plain", "caf\xE9", "\x8E", "0123456789abcdef\xE9"};
  for (double version : kVersions) {
    rbversion = version;
    for (uint32_t encoding : encodings) {
      for (const std::string& bytes : inputs) {
        host.ResetCounters();
        REALstring general =
            REALBuildUnicodeString(bytes.data(), static_cast<int64_t>(bytes.size()), encoding);
        const auto generalCalls = host.AllCalls();
        host.ResetCounters();
        REALstring built = BuildByteString(bytes.data(), bytes.size(), encoding);
        EXPECT_EQ(host.AllCalls(), generalCalls) << version << " " << encoding << " " << bytes;
        ASSERT_EQ(built == nullptr, general == nullptr) << version << " " << encoding;
        if (built == nullptr) continue;
        EXPECT_EQ(host.EncodingOf(built), host.EncodingOf(general)) << version << " " << encoding;
        EXPECT_EQ(host.BytesOf(built), host.BytesOf(general)) << version << " " << encoding;
        host.Release(built);
        host.Release(general);
      }
    }
  }
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(StringBuilding, UnknownEncodingValueIsLoggedAndStillUsed) {
  // 0x0400 is DOS Latin US: no ASCII test, built with the value unchanged.
  REALstring s = nullptr;
  Log log = LogOf(host, [&] { s = REALBuildUnicodeString("abc", 3, 0x0400); });
  EXPECT_EQ(log, Log{Line("Unknown encoding in REALBuildUnicodeString 1024")});
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(host.EncodingOf(s), 0x0400u);
  EXPECT_EQ(host.BytesOf(s), "abc");
  host.Release(s);
  ExpectBuilt("\x82", 0x0400, 0x0400, "\xC3\xA9");
}

TEST_F(StringBuilding, UTF16ComesBackAsUTF8OnEveryHostVersion) {
  const std::string caf = UTF16Bytes({'C', 'a', 'f', 0xE9, 0xD83D, 0xDE00});
  for (double version : kVersions) {
    rbversion = version;
    ExpectBuilt(caf, kREALTextEncodingUTF16, kREALTextEncodingUTF8, "Caf\xC3\xA9\xF0\x9F\x98\x80");
    ExpectBuilt(UTF16Bytes({'a'}), kREALTextEncodingUTF16, kREALTextEncodingUTF8, "a");
  }
}

TEST_F(StringBuilding, UTF32ComesBackAsUTF8OnEveryHostVersion) {
  const std::string text = UTF32Bytes({'C', 'a', 'f', 0xE9, 0x1F600});
  for (double version : kVersions) {
    rbversion = version;
    host.ResetCounters();
    ExpectBuilt(text, kREALTextEncodingUTF32, kREALTextEncodingUTF8, "Caf\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(host.Calls("REALConvertString"), 1u) << version;
  }
}

TEST_F(StringBuilding, UTF32BeforeHost2013IsConvertedHere) {
  for (double version : {2011.04, 2012.02}) {
    rbversion = version;
    // U+1F600 becomes a surrogate pair, which the host reads back as the one code point.
    ExpectBuilt(UTF32Bytes({0x1F600}), kREALTextEncodingUTF32, kREALTextEncodingUTF8,
                "\xF0\x9F\x98\x80");
    // A lone surrogate vanishes without replacement.
    ExpectBuilt(UTF32Bytes({'A', 0xD800, 'B', 0xDFFF}), kREALTextEncodingUTF32,
                kREALTextEncodingUTF8, "AB");
    // Beyond Unicode: U+FFFD.
    ExpectBuilt(UTF32Bytes({0x110000, 'z', 0xFFFFFFFF}), kREALTextEncodingUTF32,
                kREALTextEncodingUTF8, "\xEF\xBF\xBDz\xEF\xBF\xBD");
    ExpectBuilt(UTF32Bytes({0x10FFFF}), kREALTextEncodingUTF32, kREALTextEncodingUTF8,
                "\xF4\x8F\xBF\xBF");
    // 6 bytes: only the first 4 are a unit.
    ExpectBuilt(UTF32Bytes({'A'}) + "BB", kREALTextEncodingUTF32, kREALTextEncodingUTF8, "A");
    // 1 to 3 bytes: no unit at all, and still a string, not null.
    for (int count = 1; count <= 3; ++count) {
      ExpectBuilt(std::string(static_cast<size_t>(count), 'x'), kREALTextEncodingUTF32,
                  kREALTextEncodingUTF8, "");
    }
  }
}

TEST_F(StringBuilding, UTF32BeforeHost2013UsesTheHostsBuildersOfThatVersion) {
  rbversion = 2012.5;
  host.ResetCounters();
  ExpectBuilt(UTF32Bytes({'a'}), kREALTextEncodingUTF32, kREALTextEncodingUTF8, "a");
  EXPECT_EQ(host.Calls("REALBuildStringWithEncoding"), 1u);
  EXPECT_EQ(host.Calls("REALBuildString"), 0u);

  rbversion = 2011.0;
  host.ResetCounters();
  ExpectBuilt(UTF32Bytes({'a'}), kREALTextEncodingUTF32, kREALTextEncodingUTF8, "a");
  EXPECT_EQ(host.Calls("REALBuildStringWithEncoding"), 0u);
  EXPECT_EQ(host.Calls("REALBuildString"), 1u);
  EXPECT_EQ(host.Calls("REALSetStringEncoding"), 1u);
}

TEST_F(StringBuilding, UTF32FallbackBuffersHoldTwoUnitsPerCodePoint) {
  // Every code point needs two UTF-16 units: the worst case for both buffers. Run under
  // AddressSanitizer to prove neither is overrun.
  const std::string face = "\xF0\x9F\x98\x80";
  for (double version : {2011.04, 2012.02}) {
    rbversion = version;
    // 199 code points (796 bytes) and 799 bytes: the buffer local to the call.
    ExpectBuilt(UTF32Bytes(std::vector<uint32_t>(199, 0x1F600)), kREALTextEncodingUTF32,
                kREALTextEncodingUTF8, Repeat(face, 199));
    ExpectBuilt(UTF32Bytes(std::vector<uint32_t>(199, 0x1F600)) + "xyz", kREALTextEncodingUTF32,
                kREALTextEncodingUTF8, Repeat(face, 199));
    // 200 code points (800 bytes) and more: the heap buffer.
    ExpectBuilt(UTF32Bytes(std::vector<uint32_t>(200, 0x1F600)), kREALTextEncodingUTF32,
                kREALTextEncodingUTF8, Repeat(face, 200));
    ExpectBuilt(UTF32Bytes(std::vector<uint32_t>(5000, 0x1F600)) + "x", kREALTextEncodingUTF32,
                kREALTextEncodingUTF8, Repeat(face, 5000));
  }
}

TEST_F(StringBuilding, UTF32FallbackLogsNothingOnSuccess) {
  rbversion = 2011.04;
  Log log = LogOf(host, [&] {
    REALstring s = REALBuildUnicodeString(UTF32Bytes({0x1F600}).data(), 4, kREALTextEncodingUTF32);
    EXPECT_NE(s, nullptr);
    host.Release(s);
  });
  EXPECT_TRUE(log.empty());
}

TEST_F(StringBuilding, CStringOfEmptyOrNullTextIsNull) {
  for (uint32_t encoding : {kREALTextEncodingUTF8, kREALTextEncodingASCII, kREALTextEncodingUTF16,
                            kREALTextEncodingUTF32, kREALTextEncodingWindowsLatin1}) {
    EXPECT_EQ(CString2RB("", encoding), nullptr) << encoding;
    EXPECT_EQ(CString2RB(nullptr, encoding), nullptr) << encoding;
  }
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(StringBuilding, CStringBuildsTheBytesBeforeTheZero) {
  REALstring s = CString2RB("caf\xE9\0ignored", kREALTextEncodingWindowsLatin1);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(host.BytesOf(s), "caf\xE9");
  EXPECT_EQ(host.EncodingOf(s), kREALTextEncodingWindowsLatin1);
  host.Release(s);
  s = CString2RB("plain", kREALTextEncodingWindowsLatin1);
  EXPECT_EQ(host.EncodingOf(s), kREALTextEncodingASCII);
  host.Release(s);
}

TEST_F(StringBuilding, CStringWarnsAboutWideEncodingsAndGoesOn) {
  REALstring s = nullptr;
  Log log = LogOf(host, [&] { s = CString2RB("ab\0cd", kREALTextEncodingUTF16); });
  EXPECT_EQ(log, Log{Line("Error: kREALTextEncodingUTF16 not useful for CString2RB!")});
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(host.UTF8Of(s), "\xE6\x89\xA1") << "'a' 'b' read as the one unit U+6261";
  host.Release(s);

  log = LogOf(host, [&] { s = CString2RB("abcd", kREALTextEncodingUTF32); });
  EXPECT_EQ(log, Log{Line("Error: kREALTextEncodingUTF32 not useful for CString2RB!")});
  host.Release(s);

  log = LogOf(host, [&] { EXPECT_EQ(CString2RB(nullptr, kREALTextEncodingUTF32), nullptr); });
  EXPECT_EQ(log, Log{Line("Error: kREALTextEncodingUTF32 not useful for CString2RB!")});
}

TEST_F(StringBuilding, CStringWarnsOnceAboutNonASCIIText) {
  REALstring s = nullptr;
  Log log = LogOf(host, [&] { s = CString2RB("caf\xE9 \xE9t\xE9", kREALTextEncodingASCII); });
  EXPECT_EQ(log, Log{Line("Error: text is not ascii caf\xE9 \xE9t\xE9")});
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(host.BytesOf(s), "caf\xE9 \xE9t\xE9");
  host.Release(s);

  log = LogOf(host, [&] {
    s = CString2RB("fine", kREALTextEncodingASCII);
    host.Release(s);
  });
  EXPECT_TRUE(log.empty());
}

TEST_F(StringBuilding, NothingIsLoggedWithDebuggingOff) {
  const char small[2] = {'a', 'b'};
  Log log = QuietLogOf(host, [&] {
    EXPECT_EQ(REALBuildUnicodeString(small, 0x80000000LL, kREALTextEncodingUTF8), nullptr);
    REALstring s = REALBuildUnicodeString("abc", 3, 0x0400);
    host.Release(s);
    s = CString2RB("\xE9", kREALTextEncodingASCII);
    host.Release(s);
    s = CString2RB("ab", kREALTextEncodingUTF16);
    host.Release(s);
  });
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

// A builder that throws once, to reach the exception guard around the whole build.
namespace throwing {

constexpr char kBuildService[] = "REALBuildStringWithEncoding";

int throwKind = 0;  // 1: a standard exception, 2: anything else; reset after one throw

REALstring RBCALL BuildStringWithEncoding(const char* bytes, int length, uint32_t encoding) {
  int kind = throwKind;
  throwKind = 0;
  if (kind == 1) throw std::length_error("too long for the host");
  if (kind == 2) throw 42;
  auto real = reinterpret_cast<REALstring(RBCALL*)(const char*, int, uint32_t)>(
      simhost::Host::Resolve("REALBuildStringWithEncoding"));
  return real(bytes, length, encoding);
}

}  // namespace throwing

TEST_F(BridgeGuard, ExceptionsInsideTheBuildBecomeHostExceptions) {
  simhost::Host host;
  bridge_test::ConnectLibrary();
  gResolver =
      &bridge_test::ResolveReplacing<throwing::kBuildService, &throwing::BuildStringWithEncoding>;
  throwing::throwKind = 1;
  EXPECT_EQ(REALBuildUnicodeString("abc", 3, kREALTextEncodingUTF8), nullptr);
  ASSERT_EQ(host.Exceptions().size(), 1u);
  EXPECT_EQ(host.Exceptions()[0].className, "RuntimeException");
  EXPECT_EQ(host.Exceptions()[0].message, "C++ Exception: too long for the host");

  host.ClearExceptions();
  throwing::throwKind = 2;
  Log log = LogOf(
      host, [&] { EXPECT_EQ(REALBuildUnicodeString("abc", 3, kREALTextEncodingUTF8), nullptr); });
  EXPECT_EQ(log, Log{Line("Unnamed C++ Exception.")});
  ASSERT_EQ(host.Exceptions().size(), 1u);
  EXPECT_EQ(host.Exceptions()[0].className, "RuntimeException");
  EXPECT_EQ(host.Exceptions()[0].message, "Sorry, but there was an unnamed C++ Exception.");

  // The UTF-32 fallback gives back its heap buffer when the build throws (the leak checker
  // of sanitizer builds sees it).
  rbversion = 2012.5;
  throwing::throwKind = 1;
  std::vector<uint32_t> many(1000, 0x1F600);
  EXPECT_EQ(REALBuildUnicodeString(many.data(), 4000, kREALTextEncodingUTF32), nullptr);
  EXPECT_EQ(host.Exceptions().size(), 2u);
  EXPECT_EQ(host.LiveStrings(), 0u);
}

// Hosts without some of the builders.

TEST_F(BridgeWithheld, OldHostWithoutPlainBuilderReportsUTF16OutOfMemory) {
  bridge_test::HostWithout host({"REALBuildString"}, 2011.04);
  const uint16_t unit = 'a';
  Log log = LogOf(host, [&] {
    EXPECT_EQ(REALBuildUnicodeString(&unit, 2, kREALTextEncodingUTF16), nullptr);
    EXPECT_EQ(REALBuildUnicodeString(UTF32Bytes({'a'}).data(), 4, kREALTextEncodingUTF32), nullptr);
    EXPECT_EQ(REALBuildUnicodeString("abc", 3, kREALTextEncodingUTF8), nullptr);
  });
  EXPECT_EQ(log, (Log{Line("Out of memory in REALBuildUnicodeStringUTF16."),
                      Line("Out of memory in REALBuildUnicodeStringUTF16.")}));
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_TRUE(host.Exceptions().empty());
}

TEST_F(BridgeWithheld, NewHostWithoutBuilderOrConverterGivesNull) {
  bridge_test::HostWithout host({"REALConvertString"});
  const uint16_t unit = 'a';
  EXPECT_EQ(REALBuildUnicodeString(&unit, 2, kREALTextEncodingUTF16), nullptr);
  EXPECT_EQ(REALBuildUnicodeString(UTF32Bytes({'a'}).data(), 4, kREALTextEncodingUTF32), nullptr);
  EXPECT_EQ(host.LiveStrings(), 0u) << "the intermediate string is released";
  REALstring s = REALBuildUnicodeString("abc", 3, kREALTextEncodingUTF8);
  EXPECT_NE(s, nullptr) << "the generic path needs no conversion";
  host.Release(s);
}

TEST_F(BridgeWithheld, NewHostWithoutEncodedBuilderGivesNull) {
  bridge_test::HostWithout host({"REALBuildStringWithEncoding"});
  const uint16_t unit = 'a';
  EXPECT_EQ(REALBuildUnicodeString("abc", 3, kREALTextEncodingUTF8), nullptr);
  EXPECT_EQ(REALBuildUnicodeString(&unit, 2, kREALTextEncodingUTF16), nullptr);
  EXPECT_EQ(host.Calls("REALBuildString"), 0u) << "no fallback to the old builder";
  EXPECT_EQ(host.LiveStrings(), 0u);
}

TEST_F(BridgeWithheld, OldHostWithoutEncodingSetterStillBuilds) {
  bridge_test::HostWithout host({"REALSetStringEncoding"}, 2011.04);
  REALstring s = REALBuildUnicodeString("abc", 3, kREALTextEncodingUTF8);
  EXPECT_NE(s, nullptr);
  EXPECT_EQ(host.BytesOf(s), "abc");
  host.Release(s);
}

}  // namespace
