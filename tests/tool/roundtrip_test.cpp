// `pendlow roundtrip`: import, export, import again, and report what changed per character.
#include <gtest/gtest.h>

#include <ostream>

#include "tool_runner.h"

namespace tooltest {
namespace {

ToolResult RoundTrip(const std::string& rtf) {
  return RunOnStandardInput("roundtrip", rtf);
}

class CleanRoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(CleanRoundTrip, ReportsNoDifferences) {
  const std::string& name = GetParam();
  std::string path = DocumentPath(name);
  ToolResult r = RunTool({"roundtrip", path});
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(r.out.rfind(path + ": no differences after export and import (", 0), 0u) << r.out;
}

INSTANTIATE_TEST_SUITE_P(SamplesAndCorpus, CleanRoundTrip,
                         ::testing::Values("samples/welcome.rtf", "samples/codepages.rtf",
                                           "osxcart__p007_salvete_omnes.rtf",
                                           "osxcart__rtfdtest_TXT.rtf", "pandoc__accent.rtf",
                                           "libreoffice__kde52609.rtf", "rtfjs__simple5.rtf",
                                           "pandoc__table_error_codes.rtf"),
                         [](const auto& info) { return TestNameOf(info.param); });

// A document on standard input and the report it gets.
struct RoundTripCase {
  const char* name;
  const char* rtf;
  int status;
  const char* report;
};

// Cases show as their names in test listings.
void PrintTo(const RoundTripCase& c, std::ostream* os) {
  *os << c.name;
}

const RoundTripCase kRoundTripCases[] = {
    {"CountsCharactersAndRunsOnBothSides", "{\\rtf1 ab{\\b cd}ef}", 0,
     "<stdin>: no differences after export and import (6 characters, 3 runs -> 3 runs)\n"},
    // Red 300 packs into the colour's high byte; the exported colour table keeps 8 bits only.
    {"ColourComponentAbove255LosesItsHighByte",
     "{\\rtf1\\ansi{\\colortbl;\\red300\\green0\\blue0;}\\cf1 abc}", 1,
     "<stdin>: 1 difference after export and import\n"
     "  characters 0-2 (\"abc\"): color #2C0000 (alpha 1) -> #2C0000\n"},
    {"ControlCharacterInTheTextIsDroppedByTheExport", "{\\rtf1 x\\'03y}", 1,
     "<stdin>: 1 difference after export and import\n"
     "  text at character 1: \"\\u0003\" -> \"\"\n"},
    // The export writes no font word for a run without a font, so the earlier font carries on.
    {"RunWithoutFontTakesTheFontBeforeIt", "{\\rtf1{\\fonttbl\\f0 Arial;}{\\f0 one}{ two}}", 1,
     "<stdin>: 1 difference after export and import\n"
     "  characters 3-6 (\" two\"): font \"\" -> \"Arial\"\n"},
};

class RoundTripReport : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(RoundTripReport, IsExact) {
  ToolResult r = RoundTrip(GetParam().rtf);
  EXPECT_EQ(r.status, GetParam().status) << r.err;
  EXPECT_EQ(r.out, GetParam().report);
}

INSTANTIATE_TEST_SUITE_P(RoundTrip, RoundTripReport, ::testing::ValuesIn(kRoundTripCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(RoundTrip, SkipParagraphsLosesEveryAlignment) {
  ToolResult r = RunTool({"roundtrip", "--skip-paragraphs", SamplePath("welcome.rtf")});
  EXPECT_EQ(r.status, 1);
  std::vector<std::string> lines = Lines(r.out);
  ASSERT_EQ(lines.size(), 4u) << r.out;
  EXPECT_EQ(lines[0], SamplePath("welcome.rtf") + ": 3 differences after export and import");
  EXPECT_NE(lines[1].find("): alignment center -> default"), std::string::npos) << lines[1];
  EXPECT_NE(lines[2].find("): alignment left -> default"), std::string::npos) << lines[2];
  EXPECT_NE(lines[3].find("): alignment right -> default"), std::string::npos) << lines[3];
  EXPECT_EQ(lines[1].rfind("  characters 0-", 0), 0u);
}

TEST(RoundTrip, ManyDifferencesAreCutAfterAHundredLines) {
  // Every other character in a colour out of range: 150 separate ranges.
  std::string rtf = "{\\rtf1{\\colortbl;\\red300\\green0\\blue0;\\red0\\green0\\blue1;}";
  for (int i = 0; i < 150; ++i) rtf += "\\cf1 a\\cf2 b";
  rtf += "}";
  ToolResult r = RoundTrip(rtf);
  EXPECT_EQ(r.status, 1);
  std::vector<std::string> lines = Lines(r.out);
  ASSERT_EQ(lines.size(), 102u);
  EXPECT_EQ(lines[0], "<stdin>: 150 differences after export and import");
  EXPECT_EQ(lines[101], "  ... and 50 more");
}

TEST(RoundTrip, NotRtfIsEmptyOnBothSides) {
  ToolResult r = RoundTrip("plain");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out,
            "<stdin>: no differences after export and import (0 characters, 0 runs -> 0 runs)\n");
  EXPECT_EQ(Lines(r.err).size(), 1u) << r.err;
}

}  // namespace
}  // namespace tooltest
