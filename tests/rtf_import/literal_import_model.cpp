// The literal import model: the document is read byte by byte with a group-state stack, the font
// and colour tables are read where they stand, and the host's side (runs appended, paragraphs
// and their alignment) is followed as the simulated host counts it.
#include "literal_import_model.h"

#include <cstring>
#include <memory>
#include <unordered_map>
#include <utility>

#include "literal_readers.h"

namespace literal_model {
namespace {

using literal::IsDigit;
using literal::ReadColorTable;
using literal::ReadCommand;
using literal::ReadFontTable;

// The host's text encoding for a Windows code page; unknown ones read as Windows Latin-1.
unsigned TextEncodingOfCodePage(long long codePage) {
  static const std::pair<long long, unsigned> kEncodings[] = {
      {437, 1024},  {850, 1040},  {852, 1042},  {860, 1045},  {862, 1047},  {863, 1048},
      {864, 1049},  {865, 1050},  {866, 1051},  {874, 1053},  {932, 1056},  {936, 1057},
      {949, 1058},  {950, 1059},  {1250, 1281}, {1251, 1282}, {1252, 1280}, {1253, 1283},
      {1254, 1284}, {1255, 1285}, {1256, 1286}, {1257, 1287}, {1258, 1288}, {1361, 1296},
      {10000, 0},   {10001, 1},   {10004, 4},   {10005, 5},   {10006, 6},   {10007, 7},
      {10029, 29},  {10081, 35}};
  for (const auto& entry : kEncodings) {
    if (entry.first == codePage) return entry.second;
  }
  return kREALTextEncodingWindowsLatin1;
}

// The character formatting of one group, copied into each group it opens.
struct GroupState {
  std::string font;
  long long size = 0;
  unsigned encoding = kREALTextEncodingWindowsLatin1;
  RTFColor color{0, 0, 0};
  bool bold = false, italic = false, underline = false;
};

// A StyleRun the library has made but not appended yet.
struct PendingRun {
  bool exists = false;
  simhost::Run properties;
};

std::u32string CodePointsOf(const std::string& utf8) {
  const std::string bytes =
      *simhost::Host::Convert(utf8, kREALTextEncodingUTF8, kREALTextEncodingUTF32);
  std::u32string codePoints;
  for (size_t k = 0; k + 4 <= bytes.size(); k += 4) {
    char32_t c;
    std::memcpy(&c, bytes.data() + k, 4);
    codePoints += c;
  }
  return codePoints;
}

// The host's side: the runs appended and the paragraphs their text makes. A paragraph ends at
// CR, LF or CR LF; the alignment is set on each paragraph a run starts.
class HostModel {
 public:
  const Expected& expected() const { return expected_; }
  Expected& expected() { return expected_; }

  void Append(PendingRun& run, const std::string& utf8, long long alignment) {
    const int64_t before = ParagraphCount();
    if (run.exists) {
      simhost::Run appended = run.properties;
      appended.text = utf8;
      expected_.runs.push_back(appended);
      expected_.runsAppended++;
      AppendText(CodePointsOf(utf8));
    }
    run.exists = false;
    const int64_t after = ParagraphCount();
    if (after != before) {
      expected_.alignmentsSet++;
      if (before >= 0 && before < after) {
        if (static_cast<int64_t>(expected_.alignments.size()) <= before) {
          expected_.alignments.resize(before + 1, 0);
        }
        expected_.alignments[before] = alignment;
      }
    }
  }

 private:
  struct Separator {
    int64_t start, end;
    bool cr;
  };

  int64_t ParagraphCount() const {
    const int64_t lastEnd = separators_.empty() ? 0 : separators_.back().end;
    return static_cast<int64_t>(separators_.size()) + (length_ > lastEnd ? 1 : 0);
  }

  void AppendText(const std::u32string& text) {
    for (size_t k = 0; k < text.size(); ++k) {
      if (text[k] != '\r' && text[k] != '\n') continue;
      const bool cr = text[k] == '\r';
      const int64_t at = length_ + static_cast<int64_t>(k);
      if (!cr && !separators_.empty() && separators_.back().cr && separators_.back().end == at &&
          separators_.back().end - separators_.back().start == 1) {
        separators_.back().end = at + 1;  // LF after CR: one separator
        continue;
      }
      separators_.push_back({at, at + 1, cr});
    }
    length_ += static_cast<int64_t>(text.size());
  }

