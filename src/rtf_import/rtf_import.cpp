// The RTF import: one left-to-right pass over the assigned bytes with a stack of group states.
// Collected text becomes a new StyleRun, appended to the StyledText, whenever the formatting
// changes, a paragraph ends or the source line breaks.
#include "rtf_import/rtf_import.h"

#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <unordered_map>

#include "bridge/host_string_build.h"
#include "bridge/host_string_read.h"
#include "bridge/style_run.h"
#include "bridge/styled_text.h"
#include "frame/debug_log.h"
#include "frame/host_services.h"
#include "rtf_import/code_pages.h"
#include "rtf_import/control_word.h"
#include "rtf_import/rtf_bytes.h"
#include "rtf_import/rtf_group_state.h"
#include "rtf_import/rtf_tables.h"
#include "rtf_import/text_buffer.h"
#include "rtf_import/text_scan.h"

namespace {

constexpr unsigned int kDefaultEncoding = kREALTextEncodingWindowsLatin1;
constexpr size_t kTextReserve = 10000;

using rtf_bytes::At;

// What a byte starts in the main loop.
enum ByteClass : unsigned char { kText, kBackslash, kOpen, kClose, kLineBreak };

struct ByteClasses {
  unsigned char of[256];
  constexpr ByteClasses() : of() {
    of[static_cast<unsigned char>('\\')] = kBackslash;
    of[static_cast<unsigned char>('{')] = kOpen;
    of[static_cast<unsigned char>('}')] = kClose;
    of[static_cast<unsigned char>('\r')] = kLineBreak;
    of[static_cast<unsigned char>('\n')] = kLineBreak;
  }
};
constexpr ByteClasses kClasses;

// Hexadecimal digits of "\'hh" in either case: their value, -1 for any other byte.
struct HexDigits {
  signed char of[256];
  constexpr HexDigits() : of() {
    for (int c = 0; c < 256; ++c) of[c] = -1;
    for (int c = '0'; c <= '9'; ++c) of[c] = static_cast<signed char>(c - '0');
    for (int c = 'A'; c <= 'F'; ++c) of[c] = static_cast<signed char>(c - 'A' + 10);
    for (int c = 'a'; c <= 'f'; ++c) of[c] = static_cast<signed char>(c - 'a' + 10);
  }
};
constexpr HexDigits kHex;

// The two digits of "\'hh" as one lookup each: a digit's value in the high or the low half of
// the byte, or a bit above the byte for any other character, so that one OR of both entries is
// the byte when both are digits and 256 or more otherwise.
struct HexPair {
  unsigned short high[256];
  unsigned short low[256];
  constexpr HexPair() : high(), low() {
    for (int c = 0; c < 256; ++c) {
      const int digit = HexDigits().of[c];
      high[c] = static_cast<unsigned short>(digit < 0 ? 0x100 : digit * 16);
      low[c] = static_cast<unsigned short>(digit < 0 ? 0x200 : digit);
    }
  }
};
constexpr HexPair kHexPair;

// The value of "\'hh": the longest hexadecimal prefix of the two bytes at i, 0 if none.
int EscapedByte(const char* text, long long length, long long i) {
  const int high = kHex.of[static_cast<unsigned char>(At(text, length, i))];
  if (high < 0) return 0;
  const int low = kHex.of[static_cast<unsigned char>(At(text, length, i + 1))];
  return low < 0 ? high : high * 16 + low;
}

// "\\'" at p: one two-byte comparison.
inline bool IsEscapeStart(const char* p) {
  static constexpr char kStart[2] = {'\\', '\''};
  uint16_t start, at;
  std::memcpy(&start, kStart, 2);
  std::memcpy(&at, p, 2);
  return at == start;
}

class RTFImport {
 public:
  explicit RTFImport(REALobjectStruct* styledText) : styledText_(styledText) {
    runText_.reserve(kTextReserve);
  }
  // Only an exception leaves a run pending; it is given back rather than leaked.
  ~RTFImport() {
    if (run_ != nullptr) REALUnlockObject(run_);
  }
  RTFImport(const RTFImport&) = delete;
  RTFImport& operator=(const RTFImport&) = delete;

  // Reads length bytes of text; no terminator needed.
  void Parse(const char* text, long long length);

