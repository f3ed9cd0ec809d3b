// Rich Text Format from a style-run snapshot: code page 1252 header, font table, colour table,
// then per run only the formatting that changed and the run's text as escaped ASCII.
#include "rtf_export/rtf_writer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <unordered_map>

#include "bridge/ascii_check.h"
#include "bridge/host_string_read.h"
#include "frame/debug_log.h"
#include "frame/host_services.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

size_t StringHash::operator()(const std::string& name) const {
  uint32_t h = 324567;
  for (char c : name) {
    if (c == '\0') break;
    h = h * 101u + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)));
  }
  return h;
}

namespace {
char gNumberBuffer[20];
}  // namespace

std::string ToString(int32_t value) {
  const size_t n = FormatDecimal(value, gNumberBuffer);
  gNumberBuffer[n] = '\0';
  return std::string(gNumberBuffer);
}

namespace {

// Half-points from points, truncated toward zero. Out of the 32-bit range the result is
// INT32_MIN, as the processor's truncating conversion gives it.
int32_t HalfPoints(double size) {
  const double half = size * 2 + 0.5;
  if (!(half > -2147483649.0 && half < 2147483648.0)) return INT32_MIN;
  return static_cast<int32_t>(half);
}

// The indexes of the last few font names looked up: a styled text mostly alternates between a
// handful of fonts, and a hit costs a comparison of the name instead of hashing it. Names are
// the UTF-8 bytes the reader of the font string shows, up to their first zero byte.
class RecentFonts {
 public:
  // The index of name, looked up in fonts when it is not among the recent ones; absent names
  // are entered with index 0 (only the empty name can be absent). Neighbouring runs mostly
  // share their font: the slot of the last hit is tried first. A name is in at most one slot.
  template <typename Tables>
#if defined(__GNUC__)
  __attribute__((always_inline))
#endif
  int64_t
  IndexOf(const char* name, size_t size, Tables& t) {
    return IndexOf(name, KeyOf(name, size), t);
  }

  // A name's length and a word from each end, which overlap for the four to sixteen bytes most
  // font names have: then they are the whole name. Shorter words are zero-extended.
  struct Key {
    size_t size;
    uint64_t head;
    uint64_t tail;
  };

  // The same for a name whose key is known.
  template <typename Tables>
#if defined(__GNUC__)
  __attribute__((always_inline))
#endif
  int64_t
  IndexOf(const char* name, const Key& key, Tables& t) {
    if (count_ != 0 && Matches(last_, key, name)) return indexes_[last_];
    for (size_t k = 0; k < count_; ++k) {
      if (k != last_ && Matches(k, key, name)) {
        last_ = k;
        return indexes_[k];
      }
    }
    return Enter(name, key, t);
  }

 private:
  static bool Whole(size_t size) {
    return size >= 4 && size <= 16;
  }
  static Key KeyOf(const char* name, size_t size) {
    Key key{size, 0, 0};
    if (size >= 8 && size <= 16) {
      std::memcpy(&key.head, name, 8);
      std::memcpy(&key.tail, name + size - 8, 8);
    } else if (size >= 4 && size < 8) {
      uint32_t head, tail;
      std::memcpy(&head, name, 4);
      std::memcpy(&tail, name + size - 4, 4);
      key.head = head;
      key.tail = tail;
    }
    return key;
  }
  bool Matches(size_t k, const Key& key, const char* name) const {
    const Key& known = keys_[k];
    if (((known.size ^ key.size) | (known.head ^ key.head) | (known.tail ^ key.tail)) != 0)
      return false;
    return Whole(key.size) || std::memcmp(names_[k].data(), name, key.size) == 0;
  }

  // A name not among the recent ones: out of line, as it is rare.
  template <typename Tables>
#if defined(__GNUC__)
  __attribute__((noinline))
#endif
  int64_t
  Enter(const char* name, const Key& key, Tables& t) {
    std::string text(name, key.size);
    auto found = t.fontToIndex.find(text);
    if (found == t.fontToIndex.end()) {
      found = t.fontToIndex.emplace(text, static_cast<int64_t>(t.fonts.size())).first;
      t.fonts.push_back(text);
    }
    const size_t slot = count_ < kSlots ? count_++ : next_++ % kSlots;
    names_[slot] = std::move(text);
    keys_[slot] = key;
    indexes_[slot] = found->second;
    last_ = slot;
    return found->second;
  }

