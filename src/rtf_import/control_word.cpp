// One control word: name, numeric parameter and delimiter, with the fixed rewrites the import
// relies on ("par" for a backslash line break, "u" for "\'", the "*\" kept on marked
// destinations so that nobody recognises them).
#include "rtf_import/control_word.h"

#include <cstring>

namespace {

template <size_t N>
bool Is(const char* letters, const char (&word)[N]) {
  return std::memcmp(letters, word, N - 1) == 0;
}

// Words told apart by one letter: the word of each byte, kUnknown for all others.
struct WordByLetter {
  RTFWord of[256];
  template <size_t N>
  constexpr WordByLetter(const char (&letters)[N], const RTFWord (&words)[N - 1]) : of() {
    for (size_t k = 0; k + 1 < N; ++k) of[static_cast<unsigned char>(letters[k])] = words[k];
  }
};

// The words of one letter, and the alignments ("q" and a second letter).
constexpr WordByLetter kOneLetter("bfiu", {RTFWord::kB, RTFWord::kF, RTFWord::kI, RTFWord::kU});
constexpr WordByLetter kAlignment("cjlr", {RTFWord::kQc, RTFWord::kQj, RTFWord::kQl, RTFWord::kQr});

}  // namespace

// Words are told apart by length first; within a length at most a handful of fixed-size
// comparisons remain. A word equals at most one entry, so the result is the one an ordered
// comparison against every entry gives.
RTFWord LookUpControlWord(const char* s, size_t count) {
  switch (count) {
    case 1:
      return kOneLetter.of[static_cast<unsigned char>(s[0])];
    case 2:
      switch (s[0]) {
        case 'c':
          return s[1] == 'f' ? RTFWord::kCf : RTFWord::kUnknown;
        case 'f':
          return s[1] == 's' ? RTFWord::kFs : RTFWord::kUnknown;
        case 'u':
          return s[1] == 'l' ? RTFWord::kUl : RTFWord::kUnknown;
        case 'q':
          return kAlignment.of[static_cast<unsigned char>(s[1])];
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

long long ReadCommand(const char* text, long long position, std::string& word,
                      long long& parameter) {
  ControlWord token;
  const long long result = ScanControlWord(text, rtf_bytes::kUnknownLength, position, token);
  if (token.rewritten) {
    word = token.word == RTFWord::kPar ? "par" : "u";
  } else {
    word.assign(text + position, static_cast<size_t>(token.nameEnd - position));
  }
  parameter = token.parameter;
  return result;
}

// The rare words of PassControlWord, out of line: "\bin", long names and numbers, the last
// bytes of the text.
long long PassControlWordFully(const char* text, long long length, long long backslash) {
  ControlWord word;
  const long long end = ScanControlWord(text, length, backslash + 1, word);
  return word.word == RTFWord::kBin ? BinaryEnd(length, backslash, end, word.parameter) : end + 1;
}
