// Assigning RTF to "RTFDataZVK" end to end: which style runs and paragraph alignments the
// StyledText holds afterwards.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/host_contract.h"
#include "import_fixture.h"

namespace import_test {
namespace {

using Runs = std::vector<simhost::Run>;
using Texts = std::vector<std::string>;

const std::string kEuro = Utf8(0x20AC);

TEST_F(ImportTest, FontSizeColourAndParagraph) {
  auto runs = Import(
      "{\\rtf1\\ansi{\\fonttbl\\f0 Times;}{\\colortbl;\\red255\\green0\\blue0;}"
      "\\f0\\fs24\\cf1 Red\\par}");
  EXPECT_EQ(runs, (Runs{MakeRun("Red\r", {"Times", 12, 0xFF0000})}));
}

TEST_F(ImportTest, NestedGroupGivesItsOwnRun) {
  auto runs = Import("{\\rtf1 a{\\b b}d}");
  EXPECT_EQ(runs, (Runs{MakeRun("a"), MakeRun("b", {"", 0, 0, true}), MakeRun("d")}));
}

TEST_F(ImportTest, BooleanWordsAndTheirParameters) {
  auto runs = Import("{\\rtf1\\b\\i\\ul a\\b0 b\\i0 c\\ulnone d\\ul e\\ul0 f\\b-3 g}");
  Style s;
  s.bold = s.italic = s.underline = true;
  Runs expected{MakeRun("a", s)};
  s.bold = false;
  expected.push_back(MakeRun("b", s));
  s.italic = false;
  expected.push_back(MakeRun("c", s));
  s.underline = false;
  expected.push_back(MakeRun("d", s));
  s.underline = true;
  expected.push_back(MakeRun("e", s));
  s.underline = false;
  expected.push_back(MakeRun("f", s));
  s.bold = true;  // "-3" reads as 7: non-zero
  expected.push_back(MakeRun("g", s));
  EXPECT_EQ(runs, expected);
}

TEST_F(ImportTest, SizesAreHalfPointsTruncated) {
  auto runs = Import("{\\rtf1\\fs25 a\\upr30 b\\upr c\\fs-3 d}");
  ASSERT_EQ(runs.size(), 4u);
  EXPECT_EQ(runs[0].size, 12);
  EXPECT_EQ(runs[1].size, 15);  // "\upr" is read as a size too
  EXPECT_EQ(runs[2].size, 0);   // without a parameter: -1 / 2
  EXPECT_EQ(runs[3].size, 3);   // "-3" reads as 7
}

TEST_F(ImportTest, MissingFontAndColourEntries) {
  auto runs = Import(
      "{\\rtf1{\\fonttbl\\f0 A;}{\\colortbl;\\red1\\green2\\blue3;}\\f0\\cf1 x\\f7 y\\cf9 z\\cf0 "
      "w}");
  EXPECT_EQ(runs, (Runs{MakeRun("x", {"A", 0, 0x010203}), MakeRun("y", {"", 0, 0x010203}),
                        MakeRun("z"), MakeRun("w")}));
}

TEST_F(ImportTest, ColourComponentsArePackedUnclamped) {
  auto runs = Import("{\\rtf1{\\colortbl;\\red256\\green1\\blue300;}\\cf1 x}");
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].color, 256u * 65536u + 256u + 300u);
}

TEST_F(ImportTest, EscapedByteNeverStartsARun) {
  EXPECT_TRUE(Import("{\\rtf1 \\'e9}").empty());
  EXPECT_EQ(TextsOf(Import("{\\rtf1 x\\'e9}")), Texts{"x" + Utf8(0xE9)});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 x\\'E9\\'e9\\'4}")),
            (Texts{"x" + Utf8(0xE9) + Utf8(0xE9) + "\x04"}));
}

TEST_F(ImportTest, LongRowsOfEscapesAndTextKeepEveryByteInOrder) {
  // Thousands of escapes between short words, with a digit cut short, past every buffer block;
  // the escapes of a skipped group behind them leave nothing.
  std::string rtf = "{\\rtf1 x";
  std::string expected = "x";
  for (int k = 0; k < 3000; ++k) {
    rtf += "\\'e9\\'E9 a\\'4g";
    expected += Utf8(0xE9) + Utf8(0xE9) + " a\x04";
  }
  rtf += "{\\*\\skipped \\'41 b\\'42}}";
  const Texts texts = TextsOf(Import(rtf));
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(texts[0].size(), expected.size());
  EXPECT_TRUE(texts[0] == expected);
}

