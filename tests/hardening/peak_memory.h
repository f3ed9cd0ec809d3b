// Peak memory of one piece of work, measured in a child process so that each measurement starts
// from a fresh high-water mark: the child resets its peak resident set (Linux clear_refs), does
// the work and reports its resident set before the work and its peak during it.
//
// Windows has no fork and no way to reset the peak: the test program runs again with only the
// current test selected, does the work in that fresh process and reports its working set before
// the work and its peak working set so far. That peak also covers what the process did before
// the work, so the growth read there is never below the work's own.
#pragma once

#if defined(_WIN32)
#include <gtest/gtest.h>
#include <windows.h>
// after windows.h
#include <psapi.h>
#else
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

namespace hardening {

struct PeakMemory {
  long beforeKb = -1;  // resident set right before the measured work
  long peakKb = -1;    // highest resident set during it
  std::string error;   // the work's own failure, or why nothing could be measured
  long GrowthKb() const { return peakKb - beforeKb; }
};

// The child's report: "<before kB> <peak kB> <error>\n".
inline void ParseReport(const std::string& message, PeakMemory* result) {
  char* rest = nullptr;
  result->beforeKb = std::strtol(message.c_str(), &rest, 10);
  result->peakKb = std::strtol(rest, &rest, 10);
  if (*rest == ' ') ++rest;
  result->error = rest;
  while (!result->error.empty() && result->error.back() == '\n') result->error.pop_back();
}

#if defined(_WIN32)

inline PROCESS_MEMORY_COUNTERS MemoryCounters() {
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof counters;
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters;
}

inline PeakMemory MeasurePeakMemory(
    const std::function<std::string(const std::function<void()>& start)>& body) {
  constexpr const char* kReportVariable = "PENDLOW_PEAK_MEMORY_REPORT";
  PeakMemory result;
  if (const char* report = std::getenv(kReportVariable); report != nullptr && *report != '\0') {
    // The child: do the work, report, and end here.
    long before = -1;
    std::string error =
        body([&before] { before = static_cast<long>(MemoryCounters().WorkingSetSize / 1024); });
    const long peak = static_cast<long>(MemoryCounters().PeakWorkingSetSize / 1024);
    std::ofstream(report, std::ios::binary)
        << std::to_string(before) + " " + std::to_string(peak) + " " + error + "\n";
    std::exit(0);
  }
  char self[MAX_PATH * 4];
  DWORD length = GetModuleFileNameA(nullptr, self, sizeof self);
  const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
  char folder[MAX_PATH + 1], file[MAX_PATH + 1];
  if (length == 0 || length >= sizeof self || test == nullptr ||
      GetTempPathA(sizeof folder, folder) == 0 || GetTempFileNameA(folder, "pdl", 0, file) == 0) {
    result.error = "cannot start the measuring process";
    return result;
  }
  std::string commandLine = std::string("\"") + self +
                            "\" --gtest_filter=" + test->test_suite_name() + "." + test->name();
  SetEnvironmentVariableA(kReportVariable, file);
  // The child's own test output would repeat this test's lines: it goes nowhere.
  SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE nowhere =
      CreateFileA("NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                  OPEN_EXISTING, 0, nullptr);
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = startup.hStdOutput = startup.hStdError = nowhere;
  PROCESS_INFORMATION process{};
  const BOOL started = CreateProcessA(self, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                      nullptr, &startup, &process);
  SetEnvironmentVariableA(kReportVariable, nullptr);
  if (nowhere != INVALID_HANDLE_VALUE) CloseHandle(nowhere);
  DWORD code = 1;
  if (started) {
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  std::ifstream in(file, std::ios::binary);
  const std::string message((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  in.close();
  DeleteFileA(file);
  if (!started || code != 0 || message.empty()) {
    result.error = "the measuring process did not end normally";
    return result;
  }
  ParseReport(message, &result);
  return result;
}

#else

// Kilobytes of a "VmRSS" or "VmHWM" line of /proc/self/status; -1 when absent.
inline long StatusKb(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const size_t n = std::strlen(field);
  while (std::getline(status, line)) {
    if (line.compare(0, n, field) == 0 && line.size() > n && line[n] == ':') {
      return std::strtol(line.c_str() + n + 1, nullptr, 10);
    }
  }
  return -1;
}

// Runs body in a child process. body prepares what it needs, calls start() right before the
// work to be measured, does it and returns "" on success or a description of what went wrong.
inline PeakMemory MeasurePeakMemory(
    const std::function<std::string(const std::function<void()>& start)>& body) {
  PeakMemory result;
  int fds[2];
  if (pipe(fds) != 0) {
    result.error = "pipe failed";
    return result;
  }
  const pid_t child = fork();
  if (child < 0) {
    result.error = "fork failed";
    close(fds[0]);
    close(fds[1]);
    return result;
  }
  if (child == 0) {
    close(fds[0]);
    long before = -1;
    std::string error = body([&before] {
      // Writing 5 resets the peak resident set to the current one.
      const int fd = open("/proc/self/clear_refs", O_WRONLY);
      if (fd >= 0) {
        (void)!write(fd, "5", 1);
        close(fd);
      }
      before = StatusKb("VmRSS");
    });
    const long peak = StatusKb("VmHWM");
    const std::string message =
        std::to_string(before) + " " + std::to_string(peak) + " " + error + "\n";
    (void)!write(fds[1], message.data(), message.size());
    close(fds[1]);
    _exit(0);
  }
  close(fds[1]);
  std::string message;
  char buffer[512];
  for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;) message.append(buffer, n);
  close(fds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    result.error = "the measuring process did not end normally";
    return result;
  }
  ParseReport(message, &result);
  return result;
}

#endif  // _WIN32

// Whether the program runs under valgrind or a sanitizer: memory figures are then not the
// library's own, and the work is scaled down.
inline bool UnderInstrumentation() {
#if defined(__SANITIZE_ADDRESS__)
  return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
  return true;
#endif
#endif
  const char* preload = std::getenv("LD_PRELOAD");
  return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
}

}  // namespace hardening
