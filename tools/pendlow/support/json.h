// The tool's JSON: a reader over nlohmann-json's parser that keeps the line and column of every
// value, so that a document that does not fit the schema can be reported at the exact place, and
// says where and why a document is not JSON; and the quoting the tool's own writers use. The
// reader accepts strict RFC 8259 JSON (plus a leading UTF-8 byte order mark) and requires the
// whole document to be valid UTF-8 and every string free of unpaired surrogates.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pendlow::json {

struct Position {
  int64_t line = 1;    // 1-based
  int64_t column = 1;  // 1-based, in characters (code points)
};

enum class Type { kNull, kBool, kNumber, kString, kArray, kObject };

// "null", "a boolean", "a number", ... for messages.
const char* Describe(Type type);

struct Value {
  Type type = Type::kNull;
  Position position;  // where the value starts
  bool boolean = false;
  std::string number;  // the literal as written, already checked against the JSON grammar
  std::string string;  // UTF-8
  std::vector<Value> items;
  std::vector<std::pair<std::string, Value>> members;  // in document order, keys unique
  std::vector<Position> keyPositions;                  // beside members

  const Value* Find(std::string_view key) const;
  // The number as a 64-bit integer; nullopt for fractions, exponents or values out of range.
  std::optional<int64_t> AsInteger() const;
};

class ParseError : public std::runtime_error {
 public:
  ParseError(Position position, const std::string& message)
      : std::runtime_error(message), position_(position) {}
  Position position() const { return position_; }

 private:
  Position position_;
};

// Parses one complete document; throws ParseError with the position of the first problem.
Value Parse(std::string_view text);

// The value of a hexadecimal digit (0-9, a-f, A-F), or -1 for any other character.
int HexDigit(char c);

// A JSON string literal, quotes included. Non-ASCII characters stay as UTF-8; control
// characters, DEL, quote and backslash are escaped. Malformed UTF-8 becomes U+FFFD. The tool
// writes its JSON as text with this, one run or paragraph per line, for output that stays the
// same byte for byte.
std::string Quote(std::string_view utf8);

}  // namespace pendlow::json
