// -o FILE: the output goes to a temporary file beside the target and is renamed over it; the
// input is never written to.
#include <gtest/gtest.h>
#include <sys/stat.h>
#if defined(_WIN32)
#include <windows.h>
#else
#include <unistd.h>
#endif

#include "tool_runner.h"

#if defined(__APPLE__)
#define st_mtim st_mtimespec  // the same timespec under macOS's name
#endif

namespace tooltest {
namespace {

struct stat StatOf(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
  return info;
}

// A second name (hard link) for a file.
bool Link(const std::string& existing, const std::string& name) {
#if defined(_WIN32)
  return CreateHardLinkA(name.c_str(), existing.c_str(), nullptr) != 0;
#else
  return ::link(existing.c_str(), name.c_str()) == 0;
#endif
}

// Modification time in nanoseconds (Windows' C runtime keeps whole seconds).
long long ModifiedAt(const struct stat& info) {
#if defined(_WIN32)
  return static_cast<long long>(info.st_mtime) * 1000000000LL;
#else
  return static_cast<long long>(info.st_mtim.tv_sec) * 1000000000LL + info.st_mtim.tv_nsec;
#endif
}

TEST(OutputFile, HoldsExactlyWhatStandardOutputWouldGet) {
  TempDir dir;
  for (const char* format : {"--table", "--json", "--text", "--html"}) {
    std::string target = dir.File(std::string("out") + format);
    ToolResult toFile = RunTool({"import", format, SamplePath("welcome.rtf"), "-o", target});
    ToolResult toStdout = RunTool({"import", format, SamplePath("welcome.rtf")});
    ASSERT_EQ(toFile.status, 0) << toFile.err;
    EXPECT_EQ(toFile.out, "");
    EXPECT_EQ(ReadFile(target), toStdout.out) << format;
  }
  ToolResult rtf = RunTool({"export", SamplePath("welcome.json"), "--output", dir.File("w.rtf")});
  ASSERT_EQ(rtf.status, 0) << rtf.err;
  EXPECT_EQ(ReadFile(dir.File("w.rtf")), RunTool({"export", SamplePath("welcome.json")}).out);
  ToolResult report =
      RunTool({"roundtrip", SamplePath("welcome.rtf"), "--output=" + dir.File("report.txt")});
  EXPECT_EQ(report.status, 0);
  EXPECT_NE(ReadFile(dir.File("report.txt")).find("no differences"), std::string::npos);
}

TEST(OutputFile, LeavesTheInputUntouchedAndNoTemporaryFiles) {
  TempDir dir;
  std::string input = dir.File("doc.rtf");
  std::string original = ReadFile(SamplePath("welcome.rtf"));
  WriteFile(input, original);
  ::chmod(input.c_str(), 0444);
  struct stat before = StatOf(input);
  ToolResult r = RunTool({"import", "--json", input, "-o", dir.File("doc.json")});
  ASSERT_EQ(r.status, 0) << r.err;
  ToolResult rt = RunTool({"roundtrip", input});
  EXPECT_EQ(rt.status, 0);
  struct stat after = StatOf(input);
  EXPECT_EQ(ReadFile(input), original);
  EXPECT_EQ(ModifiedAt(after), ModifiedAt(before));
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(dir.Entries(), (std::vector<std::string>{"doc.json", "doc.rtf"}));
}

TEST(OutputFile, ReplacesTheTargetByRenameNotInPlace) {
  // A second name for the old file keeps the old content: the new content arrived in a new
  // file that took the target's name, so nobody ever saw a half-written target.
  TempDir dir;
  std::string target = dir.File("out.txt");
  WriteFile(target, "old content\n");
#if defined(_WIN32)
  // Windows keeps one mode bit, read-only, and a read-only target is refused there (see
  // ReadOnlyTargetIsRefusedOnWindows).
  const unsigned keptMode = StatOf(target).st_mode & 07777;
#else
  ::chmod(target.c_str(), 0640);
  const unsigned keptMode = 0640;
#endif
  ASSERT_TRUE(Link(target, dir.File("old-link.txt")));
  ToolResult r = RunTool({"import", "--text", SamplePath("welcome.rtf"), "-o", target});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(ReadFile(dir.File("old-link.txt")), "old content\n");
  EXPECT_EQ(ReadFile(target), RunTool({"import", "--text", SamplePath("welcome.rtf")}).out);
  EXPECT_EQ(StatOf(target).st_mode & 07777, keptMode);  // the replaced file's mode is kept
  EXPECT_EQ(dir.Entries(), (std::vector<std::string>{"old-link.txt", "out.txt"}));
}

#if defined(_WIN32)
TEST(OutputFile, ReadOnlyTargetIsRefusedOnWindows) {
  TempDir dir;
  std::string target = dir.File("out.txt");
  WriteFile(target, "old content\n");
  ASSERT_EQ(::chmod(target.c_str(), _S_IREAD), 0);
  ToolResult r = RunTool({"import", "--text", SamplePath("welcome.rtf"), "-o", target});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "pendlow: cannot write '" + target + "': Permission denied\n");
  EXPECT_EQ(ReadFile(target), "old content\n");
  EXPECT_EQ(dir.Entries(), std::vector<std::string>{"out.txt"});
}
#endif

TEST(OutputFile, NewFileGetsTheUsualMode) {
#if defined(_WIN32)
  GTEST_SKIP() << "Windows has no umask and no mode bits beyond read-only";
#endif
  TempDir dir;
  mode_t mask = ::umask(022);
  ToolResult r = RunTool({"import", "--text", SamplePath("welcome.rtf"), "-o", dir.File("n.txt")});
  ::umask(mask);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(StatOf(dir.File("n.txt")).st_mode & 07777, 0644u);
}

#if defined(_WIN32)
TEST(OutputFile, SymbolicLinkKeepsPointingAtTheUpdatedFile) {
  GTEST_SKIP() << "Windows: symbolic links need a privilege and are not followed by -o there";
}
#else
TEST(OutputFile, SymbolicLinkKeepsPointingAtTheUpdatedFile) {
  TempDir dir;
  WriteFile(dir.File("real.txt"), "old\n");
  ASSERT_EQ(::symlink("real.txt", dir.File("link.txt").c_str()), 0);
  ToolResult r =
      RunTool({"import", "--text", SamplePath("codepages.rtf"), "-o", dir.File("link.txt")});
  ASSERT_EQ(r.status, 0) << r.err;
  struct stat info {};
  ASSERT_EQ(::lstat(dir.File("link.txt").c_str(), &info), 0);
  EXPECT_TRUE(S_ISLNK(info.st_mode));
  EXPECT_EQ(ReadFile(dir.File("real.txt")),
            RunTool({"import", "--text", SamplePath("codepages.rtf")}).out);
}
#endif

TEST(OutputFile, RefusesToWriteOverTheInput) {
  TempDir dir;
  std::string input = dir.File("doc.rtf");
  std::string original = ReadFile(SamplePath("welcome.rtf"));
  WriteFile(input, original);
  ToolResult r = RunTool({"import", "--text", input, "-o", input});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "pendlow: refusing to write the output over the input file '" + input + "'\n");
  EXPECT_EQ(ReadFile(input), original);
  // Also through another name for the same file.
  ASSERT_TRUE(Link(input, dir.File("alias.rtf")));
  ToolResult alias = RunTool({"import", "--text", input, "-o", dir.File("alias.rtf")});
  EXPECT_EQ(alias.status, 2);
  EXPECT_EQ(ReadFile(input), original);
}

