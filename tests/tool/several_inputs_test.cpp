// Several inputs with an output folder (-o DIR/, --out-dir DIR), and the format chosen by the
// output file's extension.
#include <gtest/gtest.h>

#include "tool_runner.h"

namespace tooltest {
namespace {

constexpr int kUsage = 2;

std::string Alone(const std::vector<std::string>& arguments) {
  ToolResult r = RunTool(arguments);
  EXPECT_EQ(r.status, 0) << r.err;
  return r.out;
}

TEST(SeveralInputs, EachGetsItsOwnFileInTheFolderWhichIsMadeWhenMissing) {
  TempDir dir;
  std::string folder = dir.File("out/html/");
  ToolResult r = RunTool(
      {"import", "--html", SamplePath("welcome.rtf"), SamplePath("codepages.rtf"), "-o", folder});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(ReadFile(folder + "welcome.html"),
            Alone({"import", "--html", SamplePath("welcome.rtf")}));
  EXPECT_EQ(ReadFile(folder + "codepages.html"),
            Alone({"import", "--html", SamplePath("codepages.rtf")}));
  EXPECT_EQ(dir.Entries(), std::vector<std::string>{"out"});
}

TEST(SeveralInputs, EveryFormatHasItsExtension) {
  struct Case {
    const char* option;
    const char* extension;
  };
  for (const Case& c : {Case{"--table", ".table.txt"}, Case{"--text", ".txt"},
                        Case{"--json", ".json"}, Case{"--html", ".html"}}) {
    TempDir dir;
    ToolResult r = RunTool({"import", c.option, "--out-dir", dir.path(), SamplePath("welcome.rtf"),
                            SamplePath("codepages.rtf")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(dir.Entries(), (std::vector<std::string>{std::string("codepages") + c.extension,
                                                       std::string("welcome") + c.extension}))
        << c.option;
    EXPECT_EQ(ReadFile(dir.File(std::string("welcome") + c.extension)),
              Alone({"import", c.option, SamplePath("welcome.rtf")}));
  }
  // The table is the default format.
  TempDir dir;
  ASSERT_EQ(RunTool({"import", "--out-dir", dir.path(), SamplePath("welcome.rtf")}).status, 0);
  EXPECT_EQ(dir.Entries(), std::vector<std::string>{"welcome.table.txt"});
  EXPECT_EQ(ReadFile(dir.File("welcome.table.txt")), Alone({"import", SamplePath("welcome.rtf")}));
}

TEST(SeveralInputs, AnExistingFolderWithoutSlashIsTheOutputFolder) {
  TempDir dir;
  ToolResult r = RunTool({"import", "--text", SamplePath("welcome.rtf"),
                          SamplePath("codepages.rtf"), "-o", dir.path()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(dir.Entries(), (std::vector<std::string>{"codepages.txt", "welcome.txt"}));
}

TEST(SeveralInputs, AFailingInputIsReportedAndTheOthersStillGo) {
  TempDir dir;
  std::string missing = dir.File("missing.rtf");
  ToolResult r = RunTool({"import", "--json", SamplePath("welcome.rtf"), missing,
                          SamplePath("codepages.rtf"), "--out-dir", dir.File("out")});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err, "pendlow: cannot read '" + missing + "': No such file or directory\n");
  EXPECT_EQ(ReadFile(dir.File("out/welcome.json")),
            Alone({"import", "--json", SamplePath("welcome.rtf")}));
  EXPECT_EQ(ReadFile(dir.File("out/codepages.json")),
            Alone({"import", "--json", SamplePath("codepages.rtf")}));
  EXPECT_EQ(dir.Entries(), std::vector<std::string>{"out"});
}

TEST(SeveralInputs, ABadJsonDocumentIsNamedAndTheOthersExported) {
  TempDir dir;
  WriteFile(dir.File("bad.json"), "{\"version\": 1, \"runs\": [{\"text\": 5}]}");
  ToolResult r = RunTool(
      {"export", dir.File("bad.json"), SamplePath("welcome.json"), "-o", dir.File("rtf") + "/"});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err.rfind("pendlow: " + dir.File("bad.json"), 0), 0u) << r.err;
  EXPECT_EQ(Lines(r.err).size(), 1u) << r.err;
  EXPECT_EQ(ReadFile(dir.File("rtf/welcome.rtf")), Alone({"export", SamplePath("welcome.json")}));
  EXPECT_EQ(ReadFile(dir.File("rtf/welcome.rtf")).rfind("{\\rtf1", 0), 0u);
}

TEST(SeveralInputs, TwoInputsOfTheSameNameDoNotOverwriteEachOther) {
  TempDir dir;
  WriteFile(dir.File("welcome.rtf"), ReadFile(SamplePath("codepages.rtf")));
  ToolResult r = RunTool({"import", "--text", SamplePath("welcome.rtf"), dir.File("welcome.rtf"),
                          "--out-dir", dir.File("out")});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err, "pendlow: " + dir.File("welcome.rtf") + ": not converted: its output '" +
                       dir.File("out") + "/welcome.txt' already holds that of '" +
                       SamplePath("welcome.rtf") + "'\n");
  EXPECT_EQ(ReadFile(dir.File("out/welcome.txt")),
            Alone({"import", "--text", SamplePath("welcome.rtf")}));
}

TEST(SeveralInputs, RoundtripReportsOneAfterAnother) {
  ToolResult r = RunTool({"roundtrip", SamplePath("welcome.rtf"), SamplePath("codepages.rtf")});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, Alone({"roundtrip", SamplePath("welcome.rtf")}) +
                       Alone({"roundtrip", SamplePath("codepages.rtf")}));
}

TEST(SeveralInputs, AnOutputFolderThatIsAFileIsAnError) {
  TempDir dir;
  WriteFile(dir.File("plain"), "x");
  ToolResult r = RunTool({"import", SamplePath("welcome.rtf"), "--out-dir", dir.File("plain")});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err.rfind("pendlow: cannot make the output folder '" + dir.File("plain") + "': ", 0),
            0u)
      << r.err;
  EXPECT_EQ(ReadFile(dir.File("plain")), "x");
}

TEST(OutputExtension, ChoosesTheFormatWhenNoOptionDoes) {
  TempDir dir;
  struct Case {
    const char* name;
    const char* format;
  };
  for (const Case& c :
       {Case{"a.json", "--json"}, Case{"a.txt", "--text"}, Case{"a.html", "--html"},
        Case{"a.HTM", "--html"}, Case{"a.out", "--table"}, Case{"json", "--table"}}) {
    ToolResult r = RunTool({"import", SamplePath("welcome.rtf"), "-o", dir.File(c.name)});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(ReadFile(dir.File(c.name)), Alone({"import", c.format, SamplePath("welcome.rtf")}))
        << c.name;
  }
  // An option wins over the extension.
  ToolResult r = RunTool({"import", "--text", SamplePath("welcome.rtf"), "-o", dir.File("b.json")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(ReadFile(dir.File("b.json")), Alone({"import", "--text", SamplePath("welcome.rtf")}));
  // A dot in a folder's name is no extension.
  ToolResult inFolder =
      RunTool({"import", SamplePath("welcome.rtf"), "-o", dir.File("x.json") + "/"});
  ASSERT_EQ(inFolder.status, 0) << inFolder.err;
  EXPECT_EQ(ReadFile(dir.File("x.json/welcome.table.txt")),
            Alone({"import", SamplePath("welcome.rtf")}));
}

}  // namespace
}  // namespace tooltest
