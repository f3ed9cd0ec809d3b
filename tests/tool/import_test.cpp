// `pendlow import`: every format on the bundled samples and on documents of the real corpus,
// checked against what the simulated host holds after the same assignment in-process.
#include <gtest/gtest.h>

#include <regex>

#include "host_oracle.h"
#include "tool_runner.h"
#include "support/text_checks.h"
#include "support/utf8.h"

namespace tooltest {
namespace {

using test_support::Contains;
using test_support::ContainsAll;
using test_support::Lacks;

std::string Plural(size_t n, const std::string& word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

// The JSON document the tool must print for what the host holds.
std::string ExpectedJson(const HostView& view) {
  std::string out = "{\n  \"version\": 1,\n  \"runs\": [";
  for (size_t i = 0; i < view.runs.size(); ++i) {
    out += (i == 0 ? "\n    " : ",\n    ") + JsonRunLine(view.runs[i]);
  }
  out += view.runs.empty() ? "],\n  \"paragraphs\": [" : "\n  ],\n  \"paragraphs\": [";
  for (size_t i = 0; i < view.paragraphs.size(); ++i) {
    const simhost::Paragraph& p = view.paragraphs[i];
    out += (i == 0 ? "\n    " : ",\n    ") + std::string("{\"start\": ") + std::to_string(p.start) +
           ", \"end\": " + std::to_string(p.end) +
           ", \"alignment\": " + std::to_string(p.alignment) + "}";
  }
  out += view.paragraphs.empty() ? "]\n}\n" : "\n  ]\n}\n";
  return out;
}

std::string RegexEscape(const std::string& text) {
  static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
  return std::regex_replace(text, special, R"(\$&)");
}

class ImportDocument : public ::testing::TestWithParam<std::string> {
 protected:
  std::string Path() const {
    const std::string& name = GetParam();
    return DocumentPath(name);
  }
};

TEST_P(ImportDocument, JsonListsExactlyTheHostsRunsAndParagraphs) {
  HostView view = ImportThroughHost(ReadFile(Path()));
  ToolResult r = RunTool({"import", "--json", Path()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, ExpectedJson(view));
  EXPECT_EQ(r.err, "");
}

TEST_P(ImportDocument, TextIsOneLinePerParagraph) {
  HostView view = ImportThroughHost(ReadFile(Path()));
  ToolResult r = RunTool({"import", "--text", Path()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, TextLines(view));
}

TEST_P(ImportDocument, TableHasARowPerRunAndParagraph) {
  HostView view = ImportThroughHost(ReadFile(Path()));
  ToolResult r = RunTool({"import", Path()});
  ASSERT_EQ(r.status, 0) << r.err;
  std::vector<std::string> lines = Lines(r.out);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], Path() + ": " + Plural(view.runs.size(), "run") + ", " +
                          Plural(view.paragraphs.size(), "paragraph") + ", " +
                          Plural(test_support::CodePointCount(view.text), "character"));
  size_t start = 0;
  for (size_t i = 0; i < view.runs.size(); ++i) {
    const simhost::Run& run = view.runs[i];
    size_t end = start + test_support::CodePointCount(run.text);
    std::string style =
        std::string(run.bold ? "B" : "-") + (run.italic ? "I" : "-") + (run.underline ? "U" : "-");
    std::string font = run.font.empty() ? "(none)" : run.font;
    std::regex row("^ +" + std::to_string(i) + " +" + std::to_string(start) + " +" +
                   std::to_string(end) + " +" + RegexEscape(font) + " +" +
                   std::to_string(run.size) + " +" + Hex6(run.color) + " +" + style + " +\".*$");
    bool found = false;
    for (const std::string& line : lines) found = found || std::regex_match(line, row);
    EXPECT_TRUE(found) << "no row for run " << i << " " << JsonRunLine(run);
    start = end;
  }
  const char* names[] = {"default", "left", "center", "right"};
  for (size_t i = 0; i < view.paragraphs.size(); ++i) {
    const simhost::Paragraph& p = view.paragraphs[i];
    std::string alignment =
        p.alignment >= 0 && p.alignment <= 3 ? names[p.alignment] : std::to_string(p.alignment);
    std::regex row("^ +" + std::to_string(i) + " +" + std::to_string(p.start) + " +" +
                   std::to_string(p.end) + " +" + alignment + " +\".*$");
    bool found = false;
    for (const std::string& line : lines) found = found || std::regex_match(line, row);
    EXPECT_TRUE(found) << "no row for paragraph " << i;
  }
}

TEST_P(ImportDocument, HtmlHasAParagraphPerHostParagraphAndAllItsText) {
  HostView view = ImportThroughHost(ReadFile(Path()));
  ToolResult r = RunTool({"import", "--html", Path()});
  ASSERT_EQ(r.status, 0) << r.err;
  size_t paragraphs = 0;
  for (size_t at = r.out.find("<p"); at != std::string::npos; at = r.out.find("<p", at + 1)) {
    if (r.out.compare(at, 3, "<p>") == 0 || r.out.compare(at, 3, "<p ") == 0) ++paragraphs;
  }
  EXPECT_EQ(paragraphs, view.text.empty() ? 0u : view.paragraphs.size());
  EXPECT_EQ(r.out.rfind("<!DOCTYPE html>", 0), 0u);
  EXPECT_TRUE(Lacks(r.out, "<script"));
  EXPECT_TRUE(Lacks(r.out, "src="));
  EXPECT_TRUE(Lacks(r.out, "<link"));
}

INSTANTIATE_TEST_SUITE_P(SamplesAndCorpus, ImportDocument,
                         ::testing::Values("samples/welcome.rtf", "samples/codepages.rtf",
                                           "osxcart__p007_salvete_omnes.rtf",
                                           "osxcart__rtfdtest_TXT.rtf", "osxcart__p069_styles.rtf",
                                           "pandoc__accent.rtf", "pandoc__unicode.rtf",
                                           "libreoffice__kde52609.rtf", "rtfjs__colors_source.rtf",
                                           "osxcart__p086b_table_all_alignments_with_borders.rtf",
                                           "rtfjs__pile-of-poo_source.rtf"),
                         [](const auto& info) { return TestNameOf(info.param); });

TEST(Import, WelcomeSampleShowsItsHeadingCentredBoldAndBlue) {
  ToolResult r = RunTool({"import", "--json", SamplePath("welcome.rtf")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(
      ContainsAll(r.out, {"{\"text\": \"Welcome to Pendlow\", \"font\": \"Georgia\", \"size\": 20, "
                          "\"color\": \"#1F3A93\", \"bold\": true, \"italic\": false, "
                          "\"underline\": false}",
                          "{\"start\": 0, \"end\": 18, \"alignment\": 2}"}));
}

TEST(Import, HtmlShowsFontsSizesColoursAndAlignments) {
  ToolResult r = RunTool({"import", "--html", SamplePath("welcome.rtf")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(ContainsAll(
      r.out, {"<p style=\"text-align:center\"><span style=\"font-family:'Georgia', serif;"
              "font-size:20pt;color:#1F3A93;font-weight:bold;\">Welcome to Pendlow"
              "</span></p>",
              "<p style=\"text-align:right\">", "font-style:italic;", "text-decoration:underline;",
              "color:#C0392B;\">colours</span>", "<title>welcome.rtf</title>"}));
}

TEST(Import, HtmlGivesPostScriptNamesTheirFamilyAndAGenericFace) {
  ToolResult r =
      RunWithInput({"import", "--html", "-"},
                   "{\\rtf1{\\fonttbl\\f0 ArialMT;\\f1 Helvetica-BoldOblique;\\f2 CourierNewPSMT;"
                   "\\f3 Georgia;\\f4 Unheard-Bold;}\\f0 a\\f1 b\\f2 c\\f3 d\\f4 e\\par}");
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char* family :
       {"font-family:'ArialMT', 'Arial', sans-serif;",
        "font-family:'Helvetica-BoldOblique', 'Helvetica', sans-serif;",
        "font-family:'CourierNewPSMT', 'Courier New', monospace;", "font-family:'Georgia', serif;",
        "font-family:'Unheard-Bold', 'Unheard';"}) {
    EXPECT_TRUE(Contains(r.out, family)) << family << "\n" << r.out;
  }
}

TEST(Import, HtmlEscapesTextAndFontNames) {
  ToolResult r = RunWithInput({"import", "--html", "-"},
                              "{\\rtf1{\\fonttbl\\f0 O'Brien <Sans>;}\\f0 a<b>&\"c\"\\par}");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, ">a&lt;b&gt;&amp;&quot;c&quot;</span>"));
  EXPECT_TRUE(Contains(r.out, "font-family:'O\\27 Brien &lt;Sans&gt;';"));
  EXPECT_TRUE(Lacks(r.out, "<b>"));
}

TEST(Import, TableShowsControlCharactersInFontNamesInsteadOfSendingThem) {
  ToolResult r =
      RunWithInput({"import", "-"}, "{\\rtf1{\\fonttbl\\f0 Bad\x1b[31mFont;}\\f0 x\\par}");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.find('\x1b'), std::string::npos);
  EXPECT_TRUE(Contains(r.out, "Bad\\x1B[31mFont"));
}

TEST(Import, EmptyParagraphKeepsItsLineInHtmlAndText) {
  RunOptions in;
  in.input = "{\\rtf1 a\\par\\par b}";
  ToolResult text = RunTool({"import", "--text", "-"}, in);
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.out, TextLines(ImportThroughHost(in.input)));
  ToolResult html = RunTool({"import", "--html", "-"}, in);
  EXPECT_TRUE(Contains(html.out, "<p><br></p>"));
}

TEST(Import, StandardInputGivesTheSameResultAsTheFile) {
  RunOptions in;
  in.input = ReadFile(SamplePath("welcome.rtf"));
  ToolResult fromStdin = RunTool({"import", "--json", "-"}, in);
  ToolResult fromFile = RunTool({"import", "--json", SamplePath("welcome.rtf")});
  ASSERT_EQ(fromStdin.status, 0) << fromStdin.err;
  EXPECT_EQ(fromStdin.out, fromFile.out);
  ToolResult table = RunTool({"import", "-"}, in);
  EXPECT_EQ(table.out.rfind("<stdin>: ", 0), 0u) << table.out;
}

TEST(Import, TextThatIsNotRtfGivesAnEmptyResultAndOneNote) {
  RunOptions in;
  in.input = "Just some plain text, no RTF here.\n";
  ToolResult table = RunTool({"import", "-"}, in);
  EXPECT_EQ(table.status, 0);
  EXPECT_EQ(table.out, "<stdin>: 0 runs, 0 paragraphs, 0 characters\n");
  EXPECT_EQ(table.err,
            "pendlow: note: '<stdin>' is not RTF to the member (it does not begin with "
            "\"{\\rtf\"): the StyledText is empty\n");

  ToolResult json = RunTool({"import", "--json", "-"}, in);
  EXPECT_EQ(json.status, 0);
  EXPECT_EQ(json.out, "{\n  \"version\": 1,\n  \"runs\": [],\n  \"paragraphs\": []\n}\n");
  EXPECT_EQ(Lines(json.err).size(), 1u);

  ToolResult text = RunTool({"import", "--text", "-"}, in);
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.out, "");

