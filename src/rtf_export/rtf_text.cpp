// The writers of a style run's text that are not inline: UTF-8 and UTF-16 text with every byte
// or unit sorted by the text rules, and the readers' ways to text outside pure ASCII.
#include "rtf_export/rtf_text.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "frame/debug_log.h"
#include "frame/host_services.h"

namespace rtf_text {
namespace {

// What the text rules do with a code unit below 128.
enum UnitClass : unsigned char { kPlain, kDrop, kEscape, kCR, kLF };

struct UnitClasses {
  unsigned char of[128];
  constexpr UnitClasses() : of() {
    for (int u = 0; u < 9; ++u) of[u] = kDrop;
    of[10] = kLF;
    of[13] = kCR;
    of[static_cast<unsigned char>('\\')] = kEscape;
    of[static_cast<unsigned char>('{')] = kEscape;
    of[static_cast<unsigned char>('}')] = kEscape;
  }
};
constexpr UnitClasses kUnits;

// Which of sixteen bytes are not written as themselves: below tab, CR, LF, the RTF specials and
// everything from 128 up.
#if defined(__SSE2__)
inline unsigned SpecialBytes(__m128i b) {
  const __m128i special =
      _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(_mm_min_epu8(b, _mm_set1_epi8(8)), b),
                                _mm_cmpeq_epi8(b, _mm_set1_epi8(10))),
                   _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(b, _mm_set1_epi8(13)),
                                             _mm_cmpeq_epi8(b, _mm_set1_epi8('\\'))),
                                _mm_or_si128(_mm_cmpeq_epi8(b, _mm_set1_epi8('{')),
                                             _mm_cmpeq_epi8(b, _mm_set1_epi8('}')))));
  // The sign bits mark bytes from 128 up.
  return static_cast<unsigned>(_mm_movemask_epi8(special) | _mm_movemask_epi8(b));
}
#endif

// One unit that is not plain: dropped below tab, a paragraph mark for CR or LF unless it pairs
// with the unit before, a backslash before the RTF specials, a Unicode escape from 128 up.
void WriteSpecial(uint16_t u, uint16_t prev, RTFOutput& out) {
  if (u >= 128) {
    // \u, three to five digits and a space, written in place.
    char* to = out.Reserve(8);
    const size_t digits = u < 1000 ? 3 : u < 10000 ? 4 : 5;
    to[0] = '\\';
    to[1] = 'u';
    uint32_t v = u;
    for (size_t k = digits; k != 0; --k) {
      to[1 + k] = static_cast<char>('0' + v % 10);
      v /= 10;
    }
    to[2 + digits] = ' ';
    out.Commit(3 + digits);
    return;
  }
  switch (kUnits.of[u]) {
    case kCR:
      if (prev != 10) out.AppendLiteral("\\par ");
      break;
    case kLF:
      if (prev != 13) out.AppendLiteral("\\par ");
      break;
    case kEscape: {
      char* to = out.Reserve(2);
      to[0] = '\\';
      to[1] = static_cast<char>(u);
      out.Commit(2);
      break;
    }
    case kPlain:
      out.Append(static_cast<char>(u));  // tab, vertical tab, form feed and other controls
      break;
    default:
      break;  // below tab: dropped
  }
}

#if defined(__SSE2__)
// Writes the count bytes (4 to 16) as they are when none needs care; false otherwise.
inline bool CopyShortPlain(const uint8_t* bytes, int64_t count, RTFOutput& out) {
  if (MaybeSpecial(ShortBlock(bytes, count)) != 0) return false;
  CopyShort(bytes, count, out);
  return true;
}

#endif

