// Every way the tool refuses: its message on standard error and its exit status.
#include <gtest/gtest.h>
#include <sys/stat.h>
#if !defined(_WIN32)
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <algorithm>

#include <exception>

#include "tool_runner.h"
#include "support/text_checks.h"

namespace tooltest {
namespace {

using test_support::Contains;

constexpr int kUsage = 2;
constexpr int kLibrary = 3;

ToolResult ExportJson(const std::string& json) {
  RunOptions in;
  in.input = json;
  return RunTool({"export", "-"}, in);
}

// Usage errors name the problem, point at --help and show the short usage.
void ExpectUsageError(const std::vector<std::string>& args, const std::string& message) {
  ToolResult r = RunTool(args);
  EXPECT_EQ(r.status, kUsage) << r.err;
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(
      r.err.rfind("pendlow: " + message + " (see 'pendlow --help')\nusage: pendlow import", 0), 0u)
      << r.err;
}

TEST(Usage, CommandLineMistakes) {
  ExpectUsageError({}, "no command given");
  ExpectUsageError({"convert", "x.rtf"}, "unknown command 'convert'");
  ExpectUsageError({"import"}, "import needs a file name (or '-' for standard input)");
  ExpectUsageError({"import", "a.rtf", "b.rtf"},
                   "import of several files needs an output folder: -o DIR/ or --out-dir DIR");
  ExpectUsageError({"export", "a.json", "b.json", "-o", "x.rtf"},
                   "export of several files needs an output folder: -o DIR/ or --out-dir DIR");
  ExpectUsageError({"import", "a.rtf", "b.rtf", "-o", "-"},
                   "import of several files needs an output folder: -o DIR/ or --out-dir DIR");
  ExpectUsageError({"import", "a.rtf", "-", "--out-dir", "x"},
                   "standard input has no name to give its output in a folder");
  ExpectUsageError({"roundtrip", "a.rtf", "-"},
                   "standard input ('-') cannot be one of several inputs");
  ExpectUsageError({"roundtrip", "a.rtf", "b.rtf", "-o", "r.txt"},
                   "roundtrip of several files writes its reports to standard output");
  ExpectUsageError({"roundtrip", "a.rtf", "--out-dir", "x"},
                   "an output folder applies to import and export only");
  ExpectUsageError({"import", "a.rtf", "-o", "x/", "--out-dir", "y"},
                   "options -o and --out-dir conflict");
  ExpectUsageError({"import", "a.rtf", "--out-dir", "x", "--out-dir", "y"},
                   "option --out-dir given twice");
  ExpectUsageError({"info", "a.rtf"}, "info takes no file");
  ExpectUsageError({"import", "--frobnicate", "a.rtf"}, "unknown option '--frobnicate'");
  ExpectUsageError({"export", "--json", "a.json"}, "--json applies to import and survey only");
  ExpectUsageError({"import", "--json", "--html", "a.rtf"}, "options --json and --html conflict");
  ExpectUsageError({"import", "--skip-paragraphs", "a.rtf"},
                   "--skip-paragraphs applies to export and roundtrip only");
  ExpectUsageError({"import", "a.rtf", "-o"}, "option -o needs a value");
  ExpectUsageError({"import", "a.rtf", "--debug=yes"}, "option --debug takes no value");
  const std::string expected =
      "': expected a release such as 2024r4, a number such as 2021.03, or 'none'";
  for (const char* bad : {"twenty", "2021.03x", "2024r0", "24r4", "2024r", "2024r123", "r4",
                          "2024r4x", "2019r1.1.1"}) {
    ExpectUsageError({"info", "--host-version=" + std::string(bad)},
                     "invalid host version '" + std::string(bad) + expected);
  }
  ExpectUsageError({"info", "--host-version", "2019r1.1"},
                   "host version '2019r1.1' is a point release, which the host's version number "
                   "(2019.01 for 2019r1) cannot tell apart: give 2019r1");
}

TEST(Usage, HelpAndVersionSucceed) {
  ToolResult help = RunTool({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(Contains(help.out, "Exit status: 0 success; 1 roundtrip found differences; 2 usage"));
  EXPECT_TRUE(Contains(help.out, "  import FILE "));
  EXPECT_EQ(help.err, "");
  ToolResult version = RunTool({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("pendlow ", 0), 0u);
  EXPECT_TRUE(Contains(version.out, "library: "));
  // Help wins over an otherwise incomplete command line.
  EXPECT_EQ(RunTool({"import", "-h"}).status, 0);
}

TEST(Input, MissingFile) {
  ToolResult r = RunTool({"import", "/nonexistent/dir/file.rtf"});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err, "pendlow: cannot read '/nonexistent/dir/file.rtf': No such file or directory\n");
  EXPECT_EQ(r.out, "");
}

TEST(Input, DirectoryInsteadOfFile) {
  TempDir dir;
  ToolResult r = RunTool({"roundtrip", dir.path()});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err, "pendlow: cannot read '" + dir.path() + "': Is a directory\n");
}

TEST(Input, UnreadableFile) {
#if defined(_WIN32)
  GTEST_SKIP() << "Windows: file permissions are access lists there; the C runtime's chmod only "
                  "sets the read-only attribute, which does not stop reads";
#else
  if (::geteuid() == 0) GTEST_SKIP() << "running as root: file permissions do not stop reads";
#endif
  TempDir dir;
  WriteFile(dir.File("secret.rtf"), "{\\rtf1 x}");
  ::chmod(dir.File("secret.rtf").c_str(), 0);
  ToolResult r = RunTool({"import", dir.File("secret.rtf")});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err, "pendlow: cannot read '" + dir.File("secret.rtf") + "': Permission denied\n");
}

TEST(Input, MissingJsonFileForExport) {
  ToolResult r = RunTool({"export", "missing.json"});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err, "pendlow: cannot read 'missing.json': No such file or directory\n");
}

struct JsonCase {
  const char* name;
  const char* json;
  const char* message;  // what follows "pendlow: <stdin>:"
};

class BadJson : public ::testing::TestWithParam<JsonCase> {};

TEST_P(BadJson, IsRefusedWithItsPlace) {
  ToolResult r = ExportJson(GetParam().json);
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err, std::string("pendlow: <stdin>:") + GetParam().message + "\n");
  EXPECT_EQ(r.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    Syntax, BadJson,
    ::testing::Values(
        JsonCase{"Empty", "", "1:1: invalid JSON: the document is empty; expected a JSON value"},
        JsonCase{"MissingComma", "{\"version\": 1\n \"runs\": []}",
                 "2:2: invalid JSON: unexpected character '\"'; expected ',' or '}' in an "
                 "object"},
        JsonCase{"TrailingComma", "{\"version\": 1, \"runs\": [1,]}",
                 "1:27: invalid JSON: unexpected character ']'; expected a JSON value"},
        JsonCase{"Unterminated", "{\"version\": 1, \"runs\": [{\"text\": \"abc",
                 "1:34: invalid JSON: unterminated string"},
        JsonCase{"BadEscape", "{\"version\": 1, \"runs\": [{\"text\": \"a\\qb\"}]}",
                 "1:36: invalid JSON: invalid escape sequence '\\q' in a string"},
        JsonCase{"LoneSurrogate", "{\"version\": 1, \"runs\": [{\"text\": \"\\ud83d\"}]}",
                 "1:35: invalid JSON: unpaired high surrogate in \\u escape"},
        JsonCase{"InvalidUtf8", "{\"version\": 1, \"runs\": [{\"text\": \"\xC3\x28\"}]}",
                 "1:35: invalid JSON: the document is not valid UTF-8"},
        JsonCase{"ControlCharacter", "{\"version\": 1, \"runs\": [{\"text\": \"a\tb\"}]}",
                 "1:36: invalid JSON: unescaped control character U+0009 in a string"},
        JsonCase{"LeadingZero", "{\"version\": 01, \"runs\": []}",
                 "1:13: invalid JSON: a number must not have leading zeros"},
        JsonCase{"Garbage", "{\"version\": 1, \"runs\": []} x",
                 "1:28: invalid JSON: unexpected character 'x' after the end of the JSON value"},
        JsonCase{"DuplicateKey", "{\"version\": 1, \"version\": 1, \"runs\": []}",
                 "1:16: invalid JSON: duplicate member name \"version\""},
        JsonCase{"BadLiteral", "{\"version\": 1, \"runs\": [{\"text\": \"a\", \"bold\": tru}]}",
                 "1:47: invalid JSON: invalid literal; expected true"},
        JsonCase{"NonAsciiColumn", "{\"version\": 1, \"runs\": [{\"text\": \"\xC3\xA9\xC3\xA9\" x",
                 "1:39: invalid JSON: unexpected character 'x'; expected ',' or '}' in an "
                 "object"}),
    [](const ::testing::TestParamInfo<JsonCase>& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Schema, BadJson,
    ::testing::Values(
        JsonCase{"NotAnObject", "[]",
                 "1:1: $: expected an object with \"version\" and \"runs\", found an array"},
        JsonCase{"NoVersion", "{\"runs\": []}",
                 "1:1: $: missing \"version\" (this tool reads version 1)"},
        JsonCase{"FutureVersion", "{\"version\": 2, \"runs\": []}",
                 "1:13: $.version: unsupported version 2 (this tool reads version 1)"},
        JsonCase{"NoRuns", "{\"version\": 1}", "1:1: $: missing \"runs\""},
        JsonCase{"RunsNotArray", "{\"version\": 1, \"runs\": {}}",
                 "1:24: $.runs: expected an array of runs, found an object"},
        JsonCase{"UnknownTopMember", "{\"version\": 1, \"runs\": [], \"colour\": 1}",
                 "1:28: $: unknown member \"colour\" in the document (known: paragraphs, runs, "
                 "version)"},
        JsonCase{"RunWithoutText", "{\"version\": 1,\n \"runs\": [{\"bold\": true}]}",
                 "2:11: $.runs[0]: a run needs a \"text\" member"},
        JsonCase{"SizeNotInteger",
                 "{\"version\": 1, \"runs\": [{\"text\": \"a\", \"size\": 12.5}]}",
                 "1:47: $.runs[0].size: expected an integer, found 12.5 (not a whole number in "
                 "64 bits)"},
        JsonCase{"SizeString", "{\"version\": 1, \"runs\": [{\"text\": \"a\", \"size\": \"12\"}]}",
                 "1:47: $.runs[0].size: expected an integer, found a string"},
        JsonCase{"BadColour",
                 "{\"version\": 1, \"runs\": [{\"text\": \"a\"},\n"
                 "  {\"text\": \"b\", \"color\": \"red\"}]}",
                 "2:26: $.runs[1].color: expected a colour \"#RRGGBB\", found \"red\""},
        JsonCase{"AlphaTooBig",
                 "{\"version\": 1, \"runs\": [{\"text\": \"a\", \"color\": \"#000000\", "
                 "\"alpha\": 256}]}",
                 "1:68: $.runs[0].alpha: expected 0 to 255, found 256"},
        JsonCase{"BoldNotBoolean", "{\"version\": 1, \"runs\": [{\"text\": \"a\", \"bold\": 1}]}",
                 "1:47: $.runs[0].bold: expected true or false, found a number"},
        JsonCase{"FontNumber", "{\"version\": 1, \"runs\": [{\"text\": \"a\", \"font\": 3}]}",
                 "1:47: $.runs[0].font: expected a string or null, found a number"},
        JsonCase{"MisspeltRunMember",
                 "{\"version\": 1, \"runs\": [{\"text\": \"a\", \"colour\": 1}]}",
                 "1:39: $.runs[0]: unknown member \"colour\" in a run (known: alpha, bold, color, "
                 "font, italic, size, text, underline)"},
        JsonCase{"ParagraphWithoutAlignment",
                 "{\"version\": 1, \"runs\": [{\"text\": \"a\"}], \"paragraphs\": [{}]}",
                 "1:56: $.paragraphs[0]: a paragraph needs an \"alignment\""},
        JsonCase{"TooManyParagraphs",
                 "{\"version\": 1, \"runs\": [{\"text\": \"a\"}],\n \"paragraphs\": "
                 "[{\"alignment\": 1}, {\"alignment\": 2}]}",
                 "2:35: $.paragraphs[1]: the runs' text has only 1 paragraph"},
        JsonCase{"ParagraphStartMismatch",
                 "{\"version\": 1, \"runs\": [{\"text\": \"ab\\rcd\"}],\n \"paragraphs\": "
                 "[{\"alignment\": 1}, {\"start\": 2, \"alignment\": 2}]}",
                 "2:45: $.paragraphs[1].start: paragraph 1 starts at 3 in the runs' text, not "
                 "at 2"},
        JsonCase{"ParagraphEndMismatch",
                 "{\"version\": 1, \"runs\": [{\"text\": \"ab\\rcd\"}],\n \"paragraphs\": "
                 "[{\"end\": 3, \"alignment\": 1}]}",
                 "2:25: $.paragraphs[0].end: paragraph 0 ends at 2 in the runs' text, not at 3"}),
    [](const ::testing::TestParamInfo<JsonCase>& info) { return info.param.name; });

TEST(Json, DeepNestingIsRefusedNotFollowed) {
  std::string json = "{\"version\": 1, \"runs\": " + std::string(100000, '[');
  ToolResult r = ExportJson(json);
  EXPECT_EQ(r.status, kUsage);
  EXPECT_TRUE(Contains(r.err, "invalid JSON: nesting deeper than 512 levels"));
}

TEST(Json, ErrorNamesTheFile) {
  TempDir dir;
  WriteFile(dir.File("doc.json"), "{\"version\": 1,\n\n   \"runs\": 7}");
  ToolResult r = RunTool({"export", dir.File("doc.json")});
  EXPECT_EQ(r.status, kUsage);
  EXPECT_EQ(r.err, "pendlow: " + dir.File("doc.json") +
                       ":3:12: $.runs: expected an array of runs, found a number\n");
}

TEST(Library, MissingLibrary) {
  ToolResult r =
      RunTool({"import", "--library", "/nonexistent/libPendlow.so", SamplePath("welcome.rtf")});
  EXPECT_EQ(r.status, kLibrary);
  EXPECT_EQ(r.err,
            "pendlow: cannot load library '/nonexistent/libPendlow.so': No such file or "
            "directory\n");
  EXPECT_EQ(r.out, "");
}

TEST(Library, DirectoryAsLibrary) {
  TempDir dir;
  ToolResult r = RunTool({"info", "--library", dir.path()});
  EXPECT_EQ(r.status, kLibrary);
  EXPECT_EQ(r.err, "pendlow: cannot load library '" + dir.path() + "': Is a directory\n");
}

TEST(Library, FileThatIsNotALibrary) {
  TempDir dir;
  WriteFile(dir.File("libfake.so"), "this is not a shared object\n");
  ToolResult r =
      RunTool({"import", "--library", dir.File("libfake.so"), SamplePath("welcome.rtf")});
  EXPECT_EQ(r.status, kLibrary);
  EXPECT_EQ(
      r.err.rfind("pendlow: cannot use the library: cannot load " + dir.File("libfake.so"), 0), 0u)
      << r.err;
  EXPECT_EQ(Lines(r.err).size(), 1u);
}

TEST(Library, LibraryWithoutTheEntryPoint) {
#if defined(_WIN32)
  // The C++ runtime is linked into the programs there: take the simulated host's stand-in
  // plug-in built without its entry point.
  std::string other = SIMHOST_FAKE_PLUGIN_WITHOUT_ENTRY_PATH;
#else
  // The C++ runtime this test links is a real shared library without REALPluginMain.
  Dl_info info{};
  ASSERT_NE(::dladdr(reinterpret_cast<void*>(&std::set_terminate), &info), 0);
  ASSERT_NE(info.dli_fname, nullptr);
  std::string other = info.dli_fname;
#endif
  ToolResult r = RunTool({"export", "--library", other, SamplePath("welcome.json")});
  EXPECT_EQ(r.status, kLibrary);
  EXPECT_EQ(r.err, "pendlow: cannot use the library: " + other + " lacks REALPluginMain\n");
  EXPECT_EQ(r.out, "");
}

TEST(Library, DefaultIsTheLibraryBesideTheTool) {
  // A copy of the tool in a directory without a library finds none.
  TempDir dir;
#if defined(_WIN32)
  std::string copy = dir.File("pendlow.exe");
  WriteFile(copy, ReadFile(ToolPath()));
  const std::string library = "Pendlow.dll";
#else
  std::string copy = dir.File("pendlow");
  WriteFile(copy, ReadFile(ToolPath()));
  ASSERT_EQ(::chmod(copy.c_str(), 0755), 0);
  const std::string library = "libPendlow.so";
#endif
  RunOptions options;
  options.program = copy;
  ToolResult r = RunTool({"info"}, options);
  EXPECT_EQ(r.status, kLibrary);
#if defined(_WIN32)
  // Windows names the running program with backslashes.
  std::replace(r.err.begin(), r.err.end(), '\\', '/');
#endif
  EXPECT_EQ(r.err, "pendlow: cannot load library '" + dir.File(library) +
                       "': No such file or directory\n");
}

}  // namespace
}  // namespace tooltest
