// Peak memory of one piece of work, measured in a child process so that each measurement starts
// from a fresh high-water mark: the child resets its peak resident set (Linux clear_refs), does
// the work and reports its resident set before the work and its peak during it.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>

namespace hardening {

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

struct PeakMemory {
  long beforeKb = -1;  // resident set right before the measured work
  long peakKb = -1;    // highest resident set during it
  std::string error;   // the work's own failure, or why nothing could be measured
  long GrowthKb() const { return peakKb - beforeKb; }
};

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
  char* rest = nullptr;
  result.beforeKb = std::strtol(message.c_str(), &rest, 10);
  result.peakKb = std::strtol(rest, &rest, 10);
  if (*rest == ' ') ++rest;
  result.error = rest;
  while (!result.error.empty() && result.error.back() == '\n') result.error.pop_back();
  return result;
}

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
