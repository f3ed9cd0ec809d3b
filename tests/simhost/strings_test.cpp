// Host strings of the simulated host: building, reference counts, misuse detection,
// string-data records, comparison and the Len/LenB globals.
#include <gtest/gtest.h>

#include <cstring>

#include "services.h"
#include "simhost/host.h"

namespace {

using namespace simhost_test;
using simhost::Host;
using simhost::Options;

TEST(SimhostStrings, NewStringsCarryOneReference) {
  Host host;
  REALstring s = host.NewString("abc", kREALTextEncodingMacRoman);
  EXPECT_EQ(host.RefCount(s), 1);
  EXPECT_EQ(host.LiveStrings(), 1u);
  EXPECT_EQ(host.BytesOf(s), "abc");
  EXPECT_EQ(host.EncodingOf(s), kREALTextEncodingMacRoman);
  Service<StringFn>("REALLockString")(s);
  EXPECT_EQ(host.RefCount(s), 2);
  Service<StringFn>("REALUnlockString")(s);
  EXPECT_EQ(host.RefCount(s), 1);
  host.Release(s);
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_EQ(host.RefCount(s), 0);
  EXPECT_EQ(host.Misuses(), 0u);
}

TEST(SimhostStrings, NullHandlesAreLegalWhereTheHostAllowsThem) {
  Host host;
  Service<StringFn>("REALLockString")(nullptr);
  Service<StringFn>("REALUnlockString")(nullptr);
  Service<ObjectFn>("REALUnlockObject")(nullptr);
  EXPECT_EQ(Service<CStringFn>("StringGetCString")(nullptr), nullptr);
  EXPECT_EQ(Service<ConvertFn>("REALConvertString")(nullptr, kREALTextEncodingUTF8), nullptr);
  EXPECT_EQ(Global(kLen)(nullptr), 0);
  EXPECT_EQ(Global(kLenB)(nullptr), 0);
  EXPECT_EQ(host.Misuses(), 0u);
}

TEST(SimhostStrings, MisuseOfHandlesIsCounted) {
  Host host;
  REALstring s = host.NewStringUTF8("x");
  host.Release(s);
  Service<StringFn>("REALUnlockString")(s);  // double release
  EXPECT_EQ(host.Misuses(), 1u);
  EXPECT_NE(host.LastMisuse().find("REALUnlockString"), std::string::npos);
  EXPECT_EQ(Service<CStringFn>("StringGetCString")(s), nullptr);  // use after release
  EXPECT_EQ(host.Misuses(), 2u);
  int local = 0;
  Service<StringFn>("REALLockString")(reinterpret_cast<REALstring>(&local));  // never given out
  EXPECT_EQ(host.Misuses(), 3u);
  REALobject o = host.NewStyledText();
  host.Release(o);
  Service<ObjectFn>("REALUnlockObject")(o);
  EXPECT_EQ(host.Misuses(), 4u);
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_EQ(host.LiveObjects(), 0u);
}

TEST(SimhostStringsDeathTest, StrictModeAbortsWithAMessage) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Options strict;
  strict.strict = true;
  EXPECT_DEATH(
      {
        Host host(strict);
        REALstring s = host.NewStringUTF8("x");
        host.Release(s);
        host.Release(s);
      },
      "simhost: Host::Release: release of a released or unknown string");
  // Also while standard error is being captured for the log.
  EXPECT_DEATH(
      {
        Host host(strict);
        host.BeginLogCapture();
        Service<StringFn>("REALLockString")(reinterpret_cast<REALstring>(&strict));
      },
      "REALLockString: use of a released or unknown string");
}