TEST_F(ImportTest, EscapedBytesUseTheGroupCodePage) {
  auto runs =
      Import("{\\rtf1\\ansi\\ansicpg1251 {x\\'e0}{\\ansicpg1252 x\\'e0}{\\mac x\\'8e}x\\'e0}");
  EXPECT_EQ(TextsOf(runs),
            (Texts{"x" + Utf8(0x0430), "x" + Utf8(0xE0), "x" + Utf8(0xE9), "x" + Utf8(0x0430)}));
}

TEST_F(ImportTest, CodePageChangeFlushesFirst) {
  auto runs = Import("{\\rtf1 a\\'e0\\ansicpg1251 b\\'e0}");
  EXPECT_EQ(TextsOf(runs), (Texts{"a" + Utf8(0xE0), "b" + Utf8(0x0430)}));
}

TEST_F(ImportTest, UnicodeEscapeSwallowsOneFallbackByte) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u8364?}")), Texts{kEuro});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u8364\\'80x}")), (Texts{kEuro, kEuro + "x"}));
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u8364\\'80}")), Texts{kEuro});
  EXPECT_EQ(TextsOf(Import("{\\rtf1\\uc0 \\u8364 a}")), (Texts{kEuro, "a"}));
}

TEST_F(ImportTest, UnicodeNumbersAndDelimitersReadAsAnyControlWord) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u-5 a}")), (Texts{"\x05", "a"}));
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u65;}")), (Texts{"A", ";"}));
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u65536?b}")), Texts{"b"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u-?c}")), (Texts{"\x01", "c"}));
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u66\r\r\nd}")), (Texts{"B", "d"}));
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {\\*\\x \\u67}e}")), Texts{"e"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 f}\\u68")), Texts{"f"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 g\\u69")), (Texts{"g", "E"}));
}

TEST_F(ImportTest, LongUnicodeNumbersWrapAndKeepTheirLow16Bits) {
  // 10^24 + 65 and 2^32 + 66 wrap to "A" and "B"; "-" before 10^22 - 67 gives 67, "C".
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u1000000000000000000000065?x}")), (Texts{"A", "x"}));
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u4294967362 y}")), (Texts{"B", "y"}));
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\u-9999999999999999999933?z}")), (Texts{"C", "z"}));
  // Digits up to the end of the text.
  EXPECT_EQ(TextsOf(Import("{\\rtf1 w\\u12345678901234567890")),
            (Texts{"w", Utf8(12345678901234567890ull % 65536)}));
}

TEST_F(ImportTest, EveryUnicodeEscapeIsARunWithTheGroupStyle) {
  auto runs = Import("{\\rtf1\\b ab\\u228?c}");
  EXPECT_EQ(runs, (Runs{MakeRun("ab", {"", 0, 0, true}), MakeRun(Utf8(0xE4), {"", 0, 0, true}),
                        MakeRun("c", {"", 0, 0, true})}));
}

TEST_F(ImportTest, NegativeUnicodeParametersAreNotSurrogates) {
  // "-10179" reads as 89821 and "-8704" as 1296; each is cut to 16 bits.
  auto runs = Import("{\\rtf1 \\u-10179\\u-8704?}");
  EXPECT_EQ(TextsOf(runs), (Texts{Utf8(89821 - 65536), Utf8(1296)}));
}

TEST_F(ImportTest, UnicodeZeroIsDropped) {
  EXPECT_TRUE(Import("{\\rtf1 \\u0 \\u65536 }").empty());
}

TEST_F(ImportTest, SourceLineBreaksSplitRuns) {
  auto runs = Import("{\\rtf1\\b Hello\nWorld\r\nagain\rend}");
  const Style bold{"", 0, 0, true};
  EXPECT_EQ(runs, (Runs{MakeRun("Hello", bold), MakeRun("World", bold), MakeRun("again", bold),
                        MakeRun("end", bold)}));
}

TEST_F(ImportTest, MarkedAndUnknownDestinationsAreSkipped) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {\\*\\generator X;}Hello}")), Texts{"Hello"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {\\info{\\title T}}Hello}")), Texts{"Hello"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {\\stylesheet{\\s0 Normal;}}{\\*\\expandedcolortbl;;}A}")),
            Texts{"A"});
}

