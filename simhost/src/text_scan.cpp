#include "text_scan.h"

#include <cstring>

#include "frame/host_api.h"
#include "unicode_units.h"

namespace simhost {
namespace {

constexpr uint64_t kOnes = 0x0101010101010101ULL;
constexpr uint64_t kHighBits = 0x8080808080808080ULL;

uint64_t Load8(const unsigned char* p) {
  uint64_t w;
  std::memcpy(&w, p, sizeof w);
  return w;
}

// Non-zero when one of the eight bytes of w equals b.
uint64_t HasByte(uint64_t w, unsigned char b) {
  uint64_t x = w ^ (kOnes * b);
  return (x - kOnes) & ~x & kHighBits;
}

// Writes the UTF-8 form of c to buffer (4 bytes at most) and returns its length.
size_t EncodeUTF8(char32_t c, char* buffer) {
  size_t n;
  if (c < 0x80) {
    buffer[0] = static_cast<char>(c);
    n = 1;
  } else if (c < 0x800) {
    buffer[0] = static_cast<char>(0xC0 | c >> 6);
    buffer[1] = static_cast<char>(0x80 | (c & 0x3F));
    n = 2;
  } else if (c < 0x10000) {
    buffer[0] = static_cast<char>(0xE0 | c >> 12);
    buffer[1] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
    buffer[2] = static_cast<char>(0x80 | (c & 0x3F));
    n = 3;
  } else {
    buffer[0] = static_cast<char>(0xF0 | c >> 18);
    buffer[1] = static_cast<char>(0x80 | (c >> 12 & 0x3F));
    buffer[2] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
    buffer[3] = static_cast<char>(0x80 | (c & 0x3F));
    n = 4;
  }
  return n;
}

void PutUTF8(char32_t c, std::string* out) {
  char buffer[4];
  out->append(buffer, EncodeUTF8(c, buffer));
}

// The byte order of a UTF-16 (*utf16) or UTF-32 encoding; false for any other encoding.
bool UnicodeForm(uint32_t encoding, bool* utf16, bool* bigEndian) {
  constexpr bool kNativeBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
  switch (encoding) {
    case kREALTextEncodingUTF16:
    case kREALTextEncodingUTF32:
      *bigEndian = kNativeBigEndian;
      break;
    case kREALTextEncodingUTF16BE:
    case kREALTextEncodingUTF32BE:
      *bigEndian = true;
      break;
    case kREALTextEncodingUTF16LE:
    case kREALTextEncodingUTF32LE:
      *bigEndian = false;
      break;
    default:
      return false;
  }
  *utf16 = encoding == kREALTextEncodingUTF16 || encoding == kREALTextEncodingUTF16BE ||
           encoding == kREALTextEncodingUTF16LE;
  return true;
}

}  // namespace

bool IsAscii(std::string_view bytes) {
  auto p = reinterpret_cast<const unsigned char*>(bytes.data());
  size_t n = bytes.size(), i = 0;
  uint64_t high = 0;
  for (; i + 8 <= n; i += 8) high |= Load8(p + i);
  for (; i < n; ++i) high |= p[i];
  return (high & kHighBits) == 0;
}

bool ScanUTF8(std::string_view bytes, bool utf8, std::vector<ParagraphScan::Break>* breaks,
              int64_t* length) {
  auto p = reinterpret_cast<const unsigned char*>(bytes.data());
  const size_t n = bytes.size();
  size_t i = 0;
  int64_t chars = 0;
  while (i < n) {
    // Eight plain ASCII characters at a time.
    if (i + 8 <= n) {
      uint64_t w = Load8(p + i);
      if (((w & kHighBits) | HasByte(w, '\r') | HasByte(w, '\n')) == 0) {
        i += 8;
        chars += 8;
        continue;
      }
    }
    const unsigned char b = p[i];
    if (b < 0x80) {
      if ((b == '\r' || b == '\n') && breaks != nullptr) breaks->push_back({chars, b == '\r'});
      ++i;
      ++chars;
      continue;
    }
    if (!utf8) return false;
    // A well-formed sequence (Unicode's table of well-formed byte sequences) or nothing.
    size_t need;
    unsigned char lo = 0x80, hi = 0xBF;
    if (b >= 0xC2 && b <= 0xDF) {
      need = 1;
    } else if (b >= 0xE0 && b <= 0xEF) {
      need = 2;
      if (b == 0xE0) lo = 0xA0;
      if (b == 0xED) hi = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
      need = 3;
      if (b == 0xF0) lo = 0x90;
      if (b == 0xF4) hi = 0x8F;
    } else {
      return false;
    }
    if (n - i <= need) return false;
    if (p[i + 1] < lo || p[i + 1] > hi) return false;
    for (size_t k = 2; k <= need; ++k) {
      if ((p[i + k] & 0xC0) != 0x80) return false;
    }
    i += need + 1;
    ++chars;
  }
  *length = chars;
  return true;
}

void ByteTableToUTF8(std::string_view bytes, const char32_t* table, std::string* out,
                     std::vector<ParagraphScan::Break>* breaks) {
  auto s = reinterpret_cast<const unsigned char*>(bytes.data());
  const size_t n = bytes.size();
  size_t at = 0;
  if (out != nullptr) {
    at = out->size();
    out->resize(at + 3 * n);  // the tables hold characters of the Basic Multilingual Plane
  }
  for (size_t i = 0; i < n; ++i) {
    const char32_t c = table[s[i]];
    if ((c == '\r' || c == '\n') && breaks != nullptr) {
      breaks->push_back({static_cast<int64_t>(i), c == '\r'});
    }
    if (out == nullptr) continue;
    char* p = out->data() + at;
    if (c < 0x80) {
      p[0] = static_cast<char>(c);
      at += 1;
    } else if (c < 0x800) {
      p[0] = static_cast<char>(0xC0 | c >> 6);
      p[1] = static_cast<char>(0x80 | (c & 0x3F));
      at += 2;
    } else if (c < 0x10000) {
      p[0] = static_cast<char>(0xE0 | c >> 12);
      p[1] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
      p[2] = static_cast<char>(0x80 | (c & 0x3F));
      at += 3;
    } else {
      // Not in any table the host has; kept correct all the same.
      char buffer[4];
      size_t k = EncodeUTF8(c, buffer);
      out->resize(out->size() + 1);
      std::memcpy(out->data() + at, buffer, k);
      at += k;
    }
  }
  if (out != nullptr) out->resize(at);
}

bool UnicodeToUTF8(std::string_view bytes, uint32_t encoding, std::string* out) {
  bool utf16, bigEndian;
  if (!UnicodeForm(encoding, &utf16, &bigEndian)) return false;
  out->clear();
  out->reserve(utf16 ? bytes.size() / 2 * 3 + 3 : bytes.size() + 3);
  auto put = [out](char32_t c) {
    if (c < 0x80) {
      out->push_back(static_cast<char>(c));
    } else {
      PutUTF8(c, out);
    }
  };
  if (utf16) {
    ForEachUTF16(bytes, bigEndian, put);
  } else {
    ForEachUTF32(bytes, bigEndian, put);
  }
  return true;
}

bool SmallUnicodeToUTF8(std::string_view bytes, uint32_t encoding, char* out, size_t* length) {
  bool utf16, bigEndian;
  if (bytes.size() > kSmallUnicodeInput || !UnicodeForm(encoding, &utf16, &bigEndian)) return false;
  // At most 4 characters (3 bytes each) from UTF-16, 2 (4 bytes each) from UTF-32.
  size_t n = 0;
  auto put = [&](char32_t c) { n += EncodeUTF8(c, out + n); };
  if (utf16) {
    ForEachUTF16(bytes, bigEndian, put);
  } else {
    ForEachUTF32(bytes, bigEndian, put);
  }
  *length = n;
  return true;
}

}  // namespace simhost