 private:
  unsigned int Encoding() const { return state_ ? state_->encoding : kDefaultEncoding; }

  // The innermost state, to be changed by a control word.
  RTFGroupState* Mutable() {
    RTFGroupState* state = stack_.Mutable();
    state_ = state;
    return state;
  }

  // The innermost state, to be changed by a control word that changes the formatting: the
  // text collected so far keeps the formatting it was read in.
  RTFGroupState* Change() {
    Flush();
    return Mutable();
  }

  // Appends the collected text as the pending run (dropped when there is none), empties the
  // buffer and releases the run. With no text and no run that is no host call at all, only two
  // debug log lines, so it is left out while the log is off.
  void Flush() {
    if (!DebuggingEnabled) {
      // One test for both: nothing collected and no run pending.
      if ((text_.size() | reinterpret_cast<uintptr_t>(run_)) != 0) FlushQuietly();
      return;
    }
    text_.MoveTo(runText_);
    StyledTextAddStyleRun(Encoding(), runText_, styledText_, run_, alignment_);
  }

  // Flush with the log off: the host calls of StyledTextAddStyleRun for the byte string, made
  // from the buffer in place. The text goes to the host up to its first NUL byte, as the byte
  // string's C string would.
#if defined(__GNUC__)
  __attribute__((noinline))
#endif
  void
  FlushQuietly() {
    if (text_.empty()) {
      if (run_ != nullptr) REALUnlockObject(run_);
      run_ = nullptr;
      return;
    }
    if (run_ != nullptr) {
      if (RunServicesResolved()) {
        AppendTextRun();
      } else {
        const char* bytes = text_.data();
        const void* nul = std::memchr(bytes, 0, text_.size());
        const size_t length = nul != nullptr
                                  ? static_cast<size_t>(static_cast<const char*>(nul) - bytes)
                                  : text_.size();
        REALstringStruct* s = BuildByteString(bytes, length, Encoding());
        StyledTextAddStyleRun(s, styledText_, run_, alignment_);
        if (s != nullptr) REALUnlockString(s);
      }
    }
    text_.clear();
  }

  // Whether a run's host work can take the resolved entries: the log off and every service
  // it uses set. Asks again while some service is missing.
  bool RunServicesResolved() {
    if (!runServicesResolved_)
      runServicesResolved_ = StyledTextRunServicesResolved(styledText_, false);
    return runServicesResolved_ && !DebuggingEnabled;
  }
  // The same for a "\u" character's run.
  bool UnicodeServicesResolved() {
    if (!unicodeServicesResolved_)
      unicodeServicesResolved_ = StyledTextRunServicesResolved(styledText_, true);
    return unicodeServicesResolved_ && !DebuggingEnabled;
  }

  // FlushQuietly's host calls for collected text and a pending run, every service resolved:
  // the run gets the text, is appended and released.
#if defined(__GNUC__)
  __attribute__((always_inline))
#endif
  void
  AppendTextRun() {
    REALstringStruct* s =
        host_string_resolved::BuildRunText(text_.data(), text_.size(), Encoding());
    StyledTextAddRunResolved(s, styledText_, run_, alignment_);
    if (s != nullptr) host_resolved::REALUnlockString()(s);
  }

  // A new run for the text or character that follows, formatted as the current group.
#if defined(__GNUC__)
  __attribute__((noinline))
#endif
  void
  CreateRun() {
    const RTFGroupState* state = state_;
    if (state != nullptr && RunServicesResolved()) {
      REALobjectStruct* run = host_resolved::PluginNewInstance()("StyleRun");
      run_ = run;
      if (run != nullptr) {
        FormatRun(run, *state);
        return;
      }
    } else {
      run_ = REALnewInstance("StyleRun");
    }
    if (run_ == nullptr) DebugLog("NewStyleRun failed");
    ApplyState();
  }

  // A "\u" character: the text collected so far is flushed and the character appended as a
  // run of its own.
#if defined(__GNUC__)
  __attribute__((noinline))
#endif
  void
  AddCharacter(uint16_t ch);

#if defined(__GNUC__)
  __attribute__((always_inline))
#endif
  inline void
  FormatRun(REALobjectStruct* run, const RTFGroupState& state);
  void ApplyState();
  REALstringStruct* FontName(const RTFGroupState* state);

