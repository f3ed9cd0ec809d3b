// What a round trip through "RTFDataZVK" changes on purpose: each difference with one small
// example, the document the getter writes for it where that explains the result, and what the
// setter rebuilds from it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "roundtrip_fixture.h"

namespace roundtrip {
namespace {

using simhost::RunRecipe;

std::string TextUTF8(const TextView& view) {
  return EncodeUTF8(TextOf(view));
}

std::vector<std::string> RunTexts(const TextView& view) {
  std::vector<std::string> texts;
  for (const simhost::Run& r : view.runs) texts.push_back(r.text);
  return texts;
}

std::vector<std::string> FontsByRun(const TextView& view) {
  std::vector<std::string> fonts;
  for (const simhost::Run& r : view.runs) fonts.push_back(r.font);
  return fonts;
}

// The part of the document behind the header, up to its last "}".
std::string Body(const std::string& rtf) {
  const size_t start = rtf.find("\\uc0 ");
  if (start == std::string::npos || rtf.empty()) return "";
  return rtf.substr(start + 5, rtf.size() - start - 6);
}

using RoundTripByDesign = RoundTripTest;

// --- Runs -------------------------------------------------------------------------------------

TEST_F(RoundTripByDesign, RunsAreJoinedWhenEqualAndSplitAtEveryEscapeAndParagraphEnd) {
  const Trip trip = RoundTrip({Plain("ab"), Plain("cd"), Plain("x\xC3\xA9\ry")});
  EXPECT_EQ(Body(trip.rtf), "abcdx\\u233 \\par y");
  EXPECT_EQ(FirstDifference(trip.before, trip.after), "");
  EXPECT_EQ(RunTexts(trip.before), (std::vector<std::string>{"ab", "cd", "x\xC3\xA9\ry"}));
  EXPECT_EQ(RunTexts(trip.after), (std::vector<std::string>{"abcdx", "\xC3\xA9", "\r", "y"}));
}

TEST_F(RoundTripByDesign, EmptyRunsDisappear) {
  const Trip trip = RoundTrip({Plain("a"), Bold(""), Plain("b")});
  // The empty run's formatting is still written, and switched off again before "b".
  EXPECT_EQ(Body(trip.rtf), "a\\b \\b0 b");
  EXPECT_EQ(FirstDifference(trip.before, trip.after), "");
  EXPECT_EQ(trip.before.runs.size(), 3u);
  EXPECT_EQ(RunTexts(trip.after), (std::vector<std::string>{"a", "b"}));
}

// --- Characters -------------------------------------------------------------------------------

TEST_F(RoundTripByDesign, ControlCharactersBelowTabAreDropped) {
  std::string text =
      "a\x01"
      "b\x08"
      "c";
  text += '\0';
  text += "d\t\x0B\x0C\x1F\x7F";
  const Trip trip = RoundTrip({Plain(text)});
  EXPECT_EQ(Body(trip.rtf), "abcd\t\x0B\x0C\x1F\x7F");
  EXPECT_EQ(TextUTF8(trip.after), "abcd\t\x0B\x0C\x1F\x7F");
}

TEST_F(RoundTripByDesign, EveryLineBreakBecomesCROrCollapses) {
  // LF, CR LF and LF CR each become one CR; so does CR LF CR LF; CR CR stays two.
  const Trip trip = RoundTrip({Plain("a\nb\r\nc\n\rd\r\n\r\ne\r\rf")});
  EXPECT_EQ(Body(trip.rtf), "a\\par b\\par c\\par d\\par e\\par \\par f");
  EXPECT_EQ(TextUTF8(trip.after), "a\rb\rc\rd\re\r\rf");
  EXPECT_EQ(trip.before.paragraphs.size(), 9u);
  EXPECT_EQ(trip.after.paragraphs.size(), 7u);
}

TEST_F(RoundTripByDesign, CRLFSplitOverTwoRunsBecomesTwoParagraphEnds) {
  const Trip trip = RoundTrip({Plain("a\r"), Plain("\nb")});
  EXPECT_EQ(Body(trip.rtf), "a\\par \\par b");
  EXPECT_EQ(TextUTF8(trip.after), "a\r\rb");
  EXPECT_EQ(trip.before.paragraphs.size(), 2u);
  EXPECT_EQ(trip.after.paragraphs.size(), 3u);
}

TEST_F(RoundTripByDesign, CharactersOutsideTheBMPBecomeTwoReplacementCharacters) {
  // Each surrogate half is written as an escape of its own and comes back as a one-unit run,
  // which the host cannot decode.
  const std::string emoji = "\xF0\x9F\x98\x80";    // U+1F600
  const std::string replacement = "\xEF\xBF\xBD";  // U+FFFD
  const Trip trip = RoundTrip({Plain("a" + emoji + "b")});
  EXPECT_EQ(Body(trip.rtf), "a\\u55357 \\u56832 b");
  EXPECT_EQ(TextUTF8(trip.after), "a" + replacement + replacement + "b");
  EXPECT_EQ(trip.before.chars.size(), 3u);
  EXPECT_EQ(trip.after.chars.size(), 4u);
}

const std::string kFEFF = "\xEF\xBB\xBF";  // U+FEFF in UTF-8
const std::string kFFFE = "\xEF\xBF\xBE";  // U+FFFE in UTF-8

TEST_F(RoundTripByDesign, ByteOrderMarksVanishFromTextHeldAsUTF8) {
  const Trip trip = RoundTrip({Plain("a" + kFEFF + "b" + kFFFE + "c")});
  EXPECT_EQ(Body(trip.rtf), "abc");
  EXPECT_EQ(TextUTF8(trip.after), "abc");
}

TEST_F(RoundTripByDesign, ByteOrderMarksInUTF16TextMatterOnlyAtItsStart) {
  auto utf16 = [](const std::string& utf8) {
    RunRecipe run;
    run.text = *simhost::Host::Convert(utf8, kREALTextEncodingUTF8, kREALTextEncodingUTF16);
    run.textEncoding = kREALTextEncodingUTF16;
    return run;
  };
  // Inside the text U+FEFF is an ordinary character and survives, until the text is held as
  // UTF-8, as the setter's text is: the next round trip loses it.
  Trip trip = RoundTrip({utf16("a" + kFEFF + "b")});
  EXPECT_EQ(Body(trip.rtf), "a\\u65279 b");
  EXPECT_EQ(TextUTF8(trip.after), "a" + kFEFF + "b");
  std::vector<RunRecipe> rebuilt;
  for (const simhost::Run& r : trip.after.runs) rebuilt.push_back(Plain(r.text));
  EXPECT_EQ(TextUTF8(RoundTrip(rebuilt).after), "ab");
  // A leading U+FEFF is taken for a byte-order mark and dropped.
  trip = RoundTrip({utf16(kFEFF + "ab")});
  EXPECT_EQ(TextUTF8(trip.after), "ab");
  // A leading U+FFFE announces the other byte order: every unit is swapped, then dropped.
  trip = RoundTrip({utf16(kFFFE + "AB")});
  EXPECT_EQ(Body(trip.rtf), "\\u16640 \\u16896 ");
  EXPECT_EQ(TextUTF8(trip.after), "\xE4\x84\x80\xE4\x88\x80");  // U+4100 U+4200
}

TEST_F(RoundTripByDesign, TextInAnEncodingTheHostCannotNameIsReadAsMacRoman) {
  RunRecipe run = Plain("caf\xE9");
  run.textEncoding = kREALTextEncodingUnknown;
  const Trip trip = RoundTrip({run});
  EXPECT_EQ(TextUTF8(trip.before), "caf\xC3\xA9");  // the host shows it as Windows-1252
  EXPECT_EQ(Body(trip.rtf), "caf\\u200 ");          // Mac Roman 0xE9 is U+00C8
  EXPECT_EQ(TextUTF8(trip.after), "caf\xC3\x88");
}

// --- Formatting -------------------------------------------------------------------------------

TEST_F(RoundTripByDesign, TheColourTableHoldsNoHighByte) {
  RunRecipe run = Plain("ab");
  run.color = 0x80FF8000;
  const Trip trip = RoundTrip({run});
  EXPECT_NE(trip.rtf.find("{\\colortbl\\red255\\green128\\blue0;}"), std::string::npos);
  ASSERT_EQ(trip.after.runs.size(), 1u);
  EXPECT_EQ(trip.after.runs[0].color, 0x00FF8000u);
}

TEST_F(RoundTripByDesign, NegativeSizesAreNotReadBack) {
  RunRecipe run = Plain("ab");
  run.size = -3;
  const Trip trip = RoundTrip({run});
  // -3 points are -5 half-points after rounding; the reader takes "-5" for 5.
  EXPECT_EQ(Body(trip.rtf), "\\fs-5 ab");
  ASSERT_EQ(trip.after.runs.size(), 1u);
  EXPECT_EQ(trip.after.runs[0].size, 2);
}

TEST_F(RoundTripByDesign, ARunWithoutFontTakesTheFontBeforeIt) {
  const Trip trip = RoundTrip({Plain("x"), InFont("one", "Arial"), Plain("two")});
  EXPECT_EQ(Body(trip.rtf), "x\\f0 onetwo");
  // Before the first font nothing is lost; after it, the font carries on.
  EXPECT_EQ(FontsByRun(trip.after), (std::vector<std::string>{"", "Arial"}));
  EXPECT_EQ(RunTexts(trip.after), (std::vector<std::string>{"x", "onetwo"}));
}

TEST_F(RoundTripByDesign, AnEmptyFontNameAfterAnotherFontBecomesTheFirstFont) {
  const Trip trip = RoundTrip({InFont("a", "Times"), InFont("b", "Arial"), InFont("c", "")});
  EXPECT_EQ(Body(trip.rtf), "\\f0 a\\f1 b\\f0 c");
  EXPECT_EQ(FontsByRun(trip.after), (std::vector<std::string>{"Times", "Arial", "Times"}));
}

TEST_F(RoundTripByDesign, FontNamesThatDifferOnlyInCaseMergeWhenAdjacent) {
  // The host compares font names without regard to case, so the second name is not written.
  Trip trip = RoundTrip({InFont("a", "Arial"), InFont("b", "ARIAL")});
  EXPECT_NE(trip.rtf.find("{\\fonttbl{\\f0\\fnil Arial;}{\\f1\\fnil ARIAL;}}"), std::string::npos);
  EXPECT_EQ(Body(trip.rtf), "\\f0 ab");
  EXPECT_EQ(FontsByRun(trip.after), (std::vector<std::string>{"Arial"}));
  // With another font between them both spellings survive.
  trip = RoundTrip({InFont("a", "Arial"), InFont("b", "Times"), InFont("c", "ARIAL")});
  EXPECT_EQ(FontsByRun(trip.after), (std::vector<std::string>{"Arial", "Times", "ARIAL"}));
}

TEST_F(RoundTripByDesign, FontNamesWithTableCharactersLoseThem) {
  // The font table is written without escapes: ";" ends the name, braces are taken for groups
  // and a backslash starts a control word ("\S" swallows the "S").
  const Trip trip = RoundTrip({InFont("1", "A;B"), InFont("2", "A{B}C"), InFont("3", "Back\\Slash"),
                               InFont("4", "Caf\xC3\xA9 \xF0\x9F\x98\x80")});
  EXPECT_NE(trip.rtf.find("{\\fonttbl{\\f0\\fnil A;B;}{\\f1\\fnil A{B}C;}{\\f2\\fnil Back\\Slash;}"
                          "{\\f3\\fnil Caf\xC3\xA9 \xF0\x9F\x98\x80;}}"),
            std::string::npos);
  EXPECT_EQ(TextUTF8(trip.after), "1234");
  // Non-ASCII names travel as raw UTF-8 and survive.
  EXPECT_EQ(FontsByRun(trip.after),
            (std::vector<std::string>{"A", "ABC", "Backlash", "Caf\xC3\xA9 \xF0\x9F\x98\x80"}));
}

TEST_F(RoundTripByDesign, AClosingBraceInAFontNameEndsTheFontTable) {
  // "X}Y" closes its own entry early; the entry's real "}" then ends the table, and the next
  // entry is read as text in a group of its own.
  const Trip trip = RoundTrip({InFont("one", "X}Y"), InFont("two", "Arial")});
  EXPECT_EQ(trip.rtf,
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil X}Y;}{\\f1\\fnil Arial;}}"
            "{\\colortbl\\red0\\green0\\blue0;}\\uc0 \\f0 one\\f1 two}");
  EXPECT_EQ(RunTexts(trip.after), (std::vector<std::string>{"Arial;", "one", "two"}));
  EXPECT_EQ(FontsByRun(trip.after), (std::vector<std::string>{"", "XY", ""}));
}

