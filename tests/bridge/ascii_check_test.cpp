// The ASCII checks of the string builder and of rbText look at several bytes per step, with
// short strings and tails read by overlapping loads: one byte of 0x80 or above anywhere, at
// every length up to three blocks, must be seen, and none must be imagined.
#include <gtest/gtest.h>

#include <string>

#include "bridge/host_string_build.h"
#include "bridge/host_string_read.h"
#include "bridge_fixture.h"

namespace {

using bridge_test::BridgeTest;

// Every length from 0 to 48 and, for each, a high byte at every position (or none).
template <typename Check>
void ForEveryPlacement(Check check) {
  for (size_t length = 0; length <= 48; ++length) {
    for (size_t high = 0; high <= length; ++high) {
      std::string bytes(length, 'a');
      for (size_t k = 0; k < length; ++k) bytes[k] = static_cast<char>('!' + k % 90);
      if (high < length) bytes[high] = static_cast<char>(0x80 + high % 128);
      check(bytes, high < length);
    }
  }
}

TEST_F(BridgeTest, BuilderLabelsExactlyThePureASCIIStringsAsASCII) {
  ForEveryPlacement([&](const std::string& bytes, bool hasHigh) {
    REALstring s = REALBuildUnicodeString(bytes.data(), static_cast<int64_t>(bytes.size()),
                                          kREALTextEncodingWindowsLatin1);
    if (bytes.empty()) {
      EXPECT_EQ(s, nullptr);
      return;
    }
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(host.EncodingOf(s), hasHigh ? kREALTextEncodingWindowsLatin1 : kREALTextEncodingASCII)
        << bytes.size() << " bytes";
    host.Release(s);
  });
}

TEST_F(BridgeTest, ReaderFindsExactlyThePureASCIIStrings) {
  ForEveryPlacement([&](const std::string& bytes, bool hasHigh) {
    REALstring s = host.NewString(bytes, kREALTextEncodingWindowsLatin1);
    {
      rbText text(s);
      text.CheckASCII();
      EXPECT_EQ(text.state, hasHigh ? rbText::kNotASCII : rbText::kPureASCII)
          << bytes.size() << " bytes";
    }
    host.Release(s);
  });
}

}  // namespace