  static constexpr size_t kSlots = 4;
  std::string names_[kSlots];
  Key keys_[kSlots] = {};
  int64_t indexes_[kSlots] = {};
  size_t count_ = 0;
  size_t next_ = 0;
  size_t last_ = 0;
};

// The length of a reader's UTF-8 view up to its first zero byte, as strlen gives it: the view
// holds length bytes and a zero after them, so a short view is looked at in two words.
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline size_t
NameLength(const char* bytes, int64_t length) {
  if (length >= 8 && length <= 16) {
    if (!ZeroByteInTwoWords<uint64_t>(bytes, length)) return static_cast<size_t>(length);
  } else if (length >= 4 && length < 8) {
    if (!ZeroByteInTwoWords<uint32_t>(bytes, length)) return static_cast<size_t>(length);
  }
  return std::strlen(bytes);
}

// Fonts and colours numbered in order of first use. Indexes are dense, so the index-to-entry
// direction is an array.
struct Tables {
  std::unordered_map<uint32_t, int64_t> colorToIndex;
  std::vector<uint32_t> colors;
  std::unordered_map<std::string, int64_t, StringHash> fontToIndex;
  std::vector<std::string> fonts;
  // Each run's colour index and font index (0 for a run without a name), as the body writes
  // them.
  struct RunIndexes {
    int32_t color;
    int32_t font;
  };
  std::vector<RunIndexes> runIndexes;
};

// The words a font name's key is made of, read while its bytes are checked for pure ASCII: a
// name of four to sixteen bytes is looked at once.
struct NameWords {
  bool whole = false;  // head and tail hold the name (four to sixteen bytes)
  bool zero = false;   // and one of its bytes is zero
  uint64_t head = 0;
  uint64_t tail = 0;

  // Whether the length bytes are pure ASCII.
  bool Read(const char* bytes, int64_t length) {
    if (length >= 8 && length <= 16) {
      std::memcpy(&head, bytes, 8);
      std::memcpy(&tail, bytes + length - 8, 8);
      whole = true;
      zero = HasZero(head) || HasZero(tail);
      return ((head | tail) & 0x8080808080808080u) == 0;
    }
    if (length >= 4 && length < 8) {
      uint32_t h, t;
      std::memcpy(&h, bytes, 4);
      std::memcpy(&t, bytes + length - 4, 4);
      head = h;
      tail = t;
      whole = true;
      zero = HasZero(head | 0xFFFFFFFF00000000u) || HasZero(tail | 0xFFFFFFFF00000000u);
      return ((head | tail) & 0x80808080u) == 0;
    }
    return AllASCII(reinterpret_cast<const uint8_t*>(bytes), length);
  }
  static bool HasZero(uint64_t w) {
    return ((w - 0x0101010101010101u) & ~w & 0x8080808080808080u) != 0;
  }
};

// A font name that is not pure ASCII with its zero byte, held as UTF-8: a reader goes on from
// the first host calls.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
int32_t
FontIndexThroughReader(const TextStart& start, RecentFonts& recent, Tables& t) {
  rbText reader(start);
  // A string held as UTF-8 is checked by the first UTF8() call; the reader goes on from there.
  if (start.checked) reader.MakeUTF8();
  const char* bytes = reader.UTF8();
  const size_t size = NameLength(bytes, reader.UTF8Length());
  return size == 0 ? 0 : static_cast<int32_t>(recent.IndexOf(bytes, size, t));
}

// The index of a run's font name as GetStringInUTF8 gives it, read in place while the string
// is locked; 0 for an empty name.
template <typename Services>
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline int32_t
FontIndex(const Services& host, REALstringStruct* font, RecentFonts& recent, Tables& t) {
  NameWords words;
  const TextStart start = StartReading(host, font, [&words](const char* bytes, int64_t length) {
    return words.Read(bytes, length);
  });
  if (!(start.ascii && (start.length == 0 || start.data[start.length] == 0)))
    return FontIndexThroughReader(start, recent, t);
  int32_t index;
  if (words.whole && !words.zero) {
    const RecentFonts::Key key{static_cast<size_t>(start.length), words.head, words.tail};
    index = static_cast<int32_t>(recent.IndexOf(start.data, key, t));
  } else {
    const size_t size = NameLength(start.data, start.length);
    index = size == 0 ? 0 : static_cast<int32_t>(recent.IndexOf(start.data, size, t));
  }
  EndReading(host, start);
  return index;
}

// The indexes of colours already looked up, by a hash of the colour: a styled text uses a few
// colours over and over, and a hit costs a multiplication and a comparison.
class RecentColors {
 public:
  int64_t IndexOf(uint32_t color, Tables& t) {
    Slot& slot = slots_[(color * 0x9E3779B1u) >> (32 - kBits)];
    if (slot.used && slot.color == color) return slot.index;
    auto found = t.colorToIndex.find(color);
    if (found == t.colorToIndex.end()) {
      found = t.colorToIndex.emplace(color, static_cast<int64_t>(t.colors.size())).first;
      t.colors.push_back(color);
    }
    slot = Slot{color, true, found->second};
    return found->second;
  }

