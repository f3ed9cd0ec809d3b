// The colour and font table readers, started where the import starts them: on the last byte of
// the "\colortbl" or "\fonttbl" control word.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <unordered_map>

#include "rtf_buffer.h"
#include "rtf_import/control_word.h"
#include "rtf_import/rtf_tables.h"

namespace {

// Position of the last byte of the first occurrence of `word` (a control word with its
// backslash), as the control-word reader reports it.
long long EndOfWord(const RtfBuffer& buffer, std::string_view text, std::string_view word) {
  const size_t backslash = text.find(word);
  EXPECT_NE(backslash, std::string_view::npos);
  std::string name;
  long long parameter = 0;
  return ReadCommand(buffer.data(), static_cast<long long>(backslash) + 1, name, parameter);
}

struct Colors {
  std::unordered_map<int, RTFColor> map;
  long long position = 0;
};

Colors ReadColors(std::string_view text) {
  RtfBuffer buffer(text);
  Colors result;
  result.position = EndOfWord(buffer, text, "\\colortbl");
  result.map = ReadColorTable(buffer.data(), result.position);
  return result;
}

struct Fonts {
  std::unordered_map<int, std::string> map;
  long long position = 0;
};

Fonts ReadFonts(std::string_view text) {
  RtfBuffer buffer(text);
  Fonts result;
  result.position = EndOfWord(buffer, text, "\\fonttbl");
  result.map = ReadFontTable(buffer.data(), result.position);
  return result;
}

void ExpectColor(const std::unordered_map<int, RTFColor>& map, int index, int red, int green,
                 int blue) {
  SCOPED_TRACE(index);
  const auto found = map.find(index);
  ASSERT_NE(found, map.end());
  EXPECT_EQ(found->second.red, red);
  EXPECT_EQ(found->second.green, green);
  EXPECT_EQ(found->second.blue, blue);
}

long long IndexOf(std::string_view text, std::string_view what, size_t from = 0) {
  return static_cast<long long>(text.find(what, from));
}

TEST(ReadColorTable, EntriesCountSemicolonsFromZero) {
  const std::string text = "{\\colortbl;\\red255\\green0\\blue0;\\red0\\green0\\blue255;}";
  Colors c = ReadColors(text);
  EXPECT_EQ(c.map.size(), 3u);
  ExpectColor(c.map, 0, 0, 0, 0);
  ExpectColor(c.map, 1, 255, 0, 0);
  ExpectColor(c.map, 2, 0, 0, 255);
  // The "}" is the last byte of the text; the terminating NUL behind it is consumed.
  EXPECT_EQ(c.position, static_cast<long long>(text.size()));
}

TEST(ReadColorTable, ComponentWithoutParameterIsMinusOne) {
  Colors c = ReadColors("{\\colortbl\\red\\green7;}");
  ExpectColor(c.map, 0, -1, 7, 0);
}

TEST(ReadColorTable, ComponentsAreNotClampedButCutTo32Bits) {
  Colors c = ReadColors("{\\colortbl\\red300\\green4294967297\\blue-5;}");
  ExpectColor(c.map, 0, 300, 1, 5);
}

TEST(ReadColorTable, UnknownWordsAndOtherBytesAreIgnored) {
  Colors c = ReadColors("{\\colortbl\\ctint255\\cshade10 \\red1 x 9\n\\blue2;}");
  EXPECT_EQ(c.map.size(), 1u);
  ExpectColor(c.map, 0, 1, 0, 2);
}

TEST(ReadColorTable, FirstClosingBraceEndsTheTable) {
  const std::string text = "{\\colortbl;{\\red1;}\\red2;}";
  Colors c = ReadColors(text);
  EXPECT_EQ(c.map.size(), 2u);
  ExpectColor(c.map, 1, 1, 0, 0);
  EXPECT_EQ(c.position, IndexOf(text, "\\red2") - 1);  // "}" followed by "\": not consumed
}

TEST(ReadColorTable, ClosingStepConsumesAnOrdinaryByte) {
  const std::string text = "{\\colortbl;}Hello";
  Colors c = ReadColors(text);
  EXPECT_EQ(c.position, IndexOf(text, "H"));
}

TEST(ReadColorTable, ClosingStepLeavesTokenStarters) {
  for (const char* next : {"\\par", "{x", "}x", ";x"}) {
    const std::string text = std::string("{\\colortbl;}") + next;
    Colors c = ReadColors(text);
    EXPECT_EQ(c.position, IndexOf(text, ";}") + 1) << next;
  }
}

TEST(ReadColorTable, ClosingStepCrLooksTwoBytesOn) {
  {
    const std::string text = "{\\colortbl;}\r\n\nx";  // LF two places behind the CR
    EXPECT_EQ(ReadColors(text).position, IndexOf(text, "}") + 2);
  }
  {
    const std::string text = "{\\colortbl;}\r\nx";  // the LF right behind is not looked at
    EXPECT_EQ(ReadColors(text).position, IndexOf(text, "}") + 1);
  }
  {
    const std::string text = "{\\colortbl;}\r";  // look-ahead into the padding
    EXPECT_EQ(ReadColors(text).position, IndexOf(text, "}") + 1);
  }
}

TEST(ReadColorTable, UnterminatedTableStopsOnTheNul) {
  const std::string text = "{\\colortbl;\\red1;\\red2";
  Colors c = ReadColors(text);
  EXPECT_EQ(c.map.size(), 2u);
  ExpectColor(c.map, 1, 1, 0, 0);
  EXPECT_EQ(c.position, static_cast<long long>(text.size()));
}

TEST(ReadFontTable, GroupedEntryWithFamilyAndCharset) {
  const std::string text = "{\\fonttbl{\\f0\\fswiss\\fcharset0 Helvetica;}}x";
  Fonts f = ReadFonts(text);
  ASSERT_EQ(f.map.size(), 1u);
  EXPECT_EQ(f.map.at(0), "Helvetica");
  EXPECT_EQ(f.position, IndexOf(text, "x"));  // the byte behind the closing "}" is consumed
}

TEST(ReadFontTable, TableWithoutInnerGroups) {
  Fonts f = ReadFonts("{\\fonttbl\\f0 Times;\\f1 Courier;}");
  ASSERT_EQ(f.map.size(), 2u);
  EXPECT_EQ(f.map.at(0), "Times");
  EXPECT_EQ(f.map.at(1), "Courier");
}

TEST(ReadFontTable, PanoseGroupIsSkippedWhole) {
  Fonts f = ReadFonts(
      "{\\fonttbl{\\f0\\froman\\fcharset0\\fprq2{\\*\\panose 02020603050405020304}Times New "
      "Roman;}{\\f1\\fswiss{\\*\\falt Arial Unicode}Helvetica;}}");
  ASSERT_EQ(f.map.size(), 2u);
  EXPECT_EQ(f.map.at(0), "Times New Roman");
  EXPECT_EQ(f.map.at(1), "Helvetica");
}

TEST(ReadFontTable, NestedSkippedGroupsAreTracked) {
  Fonts f = ReadFonts("{\\fonttbl{\\f2{\\*\\falt A{\\b B}C}Name;}{\\f3 Other;}}");
  ASSERT_EQ(f.map.size(), 2u);
  EXPECT_EQ(f.map.at(2), "Name");
  EXPECT_EQ(f.map.at(3), "Other");
}

TEST(ReadFontTable, EntryWithoutFontNumberGoesToThePreviousNumber) {
  Fonts first = ReadFonts("{\\fonttbl Arial;}");
  ASSERT_EQ(first.map.size(), 1u);
  EXPECT_EQ(first.map.at(0), "Arial");
  // No ";" before the next group: the name runs on and is stored under 3.
  Fonts runOn = ReadFonts("{\\fonttbl{\\f3 A}{B;}}");
  ASSERT_EQ(runOn.map.size(), 1u);
  EXPECT_EQ(runOn.map.at(3), "AB");
}

TEST(ReadFontTable, BytesBetweenSemicolonAndNextFontAreDropped) {
  Fonts f = ReadFonts("{\\fonttbl\\f0 A; junk {more}\\f1 B;}");
  ASSERT_EQ(f.map.size(), 2u);
  EXPECT_EQ(f.map.at(0), "A");
  EXPECT_EQ(f.map.at(1), "B");
}

TEST(ReadFontTable, BytesBeforeTheFirstFontJoinItsName) {
  // The CR is the control word's delimiter; the LF behind it is not.
  Fonts crlf = ReadFonts("{\\fonttbl\r\n{\\f0 A;}}");
  EXPECT_EQ(crlf.map.at(0), "\nA");
  Fonts spaces = ReadFonts("{\\fonttbl  {\\f0 B;}}");
  EXPECT_EQ(spaces.map.at(0), " B");
}

TEST(ReadFontTable, NameKeepsSpacesDigitsAndLineBreaks) {
  Fonts f = ReadFonts("{\\fonttbl\\f5 Font 2\nX ;}");
  EXPECT_EQ(f.map.at(5), "Font 2\nX ");
}

TEST(ReadFontTable, EscapedBytesLoseTheFollowingByte) {
  Fonts lower = ReadFonts("{\\fonttbl\\f0 Caf\\'e9 X;}");
  EXPECT_EQ(lower.map.at(0), "Caf X");
  Fonts upper = ReadFonts("{\\fonttbl\\f0 Caf\\'E9 X;}");
  EXPECT_EQ(upper.map.at(0), "Caf");
}

TEST(ReadFontTable, LaterEntryOverwritesSameNumber) {
  Fonts f = ReadFonts("{\\fonttbl\\f0 A;\\f0 B;}");
  ASSERT_EQ(f.map.size(), 1u);
  EXPECT_EQ(f.map.at(0), "B");
}

TEST(ReadFontTable, FontWordWithoutNumberIsMinusOne) {
  Fonts f = ReadFonts("{\\fonttbl\\f A;}");
  EXPECT_EQ(f.map.at(-1), "A");
}

TEST(ReadFontTable, NameWithoutSemicolonIsDropped) {
  Fonts f = ReadFonts("{\\fonttbl{\\f0 A;}{\\f1 B}}");
  ASSERT_EQ(f.map.size(), 1u);
  EXPECT_EQ(f.map.at(0), "A");
}

TEST(ReadFontTable, ClosingStepLeavesBackslashAndLooksTwoBytesOn) {
  {
    const std::string text = "{\\fonttbl\\f0 A;}\\f0 x";
    EXPECT_EQ(ReadFonts(text).position, IndexOf(text, ";}") + 1);
  }
  {
    const std::string text = "{\\fonttbl\\f0 A;}\r\r\nx";
    EXPECT_EQ(ReadFonts(text).position, IndexOf(text, ";}") + 3);
  }
  {
    const std::string text = "{\\fonttbl\\f0 A;}\r\nx";
    EXPECT_EQ(ReadFonts(text).position, IndexOf(text, ";}") + 2);
  }
}

TEST(ReadFontTable, UnterminatedTableKeepsCompleteEntries) {
  const std::string text = "{\\fonttbl{\\f0 A;}{\\f1 B";
  Fonts f = ReadFonts(text);
  ASSERT_EQ(f.map.size(), 1u);
  EXPECT_EQ(f.map.at(0), "A");
  EXPECT_EQ(f.position, static_cast<long long>(text.size()));
}

TEST(ReadFontTable, UnknownWordNotOpeningAGroupIsIgnored) {
  Fonts f = ReadFonts("{\\fonttbl{\\f0\\fnil\\fcharset2 Symbol;}{\\f1\\fmodern\\fprq1 Mono;}}");
  EXPECT_EQ(f.map.at(0), "Symbol");
  EXPECT_EQ(f.map.at(1), "Mono");
}

}  // namespace
