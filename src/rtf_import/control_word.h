// The RTF tokenizer: reads one control word or control symbol behind its backslash.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "rtf_import/rtf_bytes.h"

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

#if defined(__SSE2__)
namespace control_word_detail {

// The words of up to eight letters by a multiplicative hash of their letters read as one
// little-endian 64-bit number (zero bytes behind the letters): 64 slots, one word each. The
// factor was picked so that no two words share a slot; the table's construction fails to
// compile if one ever did.
constexpr uint64_t kHashFactor = 0x1d5c482557450e65u;
constexpr int kHashShift = 58;

struct WordHash {
  uint64_t key[64];
  RTFWord word[64];

  constexpr WordHash() : key(), word() {
    Add("b", RTFWord::kB);
    Add("f", RTFWord::kF);
    Add("i", RTFWord::kI);
    Add("u", RTFWord::kU);
    Add("cf", RTFWord::kCf);
    Add("fs", RTFWord::kFs);
    Add("ul", RTFWord::kUl);
    Add("qc", RTFWord::kQc);
    Add("qj", RTFWord::kQj);
    Add("ql", RTFWord::kQl);
    Add("qr", RTFWord::kQr);
    Add("par", RTFWord::kPar);
    Add("rtf", RTFWord::kRtf);
    Add("bin", RTFWord::kBin);
    Add("mac", RTFWord::kMac);
    Add("upr", RTFWord::kUpr);
    Add("red", RTFWord::kRed);
    Add("pard", RTFWord::kPard);
    Add("ansi", RTFWord::kAnsi);
    Add("blue", RTFWord::kBlue);
    Add("green", RTFWord::kGreen);
    Add("ulnone", RTFWord::kUlnone);
    Add("paperw", RTFWord::kPaperw);
    Add("paperh", RTFWord::kPaperh);
    Add("ansicpg", RTFWord::kAnsicpg);
    Add("fonttbl", RTFWord::kFonttbl);
    Add("colortbl", RTFWord::kColortbl);
  }

  constexpr void Add(const char* letters, RTFWord w) {
    uint64_t k = 0;
    for (int n = 0; letters[n] != '\0'; ++n)
      k |= static_cast<uint64_t>(static_cast<unsigned char>(letters[n])) << (8 * n);
    const unsigned slot = static_cast<unsigned>((k * kHashFactor) >> kHashShift);
    if (key[slot] != 0) throw "two words share a slot";
    key[slot] = k;
    word[slot] = w;
  }
};

inline constexpr WordHash kWordHash{};

}  // namespace control_word_detail

// LookUpControlWord for count (1 or more) letters at s with at least eight bytes readable from
// s (x86 only, so the load is little-endian): a word of up to eight letters is one load, one
// multiplication and one comparison; longer ones take the comparisons.
inline RTFWord LookUpControlWordQuickly(const char* s, size_t count) {
  using control_word_detail::kWordHash;
  if (count > 8) return LookUpControlWord(s, count);
  uint64_t k;
  std::memcpy(&k, s, 8);
  k &= ~uint64_t{0} >> (64 - 8 * count);
  const unsigned slot = static_cast<unsigned>((k * control_word_detail::kHashFactor) >>
                                              control_word_detail::kHashShift);
  return kWordHash.key[slot] == k ? kWordHash.word[slot] : RTFWord::kUnknown;
}
#endif

// One control word as ReadCommand reads it, with the word looked up instead of copied.
struct ControlWord {
  RTFWord word = RTFWord::kUnknown;
  long long parameter = -1;
  long long nameEnd = 0;   // the name is text[position, nameEnd)
  bool rewritten = false;  // an empty name read as "par" (backslash line break) or "u" ("\'")
};

// The end of a control word whose name and number end at e: the delimiter at e is kept for the
// caller when it starts the next token and consumed otherwise; a CR with an LF two bytes on
// takes the byte behind it along.
inline long long DelimitedEnd(const char* text, long long length, long long e) {
  const char d = rtf_bytes::At(text, length, e);
  if (rtf_bytes::StartsNextToken(d)) return e - 1;
  if (d == '\r' && rtf_bytes::At(text, length, e + 2) == '\n') return e + 1;
  return e;
}