TEST(SimhostStrings, BuildStringHasUnknownEncodingAndKeepsATerminator) {
  Host host;
  REALstring s = Service<BuildFn>("REALBuildString")("ab\0c", 4);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(Service<GetEncodingFn>("REALGetStringEncoding")(s), kREALTextEncodingUnknown);
  auto bytes = static_cast<const char*>(Service<CStringFn>("StringGetCString")(s));
  EXPECT_EQ(std::memcmp(bytes, "ab\0c\0", 5), 0);
  EXPECT_EQ(Global(kLenB)(s), 4);
  host.Release(s);

  EXPECT_EQ(Service<BuildFn>("REALBuildString")("x", -1), nullptr);
  EXPECT_EQ(Service<BuildFn>("REALBuildString")(nullptr, 3), nullptr);
  REALstring empty = Service<BuildWithEncodingFn>("REALBuildStringWithEncoding")(
      nullptr, 0, kREALTextEncodingUTF16);
  ASSERT_NE(empty, nullptr);  // an empty string, not null
  EXPECT_EQ(host.BytesOf(empty), "");
  EXPECT_EQ(host.EncodingOf(empty), kREALTextEncodingUTF16);
  host.Release(empty);
  EXPECT_EQ(host.LiveStrings(), 0u);
}

TEST(SimhostStrings, SetEncodingRelabelsAndConvertMakesANewString) {
  Host host;
  REALstring s = host.NewString("\xE9", kREALTextEncodingISOLatin1);
  REALstring u = Service<ConvertFn>("REALConvertString")(s, kREALTextEncodingUTF8);
  ASSERT_NE(u, nullptr);
  EXPECT_EQ(host.BytesOf(u), "\xC3\xA9");
  EXPECT_EQ(host.EncodingOf(u), kREALTextEncodingUTF8);
  Service<SetEncodingFn>("REALSetStringEncoding")(s, kREALTextEncodingMacRoman);
  EXPECT_EQ(host.BytesOf(s), "\xE9");
  EXPECT_EQ(host.UTF8Of(s), "\u00C8");  // 0xE9 is E grave in Mac Roman
  EXPECT_EQ(Service<ConvertFn>("REALConvertString")(s, 0x0BAD), nullptr);
  host.Release(s);
  host.Release(u);
  EXPECT_EQ(host.LiveStrings(), 0u);
}

TEST(SimhostStrings, StringDataIsConvertedAndTracked) {
  Host host;
  REALstring s = host.NewStringUTF8("A\u00E9");
  REALstringData data;
  std::memset(&data, 0, sizeof data);
  ASSERT_TRUE(Service<GetStringDataFn>("PluginGetStringData")(s, kREALTextEncodingUTF16LE, &data));
  EXPECT_EQ(data.length, 4u);
  EXPECT_EQ(std::memcmp(data.data, "A\0\xE9\0\0\0", 6), 0);  // zero unit after the data
  EXPECT_EQ(data.encoding, kREALTextEncodingUTF16LE);
  EXPECT_EQ(host.LiveStringData(), 1u);
  host.Release(s);  // the record does not depend on the string
  EXPECT_EQ(host.LiveStringData(), 1u);
  Service<DisposeStringDataFn>("PluginDisposeStringData")(&data);
  EXPECT_EQ(host.LiveStringData(), 0u);
  EXPECT_EQ(host.Misuses(), 0u);
  Service<DisposeStringDataFn>("PluginDisposeStringData")(&data);  // twice
  EXPECT_EQ(host.Misuses(), 1u);
  REALstringData unfilled;
  std::memset(&unfilled, 0, sizeof unfilled);
  Service<DisposeStringDataFn>("PluginDisposeStringData")(&unfilled);
  EXPECT_EQ(host.Misuses(), 2u);
}

TEST(SimhostStrings, StringDataFailsForNullAndUnknownEncodings) {
  Host host;
  REALstringData data;
  std::memset(&data, 0, sizeof data);
  auto get = Service<GetStringDataFn>("PluginGetStringData");
  EXPECT_FALSE(get(nullptr, kREALTextEncodingUTF8, &data));
  REALstring s = host.NewStringUTF8("x");
  EXPECT_FALSE(get(s, 0x0BAD, &data));
  EXPECT_EQ(host.LiveStringData(), 0u);
  host.Release(s);
}

