// The RTF import: one left-to-right pass over the assigned bytes with a stack of group states.
// Collected text becomes a new StyleRun, appended to the StyledText, whenever the formatting
// changes, a paragraph ends or the source line breaks.
#include "rtf_import/rtf_import.h"

#include <cstring>
#include <memory>
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
#include "rtf_import/rtf_group_state.h"
#include "rtf_import/rtf_tables.h"

namespace {

constexpr unsigned int kDefaultEncoding = kREALTextEncodingWindowsLatin1;
constexpr size_t kTextReserve = 10000;

// The value of "\'hh": the longest hexadecimal prefix of the two bytes, either case.
int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

int EscapedByte(const char* text) {
  const int high = HexDigit(text[0]);
  if (high < 0) return 0;
  const int low = HexDigit(text[1]);
  return low < 0 ? high : high * 16 + low;
}

// Gives a new run the formatting of the current group; a run made outside any group keeps the
// host's defaults.
void ApplyState(REALobjectStruct* run, const RTFGroupState* state) {
  if (state == nullptr) return;
  StyleRunSetBold(run, state->bold ? 1 : 0);
  StyleRunSetItalic(run, state->italic ? 1 : 0);
  StyleRunSetUnderline(run, state->underline ? 1 : 0);
  StyleRunSetSize(run, state->size);
  // Components are taken as read from the colour table, so the packing wraps like the host's
  // 32-bit colour rather than overflowing.
  const unsigned int color = static_cast<unsigned int>(state->color.red) * 65536u +
                             static_cast<unsigned int>(state->color.green) * 256u +
                             static_cast<unsigned int>(state->color.blue);
  StyleRunSetTextColor(run, color);
  // An empty name builds no host string; the setter still gets the null.
  REALstringStruct* name =
      CString2RB(state->fontName ? state->fontName->c_str() : "", kREALTextEncodingUTF8);
  StyleRunSetFontName(run, name);
  if (name != nullptr) REALUnlockString(name);
}

class RTFImport {
 public:
  explicit RTFImport(REALobjectStruct* styledText) : styledText_(styledText) {
    text_.reserve(kTextReserve);
  }
  // Only an exception leaves a run pending; it is given back rather than leaked.
  ~RTFImport() {
    if (run_ != nullptr) REALUnlockObject(run_);
  }
  RTFImport(const RTFImport&) = delete;
  RTFImport& operator=(const RTFImport&) = delete;

  // text holds length bytes followed by at least three NUL bytes.
  void Parse(const char* text, long long length);

 private:
  unsigned int Encoding() const { return state_ ? state_->encoding : kDefaultEncoding; }

  // Appends the collected text as the pending run (dropped when there is none), empties the
  // buffer and releases the run.
  void Flush() { StyledTextAddStyleRun(Encoding(), text_, styledText_, run_, alignment_); }

  void CreateRun() {
    run_ = NewStyleRun();
    ApplyState(run_, state_);
  }

  void AddTextByte(char byte) {
    if (skipDepth_ > 0) return;
    if (run_ == nullptr) {
      run_ = REALnewInstance("StyleRun");
      if (run_ == nullptr) DebugLog("NewStyleRun failed");
      ApplyState(run_, state_);
    }
    text_.push_back(byte);
  }

  // Returns the index at which the scan goes on.
  long long HandleControlWord(const char* text, long long backslash, long long length,
                              bool groupJustOpened);
  void HandleWord(const char* text, long long& position, bool groupJustOpened);

