// The "\colortbl" and "\fonttbl" groups, read from behind their control word up to the "}" that
// closes the group.
#include "rtf_import/rtf_tables.h"

#include "rtf_import/control_word.h"
#include "rtf_import/rtf_bytes.h"

namespace {

// The byte at i, or NUL at and past the end.
char At(const char* text, long long length, long long i) {
  return static_cast<unsigned long long>(i) < static_cast<unsigned long long>(length) ? text[i]
                                                                                      : '\0';
}

// The table's closing "}" at j is delimited like a control word: the next byte is consumed
// unless it starts the next token, and a CR with an LF two bytes on takes that LF too.
long long CloseTable(const char* text, long long length, long long j) {
  const char next = At(text, length, j + 1);
  if (next == '\\' || next == '{' || next == '}' || next == ';') return j;
  if (next == '\r' && At(text, length, j + 3) == '\n') return j + 2;
  return j + 1;
}

}  // namespace

std::unordered_map<int, RTFColor> ReadColorTable(const char* text, long long length,
                                                 long long& position) {
  std::unordered_map<int, RTFColor> colors;
  long long index = 0;
  RTFColor color{0, 0, 0};
  ControlWord word;
  while (At(text, length, position) != 0) {
    const char ch = At(text, length, ++position);
    if (ch == ';') {
      // Every ";" ends one entry, so the customary empty first entry becomes black at 0.
      colors[static_cast<int>(index)] = color;
      ++index;
      color = RTFColor{0, 0, 0};
    } else if (ch == '\\') {
      position = ScanControlWord(text, length, position + 1, word);
      if (word.word == RTFWord::kRed) {
        color.red = static_cast<int>(word.parameter);
      } else if (word.word == RTFWord::kGreen) {
        color.green = static_cast<int>(word.parameter);
      } else if (word.word == RTFWord::kBlue) {
        color.blue = static_cast<int>(word.parameter);
      }
    } else if (ch == '}') {
      // Inner groups are not tracked: the first "}" ends the table.
      position = CloseTable(text, length, position);
      return colors;
    }
  }
  return colors;
}

std::unordered_map<int, std::string> ReadFontTable(const char* text, long long length,
                                                   long long& position) {
  std::unordered_map<int, std::string> fonts;
  std::string name;
  name.reserve(100);
  long long number = 0;
  long long skipDepth = 0;
  long long groupDepth = 0;
  bool entryFinished = false;
  bool groupJustOpened = false;
  ControlWord word;
  while (At(text, length, position) != 0) {
    const char ch = At(text, length, ++position);
    if (ch == '\\') {
      position = ScanControlWord(text, length, position + 1, word);
      // Only "f" counts; a rewritten empty name ("par", "u") is no "f" either.
      if (word.word == RTFWord::kF) {
        entryFinished = false;
        number = word.parameter;
      } else if (groupJustOpened && skipDepth == 0) {
        // A group opened by anything but "\f" ("{\*\panose", "{\*\falt") is skipped whole.
        skipDepth = 1;
      }
      groupJustOpened = false;
    } else if (ch == '{') {
      ++groupDepth;
      if (skipDepth > 0) ++skipDepth;
      groupJustOpened = true;
    } else if (ch == '}') {
      if (groupDepth < 1) {
        position = CloseTable(text, length, position);
        break;
      }
      --groupDepth;
      if (skipDepth > 0) --skipDepth;
      groupJustOpened = false;
    } else {
      groupJustOpened = false;
      if (skipDepth == 0 && !entryFinished) {
        if (ch == ';') {
          fonts[static_cast<int>(number)] = name;
          name.clear();
          entryFinished = true;
        } else {
          name.push_back(ch);
        }
      }
    }
  }
  return fonts;
}

// A table ends at the terminator at the latest.
std::unordered_map<int, RTFColor> ReadColorTable(const char* text, long long& position) {
  return ReadColorTable(text, rtf_bytes::kUnknownLength, position);
}

std::unordered_map<int, std::string> ReadFontTable(const char* text, long long& position) {
  return ReadFontTable(text, rtf_bytes::kUnknownLength, position);
}
