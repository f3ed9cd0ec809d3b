#include "support/utf8.h"

#include <cstdio>

namespace pendlow {

namespace {

// Length of the well-formed sequence starting at `pos`, or 0 when it is malformed (overlong
// forms, surrogates and values above U+10FFFF included).
size_t SequenceLength(std::string_view text, size_t pos, char32_t* cp) {
  auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char b0 = byte(pos);
  if (b0 < 0x80) {
    *cp = b0;
    return 1;
  }
  size_t length;
  char32_t value;
  char32_t minimum;
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    length = 2, value = b0 & 0x1F, minimum = 0x80;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    length = 3, value = b0 & 0x0F, minimum = 0x800;
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    length = 4, value = b0 & 0x07, minimum = 0x10000;
  } else {
    return 0;
  }
  if (text.size() - pos < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    unsigned char b = byte(pos + i);
    if ((b & 0xC0) != 0x80) return 0;
    value = (value << 6) | (b & 0x3F);
  }
  if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 0;
  *cp = value;
  return length;
}

}  // namespace

void AppendEscaped(char32_t cp, std::string_view escapes, const char* controlFormat,
                   std::string* out) {
  for (size_t i = 0; i + 1 < escapes.size(); i += 2) {
    if (cp == static_cast<unsigned char>(escapes[i])) {
      out->push_back('\\');
      out->push_back(escapes[i + 1]);
      return;
    }
  }
  if (cp < 0x20 || cp == 0x7F) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, controlFormat, static_cast<unsigned>(cp));
    *out += buffer;
  } else {
    AppendUtf8(cp, out);
  }
}

char32_t NextCodePoint(std::string_view text, size_t* pos) {
  char32_t cp = 0;
  size_t length = SequenceLength(text, *pos, &cp);
  if (length == 0) {
    *pos += 1;
    return 0xFFFD;
  }
  *pos += length;
  return cp;
}

void AppendUtf8(char32_t cp, std::string* out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

std::u32string DecodeUtf8(std::string_view text) {
  std::u32string result;
  result.reserve(text.size());
  for (size_t pos = 0; pos < text.size();) result.push_back(NextCodePoint(text, &pos));
  return result;
}

std::string EncodeUtf8(std::u32string_view text) {
  std::string result;
  result.reserve(text.size());
  for (char32_t cp : text) AppendUtf8(cp, &result);
  return result;
}

size_t CountCodePoints(std::string_view text) {
  size_t count = 0;
  for (size_t pos = 0; pos < text.size(); ++count) NextCodePoint(text, &pos);
  return count;
}

size_t FindInvalidUtf8(std::string_view text) {
  char32_t cp;
  for (size_t pos = 0; pos < text.size();) {
    size_t length = SequenceLength(text, pos, &cp);
    if (length == 0) return pos;
    pos += length;
  }
  return std::string_view::npos;
}

}  // namespace pendlow
