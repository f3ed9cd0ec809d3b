// The ASCII check the host string builder and readers share: whether a string's bytes can be
// used as they are in every encoding whose lower half is ASCII.
#pragma once

#include <cstdint>
#include <cstring>

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
