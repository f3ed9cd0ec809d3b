// `pendlow export`: a JSON document becomes a StyledText whose member's RTF is printed; and
// the JSON schema survives a trip through export and import.
#include <gtest/gtest.h>

#include <map>

#include "host_oracle.h"
#include "tool_runner.h"
#include "support/text_checks.h"

namespace tooltest {
namespace {

using test_support::Contains;
using test_support::Lacks;

ToolResult ExportJson(const std::string& json, const std::vector<std::string>& extra = {}) {
  return RunOnStandardInput("export", json, extra);
}

TEST(Export, TwoArialRunsGiveTheExpectedDocument) {
  ToolResult r = ExportJson(R"({"version": 1, "runs": [
    {"text": "Hello", "font": "Arial", "size": 12, "color": "#FF0000", "bold": true},
    {"text": " world", "font": "Arial", "size": 12, "color": "#000000"}]})");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}}{\\colortbl\\red255\\green0"
            "\\blue0;\\red0\\green0\\blue0;}\\uc0 \\b\\f0\\cf0\\fs24 Hello\\b0\\cf1  world}");
  EXPECT_EQ(r.err, "");
}

TEST(Export, RunWithOnlyTextUsesTheDefaults) {
  ToolResult r = ExportJson(R"({"version": 1, "runs": [{"text": "a{b}\\c"}]})");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl}{\\colortbl\\red0\\green0\\blue0;}\\uc0 "
            "a\\{b\\}\\\\c}");
}

TEST(Export, JsonEscapesBecomeUnicodeCharacters) {
  ToolResult r = ExportJson(R"({"version": 1, "runs": [{"text": "\u00e9\ud83d\ude00\u20ac"}]})");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "\\u233 \\u55357 \\u56832 \\u8364 }"));
}

TEST(Export, MatchesWhatTheLibraryReturnsForTheSameStyledText) {
  std::vector<simhost::RunRecipe> runs(3);
  runs[0].text = "Title\r";
  runs[0].font = "Georgia";
  runs[0].size = 20;
  runs[0].color = 0x1F3A93;
  runs[0].bold = true;
  runs[1].text = "Body ";
  runs[1].font = "Helvetica";
  runs[1].size = 12;
  runs[2].text = "na\xC3\xAFve\r";
  runs[2].font = "Helvetica";
  runs[2].size = 12;
  runs[2].italic = true;
  runs[2].underline = true;
  runs[2].color = 0xC0392B;
  std::string json = R"({"version": 1, "runs": [
    {"text": "Title\r", "font": "Georgia", "size": 20, "color": "#1F3A93", "bold": true},
    {"text": "Body ", "font": "Helvetica", "size": 12},
    {"text": "naïve\r", "font": "Helvetica", "size": 12, "color": "#c0392b",
     "italic": true, "underline": true}],
    "paragraphs": [{"alignment": 2}, {"start": 6, "end": 16, "alignment": 3}]})";
  for (bool skip : {false, true}) {
    ToolResult r = skip ? ExportJson(json, {"--skip-paragraphs"}) : ExportJson(json);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, ExportThroughHost(runs, {2, 3}, skip)) << "skip " << skip;
  }
}

TEST(Export, SkipParagraphsLeavesOutTheAlignment) {
  ToolResult aligned = RunTool({"export", SamplePath("welcome.json")});
  ToolResult skipped = RunTool({"export", "--skip-paragraphs", SamplePath("welcome.json")});
  ASSERT_EQ(aligned.status, 0) << aligned.err;
  ASSERT_EQ(skipped.status, 0) << skipped.err;
  EXPECT_TRUE(Contains(aligned.out, "\\qc"));
  EXPECT_TRUE(Contains(aligned.out, "\\qr"));
  EXPECT_TRUE(Lacks(skipped.out, "\\q"));
}

TEST(Export, AlphaKeepsTwoColourEntriesApart) {
  ToolResult r = ExportJson(R"({"version": 1, "runs": [
    {"text": "a", "color": "#FF0000"}, {"text": "b", "color": "#FF0000", "alpha": 128}]})");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "{\\colortbl\\red255\\green0\\blue0;\\red255\\green0\\blue0;}"));
  EXPECT_TRUE(Contains(r.out, "\\cf1 b}"));
}

TEST(Export, NullAndEmptyFontsWriteNoFontTableEntry) {
  ToolResult r = ExportJson(R"({"version": 1, "runs": [
    {"text": "a", "font": null}, {"text": "b", "font": ""}]})");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "{\\fonttbl}"));
}

TEST(Export, NoRunsGivesAnEmptyStringAndANote) {
  ToolResult r = ExportJson(R"({"version": 1, "runs": []})");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "pendlow: note: the StyledText is empty: the member returns an empty string\n");
}

