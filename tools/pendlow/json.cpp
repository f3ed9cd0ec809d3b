#include "json.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "utf8.h"

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

// Nesting deeper than this is refused instead of risking the stack on hostile input.
constexpr int kMaxDepth = 512;

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {
    if (text_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;  // byte order mark
  }

  Value ParseDocument() {
    size_t invalid = FindInvalidUtf8(text_);
    if (invalid != std::string_view::npos) {
      // Report the place of the bad byte: walk there so line and column are right.
      while (pos_ < invalid) Advance();
      Fail("the document is not valid UTF-8");
    }
    SkipWhitespace();
    if (AtEnd()) Fail("the document is empty; expected a JSON value");
    Value value = ParseValue(0);
    SkipWhitespace();
    if (!AtEnd()) Fail("unexpected " + Describe() + " after the end of the JSON value");
    return value;
  }

 private:
  bool AtEnd() const { return pos_ >= text_.size(); }
  char Peek() const { return AtEnd() ? '\0' : text_[pos_]; }

  // Moves one character on, keeping line and column.
  void Advance() {
    char c = text_[pos_];
    if (c == '\n' || (c == '\r' && (pos_ + 1 >= text_.size() || text_[pos_ + 1] != '\n'))) {
      pos_ += 1;
      where_.line += 1;
      where_.column = 1;
      return;
    }
    NextCodePoint(text_, &pos_);
    where_.column += 1;
  }

  [[noreturn]] void Fail(const std::string& message) const { throw ParseError(where_, message); }
  [[noreturn]] void FailAt(Position at, const std::string& message) const {
    throw ParseError(at, message);
  }

  // The character under the cursor, for messages.
  std::string Describe() const {
    if (AtEnd()) return "end of the document";
    size_t pos = pos_;
    char32_t cp = NextCodePoint(text_, &pos);
    if (cp < 0x20) {
      char buffer[32];
      std::snprintf(buffer, sizeof buffer, "control character U+%04X", static_cast<unsigned>(cp));
      return buffer;
    }
    return "character '" + std::string(text_.substr(pos_, pos - pos_)) + "'";
  }

  void SkipWhitespace() {
    while (!AtEnd()) {
      char c = Peek();
      if (c != ' ' && c != '\t' && c != '\n' && c != '\r') break;
      Advance();
    }
  }

  void Expect(std::string_view literal, const char* what) {
    Position start = where_;
    for (char expected : literal) {
      if (Peek() != expected) FailAt(start, std::string("invalid literal; expected ") + what);
      Advance();
    }
  }

  Value ParseValue(int depth) {
    if (depth > kMaxDepth) Fail("nesting deeper than 512 levels");
    Value value;
    value.position = where_;
    char c = Peek();
    switch (c) {
      case '{':
        ParseObject(&value, depth);
        break;
      case '[':
        ParseArray(&value, depth);
        break;
      case '"':
        value.type = Type::kString;
        value.string = ParseString();
        break;
      case 't':
        Expect("true", "true");
        value.type = Type::kBool;
        value.boolean = true;
        break;
      case 'f':
        Expect("false", "false");
        value.type = Type::kBool;
        break;
      case 'n':
        Expect("null", "null");
        break;
      default:
        if (c == '-' || (c >= '0' && c <= '9')) {
          value.type = Type::kNumber;
          value.number = ParseNumber();
        } else {
          Fail("unexpected " + Describe() + "; expected a JSON value");
        }
    }
    return value;
  }

  void ParseObject(Value* value, int depth) {
    value->type = Type::kObject;
    Advance();  // '{'
    SkipWhitespace();
    if (Peek() == '}') {
      Advance();
      return;
    }
    for (;;) {
      SkipWhitespace();
      if (Peek() != '"') Fail("unexpected " + Describe() + "; expected a member name in quotes");
      Position keyPosition = where_;
      std::string key = ParseString();
      if (value->Find(key) != nullptr) FailAt(keyPosition, "duplicate member name " + Quote(key));
      SkipWhitespace();
      if (Peek() != ':') Fail("unexpected " + Describe() + "; expected ':' after a member name");
      Advance();
      SkipWhitespace();
      if (AtEnd()) Fail("unexpected end of the document; expected a JSON value");
      Value member = ParseValue(depth + 1);
      value->members.emplace_back(std::move(key), std::move(member));
      value->keyPositions.push_back(keyPosition);
      SkipWhitespace();
      if (Peek() == ',') {
        Advance();
        continue;
      }
      if (Peek() == '}') {
        Advance();
        return;
      }
      Fail("unexpected " + Describe() + "; expected ',' or '}' in an object");
    }
  }

  void ParseArray(Value* value, int depth) {
    value->type = Type::kArray;
    Advance();  // '['
    SkipWhitespace();
    if (Peek() == ']') {
      Advance();
      return;
    }
    for (;;) {
      SkipWhitespace();
      if (AtEnd()) Fail("unexpected end of the document; expected a JSON value");
      value->items.push_back(ParseValue(depth + 1));
      SkipWhitespace();
      if (Peek() == ',') {
        Advance();
        continue;
      }
      if (Peek() == ']') {
        Advance();
        return;
      }
      Fail("unexpected " + Describe() + "; expected ',' or ']' in an array");
    }
  }

  std::string ParseNumber() {
    size_t start = pos_;
    Position startPosition = where_;
    auto digits = [&]() {
      size_t count = 0;
      while (Peek() >= '0' && Peek() <= '9') Advance(), ++count;
      return count;
    };
    if (Peek() == '-') Advance();
    if (Peek() == '0') {
      Advance();
      if (Peek() >= '0' && Peek() <= '9') {
        FailAt(startPosition, "a number must not have leading zeros");
      }
    } else if (digits() == 0) {
      Fail("unexpected " + Describe() + "; expected a digit");
    }
    if (Peek() == '.') {
      Advance();
      if (digits() == 0) Fail("unexpected " + Describe() + "; expected a digit after '.'");
    }
    if (Peek() == 'e' || Peek() == 'E') {
      Advance();
      if (Peek() == '+' || Peek() == '-') Advance();
      if (digits() == 0) Fail("unexpected " + Describe() + "; expected a digit in the exponent");
    }
    return std::string(text_.substr(start, pos_ - start));
  }

  unsigned ParseHex4() {
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
      char c = Peek();
      unsigned digit;
      if (c >= '0' && c <= '9') {
        digit = static_cast<unsigned>(c - '0');
      } else if (c >= 'a' && c <= 'f') {
        digit = static_cast<unsigned>(c - 'a' + 10);
      } else if (c >= 'A' && c <= 'F') {
        digit = static_cast<unsigned>(c - 'A' + 10);
      } else {
        Fail("unexpected " + Describe() + "; expected four hexadecimal digits after \\u");
      }
      value = value * 16 + digit;
      Advance();
    }
    return value;
  }

  std::string ParseString() {
    Position start = where_;
    Advance();  // opening quote
    std::string result;
    for (;;) {
      if (AtEnd()) FailAt(start, "unterminated string");
      char c = Peek();
      if (c == '"') {
        Advance();
        return result;
      }
      if (static_cast<unsigned char>(c) < 0x20) {
        Fail("unescaped " + Describe() + " in a string");
      }
      if (c != '\\') {
        size_t from = pos_;
        Advance();
        result.append(text_.substr(from, pos_ - from));
        continue;
      }
      Position escape = where_;
      Advance();
      char e = Peek();
      if (AtEnd()) FailAt(start, "unterminated string");
      Advance();
      switch (e) {
        case '"':
          result.push_back('"');
          break;
        case '\\':
          result.push_back('\\');
          break;
        case '/':
          result.push_back('/');
          break;
        case 'b':
          result.push_back('\b');
          break;
        case 'f':
          result.push_back('\f');
          break;
        case 'n':
          result.push_back('\n');
          break;
        case 'r':
          result.push_back('\r');
          break;
        case 't':
          result.push_back('\t');
          break;
        case 'u': {
          char32_t cp = ParseHex4();
          if (cp >= 0xDC00 && cp <= 0xDFFF) FailAt(escape, "unpaired low surrogate in \\u escape");
          if (cp >= 0xD800 && cp <= 0xDBFF) {
            if (Peek() != '\\' || pos_ + 1 >= text_.size() || text_[pos_ + 1] != 'u') {
              FailAt(escape, "unpaired high surrogate in \\u escape");
            }
            Advance();
            Advance();
            char32_t low = ParseHex4();
            if (low < 0xDC00 || low > 0xDFFF) {
              FailAt(escape, "unpaired high surrogate in \\u escape");
            }
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
          }
          AppendUtf8(cp, &result);
          break;
        }
        default:
          FailAt(escape, "invalid escape sequence '\\" + std::string(1, e) + "' in a string");
      }
    }
  }

  std::string_view text_;
  size_t pos_ = 0;
  Position where_;
};

}  // namespace

Value Parse(std::string_view text) {
  return Parser(text).ParseDocument();
}

std::string Quote(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size() + 2);
  out.push_back('"');
  for (size_t pos = 0; pos < utf8.size();) {
    char32_t cp = NextCodePoint(utf8, &pos);
    switch (cp) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (cp < 0x20 || cp == 0x7F) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(cp));
          out += buffer;
        } else {
          AppendUtf8(cp, &out);
        }
    }
  }
  out.push_back('"');
  return out;
}

}  // namespace pendlow::json
