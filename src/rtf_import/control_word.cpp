// One control word: name, numeric parameter and delimiter, with the fixed rewrites the import
// relies on ("par" for a backslash line break, "u" for "\'", the "*\" kept on marked
// destinations so that nobody recognises them).
#include "rtf_import/control_word.h"

namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Upper-case hexadecimal only: a lower-case digit ends the number.
int UpperHexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

long long ReadCommand(const char* text, long long position, std::string& word,
                      long long& parameter) {
  word.clear();
  parameter = -1;

  // "{\*\name": the letters start behind the "*\", but the word keeps it in front.
  long long scan = position;
  if (position >= 2 && text[position - 2] == '{' && text[position - 1] == '\\' &&
      text[position] == '*' && text[position + 1] == '\\') {
    scan = position + 2;
  }
  long long k = scan;
  while (text[k] >= 'a' && text[k] <= 'z') ++k;
  word.assign(text + position, static_cast<size_t>(k - position));

  // Parameters are accumulated in unsigned 64-bit arithmetic: overlong numbers wrap around
  // instead of overflowing, and a leading "-" negates the value accumulated from -1.
  long long e = k;
  const char c = text[k];
  if (IsDigit(c) || c == '-') {
    unsigned long long value = IsDigit(c) ? static_cast<unsigned long long>(c - '0')
                                          : static_cast<unsigned long long>(parameter);
    e = k + 1;
    while (IsDigit(text[e])) {
      value = value * 10u + static_cast<unsigned long long>(text[e] - '0');
      ++e;
    }
    if (c == '-') value = 0u - value;
    parameter = static_cast<long long>(value);
  } else if (c == '\n' || c == '\r') {
    if (word.empty()) word = "par";
  } else if (c == '\'') {
    if (word.empty()) {
      word = "u";
      unsigned long long value = static_cast<unsigned long long>(parameter);
      long long j = k + 1;
      for (int digit; (digit = UpperHexValue(text[j])) >= 0; ++j) {
        value = value * 16u + static_cast<unsigned long long>(digit);
      }
      parameter = static_cast<long long>(value);
      e = j + 1;  // the byte that ended the digits is skipped too
    }
  }

  // The delimiter: kept for the caller when it starts the next token, consumed otherwise.
  const char d = text[e];
  if (d == '\\' || d == '{' || d == '}' || d == ';') return e - 1;
  if (d == '\r' && text[e + 2] == '\n') return e + 1;
  return e;
}
