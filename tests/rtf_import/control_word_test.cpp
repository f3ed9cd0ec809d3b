// The control-word reader on its own: names, parameters, delimiters and the fixed rewrites.
#include <gtest/gtest.h>

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

TEST(ReadCommand, WordEndedBySpaceConsumesTheSpace) {
  Expect("\\b hello", "b", -1, 2);
}

TEST(ReadCommand, BackslashEndsWordAndIsLeftForCaller) {
  Expect("\\b\\i", "b", -1, 1);
}

TEST(ReadCommand, NumericParameter) {
  Expect("\\fs24 x", "fs", 24, 5);
}

TEST(ReadCommand, SemicolonBehindNumberIsLeftForCaller) {
  Expect("\\f0;", "f", 0, 2);
}

TEST(ReadCommand, UnicodeFallbackQuestionMarkIsTheDelimiter) {
  Expect("\\u8364?", "u", 8364, 6);
}

TEST(ReadCommand, NegativeParameterCountsFromMinusOne) {
  Expect("\\li-5 ", "li", 5, 5);
  Expect("\\li-12 ", "li", 88, 6);
  Expect("\\li-100 ", "li", 900, 7);
}

TEST(ReadCommand, MinusWithoutDigitsGivesOne) {
  Expect("\\li- x", "li", 1, 4);
}

TEST(ReadCommand, BackslashLineBreakIsPar) {
  Expect("\\\n", "par", -1, 1);
  Expect("\\\rx", "par", -1, 1);
}

TEST(ReadCommand, LineBreakBehindWordKeepsTheWord) {
  Expect("\\b\nx", "b", -1, 2);
  Expect("\\fs20\nx", "fs", 20, 5);
}

TEST(ReadCommand, UpperCaseHexEscapeSkipsOneByteBehindTheDigits) {
  Token t = Read("\\'E9x y");
  EXPECT_EQ(t.word, "u");
  EXPECT_EQ(t.parameter, -23);
  EXPECT_EQ(t.parameter & 0xFF, 0xE9);
  EXPECT_EQ(t.end, 5);
  Expect("\\'E9x y", "u", -23, 5);
}

TEST(ReadCommand, LowerCaseHexEndsTheNumberAtOnce) {
  Expect("\\'e9 tail", "u", -1, 3);
}

TEST(ReadCommand, HexHasNoTwoDigitLimit) {
  Expect("\\'41BC z", "u", -65536 + 0x41BC, 7);
}

TEST(ReadCommand, HexEscapeWithoutDigitsSkipsTheNextByte) {
  Expect("\\'xy z", "u", -1, 3);
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

TEST(ReadCommand, UpperCaseLetterEndsWordAndIsSwallowed) {
  Expect("\\Par x", "", -1, 1);
}

TEST(ReadCommand, LettersOnlyLowerCase) {
  Expect("\\bX", "b", -1, 2);
}

TEST(ReadCommand, ControlSymbolsComeBackEmpty) {
  Expect("\\~x", "", -1, 1);
  Expect("\\_x", "", -1, 1);
  Expect("\\:x", "", -1, 1);
  Expect("\\|x", "", -1, 1);
}

TEST(ReadCommand, OptionalHyphenIsReadAsANumber) {
  // "-" always starts a parameter, even directly behind the backslash: no digits give 1, and
  // the byte behind the "-" is the delimiter.
  Expect("\\-x", "", 1, 2);
  Expect("\\-;", "", 1, 1);
}

TEST(ReadCommand, DigitsDirectlyBehindBackslash) {
  Expect("\\123 x", "", 123, 4);
}

TEST(ReadCommand, TokenStartersAreLeftForCaller) {
  Expect("\\b;", "b", -1, 1);
  Expect("\\b{", "b", -1, 1);
  Expect("\\b}", "b", -1, 1);
  Expect("\\b\\", "b", -1, 1);
  Expect("\\;x", "", -1, 0);
}

TEST(ReadCommand, ApostropheBehindWordIsTheDelimiter) {
  Expect("\\b'x", "b", -1, 2);
}

TEST(ReadCommand, TerminatingNulIsConsumedAsDelimiter) {
  Expect("\\b", "b", -1, 2);
  Expect("\\fs24", "fs", 24, 5);
  Token t = Read("x\\", 1);  // backslash at the very end
  EXPECT_EQ(t.word, "");
  EXPECT_EQ(t.parameter, -1);
  EXPECT_EQ(t.end, 1);  // the NUL
}

TEST(ReadCommand, CrDelimiterLooksTwoBytesOn) {
  Expect("\\b\r\r\n", "b", -1, 3);  // LF two places on: one more byte consumed
  Expect("\\b\rx\n", "b", -1, 3);   // even when the byte between is not a line break
  Expect("\\b\r\nx", "b", -1, 2);   // the LF right behind the CR is not looked at
  Expect("\\b\r", "b", -1, 2);      // look-ahead into the padding
  Expect("\\\r\r\n", "par", -1, 2);
  Expect("\\\r\n", "par", -1, 1);
}

TEST(ReadCommand, LfDelimiterHasNoLookAhead) {
  Expect("\\b\n\n\n", "b", -1, 2);
}

TEST(ReadCommand, TwentyFiveDigitNumberWrapsAt64Bits) {
  Expect("\\fs1234567890123456789012345 x", "fs", 1096246371337559929LL, 28);
  Expect("\\fs-1234567890123456789012345 x", "fs", 494651607021854855LL, 29);
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
