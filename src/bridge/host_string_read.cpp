// Readers of host strings: raw bytes (rbData) and lazily computed UTF-8 and UTF-16 views
// (rbText). Pure ASCII text in an ASCII-compatible encoding is never converted: every byte
// view points at the host's own bytes.
#include "bridge/host_string_read.h"

#include <cstdlib>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "bridge/ascii_check.h"
#include "bridge/host_string_build.h"
#include "frame/debug_log.h"
#include "frame/host_services.h"

// Number of continuation bytes announced by a UTF-8 lead byte.
const uint8_t UTF8_TRAILING_BYTES[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x00
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x10
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x20
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x30
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x40
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x50
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x60
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x70
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x80
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x90
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xA0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xB0
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0xC0
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0xD0
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,  // 0xE0
    3, 3, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5,  // 0xF0
};

// Subtracted after summing a sequence of n+1 bytes shifted by 6 bits each: removes the lead
// and continuation marker bits in one step.
const uint32_t UTF8_OFFSETS[6] = {0x00000000UL, 0x00003080UL, 0x000E2080UL,
                                  0x03C82080UL, 0xFA082080UL, 0x82082080UL};

namespace host_string_detail {
const char EmptyBuffer[4] = {0, 0, 0, 0};
const uint16_t EmptyBufferUInt16[2] = {0, 0};
}  // namespace host_string_detail

using host_string_detail::EmptyBuffer;
using host_string_detail::EmptyBufferUInt16;

namespace {

// Zero-filled heap buffer of count elements of elementSize bytes plus extra bytes; null when
// the size does not fit or the allocation fails.
void* ZeroedBuffer(int64_t count, size_t elementSize, size_t extra) {
  if (count < 0 || static_cast<uint64_t>(count) > (SIZE_MAX - extra) / elementSize) return nullptr;
  return std::calloc(static_cast<size_t>(count) * elementSize + extra, 1);
}

uint16_t UnitAt(const void* units, int64_t index) {
  uint16_t unit;
  std::memcpy(&unit, static_cast<const char*>(units) + index * 2, sizeof unit);
  return unit;
}

// A legal UTF-8 sequence of length bytes (1 to 4) starting at s: continuation bytes in
// 0x80-0xBF, no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsLegalUTF8(const uint8_t* s, int length) {
  for (int k = 1; k < length; ++k) {
    if (s[k] < 0x80 || s[k] > 0xBF) return false;
  }
  if (length >= 2) {
    uint8_t second = s[1];
    switch (s[0]) {
      case 0xE0:
        if (second < 0xA0) return false;
        break;
      case 0xED:
        if (second > 0x9F) return false;
        break;
      case 0xF0:
        if (second < 0x90) return false;
        break;
      case 0xF4:
        if (second > 0x8F) return false;
        break;
      default:
        break;
    }
  }
  if (s[0] >= 0x80 && s[0] < 0xC2) return false;
  return s[0] <= 0xF4;
}

}  // namespace

int ReadUTF8Sequence(const uint8_t* source, int64_t i, int64_t length, uint32_t* value) {
  const int n = UTF8_TRAILING_BYTES[source[i]];
  // The sequence's last byte must lie inside the buffer.
  if (n > 3 || i + n >= length || !IsLegalUTF8(source + i, n + 1)) return 0;
  uint32_t ch = 0;
  for (int k = 0; k <= n; ++k) {
    ch += source[i + k];
    if (k < n) ch <<= 6;
  }
  *value = ch - UTF8_OFFSETS[n];
  return n + 1;
}

