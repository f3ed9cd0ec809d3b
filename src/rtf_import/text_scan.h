// The import's text scanner: finds where a stretch of plain text ends, many bytes at a time.
// Plain text is most of a document, in stretches from one byte (between two escapes) to whole
// paragraphs; inline, so that a short stretch costs no call.
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Index of the first byte in [from, length) that plain text cannot hold ("\", "{", "}", CR or
// LF), or length when there is none. Reads only inside [from, length).
inline long long FindTextEnd(const char* text, long long from, long long length) {
  long long i = from;
#if defined(__SSE2__)
  for (; length - i >= 16; i += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    const __m128i hits =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('\\')),
                                  _mm_cmpeq_epi8(block, _mm_set1_epi8('{'))),
                     _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('}')),
                                               _mm_cmpeq_epi8(block, _mm_set1_epi8('\r'))),
                                  _mm_cmpeq_epi8(block, _mm_set1_epi8('\n'))));
    const int mask = _mm_movemask_epi8(hits);
    if (mask != 0) return i + __builtin_ctz(static_cast<unsigned>(mask));
  }
#endif
  for (; i < length; ++i) {
    const char c = text[i];
    if (c == '\\' || c == '{' || c == '}' || c == '\r' || c == '\n') break;
  }
  return i;
}