TEST_F(ImportTest, UnknownWordOnlySkipsWhenItOpensTheGroup) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\foo shown}")), Texts{"shown"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {x\\foo y}z}")), (Texts{"xy", "z"}));
  // Any step between the "{" and the word clears the flag, a line break included.
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {\n\\foo y}z}")), (Texts{"y", "z"}));
  // A control symbol opening a group is an unknown word too.
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {\\~ y}z}")), Texts{"z"});
}

TEST_F(ImportTest, ParagraphAlignment) {
  Import("{\\rtf1\\pard\\qc Centre\\par\\pard Next\\par}");
  EXPECT_EQ(Alignments(), (std::vector<int64_t>{2, 2}));
  Import("{\\rtf1\\qr A\\par B\\qc\\par\\ql C\\par\\qc D\\qj\\par}");
  // "B" is flushed by "\qc" under the earlier alignment; "D" likewise by "\qj".
  EXPECT_EQ(Alignments(), (std::vector<int64_t>{3, 3, 1, 2}));
}

TEST_F(ImportTest, AlignmentIsNotRestoredByClosingBrace) {
  Import("{\\rtf1 {\\qr A\\par}B\\par}");
  EXPECT_EQ(Alignments(), (std::vector<int64_t>{3, 3}));
}

TEST_F(ImportTest, ParCreatesARunButBackslashLineBreakDoesNot) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\par}")), Texts{"\r"});
  EXPECT_TRUE(Import("{\\rtf1 \\\n\\\r}").empty());
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\\nb\\\r\nc}")), (Texts{"a\r", "b\r", "c"}));
}

TEST_F(ImportTest, EscapedSpecialsAreText) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\{x\\}\\\\}")), Texts{"{x}\\"});
}

TEST_F(ImportTest, ExtraClosingBraceEndsTheDocument) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a}}b")), Texts{"a"});
  // The font table's group is never popped, so one "}" more is needed to end the parse.
  auto runs = Import("{\\rtf1{\\fonttbl\\f0 T;} a}}b");
  EXPECT_EQ(runs, (Runs{MakeRun("a"), MakeRun("b")}));
}

TEST_F(ImportTest, TextAfterTheLastBraceIsRead) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1{\\colortbl;} a}tail\r\n")), (Texts{"a", "tail"}));
}

TEST_F(ImportTest, EmptyGroupsOnlyEndTheRun) {
  // Formatting, skipping and the unknown-word test of the next step are as before "{}".
  auto runs = Import("{\\rtf1\\b a{}{}{}b{}\\i c{}{\\*\\x{}d}e}{}f{}}g");
  Style bold;
  bold.bold = true;
  Style boldItalic = bold;
  boldItalic.italic = true;
  EXPECT_EQ(runs, (Runs{MakeRun("a", bold), MakeRun("b", bold), MakeRun("c", boldItalic),
                        MakeRun("e", boldItalic), MakeRun("f")}));
  // "{}" right behind "{" is no unknown word opening its group.
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {{}\\zz x}y}")), (Texts{"x", "y"}));
}

TEST_F(ImportTest, FontTableEmptiesCollectedTextWithoutFlushing) {
  auto runs = Import("{\\rtf1 abc{\\fonttbl\\f0 A;} d}");
  EXPECT_EQ(TextsOf(runs), Texts{"d"});
}

TEST_F(ImportTest, TableClosingBraceSwallowsTheNextByte) {
  // "d" is the closing "}"'s delimiter; the pending run then has no text and is dropped.
  EXPECT_TRUE(Import("{\\rtf1 abc{\\fonttbl\\f0 A;}d}").empty());
  EXPECT_EQ(TextsOf(Import("{\\rtf1{\\colortbl;}de}")), Texts{"e"});
}

TEST_F(ImportTest, SecondTableReplacesTheFirst) {
  auto runs = Import(
      "{\\rtf1{\\fonttbl\\f0 A;\\f1 B;}{\\fonttbl\\f1 C;}{\\colortbl;\\red9;}{\\colortbl;;\\red7;}"
      "\\f0\\cf1 x\\f1\\cf2 y}");
  EXPECT_EQ(runs, (Runs{MakeRun("x"), MakeRun("y", {"C", 0, 0x070000})}));
}

