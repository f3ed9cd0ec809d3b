// UTF-8 of code points, for building expected texts in tests, and the count of code points in
// UTF-8 text.
#pragma once

#include <cstddef>
#include <string>

namespace test_support {

// Appends the UTF-8 form of c to *out.
inline void AppendUtf8(char32_t c, std::string* out) {
  if (c < 0x80) {
    *out += static_cast<char>(c);
  } else if (c < 0x800) {
    *out += static_cast<char>(0xC0 | (c >> 6));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *out += static_cast<char>(0xE0 | (c >> 12));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *out += static_cast<char>(0xF0 | (c >> 18));
    *out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

inline std::string Utf8(char32_t c) {
  std::string out;
  AppendUtf8(c, &out);
  return out;
}

inline std::string Utf8(const std::u32string& text) {
  std::string out;
  for (char32_t c : text) AppendUtf8(c, &out);
  return out;
}

// Code points in valid UTF-8: every byte that is not a continuation byte starts one.
inline size_t CodePointCount(const std::string& utf8) {
  size_t count = 0;
  for (unsigned char c : utf8) count += (c & 0xC0) != 0x80;
  return count;
}

}  // namespace test_support
