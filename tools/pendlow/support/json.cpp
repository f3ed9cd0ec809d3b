#include "support/json.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <nlohmann/json.hpp>

#include "support/utf8.h"

namespace pendlow::json {

const char* Describe(Type type) {
  switch (type) {
    case Type::kNull:
      return "null";
    case Type::kBool:
      return "a boolean";
    case Type::kNumber:
      return "a number";
    case Type::kString:
      return "a string";
    case Type::kArray:
      return "an array";
    case Type::kObject:
      return "an object";
  }
  return "a value";
}

const Value* Value::Find(std::string_view key) const {
  for (const auto& member : members) {
    if (member.first == key) return &member.second;
  }
  return nullptr;
}

std::optional<int64_t> Value::AsInteger() const {
  if (type != Type::kNumber) return std::nullopt;
  if (number.find_first_of(".eE") != std::string::npos) return std::nullopt;
  errno = 0;
  char* end = nullptr;
  long long value = std::strtoll(number.c_str(), &end, 10);
  if (errno == ERANGE || end == nullptr || *end != '\0') return std::nullopt;
  return static_cast<int64_t>(value);
}

namespace {

// Nesting deeper than this is refused instead of building a tree for hostile input.
constexpr size_t kMaxDepth = 512;

using Json = nlohmann::json;

// Walks the text as nlohmann's lexer reads it and records the furthest byte read: the parser's
// events carry no positions, so this is how each value is placed in the text.
class TrackingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  TrackingIterator(const char* at, const char** furthest) : at_(at), furthest_(furthest) {}
  reference operator*() const { return *at_; }
  TrackingIterator& operator++() {
    ++at_;
    if (at_ > *furthest_) *furthest_ = at_;
    return *this;
  }
  TrackingIterator operator++(int) {
    TrackingIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const TrackingIterator& other) const { return at_ == other.at_; }
  bool operator!=(const TrackingIterator& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  const char** furthest_;
};

// Line and column of byte offsets, met in increasing order. Columns count characters; a line
// ends at LF, CR LF or a lone CR.
class Locator {
 public:
  Locator(std::string_view text, size_t begin) : text_(text), begin_(begin), pos_(begin) {}

  Position At(size_t offset) {
    if (offset < pos_) {  // not expected, but stay right
      pos_ = begin_;
      where_ = Position();
    }
    while (pos_ < offset && pos_ < text_.size()) {
      char c = text_[pos_];
      if (c == '\n' || (c == '\r' && (pos_ + 1 >= text_.size() || text_[pos_ + 1] != '\n'))) {
        pos_ += 1;
        where_.line += 1;
        where_.column = 1;
      } else {
        NextCodePoint(text_, &pos_);
        where_.column += 1;
      }
    }
    return where_;
  }

 private:
  std::string_view text_;
  size_t begin_;
  size_t pos_;
  Position where_;
};

bool IsWhitespace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Builds the tree from nlohmann's parser events, placing every value and member name; when the
// parser stops at a mistake, finds the exact place and says what was expected there.
class Builder {
 public:
  Builder(std::string_view text, size_t begin, const char** furthest)
      : text_(text), locator_(text, begin), mark_(begin), furthest_(furthest) {}

  // The parser's events (nlohmann's SAX interface).
  bool null() { return Scalar(Type::kNull) != nullptr; }
  bool boolean(bool on) {
    Value* value = Scalar(Type::kBool);
    if (value != nullptr) value->boolean = on;
    return value != nullptr;
  }
  bool number_integer(Json::number_integer_t) { return Number(); }
  bool number_unsigned(Json::number_unsigned_t) { return Number(); }
  bool number_float(Json::number_float_t, const Json::string_t&) { return Number(); }
  bool string(Json::string_t& text) {
    Value* value = Scalar(Type::kString);
    if (value != nullptr) value->string = std::move(text);
    return value != nullptr;
  }
  bool binary(Json::binary_t&) { return false; }  // JSON text has none
  bool start_object(std::size_t) { return Open(Type::kObject, Expect::kKeyOrClose); }
  bool start_array(std::size_t) { return Open(Type::kArray, Expect::kValueOrClose); }
  bool end_object() { return Close(); }
  bool end_array() { return Close(); }
  bool key(Json::string_t& name) {
    const size_t start = TokenStart();
    Value* object = open_.back();
    if (object->Find(name) != nullptr) return Fail(start, "duplicate member name " + Quote(name));
    keyPosition_ = locator_.At(start);
    key_ = std::move(name);
    mark_ = Read();
    expect_ = Expect::kColon;
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& e) {
    Diagnose(e.what());
    return false;
  }

