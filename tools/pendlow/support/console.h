// Standard error as the tool uses it: notes, errors, the library's log, the progress line and
// the time taken. The simulated host redirects file descriptor 2 while the library runs (to
// capture its log), so the tool keeps its own duplicate of the original descriptor and writes
// there; the progress line can then tick while the library works.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace pendlow {

// Inputs larger than this get a progress line when standard error is a terminal.
constexpr size_t kProgressThreshold = size_t{4} << 20;

namespace console {

// Duplicates standard error; call once before the library is loaded.
void Init();
bool IsTerminal();
// Writes the text as it is.
void Write(const std::string& text);
// "pendlow: note: <text>" on a line of its own.
void Note(const std::string& text);

}  // namespace console

// Shows "pendlow: <what> (<size>) ... <seconds> s" on standard error, refreshed while the
// object lives, when the input is large and standard error is a terminal; wipes it at the end.
class Progress {
 public:
  Progress(std::string what, size_t bytes);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void Draw();
  std::string what_;
  bool active_ = false;
  std::chrono::steady_clock::time_point start_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stop_ = false;
  std::thread thread_;
};

// Collects the duration of each step for --time.
class Timings {
 public:
  // Runs `step`, adds its duration under `name` and returns what it returned.
  template <typename F>
  auto Measure(const std::string& name, F&& step) {
    auto start = std::chrono::steady_clock::now();
    struct Record {
      Timings* self;
      std::string name;
      std::chrono::steady_clock::time_point start;
      ~Record() {
        self->steps_.emplace_back(
            name, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
      }
    } record{this, name, start};
    return step();
  }
  // Adds a step measured by the caller.
  void Add(const std::string& name, double seconds) { steps_.emplace_back(name, seconds); }
  // "time: read 0.1 ms, load 2.0 ms, ..., total 3.4 ms".
  std::string Report() const;

 private:
  std::vector<std::pair<std::string, double>> steps_;
};

// "12.3 MB", "512 bytes".
std::string HumanSize(size_t bytes);

}  // namespace pendlow
