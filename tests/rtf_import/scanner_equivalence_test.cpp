// The import's fast readers against the first, literal ones kept here unchanged: the control
// word reader compared byte for byte on every short text over an alphabet of all the bytes that
// steer it and on random texts; the word look-up against the ordered chain of string
// comparisons on every word of up to three letters and every near miss of a known word; the
// length-bounded readers (which need no terminator) against the originals on padded copies; the
// table readers likewise; the text scanner against a byte loop.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "literal_readers.h"
#include "rtf_buffer.h"
#include "rtf_import/control_word.h"
#include "rtf_import/rtf_bytes.h"
#include "rtf_import/rtf_tables.h"
#include "rtf_import/text_scan.h"
#include "support/shown_bytes.h"

namespace original {

using literal::ReadColorTable;
using literal::ReadCommand;
using literal::ReadFontTable;

// The words every reader compares against, in the order the import, the colour table and the
// font table compare them; the first equal entry decides.
struct Entry {
  const char* text;
  RTFWord word;
};
const Entry kOrderedWords[] = {
    {"bin", RTFWord::kBin},
    {"rtf", RTFWord::kRtf},
    {"partightenfactor", RTFWord::kPartightenfactor},
    {"paperw", RTFWord::kPaperw},
    {"paperh", RTFWord::kPaperh},
    {"pard", RTFWord::kPard},
    {"pardirnatural", RTFWord::kPardirnatural},
    {"ansicpg", RTFWord::kAnsicpg},
    {"ansi", RTFWord::kAnsi},
    {"mac", RTFWord::kMac},
    {"b", RTFWord::kB},
    {"i", RTFWord::kI},
    {"ul", RTFWord::kUl},
    {"ulnone", RTFWord::kUlnone},
    {"u", RTFWord::kU},
    {"fonttbl", RTFWord::kFonttbl},
    {"colortbl", RTFWord::kColortbl},
    {"cf", RTFWord::kCf},
    {"f", RTFWord::kF},
    {"par", RTFWord::kPar},
    {"qc", RTFWord::kQc},
    {"qr", RTFWord::kQr},
    {"ql", RTFWord::kQl},
    {"qj", RTFWord::kQj},
    {"fs", RTFWord::kFs},
    {"upr", RTFWord::kUpr},
    {"red", RTFWord::kRed},
    {"green", RTFWord::kGreen},
    {"blue", RTFWord::kBlue},
};

RTFWord Match(const std::string& word) {
  for (const Entry& e : kOrderedWords) {
    if (word == e.text) return e.word;
  }
  return RTFWord::kUnknown;
}

}  // namespace original