  Value TakeRoot() { return std::move(root_); }
  const std::optional<ParseError>& error() const { return error_; }

 private:
  enum class Expect { kRoot, kEnd, kKeyOrClose, kColon, kValueOrClose, kArrayNext, kObjectNext };

  size_t Read() const { return static_cast<size_t>(*furthest_ - text_.data()); }

  // Where the token of the current event starts: past the whitespace and the separator that
  // follow the previous token.
  size_t TokenStart() const {
    size_t pos = mark_;
    while (pos < text_.size() &&
           (IsWhitespace(text_[pos]) || text_[pos] == ',' || text_[pos] == ':')) {
      ++pos;
    }
    return pos;
  }

  size_t SkipWhitespace(size_t pos) const {
    while (pos < text_.size() && IsWhitespace(text_[pos])) ++pos;
    return pos;
  }

  // A new value in its place: the root, the next item or the member of the last name.
  Value* Place(Type type, size_t start) {
    if (open_.size() > kMaxDepth) {
      Fail(start, "nesting deeper than 512 levels");
      return nullptr;
    }
    Value* value = &root_;
    if (!open_.empty()) {
      Value* parent = open_.back();
      if (parent->type == Type::kArray) {
        parent->items.emplace_back();
        value = &parent->items.back();
      } else {
        parent->members.emplace_back(std::move(key_), Value());
        parent->keyPositions.push_back(keyPosition_);
        value = &parent->members.back().second;
      }
    }
    value->type = type;
    value->position = locator_.At(start);
    return value;
  }

  void AfterValue() {
    if (open_.empty()) {
      expect_ = Expect::kEnd;
    } else {
      expect_ = open_.back()->type == Type::kArray ? Expect::kArrayNext : Expect::kObjectNext;
    }
  }

  Value* Scalar(Type type) {
    Value* value = Place(type, TokenStart());
    if (value == nullptr) return nullptr;
    mark_ = Read();
    AfterValue();
    return value;
  }

  bool Number() {
    const size_t start = TokenStart();
    const size_t end = NumberEnd(start);
    // The lexer ends a number before a second digit after a leading zero and reads that digit
    // as the next token; the mistake is the zero.
    if (text_[start + (text_[start] == '-')] == '0' && end < text_.size() && IsDigit(text_[end])) {
      return Fail(start, "a number must not have leading zeros");
    }
    Value* value = Place(Type::kNumber, start);
    if (value == nullptr) return false;
    value->number = std::string(text_.substr(start, end - start));
    mark_ = end;  // the lexer has read one byte further
    AfterValue();
    return true;
  }

  // The end of the JSON number at `pos` (as much of one as there is).
  size_t NumberEnd(size_t pos) const {
    auto digits = [&](size_t at) {
      while (at < text_.size() && IsDigit(text_[at])) ++at;
      return at;
    };
    if (pos < text_.size() && text_[pos] == '-') ++pos;
    pos = pos < text_.size() && text_[pos] == '0' ? pos + 1 : digits(pos);
    if (pos + 1 < text_.size() && text_[pos] == '.' && IsDigit(text_[pos + 1])) {
      pos = digits(pos + 1);
    }
    if (pos < text_.size() && (text_[pos] == 'e' || text_[pos] == 'E')) {
      size_t at = pos + 1;
      if (at < text_.size() && (text_[at] == '+' || text_[at] == '-')) ++at;
      if (at < text_.size() && IsDigit(text_[at])) pos = digits(at);
    }
    return pos;
  }

  bool Open(Type type, Expect next) {
    Value* value = Place(type, TokenStart());
    if (value == nullptr) return false;
    open_.push_back(value);
    mark_ = Read();
    expect_ = next;
    return true;
  }

  bool Close() {
    open_.pop_back();
    mark_ = Read();
    AfterValue();
    return true;
  }

  bool Fail(size_t offset, const std::string& message) {
    if (!error_) error_.emplace(locator_.At(offset), message);
    return false;
  }