  void AddTextByte(char byte) {
    if (skipDepth_ > 0) return;
    if (run_ == nullptr) CreateRun();
    text_.push_back(byte);
  }

  // The ordinary text bytes [begin, end): each is one step of the scan, so only the first
  // can see the group-just-opened flag, and each asks for a run while none is pending (all of
  // them only when the host cannot make one).
  void AddText(const char* text, long long begin, long long end) {
    if (skipDepth_ > 0) return;
    while (run_ == nullptr && begin < end) {
      CreateRun();
      text_.push_back(text[begin++]);
    }
    text_.append(text + begin, static_cast<size_t>(end - begin));
  }

  // "{}" at i, with the log off: it leaves the state, the skip depth and the next step as they
  // were; its "}" only ends the run being collected (in the same encoding, the group's being a
  // copy), and any empty groups right behind find nothing more to end. Returns the index behind
  // the last of them.
  long long PassEmptyGroups(const char* text, long long length, long long i) {
    Flush();
    i += 2;
    while (length - i >= 2 && text[i] == '{' && text[i + 1] == '}') i += 2;
    return i;
  }

  void SetFontTable(std::unordered_map<int, std::string>&& table);

  // Returns the index at which the scan goes on.
  long long HandleControlWord(const char* text, long long length, long long backslash,
                              bool groupJustOpened);
  void HandleWord(const char* text, long long length, const ControlWord& word, long long& position,
                  bool groupJustOpened);
  // Out of line: the main loop stays small enough to keep its state in registers.
#if defined(__GNUC__)
  __attribute__((noinline))
#endif
  long long
  ReadText(const char* text, long long length, long long i);
  long long HandleUnicode(const char* text, long long length, long long backslash);
  // Out of line: the main loop keeps its registers, the skipped words their own tight loop.
#if defined(__GNUC__)
  __attribute__((noinline))
#endif
  long long
  SkipGroup(const char* text, long long length, long long i);

