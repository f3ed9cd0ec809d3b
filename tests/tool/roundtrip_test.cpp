// `pendlow roundtrip`: import, export, import again, and report what changed per character.
#include <gtest/gtest.h>

#include "tool_runner.h"

namespace tooltest {
namespace {

ToolResult RoundTrip(const std::string& rtf, std::vector<std::string> extra = {}) {
  RunOptions in;
  in.input = rtf;
  std::vector<std::string> args = {"roundtrip"};
  args.insert(args.end(), extra.begin(), extra.end());
  args.push_back("-");
  return RunTool(args, in);
}

class CleanRoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(CleanRoundTrip, ReportsNoDifferences) {
  const std::string& name = GetParam();
  std::string path = name.rfind("samples/", 0) == 0 ? SamplePath(name.substr(8)) : CorpusPath(name);
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
                         [](const ::testing::TestParamInfo<std::string>& info) {
                           std::string name;
                           for (char c : info.param) {
                             name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                           }
                           return name;
                         });

TEST(RoundTrip, CountsCharactersAndRunsOnBothSides) {
  ToolResult r = RoundTrip("{\\rtf1 ab{\\b cd}ef}");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "<stdin>: no differences after export and import (6 characters, 3 runs -> 3 runs)\n");
}

TEST(RoundTrip, ColourComponentAbove255LosesItsHighByte) {
  // Red 300 packs into the colour's high byte; the exported colour table keeps 8 bits only.
  ToolResult r = RoundTrip("{\\rtf1\\ansi{\\colortbl;\\red300\\green0\\blue0;}\\cf1 abc}");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out,
            "<stdin>: 1 difference after export and import\n"
            "  characters 0-2 (\"abc\"): color #2C0000 (alpha 1) -> #2C0000\n");
}

TEST(RoundTrip, ControlCharacterInTheTextIsDroppedByTheExport) {
  ToolResult r = RoundTrip("{\\rtf1 x\\'03y}");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out,
            "<stdin>: 1 difference after export and import\n"
            "  text at character 1: \"\\u0003\" -> \"\"\n");
}

TEST(RoundTrip, RunWithoutFontTakesTheFontBeforeIt) {
  // The export writes no font word for a run without a font, so the earlier font carries on.
  ToolResult r = RoundTrip("{\\rtf1{\\fonttbl\\f0 Arial;}{\\f0 one}{ two}}");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out,
            "<stdin>: 1 difference after export and import\n"
            "  characters 3-6 (\" two\"): font \"\" -> \"Arial\"\n");
}

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
