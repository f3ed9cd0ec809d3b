// The debug log's sink: one entry per call, cut at 4095 characters.
#include <gtest/gtest.h>

#include <string>

#include "frame/debug_log.h"
#include "simhost/host.h"

namespace {

TEST(DebugLog, SetterStoresAnyNonZeroValueAsTrue) {
  setDebugging(2);
  EXPECT_EQ(getDebugging(), 1);
  EXPECT_TRUE(DebuggingEnabled);
  setDebugging(0);
  EXPECT_EQ(getDebugging(), 0);
}

TEST(DebugLog, EachCallIsOneEntry) {
  simhost::Host host;
  host.BeginLogCapture();
  LogMessageX("%s%s %lld, %lld", kDebugPrefix, "SetParagraphAlignment", 3LL, -2LL);
  LogMessageX("%s%s", kDebugPrefix, "StyledTextClear");
  host.EndLogCapture();
  ASSERT_EQ(host.Log().size(), 2u);
  EXPECT_EQ(host.Log()[0], "ZVK Debug: SetParagraphAlignment 3, -2");
  EXPECT_EQ(host.Log()[1], "ZVK Debug: StyledTextClear");
}

TEST(DebugLog, LongMessageIsCutTo4095Characters) {
  simhost::Host host;
  std::string message(5000, 'm');
  host.BeginLogCapture();
  LogMessageX("%s%s", kDebugPrefix, message.c_str());
  host.EndLogCapture();
  ASSERT_EQ(host.Log().size(), 1u);
#if defined(_WIN32)
  // The library hands OutputDebugStringA the 4095 characters and a line feed; with no debugger
  // attached, Windows passes at most 4091 bytes of a string on to the debug-output monitor.
  EXPECT_EQ(host.Log()[0], std::string(kDebugPrefix) + std::string(4091 - 11, 'm'));
#else
  EXPECT_EQ(host.Log()[0].size(), 4095u);
  EXPECT_EQ(host.Log()[0], std::string(kDebugPrefix) + std::string(4095 - 11, 'm'));
#endif
}

TEST(DebugLog, HelpersWriteOnlyWhileDebugging) {
  simhost::Host host;
  host.BeginLogCapture();
  setDebugging(0);
  DebugLog("hidden");
  DebugLogLong("hidden", 1);
  setDebugging(1);
  DebugLog("shown");
  DebugLogInt("int", -7);
  DebugLogUInt("uint", 0x08000100u);
  DebugLogULong("ulong", 18446744073709551615ull);
  DebugLogLong("long", -9000000000LL);
  DebugLogLongs("longs", 1, 2);
  DebugLogText("text", "abc");
  DebugLogHandle("handle", reinterpret_cast<const void*>(0x10), "xyz");
  setDebugging(0);
  host.EndLogCapture();
  std::vector<std::string> expected = {
      "ZVK Debug: shown",
      "ZVK Debug: int -7",
      "ZVK Debug: uint 134217984",
      "ZVK Debug: ulong 18446744073709551615",
      "ZVK Debug: long -9000000000",
      "ZVK Debug: longs 1, 2",
      "ZVK Debug: text abc",
      "ZVK Debug: handle 0x10: xyz",
  };
  EXPECT_EQ(host.Log(), expected);
}

}  // namespace
