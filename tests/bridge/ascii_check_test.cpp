// The ASCII checks of the string builder and of rbText look at several bytes per step, with
// short strings and tails read by overlapping loads: one byte of 0x80 or above anywhere, at
// every length up to three blocks, must be seen, and none must be imagined.
#include <gtest/gtest.h>

#include <algorithm>
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

// The import's run text scan reads 32, 16 or 8 bytes per step with overlapping tails: at every
// length up to three of its largest steps and beyond, a NUL at every position (or none) ends
// the text there, and a high byte counts only before it.
TEST_F(BridgeTest, RunTextScanStopsAtTheFirstNulAndSeesHighBytesOnlyBeforeIt) {
  for (size_t length = 0; length <= 100; ++length) {
    for (size_t nul = 0; nul <= length; ++nul) {
      for (size_t high = 0; high <= length; ++high) {
        std::string bytes(length, 'a');
        for (size_t k = 0; k < length; ++k) bytes[k] = static_cast<char>('!' + k % 90);
        if (high < length) bytes[high] = static_cast<char>(0x80 + high % 128);
        if (nul < length) bytes[nul] = '\0';
        // A second NUL behind the first must not move the end.
        if (nul + 5 < length) bytes[nul + 5] = '\0';
        const size_t expectedLength = nul;
        const bool expectedASCII = !(high < nul);
        bool ascii = !expectedASCII;
        const size_t found = host_string_resolved::TextBeforeNul(bytes.data(), length, &ascii);
        ASSERT_EQ(found, expectedLength) << length << " bytes, NUL at " << nul;
        ASSERT_EQ(ascii, expectedASCII)
            << length << " bytes, NUL at " << nul << ", high byte at " << high;
      }
    }
  }
}

// The run text becomes the string the byte builder makes of the bytes before the first NUL:
// relabelled as ASCII in the same cases, null when the text starts with NUL.
TEST_F(BridgeTest, RunTextIsBuiltAsTheByteBuilderBuildsItsBytesBeforeTheNul) {
  ASSERT_NE(host_detail::REALBuildStringWithEncoding(), nullptr);
  for (const uint32_t encoding :
       {kREALTextEncodingWindowsLatin1, kREALTextEncodingMacRoman, kREALTextEncodingISOLatin1,
        kREALTextEncodingUnknown, kREALTextEncodingUTF8, kREALTextEncodingASCII, 0x0504u,
        kREALTextEncodingUTF16, kREALTextEncodingUTF32}) {
    for (const std::string& bytes :
         {std::string("plain words"), std::string("caf\xE9", 4), std::string("ab\0cd\xE9", 6),
          std::string("\0ab", 3), std::string(40, 'x') + "\xE9", std::string("\xC3\xA9", 2)}) {
      const size_t end = std::min(bytes.find('\0'), bytes.size());
      REALstring built = host_string_resolved::BuildRunText(bytes.data(), bytes.size(), encoding);
      REALstring expected = BuildByteString(bytes.data(), end, encoding);
      if (expected == nullptr) {
        EXPECT_EQ(built, nullptr) << encoding;
        continue;
      }
      ASSERT_NE(built, nullptr) << encoding;
      EXPECT_EQ(host.EncodingOf(built), host.EncodingOf(expected)) << encoding;
      EXPECT_EQ(host.UTF8Of(built), host.UTF8Of(expected)) << encoding;
      host.Release(built);
      host.Release(expected);
    }
  }
}

}  // namespace
