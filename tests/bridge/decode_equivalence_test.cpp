// The UTF-8 decoder (which takes blocks of ASCII bytes at once) against a byte-by-byte decoder
// that follows the rules by code point value, on random mixes of ASCII, legal and illegal
// sequences: the same units, the same count, the same stop.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bridge/host_string_read.h"

namespace {

// The decoder's rules written out by code point value: the lead byte gives the length, every
// further byte is 10xxxxxx, and the value is in its shortest form, no surrogate and at most
// U+10FFFF; the first sequence that breaks a rule, or is cut short, ends the decoding. U+FFFE
// and U+FEFF are dropped.
int64_t ReferenceDecodeUTF8(const uint8_t* source, int64_t length, uint16_t* out) {
  struct Form {
    uint8_t first, last;  // lead bytes
    int trailing;
    uint32_t smallest;
  };
  static const Form kForms[] = {
      {0x00, 0x7F, 0, 0}, {0xC0, 0xDF, 1, 0x80}, {0xE0, 0xEF, 2, 0x800}, {0xF0, 0xF7, 3, 0x10000}};
  int64_t i = 0;
  int64_t written = 0;
  while (i < length) {
    const uint8_t lead = source[i];
    const Form* form = nullptr;
    for (const Form& f : kForms) {
      if (lead >= f.first && lead <= f.last) form = &f;
    }
    if (form == nullptr || i + form->trailing >= length) break;
    uint32_t ch = lead & (0x7Fu >> form->trailing);
    bool legal = true;
    for (int k = 1; k <= form->trailing; ++k) {
      legal = legal && (source[i + k] & 0xC0) == 0x80;
      ch = ch << 6 | (source[i + k] & 0x3Fu);
    }
    if (!legal || ch < form->smallest || (ch >= 0xD800 && ch <= 0xDFFF) || ch > 0x10FFFF) break;
    i += form->trailing + 1;
    if (ch == 0xFFFE || ch == 0xFEFF) continue;
    if (ch < 0x10000) {
      out[written++] = static_cast<uint16_t>(ch);
    } else {
      out[written++] = static_cast<uint16_t>(0xD800 + ((ch - 0x10000) >> 10));
      out[written++] = static_cast<uint16_t>(0xDC00 + (ch & 0x3FF));
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
    const int64_t wantCount = ReferenceDecodeUTF8(bytes, length, want.data());
    const int64_t gotCount = DecodeUTF8(bytes, length, got.data());
    ASSERT_EQ(gotCount, wantCount) << round;
    ASSERT_TRUE(std::equal(want.begin(), want.begin() + wantCount + 1, got.begin())) << round;
  }
}

}  // namespace