  // The character at `pos`, for messages.
  std::string Describe(size_t pos) const {
    if (pos >= text_.size()) return "end of the document";
    size_t next = pos;
    char32_t cp = NextCodePoint(text_, &next);
    if (cp < 0x20) {
      char buffer[32];
      std::snprintf(buffer, sizeof buffer, "control character U+%04X", static_cast<unsigned>(cp));
      return buffer;
    }
    return "character '" + std::string(text_.substr(pos, next - pos)) + "'";
  }

  // Reports a mistake the diagnosis found; true, for "found".
  bool Found(size_t offset, const std::string& message) {
    Fail(offset, message);
    return true;
  }
  bool Unexpected(size_t pos, const std::string& expected) {
    return Found(pos, "unexpected " + Describe(pos) + "; " + expected);
  }

  // At a separator the parser expected: what follows it is diagnosed by `next`; anything else
  // there is the mistake.
  bool AfterSeparator(size_t pos, char separator, bool (Builder::*next)(size_t),
                      const char* expected) {
    if (pos < text_.size() && text_[pos] == separator)
      return (this->*next)(SkipWhitespace(pos + 1));
    return Unexpected(pos, std::string("expected ") + expected);
  }

  // The parser stopped after the last event: find the mistake from there.
  void Diagnose(const char* parserMessage) {
    size_t pos = SkipWhitespace(mark_);
    bool found = false;
    switch (expect_) {
      case Expect::kRoot:
        found = pos >= text_.size() ? Found(pos, "the document is empty; expected a JSON value")
                                    : DiagnoseValue(pos);
        break;
      case Expect::kEnd:
        found = Found(pos, "unexpected " + Describe(pos) + " after the end of the JSON value");
        break;
      case Expect::kKeyOrClose:
        found = DiagnoseKey(pos);
        break;
      case Expect::kColon:
        found = AfterSeparator(pos, ':', &Builder::DiagnoseValue, "':' after a member name");
        break;
      case Expect::kValueOrClose:
        found = DiagnoseValue(pos);
        break;
      case Expect::kArrayNext:
        found = AfterSeparator(pos, ',', &Builder::DiagnoseValue, "',' or ']' in an array");
        break;
      case Expect::kObjectNext:
        found = AfterSeparator(pos, ',', &Builder::DiagnoseKey, "',' or '}' in an object");
        break;
    }
    if (!found) {
      // Not expected: the parser's own words, without its error number.
      std::string message = parserMessage;
      const size_t bracket = message.find("] ");
      if (bracket != std::string::npos) message = message.substr(bracket + 2);
      if (message.rfind("parse error", 0) == 0 && message.find(": ") != std::string::npos) {
        message = message.substr(message.find(": ") + 2);
      }
      Fail(TokenStart(), message);
    }
  }

  // Each Diagnose* returns whether it found the mistake (and reported it).
  bool DiagnoseKey(size_t pos) {
    if (pos >= text_.size() || text_[pos] != '"') {
      return Unexpected(pos, "expected a member name in quotes");
    }
    return DiagnoseString(pos);
  }

  bool DiagnoseValue(size_t pos) {
    const char c = pos < text_.size() ? text_[pos] : '\0';
    switch (c) {
      case '"':
        return DiagnoseString(pos);
      case 't':
        return DiagnoseLiteral(pos, "true");
      case 'f':
        return DiagnoseLiteral(pos, "false");
      case 'n':
        return DiagnoseLiteral(pos, "null");
      case '{':
      case '[':
        return false;
      default:
        if (c == '-' || IsDigit(c)) {
          // A well-formed number the parser refuses is beyond the range of a double.
          return DiagnoseNumber(pos) ||
                 Found(pos, "the number " + std::string(text_.substr(pos, NumberEnd(pos) - pos)) +
                                " is out of range");
        }
        return Unexpected(pos, "expected a JSON value");
    }
  }

  bool DiagnoseLiteral(size_t pos, std::string_view literal) {
    if (text_.substr(pos, literal.size()) == literal) return false;
    return Found(pos, "invalid literal; expected " + std::string(literal));
  }

