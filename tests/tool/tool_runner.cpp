#include "tool_runner.h"

#if !defined(_WIN32)  // Windows: tool_runner_win.cpp
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#if !defined(_WIN32)
extern char** environ;
#endif

namespace tooltest {

#if !defined(_WIN32)  // the POSIX process runner and temporary directories

namespace {

// A pseudo-terminal pair: the parent reads the master, the child gets the slave.
// The parent opens the slave before forking, so that from the fork on some process always
// holds it: a master without any slave reports a hang-up at once.
struct Terminal {
  int master = -1;
  int slave = -1;
};

Terminal OpenTerminal() {
  Terminal t;
  t.master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (t.master < 0 || ::grantpt(t.master) != 0 || ::unlockpt(t.master) != 0) {
    throw std::runtime_error("cannot open a pseudo-terminal");
  }
  t.slave = ::open(::ptsname(t.master), O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (t.slave < 0) throw std::runtime_error("cannot open the pseudo-terminal's slave");
  return t;
}

void RemoveTree(const std::string& path) {
  DIR* dir = ::opendir(path.c_str());
  if (dir != nullptr) {
    while (dirent* entry = ::readdir(dir)) {
      std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      std::string child = path + "/" + name;
      struct stat info {};
      if (::lstat(child.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        RemoveTree(child);
      } else {
        ::unlink(child.c_str());
      }
    }
    ::closedir(dir);
  }
  ::rmdir(path.c_str());
}

}  // namespace

bool TerminalsAvailable() {
  try {
    Terminal t = OpenTerminal();
    ::close(t.master);
    ::close(t.slave);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

ToolResult RunTool(const std::vector<std::string>& arguments, const RunOptions& options) {
  int in[2], out[2], err[2];
  if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) {
    throw std::runtime_error("pipe failed");
  }
  Terminal errTerminal, outTerminal;
  if (options.stderrTerminal) errTerminal = OpenTerminal();
  if (options.stdoutTerminal) outTerminal = OpenTerminal();

  std::vector<std::string> args = {options.program.empty() ? ToolPath() : options.program};
#ifdef PENDLOW_TOOL_EMULATOR
  // A cross build's programs start only through the emulator that runs the tests.
  const std::vector<std::string> emulator = PENDLOW_TOOL_EMULATOR;
  args.insert(args.begin(), emulator.begin(), emulator.end());
#endif
  args.insert(args.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  // The test's environment, with "NAME=VALUE" entries replacing or adding and "-NAME"
  // entries removing a variable.
  std::vector<std::string> env;
  for (char** e = environ; *e != nullptr; ++e) env.emplace_back(*e);
  for (const std::string& change : options.environment) {
    bool remove = !change.empty() && change[0] == '-';
    std::string name = remove ? change.substr(1) : change.substr(0, change.find('='));
    env.erase(std::remove_if(env.begin(), env.end(),
                             [&](const std::string& e) { return e.rfind(name + "=", 0) == 0; }),
              env.end());
    if (!remove) env.push_back(change);
  }
  std::vector<char*> envp;
  for (std::string& e : env) envp.push_back(e.data());
  envp.push_back(nullptr);

  pid_t pid = ::fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    ::dup2(in[0], 0);
    ::dup2(options.stdoutTerminal ? outTerminal.slave : out[1], 1);
    ::dup2(options.stderrTerminal ? errTerminal.slave : err[1], 2);
    if (!options.workingDirectory.empty() && ::chdir(options.workingDirectory.c_str()) != 0) {
      ::_exit(126);
    }
    ::execve(argv[0], argv.data(), envp.data());
    ::_exit(127);
  }
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  if (options.stdoutTerminal) ::close(outTerminal.slave);
  if (options.stderrTerminal) ::close(errTerminal.slave);

  ToolResult result;
  int outFd = options.stdoutTerminal ? outTerminal.master : out[0];
  int errFd = options.stderrTerminal ? errTerminal.master : err[0];
  if (options.stdoutTerminal) ::close(out[0]);
  if (options.stderrTerminal) ::close(err[0]);
  int inFd = in[1];
  size_t written = 0;
  if (options.input.empty()) {
    ::close(inFd);
    inFd = -1;
  } else {
    ::fcntl(inFd, F_SETFL, O_NONBLOCK);
  }
  ::signal(SIGPIPE, SIG_IGN);

  // A terminal's master never reports end of file while the child lives; it reports an error
  // once the last slave descriptor is gone, so poll until both readers are finished.
  bool outOpen = true, errOpen = true;
  char buffer[65536];
  while (outOpen || errOpen || inFd >= 0) {
    std::vector<pollfd> fds;
    if (outOpen) fds.push_back({outFd, POLLIN, 0});
    if (errOpen) fds.push_back({errFd, POLLIN, 0});
    if (inFd >= 0) fds.push_back({inFd, POLLOUT, 0});
    int ready = ::poll(fds.data(), fds.size(), 120000);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) {
      ::kill(pid, SIGKILL);  // hung: the test fails on the status instead of waiting forever
      break;
    }
    for (const pollfd& p : fds) {
      if (p.revents == 0) continue;
      if (p.fd == inFd) {
        ssize_t n = ::write(inFd, options.input.data() + written, options.input.size() - written);
        if (n > 0) written += static_cast<size_t>(n);
        if (n < 0 && errno != EAGAIN) written = options.input.size();
        if (written >= options.input.size()) {
          ::close(inFd);
          inFd = -1;
        }
        continue;
      }
      ssize_t n = ::read(p.fd, buffer, sizeof buffer);
      if (n > 0) {
        (p.fd == outFd ? result.out : result.err).append(buffer, static_cast<size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        (p.fd == outFd ? outOpen : errOpen) = false;
      }
    }
  }
  if (inFd >= 0) ::close(inFd);
  ::close(outFd);
  ::close(errFd);
  int status = 0;
  ::waitpid(pid, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

TempDir::TempDir() {
  char pattern[] = "/tmp/pendlow-tool-test-XXXXXX";
  if (::mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  RemoveTree(path_);
}

std::vector<std::string> TempDir::Entries() const {
  std::vector<std::string> names;
  DIR* dir = ::opendir(path_.c_str());
  if (dir == nullptr) return names;
  while (dirent* entry = ::readdir(dir)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  ::closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

#endif  // !_WIN32

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
  if (!out) throw std::runtime_error("cannot write " + path);
}

std::string ToolPath() {
  return PENDLOW_TOOL_PATH;
}
std::string LibraryPath() {
  return PENDLOW_LIBRARY_PATH;
}
std::string SamplePath(const std::string& name) {
  return std::string(PENDLOW_SOURCE_DIR) + "/samples/" + name;
}
std::string CorpusPath(const std::string& name) {
  return std::string(PENDLOW_CORPUS_DIR) + "/" + name;
}

ToolResult RunWithInput(const std::vector<std::string>& arguments, const std::string& input) {
  RunOptions options;
  options.input = input;
  return RunTool(arguments, options);
}

ToolResult RunOnStandardInput(const std::string& command, const std::string& input,
                              const std::vector<std::string>& options) {
  std::vector<std::string> arguments = {command};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.push_back("-");
  return RunWithInput(arguments, input);
}

ToolResult RunIn(const std::string& directory, const std::vector<std::string>& arguments) {
  RunOptions options;
  options.workingDirectory = directory;
  return RunTool(arguments, options);
}

std::string DocumentPath(const std::string& name) {
  return name.rfind("samples/", 0) == 0 ? SamplePath(name.substr(8)) : CorpusPath(name);
}

std::string TestNameOf(const std::string& document) {
  std::string name;
  for (char c : document) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

}  // namespace tooltest