void WriteUnits(const uint16_t* units, int64_t count, RTFOutput& out) {
  uint16_t prev = 0;
  int64_t i = 0;
#if defined(__SSE2__)
  // Sixteen units packed into bytes with unsigned saturation: units from 128 up become 0 or a
  // byte from 128 up, so a block without special bytes is sixteen plain ASCII characters.
  while (count - i >= 16) {
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + i));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + i + 8));
    const __m128i bytes = _mm_packus_epi16(low, high);
    const unsigned mask = SpecialBytes(bytes);
    char* to = out.Reserve(16);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
    if (mask == 0) {
      out.Commit(16);
      prev = units[i + 15];
      i += 16;
      continue;
    }
    const int plain = __builtin_ctz(mask);
    out.Commit(static_cast<size_t>(plain));
    if (plain != 0) prev = units[i + plain - 1];
    i += plain;
    WriteSpecial(units[i], prev, out);
    prev = units[i];
    ++i;
  }
#endif
  for (; i < count; ++i) {
    const uint16_t u = units[i];
    if (u < 128 && kUnits.of[u] == kPlain) {
      out.Append(static_cast<char>(u));
    } else {
      WriteSpecial(u, prev, out);
    }
    prev = u;
  }
}

#if defined(__SSE2__)
// Copies count bytes (1 to 15) to to in at most two overlapping pieces; returns the position
// after them.
inline char* CopyFew(char* to, const uint8_t* from, int64_t count) {
  if (count >= 8) {
    std::memcpy(to, from, 8);
    std::memcpy(to + count - 8, from + count - 8, 8);
  } else if (count >= 4) {
    std::memcpy(to, from, 4);
    std::memcpy(to + count - 4, from + count - 4, 4);
  } else {
    for (int64_t k = 0; k < count; ++k) to[k] = static_cast<char>(from[k]);
  }
  return to + count;
}
#endif

// A unit from 0x80 up as "\\u", its decimal value and a space, at to; returns the position after.
// "00" to "99": a unit's digits are written two at a time.
struct DigitPairs {
  char of[200];
  constexpr DigitPairs() : of() {
    for (int k = 0; k < 100; ++k) {
      of[2 * k] = static_cast<char>('0' + k / 10);
      of[2 * k + 1] = static_cast<char>('0' + k % 10);
    }
  }
};
constexpr DigitPairs kDigitPairs;

// The four digits of a value below 10000, leading zeros included, at to.
inline void PutFourDigits(char* to, uint32_t v) {
  const uint32_t high = v / 100;
  std::memcpy(to, kDigitPairs.of + 2 * high, 2);
  std::memcpy(to + 2, kDigitPairs.of + 2 * (v - high * 100), 2);
}

inline char* PutUnicodeEscape(char* to, uint32_t u) {
  to[0] = '\\';
  to[1] = 'u';
  if (u < 1000) {  // three digits
    const uint32_t high = u / 100;
    to[2] = static_cast<char>('0' + high);
    std::memcpy(to + 3, kDigitPairs.of + 2 * (u - high * 100), 2);
    to[5] = ' ';
    return to + 6;
  }
  if (u < 10000) {
    PutFourDigits(to + 2, u);
    to[6] = ' ';
    return to + 7;
  }
  const uint32_t top = u / 10000;
  to[2] = static_cast<char>('0' + top);
  PutFourDigits(to + 3, u - top * 10000);
  to[7] = ' ';
  return to + 8;
}

// What the text rules do with each byte of UTF-8: the classes of the units below 128, and from
// 128 up the lead bytes of the two-byte sequences and everything else.
enum ByteClass : unsigned char {
  kPlainByte,
  kDropByte,
  kEscapeByte,
  kCRByte,
  kLFByte,
  kTwoByteLead,
  kOtherByte
};

struct ByteClasses {
  unsigned char of[256];
  constexpr ByteClasses() : of() {
    for (int b = 0; b < 128; ++b) {
      const unsigned char unit = kUnits.of[b];
      of[b] = unit == kDrop     ? kDropByte
              : unit == kEscape ? kEscapeByte
              : unit == kCR     ? kCRByte
              : unit == kLF     ? kLFByte
                                : kPlainByte;
    }
    for (int b = 128; b < 256; ++b) of[b] = b >= 0xC2 && b < 0xE0 ? kTwoByteLead : kOtherByte;
  }
};
constexpr ByteClasses kByteClasses;

}  // namespace