int64_t DecodeUTF8(const uint8_t* source, int64_t length, uint16_t* out) {
  int64_t i = 0;
  int64_t written = 0;
  while (i < length) {
#if defined(__SSE2__)
    // Most text is mostly ASCII: up to sixteen ASCII bytes become units in one step. A block
    // is widened and stored whole (out has room for as many units as there are bytes, and
    // written never passes i); only its ASCII prefix is kept.
    if (length - i >= 8) {
      const __m128i zero = _mm_setzero_si128();
      if (length - i >= 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + i));
        const unsigned high = static_cast<unsigned>(_mm_movemask_epi8(block));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + written), _mm_unpacklo_epi8(block, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + written + 8),
                         _mm_unpackhi_epi8(block, zero));
        const int ascii = high == 0 ? 16 : __builtin_ctz(high);
        i += ascii;
        written += ascii;
        if (ascii == 16) continue;
      } else {
        const __m128i block = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source + i));
        const unsigned high = static_cast<unsigned>(_mm_movemask_epi8(block)) & 0xFFu;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + written), _mm_unpacklo_epi8(block, zero));
        const int ascii = high == 0 ? 8 : __builtin_ctz(high);
        i += ascii;
        written += ascii;
        if (ascii == 8) continue;
      }
    }
#endif
    if (source[i] < 0x80) {
      // An ASCII byte is its own unit.
      out[written++] = source[i++];
      continue;
    }
    // A legal two-byte sequence gives a unit from U+0080 to U+07FF, never one that is dropped.
    if (source[i] >= 0xC2 && source[i] < 0xE0 && i + 1 < length && (source[i + 1] & 0xC0) == 0x80) {
      out[written++] = static_cast<uint16_t>(((source[i] & 0x1F) << 6) | (source[i + 1] & 0x3F));
      i += 2;
      continue;
    }
    uint32_t ch = 0;
    const int bytes = ReadUTF8Sequence(source, i, length, &ch);
    if (bytes == 0) {
      DebugLogULong("Illegal UTF-8 sequence!", static_cast<uint64_t>(i));
      break;
    }
    i += bytes;
    written += UnitsOfCharacter(ch, out + written);
  }
  out[written] = 0;
  return written;
}

// rbData

void rbData::FixLength() {
  if (data == nullptr && length != 0) {
    length = 0;
    DebugLog("data is NULL, so size fixed to zero.");
  }
  // A host that reports a negative byte count has nothing readable.
  if (length < 0) length = 0;
}

// rbText

rbText::rbText(const TextStart& start) : rbText(nullptr) {
  if (start.string == nullptr) return;
  string = start.string;
  lengths[kBytes] = lengths[kUTF8] = lengths[kUTF16] = -1;
  if (!start.checked) {
    Classify(start.found, start.available);
    return;
  }
  encoding = kREALTextEncodingUTF8;
  if (!start.ascii) {
    state = kNotASCII;
    return;
  }
  views[kBytes] = views[kUTF8] = start.data;
  lengths[kBytes] = lengths[kUTF8] = start.length;
}

void rbText::ReleaseView(int view) {
  const int slot = Slot(view);
  const uint8_t bit = static_cast<uint8_t>(1u << slot);
  if (held_ & bit) {
    REALDisposeStringData(&records_[slot]);
    held_ = static_cast<uint8_t>(held_ & ~bit);
  }
  if (owning_ & bit) {
    std::free(owned_[slot]);
    owning_ = static_cast<uint8_t>(owning_ & ~bit);
  }
}

void rbText::Classify(uint32_t found, bool available) {
  if (!available) {
    // Without the encoding the bytes can still be checked for pure ASCII.
    encoding = 0;
    state = kUnchecked;
    return;
  }

  encoding = found;
  state = kNotCheckable;
  switch (encoding) {
    case kREALTextEncodingMacRoman:
    case kREALTextEncodingISOLatin1:
    case kREALTextEncodingWindowsLatin1:
    case kREALTextEncodingASCII:
    case kREALTextEncodingUTF8:
      state = kUnchecked;
      return;
    case kREALTextEncodingUTF16:
    case kREALTextEncodingUTF32:
    case kREALTextEncodingUTF16BE:
    case kREALTextEncodingUTF16LE:
    case kREALTextEncodingUTF32BE:
    case kREALTextEncodingUTF32LE:
      state = kNotASCII;
      return;
    case kREALTextEncodingUnknown:
      break;
    default:
      return;
  }

  // Unknown encoding: ASCII text is kept as it is; anything else is taken as Mac Roman so the
  // host can convert it.
  state = kUnchecked;
  CheckASCII();
  if (state == kPureASCII) return;

  rbData raw(string);
  if (raw.length + 4 > 0) {
    REALstring rebuilt = REALBuildUnicodeString(raw.data, raw.length, kREALTextEncodingMacRoman);
    if (rebuilt != string) {
      if (rebuilt != nullptr) REALLockString(rebuilt);
      REALUnlockString(string);
      string = rebuilt;
    }
    encoding = 0;
    if (string != nullptr) encoding = REALGetStringEncoding(string);
    state = kNotASCII;
    if (rebuilt != nullptr) REALUnlockString(rebuilt);
    DebugLog("REALBuildUnicodeString failed");
  } else {
    DebugLog("Out of Memory.");
  }
  conversionFailed = true;
}

