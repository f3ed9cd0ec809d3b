// Text as the host reads it: UTF-8 of a string's bytes, its length in characters and the
// language's case-insensitive comparison.
#include <locale.h>
#include <wctype.h>

#include "code_page_tables.h"
#include "encodings.h"
#include "host_state.h"
#include "text_scan.h"

namespace simhost {
namespace {

// Simple case folding: ASCII and Latin-1 directly, the rest of the BMP through the C.UTF-8
// locale's towlower when the system has it (on Windows, through a table generated from it).
char32_t Fold(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 32 : c;
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return c + 32;
  if (c > 0xFFFF) return c;
#if defined(_WIN32)
  return tables::LowerCase(c);
#else
  static locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
  if (utf8 != static_cast<locale_t>(0)) return static_cast<char32_t>(towlower_l(c, utf8));
#endif
  if ((c >= 0x391 && c <= 0x3A9 && c != 0x3A2) || (c >= 0x410 && c <= 0x42F)) return c + 32;
  if (c >= 0x400 && c <= 0x40F) return c + 80;
  if (c >= 0x100 && c <= 0x17F && c % 2 == 0 && c != 0x130 && c != 0x138) return c + 1;
  return c;
}

}  // namespace

std::u32string Decode(std::string_view bytes, Encoding encoding) {
  std::u32string text;
  if (!DecodeText(bytes, encoding, &text)) DecodeText(bytes, kREALTextEncodingUnknown, &text);
  return text;
}

std::string ToUTF8(std::string_view bytes, Encoding encoding) {
  int64_t length;
  if (encoding == kREALTextEncodingUTF8 ? ScanUTF8(bytes, true, nullptr, &length)
                                        : IsAsciiCompatible(encoding) && IsAscii(bytes)) {
    return std::string(bytes);
  }
  // Also for UTF-8 input: ill-formed bytes come out as U+FFFD.
  std::string out;
  EncodeText(Decode(bytes, encoding), kREALTextEncodingUTF8, &out);
  return out;
}

int64_t LengthOf(std::string_view bytes, Encoding encoding) {
  int64_t n = CountCharacters(bytes, encoding);
  return n >= 0 ? n : static_cast<int64_t>(bytes.size());
}

namespace {

// Whether the bytes read as the same characters in UTF-8: pure ASCII in an encoding whose lower
// half is ASCII, or well-formed UTF-8.
bool ReadsAsUTF8(std::string_view bytes, Encoding encoding) {
  int64_t length;
  return encoding == kREALTextEncodingUTF8 ? ScanUTF8(bytes, true, nullptr, &length)
                                           : IsAscii(bytes) && IsAsciiCompatible(encoding);
}

// The code point at *i of well-formed UTF-8, stepping past it.
char32_t NextOfWellFormed(std::string_view s, size_t* i) {
  auto b = static_cast<unsigned char>(s[*i]);
  size_t n = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
  char32_t c = n == 1 ? b : b & (0x7F >> n);
  for (size_t k = 1; k < n; ++k) c = c << 6 | (static_cast<unsigned char>(s[*i + k]) & 0x3F);
  *i += n;
  return c;
}

}  // namespace

int CompareText(std::string_view a, Encoding ea, std::string_view b, Encoding eb) {
  // The same bytes in the same encoding are the same characters.
  if (ea == eb && a == b) return 0;
  if (ReadsAsUTF8(a, ea) && ReadsAsUTF8(b, eb)) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
      char32_t p = Fold(NextOfWellFormed(a, &i)), q = Fold(NextOfWellFormed(b, &j));
      if (p != q) return p < q ? -1 : 1;
    }
    return i == a.size() && j == b.size() ? 0 : i == a.size() ? -1 : 1;
  }
  std::u32string x = Decode(a, ea), y = Decode(b, eb);
  size_t n = std::min(x.size(), y.size());
  for (size_t i = 0; i < n; ++i) {
    char32_t p = Fold(x[i]), q = Fold(y[i]);
    if (p != q) return p < q ? -1 : 1;
  }
  return x.size() == y.size() ? 0 : x.size() < y.size() ? -1 : 1;
}

}  // namespace simhost
