// Reading host strings: rbData exposes a string's own bytes, rbText lazily computed UTF-8 and
// UTF-16 views with a fast path for pure ASCII. Both keep the string locked while they live and
// give back everything they obtained when they go out of scope.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "bridge/ascii_check.h"
#include "frame/host_api.h"
#include "frame/host_services.h"

extern const uint8_t UTF8_TRAILING_BYTES[256];

namespace host_string_detail {
// Shared empty views: zero-filled and never written.
extern const char EmptyBuffer[4];
extern const uint16_t EmptyBufferUInt16[2];
}  // namespace host_string_detail
extern const uint32_t UTF8_OFFSETS[6];

struct TextStart;

// Decodes length bytes of UTF-8 into UTF-16 units, stopping at the first illegal or truncated
// sequence (logged with its byte offset). Byte-order marks, U+FFFE and lone surrogates are
// dropped. out needs room for length + 1 units; returns the units written, a 0 unit follows.
int64_t DecodeUTF8(const uint8_t* source, int64_t length, uint16_t* out);

// The sequence of UTF-8 starting with the byte at source[i] (0x80 or above) as DecodeUTF8 reads
// it: its byte count, with its value in *value, or 0 when it is illegal or does not end before
// length (DecodeUTF8 stops there).
int ReadUTF8Sequence(const uint8_t* source, int64_t i, int64_t length, uint32_t* value);

// The UTF-16 units DecodeUTF8 gives for the character of a legal sequence, written to units
// (room for two); returns their count. Byte-order marks, U+FFFE and surrogates give none, a
// character above U+FFFF a surrogate pair, anything beyond U+10FFFF U+FFFD.
inline int UnitsOfCharacter(uint32_t ch, uint16_t* units) {
  if (ch == 0xFFFE || ch == 0xFEFF) return 0;
  if (ch < 0x10000) {
    if (ch >= 0xD800 && ch <= 0xDFFF) return 0;
    units[0] = static_cast<uint16_t>(ch);
    return 1;
  }
  if (ch <= 0x10FFFF) {
    units[0] = static_cast<uint16_t>(0xD800 + ((ch - 0x10000) >> 10));
    units[1] = static_cast<uint16_t>(0xDC00 + (ch & 0x3FF));
    return 2;
  }
  units[0] = 0xFFFD;
  return 1;
}

class rbData {
 public:
  // Inline: the getter reads every run's font name through one.
  explicit rbData(REALstringStruct* s) {
    if (s == nullptr) return;
    REALLockString(s);
    string = s;
    data = REALGetStringContents(s, &length);
    // No bytes with a count, or a negative count: nothing readable.
    if ((data == nullptr && length != 0) || length < 0) FixLength();
  }
  ~rbData() {
    if (string != nullptr) REALUnlockString(string);
  }
  rbData(const rbData&) = delete;
  rbData& operator=(const rbData&) = delete;

  REALstringStruct* string = nullptr;
  const char* data = nullptr;
  int64_t length = 0;

 private:
  void FixLength();
};

class rbText {
 public:
  enum : uint64_t { kMarker = 0x5A564B54 };  // "ZVKT"
  // The string's own bytes (set only for pure ASCII), the UTF-8 view and the UTF-16 view: the
  // only views anything reads.
  enum View { kBytes = 0, kUTF8 = 1, kUTF16 = 2, kViews = 3 };
  enum State : uint32_t { kNotCheckable = 0, kPureASCII = 1, kUnchecked = 2, kNotASCII = 3 };

  // Inline for the common string, held in UTF-8: the getter reads two or three strings for
  // every style run. Every other case goes on out of line.
  explicit rbText(REALstringStruct* s)
      : marker1(kMarker),
        string(nullptr),
        conversionFailed(false),
        encoding(kREALTextEncodingASCII),
        state(kPureASCII),
        marker2(kMarker) {
    views[kBytes] = views[kUTF8] = host_string_detail::EmptyBuffer;
    views[kUTF16] = host_string_detail::EmptyBufferUInt16;
    const int64_t unset = s == nullptr ? 0 : -1;
    lengths[kBytes] = lengths[kUTF8] = lengths[kUTF16] = unset;
    if (s == nullptr) return;
    REALLockString(s);
    string = s;
    bool available = false;
    const uint32_t found = REALGetStringEncoding(s, &available);
    if (available && found == kREALTextEncodingUTF8) {
      encoding = found;
      state = kUnchecked;
      return;
    }
    Classify(found, available);
  }
  // Inline: readers are made and dropped for every run of a styled text, and most hold
  // nothing but the string.
  ~rbText() {
    if (marker1 != kMarker || marker2 != kMarker) ReportDamage();
    if (string != nullptr) REALUnlockString(string);
    if ((held_ | owning_) != 0) ReleaseAll();
  }
  rbText(const rbText&) = delete;
  rbText& operator=(const rbText&) = delete;
  // Goes on from where StartReading stopped, in the state CheckASCII leaves (or, for a string
  // not held as UTF-8, the constructor): the reader takes over the lock start holds.
  explicit rbText(const TextStart& start);

