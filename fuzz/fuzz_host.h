// What the in-process fuzz targets share: one strict simulated host per process with the
// library's statically linked copy bound to it, the accounting of the handles each call into
// the library leaves alive, and a quiet switch for the debug log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/host_api.h"
#include "simhost/host.h"

namespace fuzzhost {

// Reads the fields of a fuzz input in order; past the end every field reads as zero.
class ByteReader {
 public:
  ByteReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool empty() const { return pos_ >= size_; }
  uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint32_t UInt16() { return Byte() | (uint32_t{Byte()} << 8); }
  uint32_t UInt32() { return UInt16() | (UInt16() << 16); }
  // Up to count bytes, fewer at the end of the input.
  std::string Bytes(size_t count) {
    const size_t n = count < size_ - pos_ ? count : size_ - pos_;
    std::string out(reinterpret_cast<const char*>(data_ + pos_), n);
    pos_ += n;
    return out;
  }
  std::string Rest() { return Bytes(size_ - pos_); }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

// The process's host: strict (misuse of a handle aborts), no log capture. Created on first use;
// binds the library's resolver to it.
simhost::Host& TheHost();

// Reports a broken invariant on the saved standard error and aborts, so libFuzzer records the
// input as a crash.
[[noreturn]] void Fail(const char* what, const std::string& detail = std::string());

// Host versions the string builders choose their paths by: choice % 4 picks 2021.03, 2013.04,
// 2012.02 or 2011.04.
double HostVersion(uint8_t choice);

// Every text encoding the host knows, by index % kEncodingCount (the starting-corpus script uses
// the same order).
constexpr size_t kEncodingCount = 36;
uint32_t EncodingAt(uint8_t index);

// The live handles the caller holds before a call into the library.
struct Handles {
  size_t strings = 0;
  size_t objects = 0;
};
Handles Count();

// The StyleRun objects fetched by the getter since the last ReleaseFetchedRuns: the getter
// keeps them on purpose, so the harness gives them back after checking the count.
const std::vector<REALobject>& FetchedRuns();
void ReleaseFetchedRuns();

// After the setter: nothing beyond what the caller holds, no string data record kept.
void CheckAfterSetter(const Handles& before);
// After the getter: besides what the caller holds, only the fetched StyleRuns and the result.
void CheckAfterGetter(const Handles& before, REALstring result);

// Runs the library with the debug log on and its lines dropped, unless PENDLOW_FUZZ_SHOW_LOG is
// set. Sanitizer reports and misuse reports still reach the real standard error.
class DebugLogScope {
 public:
  explicit DebugLogScope(bool on);
  ~DebugLogScope();
  DebugLogScope(const DebugLogScope&) = delete;
  DebugLogScope& operator=(const DebugLogScope&) = delete;

 private:
  bool on_;
};

// Sets rbversion for one input and restores the default afterwards.
class HostVersionScope {
 public:
  explicit HostVersionScope(double version);
  ~HostVersionScope();
  HostVersionScope(const HostVersionScope&) = delete;
  HostVersionScope& operator=(const HostVersionScope&) = delete;

 private:
  double saved_;
};

}  // namespace fuzzhost