TEST(Export, ByteOrderMarkAndCrLfLinesAreAccepted) {
  ToolResult r = ExportJson("\xEF\xBB\xBF{\"version\": 1,\r\n \"runs\": [{\"text\": \"x\"}]}\r\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.back(), '}');
  EXPECT_TRUE(Contains(r.out, " x}"));
}

// Runs with equal formatting merged, so that documents whose runs are cut differently compare
// equal when every character looks the same.
std::vector<std::pair<std::string, std::string>> MergedRuns(const std::string& json) {
  std::vector<std::pair<std::string, std::string>> merged;  // formatting, escaped text
  for (const std::string& line : Lines(json)) {
    size_t at = line.find("{\"text\": \"");
    if (at == std::string::npos) continue;
    size_t textStart = at + 10;
    size_t textEnd = line.find("\", \"font\": ", textStart);
    // The text ends at the first unescaped quote followed by the font member.
    while (textEnd != std::string::npos) {
      size_t backslashes = 0;
      while (line[textEnd - 1 - backslashes] == '\\') ++backslashes;
      if (backslashes % 2 == 0) break;
      textEnd = line.find("\", \"font\": ", textEnd + 1);
    }
    EXPECT_NE(textEnd, std::string::npos) << line;
    if (textEnd == std::string::npos) continue;
    std::string text = line.substr(textStart, textEnd - textStart);
    if (text.empty()) continue;  // a run without characters looks like nothing
    std::string format = line.substr(textEnd + 1);
    if (!format.empty() && format.back() == ',') format.pop_back();
    if (!merged.empty() && merged.back().first == format) {
      merged.back().second += text;
    } else {
      merged.emplace_back(format, text);
    }
  }
  return merged;
}

std::vector<std::string> ParagraphLines(const std::string& json) {
  std::vector<std::string> lines;
  for (std::string line : Lines(json)) {
    if (line.find("{\"start\": ") == std::string::npos) continue;
    if (!line.empty() && line.back() == ',') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

class JsonRoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(JsonRoundTrip, ExportOfAnImportImportsToTheSameRuns) {
  const std::string& name = GetParam();
  std::string path = DocumentPath(name);
  TempDir dir;
  ToolResult first = RunTool({"import", "--json", path, "-o", dir.File("first.json")});
  ASSERT_EQ(first.status, 0) << first.err;
  ToolResult rtf = RunTool({"export", dir.File("first.json"), "-o", dir.File("again.rtf")});
  ASSERT_EQ(rtf.status, 0) << rtf.err;
  ToolResult second = RunTool({"import", "--json", dir.File("again.rtf")});
  ASSERT_EQ(second.status, 0) << second.err;

  std::string a = ReadFile(dir.File("first.json"));
  EXPECT_EQ(MergedRuns(second.out), MergedRuns(a));
  EXPECT_EQ(ParagraphLines(second.out), ParagraphLines(a));
  EXPECT_FALSE(MergedRuns(a).empty());

  // After one trip the runs are cut the way the library cuts its own RTF: a second trip
  // changes nothing at all.
  WriteFile(dir.File("second.json"), second.out);
  ToolResult rtf2 = RunTool({"export", dir.File("second.json"), "-o", dir.File("again2.rtf")});
  ASSERT_EQ(rtf2.status, 0) << rtf2.err;
  ToolResult third = RunTool({"import", "--json", dir.File("again2.rtf")});
  EXPECT_EQ(third.out, second.out);
}

INSTANTIATE_TEST_SUITE_P(SamplesAndCorpus, JsonRoundTrip,
                         ::testing::Values("samples/welcome.rtf", "samples/codepages.rtf",
                                           "osxcart__rtfdtest_TXT.rtf", "pandoc__accent.rtf",
                                           "osxcart__p069_styles.rtf", "pandoc__unicode.rtf",
                                           "rtfjs__simple5.rtf"),
                         [](const auto& info) { return TestNameOf(info.param); });

TEST(Export, WelcomeJsonSampleExportsAndImportsBack) {
  ToolResult rtf = RunTool({"export", SamplePath("welcome.json")});
  ASSERT_EQ(rtf.status, 0) << rtf.err;
  RunOptions in;
  in.input = rtf.out;
  ToolResult text = RunTool({"import", "--text", "-"}, in);
  EXPECT_EQ(text.out,
            "Welcome to Pendlow\n"
            "A StyledText built from JSON, exported as RTF.\n"
            "Runs carry bold, italic, underline, colour and size.\n"
            "Caf\xC3\xA9, Z\xC3\xBCrich, 42 \xE2\x82\xAC, \xE6\x9D\xB1\xE4\xBA\xAC.\n");
  ToolResult json = RunTool({"import", "--json", "-"}, in);
  EXPECT_TRUE(Contains(json.out, "{\"start\": 66, \"end\": 118, \"alignment\": 1}"));
  EXPECT_TRUE(Contains(json.out, "\"alignment\": 3}"));
}

}  // namespace
}  // namespace tooltest