// UTF-8 text written as the units DecodeUTF8 would give for it, without making them. The units
// DecodeUTF8 drops (byte-order marks, U+FFFE, lone surrogates) are left out here too, and an
// illegal or truncated sequence ends the text in the same place with the same log line. No
// byte gives more than five bytes of output ("\\par "), so each stretch of input is written
// into room reserved for that; sixteen plain bytes are copied at once.
void WriteUTF8(const uint8_t* bytes, int64_t count, RTFOutput& out) {
  constexpr int64_t kStretch = 4096;
  // CR and LF pair with the unit before them. That unit ends at the byte before, unless a
  // character that gives no unit lies between: then it is the one before that character.
  int64_t resumeAt = -1;
  uint32_t unitBeforeDropped = 0;
  const auto unitBefore = [&](int64_t at) -> uint32_t {
    return at == resumeAt ? unitBeforeDropped : at == 0 ? 0u : bytes[at - 1];
  };
  int64_t i = 0;
  while (i < count) {
    // A sequence that starts inside the stretch may end up to three bytes after it.
    const int64_t end = count - i > kStretch ? i + kStretch : count;
    char* const start = out.Reserve(static_cast<size_t>(end - i + 4) * 5);
    char* to = start;
    while (i < end) {
#if defined(__SSE2__)
      if (count - i >= 16) {
        // The block is stored whole; only its plain bytes are kept.
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), b);
        const unsigned mask = MaybeSpecial(b);
        if (mask == 0) {
          to += 16;
          i += 16;
          continue;
        }
        const int plain = __builtin_ctz(mask);
        to += plain;
        i += plain;
      } else if (count >= 16) {
        // Near the end the last sixteen bytes are looked at, those before i masked off.
        const int64_t at = count - 16;
        const unsigned mask =
            MaybeSpecial(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + at))) >> (i - at);
        const int64_t plain = mask == 0 ? count - i : __builtin_ctz(mask);
        if (count - i >= 8 && plain <= 8) {
          // One word covers the stretch; what it writes past it is room the rest overwrites.
          std::memcpy(to, bytes + i, 8);
          to += plain;
        } else {
          to = CopyFew(to, bytes + i, plain);
        }
        i += plain;
        if (i == count) break;
      }
#endif
      const uint8_t lead = bytes[i];
      switch (kByteClasses.of[lead]) {
        case kPlainByte:
          *to++ = static_cast<char>(lead);
          ++i;
          continue;
        case kDropByte:
          ++i;
          continue;
        case kEscapeByte:
          to[0] = '\\';
          to[1] = static_cast<char>(lead);
          to += 2;
          ++i;
          continue;
        case kCRByte:
          if (unitBefore(i) != 10) to = PutLiteral(to, "\\par ");
          ++i;
          continue;
        case kLFByte:
          if (unitBefore(i) != 13) to = PutLiteral(to, "\\par ");
          ++i;
          continue;
        case kTwoByteLead:
          // A legal two-byte sequence gives a unit from U+0080 to U+07FF, never one dropped.
          if (i + 1 < count && (bytes[i + 1] & 0xC0) == 0x80) {
            to = PutUnicodeEscape(to, ((lead & 0x1Fu) << 6) | (bytes[i + 1] & 0x3Fu));
            i += 2;
            continue;
          }
          break;
        default:
          break;
      }
      uint32_t ch = 0;
      const int length = ReadUTF8Sequence(bytes, i, count, &ch);
      if (length == 0) {
        out.Commit(static_cast<size_t>(to - start));
        DebugLogULong("Illegal UTF-8 sequence!", static_cast<uint64_t>(i));
        return;
      }
      uint16_t units[2];
      const int n = UnitsOfCharacter(ch, units);
      for (int k = 0; k < n; ++k) to = PutUnicodeEscape(to, units[k]);
      if (n == 0) {
        unitBeforeDropped = unitBefore(i);
        resumeAt = i + length;
      }
      i += length;
    }
    out.Commit(static_cast<size_t>(to - start));
  }
}

