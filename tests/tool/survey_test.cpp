// `pendlow survey`: rows for files and directories, totals by writer, --json, unreadable files.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "host_oracle.h"
#include "tool_runner.h"
#include "support/text_checks.h"

namespace tooltest {
namespace {

using test_support::Contains;
using test_support::Lacks;

constexpr int kUsage = 2;

const char* const kWordPadDocument =
    "{\\rtf1\\ansi{\\*\\generator Msftedit 5.41.21.2510;}\\viewkind4 Hello\\par World\\par}";
const char* const kTextEditDocument =
    "{\\rtf1\\ansi\\cocoartf2639 {\\fonttbl\\f0 Helvetica;}\\f0 caf\\'e9 {\\b bold}}";
// Word 2007's habit of wrapping text in a group opened by an unknown word: nothing survives.
const char* const kWordDocument =
    "{\\rtf1{\\*\\rsidtbl \\rsid1}{\\*\\mmathPr\\mdispDef1}{\\rtlch\\fcs1 \\ltrch\\fcs0 Gone}}";

// Code points without CR and LF, as the survey counts them.
int64_t VisibleCharacters(const std::string& utf8) {
  int64_t n = 0;
  for (char c : utf8) {
    unsigned char b = static_cast<unsigned char>(c);
    n += (b & 0xC0) != 0x80 && b != '\r' && b != '\n';
  }
  return n;
}

// "  runs  paragraphs  characters" as the table prints them for what the host holds.
std::string Counts(const std::string& rtf) {
  HostView view = ImportThroughHost(rtf);
  return std::to_string(view.runs.size()) + " " + std::to_string(view.paragraphs.size()) + " " +
         std::to_string(VisibleCharacters(view.text));
}

// The row of `file` in the table, its columns joined by single spaces, the time left out.
std::string Row(const std::string& table, const std::string& file) {
  for (const std::string& line : Lines(table)) {
    if (line.rfind(file + " ", 0) != 0) continue;
    std::smatch m;
    static const std::regex row(R"(^(\S+) +(\d+) +(\d+) +(\d+) +\d+\.\d{3}  (.+)$)");
    if (!std::regex_match(line, m, row)) return "unparsed: " + line;
    return m[2].str() + " " + m[3].str() + " " + m[4].str() + " | " + m[5].str();
  }
  return "no row";
}

class SurveyDirectory : public ::testing::Test {
 protected:
  void SetUp() override {
    WriteFile(dir_.File("b_wordpad.rtf"), kWordPadDocument);
    WriteFile(dir_.File("a_textedit.RTF"), kTextEditDocument);
    WriteFile(dir_.File("c_word.rtf"), kWordDocument);
    WriteFile(dir_.File("notes.txt"), kWordPadDocument);  // not an .rtf file: not surveyed
  }
  TempDir dir_;
};

TEST_F(SurveyDirectory, TableHasOneSortedRowPerRtfFileAndTotals) {
  ToolResult r = RunTool({"survey", dir_.path()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  std::vector<std::string> lines = Lines(r.out);
  ASSERT_GE(lines.size(), 4u) << r.out;
  EXPECT_EQ(lines[0].substr(0, 4), "file");
  EXPECT_EQ(lines[1].rfind(dir_.File("a_textedit.RTF") + " ", 0), 0u) << r.out;
  EXPECT_EQ(lines[2].rfind(dir_.File("b_wordpad.rtf") + " ", 0), 0u) << r.out;
  EXPECT_EQ(lines[3].rfind(dir_.File("c_word.rtf") + " ", 0), 0u) << r.out;
  EXPECT_TRUE(Lacks(r.out, "notes.txt"));

  EXPECT_EQ(Row(r.out, dir_.File("a_textedit.RTF")), Counts(kTextEditDocument) + " | TextEdit");
  EXPECT_EQ(Row(r.out, dir_.File("b_wordpad.rtf")), Counts(kWordPadDocument) + " | WordPad");
  EXPECT_EQ(Row(r.out, dir_.File("c_word.rtf")), "0 0 0 | Word 2007+");
  EXPECT_EQ(Counts(kWordPadDocument), "2 2 10");

  EXPECT_TRUE(
      Contains(r.out, "\n3 files: 2 import some text, 1 import nothing, 0 could not be read\n"));
  EXPECT_TRUE(std::regex_search(r.out, std::regex(R"(\nWordPad +1 +1\n)"))) << r.out;
  EXPECT_TRUE(std::regex_search(r.out, std::regex(R"(\nTextEdit +1 +1\n)"))) << r.out;
  EXPECT_TRUE(std::regex_search(r.out, std::regex(R"(\nWord 2007\+ +1 +0\n)"))) << r.out;
  EXPECT_TRUE(std::regex_search(r.out, std::regex(R"(\nAbiWord +0 +0\n)"))) << r.out;
}

TEST_F(SurveyDirectory, SubdirectoriesAreNotEnteredAndArgumentsKeepTheirOrder) {
  std::filesystem::create_directory(dir_.File("sub"));
  WriteFile(dir_.File("sub") + "/deeper.rtf", kWordPadDocument);
  std::filesystem::create_directory(dir_.File("folder.rtf"));  // a directory named like a file
  TempDir other;
  WriteFile(other.File("x.rtf"), kWordPadDocument);
  ToolResult r = RunTool({"survey", other.path(), dir_.path()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "\n4 files: 3 import some text, 1 import nothing"));
  EXPECT_TRUE(Lacks(r.out, "deeper.rtf"));
  EXPECT_TRUE(Lacks(r.out, "folder.rtf"));
  EXPECT_LT(r.out.find(other.File("x.rtf")), r.out.find(dir_.File("a_textedit.RTF")));
  std::filesystem::remove_all(dir_.File("sub"));
  std::filesystem::remove_all(dir_.File("folder.rtf"));
}

TEST(Survey, DirectoryWithoutDocumentsGivesANote) {
  TempDir dir;
  ToolResult r = RunTool({"survey", dir.path()});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "pendlow: note: no .rtf files in directory '" + dir.path() + "'\n");
  EXPECT_TRUE(Contains(r.out, "\n0 files: 0 import some text"));
}

TEST_F(SurveyDirectory, JsonListsEveryFileAndTheTotals) {
  ToolResult r = RunTool({"survey", "--json", dir_.path()});
  ASSERT_EQ(r.status, 0) << r.err;
  HostView wordpad = ImportThroughHost(kWordPadDocument);
  std::string expected =
      "{\"file\": " + JsonString(dir_.File("b_wordpad.rtf")) +
      ", \"error\": null, \"bytes\": " + std::to_string(std::string(kWordPadDocument).size()) +
      ", \"writer\": \"WordPad\", \"generator\": \"Msftedit 5.41.21.2510\", \"clue\": "
      "\"generator\", \"runs\": " +
      std::to_string(wordpad.runs.size()) +
      ", \"paragraphs\": " + std::to_string(wordpad.paragraphs.size()) +
      ", \"characters\": " + std::to_string(VisibleCharacters(wordpad.text)) + ", \"ms\": ";
  EXPECT_TRUE(Contains(r.out, expected));
  EXPECT_TRUE(Contains(r.out,
                       "\"writer\": \"Word 2007+\", \"generator\": null, \"clue\": "
                       "\"\\\\mmathPr\", \"runs\": 0, \"paragraphs\": 0, \"characters\": 0"));
  EXPECT_TRUE(Contains(r.out, "\"totals\": {\"files\": 3, \"with_text\": 2, \"failed\": 0"));
  EXPECT_TRUE(Contains(r.out, "\"TextEdit\": {\"files\": 1, \"with_text\": 1}"));
  EXPECT_TRUE(Contains(r.out, "\"other\": {\"files\": 0, \"with_text\": 0}"));
  EXPECT_EQ(r.out.rfind("{\n  \"version\": 1,\n  \"files\": [\n", 0), 0u) << r.out;
}

TEST(Survey, MissingFileIsARowAndTheOthersAreStillSurveyed) {
  TempDir dir;
  WriteFile(dir.File("ok.rtf"), kWordPadDocument);
  ToolResult r = RunTool({"survey", dir.File("missing.rtf"), dir.File("ok.rtf")});
  EXPECT_EQ(r.status, kUsage) << r.err;
  EXPECT_TRUE(Contains(r.out, dir.File("missing.rtf") + "  error: cannot read '" +
                                  dir.File("missing.rtf") + "': No such file or directory\n"));
  EXPECT_EQ(Row(r.out, dir.File("ok.rtf")), Counts(kWordPadDocument) + " | WordPad");
  EXPECT_TRUE(
      Contains(r.out, "\n2 files: 1 import some text, 0 import nothing, 1 could not be read\n"));

  ToolResult json = RunTool({"survey", "--json", dir.File("missing.rtf")});
  EXPECT_EQ(json.status, kUsage);
  EXPECT_TRUE(Contains(json.out, "{\"file\": " + JsonString(dir.File("missing.rtf")) +
                                     ", \"error\": \"cannot read '" + dir.File("missing.rtf") +
                                     "': No such file or directory\"}"));
  EXPECT_TRUE(Contains(json.out, "\"failed\": 1"));
}

TEST(Survey, RefusesToWriteTheReportOverASurveyedDocument) {
  TempDir dir;
  WriteFile(dir.File("a.rtf"), kWordPadDocument);
  ToolResult r = RunTool({"survey", dir.path(), "-o", dir.File("a.rtf")});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err, "pendlow: refusing to write the output over the input file '" +
                       dir.File("a.rtf") + "'\n");
  EXPECT_EQ(ReadFile(dir.File("a.rtf")), kWordPadDocument);
  ToolResult ok = RunTool({"survey", dir.path(), "-o", dir.File("report.txt")});
  EXPECT_EQ(ok.status, 0) << ok.err;
  EXPECT_NE(ReadFile(dir.File("report.txt")).find("\n1 file: 1 import some text, 0 import nothing"),
            std::string::npos);
}

TEST(Survey, UsageMistakes) {
  ToolResult none = RunTool({"survey"});
  EXPECT_EQ(none.status, kUsage);
  EXPECT_EQ(none.err.rfind("pendlow: survey needs files or directories", 0), 0u) << none.err;
  ToolResult text = RunTool({"survey", "--text", "x.rtf"});
  EXPECT_EQ(text.status, kUsage);
  EXPECT_EQ(text.err.rfind("pendlow: --text does not apply to survey (--table or --json)", 0), 0u)
      << text.err;
}

TEST(Survey, ProgressOnATerminalIsWipedAtTheEnd) {
  if (!TerminalsAvailable()) GTEST_SKIP() << "no pseudo-terminals on this machine";
  TempDir dir;
  WriteFile(dir.File("one.rtf"), kWordPadDocument);
  WriteFile(dir.File("two.rtf"), kTextEditDocument);
  RunOptions options;
  options.stderrTerminal = true;
  ToolResult r = RunTool({"survey", dir.path()}, options);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.err, "\r\033[Kpendlow: surveying 1/2 " + dir.File("one.rtf")));
  EXPECT_TRUE(Contains(r.err, "\r\033[Kpendlow: surveying 2/2 " + dir.File("two.rtf")));
  EXPECT_EQ(r.err.substr(r.err.size() - 4), "\r\033[K");
}

}  // namespace
}  // namespace tooltest
