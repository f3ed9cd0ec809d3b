// -o FILE: the output goes to a temporary file beside the target and is renamed over it; the
// input is never written to. Devices and FIFOs are written in place, and "-" is standard output.
#include <gtest/gtest.h>
#include <sys/stat.h>
#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/types.h>  // makedev (macOS)
#include <unistd.h>
#if defined(__linux__)
#include <sys/sysmacros.h>  // makedev (glibc)
#endif

#include <cerrno>
#include <cstring>
#include <thread>
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
  ToolResult r = RunWithInput({"export", "-", "-o", dir.File("out.rtf")},
                              "{\"version\": 1, \"runs\": [{\"text\": 5}]}");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(ReadFile(dir.File("out.rtf")), "previous\n");
  EXPECT_EQ(dir.Entries(), (std::vector<std::string>{"out.rtf"}));
}

TEST(OutputFile, RelativeNameLandsInTheWorkingDirectory) {
  TempDir dir;
  ToolResult r = RunIn(dir.path(), {"import", "--json", SamplePath("welcome.rtf"), "-o", "w.json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(dir.Entries(), (std::vector<std::string>{"w.json"}));
}

TEST(OutputFile, DashIsStandardOutput) {
  TempDir dir;
  ToolResult r = RunIn(dir.path(), {"import", "--text", SamplePath("welcome.rtf"), "-o", "-"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, RunTool({"import", "--text", SamplePath("welcome.rtf")}).out);
  EXPECT_NE(r.out, "");
  EXPECT_TRUE(dir.Entries().empty());  // no file named "-"
}

#if defined(_WIN32)
TEST(OutputFile, NulDeviceIsWrittenInPlace) {
  TempDir dir;
  ToolResult r = RunIn(dir.path(), {"import", "--text", SamplePath("welcome.rtf"), "-o", "NUL"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "");
  EXPECT_TRUE(dir.Entries().empty());  // no temporary file left beside it, no file "NUL"
}
#else
// Device nodes and FIFOs exist only on POSIX systems; Windows' devices are checked above.

// A character device made in a temporary folder, so that a mistake never touches /dev.
// Making one needs root (CAP_MKNOD); "" with the reason in `why` when it cannot be made.
std::string MakeCharDevice(const TempDir& dir, const char* name, unsigned minor, std::string* why) {
  if (::geteuid() != 0) {
    *why = "making a device node needs root";
    return "";
  }
  std::string path = dir.File(name);
  if (::mknod(path.c_str(), S_IFCHR | 0666, makedev(1, minor)) != 0) {
    *why = std::string("mknod failed: ") + std::strerror(errno);
    return "";
  }
  return path;
}

TEST(OutputFile, DeviceIsWrittenInPlaceNotReplaced) {
  TempDir dir;
  std::string why;
  std::string null = MakeCharDevice(dir, "null", 3, &why);
  if (null.empty()) GTEST_SKIP() << why;
  ToolResult r = RunTool({"import", "--text", SamplePath("welcome.rtf"), "-o", null});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "");
  struct stat info {};
  ASSERT_EQ(::lstat(null.c_str(), &info), 0);
  EXPECT_TRUE(S_ISCHR(info.st_mode));
  EXPECT_EQ(info.st_rdev, makedev(1, 3));
  EXPECT_EQ(dir.Entries(), std::vector<std::string>{"null"});
}

TEST(OutputFile, WriteErrorOfADeviceIsReported) {
  // The full device refuses every write with ENOSPC. Without root a node of our own cannot be
  // made; the system's own is then safe to use, as nobody but root could replace it.
  TempDir dir;
  std::string why;
  std::string full = MakeCharDevice(dir, "full", 7, &why);
  if (full.empty()) {
    if (::geteuid() == 0 || ::access("/dev/full", W_OK) != 0) {
      GTEST_SKIP() << why << "; no writable /dev/full either";
    }
    full = "/dev/full";
  }
  ToolResult r = RunTool({"import", "--json", SamplePath("welcome.rtf"), "-o", full});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "pendlow: cannot write '" + full + "': No space left on device\n");
  struct stat info {};
  ASSERT_EQ(::lstat(full.c_str(), &info), 0);
  EXPECT_TRUE(S_ISCHR(info.st_mode));
  EXPECT_EQ(info.st_rdev, makedev(1, 7));
}

// Runs the tool with `arguments` while reading the FIFO; what arrived through it.
// The test holds both ends while the tool runs, so neither side waits for the other to open,
// and closing its own writer afterwards ends the reading even if the tool never wrote.
std::string ReadFifoWhileRunning(const std::string& fifo, const std::vector<std::string>& arguments,
                                 ToolResult* result) {
  int readEnd = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_GE(readEnd, 0) << std::strerror(errno);
  int ownWriter = ::open(fifo.c_str(), O_WRONLY | O_CLOEXEC);
  EXPECT_GE(ownWriter, 0) << std::strerror(errno);
  if (readEnd < 0 || ownWriter < 0) return "";
  EXPECT_EQ(::fcntl(readEnd, F_SETFL, ::fcntl(readEnd, F_GETFL) & ~O_NONBLOCK), 0);
  std::string received;
  std::thread reader([&] {
    char buffer[4096];
    ssize_t got;
    while ((got = ::read(readEnd, buffer, sizeof buffer)) != 0) {
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) break;
      received.append(buffer, static_cast<size_t>(got));
    }
  });
  *result = RunTool(arguments);
  ::close(ownWriter);
  reader.join();
  ::close(readEnd);
  return received;
}

TEST(OutputFile, FifoIsWrittenInPlaceAndGetsTheData) {
  TempDir dir;
  std::string fifo = dir.File("pipe");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0) << std::strerror(errno);
  ToolResult r;
  std::string received =
      ReadFifoWhileRunning(fifo, {"import", "--json", SamplePath("welcome.rtf"), "-o", fifo}, &r);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(received, RunTool({"import", "--json", SamplePath("welcome.rtf")}).out);
  EXPECT_NE(received, "");
  struct stat info {};
  ASSERT_EQ(::lstat(fifo.c_str(), &info), 0);
  EXPECT_TRUE(S_ISFIFO(info.st_mode));
  EXPECT_EQ(dir.Entries(), std::vector<std::string>{"pipe"});
}

TEST(OutputFile, SymbolicLinkToAFifoWritesThroughBoth) {
  TempDir dir;
  std::string fifo = dir.File("pipe");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0) << std::strerror(errno);
  ASSERT_EQ(::symlink("pipe", dir.File("link").c_str()), 0);
  ToolResult r;
  std::string received = ReadFifoWhileRunning(
      fifo, {"import", "--text", SamplePath("welcome.rtf"), "-o", dir.File("link")}, &r);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(received, RunTool({"import", "--text", SamplePath("welcome.rtf")}).out);
  struct stat info {};
  ASSERT_EQ(::lstat(dir.File("link").c_str(), &info), 0);
  EXPECT_TRUE(S_ISLNK(info.st_mode));
  ASSERT_EQ(::lstat(fifo.c_str(), &info), 0);
  EXPECT_TRUE(S_ISFIFO(info.st_mode));
  EXPECT_EQ(dir.Entries(), (std::vector<std::string>{"link", "pipe"}));
}
#endif  // _WIN32

}  // namespace
}  // namespace tooltest