TEST(SimhostStrings, CompareIsCaseInsensitiveAcrossEncodings) {
  Host host;
  auto compare = Service<CompareFn>("RuntimeStringCompare");
  REALstring a = host.NewStringUTF8("Caf\u00C9");
  REALstring b = host.NewString("cAF\xE9", kREALTextEncodingISOLatin1);
  REALstring c = host.NewStringUTF8("cafe");
  REALstring greek = host.NewStringUTF8("\u0391\u0392");
  REALstring greekLower = host.NewString("\xE1\xE2", 0x0503);  // Windows-1253 alpha beta
  REALstring empty = host.NewStringUTF8("");
  EXPECT_EQ(compare(a, b), 0);
  EXPECT_GT(compare(a, c), 0);  // e acute sorts after e
  EXPECT_LT(compare(c, a), 0);
  EXPECT_EQ(compare(greek, greekLower), 0);
  EXPECT_EQ(compare(nullptr, nullptr), 0);
  EXPECT_EQ(compare(nullptr, empty), 0);  // null equals ""
  EXPECT_LT(compare(nullptr, c), 0);
  EXPECT_GT(compare(c, empty), 0);
  for (REALstring s : {a, b, c, greek, greekLower, empty}) host.Release(s);
  EXPECT_EQ(host.Calls("RuntimeStringCompare"), 8u);
}

TEST(SimhostStrings, LenCountsCharactersAndLenBBytes) {
  Host host;
  MeasureFn len = Global(kLen), lenB = Global(kLenB);
  ASSERT_NE(len, nullptr);
  ASSERT_NE(lenB, nullptr);
  struct Case {
    std::string bytes;
    uint32_t encoding;
    int64_t characters;
  } cases[] = {
      {"h\xC3\xA9llo\xF0\x9F\x98\x80", kREALTextEncodingUTF8, 6},
      {std::string("A\0\x3D\xD8\x00\xDE", 6), kREALTextEncodingUTF16LE, 2},
      {std::string("A\0\0\0", 4), kREALTextEncodingUTF32LE, 1},
      {"caf\xE9", kREALTextEncodingWindowsLatin1, 4},
      {"\x82\xA0z", 0x0420, 2},
      {"\xE9\xE9", kREALTextEncodingUnknown, 2},  // bytes
  };
  for (const Case& c : cases) {
    REALstring s = host.NewString(c.bytes, c.encoding);
    EXPECT_EQ(len(s), c.characters) << c.bytes;
    EXPECT_EQ(lenB(s), static_cast<RBInteger>(c.bytes.size())) << c.bytes;
    host.Release(s);
  }
  EXPECT_EQ(host.Calls(kLen), 6u);
  EXPECT_EQ(host.Calls(kLenB), 6u);
  EXPECT_EQ(host.Lookups(kLen), 1u);
}

TEST(SimhostStrings, GlobalMethodsNeedTheExactDeclarationAndNoModule) {
  Host host;
  auto load = Service<LoadGlobalFn>("REALLoadGlobalMethod");
  EXPECT_NE(load(nullptr, kLen), nullptr);
  EXPECT_EQ(load(nullptr, "Len(s As String) As Integer"), nullptr);
  EXPECT_EQ(load(nullptr, "LenB(s as string) as integer"), nullptr);
  EXPECT_EQ(load("Strings", kLenB), nullptr);
  EXPECT_EQ(load(nullptr, nullptr), nullptr);
  host.options().withheld.insert(kLenB);
  EXPECT_EQ(load(nullptr, kLenB), nullptr);
  EXPECT_NE(load(nullptr, kLen), nullptr);
  EXPECT_EQ(host.Calls("REALLoadGlobalMethod"), 7u);
  EXPECT_EQ(host.Lookups(kLenB), 2u);
}

}  // namespace
