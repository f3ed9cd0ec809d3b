// The Windows process runner and temporary directories (tool_runner.cpp has the POSIX ones):
// CreateProcess with three pipes, each drained by a thread of its own. Windows has no
// pseudo-terminals, so the terminal-only features are not exercised there.
#if defined(_WIN32)

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "tool_runner.h"

namespace tooltest {

namespace {

// One argument as the C runtime's command-line parser reads it back (quotes around anything
// with blanks or quotes; backslashes doubled only before a quote).
std::string Quoted(const std::string& argument) {
  if (!argument.empty() && argument.find_first_of(" \t\n\v\"") == std::string::npos) {
    return argument;
  }
  std::string out = "\"";
  size_t backslashes = 0;
  for (char c : argument) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    if (c == '"')
      out.append(2 * backslashes + 1, '\\');
    else
      out.append(backslashes, '\\');
    backslashes = 0;
    out.push_back(c);
  }
  out.append(2 * backslashes, '\\');
  out.push_back('"');
  return out;
}

// The test's environment, with "NAME=VALUE" entries replacing or adding and "-NAME" entries
// removing a variable; as the block CreateProcess takes. Names compare without case.
std::string EnvironmentBlock(const std::vector<std::string>& changes) {
  std::vector<std::string> env;
  if (char* block = GetEnvironmentStringsA()) {
    for (const char* e = block; *e != '\0'; e += std::strlen(e) + 1) env.emplace_back(e);
    FreeEnvironmentStringsA(block);
  }
  auto nameOf = [](const std::string& entry) {
    std::string name = entry.substr(0, entry.find('=', 1));
    std::transform(name.begin(), name.end(), name.begin(), ::toupper);
    return name;
  };
  for (const std::string& change : changes) {
    bool remove = !change.empty() && change[0] == '-';
    std::string name = nameOf(remove ? change.substr(1) : change);
    env.erase(std::remove_if(env.begin(), env.end(),
                             [&](const std::string& e) { return nameOf(e) == name; }),
              env.end());
    if (!remove) env.push_back(change);
  }
  std::string block;
  for (const std::string& e : env) block += e + '\0';
  block += '\0';
  return block;
}

void Drain(HANDLE pipe, std::string* out) {
  char buffer[65536];
  DWORD got = 0;
  while (::ReadFile(pipe, buffer, sizeof buffer, &got, nullptr) && got > 0)
    out->append(buffer, got);
}

void RemoveTree(const std::string& path) {
  WIN32_FIND_DATAA found;
  HANDLE search = FindFirstFileA((path + "/*").c_str(), &found);
  if (search != INVALID_HANDLE_VALUE) {
    do {
      std::string name = found.cFileName;
      if (name == "." || name == "..") continue;
      std::string child = path + "/" + name;
      if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        RemoveTree(child);
      } else {
        SetFileAttributesA(child.c_str(), FILE_ATTRIBUTE_NORMAL);  // read-only files too
        DeleteFileA(child.c_str());
      }
    } while (FindNextFileA(search, &found));
    FindClose(search);
  }
  RemoveDirectoryA(path.c_str());
}

}  // namespace

bool TerminalsAvailable() {
  return false;
}

ToolResult RunTool(const std::vector<std::string>& arguments, const RunOptions& options) {
  if (options.stdoutTerminal || options.stderrTerminal) {
    throw std::runtime_error("Windows has no pseudo-terminals");
  }
  SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE inRead, inWrite, outRead, outWrite, errRead, errWrite;
  if (!CreatePipe(&inRead, &inWrite, &inherit, 0) ||
      !CreatePipe(&outRead, &outWrite, &inherit, 0) ||
      !CreatePipe(&errRead, &errWrite, &inherit, 0)) {
    throw std::runtime_error("CreatePipe failed");
  }
  // The parent's ends stay out of the child.
  SetHandleInformation(inWrite, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(outRead, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(errRead, HANDLE_FLAG_INHERIT, 0);

  std::string program = options.program.empty() ? ToolPath() : options.program;
  std::string commandLine = Quoted(program);
  for (const std::string& a : arguments) commandLine += " " + Quoted(a);
  std::string environment = EnvironmentBlock(options.environment);

  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = inRead;
  startup.hStdOutput = outWrite;
  startup.hStdError = errWrite;
  PROCESS_INFORMATION process{};
  BOOL started = CreateProcessA(
      program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, environment.data(),
      options.workingDirectory.empty() ? nullptr : options.workingDirectory.c_str(), &startup,
      &process);
  CloseHandle(inRead);
  CloseHandle(outWrite);
  CloseHandle(errWrite);
  if (!started) {
    CloseHandle(inWrite);
    CloseHandle(outRead);
    CloseHandle(errRead);
    throw std::runtime_error("cannot start " + program);
  }

  ToolResult result;
  std::thread out(Drain, outRead, &result.out);
  std::thread err(Drain, errRead, &result.err);
  std::thread in([&] {
    DWORD written = 0;
    size_t done = 0;
    while (done < options.input.size() &&
           ::WriteFile(inWrite, options.input.data() + done,
                       static_cast<DWORD>(std::min<size_t>(options.input.size() - done, 65536)),
                       &written, nullptr)) {
      done += written;
    }
    CloseHandle(inWrite);
  });
  if (WaitForSingleObject(process.hProcess, 120000) != WAIT_OBJECT_0) {
    TerminateProcess(process.hProcess, 128 + 9);  // hung: fail on the status, as on POSIX
    WaitForSingleObject(process.hProcess, INFINITE);
  }
  in.join();
  out.join();
  err.join();
  DWORD code = 0;
  GetExitCodeProcess(process.hProcess, &code);
  result.status = static_cast<int>(code);
  CloseHandle(outRead);
  CloseHandle(errRead);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return result;
}

TempDir::TempDir() {
  char base[MAX_PATH + 1];
  DWORD n = GetTempPathA(sizeof base, base);
  if (n == 0 || n > MAX_PATH) throw std::runtime_error("GetTempPath failed");
  std::string folder(base, n);
  std::replace(folder.begin(), folder.end(), '\\', '/');
  for (unsigned attempt = 0; attempt < 1000; ++attempt) {
    char name[64];
    std::snprintf(name, sizeof name, "pendlow-tool-test-%lu-%lu",
                  static_cast<unsigned long>(GetCurrentProcessId()),
                  static_cast<unsigned long>(GetTickCount() + attempt));
    std::string path = folder + name;
    if (CreateDirectoryA(path.c_str(), nullptr)) {
      path_ = path;
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary directory");
}

TempDir::~TempDir() {
  RemoveTree(path_);
}

std::vector<std::string> TempDir::Entries() const {
  std::vector<std::string> names;
  WIN32_FIND_DATAA found;
  HANDLE search = FindFirstFileA((path_ + "/*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return names;
  do {
    std::string name = found.cFileName;
    if (name != "." && name != "..") names.push_back(name);
  } while (FindNextFileA(search, &found));
  FindClose(search);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace tooltest

#endif  // _WIN32