  // Inline with the check itself: nearly every string read makes it once.
#if defined(__GNUC__)
  __attribute__((always_inline))
#endif
  void
  CheckASCII() {
    if (state != kUnchecked) return;
    // The string's own bytes, read as rbData reads them.
    int64_t length = 0;
    const char* data = nullptr;
    if (string != nullptr) {
      REALLockString(string);
      data = REALGetStringContents(string, &length);
      if ((data == nullptr && length != 0) || length < 0) FixLength(data, length);
    }
    const bool ascii = AllASCII(reinterpret_cast<const uint8_t*>(data), length);
    if (string != nullptr) REALUnlockString(string);
    if (!ascii) {
      state = kNotASCII;
      return;
    }
    state = kPureASCII;
    // The kept string stays locked, so its bytes outlive the reader. The byte views hold nothing
    // yet: every conversion checks first, so none has run while the state was unchecked.
    const void* shared =
        data != nullptr ? static_cast<const void*>(data) : host_string_detail::EmptyBuffer;
    views[kBytes] = views[kUTF8] = shared;
    lengths[kBytes] = lengths[kUTF8] = length;
  }
  void ConvertUTF8();
  void ConvertUTF16();
  // The UTF-8 view: pure ASCII text that ends in a zero byte is its own bytes, the rest is
  // converted out of line. UTF8() makes it when first asked for.
  void MakeUTF8() {
    CheckASCII();
    if (state == kPureASCII && ((held_ | owning_) & 1u) == 0 &&
        (lengths[kBytes] == 0 || static_cast<const char*>(views[kBytes])[lengths[kBytes]] == 0)) {
      views[kUTF8] = views[kBytes];
      lengths[kUTF8] = lengths[kBytes];
      return;
    }
    ConvertUTF8();
  }
  static void FixLength(const char* data, int64_t& length);  // no bytes, or a negative count

  // Views: computed on first use; pointers are zero-terminated.
  const char* UTF8() {
    return static_cast<const char*>(Ready(kUTF8));
  }
  int64_t UTF8Length() {
    Ready(kUTF8);
    return lengths[kUTF8];
  }
  const uint16_t* UTF16() {
    return static_cast<const uint16_t*>(Ready(kUTF16));
  }
  int64_t UTF16Length() {
    Ready(kUTF16);
    return lengths[kUTF16];
  }

  uint64_t marker1;
  REALstringStruct* string;
  int64_t lengths[kViews];
  const void* views[kViews];
  bool conversionFailed;
  uint32_t encoding;
  uint32_t state;
  uint64_t marker2;

 private:
  // Only the UTF-8 and UTF-16 views ever hold a host record or a buffer of their own: slot 0
  // and 1. A record or buffer is valid only while its bit in held_ or owning_ is set, so a
  // reader that converts nothing never touches them.
  static int Slot(int view) {
    return view == kUTF8 ? 0 : 1;
  }
  // The UTF-8 or UTF-16 view, made when first asked for.
  const void* Ready(View view) {
    if (lengths[view] < 0) {
      if (view == kUTF8) {
        MakeUTF8();
      } else {
        ConvertUTF16();
      }
    }
    return views[view];
  }
  // The constructor's uncommon encodings: anything but UTF-8, or no encoding service.
  void Classify(uint32_t found, bool available);
  void ReleaseView(int view);  // gives back the view's record and frees its buffer
  void OwnView(int view, void* buffer, int64_t length);
  // Replaces the view by a copy of its units (unitSize bytes each) followed by zero bytes; on
  // failure the view is empty and false is returned.
  bool CopyTerminated(int view, size_t unitSize);
  void ReleaseAll();
  void ReportDamage() const;                      // logs each marker that lost its value
  bool FetchRecord(int slot, uint32_t encoding);  // the host's conversion into records_[slot]

  static constexpr int64_t kShortUnits = 64;
  REALstringData records_[2];
  void* owned_[2];
  uint16_t shortUnits_[kShortUnits];  // the UTF-16 view of a short UTF-8 text; never cleared
  uint8_t held_ = 0;
  uint8_t owning_ = 0;
};

// The host calls every reading of a string starts with, made as rbText makes them when its first
// use checks for pure ASCII (CheckASCII, UTF8()): the string locked and its encoding asked for,
// then, for a string held as UTF-8, its own bytes read and checked under a second lock. What
// they found lets the common string, pure ASCII, be read without a reader.
struct TextStart {
  REALstringStruct* string;  // locked once, unless null
  const char* data;          // the string's own bytes, when checked
  int64_t length;
  uint32_t found;  // the encoding service's answer
  bool available;
  bool checked;  // held as UTF-8: data and length were read and checked
  bool ascii;    // pure ASCII bytes in data (a null string counts as empty ASCII)
};

// The string services a reading calls, through the wrappers: each finds its entry point while
// the host has not given it yet.
struct StringServiceWrappers {
  void Lock(REALstringStruct* s) const { REALLockString(s); }
  void Unlock(REALstringStruct* s) const { REALUnlockString(s); }
  uint32_t Encoding(REALstringStruct* s, bool* available) const {
    return REALGetStringEncoding(s, available);
  }
  const char* Contents(REALstringStruct* s, int64_t* length) const {
    return REALGetStringContents(s, length);
  }
};