TEST(OutputFile, UnwritablePlaceIsAnErrorAndLeavesNothingBehind) {
  TempDir dir;
  ToolResult r = RunTool({"import", SamplePath("welcome.rtf"), "-o", dir.File("no/such/dir.txt")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "pendlow: cannot write '" + dir.File("no/such/dir.txt") +
                       "': No such file or directory\n");
  ToolResult isDir = RunTool({"import", SamplePath("welcome.rtf"), "-o", dir.path()});
  EXPECT_EQ(isDir.status, 2);
  EXPECT_EQ(isDir.err, "pendlow: cannot write '" + dir.path() + "': Is a directory\n");
  EXPECT_TRUE(dir.Entries().empty());
}

TEST(OutputFile, FailedConversionLeavesAnExistingTargetAlone) {
  TempDir dir;
  WriteFile(dir.File("out.rtf"), "previous\n");
  RunOptions in;
  in.input = "{\"version\": 1, \"runs\": [{\"text\": 5}]}";
  ToolResult r = RunTool({"export", "-", "-o", dir.File("out.rtf")}, in);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(ReadFile(dir.File("out.rtf")), "previous\n");
  EXPECT_EQ(dir.Entries(), (std::vector<std::string>{"out.rtf"}));
}

TEST(OutputFile, RelativeNameLandsInTheWorkingDirectory) {
  TempDir dir;
  RunOptions options;
  options.workingDirectory = dir.path();
  ToolResult r = RunTool({"import", "--json", SamplePath("welcome.rtf"), "-o", "w.json"}, options);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(dir.Entries(), (std::vector<std::string>{"w.json"}));
}

}  // namespace
}  // namespace tooltest