  REALobjectStruct* styledText_;
  RTFGroupStack stack_;
  const RTFGroupState* state_ = nullptr;  // the innermost group's state, null outside any
  TextBuffer text_;
  std::string runText_;  // the text of the run being flushed, as the host call takes it
  REALobjectStruct* run_ = nullptr;
  long long skipDepth_ = 0;
  long long alignment_ = 0;  // one value for the whole parse: "}" does not restore it
  // Every font name read, kept for the whole parse: group states point into it, also after a
  // later "\fonttbl" replaced the table they came from.
  std::deque<std::string> fontNames_;
  std::unordered_map<int, const std::string*> fonts_;
  std::unordered_map<int, RTFColor> colors_;
  // The byte length of the last font name given to a run: most runs repeat their neighbour's.
  const std::string* lengthOf_ = nullptr;
  size_t fontNameLength_ = 0;
  // Set once every service a run uses has been found (see RunServicesResolved); the second
  // also for the conversion of "\u" characters.
  bool runServicesResolved_ = false;
  bool unicodeServicesResolved_ = false;
};

// The host string of the group's font name (the setter gets it even when null): null for none
// or an empty name, otherwise the
// name up to its first NUL byte, as a C string.
REALstringStruct* RTFImport::FontName(const RTFGroupState* state) {
  if (state->fontName == nullptr) return nullptr;
  if (state->fontName != lengthOf_) {
    lengthOf_ = state->fontName;
    fontNameLength_ = std::strlen(state->fontName->c_str());
  }
  return BuildUTF8String(state->fontName->c_str(), fontNameLength_);
}

// Gives the new run the formatting of the current group; a run made outside any group keeps
// the host's defaults.
void RTFImport::ApplyState() {
  const RTFGroupState* state = state_;
  REALobjectStruct* run = run_;
  if (state == nullptr) return;
  // Components are taken as read from the colour table, so the packing wraps like the host's
  // 32-bit colour rather than overflowing.
  const unsigned int color = static_cast<unsigned int>(state->color.red) * 65536u +
                             static_cast<unsigned int>(state->color.green) * 256u +
                             static_cast<unsigned int>(state->color.blue);
  if (!DebuggingEnabled && run != nullptr) {
    // Nothing to log and a run to set: the setters' host calls alone, in their order (a
    // refused property is only ever logged, save the font's fallback).
    REALSetPropValueBoolean(run, host_contract::kBoldProperty, state->bold);
    REALSetPropValueBoolean(run, host_contract::kItalicProperty, state->italic);
    REALSetPropValueBoolean(run, host_contract::kUnderlineProperty, state->underline);
    REALSetPropValueInteger(run, host_contract::kSizeProperty, state->size);
    REALSetPropValueUInt32(run, host_contract::kTextColorProperty, color);
    REALstringStruct* name = FontName(state);
    if (!REALSetPropValueString(run, host_contract::kFontProperty, name))
      style_run_detail::SetFontName(run, name, true);
    if (name != nullptr) REALUnlockString(name);
    return;
  }
  StyleRunSetBold(run, state->bold ? 1 : 0);
  StyleRunSetItalic(run, state->italic ? 1 : 0);
  StyleRunSetUnderline(run, state->underline ? 1 : 0);
  StyleRunSetSize(run, state->size);
  StyleRunSetTextColor(run, color);
  REALstringStruct* name = FontName(state);
  StyleRunSetFontName(run, name);
  if (name != nullptr) REALUnlockString(name);
}

// ApplyState's host calls for a run made with every service resolved and the log off.
inline void RTFImport::FormatRun(REALobjectStruct* run, const RTFGroupState& state) {
  const unsigned int color = static_cast<unsigned int>(state.color.red) * 65536u +
                             static_cast<unsigned int>(state.color.green) * 256u +
                             static_cast<unsigned int>(state.color.blue);
  StyleRunFormatResolved(run, state.bold, state.italic, state.underline, state.size, color);
  // The font name as FontName builds it: nothing for no name or an empty one.
  REALstringStruct* name = nullptr;
  const std::string* font = state.fontName;
  if (font != nullptr) {
    if (font != lengthOf_) {
      lengthOf_ = font;
      fontNameLength_ = std::strlen(font->c_str());
    }
    const size_t length = fontNameLength_;
    name = length - 1 < 0x7FFFFFFFu
               ? host_string_resolved::BuildBytes(font->c_str(), length, kREALTextEncodingUTF8)
               : BuildUTF8String(font->c_str(), length);
  }
  StyleRunSetFontNameResolved(run, name);
  if (name != nullptr) host_resolved::REALUnlockString()(name);
}

void RTFImport::AddCharacter(uint16_t ch) {
  const RTFGroupState* state = state_;
  if (ch == 0 || state == nullptr || !UnicodeServicesResolved()) {
    Flush();
    if (run_ == nullptr) CreateRun();
    StyledTextAddStyleRun(ch, styledText_, run_, alignment_);
    return;
  }
  // Flush, CreateRun and StyledTextAddStyleRun with every service resolved, in one frame.
  if (run_ != nullptr) {
    if (!text_.empty()) {
      AppendTextRun();
    } else {
      host_resolved::REALUnlockObject()(run_);
      run_ = nullptr;
    }
  }
  text_.clear();
  REALobjectStruct* run = host_resolved::PluginNewInstance()("StyleRun");
  run_ = run;
  if (run == nullptr) {
    // The host made no run: the formatting's host calls that need none, and nothing to append.
    ApplyState();
    StyledTextAddStyleRun(ch, styledText_, run_, alignment_);
    return;
  }
  FormatRun(run, *state);
  REALstringStruct* s = host_string_resolved::BuildUTF16Unit(ch);
  StyledTextAddRunResolved(s, styledText_, run_, alignment_);
  if (s != nullptr) host_resolved::REALUnlockString()(s);
}

void RTFImport::Parse(const char* text, long long length) {
  long long i = 0;
  bool groupOpened = false;
  while (i < length) {
    // The flag holds only for the step right behind a "{".
    const bool groupJustOpened = groupOpened;
    groupOpened = false;
    switch (kClasses.of[static_cast<unsigned char>(text[i])]) {
      case kText: {
        // Plain text up to the next byte that means something else.
        const long long end = FindTextEnd(text, i + 1, length);
        AddText(text, i, end);
        i = end;
        break;
      }
      case kLineBreak:
        // Source line breaks only split runs.
        Flush();
        ++i;
        break;
      case kOpen:
        if (!DebuggingEnabled && At(text, length, i + 1) == '}') {
          i = PassEmptyGroups(text, length, i);
          break;
        }
        state_ = stack_.Push();
        if (skipDepth_ > 0) ++skipDepth_;
        groupOpened = true;
        ++i;
        break;
      case kClose:
        Flush();
        if (state_ == nullptr) {
          i = length;  // no open group: the document ends here
          break;
        }
        state_ = stack_.Pop();
        // Finds nothing to flush, so only the log sees it.
        if (DebuggingEnabled) Flush();
        if (skipDepth_ > 0) --skipDepth_;
        ++i;
        break;
      case kBackslash: {
        const char ch2 = At(text, length, i + 1);
        if (rtf_bytes::IsLower(ch2)) {
          // The common case first: a control word.
          if (ch2 == 'u' && state_ != nullptr && skipDepth_ == 0 &&
              (rtf_bytes::IsDigit(At(text, length, i + 2)) || At(text, length, i + 2) == '-')) {
            i = HandleUnicode(text, length, i);
            break;
          }
        } else if (ch2 == '\'') {
          i = ReadText(text, length, i);
          break;
        } else if (ch2 == '\n' || ch2 == '\r') {
          // A paragraph break that needs a pending run to survive.
          text_.push_back('\r');
          Flush();
          i += 2;
          break;
        } else if (ch2 == '\\' || ch2 == '{' || ch2 == '}') {
          AddTextByte(ch2);
          i += 2;
          break;
        }
        i = HandleControlWord(text, length, i, groupJustOpened);
        break;
      }
#if defined(__GNUC__)
      default:
        // The table holds no other class.
        __builtin_unreachable();
#endif
    }
  }
  Flush();
}

// Plain text and "\'hh" at i (i < length) and every step of either kind that follows at once:
// the steps a document spends most of its bytes on, read without going back to the main loop and
// written straight into the run buffer. Returns the index behind the last step: the first byte
// that starts anything else, or length (or up to two more after an escape cut short by the end).
long long RTFImport::ReadText(const char* text, long long length, long long i) {
  // Room reserved ahead in the buffer; a longer stretch of text reserves its own length.
  constexpr size_t kRoom = 256;
  const char* p = text + i;
  const char* const end = text + length;
  // The last place a whole "\'hh" can start.
  const char* const lastEscape = length >= 4 ? end - 4 : text - 1;
  const bool keep = skipDepth_ == 0;
  char* out = text_.Reserve(kRoom);
  char* room = out + kRoom;
  // Keeps what was written and makes room for more.
  auto refill = [&](size_t more) {
    text_.Commit(static_cast<size_t>(out - text_.end()));
    out = text_.Reserve(more);
    room = out + more;
  };
  for (;;) {
    if (*p == '\\') {
      if (end - p < 2 || p[1] != '\'') break;
      // "\'hh", as many as follow: none creates a run; each byte is converted from the group's
      // encoding when the run is flushed. While skipping they are passed over.
      if (!keep) {
        do {
          p += 4;
        } while (p <= lastEscape && p[0] == '\\' && p[1] == '\'');
        if (p >= end) break;
        continue;
      }
#if defined(__SSE2__)
      // Rows of two to eight escapes at a time, and the single text bytes between rows (a space
      // between two words); whatever else follows goes back to the steps below.
      bool atEscape = true;  // p at "\\'"
      // A lone escape (a fallback behind "\\u") is left to the steps below.
      if (end - p >= 32 && IsEscapeStart(p + 4)) {
        const bool runPending = run_ != nullptr;
        for (;;) {
          if (room - out < 9) refill(kRoom);
          const int count = DecodeEscapeRow(p, out);
          out += count;
          p += 4 * count;
          if (count == 8) {
            if (end - p >= 2 && IsEscapeStart(p)) {
              if (end - p >= 32) continue;
              break;
            }
          } else if (count == 0) {
            break;  // an escape whose digits the steps below read
          } else if (runPending && kClasses.of[static_cast<unsigned char>(*p)] == kText &&
                     IsEscapeStart(p + 1)) {
            *out++ = *p++;
            if (end - p >= 32) continue;
            break;
          }
          atEscape = false;
          break;
        }
      }
      if (!atEscape) {
        if (p >= end) break;
        continue;
      }
#endif
      if (p > lastEscape) {
        // Cut short by the end of the text.
        if (out == room) refill(kRoom);
        *out++ = static_cast<char>(EscapedByte(text, length, (p - text) + 2));
        p += 4;
      } else {
        if (room - out < 16) refill(kRoom);
        // As many whole escapes as fit the room at one test per escape for both limits.
        const long long fit = (room - out - 1) * 4LL;
        const char* const stop = lastEscape - p > fit ? p + fit : lastEscape;
        do {
          const unsigned int pair = kHexPair.high[static_cast<unsigned char>(p[2])] |
                                    kHexPair.low[static_cast<unsigned char>(p[3])];
          // Not two digits: the first digit alone, or 0 when the first is none.
          *out++ = static_cast<char>(pair < 0x100          ? pair
                                     : (pair & 0x100) != 0 ? 0
                                                           : (pair & 0xFF) >> 4);
          p += 4;
        } while (p <= stop && IsEscapeStart(p));
      }
      if (p >= end) break;
    } else if (kClasses.of[static_cast<unsigned char>(*p)] == kText) {
      // Between two escapes a stretch is mostly one byte: that needs neither a scan nor a copy.
      if (keep && run_ != nullptr && end - p > 1 &&
          kClasses.of[static_cast<unsigned char>(p[1])] != kText) {
        if (out == room) refill(kRoom);
        *out++ = *p++;
        if (p == end) break;
        continue;
      }
      const char* const stop = text + FindTextEnd(text, (p - text) + 1, length);
      if (keep) {
        if (run_ == nullptr) {
          // The first byte asks for a run.
          refill(kRoom);
          AddText(text, p - text, stop - text);
          out = text_.Reserve(kRoom);
          room = out + kRoom;
        } else {
          const size_t count = static_cast<size_t>(stop - p);
          if (static_cast<size_t>(room - out) < count) refill(count + kRoom);
          CopyShort(out, p, count);
          out += count;
        }
      }
      p = stop;
      if (p == end) break;
    } else {
      break;
    }
  }
  if (keep) text_.Commit(static_cast<size_t>(out - text_.end()));
  return p - text;
}

// "\\uN" at backslash, its number starting right behind the "u", inside a group and not
// skipped: the control word read and acted on as HandleControlWord would, without scanning
// its letters or looking the word up. Returns the index at which the scan goes on.
long long RTFImport::HandleUnicode(const char* text, long long length, long long backslash) {
  using rtf_bytes::IsDigit;
  // The number as ScanControlWord reads it: wrapping, and a leading "-" negating the value
  // accumulated from -1. Only its low 16 bits are used, and those come out the same in 32-bit
  // arithmetic.
  const char first = text[backslash + 2];
  unsigned int value =
      IsDigit(first) ? static_cast<unsigned int>(first - '0') : static_cast<unsigned int>(-1);
  const unsigned char* digits = reinterpret_cast<const unsigned char*>(text) + backslash + 3;
  const unsigned char* const end = reinterpret_cast<const unsigned char*>(text) + length;
  for (; digits != end; ++digits) {
    const unsigned int digit = *digits - static_cast<unsigned int>('0');
    if (digit > 9) break;
    value = value * 10u + digit;
  }
  const long long e = digits - reinterpret_cast<const unsigned char*>(text);
  if (first == '-') value = 0u - value;
  // The delimiter: kept when it starts the next token, consumed otherwise.
  const char d = At(text, length, e);
  long long position = e;
  if (rtf_bytes::StartsNextToken(d)) {
    position = e - 1;
  } else if (d == '\r' && At(text, length, e + 2) == '\n') {
    position = e + 1;
  }
  // Every "\\u" character is a run of its own, appended at once.
  AddCharacter(static_cast<uint16_t>(value));
  return position + 1;
}

#if defined(__SSE2__)
// Unknown words mostly come in rows ("\\li0\\ri0\\sa160\\widctlpar"): behind one, the unknown words
// that follow at once, none of them opening a group, are passed over here as the main loop
// would ignore them. Returns the index of the first step that is something else.
long long PassUnknownWords(const char* text, long long length, long long i) {
  while (length - i >= 17 && text[i] == '\\') {
    const long long position = i + 1;
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + position));
    const int k = rtf_bytes::LettersEnd(block);
    if (k < 1 || k >= 16 ||
        LookUpControlWordQuickly(text + position, static_cast<size_t>(k)) != RTFWord::kUnknown)
      break;
    const int e = rtf_bytes::NumberEnd(block, text + position, k);
    if (e == 16) break;
    i = DelimitedEnd(text, length, position + e) + 1;
  }
  return i;
}
#endif