  ToolResult html = RunTool({"import", "--html", "-"}, in);
  EXPECT_EQ(html.status, 0);
  EXPECT_TRUE(Contains(html.out, "<div class=\"styled-text\">\n</div>"));
}

TEST(Import, ShortOrEmptyInputIsNotRtfEither) {
  for (const std::string& input : {std::string(), std::string("{\\rtf}")}) {
    ToolResult r = RunWithInput({"import", "-"}, input);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err,
              "pendlow: note: '<stdin>' is not RTF to the member (6 bytes or shorter): the "
              "StyledText is empty\n");
  }
}

TEST(Import, RtfWithoutTextSaysSo) {
  ToolResult r = RunWithInput({"import", "-"}, "{\\rtf1\\ansi{\\fonttbl\\f0 Arial;}}");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err,
            "pendlow: note: the member read no text from '<stdin>': the StyledText is "
            "empty\n");
}

TEST(Import, BinaryGarbageDoesNotCrash) {
  RunOptions in;
  for (int i = 0; i < 4096; ++i) in.input.push_back(static_cast<char>((i * 7919) & 0xFF));
  in.input.replace(0, 5, "{\\rtf");
  for (const char* format : {"--table", "--json", "--text", "--html"}) {
    ToolResult r = RunTool({"import", format, "-"}, in);
    EXPECT_EQ(r.status, 0) << format << ": " << r.err;
  }
}

