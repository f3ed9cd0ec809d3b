// Plain text is by far the most common content of a document, and most of it comes in long
// stretches between two control words; looking at sixteen bytes per step keeps the scan far
// cheaper than the per-byte work around it.
#include "rtf_import/text_scan.h"

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#define PENDLOW_SSE2 1
#endif

namespace {

bool EndsText(char c) {
  return c == '\\' || c == '{' || c == '}' || c == '\r' || c == '\n';
}

}  // namespace

long long FindTextEnd(const char* text, long long from, long long length) {
  long long i = from;
#if defined(PENDLOW_SSE2)
  const __m128i backslash = _mm_set1_epi8('\\');
  const __m128i open = _mm_set1_epi8('{');
  const __m128i close = _mm_set1_epi8('}');
  const __m128i cr = _mm_set1_epi8('\r');
  const __m128i lf = _mm_set1_epi8('\n');
  for (; length - i >= 16; i += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    const __m128i hits = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi8(block, backslash), _mm_cmpeq_epi8(block, open)),
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, close), _mm_cmpeq_epi8(block, cr)),
                     _mm_cmpeq_epi8(block, lf)));
    const int mask = _mm_movemask_epi8(hits);
    if (mask != 0) return i + __builtin_ctz(static_cast<unsigned>(mask));
  }
#endif
  while (i < length && !EndsText(text[i])) ++i;
  return i;
}
