// Rich Text Format from a style-run snapshot: code page 1252 header, font table, colour table,
// then per run only the formatting that changed and the run's text as escaped ASCII (written by
// rtf_text).
#include "rtf_export/rtf_writer.h"

#include <cstring>
#include <unordered_map>
#include <utility>

#include "bridge/ascii_check.h"
#include "bridge/host_string_read.h"
#include "frame/host_services.h"
#include "rtf_export/rtf_text.h"

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
        to = PutLiteral(to, "\\qc");
      } else if (run.alignment == 3) {
        to = PutLiteral(to, "\\qr");
      } else {
        to = PutLiteral(to, "\\ql");
      }
      curAlignment = run.alignment;
    }
    if ((run.bold != 0) != curBold) {
      curBold = run.bold != 0;
      to = curBold ? PutLiteral(to, "\\b") : PutLiteral(to, "\\b0");
    }
    if ((run.italic != 0) != curItalic) {
      curItalic = run.italic != 0;
      to = curItalic ? PutLiteral(to, "\\i") : PutLiteral(to, "\\i0");
    }
    if ((run.underline != 0) != curUnderline) {
      curUnderline = run.underline != 0;
      to = curUnderline ? PutLiteral(to, "\\ul") : PutLiteral(to, "\\ul0");
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
        to = PutLiteral(to, "\\f");
        to += FormatDecimal(tables.runIndexes[r].font, to);
        curFont = run.font;
      }
    }
    if (run.textColor != curColor) {
      to = PutLiteral(to, "\\cf");
      to += FormatDecimal(tables.runIndexes[r].color, to);
      curColor = run.textColor;
    }
    const double size = static_cast<double>(run.size);
    if (size != curSize) {
      to = PutLiteral(to, "\\fs");
      to += FormatDecimal(HalfPoints(size), to);
      curSize = size;
    }
    // A space ends the control words when any was written.
    if (to != start) *to++ = ' ';
    out.Commit(static_cast<size_t>(to - start));
    if (haveCached) {
      rtf_text::WriteText(cached, run.text, out);
    } else {
      rtf_text::WriteText(StringServiceWrappers(), run.text, out);
    }
  }
  out.Append('}');
}

std::string WriteRTF(const std::vector<XojoStyleRun>& runs) {
  RTFOutput out(1024);
  WriteRTF(runs, out);
  return std::string(out.data(), out.size());
}
