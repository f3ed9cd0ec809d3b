// One control word: name, numeric parameter and delimiter, with the fixed rewrites the import
// relies on ("par" for a backslash line break, "u" for "\'", the "*\" kept on marked
// destinations so that nobody recognises them).
#include "rtf_import/control_word.h"

#include <climits>
#include <cstring>

namespace {

bool IsDigit(char c) {
  return static_cast<unsigned char>(c - '0') < 10;
}

bool IsLower(char c) {
  return static_cast<unsigned char>(c - 'a') < 26;
}

// Upper-case hexadecimal only: a lower-case digit ends the number.
int UpperHexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The byte at i, or NUL at and past the end.
char At(const char* text, long long length, long long i) {
  return static_cast<unsigned long long>(i) < static_cast<unsigned long long>(length) ? text[i]
                                                                                      : '\0';
}

template <size_t N>
bool Is(const char* letters, const char (&word)[N]) {
  return std::memcmp(letters, word, N - 1) == 0;
}

}  // namespace

// Words are told apart by length first; within a length at most a handful of fixed-size
// comparisons remain. A word equals at most one entry, so the result is the one an ordered
// comparison against every entry gives.
RTFWord LookUpControlWord(const char* s, size_t count) {
  switch (count) {
    case 1:
      switch (s[0]) {
        case 'b':
          return RTFWord::kB;
        case 'f':
          return RTFWord::kF;
        case 'i':
          return RTFWord::kI;
        case 'u':
          return RTFWord::kU;
        default:
          return RTFWord::kUnknown;
      }
    case 2:
      switch (s[0]) {
        case 'c':
          return s[1] == 'f' ? RTFWord::kCf : RTFWord::kUnknown;
        case 'f':
          return s[1] == 's' ? RTFWord::kFs : RTFWord::kUnknown;
        case 'u':
          return s[1] == 'l' ? RTFWord::kUl : RTFWord::kUnknown;
        case 'q':
          switch (s[1]) {
            case 'c':
              return RTFWord::kQc;
            case 'j':
              return RTFWord::kQj;
            case 'l':
              return RTFWord::kQl;
            case 'r':
              return RTFWord::kQr;
            default:
              return RTFWord::kUnknown;
          }
        default:
          return RTFWord::kUnknown;
      }
    case 3:
      if (Is(s, "par")) return RTFWord::kPar;
      if (Is(s, "rtf")) return RTFWord::kRtf;
      if (Is(s, "bin")) return RTFWord::kBin;
      if (Is(s, "mac")) return RTFWord::kMac;
      if (Is(s, "upr")) return RTFWord::kUpr;
      if (Is(s, "red")) return RTFWord::kRed;
      return RTFWord::kUnknown;
    case 4:
      if (Is(s, "pard")) return RTFWord::kPard;
      if (Is(s, "ansi")) return RTFWord::kAnsi;
      if (Is(s, "blue")) return RTFWord::kBlue;
      return RTFWord::kUnknown;
    case 5:
      return Is(s, "green") ? RTFWord::kGreen : RTFWord::kUnknown;
    case 6:
      if (Is(s, "ulnone")) return RTFWord::kUlnone;
      if (Is(s, "paperw")) return RTFWord::kPaperw;
      if (Is(s, "paperh")) return RTFWord::kPaperh;
      return RTFWord::kUnknown;
    case 7:
      if (Is(s, "ansicpg")) return RTFWord::kAnsicpg;
      if (Is(s, "fonttbl")) return RTFWord::kFonttbl;
      return RTFWord::kUnknown;
    case 8:
      return Is(s, "colortbl") ? RTFWord::kColortbl : RTFWord::kUnknown;
    case 13:
      return Is(s, "pardirnatural") ? RTFWord::kPardirnatural : RTFWord::kUnknown;
    case 16:
      return Is(s, "partightenfactor") ? RTFWord::kPartightenfactor : RTFWord::kUnknown;
    default:
      return RTFWord::kUnknown;
  }
}

long long ScanControlWord(const char* text, long long length, long long position,
                          ControlWord& out) {
  out.word = RTFWord::kUnknown;
  out.parameter = -1;
  out.rewritten = false;

  // "{\*\name": the letters start behind the "*\", but the word keeps it in front, so it
  // matches nothing.
  long long scan = position;
  if (position >= 2 && text[position - 2] == '{' && text[position - 1] == '\\' &&
      At(text, length, position) == '*' && At(text, length, position + 1) == '\\') {
    scan = position + 2;
  }
  long long k = scan;
  while (k < length && IsLower(text[k])) ++k;
  out.nameEnd = k;
  if (scan == position)
    out.word = LookUpControlWord(text + position, static_cast<size_t>(k - position));
  const bool empty = k == position;

  // Parameters are accumulated in unsigned 64-bit arithmetic: overlong numbers wrap around
  // instead of overflowing, and a leading "-" negates the value accumulated from -1.
  long long e = k;
  const char c = At(text, length, k);
  if (IsDigit(c) || c == '-') {
    unsigned long long value =
        IsDigit(c) ? static_cast<unsigned long long>(c - '0') : static_cast<unsigned long long>(-1);
    e = k + 1;
    while (e < length && IsDigit(text[e])) {
      value = value * 10u + static_cast<unsigned long long>(text[e] - '0');
      ++e;
    }
    if (c == '-') value = 0u - value;
    out.parameter = static_cast<long long>(value);
  } else if (c == '\n' || c == '\r') {
    if (empty) {
      out.word = RTFWord::kPar;
      out.rewritten = true;
    }
  } else if (c == '\'') {
    if (empty) {
      out.word = RTFWord::kU;
      out.rewritten = true;
      unsigned long long value = static_cast<unsigned long long>(-1);
      long long j = k + 1;
      for (int digit; (digit = UpperHexValue(At(text, length, j))) >= 0; ++j) {
        value = value * 16u + static_cast<unsigned long long>(digit);
      }
      out.parameter = static_cast<long long>(value);
      e = j + 1;  // the byte that ended the digits is skipped too
    }
  }

  // The delimiter: kept for the caller when it starts the next token, consumed otherwise.
  const char d = At(text, length, e);
  if (d == '\\' || d == '{' || d == '}' || d == ';') return e - 1;
  if (d == '\r' && At(text, length, e + 2) == '\n') return e + 1;
  return e;
}

long long ReadCommand(const char* text, long long position, std::string& word,
                      long long& parameter) {
  ControlWord token;
  const long long end = ScanControlWord(text, LLONG_MAX, position, token);
  if (token.rewritten) {
    word = token.word == RTFWord::kPar ? "par" : "u";
  } else {
    word.assign(text + position, static_cast<size_t>(token.nameEnd - position));
  }
  parameter = token.parameter;
  return end;
}
