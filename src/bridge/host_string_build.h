// Building host strings from bytes or code units, by the paths each host version offers.
// UTF-16 and UTF-32 input always comes back as a UTF-8 host string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "bridge/host_exceptions.h"
#include "frame/host_api.h"
#include "frame/host_services.h"

// New host string owned by the caller, or null (also for empty input). count is in bytes.
REALstringStruct* REALBuildUnicodeString(const void* data, int64_t count, uint32_t encoding);

// REALBuildUnicodeString of one UTF-16 code unit (two bytes), without the checks that input
// of that size and encoding always passes.
REALstringStruct* BuildUTF16Unit(uint16_t unit);

// REALBuildUnicodeString of bytes in a single-byte encoding (the import's collected text):
// the common encodings whose lower half is ASCII take a path of their own.
REALstringStruct* BuildByteString(const char* bytes, size_t length, uint32_t encoding);

// CString2RB of UTF-8 text (not null) whose length is known: length is strlen(text).
REALstringStruct* BuildUTF8String(const char* text, size_t length);

// Host string of a zero-terminated byte string in the given encoding, or null when empty.
REALstringStruct* CString2RB(const char* text, uint32_t encoding);
// The same for a text whose length is known: length is strlen(text).
REALstringStruct* CString2RB(const char* text, size_t length, uint32_t encoding);

// The same strings on a host that builds strings with their encoding (2012 and later), through
// the string services' entries once they are known to be set (host_resolved). Each is the
// builder above minus its tests; the host calls and their arguments are the same.
namespace host_string_resolved {

// Each with the builders' host exception guard (WithHostExceptionGuard) written out, so that
// the build stays in the caller rather than in a template instance of its own.

// BuildWithEncoding of 1 to 2^31 - 1 bytes.
inline REALstringStruct* BuildBytes(const char* bytes, size_t length, uint32_t encoding) {
  try {
    return host_resolved::REALBuildStringWithEncoding()(bytes, static_cast<int32_t>(length),
                                                        encoding);
  } catch (const std::exception& e) {
    RaiseRuntimeException(e);
  } catch (...) {
    RaiseUnnamedException();
  }
  return nullptr;
}

// BuildUTF16Unit: the unit built as UTF-16 and handed back as the host's UTF-8 conversion.
inline REALstringStruct* BuildUTF16Unit(uint16_t unit) {
  try {
    REALstringStruct* s = host_resolved::REALBuildStringWithEncoding()(
        reinterpret_cast<const char*>(&unit), 2, kREALTextEncodingUTF16);
    REALstringStruct* r = host_resolved::REALConvertString()(s, kREALTextEncodingUTF8);
    if (s != nullptr) host_resolved::REALUnlockString()(s);
    return r;
  } catch (const std::exception& e) {
    RaiseRuntimeException(e);
  } catch (...) {
    RaiseUnnamedException();
  }
  return nullptr;
}

// The number of bytes before the first NUL of size bytes (size when there is none), and in
// *ascii whether all of those are below 0x80.
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline size_t
TextBeforeNul(const char* bytes, size_t size, bool* ascii) {
  size_t length = 0;
  bool high = false;
#if defined(__SSE2__)
  if (size >= 16) {
    // Thirty-two bytes per step while no NUL is among them (the smaller of each pair of bytes
    // is 0 only where one is); the OR of all of them keeps every high bit.
    const __m128i zero = _mm_setzero_si128();
    __m128i seen = zero;
    for (; size - length > 32; length += 32) {
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + length));
      const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + length + 16));
      if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(a, b), zero)) != 0) break;
      seen = _mm_or_si128(seen, _mm_or_si128(a, b));
    }
    if (size - length <= 32) {
      // The rest as the last 32 bytes, or a text of 16 to 32 bytes as its first and last 16.
      const char* first = size >= 32 ? bytes + size - 32 : bytes;
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
      const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + size - 16));
      if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(a, b), zero)) == 0) {
        seen = _mm_or_si128(seen, _mm_or_si128(a, b));
        length = size;
      }
    }
    high = _mm_movemask_epi8(seen) != 0;
  }
#endif
  if (length == 0 && size >= 8) {
    // Eight bytes per step while no NUL is among them (also the 8 to 15 bytes of a short text
    // where SSE2 takes the longer ones).
    constexpr uint64_t kOnes = 0x0101010101010101u, kHighs = kOnes * 0x80;
    uint64_t seen = 0, word;
    for (; size - length > 8; length += 8) {
      std::memcpy(&word, bytes + length, 8);
      if (((word - kOnes) & ~word & kHighs) != 0) break;
      seen |= word;
    }
    if (size - length <= 8) {
      // The last eight bytes, overlapping those already seen.
      std::memcpy(&word, bytes + size - 8, 8);
      if (((word - kOnes) & ~word & kHighs) == 0) {
        seen |= word;
        length = size;
      }
    }
    high = (seen & kHighs) != 0;
  }
  // The rest (a short text, or the piece that holds the NUL) byte by byte.
  unsigned int rest = 0;
  for (; length < size && bytes[length] != 0; ++length)
    rest |= static_cast<unsigned char>(bytes[length]);
  *ascii = !high && rest < 0x80;
  return length;
}

// The import's collected text (size bytes) as the host string of its run, as BuildByteString
// builds it from the bytes before the first NUL (where the byte string's C string ends): null
// when there are none.
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline REALstringStruct*
BuildRunText(const char* bytes, size_t size, uint32_t encoding) {
  bool ascii;
  const size_t length = TextBeforeNul(bytes, size, &ascii);
  if (length == 0) return nullptr;
  if (length >= 0x80000000u) return ::BuildByteString(bytes, length, encoding);
  // Pure ASCII in an encoding whose lower half is ASCII (the default one first) is labelled as
  // such so the host never has to convert it.
  if (encoding == kREALTextEncodingWindowsLatin1 || encoding == kREALTextEncodingMacRoman ||
      encoding == kREALTextEncodingISOLatin1 || encoding == kREALTextEncodingUnknown) {
    if (ascii) encoding = kREALTextEncodingASCII;
  } else if (encoding == kREALTextEncodingUTF16 || encoding == kREALTextEncodingUTF32) {
    return ::BuildByteString(bytes, length, encoding);
  }
  return BuildBytes(bytes, length, encoding);
}

}  // namespace host_string_resolved
