// Shared set-up for the host bridge tests. The bridge functions are internals the host cannot
// call, so the tests call them in this process against a simulated host.
//
// The library's service wrappers and method caches are process-wide statics. A test that needs
// a host WITHOUT some service must therefore start from empty caches: it runs its body through
// InFreshProcess, a death test in the "threadsafe" style, which re-executes this test binary for
// that one test so nothing resolved by earlier tests is cached there.
#pragma once

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "frame/debug_log.h"
#include "frame/host_services.h"
#include "frame/registration.h"
#include "simhost/host.h"

namespace bridge_test {

constexpr double kCurrentHost = 2021.03;

using Log = std::vector<std::string>;  // debug log lines

// The host as the library sees it after start-up, with logging off.
inline void ConnectLibrary(double version = kCurrentHost) {
  gResolver = &simhost::Host::Resolve;
  rbversion = version;
  DebuggingEnabled = false;
}

// Log lines written by body, run with debugging switched on or off (then expected: none).
inline Log CapturedLog(simhost::Host& host, bool debugging, const std::function<void()>& body) {
  host.ClearLog();
  DebuggingEnabled = debugging;
  host.BeginLogCapture();
  body();
  host.EndLogCapture();
  DebuggingEnabled = false;
  return host.Log();
}

inline Log LogOf(simhost::Host& host, const std::function<void()>& body) {
  return CapturedLog(host, true, body);
}

inline Log QuietLogOf(simhost::Host& host, const std::function<void()>& body) {
  return CapturedLog(host, false, body);
}

inline std::string Line(const std::string& message) {
  return "ZVK Debug: " + message;
}

// The "%p: %s" log form for a handle, as the C library prints it (on Windows the library writes
// the handle the way glibc does: "0x" and lower-case digits, "(nil)" for null).
inline std::string HandleLine(const std::string& message, const void* handle,
                              const std::string& text) {
  char address[64];
#if defined(_WIN32)
  if (handle == nullptr) {
    std::snprintf(address, sizeof address, "(nil)");
  } else {
    std::snprintf(address, sizeof address, "0x%llx",
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(handle)));
  }
#else
  std::snprintf(address, sizeof address, "%p", handle);
#endif
  return "ZVK Debug: " + message + " " + address + ": " + text;
}

// A host that withholds the named services from the library, connected as after start-up.
class HostWithout : public simhost::Host {
 public:
  explicit HostWithout(std::set<std::string> withheld, double version = kCurrentHost,
                       simhost::FontProperty font = simhost::FontProperty::kBoth)
      : simhost::Host(Withholding(std::move(withheld), font)) {
    ConnectLibrary(version);
  }

 private:
  static simhost::Options Withholding(std::set<std::string> withheld, simhost::FontProperty font) {
    simhost::Options options;
    options.withheld = std::move(withheld);
    options.fontProperty = font;
    return options;
  }
};

class BridgeTest : public testing::Test {
 protected:
  void SetUp() override {
    ConnectLibrary();
    startStrings = host.LiveStrings();
    startObjects = host.LiveObjects();
  }
  void TearDown() override {
    DebuggingEnabled = false;
    rbversion = kCurrentHost;
    EXPECT_EQ(host.Misuses(), 0u);
    EXPECT_EQ(host.LiveStringData(), 0u);
  }

  // The value just set was read back once and compared with what was set (debugging on).
  void ExpectOneReadBack() {
    EXPECT_EQ(host.Calls("REALGetPropValueString"), 1u);
    EXPECT_EQ(host.Calls("RuntimeStringCompare"), 1u);
  }

  simhost::Host host;
  size_t startStrings = 0;
  size_t startObjects = 0;
};

}  // namespace bridge_test

// Present in sanitizer builds: the child ends with _Exit, so it runs the leak check itself.
extern "C" void __lsan_do_leak_check() __attribute__((weak));

namespace bridge_test {

// The child's side of InFreshProcess: runs the checks and reports through the exit code.
template <typename Body>
void RunAndExit(Body&& body) {
  bool ok = true;
  testing::TestPartResultArray failures;
  {
    // Collect the child's failed checks: they reach the parent only through standard error.
    testing::ScopedFakeTestPartResultReporter collect(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
    body(ok);
  }
  for (int i = 0; i < failures.size(); ++i) {
    const testing::TestPartResult& part = failures.GetTestPartResult(i);
    std::fprintf(stderr, "%s:%d: %s\n", part.file_name() ? part.file_name() : "?",
                 part.line_number(), part.message());
  }
  if (!ok) std::fprintf(stderr, "a check in the fresh process failed\n");
  std::fflush(stdout);
  std::fflush(stderr);
  if (__lsan_do_leak_check != nullptr) __lsan_do_leak_check();
  std::_Exit(ok && failures.size() == 0 ? 0 : 1);
}

}  // namespace bridge_test

// Runs the block (which may clear `ok`) in a fresh copy of this test program, where no host
// service has been resolved yet; passes when the block leaves `ok` true and no check in it
// failed. Failed checks are printed by the child.
#define IN_FRESH_PROCESS(...)                                                        \
  do {                                                                               \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                                  \
    auto freshBody = [&](bool& ok) {                                                 \
      (void)ok;                                                                      \
      __VA_ARGS__;                                                                   \
    };                                                                               \
    EXPECT_EXIT(bridge_test::RunAndExit(freshBody), testing::ExitedWithCode(0), ""); \
  } while (0)