TEST(Import, OlderHostWithClassExtensionGivesTheSameRuns) {
  ToolResult modern = RunTool({"import", "--json", SamplePath("welcome.rtf")});
  ToolResult old =
      RunTool({"import", "--json", "--host-version", "2012.01", SamplePath("welcome.rtf")});
  ASSERT_EQ(old.status, 0) << old.err;
  EXPECT_EQ(old.out, modern.out);
}

TEST(Import, DebugShowsTheLibrarysLog) {
  ToolResult r = RunTool({"import", "--debug", "--text", SamplePath("welcome.rtf")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.err, "ZVK Debug: StyledTextClear"));
  ToolResult quiet = RunTool({"import", "--text", SamplePath("welcome.rtf")});
  EXPECT_EQ(quiet.err, "");
  EXPECT_EQ(quiet.out, r.out);
}

TEST(Import, DebugOnAHostWithoutTheModuleSaysTheLogStaysOff) {
  ToolResult r = RunTool(
      {"import", "--debug", "--host-version", "2012.01", "--text", SamplePath("welcome.rtf")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err,
            "pendlow: note: host version 2012.01 gets no Debugging property from the library (it "
            "registers a class extension there), so the library's log stays off\n");
}

TEST(Import, TimeReportsEachStep) {
  ToolResult r = RunTool({"import", "--time", "--text", SamplePath("welcome.rtf")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(std::regex_match(
      r.err, std::regex("pendlow: time: read [0-9.]+ ms, load [0-9.]+ ms, import [0-9.]+ ms, "
                        "format [0-9.]+ ms, write [0-9.]+ ms, total [0-9.]+ ms\n")))
      << r.err;
}

TEST(Import, ColourSwatchesOnlyOnATerminalThatWantsColour) {
  if (!TerminalsAvailable()) GTEST_SKIP() << "no pseudo-terminals on this machine";
  RunOptions terminal;
  terminal.stdoutTerminal = true;
  terminal.environment.push_back("-NO_COLOR");
  ToolResult coloured = RunTool({"import", SamplePath("welcome.rtf")}, terminal);
  ASSERT_EQ(coloured.status, 0) << coloured.err;
  EXPECT_TRUE(Contains(coloured.out, "\033[38;2;31;58;147m"));

  terminal.environment.push_back("NO_COLOR=1");
  ToolResult plain = RunTool({"import", SamplePath("welcome.rtf")}, terminal);
  EXPECT_TRUE(Lacks(plain.out, "\033["));
  ToolResult piped = RunTool({"import", SamplePath("welcome.rtf")});
  EXPECT_TRUE(Lacks(piped.out, "\033["));
}

}  // namespace
}  // namespace tooltest
