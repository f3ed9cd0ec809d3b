// The import's text scanner: finds where a stretch of plain text ends, many bytes at a time.
// Plain text is most of a document, in stretches from one byte (between two escapes) to whole
// paragraphs; inline, so that a short stretch costs no call.
#pragma once

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// The bytes that plain text cannot hold, by value.
struct TextEnds {
  bool of[256];
  constexpr TextEnds() : of() {
    for (unsigned char c : {'\\', '{', '}', '\r', '\n'}) of[c] = true;
  }
};
inline constexpr TextEnds kTextEnds{};

inline bool EndsText(char c) {
  return kTextEnds.of[static_cast<unsigned char>(c)];
}

#if defined(__SSE2__)
// A superset of the bytes that end plain text, one mask bit per byte of the block: "\", "{" and
// "}" are the range 0x5B..0x5D once bit 5 is cleared (with "[", "]" and "|"), CR and LF lie in
// 0x0A..0x0D (with VT and FF). Two range tests instead of five comparisons; the few others
// found are told apart one by one.
inline unsigned TextEndCandidates(__m128i block) {
  const __m128i symbols =
      _mm_cmplt_epi8(_mm_add_epi8(_mm_and_si128(block, _mm_set1_epi8(static_cast<char>(0xDF))),
                                  _mm_set1_epi8(static_cast<char>(0x80 - 0x5B))),
                     _mm_set1_epi8(static_cast<char>(-128 + 3)));
  const __m128i breaks =
      _mm_cmplt_epi8(_mm_add_epi8(block, _mm_set1_epi8(static_cast<char>(0x80 - 0x0A))),
                     _mm_set1_epi8(static_cast<char>(-128 + 4)));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(symbols, breaks)));
}
#endif

// Index of the first byte in [from, length) that plain text cannot hold ("\", "{", "}", CR or
// LF), or length when there is none. Reads only inside [from, length).
inline long long FindTextEnd(const char* text, long long from, long long length) {
  long long i = from;
#if defined(__SSE2__)
  for (; length - i >= 16; i += 16) {
    unsigned candidates =
        TextEndCandidates(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i)));
    for (; candidates != 0; candidates &= candidates - 1) {
      const long long k = i + __builtin_ctz(candidates);
      if (EndsText(text[k])) return k;
    }
  }
#endif
  while (i < length && !EndsText(text[i])) ++i;
  return i;
}

#if defined(__SSE2__)
namespace text_scan_detail {

// Four "\'hh" in the four 4-byte lanes of x. fits gets one bit per byte that is what its place
// in the lane asks for: the backslash and the apostrophe, then two hexadecimal digits of either
// case. The result holds in the low 16 bits of 32-bit lane n the values of lane n's digits, the
// first in the low byte.
inline __m128i EscapeDigits(__m128i x, unsigned& fits) {
  // Each test moves the bytes a place accepts to the bottom of the signed range and compares:
  // one byte value for the backslash and the apostrophe, "0".."9" for a digit; then, on the
  // byte with bit 5 set, "a".."f" for a digit's letter (no byte for the first two places).
  const __m128i exact = _mm_cmplt_epi8(_mm_add_epi8(x, _mm_set1_epi32(0x50505924)),
                                       _mm_set1_epi32(static_cast<int>(0x8A8A8181u)));
  const __m128i letter =
      _mm_cmplt_epi8(_mm_add_epi8(_mm_or_si128(x, _mm_set1_epi8(0x20)), _mm_set1_epi32(0x1F1F0000)),
                     _mm_set1_epi32(static_cast<int>(0x86868080u)));
  fits = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(exact, letter)));
  // A digit's value is its low four bits, plus nine for a letter.
  const __m128i value =
      _mm_add_epi8(_mm_and_si128(x, _mm_set1_epi8(0x0F)), _mm_and_si128(letter, _mm_set1_epi8(9)));
  return _mm_srli_epi32(value, 16);
}

// The bytes of up to four escapes in the low 32-bit lanes of digits (from EscapeDigits), written
// to out as four bytes: each 16-bit word h + 256 * l times 0x1001 is h + 256 * l + 4096 * h
// (l * 0x100000 falls off the top), h * 16 + l in its high byte.
inline void StoreEscapeBytes(__m128i digits, char* out) {
  const __m128i words = _mm_packs_epi32(digits, digits);
  const __m128i bytes = _mm_srli_epi16(_mm_mullo_epi16(words, _mm_set1_epi16(0x1001)), 8);
  const int four = _mm_cvtsi128_si32(_mm_packus_epi16(bytes, bytes));
  std::memcpy(out, &four, 4);
}

}  // namespace text_scan_detail

// The whole "\'hh" escapes with two hexadecimal digits (either case) that follow one another
// from p on, up to eight, read from the 32 bytes at p (all must be readable; the second 16 only
// when the first hold four): their bytes are written to out, which takes eight bytes whatever
// the count, and their count is returned.
inline int DecodeEscapeRow(const char* p, char* out) {
  using namespace text_scan_detail;
  unsigned fits;
  StoreEscapeBytes(EscapeDigits(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), fits), out);
  if (fits != 0xFFFFu) return __builtin_ctz(~fits) >> 2;
  StoreEscapeBytes(EscapeDigits(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16)), fits),
                   out + 4);
  return 4 + (__builtin_ctz(~fits) >> 2);
}
#endif