  Expected expected_;
  std::vector<Separator> separators_;
  int64_t length_ = 0;
};

int HexDigit(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Words read and ignored inside the document's groups (any other unknown word that opens a
// group makes the group skipped).
bool IsIgnoredWord(const std::string& word) {
  return word == "rtf" || word == "partightenfactor" || word == "paperw" || word == "paperh" ||
         word == "pard" || word == "pardirnatural";
}

class Reader {
 public:
  explicit Reader(const std::string& rtf) : size_(static_cast<long long>(rtf.size())) {
    buffer_ = rtf;
    buffer_.append(4, '\0');  // look-ahead past the end reads zeros
    text_ = buffer_.c_str();
  }

  Expected Read() {
    long long i = 0;
    while (i < size_) {
      const char c = text_[i];
      const bool followsGroupOpen = groupJustOpened_;
      if (c == '\n' || c == '\r') {
        Flush();
        groupJustOpened_ = false;
        i++;
      } else if (c == '{') {
        OpenGroup();
        i++;
      } else if (c == '}') {
        Flush();
        if (current_ == nullptr) break;
        CloseGroup();
        i++;
      } else if (c == '\\') {
        i = Escape(i, followsGroupOpen);
      } else {
        TextByte(c);
        i++;
      }
    }
    Flush();
    return host_.expected();
  }

 private:
  void OpenGroup() {
    auto state = std::make_unique<GroupState>();
    if (current_ != nullptr) *state = *current_;
    groups_.push_back(std::move(state));
    current_ = groups_.back().get();
    if (skipDepth_ > 0) skipDepth_++;
    groupJustOpened_ = true;
  }

  void CloseGroup() {
    groups_.pop_back();
    current_ = groups_.empty() ? nullptr : groups_.back().get();
    Flush();
    if (skipDepth_ > 0) skipDepth_--;
    groupJustOpened_ = false;
  }

  // Reads the escape at `at` (a backslash); returns where reading goes on.
  long long Escape(long long at, bool followsGroupOpen) {
    const char next = text_[at + 1];
    if (next == '\n' || next == '\r') {
      pending_ += '\r';
      Flush();
      groupJustOpened_ = false;
      return at + 2;
    }
    if (next == '\'') {
      int value = 0;
      const int high = HexDigit(text_[at + 2]);
      if (high >= 0) {
        value = high;
        const int low = HexDigit(text_[at + 3]);
        if (low >= 0) value = high * 16 + low;
      }
      if (skipDepth_ == 0) pending_ += static_cast<char>(value);
      groupJustOpened_ = false;
      return at + 4;
    }
    if (next == '\\' || next == '{' || next == '}') {
      TextByte(next);
      return at + 2;
    }
    std::string word;
    long long parameter;
    long long end = ReadCommand(text_, at + 1, word, parameter);
    groupJustOpened_ = false;
    if (word == "bin") {
      // Skips the binary data; a length past the end reads to the end.
      long long resume = end + 1 + parameter;
      if (parameter >= 0 && (end + 1 >= size_ || parameter >= size_ - (end + 1))) resume = size_;
      if (resume <= at) resume = at + 1;
      return resume;
    }
    if (current_ != nullptr && skipDepth_ == 0) {
      ControlWord(word, parameter, end, followsGroupOpen);
    }
    return end + 1;
  }

  void ControlWord(const std::string& word, long long parameter, long long& end,
                   bool followsGroupOpen) {
    if (IsIgnoredWord(word)) return;
    if (word == "fonttbl") {
      fonts_ = ReadFontTable(text_, end);
      pending_.clear();
      return;
    }
    if (word == "colortbl") {
      colors_ = ReadColorTable(text_, end);
      pending_.clear();
      return;
    }
    if (word == "u") {
      UnicodeCharacter(parameter);
      return;
    }
    if (word == "par") {
      if (!run_.exists) CreateRun();
      pending_ += '\r';
      Flush();
      return;
    }
    if (!IsFormatting(word)) {
      if (followsGroupOpen) skipDepth_ = 1;
      return;
    }
    Flush();
    if (word == "ansicpg") {
      current_->encoding = TextEncodingOfCodePage(parameter);
    } else if (word == "ansi") {
      current_->encoding = kREALTextEncodingWindowsLatin1;
    } else if (word == "mac") {
      current_->encoding = kREALTextEncodingMacRoman;
    } else if (word == "b") {
      current_->bold = parameter != 0;
    } else if (word == "i") {
      current_->italic = parameter != 0;
    } else if (word == "ul") {
      current_->underline = parameter != 0;
    } else if (word == "ulnone") {
      current_->underline = false;
    } else if (word == "cf") {
      const auto found = colors_.find(static_cast<int>(parameter));
      current_->color = found != colors_.end() ? found->second : RTFColor{0, 0, 0};
    } else if (word == "f") {
      const auto found = fonts_.find(static_cast<int>(parameter));
      current_->font = found != fonts_.end() ? found->second : std::string();
    } else if (word == "qc") {
      alignment_ = 2;
    } else if (word == "qr") {
      alignment_ = 3;
    } else if (word == "ql" || word == "qj") {
      alignment_ = 1;
    } else if (word == "fs" || word == "upr") {
      current_->size = parameter / 2;
    }
  }

  static bool IsFormatting(const std::string& word) {
    static const char* const kWords[] = {"ansicpg", "ansi", "mac", "b",  "i",  "ul", "ulnone", "cf",
                                         "f",       "qc",   "qr",  "ql", "qj", "fs", "upr"};
    for (const char* known : kWords) {
      if (word == known) return true;
    }
    return false;
  }

  // "\uN": one run of its own holding the UTF-16 unit N (none for 0).
  void UnicodeCharacter(long long parameter) {
    Flush();
    if (!run_.exists) CreateRun();
    const uint16_t unit = static_cast<uint16_t>(parameter % 65536);
    if (unit != 0) {
      const std::string bytes(reinterpret_cast<const char*>(&unit), 2);
      host_.Append(run_,
                   *simhost::Host::Convert(bytes, kREALTextEncodingUTF16, kREALTextEncodingUTF8),
                   alignment_);
    }
    run_.exists = false;
  }

  void TextByte(char c) {
    groupJustOpened_ = false;
    if (skipDepth_ == 0) {
      if (!run_.exists) CreateRun();
      pending_ += c;
    }
  }

  // A new StyleRun with the current group's formatting; the font name makes a round trip
  // through UTF-16 as it does through the host.
  void CreateRun() {
    host_.expected().styleRunsCreated++;
    run_.exists = true;
    run_.properties = simhost::Run();
    if (current_ == nullptr) return;
    simhost::Run& properties = run_.properties;
    properties.bold = current_->bold;
    properties.italic = current_->italic;
    properties.underline = current_->underline;
    properties.size = current_->size;
    properties.color = static_cast<uint32_t>(current_->color.red) * 65536u +
                       static_cast<uint32_t>(current_->color.green) * 256u +
                       static_cast<uint32_t>(current_->color.blue);
    properties.font = *simhost::Host::Convert(
        *simhost::Host::Convert(current_->font, kREALTextEncodingUTF8, kREALTextEncodingUTF16),
        kREALTextEncodingUTF16, kREALTextEncodingUTF8);
  }

  // Appends the text gathered so far (up to its first zero byte, as a C string) in the
  // group's encoding.
  void Flush() {
    const unsigned encoding =
        current_ != nullptr ? current_->encoding : kREALTextEncodingWindowsLatin1;
    if (pending_.empty()) {
      run_.exists = false;
      return;
    }
    if (run_.exists) {
      const std::string bytes(pending_.c_str());
      const std::string utf8 =
          bytes.empty() ? std::string()
                        : *simhost::Host::Convert(bytes, encoding, kREALTextEncodingUTF8);
      host_.Append(run_, utf8, alignment_);
    }
    pending_.clear();
  }

  std::string buffer_;
  const char* text_ = nullptr;
  long long size_;
  HostModel host_;
  std::vector<std::unique_ptr<GroupState>> groups_;
  GroupState* current_ = nullptr;
  std::string pending_;
  PendingRun run_;
  long long skipDepth_ = 0;
  bool groupJustOpened_ = false;
  long long alignment_ = 0;
  std::unordered_map<int, std::string> fonts_;
  std::unordered_map<int, RTFColor> colors_;
};

}  // namespace

Expected Import(const std::string& rtf) {
  if (rtf.size() <= 6 || rtf.compare(0, 5, "{\\rtf") != 0) return Expected();
  return Reader(rtf).Read();
}

}  // namespace literal_model