// --- Paragraph alignment ----------------------------------------------------------------------

TEST_F(RoundTripByDesign, AlignmentZeroAfterAnotherAndValuesBeyondThreeComeBackLeft) {
  // 0 writes nothing while nothing else was written; "\ql" serves every value but 2 and 3,
  // and reads back as 1.
  const Trip trip = RoundTrip({Plain("a\r"), Plain("b\r"), Plain("c\r"), Plain("d\r"), Plain("e")},
                              {0, 3, 0, 4, -1});
  EXPECT_EQ(Body(trip.rtf), "a\\par \\qr b\\par \\ql c\\par \\ql d\\par \\ql e");
  EXPECT_EQ(AlignmentsOf(trip.before), (std::vector<int64_t>{0, 3, 0, 4, -1}));
  EXPECT_EQ(AlignmentsOf(trip.after), (std::vector<int64_t>{0, 3, 1, 1, 1}));
}

TEST_F(RoundTripByDesign, ARunOverParagraphsTakesTheAlignmentAtItsMiddle) {
  // The run's middle (character 4, "d") lies in the second paragraph.
  const Trip trip = RoundTrip({Plain("ab\rcd\ref")}, {2, 3, 0});
  EXPECT_EQ(Body(trip.rtf), "\\qr ab\\par cd\\par ef");
  EXPECT_EQ(AlignmentsOf(trip.after), (std::vector<int64_t>{3, 3, 3}));
}