 private:
  static constexpr int kBits = 4;
  struct Slot {
    uint32_t color;
    bool used;
    int64_t index;
  };
  Slot slots_[1 << kBits] = {};
};

void BuildTables(const std::vector<XojoStyleRun>& runs, Tables& t) {
  t.runIndexes.resize(runs.size());
  Tables::RunIndexes* indexes = t.runIndexes.data();
  // Neighbouring runs mostly share colour and font: the last answers are kept.
  bool haveColor = false;
  uint32_t lastColor = 0;
  int64_t lastColorIndex = 0;
  RecentColors colors;
  RecentFonts recent;
  // The string services come from the cache once the first reads have found them all.
  CachedStringServices cached;
  bool haveCached = false;
  for (const XojoStyleRun& run : runs) {
    if (!haveColor || run.textColor != lastColor) {
      haveColor = true;
      lastColor = run.textColor;
      lastColorIndex = colors.IndexOf(run.textColor, t);
    }
    indexes->color = static_cast<int32_t>(lastColorIndex);
    if (!haveCached) haveCached = cached.Take();
    indexes->font = haveCached ? FontIndex(cached, run.font, recent, t)
                               : FontIndex(StringServiceWrappers(), run.font, recent, t);
    ++indexes;
  }
}

void WriteHeader(const Tables& t, RTFOutput& out) {
  out.AppendLiteral("{\\rtf1\\ansi\\ansicpg1252{\\fonttbl");
  for (size_t i = 0; i < t.fonts.size(); ++i) {
    out.AppendLiteral("{\\f");
    out.AppendNumber(static_cast<int32_t>(i));
    out.AppendLiteral("\\fnil ");
    out.Append(t.fonts[i].data(), t.fonts[i].size());  // raw UTF-8: the table is not escaped
    out.AppendLiteral(";}");
  }
  out.AppendLiteral("}{\\colortbl");
  for (const uint32_t v : t.colors) {
    out.AppendLiteral("\\red");
    out.AppendNumber(static_cast<int32_t>((v >> 16) & 0xFF));
    out.AppendLiteral("\\green");
    out.AppendNumber(static_cast<int32_t>((v >> 8) & 0xFF));
    out.AppendLiteral("\\blue");
    out.AppendNumber(static_cast<int32_t>(v & 0xFF));
    out.Append(';');
  }
  out.AppendLiteral("}\\uc0 ");
}

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

// A literal written at to; returns the position after it.
template <size_t N>
char* Put(char* to, const char (&text)[N]) {
  std::memcpy(to, text, N - 1);
  return to + N - 1;
}

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

// Writes the count bytes (4 to 16) as they are when none needs care; false otherwise.
inline bool CopyShortPlain(const uint8_t* bytes, int64_t count, RTFOutput& out) {
  if (MaybeSpecial(ShortBlock(bytes, count)) != 0) return false;
  CopyShort(bytes, count, out);
  return true;
}

// Writes the count bytes (17 to 32) as they are: two overlapping blocks.
inline void CopyTwoBlocks(__m128i head, __m128i tail, int64_t count, RTFOutput& out) {
  char* to = out.Reserve(static_cast<size_t>(count));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), head);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to + count - 16), tail);
  out.Commit(static_cast<size_t>(count));
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
          if (unitBefore(i) != 10) to = Put(to, "\\par ");
          ++i;
          continue;
        case kLFByte:
          if (unitBefore(i) != 13) to = Put(to, "\\par ");
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
    // Two overlapping blocks cover the text.
    const __m128i head = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    const __m128i tail = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + count - 16));
    if ((MaybeSpecial(head) | MaybeSpecial(tail)) == 0) {
      CopyTwoBlocks(head, tail, count, out);
      return;
    }
  } else if (count >= 4 && count <= 16) {
    if (CopyShortPlain(bytes, count, out)) return;
  }