void rbText::ReportDamage() const {
  if (marker1 != kMarker) DebugLogULong("Check1 in rbText invalid", marker1);
  if (marker2 != kMarker) DebugLogULong("Check2 in rbText invalid", marker2);
}

void rbText::ReleaseAll() {
  for (int slot = 0; slot < 2; ++slot) {
    if (held_ & (1u << slot)) REALDisposeStringData(&records_[slot]);
    if (owning_ & (1u << slot)) std::free(owned_[slot]);
  }
}

bool rbText::FetchRecord(int slot, uint32_t encoding) {
  // The host gets a cleared record to fill, as it always has.
  records_[slot] = REALstringData();
  return REALGetStringData(string, encoding, &records_[slot]);
}

void rbText::OwnView(int view, void* buffer, int64_t length) {
  // The previous buffer may be the source of the new one, so it goes only now.
  const int slot = Slot(view);
  if (owning_ & (1u << slot)) std::free(owned_[slot]);
  owned_[slot] = buffer;
  owning_ = static_cast<uint8_t>(owning_ | (1u << slot));
  views[view] = buffer;
  lengths[view] = length;
}

bool rbText::CopyTerminated(int view, size_t unitSize) {
  const int64_t n = lengths[view];
  void* copy = ZeroedBuffer(n, unitSize, 4);
  if (copy == nullptr) {
    DebugLog("Out of memory");
    views[view] = view == kUTF16 ? static_cast<const void*>(EmptyBufferUInt16) : EmptyBuffer;
    lengths[view] = 0;
    return false;
  }
  std::memcpy(copy, views[view], static_cast<size_t>(n) * unitSize);
  OwnView(view, copy, n);
  return true;
}

void rbText::FixLength(const char* data, int64_t& length) {
  if (data == nullptr && length != 0) {
    length = 0;
    DebugLog("data is NULL, so size fixed to zero.");
  }
  // A host that reports a negative byte count has nothing readable.
  if (length < 0) length = 0;
}

void rbText::ConvertUTF8() {
  if (((held_ | owning_) & 1u) != 0) ReleaseView(kUTF8);
  // The view is worked out in locals and stored once.
  const char* text = EmptyBuffer;
  int64_t length = 0;
  if (string != nullptr) {
    CheckASCII();
    if (state == kPureASCII) {
      text = static_cast<const char*>(views[kBytes]);
      length = lengths[kBytes];
    } else if (FetchRecord(0, kREALTextEncodingUTF8)) {
      held_ |= 1u;
      if (records_[0].data != nullptr) {
        text = static_cast<const char*>(records_[0].data);
        length = static_cast<int64_t>(records_[0].length);
      }
    } else {
      DebugLog("REALGetStringData failed.");
      conversionFailed = true;
    }
  }
  views[kUTF8] = text;
  lengths[kUTF8] = length;

  if (length > 0 && text[length] != 0) {
    DebugLog("String is not zero terminated. Fixed.");
    CopyTerminated(kUTF8, 1);
  }
}

