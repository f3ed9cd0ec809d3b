// The RTF tokenizer: reads one control word or control symbol behind its backslash.
#pragma once

#include <cstdint>
#include <string>

// position: first byte behind the backslash. Returns the index of the last byte of the control
// word, its delimiter included; word and parameter (-1 when absent) are set.
//
// Buffer contract: text is NUL-terminated and two more readable bytes follow the terminator
// (callers pad their copy with at least three NUL bytes). The reader looks up to two bytes past
// a delimiter and stops every scan at the NUL; it looks two bytes back only when position >= 2.
long long ReadCommand(const char* text, long long position, std::string& word,
                      long long& parameter);

// The control words some reader acts on. Every other word, and every marked destination
// ("{\*\name" reads as "*\name"), is kUnknown.
enum class RTFWord : uint8_t {
  kUnknown,
  kAnsi,
  kAnsicpg,
  kB,
  kBin,
  kBlue,
  kCf,
  kColortbl,
  kF,
  kFonttbl,
  kFs,
  kGreen,
  kI,
  kMac,
  kPaperh,
  kPaperw,
  kPar,
  kPard,
  kPardirnatural,
  kPartightenfactor,
  kQc,
  kQj,
  kQl,
  kQr,
  kRed,
  kRtf,
  kU,
  kUl,
  kUlnone,
  kUpr,
};

// The word that count lower-case letters spell, by exact comparison.
RTFWord LookUpControlWord(const char* letters, size_t count);

// One control word as ReadCommand reads it, with the word looked up instead of copied.
struct ControlWord {
  RTFWord word = RTFWord::kUnknown;
  long long parameter = -1;
  long long nameEnd = 0;   // the name is text[position, nameEnd)
  bool rewritten = false;  // an empty name read as "par" (backslash line break) or "u" ("\'")
};

// ReadCommand without the string: the same word, parameter and result for every input, where
// every byte at an index of length or more reads as NUL (so text needs no terminator or
// padding; a length of LLONG_MAX reads a NUL-terminated text exactly as ReadCommand does).
// position must lie in [0, length].
long long ScanControlWord(const char* text, long long length, long long position, ControlWord& out);