TEST_F(ImportTest, FontNameBytesAreTakenAsUtf8) {
  auto runs = Import("{\\rtf1{\\fonttbl\\f0 Caf\xC3\xA9;}\\f0 x}");
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].font, "Caf\xC3\xA9");
}

TEST_F(ImportTest, BinPassesOverItsBytes) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin3 }}}b}")), Texts{"ab"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 \\bin3 {{{x}")), Texts{"x"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin0 xb}")), Texts{"axb"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin-5 12345b}")), Texts{"ab"});  // "-5" reads as 5
  // While skipping and outside any group too.
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {\\info\\bin2 }}x}a}")), Texts{"a"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a}\\bin1 }b")), (Texts{"a", "b"}));
}

TEST_F(ImportTest, BinWithoutParameterRereadsItsDelimiter) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin b}")), Texts{"a b"});
}

TEST_F(ImportTest, BinCountBeyondTheEndEndsTheDocument) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin99 xyz}")), Texts{"a"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin9223372036854775807 xyz}")), Texts{"a"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin999999999999}")), Texts{"a"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin4 xyz}")), Texts{"a"});
}

TEST_F(ImportTest, NegativeBinCountNeverMovesBehindItsBackslash) {
  // 2^64 - 25 wraps to -25, which would lead straight back to the backslash: the scan goes on
  // behind the backslash instead, reading the word as text.
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin18446744073709551591 b}")),
            Texts{"abin18446744073709551591 b"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin9223372036854775808 b}")),
            Texts{"abin9223372036854775808 b"});
  // A small negative count moves back inside the word's own digits.
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\bin18446744073709551614 b}")), Texts{"a4 b"});
}

TEST_F(ImportTest, ShortOrForeignValuesLeaveTheTextEmpty) {
  for (const char* value : {"", "{\\rtf}", "{\\rtf1", "hello world", "{\\RTF1 hello}",
                            " {\\rtf1 hello}", "{\\pict1 hello}"}) {
    simhost::RunRecipe old;
    old.text = "old";
    host_.AppendRun(styledText_, old);
    EXPECT_TRUE(Import(value).empty()) << value;
  }
  EXPECT_EQ(TextsOf(Import("{\\rtf x}")), Texts{"x"});  // any header behind "{\rtf"
}

TEST_F(ImportTest, ExistingRunsAreRemoved) {
  for (const char* text : {"one", "two", "three"}) {
    simhost::RunRecipe run;
    run.text = text;
    host_.AppendRun(styledText_, run);
  }
  EXPECT_EQ(TextsOf(Import("{\\rtf1 new}")), Texts{"new"});
  EXPECT_EQ(host_.Calls(host_contract::kRemoveStyleRunDeclaration), 3u);
}

TEST_F(ImportTest, SkipParagraphsFlagIsIgnored) {
  plugin_.Set(styledText_, "{\\rtf1\\qc A\\par}", true);
  EXPECT_EQ(TextsOf(host_.RunsOf(styledText_)), Texts{"A\r"});
  EXPECT_EQ(Alignments(), (std::vector<int64_t>{2}));
}

TEST_F(ImportTest, NullStyledTextReadsTheDocumentAndAppendsNothing) {
  const size_t strings = host_.LiveStrings();
  const size_t objects = host_.LiveObjects();
  plugin_.Set(nullptr, "{\\rtf1\\b hello\\par world}");
  EXPECT_EQ(host_.LiveStrings(), strings);
  EXPECT_EQ(host_.LiveObjects(), objects);
  EXPECT_EQ(host_.Misuses(), 0u);
}

TEST_F(ImportTest, ControlWordsOutsideAnyGroupAreDropped) {
  // After the outermost "}" no state is current: "\b" has no effect, text has no properties.
  auto runs = Import("{\\rtf1{\\fonttbl\\f0 T;}\\b a}}\\i b");
  EXPECT_EQ(runs, (Runs{MakeRun("a", {"", 0, 0, true}), MakeRun("b")}));
}

TEST_F(ImportTest, NulBytesInsideTheValueAreText) {
  std::string rtf = "{\\rtf1 a";
  rtf += '\0';
  rtf += "b\\par}";
  auto runs = Import(rtf);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].text, "a");  // the host string is built up to the NUL
}

TEST_F(ImportTest, TrailingBackslashAndEscapeAtTheEnd) {
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\")), Texts{"a"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\'")), Texts{"a"});
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\'4")), Texts{"a\x04"});
}

