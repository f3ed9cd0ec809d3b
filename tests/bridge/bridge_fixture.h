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
#include <cstring>
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

// A resolver that puts `replacement` in front of the simulated host's service `kService` and
// hands out the host's own entries for every other name.
template <const char* kService, auto replacement>
void* RBCALL ResolveReplacing(const char* name) {
  if (std::strcmp(name, kService) == 0) return reinterpret_cast<void*>(replacement);
  return simhost::Host::Resolve(name);
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

// The life of a service or method the host lacks at first: `missing` (one use while the host
// withholds `name`) looks it up again each of two times; once the host offers everything,
// `present` (one use) finds it the first time and keeps it for the second.
inline void ExpectLookedUpUntilFound(simhost::Host& host, const std::string& name,
                                     const std::function<void()>& missing,
                                     const std::function<void()>& present) {
  missing();
  missing();
  EXPECT_EQ(host.Lookups(name), 2u) << name << " is looked up on every use while missing";
  host.options().withheld.clear();
  present();
  present();
  EXPECT_EQ(host.Lookups(name), 3u) << name << " is found once, then kept";
}

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

namespace bridge_test {

// Forgets the library's resolved entry points on the way in and out, so the block meets the
// host as a library that has resolved nothing yet, and leaves nothing behind for later tests.
struct FreshEntryPoints {
  FreshEntryPoints() { ResetHostEntryPoints(); }
  ~FreshEntryPoints() { ResetHostEntryPoints(); }
  FreshEntryPoints(const FreshEntryPoints&) = delete;
  FreshEntryPoints& operator=(const FreshEntryPoints&) = delete;
};

}  // namespace bridge_test

// Fixtures of tests that meet the host as a library that has resolved nothing yet: hosts without
// some services, and the paths that only a first lookup takes.
class FreshEntryPointsTest : public testing::Test {
  bridge_test::FreshEntryPoints fresh_;
};
class BridgeWithheld : public FreshEntryPointsTest {};
class BridgeGuard : public FreshEntryPointsTest {};
class BridgeReadBack : public FreshEntryPointsTest {};
class BridgeUnterminated : public FreshEntryPointsTest {};
