// The UTF-8 decoder (which takes blocks of ASCII bytes at once) against the first, byte-by-byte
// decoder kept here unchanged, on random mixes of ASCII, legal and illegal sequences: the same
// units, the same count, the same stop.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bridge/host_string_read.h"

namespace {

bool OriginalIsLegalUTF8(const uint8_t* s, int length) {
  for (int k = 1; k < length; ++k) {
    if (s[k] < 0x80 || s[k] > 0xBF) return false;
  }
  if (length >= 2) {
    uint8_t second = s[1];
    switch (s[0]) {
      case 0xE0:
        if (second < 0xA0) return false;
        break;
      case 0xED:
        if (second > 0x9F) return false;
        break;
      case 0xF0:
        if (second < 0x90) return false;
        break;
      case 0xF4:
        if (second > 0x8F) return false;
        break;
      default:
        break;
    }
  }
  if (s[0] >= 0x80 && s[0] < 0xC2) return false;
  return s[0] <= 0xF4;
}

int64_t OriginalDecodeUTF8(const uint8_t* source, int64_t length, uint16_t* out) {
  int64_t i = 0;
  int64_t written = 0;
  while (i < length) {
    int n = UTF8_TRAILING_BYTES[source[i]];
    if (n > 3 || i + n >= length || !OriginalIsLegalUTF8(source + i, n + 1)) break;
    uint32_t ch = 0;
    for (int k = 0; k <= n; ++k) {
      ch += source[i + k];
      if (k < n) ch <<= 6;
    }
    ch -= UTF8_OFFSETS[n];
    i += n + 1;
    if (ch == 0xFFFE || ch == 0xFEFF) continue;
    if (ch < 0x10000) {
      if (ch >= 0xD800 && ch <= 0xDFFF) continue;
      out[written++] = static_cast<uint16_t>(ch);
    } else if (ch <= 0x10FFFF) {
      out[written++] = static_cast<uint16_t>(0xD800 + ((ch - 0x10000) >> 10));
      out[written++] = static_cast<uint16_t>(0xDC00 + (ch & 0x3FF));
    } else {
      out[written++] = 0xFFFD;
    }
  }
  out[written] = 0;
  return written;
}

TEST(DecodeEquivalence, RandomMixesDecodeAlike) {
  static const std::vector<std::string> pieces = {"a",
                                                  "plain ascii text ",
                                                  std::string(1, '\0'),
                                                  "\x7F",
                                                  "\xC3\xA9",
                                                  "\xE2\x82\xAC",
                                                  "\xF0\x9F\x98\x80",
                                                  "\xEF\xBB\xBF",
                                                  "\xEF\xBF\xBE",
                                                  "\xED\xA0\x80",
                                                  "\xC0\x80",
                                                  "\xF5\x80\x80\x80",
                                                  "\x80",
                                                  "\xE2\x82",
                                                  "\xF4\x90\x80\x80",
                                                  "\xE0\x9F\xBF"};
  std::mt19937 rng(8);
  for (int round = 0; round < 30000; ++round) {
    std::string text;
    const int count = static_cast<int>(rng() % 40);
    for (int k = 0; k < count; ++k) {
      // Mostly ASCII runs, so that whole blocks, partial blocks and single bytes all occur.
      if (rng() % 3 != 0) {
        text += std::string(1 + rng() % 20, static_cast<char>('A' + rng() % 26));
      } else {
        text += pieces[rng() % pieces.size()];
      }
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int64_t>(text.size());
    std::vector<uint16_t> want(text.size() + 16, 0xAAAA), got(text.size() + 16, 0xAAAA);
    const int64_t wantCount = OriginalDecodeUTF8(bytes, length, want.data());
    const int64_t gotCount = DecodeUTF8(bytes, length, got.data());
    ASSERT_EQ(gotCount, wantCount) << round;
    ASSERT_TRUE(std::equal(want.begin(), want.begin() + wantCount + 1, got.begin())) << round;
  }
}

}  // namespace
