// The control-word reader on its own: names, parameters, delimiters and the fixed rewrites.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>

#include "rtf_buffer.h"
#include "rtf_import/control_word.h"

namespace {

struct Token {
  std::string word;
  long long parameter = 0;
  long long end = 0;  // relative to the backslash
};

// Reads the control word whose backslash is at `backslash` in text.
Token Read(std::string_view text, long long backslash = 0) {
  RtfBuffer buffer(text);
  Token token;
  token.word = "junk";  // must be replaced
  token.parameter = 12345;
  token.end = ReadCommand(buffer.data(), backslash + 1, token.word, token.parameter) - backslash;
  return token;
}

// The same text read behind two ordinary bytes, so the backward look has bytes to see.
Token ReadShifted(std::string_view text) {
  return Read("xy" + std::string(text), 2);
}

void Expect(std::string_view text, const std::string& word, long long parameter, long long end) {
  SCOPED_TRACE(std::string(text));
  for (const Token& t : {Read(text), ReadShifted(text)}) {
    EXPECT_EQ(t.word, word);
    EXPECT_EQ(t.parameter, parameter);
    EXPECT_EQ(t.end, end);
  }
}

// A control word read at the start of a text and behind two other bytes: the word, the
// parameter and where it ends, counted from the backslash.
struct WordCase {
  const char* name;
  const char* text;
  const char* word;
  long long parameter;
  long long end;
};

// Cases show as their names in test listings.
void PrintTo(const WordCase& c, std::ostream* os) {
  *os << c.name;
}

const WordCase kWords[] = {
    {"WordEndedBySpaceConsumesTheSpace", "\\b hello", "b", -1, 2},
    {"BackslashEndsWordAndIsLeftForCaller", "\\b\\i", "b", -1, 1},
    {"NumericParameter", "\\fs24 x", "fs", 24, 5},
    {"SemicolonBehindNumberIsLeftForCaller", "\\f0;", "f", 0, 2},
    {"UnicodeFallbackQuestionMarkIsTheDelimiter", "\\u8364?", "u", 8364, 6},
    {"NegativeParameterCountsFromMinusOne_1", "\\li-5 ", "li", 5, 5},
    {"NegativeParameterCountsFromMinusOne_2", "\\li-12 ", "li", 88, 6},
    {"NegativeParameterCountsFromMinusOne_3", "\\li-100 ", "li", 900, 7},
    {"MinusWithoutDigitsGivesOne", "\\li- x", "li", 1, 4},
    {"BackslashLineBreakIsPar_1", "\\\n", "par", -1, 1},
    {"BackslashLineBreakIsPar_2", "\\\rx", "par", -1, 1},
    {"LineBreakBehindWordKeepsTheWord_1", "\\b\nx", "b", -1, 2},
    {"LineBreakBehindWordKeepsTheWord_2", "\\fs20\nx", "fs", 20, 5},
    {"LowerCaseHexEndsTheNumberAtOnce", "\\'e9 tail", "u", -1, 3},
    {"HexEscapeWithoutDigitsSkipsTheNextByte", "\\'xy z", "u", -1, 3},
    {"UpperCaseLetterEndsWordAndIsSwallowed", "\\Par x", "", -1, 1},
    {"LettersOnlyLowerCase", "\\bX", "b", -1, 2},
    {"ControlSymbolsComeBackEmpty_1", "\\~x", "", -1, 1},
    {"ControlSymbolsComeBackEmpty_2", "\\_x", "", -1, 1},
    {"ControlSymbolsComeBackEmpty_3", "\\:x", "", -1, 1},
    {"ControlSymbolsComeBackEmpty_4", "\\|x", "", -1, 1},
    // "-" always starts a parameter, even directly behind the backslash: no digits give 1, and
    // the byte behind the "-" is the delimiter.
    {"OptionalHyphenIsReadAsANumber_1", "\\-x", "", 1, 2},
    {"OptionalHyphenIsReadAsANumber_2", "\\-;", "", 1, 1},
    {"DigitsDirectlyBehindBackslash", "\\123 x", "", 123, 4},
    {"TokenStartersAreLeftForCaller_1", "\\b;", "b", -1, 1},
    {"TokenStartersAreLeftForCaller_2", "\\b{", "b", -1, 1},
    {"TokenStartersAreLeftForCaller_3", "\\b}", "b", -1, 1},
    {"TokenStartersAreLeftForCaller_4", "\\b\\", "b", -1, 1},
    {"TokenStartersAreLeftForCaller_5", "\\;x", "", -1, 0},
    {"ApostropheBehindWordIsTheDelimiter", "\\b'x", "b", -1, 2},
    // LF two places on: one more byte consumed
    {"CrDelimiterLooksTwoBytesOn_1", "\\b\r\r\n", "b", -1, 3},
    // even when the byte between is not a line break
    {"CrDelimiterLooksTwoBytesOn_2", "\\b\rx\n", "b", -1, 3},
    // the LF right behind the CR is not looked at
    {"CrDelimiterLooksTwoBytesOn_3", "\\b\r\nx", "b", -1, 2},
    // look-ahead into the padding
    {"CrDelimiterLooksTwoBytesOn_4", "\\b\r", "b", -1, 2},
    {"CrDelimiterLooksTwoBytesOn_5", "\\\r\r\n", "par", -1, 2},
    {"CrDelimiterLooksTwoBytesOn_6", "\\\r\n", "par", -1, 1},
    {"LfDelimiterHasNoLookAhead", "\\b\n\n\n", "b", -1, 2},
    {"TwentyFiveDigitNumberWrapsAt64Bits_1", "\\fs1234567890123456789012345 x", "fs",
     1096246371337559929LL, 28},
    {"TwentyFiveDigitNumberWrapsAt64Bits_2", "\\fs-1234567890123456789012345 x", "fs",
     494651607021854855LL, 29},
};

class ControlWord : public ::testing::TestWithParam<WordCase> {};

TEST_P(ControlWord, ReadsAsExpected) {
  Expect(GetParam().text, GetParam().word, GetParam().parameter, GetParam().end);
}

INSTANTIATE_TEST_SUITE_P(ReadCommand, ControlWord, ::testing::ValuesIn(kWords),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ReadCommand, UpperCaseHexEscapeSkipsOneByteBehindTheDigits) {
  Token t = Read("\\'E9x y");
  EXPECT_EQ(t.word, "u");
  EXPECT_EQ(t.parameter, -23);
  EXPECT_EQ(t.parameter & 0xFF, 0xE9);
  EXPECT_EQ(t.end, 5);
  Expect("\\'E9x y", "u", -23, 5);
}

TEST(ReadCommand, HexHasNoTwoDigitLimit) {
  Expect("\\'41BC z", "u", -65536 + 0x41BC, 7);
}

TEST(ReadCommand, MarkedDestinationKeepsStarBackslash) {
  Token t = Read("{\\*\\panose 02", 1);
  EXPECT_EQ(t.word, "*\\panose");
  EXPECT_EQ(t.parameter, -1);
  EXPECT_EQ(t.end, 9);  // index 10 of the text: the space
}

TEST(ReadCommand, MarkerWithoutLettersGivesStarBackslash) {
  Token t = Read("{\\*\\Panose", 1);
  EXPECT_EQ(t.word, "*\\");
  EXPECT_EQ(t.end, 3);  // "P" swallowed
}

TEST(ReadCommand, StarWithoutBraceOrBackslashIsAPlainControlSymbol) {
  Token t = Read("a\\*\\b", 1);
  EXPECT_EQ(t.word, "");
  EXPECT_EQ(t.parameter, -1);
  EXPECT_EQ(t.end, 1);  // the "*" is swallowed as the delimiter
  t = Read("{\\*x", 1);
  EXPECT_EQ(t.word, "");
  EXPECT_EQ(t.end, 1);
}

TEST(ReadCommand, MarkerTestNeverLooksBeforeTheBuffer) {
  // Backslash at index 0: position 1 has only one byte before it.
  Token t = Read("\\*\\panose x", 0);
  EXPECT_EQ(t.word, "");
  EXPECT_EQ(t.end, 1);
}

TEST(ReadCommand, TerminatingNulIsConsumedAsDelimiter) {
  Expect("\\b", "b", -1, 2);
  Expect("\\fs24", "fs", 24, 5);
  Token t = Read("x\\", 1);  // backslash at the very end
  EXPECT_EQ(t.word, "");
  EXPECT_EQ(t.parameter, -1);
  EXPECT_EQ(t.end, 1);  // the NUL
}

TEST(ReadCommand, TenThousandDigitsWrap) {
  std::string digits;
  for (int i = 0; i < 1000; ++i) digits += "1234567890";
  Expect("\\bin" + digits + " ", "bin", -5994306948999214382LL, 4 + 10000);
}

TEST(ReadCommand, OneMegabyteWord) {
  const std::string letters(1 << 20, 'q');
  Token t = Read("\\" + letters + "7 rest");
  EXPECT_EQ(t.word, letters);
  EXPECT_EQ(t.parameter, 7);
  EXPECT_EQ(t.end, (1 << 20) + 2);
}

TEST(ReadCommand, OutputsAreResetOnEveryCall) {
  RtfBuffer buffer("\\fs24\\b x");
  std::string word;
  long long parameter = 0;
  long long end = ReadCommand(buffer.data(), 1, word, parameter);
  EXPECT_EQ(word, "fs");
  EXPECT_EQ(parameter, 24);
  end = ReadCommand(buffer.data(), end + 2, word, parameter);
  EXPECT_EQ(word, "b");
  EXPECT_EQ(parameter, -1);
  EXPECT_EQ(end, 7);
}

}  // namespace
