#include "support/console.h"

#include <fcntl.h>
#include <unistd.h>
#if defined(_WIN32)
#include <io.h>
#endif

#include <cstdio>

#include "support/write_all.h"

namespace pendlow {

namespace console {

namespace {
int gErrorFd = STDERR_FILENO;
}

void Init() {
#if defined(_WIN32)
  // Nothing redirects standard error there, but the tool's own copy keeps it like elsewhere.
  int fd = ::_dup(STDERR_FILENO);
  if (fd >= 0) ::_setmode(fd, _O_BINARY);
#else
  int fd = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
#endif
  if (fd >= 0) gErrorFd = fd;
}

bool IsTerminal() {
  return ::isatty(gErrorFd) == 1;
}

void Write(const std::string& text) {
  WriteAll(gErrorFd, text.data(), text.size());  // a failure has nowhere left to go
}

void Note(const std::string& text) {
  Write("pendlow: note: " + text + "\n");
}

}  // namespace console

std::string HumanSize(size_t bytes) {
  char buffer[32];
  if (bytes < 1000) {
    std::snprintf(buffer, sizeof buffer, "%zu bytes", bytes);
  } else if (bytes < 1000 * 1000) {
    std::snprintf(buffer, sizeof buffer, "%.1f kB", static_cast<double>(bytes) / 1e3);
  } else {
    std::snprintf(buffer, sizeof buffer, "%.1f MB", static_cast<double>(bytes) / 1e6);
  }
  return buffer;
}

Progress::Progress(std::string what, size_t bytes) : what_(std::move(what)) {
  if (bytes <= kProgressThreshold || !console::IsTerminal()) return;
  what_ += " (" + HumanSize(bytes) + ")";
  active_ = true;
  start_ = std::chrono::steady_clock::now();
  Draw();
  thread_ = std::thread([this] {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!wake_.wait_for(lock, std::chrono::milliseconds(200), [this] { return stop_; })) {
      Draw();
    }
  });
}

Progress::~Progress() {
  if (!active_) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_all();
  thread_.join();
  console::Write("\r\033[K");
}

void Progress::Draw() {
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f s", seconds);
  console::Write("\r\033[Kpendlow: " + what_ + " ... " + buffer);
}

std::string Timings::Report() const {
  std::string out = "time:";
  double total = 0;
  char buffer[64];
  for (const auto& step : steps_) {
    std::snprintf(buffer, sizeof buffer, " %s %.1f ms,", step.first.c_str(), step.second * 1e3);
    out += buffer;
    total += step.second;
  }
  std::snprintf(buffer, sizeof buffer, " total %.1f ms", total * 1e3);
  return out + buffer;
}

}  // namespace pendlow