TEST_F(ImportTest, RepeatedAssignmentsKeepHandlesBalanced) {
  for (int i = 0; i < 20; ++i) {
    auto runs = Import(
        "{\\rtf1{\\fonttbl\\f0 Times;\\f1 Courier;}{\\colortbl;\\red1;}\\f0\\b x\\f1\\cf1 y\\par"
        "\\u8364?}");
    EXPECT_EQ(runs.size(), 3u);
  }
}

class ImportWithoutStyleRuns : public ImportTest {
 protected:
  ImportWithoutStyleRuns() : ImportTest(Withheld()) {}
  static simhost::Options Withheld() {
    simhost::Options options;
    options.withheld.insert("PluginNewInstance");
    return options;
  }
};

TEST_F(ImportWithoutStyleRuns, NewStyleRunFailureIsLoggedAndTextDropped) {
  ASSERT_TRUE(plugin_.HasDebugging());
  plugin_.SetDebugging(true);
  host_.ClearLog();
  EXPECT_TRUE(Import("{\\rtf1 ab\\u8364?\\par}").empty());
  const size_t failures = LogLines("ZVK Debug: NewStyleRun failed");
  EXPECT_EQ(failures, 4u);  // "a", "b", "\u", "\par"
  plugin_.SetDebugging(false);
}

// Hosts from 2019r2 call the run's font property "FontName": every run, the first ones and
// those made once every service is known, text and "\u" character runs alike, falls back to it.
class ImportOnFontNameHost : public ImportTest {
 protected:
  ImportOnFontNameHost() : ImportTest(FontNameOnly()) {}
  static simhost::Options FontNameOnly() {
    simhost::Options options;
    options.fontProperty = simhost::FontProperty::kFontName;
    return options;
  }
};

TEST_F(ImportOnFontNameHost, EveryRunGetsItsFontThroughFontName) {
  auto runs = Import(
      "{\\rtf1{\\fonttbl\\f0 Arial;\\f1 Courier;}\\f0 a{\\f1\\b b\\u8364?c}d\\par\\f1 "
      "e\\u8364?}");
  EXPECT_EQ(runs, (Runs{MakeRun("a", {"Arial"}), MakeRun("b", {"Courier", 0, 0, true}),
                        MakeRun("\xE2\x82\xAC", {"Courier", 0, 0, true}),
                        MakeRun("c", {"Courier", 0, 0, true}), MakeRun("d\r", {"Arial"}),
                        MakeRun("e", {"Courier"}), MakeRun("\xE2\x82\xAC", {"Courier"})}));
  EXPECT_EQ(host_.Calls("REALSetPropValueString"), 3 * runs.size());  // Font, FontName, Text
}

TEST_F(ImportTest, EveryClosingBraceFlushesTwiceInTheLog) {
  ASSERT_TRUE(plugin_.HasDebugging());
  plugin_.SetDebugging(true);
  host_.ClearLog();
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {a}b}")), (Texts{"a", "b"}));
  const size_t empty = LogLines("ZVK Debug: Ignore empty run");
  plugin_.SetDebugging(false);
  EXPECT_EQ(empty, 3u);  // behind each "}" and at the end
}

// Inside a skipped destination the log sees every flush the steps make: a line break flushes,
// an empty group is a "{" and a "}" (no shortcut while logging), and each "}" flushes twice.
TEST_F(ImportTest, SkippedDestinationFlushesAsEveryStepDoesInTheLog) {
  ASSERT_TRUE(plugin_.HasDebugging());
  plugin_.SetDebugging(true);
  host_.ClearLog();
  EXPECT_TRUE(Import("{\\rtf1 {\\foo x\n{y}{}\\bin1 }}}").empty());
  const size_t empty = LogLines("ZVK Debug: Ignore empty run");
  plugin_.SetDebugging(false);
  // The line break 1, "{y}" 2, "{}" 2, the "}" of the destination 2 (the "}" behind "\\bin1 "
  // is passed over), the last "}" 2, the end 1.
  EXPECT_EQ(empty, 10u);
}

TEST_F(ImportTest, QuietWhenDebuggingIsOff) {
  host_.ClearLog();
  Import("{\\rtf1{\\fonttbl\\f0 T;}\\f0 hello\\par}");
  EXPECT_TRUE(host_.Log().empty());
}

}  // namespace
}  // namespace import_test