#endif
  WriteUTF8(bytes, count, out);
}

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
    const __m128i head = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    const __m128i tail = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + count - 16));
    if ((MaybeSpecial(head) | MaybeSpecial(tail)) == 0) {
      CopyTwoBlocks(head, tail, count, out);
      return true;
    }
    // The sign bits mark the bytes from 128 up.
    if ((_mm_movemask_epi8(head) | _mm_movemask_epi8(tail)) != 0) return false;
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

// Text that is not pure ASCII held as UTF-8: a reader goes on from the first host calls.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
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

// The longest formatting of one run: \qc\b0\i0\ul0, then \f, \cf and \fs with up to eleven
// characters of number each, and the closing space.
constexpr size_t kMaxFormatting = 3 + 3 + 3 + 4 + 3 * (3 + 11) + 1;

}  // namespace

void WriteRTF(const std::vector<XojoStyleRun>& runs, RTFOutput& out) {
  Tables tables;
  BuildTables(runs, tables);
  WriteHeader(tables, out);

  int64_t curAlignment = 0;
  bool curBold = false, curItalic = false, curUnderline = false;
  REALstringStruct* curFont = nullptr;  // borrowed from the records
  uint32_t curColor = 0;
  double curSize = 0.0;
  // The string services come from the cache once all are found, as they mostly are by now.
  CachedStringServices cached;
  bool haveCached = false;

  for (size_t r = 0; r < runs.size(); ++r) {
    const XojoStyleRun& run = runs[r];
    if (!haveCached) haveCached = cached.Take();
    // The run's formatting goes straight into room reserved for the longest it can be.
    char* const start = out.Reserve(kMaxFormatting);
    char* to = start;
    if (run.alignment != curAlignment) {
      if (run.alignment == 2) {
        to = Put(to, "\\qc");
      } else if (run.alignment == 3) {
        to = Put(to, "\\qr");
      } else {
        to = Put(to, "\\ql");
      }
      curAlignment = run.alignment;
    }
    if ((run.bold != 0) != curBold) {
      curBold = run.bold != 0;
      to = curBold ? Put(to, "\\b") : Put(to, "\\b0");
    }
    if ((run.italic != 0) != curItalic) {
      curItalic = run.italic != 0;
      to = curItalic ? Put(to, "\\i") : Put(to, "\\i0");
    }
    if ((run.underline != 0) != curUnderline) {
      curUnderline = run.underline != 0;
      to = curUnderline ? Put(to, "\\ul") : Put(to, "\\ul0");
    }
    if (run.font != nullptr) {
      // Without the host's comparison the font cannot be told apart, so it is never written.
      bool available = false;
      const int64_t differs = REALCompareStrings(run.font, curFont, &available);
      if (available && differs != 0) {
        // The name is read again, as the host expects; its index is the one the table pass
        // found for this same string.
        if (haveCached) {
          const UTF8View name(cached, run.font);
        } else {
          const UTF8View name(run.font);
        }
        to = Put(to, "\\f");
        to += FormatDecimal(tables.runIndexes[r].font, to);
        curFont = run.font;
      }
    }
    if (run.textColor != curColor) {
      to = Put(to, "\\cf");
      to += FormatDecimal(tables.runIndexes[r].color, to);
      curColor = run.textColor;
    }
    const double size = static_cast<double>(run.size);
    if (size != curSize) {
      to = Put(to, "\\fs");
      to += FormatDecimal(HalfPoints(size), to);
      curSize = size;
    }
    // A space ends the control words when any was written.
    if (to != start) *to++ = ' ';
    out.Commit(static_cast<size_t>(to - start));
    if (haveCached) {
      WriteText(cached, run.text, out);
    } else {
      WriteText(StringServiceWrappers(), run.text, out);
    }
  }
  out.Append('}');
}

std::string WriteRTF(const std::vector<XojoStyleRun>& runs) {
  RTFOutput out(1024);
  WriteRTF(runs, out);
  return std::string(out.data(), out.size());
}
