// Byte-level helpers of the import's readers: reads bounded by the text's length (past it every
// byte reads as NUL, as in a NUL-terminated copy) and the character classes they test.
#pragma once

#include <climits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace rtf_bytes {

// The length of a text whose end is not known: a NUL-terminated text, read only up to where
// its scans stop (at the NUL) and the two bytes its readers may look at behind it.
constexpr long long kUnknownLength = LLONG_MAX;

// The byte at i, or NUL at and past the end.
inline char At(const char* text, long long length, long long i) {
  return static_cast<unsigned long long>(i) < static_cast<unsigned long long>(length) ? text[i]
                                                                                      : '\0';
}

inline bool IsLower(char c) {
  return static_cast<unsigned char>(c - 'a') < 26;
}

inline bool IsDigit(char c) {
  return static_cast<unsigned char>(c - '0') < 10;
}

// The bytes that a control word leaves for the caller instead of consuming them as its
// delimiter, by value.
struct NextTokenStarts {
  bool of[256];
  constexpr NextTokenStarts() : of() {
    for (unsigned char c : {'\\', '{', '}', ';'}) of[c] = true;
  }
};
inline constexpr NextTokenStarts kNextTokenStarts{};

// A byte that a control word leaves for the caller instead of consuming it as its delimiter.
inline bool StartsNextToken(char c) {
  return kNextTokenStarts.of[static_cast<unsigned char>(c)];
}

#if defined(__SSE2__)
// One bit per byte of the block (bit n for byte n) that lies in [first, first + count).
inline unsigned RangeMask(__m128i block, char first, int count) {
  // The range moved to -128..-128 + count - 1, the only bytes below -128 + count as signed values.
  const __m128i bias = _mm_set1_epi8(static_cast<char>(0x80 - first));
  const __m128i limit = _mm_set1_epi8(static_cast<char>(-128 + count));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmplt_epi8(_mm_add_epi8(block, bias), limit)));
}

inline unsigned LowerMask(__m128i block) {
  return RangeMask(block, 'a', 26);
}

inline unsigned DigitMask(__m128i block) {
  return RangeMask(block, '0', 10);
}

// A control word's name and number measured in the sixteen bytes behind its backslash (block
// holds them, word points at them). The letters end at the first byte that is no lower-case
// letter: 16 when all are letters.
inline int LettersEnd(__m128i block) {
  return __builtin_ctz((~LowerMask(block) & 0xFFFFu) | 0x10000u);
}
// With the letters ending at k < 16: where the number behind them ends (the first byte that is
// no digit behind its first one, which may be "-"), k when there is none, 16 when it runs on
// past the block.
inline int NumberEnd(__m128i block, const char* word, int k) {
  const char c = word[k];
  if (!IsDigit(c) && c != '-') return k;
  const unsigned behind = ~DigitMask(block) & (0xFFFEu << k) & 0xFFFFu;
  return behind != 0 ? __builtin_ctz(behind) : 16;
}
#endif

// Index of the first byte at or behind k that is no lower-case letter; length when the letters
// run to the end. Sixteen bytes per step where the end is known; byte by byte otherwise, so
// that a NUL-terminated text is not read past its terminator.
inline long long SkipLetters(const char* text, long long k, long long length) {
#if defined(__SSE2__)
  if (length != kUnknownLength) {
    for (; length - k >= 16; k += 16) {
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + k));
      const unsigned others = ~LowerMask(block) & 0xFFFFu;
      if (others != 0) return k + __builtin_ctz(others);
    }
  }
#endif
  while (k < length && IsLower(text[k])) ++k;
  return k;
}

}  // namespace rtf_bytes
