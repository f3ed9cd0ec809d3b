// The colour and font table readers, started where the import starts them: on the last byte of
// the "\colortbl" or "\fonttbl" control word.
#include <gtest/gtest.h>

#include <map>
#include <ostream>
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

template <typename Map>
struct Table {
  Map map;
  long long position = 0;
};
using Colors = Table<std::unordered_map<int, RTFColor>>;
using Fonts = Table<std::unordered_map<int, std::string>>;

// Reads the table of `word` in text as the import does, from the word's last byte.
template <typename Map, typename Reader>
Table<Map> ReadTable(std::string_view text, std::string_view word, Reader read) {
  RtfBuffer buffer(text);
  Table<Map> result;
  result.position = EndOfWord(buffer, text, word);
  result.map = read(buffer.data(), result.position);
  return result;
}

Colors ReadColors(std::string_view text) {
  return ReadTable<decltype(Colors::map)>(
      text, "\\colortbl", [](const char* t, long long& p) { return ReadColorTable(t, p); });
}

Fonts ReadFonts(std::string_view text) {
  return ReadTable<decltype(Fonts::map)>(
      text, "\\fonttbl", [](const char* t, long long& p) { return ReadFontTable(t, p); });
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

// A font table and every entry it must give, no more and no fewer.
struct FontTableCase {
  const char* name;
  const char* rtf;
  std::map<int, std::string> entries;
};

// Cases show as their names in test listings.
void PrintTo(const FontTableCase& c, std::ostream* os) {
  *os << c.name;
}

const FontTableCase kFontTables[] = {
    {"TableWithoutInnerGroups",
     "{\\fonttbl\\f0 Times;\\f1 Courier;}",
     {{0, "Times"}, {1, "Courier"}}},
    {"PanoseGroupIsSkippedWhole",
     "{\\fonttbl{\\f0\\froman\\fcharset0\\fprq2{\\*\\panose 02020603050405020304}Times New "
     "Roman;}{\\f1\\fswiss{\\*\\falt Arial Unicode}Helvetica;}}",
     {{0, "Times New Roman"}, {1, "Helvetica"}}},
    {"NestedSkippedGroupsAreTracked",
     "{\\fonttbl{\\f2{\\*\\falt A{\\b B}C}Name;}{\\f3 Other;}}",
     {{2, "Name"}, {3, "Other"}}},
    {"EntryWithoutFontNumberGoesToThePreviousNumber", "{\\fonttbl Arial;}", {{0, "Arial"}}},
    // No ";" before the next group: the name runs on and is stored under 3.
    {"NameWithoutSemicolonRunsIntoTheNextGroup", "{\\fonttbl{\\f3 A}{B;}}", {{3, "AB"}}},
    {"BytesBetweenSemicolonAndNextFontAreDropped",
     "{\\fonttbl\\f0 A; junk {more}\\f1 B;}",
     {{0, "A"}, {1, "B"}}},
    // The CR is the control word's delimiter; the LF behind it is not.
    {"LineFeedBeforeTheFirstFontJoinsItsName", "{\\fonttbl\r\n{\\f0 A;}}", {{0, "\nA"}}},
    {"SpacesBeforeTheFirstFontJoinItsName", "{\\fonttbl  {\\f0 B;}}", {{0, " B"}}},
    {"NameKeepsSpacesDigitsAndLineBreaks", "{\\fonttbl\\f5 Font 2\nX ;}", {{5, "Font 2\nX "}}},
    {"LowerCaseEscapedByteLosesTheFollowingByte", "{\\fonttbl\\f0 Caf\\'e9 X;}", {{0, "Caf X"}}},
    {"UpperCaseEscapedByteLosesTheFollowingByte", "{\\fonttbl\\f0 Caf\\'E9 X;}", {{0, "Caf"}}},
    {"LaterEntryOverwritesSameNumber", "{\\fonttbl\\f0 A;\\f0 B;}", {{0, "B"}}},
    {"FontWordWithoutNumberIsMinusOne", "{\\fonttbl\\f A;}", {{-1, "A"}}},
    {"NameWithoutSemicolonIsDropped", "{\\fonttbl{\\f0 A;}{\\f1 B}}", {{0, "A"}}},
    {"UnknownWordNotOpeningAGroupIsIgnored",
     "{\\fonttbl{\\f0\\fnil\\fcharset2 Symbol;}{\\f1\\fmodern\\fprq1 Mono;}}",
     {{0, "Symbol"}, {1, "Mono"}}},
};

class FontTable : public ::testing::TestWithParam<FontTableCase> {};

TEST_P(FontTable, GivesItsEntries) {
  const Fonts fonts = ReadFonts(GetParam().rtf);
  const std::map<int, std::string> entries(fonts.map.begin(), fonts.map.end());
  EXPECT_EQ(entries, GetParam().entries);
}

INSTANTIATE_TEST_SUITE_P(ReadFontTable, FontTable, ::testing::ValuesIn(kFontTables),
                         [](const auto& info) { return std::string(info.param.name); });

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

}  // namespace