long long RTFImport::HandleControlWord(const char* text, long long length, long long backslash,
                                       bool groupJustOpened) {
  ControlWord word;
  long long position = backslash + 1;
#if defined(__SSE2__)
  // Mostly lower-case letters whose letters and number end within the sixteen bytes behind the
  // backslash: one block read finds them, the word is looked up by hash, and the number of a
  // word this import does not act on is never read. Everything else takes ScanControlWord.
  bool scanned = false;
  if (length - position >= 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + position));
    const int k = rtf_bytes::LettersEnd(block);
    if (k >= 1 && k < 16) {
      word.word = LookUpControlWordQuickly(text + position, static_cast<size_t>(k));
      const char c = text[position + k];
      if (word.word == RTFWord::kUnknown) {
        const int e = rtf_bytes::NumberEnd(block, text + position, k);
        if (e < 16) {
          const long long end = DelimitedEnd(text, length, position + e);
          if (groupJustOpened && state_ != nullptr && skipDepth_ == 0) {
            // An unknown word opening its group: the whole group is a destination this import
            // does not read.
            skipDepth_ = 1;
            return SkipGroup(text, length, end + 1);
          }
          return PassUnknownWords(text, length, end + 1);
        }
      } else {
        // Read as ScanControlWord reads it: wrapping, a leading "-" negating the value
        // accumulated from -1.
        long long e = position + k;
        if (rtf_bytes::IsDigit(c) || c == '-') {
          unsigned long long value = rtf_bytes::IsDigit(c)
                                         ? static_cast<unsigned long long>(c - '0')
                                         : static_cast<unsigned long long>(-1);
          for (++e; e < length && rtf_bytes::IsDigit(text[e]); ++e)
            value = value * 10u + static_cast<unsigned long long>(text[e] - '0');
          if (c == '-') value = 0u - value;
          word.parameter = static_cast<long long>(value);
        }
        position = DelimitedEnd(text, length, e);
        scanned = true;
      }
    }
  }
  if (!scanned)