void rbText::ConvertUTF16() {
  if (((held_ | owning_) & 2u) != 0) ReleaseView(kUTF16);
  lengths[kUTF16] = 0;
  views[kUTF16] = EmptyBufferUInt16;
  if (string == nullptr) return;

  CheckASCII();
  if (state == kPureASCII) {
    int64_t n = lengths[kBytes];
    const uint8_t* bytes = static_cast<const uint8_t*>(views[kBytes]);
    if (n >= 1) {
      if (auto* units = static_cast<uint16_t*>(ZeroedBuffer(n, 2, 4))) {
        for (int64_t i = 0; i < n; ++i) units[i] = bytes[i];
        OwnView(kUTF16, units, n);
      }
    }
  } else if (encoding == kREALTextEncodingUTF8 || encoding == kREALTextEncodingASCII) {
    DebugLog("Try UTF8 to UTF16 conversion...");
    const uint8_t* utf8 = reinterpret_cast<const uint8_t*>(UTF8());
    int64_t n = UTF8Length();
    if (n >= 1 && n + 8 <= kShortUnits) {
      // Short texts, the most common, are decoded into the reader itself: no allocation. The
      // decoder may store up to eight units past the text's end, as in a heap buffer.
      lengths[kUTF16] = DecodeUTF8(utf8, n, shortUnits_);
      views[kUTF16] = shortUnits_;
    } else if (n >= 1) {
      if (auto* units = static_cast<uint16_t*>(ZeroedBuffer(n, 2, 16))) {
        int64_t written = DecodeUTF8(utf8, n, units);
        OwnView(kUTF16, units, written);
      }
    }
  } else if (FetchRecord(1, kREALTextEncodingUTF16)) {
    held_ |= 2u;
    if (records_[1].data != nullptr) {
      views[kUTF16] = records_[1].data;
      lengths[kUTF16] = static_cast<int64_t>(records_[1].length / 2);
    }
  } else {
    DebugLog("REALGetStringData failed.");
    conversionFailed = true;
  }

  int64_t n = lengths[kUTF16];
  if (UnitAt(views[kUTF16], n) != 0) {
    DebugLog("String is not zero terminated. Fixed.");
    if (!CopyTerminated(kUTF16, 2)) return;
  }

  // UTF-16 in the other byte order announces itself with a swapped byte-order mark.
  if (UnitAt(views[kUTF16], 0) == 0xFFFE) {
    DebugLog("String is Little Endian. Swap.");
    auto* swapped = static_cast<uint16_t*>(ZeroedBuffer(n, 2, 4));
    if (swapped == nullptr) {
      DebugLog("Out of memory");
      views[kUTF16] = EmptyBufferUInt16;
      lengths[kUTF16] = 0;
      return;
    }
    for (int64_t i = 0; i < n; ++i) {
      uint16_t unit = UnitAt(views[kUTF16], i);
      swapped[i] = static_cast<uint16_t>((unit << 8) | (unit >> 8));
    }
    OwnView(kUTF16, swapped, n);
  }

  if (lengths[kUTF16] > 0 && UnitAt(views[kUTF16], 0) == 0xFEFF) {
    views[kUTF16] = static_cast<const uint16_t*>(views[kUTF16]) + 1;
    lengths[kUTF16] -= 1;
    if (lengths[kUTF16] > 0 && UnitAt(views[kUTF16], 0) == 0xFFFE) {
      views[kUTF16] = static_cast<const uint16_t*>(views[kUTF16]) + 1;
      lengths[kUTF16] -= 1;
    }
  }
}

void UTF8View::ReadThroughReader() {
  reader_.emplace(start_);
  // A string held as UTF-8 is checked by the first UTF8() call; the reader goes on from there.
  if (start_.checked) reader_->MakeUTF8();
  data_ = reader_->UTF8();
  length_ = reader_->UTF8Length();
}

std::string GetStringInUTF8(REALstringStruct* s) {
  rbText text(s);
  // The view is a C string: read it up to its first zero byte, not by its recorded length,
  // which is 0 on a host without the byte-count method although the bytes are there.
  return std::string(text.UTF8());
}