  bool DiagnoseNumber(size_t pos) {
    auto digits = [&](size_t* at) {
      size_t from = *at;
      while (*at < text_.size() && IsDigit(text_[*at])) ++*at;
      return *at - from;
    };
    const size_t start = pos;
    if (text_[pos] == '-') ++pos;
    if (pos < text_.size() && text_[pos] == '0') {
      ++pos;
      if (pos < text_.size() && IsDigit(text_[pos])) {
        return Found(start, "a number must not have leading zeros");
      }
    } else if (digits(&pos) == 0) {
      return Unexpected(pos, "expected a digit");
    }
    if (pos < text_.size() && text_[pos] == '.') {
      ++pos;
      if (digits(&pos) == 0) return Unexpected(pos, "expected a digit after '.'");
    }
    if (pos < text_.size() && (text_[pos] == 'e' || text_[pos] == 'E')) {
      ++pos;
      if (pos < text_.size() && (text_[pos] == '+' || text_[pos] == '-')) ++pos;
      if (digits(&pos) == 0) return Unexpected(pos, "expected a digit in the exponent");
    }
    return false;
  }

  // Reads the four hexadecimal digits at `*pos`; true when they are not (reported).
  bool BadHex4(size_t* pos, unsigned* value) {
    *value = 0;
    for (int i = 0; i < 4; ++i, ++*pos) {
      const int digit = HexDigit(*pos < text_.size() ? text_[*pos] : '\0');
      if (digit < 0) return Unexpected(*pos, "expected four hexadecimal digits after \\u");
      *value = *value * 16 + static_cast<unsigned>(digit);
    }
    return false;
  }

  bool DiagnoseString(size_t start) {
    size_t pos = start + 1;
    for (;;) {
      if (pos >= text_.size()) return Found(start, "unterminated string");
      const char c = text_[pos];
      if (c == '"') return false;
      if (static_cast<unsigned char>(c) < 0x20) {
        return Found(pos, "unescaped " + Describe(pos) + " in a string");
      }
      if (c != '\\') {
        NextCodePoint(text_, &pos);
        continue;
      }
      const size_t escape = pos++;
      if (pos >= text_.size()) return Found(start, "unterminated string");
      const char e = text_[pos++];
      if (std::string_view("\"\\/bfnrt").find(e) != std::string_view::npos) continue;
      if (e != 'u') {
        return Found(escape, "invalid escape sequence '\\" + std::string(1, e) + "' in a string");
      }
      unsigned cp = 0;
      if (BadHex4(&pos, &cp)) return true;
      if (cp >= 0xDC00 && cp <= 0xDFFF) {
        return Found(escape, "unpaired low surrogate in \\u escape");
      }
      if (cp >= 0xD800 && cp <= 0xDBFF) {
        if (text_.substr(pos, 2) != "\\u") {
          return Found(escape, "unpaired high surrogate in \\u escape");
        }
        pos += 2;
        unsigned low = 0;
        if (BadHex4(&pos, &low)) return true;
        if (low < 0xDC00 || low > 0xDFFF) {
          return Found(escape, "unpaired high surrogate in \\u escape");
        }
      }
    }
  }

  std::string_view text_;
  Locator locator_;
  size_t mark_;  // the end of the last token the events covered
  const char** furthest_;
  Expect expect_ = Expect::kRoot;
  Value root_;
  std::vector<Value*> open_;  // the arrays and objects not closed yet, innermost last
  std::string key_;           // the name of the member whose value comes next
  Position keyPosition_;
  std::optional<ParseError> error_;
};

}  // namespace

Value Parse(std::string_view text) {
  const size_t begin = text.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0;  // byte order mark
  const size_t invalid = FindInvalidUtf8(text);
  if (invalid != std::string_view::npos) {
    throw ParseError(Locator(text, begin).At(invalid), "the document is not valid UTF-8");
  }
  const char* furthest = text.data();
  Builder builder(text, begin, &furthest);
  const bool parsed =
      Json::sax_parse(TrackingIterator(text.data(), &furthest),
                      TrackingIterator(text.data() + text.size(), &furthest), &builder);
  if (builder.error()) throw *builder.error();
  if (!parsed) throw ParseError(Position(), "invalid JSON");  // every stop is reported above
  return builder.TakeRoot();
}

// JSON's short escapes: quote, backslash, backspace, form feed, line feed, return, tab.
constexpr std::string_view kQuoteEscapes = "\"\"\\\\\bb\ff\nn\rr\tt";

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string Quote(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size() + 2);
  out.push_back('"');
  for (size_t pos = 0; pos < utf8.size();) {
    AppendEscaped(NextCodePoint(utf8, &pos), kQuoteEscapes, "\\u%04x", &out);
  }
  out.push_back('"');
  return out;
}

}  // namespace pendlow::json