#endif
    position = ScanControlWord(text, length, position, word);
  if (word.word == RTFWord::kBin) return BinaryEnd(length, backslash, position, word.parameter);
  if (state_ != nullptr && skipDepth_ == 0)
    HandleWord(text, length, word, position, groupJustOpened);
  return position + 1;
}

// The steps of the main loop while a group is skipped, from i until the "}" that ends the
// skipped destination (or the end of the text): text, "\'hh" and every control word but "\bin"
// are passed over, braces still move the group stack and the skip depth, and line breaks still
// flush (a run may be pending from before the group). Returns where the scan goes on.
long long RTFImport::SkipGroup(const char* text, long long length, long long i) {
  while (i < length) {
    const char c = text[i];
    if (c == '\\') {
      // Mostly a control word: it is tested for first.
      const char ch2 = At(text, length, i + 1);
      if (rtf_bytes::IsLower(ch2)) {
        i = PassControlWord(text, length, i);
      } else if (ch2 == '\'') {
        i += 4;
      } else if (ch2 == '\\' || ch2 == '{' || ch2 == '}') {
        i += 2;
      } else if (ch2 == '\n' || ch2 == '\r') {
        text_.push_back('\r');
        Flush();
        i += 2;
      } else {
        i = PassControlWord(text, length, i);
      }
      continue;
    }
    switch (kClasses.of[static_cast<unsigned char>(c)]) {
      case kOpen:
        if (!DebuggingEnabled && At(text, length, i + 1) == '}') {
          i = PassEmptyGroups(text, length, i);
          break;
        }
        state_ = stack_.Push();
        ++skipDepth_;
        ++i;
        break;
      case kClose:
        Flush();
        if (state_ == nullptr) return length;
        state_ = stack_.Pop();
        if (DebuggingEnabled) Flush();
        ++i;
        if (--skipDepth_ == 0) return i;
        break;
      case kLineBreak:
        Flush();
        ++i;
        break;
      default:
        i = FindTextEnd(text, i + 1, length);
        break;
    }
  }
  return i;
}