// Pure ASCII text, read from the host's own bytes. A short run that needs no escape is copied
// in one piece; anything else is written as the UTF-8 it also is, each byte a character.
void WriteASCII(const uint8_t* bytes, int64_t count, RTFOutput& out) {
#if defined(__SSE2__)
  if (count > 16 && count <= 32) {
    if (CopyIfPlain(LoadCoveringBlocks(bytes, count), count, out)) return;
  } else if (count >= 4 && count <= 16) {
    if (CopyShortPlain(bytes, count, out)) return;
  }
#endif
  WriteUTF8(bytes, count, out);
}

namespace {

// The host's UTF-8 data record of a string, held until the end of the scope and given back
// after the string's lock, as a reader gives them back.
class UTF8Record {
 public:
  explicit UTF8Record(REALstringStruct* s) : string_(s) {
    held_ = REALGetStringData(s, kREALTextEncodingUTF8, &record_);
  }
  ~UTF8Record() {
    if (string_ != nullptr) REALUnlockString(string_);
    if (held_) REALDisposeStringData(&record_);
  }
  UTF8Record(const UTF8Record&) = delete;
  UTF8Record& operator=(const UTF8Record&) = delete;

  bool held() const { return held_; }
  const REALstringData& record() const { return record_; }

 private:
  REALstringStruct* string_;
  REALstringData record_ = REALstringData();
  bool held_ = false;
};

// Text held as UTF-8 that is not pure ASCII, written from the UTF-8 view a reader would make of
// it: the host's data record, copied first when it lacks its zero byte.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
void WriteUTF8Text(const TextStart& start, RTFOutput& out) {
  DebugLog("Try UTF8 to UTF16 conversion...");
  const UTF8Record utf8(start.string);  // takes over the lock start holds
  const char* text = host_string_detail::EmptyBuffer;
  int64_t length = 0;
  if (!utf8.held()) {
    DebugLog("REALGetStringData failed.");
  } else if (utf8.record().data != nullptr) {
    text = static_cast<const char*>(utf8.record().data);
    length = static_cast<int64_t>(utf8.record().length);
  }
  if (length > 0 && text[length] != 0) {
    DebugLog("String is not zero terminated. Fixed.");
    const std::unique_ptr<void, decltype(&std::free)> copy(
        std::calloc(static_cast<size_t>(length) + 4, 1), &std::free);
    if (copy == nullptr) {
      DebugLog("Out of memory");
      return;
    }
    std::memcpy(copy.get(), text, static_cast<size_t>(length));
    WriteUTF8(static_cast<const uint8_t*>(copy.get()), length, out);
    return;
  }
  if (length >= 1) WriteUTF8(reinterpret_cast<const uint8_t*>(text), length, out);
}

}  // namespace

// Text that is not pure ASCII held as UTF-8 is written from the host's data record; any other
// text through a reader that goes on from the first host calls.
void WriteOtherText(const TextStart& start, RTFOutput& out) {
  if (start.checked) {
    WriteUTF8Text(start, out);
    return;
  }
  rbText reader(start);
  reader.CheckASCII();
  if (reader.state == rbText::kPureASCII) {
    WriteASCII(static_cast<const uint8_t*>(reader.views[rbText::kBytes]),
               reader.lengths[rbText::kBytes], out);
    return;
  }
  if (reader.encoding == kREALTextEncodingUTF8 || reader.encoding == kREALTextEncodingASCII) {
    // The reader would decode its UTF-8 view into units: the text is written from that view.
    DebugLog("Try UTF8 to UTF16 conversion...");
    const char* utf8 = reader.UTF8();
    const int64_t count = reader.UTF8Length();
    if (count >= 1) WriteUTF8(reinterpret_cast<const uint8_t*>(utf8), count, out);
    return;
  }
  const uint16_t* units = reader.UTF16();
  const int64_t count = reader.UTF16Length();
  if (count <= 0 || units == nullptr) return;
  WriteUnits(units, count, out);
}

}  // namespace rtf_text
