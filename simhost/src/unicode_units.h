// Reading UTF-16 and UTF-32 bytes as characters, shared by the general conversions and the fast
// paths so that both give the same characters for the same bytes.
#pragma once

#include <cstddef>
#include <string_view>

namespace simhost {

constexpr char32_t kReplacementCharacter = 0xFFFD;

// Calls put(char32_t) for each character of UTF-16 bytes: a lone surrogate and a trailing odd
// byte each give U+FFFD.
template <typename Put>
void ForEachUTF16(std::string_view bytes, bool bigEndian, Put put) {
  auto s = reinterpret_cast<const unsigned char*>(bytes.data());
  const size_t units = bytes.size() / 2;
  auto unit = [&](size_t k) -> char32_t {
    return bigEndian ? char32_t(s[2 * k]) << 8 | s[2 * k + 1]
                     : char32_t(s[2 * k + 1]) << 8 | s[2 * k];
  };
  for (size_t k = 0; k < units; ++k) {
    char32_t u = unit(k);
    if (u >= 0xD800 && u <= 0xDBFF && k + 1 < units) {
      char32_t v = unit(k + 1);
      if (v >= 0xDC00 && v <= 0xDFFF) {
        put(0x10000 + ((u - 0xD800) << 10) + (v - 0xDC00));
        ++k;
        continue;
      }
    }
    put(u >= 0xD800 && u <= 0xDFFF ? kReplacementCharacter : u);
  }
  if (bytes.size() % 2 != 0) put(kReplacementCharacter);
}

// Calls put(char32_t) for each character of UTF-32 bytes: a surrogate, a value beyond Unicode
// and trailing bytes of an incomplete unit each give U+FFFD.
template <typename Put>
void ForEachUTF32(std::string_view bytes, bool bigEndian, Put put) {
  auto s = reinterpret_cast<const unsigned char*>(bytes.data());
  const size_t n = bytes.size();
  for (size_t i = 0; i + 4 <= n; i += 4) {
    char32_t c =
        bigEndian
            ? char32_t(s[i]) << 24 | char32_t(s[i + 1]) << 16 | char32_t(s[i + 2]) << 8 | s[i + 3]
            : char32_t(s[i + 3]) << 24 | char32_t(s[i + 2]) << 16 | char32_t(s[i + 1]) << 8 | s[i];
    put(c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF) ? kReplacementCharacter : c);
  }
  if (n % 4 != 0) put(kReplacementCharacter);
}

}  // namespace simhost