void RTFImport::SetFontTable(std::unordered_map<int, std::string>&& table) {
  fonts_.clear();
  for (auto& entry : table) {
    fontNames_.push_back(std::move(entry.second));
    fonts_.emplace(entry.first, &fontNames_.back());
  }
}

void RTFImport::HandleWord(const char* text, long long length, const ControlWord& word,
                           long long& position, bool groupJustOpened) {
  const long long p = word.parameter;
  switch (word.word) {
    case RTFWord::kRtf:
    case RTFWord::kPartightenfactor:
    case RTFWord::kPaperw:
    case RTFWord::kPaperh:
    case RTFWord::kPard:
    case RTFWord::kPardirnatural:
      return;
    case RTFWord::kAnsicpg:
      Change()->encoding = FindEncoding(p);
      return;
    case RTFWord::kAnsi:
      Change()->encoding = kREALTextEncodingWindowsLatin1;
      return;
    case RTFWord::kMac:
      Change()->encoding = kREALTextEncodingMacRoman;
      return;
    case RTFWord::kB:
      Change()->bold = p != 0;
      return;
    case RTFWord::kI:
      Change()->italic = p != 0;
      return;
    case RTFWord::kUl:
      Change()->underline = p != 0;
      return;
    case RTFWord::kUlnone:
      Change()->underline = false;
      return;
    case RTFWord::kU:
      // Every "\u" character is a run of its own, appended at once.
      AddCharacter(static_cast<uint16_t>(p));
      return;
    case RTFWord::kFonttbl:
      // The table reader consumes the group's "}", so the state this group pushed stays.
      SetFontTable(ReadFontTable(text, length, position));
      text_.clear();
      return;
    case RTFWord::kColortbl:
      colors_ = ReadColorTable(text, length, position);
      text_.clear();
      return;
    case RTFWord::kCf: {
      const auto found = colors_.find(static_cast<int>(p));
      Change()->color = found != colors_.end() ? found->second : RTFColor{0, 0, 0};
      return;
    }
    case RTFWord::kF: {
      const auto found = fonts_.find(static_cast<int>(p));
      Change()->fontName = found != fonts_.end() ? found->second : nullptr;
      return;
    }
    case RTFWord::kPar:
      if (run_ == nullptr) CreateRun();
      text_.push_back('\r');
      Flush();
      return;
    case RTFWord::kQc:
      Flush();
      alignment_ = 2;
      return;
    case RTFWord::kQr:
      Flush();
      alignment_ = 3;
      return;
    case RTFWord::kQl:
    case RTFWord::kQj:
      Flush();
      alignment_ = 1;  // justified is taken as left
      return;
    case RTFWord::kFs:
    case RTFWord::kUpr:
      // Half-points; "\upr" is read the same way, without a parameter as size 0.
      Change()->size = p / 2;
      return;
    case RTFWord::kUnknown:
    case RTFWord::kBin:  // handled before
    case RTFWord::kRed:  // colour table words
    case RTFWord::kGreen:
    case RTFWord::kBlue:
      // An unknown word opening its group (also "*\..." of a marked destination): the whole
      // group is a destination this import does not read.
      if (groupJustOpened) {
        skipDepth_ = 1;
        position = SkipGroup(text, length, position + 1) - 1;
      }
      return;
#if defined(__GNUC__)
    default:
      // Every word is listed above.
      __builtin_unreachable();
#endif
  }
}

}  // namespace

void RBCALL RTFWrite(REALobjectStruct* styledText, RBBoolean skipParagraphs,
                     REALstringStruct* value) {
  (void)skipParagraphs;
  try {
    StyledTextClear(styledText);
    rbData bytes(value);
    const long long length = bytes.length;
    if (length <= 6 || bytes.data == nullptr || std::memcmp(bytes.data, "{\\rtf", 5) != 0) return;
    // The readers take the host's bytes as they are: every read is bounded by the length and
    // sees NUL past it, as if the text were a NUL-terminated copy.
    RTFImport import(styledText);
    import.Parse(bytes.data, length);
  } catch (...) {
    // Malformed input is never reported; runs already appended stay.
  }
}
