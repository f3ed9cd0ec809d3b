// The text of a style run in RTF: control characters below tab vanish, CR and LF become
// paragraph marks unless they pair, the RTF specials are escaped and everything from 0x80 is a
// Unicode escape. The common text, pure ASCII held as UTF-8, is written inline while its bytes
// are checked; every other text goes through the writers of rtf_text.cpp.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "bridge/ascii_check.h"
#include "bridge/host_string_read.h"
#include "rtf_export/rtf_output.h"

namespace rtf_text {

// UTF-8 text written as the units DecodeUTF8 would give for it.
void WriteUTF8(const uint8_t* bytes, int64_t count, RTFOutput& out);
// Pure ASCII text, read from the host's own bytes.
void WriteASCII(const uint8_t* bytes, int64_t count, RTFOutput& out);
// Text that is not pure ASCII held as UTF-8: written from where StartReading stopped.
void WriteOtherText(const TextStart& start, RTFOutput& out);

#if defined(__SSE2__)
// Bytes that may need more than a copy: below space or from 128 up (one signed comparison),
// backslash and braces. Tab and the other controls written as themselves are sorted out by
// the exact path.
inline unsigned MaybeSpecial(__m128i b) {
  const __m128i m = _mm_or_si128(_mm_cmplt_epi8(b, _mm_set1_epi8(0x20)),
                                 _mm_or_si128(_mm_cmpeq_epi8(b, _mm_set1_epi8('\\')),
                                              _mm_or_si128(_mm_cmpeq_epi8(b, _mm_set1_epi8('{')),
                                                           _mm_cmpeq_epi8(b, _mm_set1_epi8('}')))));
  return static_cast<unsigned>(_mm_movemask_epi8(m));
}

// The count bytes (4 to 16) in the two halves of a block: two overlapping loads cover them, so
// nothing outside the text is read.
inline __m128i ShortBlock(const uint8_t* bytes, int64_t count) {
  if (count >= 8) {
    return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes)),
                              _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes + count - 8)));
  }
  int32_t head, tail;
  std::memcpy(&head, bytes, 4);
  std::memcpy(&tail, bytes + count - 4, 4);
  return _mm_unpacklo_epi32(_mm_cvtsi32_si128(head), _mm_cvtsi32_si128(tail));
}

// Writes the count bytes (4 to 16) as they are.
inline void CopyShort(const uint8_t* bytes, int64_t count, RTFOutput& out) {
  char* to = out.Reserve(static_cast<size_t>(count));
  if (count >= 8) {
    std::memcpy(to, bytes, 8);
    std::memcpy(to + count - 8, bytes + count - 8, 8);
  } else {
    std::memcpy(to, bytes, 4);
    std::memcpy(to + count - 4, bytes + count - 4, 4);
  }
  out.Commit(static_cast<size_t>(count));
}

// Writes the count bytes (17 to 32) as they are: two overlapping blocks.
inline void CopyTwoBlocks(__m128i head, __m128i tail, int64_t count, RTFOutput& out) {
  char* to = out.Reserve(static_cast<size_t>(count));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), head);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to + count - 16), tail);
  out.Commit(static_cast<size_t>(count));
}

// The two overlapping blocks that cover a text of 17 to 32 bytes.
struct CoveringBlocks {
  __m128i head;
  __m128i tail;
};

inline CoveringBlocks LoadCoveringBlocks(const uint8_t* bytes, int64_t count) {
  return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)),
          _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + count - 16))};
}

// Copies the text covered by the blocks in one piece when no byte of it needs care.
inline bool CopyIfPlain(const CoveringBlocks& blocks, int64_t count, RTFOutput& out) {
  if ((MaybeSpecial(blocks.head) | MaybeSpecial(blocks.tail)) != 0) return false;
  CopyTwoBlocks(blocks.head, blocks.tail, count, out);
  return true;
}
#endif

// Text whose own bytes a reader checks for pure ASCII: written as WriteASCII writes it when they
// are, false with nothing written when they are not. A short text is checked and scanned for
// the bytes that need care with the same loads.
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline bool
WriteIfASCII(const uint8_t* bytes, int64_t count, RTFOutput& out) {
#if defined(__SSE2__)
  if (count > 16 && count <= 32) {
    const CoveringBlocks blocks = LoadCoveringBlocks(bytes, count);
    if (CopyIfPlain(blocks, count, out)) return true;
    // The sign bits mark the bytes from 128 up.
    if ((_mm_movemask_epi8(blocks.head) | _mm_movemask_epi8(blocks.tail)) != 0) return false;
    WriteUTF8(bytes, count, out);
    return true;
  }
  if (count >= 4 && count <= 16) {
    const __m128i b = ShortBlock(bytes, count);
    if (MaybeSpecial(b) == 0) {
      CopyShort(bytes, count, out);
      return true;
    }
    if (_mm_movemask_epi8(b) != 0) return false;
    WriteUTF8(bytes, count, out);
    return true;
  }
#endif
  if (!AllASCII(bytes, count)) return false;
  WriteASCII(bytes, count, out);
  return true;
}

// The run's text as UTF-16 code units: control characters below tab vanish, each CR or LF is a
// paragraph mark unless it pairs with the unit just before it, RTF specials are escaped and
// everything from 0x80 becomes a Unicode escape. Pure ASCII text has the same units as its
// bytes, so it is read from them directly (a reader makes the same host calls either way).
template <typename Services>
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline void
WriteText(const Services& host, REALstringStruct* text, RTFOutput& out) {
  // Text held as UTF-8 is written while its bytes are checked (a null text has none to write).
  const TextStart start = StartReading(host, text, [&out](const char* bytes, int64_t length) {
    return WriteIfASCII(reinterpret_cast<const uint8_t*>(bytes), length, out);
  });
  if (start.ascii) {
    EndReading(host, start);
    return;
  }
  WriteOtherText(start, out);
}

}  // namespace rtf_text