namespace {

// Bytes that steer the reader, plus a few that do not.
const char kAlphabet[] = {'a', 'b', 'f',  'p', 'r', 'u', 'z', '0',  '9',  '-',  '\'', 'A', 'F',
                          'G', 'e', '\\', '{', '}', ';', '*', '\r', '\n', '\0', ' ',  '?', '\xE9'};
constexpr int kAlphabetSize = sizeof kAlphabet;

struct Result {
  long long end;
  std::string word;
  long long parameter;
  RTFWord id;
};

Result Original(const std::string& text, long long position) {
  RtfBuffer buffer(text);
  Result r;
  r.word = "junk";
  r.parameter = 777;
  r.end = original::ReadCommand(buffer.data(), position, r.word, r.parameter);
  r.id = original::Match(r.word);
  return r;
}

// The bounded reader on exactly the text's bytes (no terminator in reach of a sanitizer build),
// or on a padded copy read as NUL-terminated, as ReadCommand reads it.
Result Scanned(const std::string& text, long long position, bool bounded) {
  std::vector<char> exact(text.begin(), text.end());
  RtfBuffer padded(text);
  ControlWord token;
  Result r;
  if (bounded) {
    r.end = ScanControlWord(exact.data(), static_cast<long long>(exact.size()), position, token);
    const char* base = exact.data();
    r.word = token.rewritten ? (token.word == RTFWord::kPar ? "par" : "u")
                             : std::string(base + position, base + token.nameEnd);
  } else {
    r.end = ScanControlWord(padded.data(), rtf_bytes::kUnknownLength, position, token);
    const char* base = padded.data();
    r.word = token.rewritten ? (token.word == RTFWord::kPar ? "par" : "u")
                             : std::string(base + position, base + token.nameEnd);
  }
  r.parameter = token.parameter;
  r.id = token.word;
  return r;
}

using test_support::ShownBytes;

// Compares every reader on text at position (the backslash is at position - 1 in real use, but
// the readers must agree wherever they start).
::testing::AssertionResult Agree(const std::string& text, long long position) {
  const Result want = Original(text, position);
  std::string publicWord;
  long long publicParameter = 0;
  RtfBuffer buffer(text);
  const long long publicEnd = ReadCommand(buffer.data(), position, publicWord, publicParameter);
  for (bool bounded : {true, false}) {
    const Result got = Scanned(text, position, bounded);
    if (got.end != want.end || got.word != want.word || got.parameter != want.parameter ||
        got.id != want.id) {
      return ::testing::AssertionFailure()
             << (bounded ? "bounded" : "unbounded") << " reader differs on \"" << ShownBytes(text)
             << "\" at " << position << ": end " << got.end << " vs " << want.end << ", word \""
             << ShownBytes(got.word) << "\" vs \"" << ShownBytes(want.word) << "\", parameter "
             << got.parameter << " vs " << want.parameter << ", id " << int(got.id) << " vs "
             << int(want.id);
    }
  }
  if (publicEnd != want.end || publicWord != want.word || publicParameter != want.parameter) {
    return ::testing::AssertionFailure() << "ReadCommand differs on \"" << ShownBytes(text) << "\"";
  }
  // A word passed over in a skipped group: where the scan goes on, behind the binary bytes of
  // "\bin".
  if (position >= 1) {
    std::vector<char> exact(text.begin(), text.end());
    const long long length = static_cast<long long>(exact.size());
    const long long backslash = position - 1;
    const long long next = want.id == RTFWord::kBin
                               ? BinaryEnd(length, backslash, want.end, want.parameter)
                               : want.end + 1;
    const long long passed = PassControlWord(exact.data(), length, backslash);
    if (passed != next) {
      return ::testing::AssertionFailure()
             << "passing over \"" << ShownBytes(text) << "\" at " << position << " goes on at "
             << passed << ", not " << next;
    }
  }
  return ::testing::AssertionSuccess();
}

TEST(ScannerEquivalence, EveryWordOfUpToThreeLettersAndEveryNearMiss) {
  std::vector<std::string> words = {""};
  for (int length = 1; length <= 3; ++length) {
    std::vector<std::string> next;
    for (const std::string& w : words) {
      if (static_cast<int>(w.size()) != length - 1) continue;
      for (char c = 'a'; c <= 'z'; ++c) next.push_back(w + c);
    }
    words.insert(words.end(), next.begin(), next.end());
  }
  for (const original::Entry& e : original::kOrderedWords) {
    const std::string w = e.text;
    words.push_back(w);
    for (size_t k = 0; k <= w.size(); ++k) {
      for (char c = 'a'; c <= 'z'; ++c) {
        words.push_back(w.substr(0, k) + c + w.substr(k));  // one letter more
        if (k < w.size()) {
          std::string changed = w;
          changed[k] = c;
          words.push_back(changed);  // one letter other
        }
      }
      if (k < w.size()) words.push_back(w.substr(0, k) + w.substr(k + 1));  // one letter less
    }
    words.push_back(w + w);
  }
  size_t known = 0;
  for (const std::string& w : words) {
    const RTFWord want = original::Match(w);
    known += want != RTFWord::kUnknown;
    ASSERT_EQ(LookUpControlWord(w.data(), w.size()), want) << w;
#if defined(__SSE2__)
    // The hashed look-up reads eight bytes and more: the word followed by what may follow it.
    if (!w.empty()) {
      for (const char* behind : {"                ", "0123456789abcdef", "\\zzzzzzzzzzzzzzz"}) {
        const std::string padded = w + behind;
        ASSERT_EQ(LookUpControlWordQuickly(padded.data(), w.size()), want) << w;
      }
    }
#endif
  }
  EXPECT_GE(known, sizeof original::kOrderedWords / sizeof original::kOrderedWords[0]);
}

// Every text of up to four bytes over the alphabet, behind "{\" and behind "x\", read at the
// byte behind the backslash; then every start position of the whole text.
TEST(ScannerEquivalence, EveryShortTextOverTheSteeringBytes) {
  for (int length = 0; length <= 4; ++length) {
    long long count = 1;
    for (int k = 0; k < length; ++k) count *= kAlphabetSize;
    for (long long n = 0; n < count; ++n) {
      std::string tail;
      for (long long v = n, k = 0; k < length; ++k, v /= kAlphabetSize)
        tail += kAlphabet[v % kAlphabetSize];
      for (const char* head : {"{\\", "x\\"}) {
        const std::string text = head + tail;
        for (long long position = 0; position <= static_cast<long long>(text.size()); ++position) {
          ASSERT_TRUE(Agree(text, position));
        }
      }
    }
  }
}

std::string RandomText(std::mt19937& rng, int maxLength) {
  std::uniform_int_distribution<int> length(0, maxLength);
  std::string text;
  const int n = length(rng);
  for (int k = 0; k < n; ++k) {
    const unsigned r = rng() % 100;
    if (r < 60) {
      text += kAlphabet[rng() % kAlphabetSize];
    } else if (r < 75) {
      text += static_cast<char>('a' + rng() % 26);
    } else if (r < 90) {
      text += static_cast<char>('0' + rng() % 10);
    } else if (r < 95) {
      static const char* const words[] = {"\\red", "\\green", "\\blue", "\\f",   "{\\*\\",
                                          "\\par", "\\bin",   "\\u",    "\\'E9", "\r\n"};
      text += words[rng() % 10];
    } else {
      text += static_cast<char>(rng());
    }
  }
  return text;
}

TEST(ScannerEquivalence, RandomTextsAtEveryPosition) {
  std::mt19937 rng(20240611);
  for (int round = 0; round < 20000; ++round) {
    const std::string text = RandomText(rng, 40);
    for (long long position = 0; position <= static_cast<long long>(text.size()); ++position) {
      ASSERT_TRUE(Agree(text, position));
    }
  }
}

TEST(ScannerEquivalence, LongNumbersWrapAlike) {
  for (const std::string& digits :
       {std::string(25, '9'), std::string(400, '7'), std::string("18446744073709551615"),
        std::string("18446744073709551616"), std::string("9223372036854775808")}) {
    for (const char* sign : {"", "-"}) {
      ASSERT_TRUE(Agree(std::string("{\\fs") + sign + digits + " x", 2));
      ASSERT_TRUE(Agree(std::string("{\\fs") + sign + digits, 2));
      ASSERT_TRUE(Agree("{\\'" + std::string(30, 'F'), 2));
    }
  }
}

// Names and numbers of every length around the sixteen bytes read at once, each followed by
// every steering byte and by a short or long rest of the text, at the end of the text or not.
TEST(ScannerEquivalence, WordsAroundTheBlockLength) {
  std::vector<std::string> names = {"bin", "fs"};
  for (int letters = 1; letters <= 19; ++letters)
    names.push_back(std::string(static_cast<size_t>(letters), 'q'));
  for (const std::string& name : names) {
    for (int digits = 0; digits <= 19; ++digits) {
      for (const char* sign : {"", "-"}) {
        const std::string word =
            "{\\" + name + sign + std::string(static_cast<size_t>(digits), '7');
        for (char delimiter : kAlphabet) {
          for (const char* rest : {"", "x", "x\n", "\nabcdefghijklmnopqrstuvwxyz0123456789"}) {
            ASSERT_TRUE(Agree(word + delimiter + rest, 2));
          }
        }
      }
    }
  }
}

bool Same(const std::unordered_map<int, RTFColor>& a, const std::unordered_map<int, RTFColor>& b) {
  if (a.size() != b.size()) return false;
  for (const auto& entry : b) {
    const auto found = a.find(entry.first);
    if (found == a.end() || found->second.red != entry.second.red ||
        found->second.green != entry.second.green || found->second.blue != entry.second.blue)
      return false;
  }
  return true;
}

bool Same(const std::unordered_map<int, std::string>& a,
          const std::unordered_map<int, std::string>& b) {
  return a == b;
}

// A table reader started on every position of a random text that holds table-like content.
template <typename Map, typename Fresh, typename Original>
void CompareTables(Fresh fresh, Original old, const char* flavour) {
  std::mt19937 rng(4711);
  static const char* const pieces[] = {
      "\\red255",  "\\green", "\\blue-3", ";",    "}",         "{",       "\\f1 ",
      "\\f",       "Arial",   " ",        "\r\n", "\r",        "\\fnil ", "{\\*\\panose 02}",
      "\\'E9",     "\\",      "\\par",    "x",    "\\fonttbl", "\0",      "\\fcharset0 ",
      "{\\f2 T;}", "\\u8364?"};
  for (int round = 0; round < 4000; ++round) {
    std::string text = flavour;
    const int n = static_cast<int>(rng() % 30);
    for (int k = 0; k < n; ++k) {
      const char* piece = pieces[rng() % (sizeof pieces / sizeof pieces[0])];
      text += *piece == '\0' ? std::string(1, '\0') : std::string(piece);
    }
    for (long long start = 0; start < static_cast<long long>(text.size()); ++start) {
      RtfBuffer padded(text);
      long long wantPosition = start;
      const Map want = old(padded.data(), wantPosition);
      std::vector<char> exact(text.begin(), text.end());
      long long gotPosition = start;
      const Map got = fresh(exact.data(), static_cast<long long>(exact.size()), gotPosition);
      ASSERT_EQ(gotPosition, wantPosition) << ShownBytes(text) << " from " << start;
      ASSERT_TRUE(Same(got, want)) << ShownBytes(text) << " from " << start;
      long long publicPosition = start;
      const Map same = fresh(padded.data(), rtf_bytes::kUnknownLength, publicPosition);
      ASSERT_EQ(publicPosition, wantPosition);
      ASSERT_TRUE(Same(same, want)) << ShownBytes(text) << " from " << start;
    }
  }
}

// A table reader started just after its word on random texts.
template <typename Map, typename Fresh, typename Original>
void CompareOnRandomTables(Fresh fresh, Original old, const std::string& word, unsigned seed) {
  std::mt19937 rng(seed);
  for (int round = 0; round < 3000; ++round) {
    const std::string text = word + RandomText(rng, 60);
    RtfBuffer padded(text);
    long long want = static_cast<long long>(word.size()) - 1, got = want;
    const Map wanted = old(padded.data(), want);
    std::vector<char> exact(text.begin(), text.end());
    const Map read = fresh(exact.data(), static_cast<long long>(exact.size()), got);
    ASSERT_EQ(want, got) << ShownBytes(text);
    ASSERT_TRUE(Same(read, wanted)) << ShownBytes(text);
  }
}

// Both comparisons for one table reader.
template <typename Map, typename Fresh, typename Original>
void CompareTableReaders(Fresh fresh, Original old, const std::string& word, unsigned seed) {
  CompareTables<Map>(fresh, old, word.c_str());
  CompareOnRandomTables<Map>(fresh, old, word, seed);
}

TEST(ScannerEquivalence, ColourTables) {
  CompareTableReaders<std::unordered_map<int, RTFColor>>(
      [](const char* t, long long n, long long& p) { return ReadColorTable(t, n, p); },
      [](const char* t, long long& p) { return original::ReadColorTable(t, p); }, "\\colortbl", 99);
}

TEST(ScannerEquivalence, FontTables) {
  CompareTableReaders<std::unordered_map<int, std::string>>(
      [](const char* t, long long n, long long& p) { return ReadFontTable(t, n, p); },
      [](const char* t, long long& p) { return original::ReadFontTable(t, p); }, "\\fonttbl", 17);
}

// A scanner against a byte loop: on random texts of up to 79 bytes, mostly `common` ones with
// `rare` ones at a random density, from every start the scanner must stop where the first byte
// that `stops` it stands, or at the end.
template <typename Common, typename Rare, typename Stops, typename Scanner>
void CompareWithByteLoop(unsigned seed, Common common, Rare rare, Stops stops, Scanner scan) {
  std::mt19937 rng(seed);
  for (int round = 0; round < 20000; ++round) {
    const int length = static_cast<int>(rng() % 80);
    std::vector<char> text(static_cast<size_t>(length));
    const unsigned density = 1 + rng() % 64;
    for (char& c : text) c = rng() % density == 0 ? rare(rng) : common(rng);
    for (long long from = 0; from <= length; ++from) {
      long long want = from;
      while (want < length && !stops(text[static_cast<size_t>(want)])) ++want;
      ASSERT_EQ(scan(text.data(), from, length), want) << "from " << from;
    }
  }
}

char AnyByte(std::mt19937& rng) {
  return static_cast<char>(rng());
}

TEST(ScannerEquivalence, TextEndMatchesAByteLoop) {
  CompareWithByteLoop(
      5, AnyByte, [](std::mt19937& rng) { return "\\{}\r\n"[rng() % 5]; },
      [](char c) { return c == '\\' || c == '{' || c == '}' || c == '\r' || c == '\n'; },
      [](const char* text, long long from, int length) { return FindTextEnd(text, from, length); });
}

#if defined(__SSE2__)
int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Rows of escapes with every byte value in every place now and then, against a byte loop: the
// count of whole escapes with two digits from the start (up to eight) and their bytes.
TEST(ScannerEquivalence, EscapeRowsMatchAByteLoop) {
  std::mt19937 rng(31);
  const char digits[] = "0123456789abcdefABCDEF";
  for (int round = 0; round < 200000; ++round) {
    std::string row;
    while (row.size() < 32) {
      row += "\\'";
      row += digits[rng() % 22];
      row += digits[rng() % 22];
    }
    const int changes = static_cast<int>(rng() % 3);
    for (int k = 0; k < changes; ++k) row[rng() % 32] = static_cast<char>(rng());
    int want = 0;
    std::string bytes;
    while (want < 8) {
      const char* e = row.data() + 4 * want;
      if (e[0] != '\\' || e[1] != '\'' || HexDigit(e[2]) < 0 || HexDigit(e[3]) < 0) break;
      bytes += static_cast<char>(HexDigit(e[2]) * 16 + HexDigit(e[3]));
      ++want;
    }
    char out[8];
    const int got = DecodeEscapeRow(row.data(), out);
    ASSERT_EQ(got, want) << ShownBytes(row);
    ASSERT_EQ(std::string(out, static_cast<size_t>(got)), bytes) << ShownBytes(row);
  }
  // Every byte value in each place of an escape.
  for (int place = 0; place < 4; ++place) {
    for (int value = 0; value < 256; ++value) {
      std::string row;
      for (int k = 0; k < 8; ++k) row += "\\'7F";
      row[static_cast<size_t>(4 + place)] = static_cast<char>(value);
      const bool whole = place == 0   ? value == '\\'
                         : place == 1 ? value == '\''
                                      : HexDigit(static_cast<char>(value)) >= 0;
      char out[8];
      const int got = DecodeEscapeRow(row.data(), out);
      ASSERT_EQ(got, whole ? 8 : 1) << place << " " << value;
      if (whole && place >= 2) {
        const int h = place == 2 ? HexDigit(static_cast<char>(value)) : 7;
        const int l = place == 3 ? HexDigit(static_cast<char>(value)) : 15;
        ASSERT_EQ(static_cast<unsigned char>(out[1]), h * 16 + l) << place << " " << value;
      }
    }
  }
}
#endif

TEST(ScannerEquivalence, LetterRunMatchesAByteLoop) {
  CompareWithByteLoop(
      6, [](std::mt19937& rng) { return static_cast<char>('a' + rng() % 26); }, AnyByte,
      [](char c) { return c < 'a' || c > 'z'; },
      [](const char* text, long long from, int length) {
        return rtf_bytes::SkipLetters(text, from, length);
      });
  // Every byte value right behind a run of letters, at every offset of a 16-byte block.
  for (int value = 0; value < 256; ++value) {
    for (int letters = 0; letters < 40; ++letters) {
      std::string text(static_cast<size_t>(letters), 'q');
      text += static_cast<char>(value);
      text += "abcdefghijklmnopqrstuvwxyz";
      const long long want =
          value >= 'a' && value <= 'z' ? static_cast<long long>(text.size()) : letters;
      ASSERT_EQ(rtf_bytes::SkipLetters(text.data(), 0, static_cast<long long>(text.size())), want)
          << value << " after " << letters;
    }
  }
}

}  // namespace