// The same services straight from the wrappers' cache, once the wrappers have found every one:
// a loop over many strings then calls them without testing each entry point every time. The
// calls and their order are those of the wrappers.
struct CachedStringServices {
  // True, with every entry point taken, when all of them are found; false otherwise.
  bool Take() {
    lock = reinterpret_cast<host_contract::REALLockStringFn>(gHostEntryPoints.REALLockString);
    unlock = reinterpret_cast<host_contract::REALUnlockStringFn>(gHostEntryPoints.REALUnlockString);
    encoding = reinterpret_cast<host_contract::REALGetStringEncodingFn>(
        gHostEntryPoints.REALGetStringEncoding);
    bytes = reinterpret_cast<host_contract::StringGetCStringFn>(gHostEntryPoints.StringGetCString);
    byteCount = reinterpret_cast<HostStringMeasure>(gHostEntryPoints.globalLenB);
    return lock != nullptr && unlock != nullptr && encoding != nullptr && bytes != nullptr &&
           byteCount != nullptr;
  }
  void Lock(REALstringStruct* s) const { lock(s); }
  void Unlock(REALstringStruct* s) const { unlock(s); }
  uint32_t Encoding(REALstringStruct* s, bool* available) const {
    *available = true;
    return encoding(s);
  }
  const char* Contents(REALstringStruct* s, int64_t* length) const {
    *length = byteCount(s);
    return static_cast<const char*>(bytes(s));
  }

  host_contract::REALLockStringFn lock = nullptr;
  host_contract::REALUnlockStringFn unlock = nullptr;
  host_contract::REALGetStringEncodingFn encoding = nullptr;
  host_contract::StringGetCStringFn bytes = nullptr;
  HostStringMeasure byteCount = nullptr;
};

// Inline in every reading: its answers then stay in registers. check(bytes, length) tells
// whether the own bytes are pure ASCII; a caller may do its first work with them on the way.
template <typename Services, typename Check>
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline TextStart
StartReading(const Services& host, REALstringStruct* s, Check&& check) {
  TextStart start{s, host_string_detail::EmptyBuffer, 0, 0, false, false, s == nullptr};
  if (s == nullptr) return start;
  host.Lock(s);
  start.found = host.Encoding(s, &start.available);
  if (!start.available || start.found != kREALTextEncodingUTF8) return start;
  host.Lock(s);
  int64_t length = 0;
  const char* data = host.Contents(s, &length);
  if ((data == nullptr && length != 0) || length < 0) rbText::FixLength(data, length);
  if (data != nullptr) start.data = data;
  start.length = length;
  start.ascii = check(start.data, length);
  host.Unlock(s);
  start.checked = true;
  return start;
}

template <typename Check>
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline TextStart
StartReading(REALstringStruct* s, Check&& check) {
  return StartReading(StringServiceWrappers(), s, check);
}

#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline TextStart
StartReading(REALstringStruct* s) {
  return StartReading(s, [](const char* bytes, int64_t length) {
    return AllASCII(reinterpret_cast<const uint8_t*>(bytes), length);
  });
}

// Gives back the lock StartReading took, as a reader does when it goes.
template <typename Services>
inline void EndReading(const Services& host, const TextStart& start) {
  if (start.string != nullptr) host.Unlock(start.string);
}
inline void EndReading(const TextStart& start) {
  EndReading(StringServiceWrappers(), start);
}

// A string's UTF-8 view as rbText(s).UTF8() and UTF8Length() give it, with the same host calls
// in the same order; the string stays locked while the view lives. Pure ASCII ending in a zero
// byte is read in place, everything else through a reader.
class UTF8View {
 public:
  explicit UTF8View(REALstringStruct* s) : UTF8View(StringServiceWrappers(), s) {}
  // The same through the given services.
  template <typename Services>
#if defined(__GNUC__)
  __attribute__((always_inline))
#endif
  UTF8View(const Services& host, REALstringStruct* s)
      : start_(StartReading(host, s, [](const char* bytes, int64_t length) {
          return AllASCII(reinterpret_cast<const uint8_t*>(bytes), length);
        })) {
    if (start_.ascii && (start_.length == 0 || start_.data[start_.length] == 0)) {
      data_ = start_.data;
      length_ = start_.length;
      return;
    }
    ReadThroughReader();
  }
  ~UTF8View() {
    if (!reader_) EndReading(start_);  // a reader gives the lock back itself
  }
  UTF8View(const UTF8View&) = delete;
  UTF8View& operator=(const UTF8View&) = delete;

  const char* data() const {
    return data_;
  }
  int64_t length() const {
    return length_;
  }

 private:
  void ReadThroughReader();

  TextStart start_;
  const char* data_ = nullptr;
  int64_t length_ = 0;
  std::optional<rbText> reader_;
};

// The string as UTF-8 bytes up to its first zero byte; empty for null.
std::string GetStringInUTF8(REALstringStruct* s);
