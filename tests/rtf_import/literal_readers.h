// The import's first readers, kept literal: a control word, the closing brace of a table, the
// colour table and the font table, each reading a NUL-terminated text one byte at a time. The
// fast readers are compared with them (scanner_equivalence_test.cpp) and the literal import
// model reads with them (literal_import_model.cpp).
#pragma once

#include <string>
#include <unordered_map>

#include "rtf_import/rtf_tables.h"

namespace literal {

inline bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

inline int UpperHexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

inline long long ReadCommand(const char* text, long long position, std::string& word,
                             long long& parameter) {
  word.clear();
  parameter = -1;
  long long scan = position;
  if (position >= 2 && text[position - 2] == '{' && text[position - 1] == '\\' &&
      text[position] == '*' && text[position + 1] == '\\') {
    scan = position + 2;
  }
  long long k = scan;
  while (text[k] >= 'a' && text[k] <= 'z') ++k;
  word.assign(text + position, static_cast<size_t>(k - position));
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
      e = j + 1;
    }
  }
  const char d = text[e];
  if (d == '\\' || d == '{' || d == '}' || d == ';') return e - 1;
  if (d == '\r' && text[e + 2] == '\n') return e + 1;
  return e;
}

inline long long CloseTable(const char* text, long long j) {
  const char next = text[j + 1];
  if (next == '\\' || next == '{' || next == '}' || next == ';') return j;
  if (next == '\r' && text[j + 3] == '\n') return j + 2;
  return j + 1;
}

// Reads a colour table from the last byte of its word to its closing brace, where `position`
// ends: ";" ends an entry, "\red", "\green" and "\blue" set its components.
inline std::unordered_map<int, RTFColor> ReadColorTable(const char* text, long long& position) {
  std::unordered_map<int, RTFColor> colors;
  RTFColor color{0, 0, 0};
  std::string word;
  long long parameter = -1;
  while (text[position] != 0) {
    switch (text[++position]) {
      case ';':
        colors[static_cast<int>(colors.size())] = color;
        color = RTFColor{0, 0, 0};
        break;
      case '\\': {
        position = ReadCommand(text, position + 1, word, parameter);
        int* component = word == "red"     ? &color.red
                         : word == "green" ? &color.green
                         : word == "blue"  ? &color.blue
                                           : nullptr;
        if (component != nullptr) *component = static_cast<int>(parameter);
        break;
      }
      case '}':
        position = CloseTable(text, position);
        return colors;
      default:
        break;
    }
  }
  return colors;
}

// Reads a font table likewise: "\fN" starts entry N, whose name is the text up to ";"; a group
// opened by another word is passed over whole.
inline std::unordered_map<int, std::string> ReadFontTable(const char* text, long long& position) {
  std::unordered_map<int, std::string> fonts;
  std::string name, word;
  long long number = 0, skipDepth = 0, groupDepth = 0, parameter = -1;
  bool entryFinished = false, groupJustOpened = false;
  while (text[position] != 0) {
    const char ch = text[++position];
    const bool afterGroupOpen = groupJustOpened;
    groupJustOpened = ch == '{';
    switch (ch) {
      case '\\':
        position = ReadCommand(text, position + 1, word, parameter);
        if (word == "f") {
          entryFinished = false;
          number = parameter;
        } else if (afterGroupOpen && skipDepth == 0) {
          skipDepth = 1;
        }
        break;
      case '{':
        ++groupDepth;
        if (skipDepth > 0) ++skipDepth;
        break;
      case '}':
        if (groupDepth-- < 1) {
          position = CloseTable(text, position);
          return fonts;
        }
        if (skipDepth > 0) --skipDepth;
        break;
      default:
        if (skipDepth != 0 || entryFinished) break;
        if (ch == ';') {
          fonts[static_cast<int>(number)] = name;
          name.clear();
          entryFinished = true;
        } else {
          name += ch;
        }
        break;
    }
  }
  return fonts;
}

}  // namespace literal
