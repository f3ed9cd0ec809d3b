// Font-name hashing and number formatting of the RTF writer, checked without a host.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

#include "rtf_export/rtf_writer.h"

namespace {

// The hash computed the long way: 64-bit arithmetic reduced modulo 2^32 at every step, bytes
// from 0x80 up counted as negative.
uint64_t ReferenceHash(const std::string& name) {
  int64_t h = 324567;
  for (unsigned char byte : name) {
    if (byte == 0) break;
    const int64_t b = byte >= 0x80 ? static_cast<int64_t>(byte) - 256 : byte;
    h = ((h * 101 + b) % 4294967296LL + 4294967296LL) % 4294967296LL;
  }
  return static_cast<uint64_t>(h);
}

TEST(StringHash, EmptyNameIsTheSeed) {
  EXPECT_EQ(StringHash()(std::string()), 324567u);
  EXPECT_EQ(StringHash()(std::string()), 0x4F3D7u);
}

TEST(StringHash, OneByteByHand) {
  // 324567 * 101 = 32781267.
  EXPECT_EQ(StringHash()("A"), 32781267u + 65u);
  // 0xFF is -1 as a signed byte.
  EXPECT_EQ(StringHash()(std::string("\xFF")), 32781266u);
  EXPECT_EQ(StringHash()(std::string("\x80")), 32781267u - 128u);
}

TEST(StringHash, MatchesTheDefinition) {
  const std::string names[] = {"Arial",
                               "Times New Roman",
                               "arial",
                               "\xC3\xA9l\xC3\xA9gant",
                               "Helvetica Neue Condensed Black Oblique Extra Long Name",
                               std::string(300, 'z'),
                               std::string(40, '\x90')};
  for (const std::string& name : names) EXPECT_EQ(StringHash()(name), ReferenceHash(name)) << name;
  EXPECT_EQ(StringHash()("Arial"), 3846594416u);
  EXPECT_EQ(StringHash()("\xC3\xA9"), 3310901719u);
}

TEST(StringHash, WrapsAt32Bits) {
  const size_t h = StringHash()(std::string(50, 'W'));
  EXPECT_LE(h, static_cast<size_t>(UINT32_MAX));
  EXPECT_EQ(h, ReferenceHash(std::string(50, 'W')));
}

TEST(StringHash, StopsAtFirstZeroByte) {
  const std::string withZero("ab\0cd", 5);
  EXPECT_EQ(StringHash()(withZero), StringHash()("ab"));
  EXPECT_EQ(StringHash()(std::string("\0x", 2)), 324567u);
}

TEST(StringHash, CaseMatters) {
  EXPECT_NE(StringHash()("Arial"), StringHash()("arial"));
}

TEST(ToString, Decimal) {
  EXPECT_EQ(ToString(0), "0");
  EXPECT_EQ(ToString(7), "7");
  EXPECT_EQ(ToString(24), "24");
  EXPECT_EQ(ToString(65535), "65535");
  EXPECT_EQ(ToString(INT32_MAX), "2147483647");
}

TEST(ToString, Negative) {
  EXPECT_EQ(ToString(-1), "-1");
  EXPECT_EQ(ToString(-5), "-5");
  EXPECT_EQ(ToString(INT32_MIN), "-2147483648");
}

TEST(ToString, EachResultIsItsOwnCopy) {
  const std::string first = ToString(123456);
  const std::string second = ToString(-9);
  EXPECT_EQ(first, "123456");
  EXPECT_EQ(second, "-9");
}

}  // namespace
