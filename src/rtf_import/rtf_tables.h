// The "\fonttbl" and "\colortbl" groups: read from behind their control word up to the "}"
// that closes the group, leaving position on the last byte consumed.
#pragma once

#include <string>
#include <unordered_map>

struct RTFColor {
  int red;
  int green;
  int blue;
};

// text is NUL-terminated and padded as ReadCommand requires.
std::unordered_map<int, RTFColor> ReadColorTable(const char* text, long long& position);
std::unordered_map<int, std::string> ReadFontTable(const char* text, long long& position);

// The same on the first length bytes of text, every index past them reading as NUL.
std::unordered_map<int, RTFColor> ReadColorTable(const char* text, long long length,
                                                 long long& position);
std::unordered_map<int, std::string> ReadFontTable(const char* text, long long length,
                                                   long long& position);