// ReadCommand without the string: the same word, parameter and result for every input, where
// every byte at an index of length or more reads as NUL, so text needs no terminator or padding.
// Only bytes in [0, length) are read. ReadCommand passes rtf_bytes::kUnknownLength: the text is
// then read as a NUL-terminated one, byte by byte, no further than the original reading went.
// position must lie in [0, length]. Inline: the import calls it for every control word.
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline long long
ScanControlWord(const char* text, long long length, long long position, ControlWord& out) {
  using rtf_bytes::At;
  using rtf_bytes::IsDigit;
  out.word = RTFWord::kUnknown;
  out.parameter = -1;
  out.rewritten = false;

  // "{\*\name": the letters start behind the "*\", but the word keeps it in front, so it
  // matches nothing.
  long long scan = position;
  if (At(text, length, position) == '*' && position >= 2 && text[position - 2] == '{' &&
      text[position - 1] == '\\' && At(text, length, position + 1) == '\\') {
    scan = position + 2;
  }
  const long long k = rtf_bytes::SkipLetters(text, scan, length);
  out.nameEnd = k;
  if (scan == position) {
    out.word = LookUpControlWord(text + position, static_cast<size_t>(k - position));
  }

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
  } else if ((c == '\n' || c == '\r') && k == position) {
    // A backslash line break.
    out.word = RTFWord::kPar;
    out.rewritten = true;
  } else if (c == '\'' && k == position) {
    // "\'": hexadecimal, upper case only, and the byte that ends the digits is skipped too.
    out.word = RTFWord::kU;
    out.rewritten = true;
    unsigned long long value = static_cast<unsigned long long>(-1);
    long long j = k + 1;
    for (;; ++j) {
      const char h = At(text, length, j);
      int digit;
      if (IsDigit(h)) {
        digit = h - '0';
      } else if (h >= 'A' && h <= 'F') {
        digit = h - 'A' + 10;
      } else {
        break;
      }
      value = value * 16u + static_cast<unsigned long long>(digit);
    }
    out.parameter = static_cast<long long>(value);
    e = j + 1;
  }

  return DelimitedEnd(text, length, e);
}

// Where the scan goes on behind "\binN" whose backslash is at backslash and whose delimiter ends
// at position: the parameter counts the binary bytes behind the delimiter, which are passed
// over unread. A count past the end ends the text (length). A negative count moves back, but
// never to the backslash or before it, so the scan always moves forward.
inline long long BinaryEnd(long long length, long long backslash, long long position,
                           long long parameter) {
  const long long next = position + 1;
  if (parameter >= 0) {
    if (next >= length || parameter >= length - next) return length;
    return next + parameter;
  }
  const long long back = next + parameter;  // next >= 0, so this cannot overflow
  return back > backslash ? back : backslash + 1;
}

// A control word that is only passed over, as in a skipped group, read by ScanControlWord with
// the backslash at backslash (backslash < length, a length that is known): returns where the
// scan goes on, behind the word or, for "\bin", behind its binary bytes.
long long PassControlWordFully(const char* text, long long length, long long backslash);
// The common case inline: a name of lower-case letters whose letters and number end within the
// sixteen bytes behind the backslash is measured with one block read, its letters compared with
// "bin" only and its number not read at all. Every other word takes the full reading.
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline long long
PassControlWord(const char* text, long long length, long long backslash) {
#if defined(__SSE2__)
  const long long position = backslash + 1;
  if (length - position >= 16 && rtf_bytes::IsLower(text[position])) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + position));
    const int k = rtf_bytes::LettersEnd(block);
    if (k < 16 && !(k == 3 && text[position] == 'b' && text[position + 1] == 'i' &&
                    text[position + 2] == 'n')) {
      const int e = rtf_bytes::NumberEnd(block, text + position, k);
      if (e < 16) {
        const long long end = position + e;
        const char d = text[end];
        if (rtf_bytes::StartsNextToken(d)) return end;
        if (d == '\r' && rtf_bytes::At(text, length, end + 2) == '\n') return end + 2;
        return end + 1;
      }
    }
  }
#endif
  return PassControlWordFully(text, length, backslash);
}