TEST_F(RoundTripByDesign, SkipParagraphsWritesNoAlignment) {
  const Trip trip = RoundTrip({Plain("a\r"), Plain("b")}, {2, 3}, true);
  EXPECT_EQ(Body(trip.rtf), "a\\par b");
  EXPECT_EQ(AlignmentsOf(trip.after), (std::vector<int64_t>{0, 0}));
}

TEST_F(RoundTripByDesign, OnAHostCountingAnEmptyTextAsOneParagraphAlignmentsMoveOn) {
  simhost::Options options;
  options.paragraphRule = simhost::ParagraphRule::kSeparatorsPlusOne;
  Start(options);
  REALobject st = Build({Plain("a\r"), Plain("b\r"), Plain("c")}, {2, 3, 1});
  const std::string rtf = plugin_->Get(st, false);
  host_->Release(st);
  EXPECT_EQ(Body(rtf), "\\qc a\\par \\qr b\\par \\ql c");
  // An alignment goes to the paragraph that the run's paragraph end opens, so the first one
  // keeps what it had before: 0 in a new StyledText, the old value in a used one.
  REALobject fresh = host_->NewStyledText();
  plugin_->Set(fresh, rtf);
  EXPECT_EQ(AlignmentsOf(View(fresh)), (std::vector<int64_t>{0, 2, 3}));
  host_->Release(fresh);
  EXPECT_EQ(AlignmentsOf(Import(rtf)), (std::vector<int64_t>{3, 2, 3}));
}

}  // namespace
}  // namespace roundtrip