  REALobjectStruct* styledText_;
  RTFGroupStack stack_;
  RTFGroupState* state_ = nullptr;
  std::string text_;
  REALobjectStruct* run_ = nullptr;
  long long skipDepth_ = 0;
  long long alignment_ = 0;  // one value for the whole parse: "}" does not restore it
  std::unordered_map<int, std::shared_ptr<const std::string>> fonts_;
  std::unordered_map<int, RTFColor> colors_;
  std::string word_;
  long long parameter_ = -1;
};

void RTFImport::Parse(const char* text, long long length) {
  long long i = 0;
  bool groupOpened = false;
  while (i < length) {
    // The flag holds only for the step right behind a "{".
    const bool groupJustOpened = groupOpened;
    groupOpened = false;
    const char ch = text[i];
    if (ch == '\n' || ch == '\r') {
      // Source line breaks only split runs.
      Flush();
      ++i;
    } else if (ch == '{') {
      state_ = stack_.Push();
      if (skipDepth_ > 0) ++skipDepth_;
      groupOpened = true;
      ++i;
    } else if (ch == '}') {
      Flush();
      if (state_ == nullptr) break;  // no open group: the document ends here
      state_ = stack_.Pop();
      Flush();
      if (skipDepth_ > 0) --skipDepth_;
      ++i;
    } else if (ch == '\\') {
      const char ch2 = text[i + 1];
      if (ch2 == '\n' || ch2 == '\r') {
        // A paragraph break that needs a pending run to survive.
        text_.push_back('\r');
        Flush();
        i += 2;
      } else if (ch2 == '\'') {
        // The byte is converted from the group's encoding when the run is flushed.
        const int byte = EscapedByte(text + i + 2);
        if (skipDepth_ == 0) text_.push_back(static_cast<char>(byte));
        i += 4;
      } else if (ch2 == '\\' || ch2 == '{' || ch2 == '}') {
        AddTextByte(ch2);
        i += 2;
      } else {
        i = HandleControlWord(text, i, length, groupJustOpened);
      }
    } else {
      AddTextByte(ch);
      ++i;
    }
  }
  Flush();
}

long long RTFImport::HandleControlWord(const char* text, long long backslash, long long length,
                                       bool groupJustOpened) {
  long long position = ReadCommand(text, backslash + 1, word_, parameter_);
  if (word_ == "bin") {
    // The parameter counts the binary bytes behind the delimiter; they are passed over unread,
    // even while skipping. A count past the end ends the document. A negative count moves
    // back, but never to the backslash or before it, so the scan always moves forward.
    const long long next = position + 1;
    if (parameter_ >= 0) {
      if (next >= length || parameter_ >= length - next) return length;
      return next + parameter_;
    }
    const long long back = next + parameter_;  // next >= 0, so this cannot overflow
    return back > backslash ? back : backslash + 1;
  }
  if (state_ != nullptr && skipDepth_ == 0) HandleWord(text, position, groupJustOpened);
  return position + 1;
}

void RTFImport::HandleWord(const char* text, long long& position, bool groupJustOpened) {
  const std::string& w = word_;
  const long long p = parameter_;
  if (w == "rtf" || w == "partightenfactor" || w == "paperw" || w == "paperh" || w == "pard" ||
      w == "pardirnatural") {
    return;
  }
  if (w == "ansicpg") {
    Flush();
    state_->encoding = FindEncoding(p);
  } else if (w == "ansi") {
    Flush();
    state_->encoding = kREALTextEncodingWindowsLatin1;
  } else if (w == "mac") {
    Flush();
    state_->encoding = kREALTextEncodingMacRoman;
  } else if (w == "b") {
    Flush();
    state_->bold = p != 0;
  } else if (w == "i") {
    Flush();
    state_->italic = p != 0;
  } else if (w == "ul") {
    Flush();
    state_->underline = p != 0;
  } else if (w == "ulnone") {
    Flush();
    state_->underline = false;
  } else if (w == "u") {
    // Every "\u" character is a run of its own, appended at once.
    Flush();
    if (run_ == nullptr) CreateRun();
    StyledTextAddStyleRun(static_cast<uint16_t>(p), styledText_, run_, alignment_);
  } else if (w == "fonttbl") {
    // The table reader consumes the group's "}", so the state this group pushed stays.
    std::unordered_map<int, std::string> table = ReadFontTable(text, position);
    fonts_.clear();
    for (auto& entry : table) {
      fonts_.emplace(entry.first, std::make_shared<const std::string>(std::move(entry.second)));
    }
    text_.clear();
  } else if (w == "colortbl") {
    colors_ = ReadColorTable(text, position);
    text_.clear();
  } else if (w == "cf") {
    Flush();
    const auto found = colors_.find(static_cast<int>(p));
    state_->color = found != colors_.end() ? found->second : RTFColor{0, 0, 0};
  } else if (w == "f") {
    Flush();
    const auto found = fonts_.find(static_cast<int>(p));
    state_->fontName = found != fonts_.end() ? found->second : nullptr;
  } else if (w == "par") {
    if (run_ == nullptr) CreateRun();
    text_.push_back('\r');
    Flush();
  } else if (w == "qc") {
    Flush();
    alignment_ = 2;
  } else if (w == "qr") {
    Flush();
    alignment_ = 3;
  } else if (w == "ql" || w == "qj") {
    Flush();
    alignment_ = 1;  // justified is taken as left
  } else if (w == "fs" || w == "upr") {
    // Half-points; "\upr" is read the same way, without a parameter as size 0.
    Flush();
    state_->size = p / 2;
  } else if (groupJustOpened) {
    // An unknown word opening its group (also "*\..." of a marked destination): the whole
    // group is a destination this import does not read.
    skipDepth_ = 1;
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
    // A private copy followed by three NUL bytes: the control-word and table readers stop at a
    // NUL and look up to two bytes past a delimiter, which must stay inside the copy.
    std::string copy;
    copy.reserve(static_cast<size_t>(length) + 2);
    copy.assign(bytes.data, static_cast<size_t>(length));
    copy.append(2, '\0');
    RTFImport import(styledText);
    import.Parse(copy.c_str(), length);
  } catch (...) {
    // Malformed input is never reported; runs already appended stay.
  }
}
