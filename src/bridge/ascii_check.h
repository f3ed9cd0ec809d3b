// The byte checks the host string builder, readers and writer share: whether a string's bytes
// can be used as they are in every encoding whose lower half is ASCII, and whether they hold a
// zero byte.
#pragma once

#include <cstdint>
#include <cstring>

// Whether the two Word-sized pieces at the start and the end of count bytes (Word to twice
// Word long) hold a zero byte: a short string is looked at in two overlapping loads.
template <typename Word>
inline bool ZeroByteInTwoWords(const char* bytes, int64_t count) {
  Word a, b;
  std::memcpy(&a, bytes, sizeof a);
  std::memcpy(&b, bytes + count - static_cast<int64_t>(sizeof b), sizeof b);
  constexpr Word kOnes = static_cast<Word>(~Word(0)) / 0xFF, kHighs = kOnes * 0x80;
  return ((((a - kOnes) & ~a) | ((b - kOnes) & ~b)) & kHighs) != 0;
}

// Whether count bytes hold a zero byte. Font names are short: four to sixteen bytes are looked
// at in two overlapping words.
inline bool HasZeroByte(const char* bytes, int64_t count) {
  if (count > 16) return std::memchr(bytes, 0, static_cast<size_t>(count)) != nullptr;
  if (count >= 8) return ZeroByteInTwoWords<uint64_t>(bytes, count);
  if (count >= 4) return ZeroByteInTwoWords<uint32_t>(bytes, count);
  for (int64_t i = 0; i < count; ++i) {
    if (bytes[i] == 0) return true;
  }
  return false;
}

// No byte of count at bytes is 0x80 or above: sixteen bytes per step, and a short string or
// the tail of a long one in one or two overlapping loads.
inline bool AllASCII(const uint8_t* bytes, int64_t count) {
  constexpr uint64_t kHigh = 0x8080808080808080u;
  uint64_t a = 0, b = 0;
  if (count >= 8) {
    int64_t i = 0;
    for (; count - i >= 16; i += 16) {
      std::memcpy(&a, bytes + i, 8);
      std::memcpy(&b, bytes + i + 8, 8);
      if (((a | b) & kHigh) != 0) return false;
    }
    if (i == count) return true;
    std::memcpy(&a, bytes + (count - i > 8 ? i : count - 8), 8);
    std::memcpy(&b, bytes + count - 8, 8);
    return ((a | b) & kHigh) == 0;
  }
  if (count >= 4) {
    uint32_t x, y;
    std::memcpy(&x, bytes, 4);
    std::memcpy(&y, bytes + count - 4, 4);
    return ((x | y) & 0x80808080u) == 0;
  }
  for (int64_t i = 0; i < count; ++i) {
    if (bytes[i] >= 0x80) return false;
  }
  return true;
}
