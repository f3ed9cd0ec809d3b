// Host exceptions raised by the library's own helpers, observed in the simulated host.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <new>
#include <optional>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>

#include "bridge/host_exceptions.h"
#include "frame/debug_log.h"
#include "frame/host_services.h"
#include "frame/registration.h"
#include "simhost/host.h"

namespace {

class HostExceptions : public testing::Test {
 protected:
  void SetUp() override {
    rbversion = 2021.0;
    gResolver = &simhost::Host::Resolve;
  }
  void TearDown() override {
    EXPECT_EQ(host.LiveStrings(), 0u);
    EXPECT_EQ(host.LiveObjects(), 0u);
    EXPECT_EQ(host.Misuses(), 0u);
  }
  const simhost::RaisedException& OnlyException() {
    EXPECT_EQ(host.Exceptions().size(), 1u);
    return host.Exceptions().at(0);
  }
  simhost::Host host;
};

// A raise through the library's helper and the one exception the host then holds: the class
// (unknown ones become RuntimeException), the message (none for a null one) and error number 0
// whatever number was given.
struct RaiseCase {
  const char* name;
  const char* className;
  const char* message;
  uint32_t errorNumber;
  int64_t extra;
  const char* raisedClass;
  std::optional<std::string> raisedMessage;
};

// Cases show as their names in test listings.
void PrintTo(const RaiseCase& c, std::ostream* os) {
  *os << c.name;
}

const RaiseCase kRaises[] = {
    {"RaisesTheNamedClassWithMessageAndErrorNumberZero", "OutOfBoundsException", "index 5", 7, 9,
     "OutOfBoundsException", "index 5"},
    {"UnknownClassBecomesRuntimeException", "NoSuchException", "lost", 0, 0, "RuntimeException",
     "lost"},
    {"NullMessageRaisesWithoutMessage", "RuntimeException", nullptr, 0, 0, "RuntimeException",
     std::nullopt},
    {"MessageIsUTF8", "RuntimeException", "caf\xC3\xA9", 0, 0, "RuntimeException", "caf\xC3\xA9"},
};

class Raise : public HostExceptions, public testing::WithParamInterface<RaiseCase> {};

TEST_P(Raise, GivesTheOneExceptionTheHostHolds) {
  const RaiseCase& c = GetParam();
  RaiseException(c.className, c.message, c.errorNumber, c.extra);
  const auto& e = OnlyException();
  EXPECT_EQ(e.className, c.raisedClass);
  EXPECT_EQ(e.message, c.raisedMessage);
  EXPECT_EQ(e.errorNumber, 0);
}

INSTANTIATE_TEST_SUITE_P(HostExceptions, Raise, testing::ValuesIn(kRaises),
                         [](const auto& info) { return std::string(info.param.name); });

struct Mapping {
  std::exception_ptr error;
  std::string className;
  std::string message;
};

TEST_F(HostExceptions, StandardExceptionsMapToHostClasses) {
  std::vector<Mapping> cases = {
      {std::make_exception_ptr(std::bad_alloc()), "OutOfMemoryException",
       std::string("Failed to allocate memory: ") + std::bad_alloc().what()},
      {std::make_exception_ptr(std::range_error("r")), "OutOfBoundsException",
       "C++ reports range error: r"},
      {std::make_exception_ptr(std::range_error("")), "OutOfBoundsException",
       "C++ reports range error."},
      {std::make_exception_ptr(std::out_of_range("o")), "OutOfBoundsException",
       "C++ reports range error: o"},
      {std::make_exception_ptr(std::overflow_error("v")), "OutOfBoundsException",
       "C++ reports overflow error: v"},
      {std::make_exception_ptr(std::underflow_error("u")), "OutOfBoundsException",
       "C++ reports underflow error: u"},
      {std::make_exception_ptr(std::length_error("too long")), "RuntimeException",
       "C++ Exception: too long"},
      {std::make_exception_ptr(std::runtime_error("")), "RuntimeException", "C++ Exception."},
  };
  for (const auto& c : cases) {
    host.ClearExceptions();
    try {
      std::rethrow_exception(c.error);
    } catch (const std::exception& e) {
      RaiseRuntimeException(e);
    }
    ASSERT_EQ(host.Exceptions().size(), 1u) << c.message;
    EXPECT_EQ(host.Exceptions()[0].className, c.className);
    EXPECT_EQ(host.Exceptions()[0].message, c.message);
  }
}

TEST_F(HostExceptions, GuardTurnsAnyExceptionIntoHostExceptionAndFailure) {
  int result = WithHostExceptionGuard(-1, []() -> int { throw std::out_of_range("x"); });
  EXPECT_EQ(result, -1);
  EXPECT_EQ(OnlyException().className, "OutOfBoundsException");

  host.ClearExceptions();
  DebuggingEnabled = true;
  host.BeginLogCapture();
  result = WithHostExceptionGuard(-1, []() -> int { throw 42; });
  host.EndLogCapture();
  DebuggingEnabled = false;
  EXPECT_EQ(result, -1);
  const auto& e = OnlyException();
  EXPECT_EQ(e.className, "RuntimeException");
  EXPECT_EQ(e.message, "Sorry, but there was an unnamed C++ Exception.");
  ASSERT_EQ(host.Log().size(), 1u);
  EXPECT_EQ(host.Log()[0], "ZVK Debug: Unnamed C++ Exception.");

  EXPECT_EQ(WithHostExceptionGuard(-1, [] { return 5; }), 5);
}

// A host without the services an exception needs: each step is skipped, nothing crashes.
// Each case starts and ends with the library's service caches empty.
int RaiseWithout(std::set<std::string> withheld) {
  ResetHostEntryPoints();
  struct ResetAtEnd {
    ~ResetAtEnd() { ResetHostEntryPoints(); }
  } resetAtEnd;
  simhost::Options options;
  options.withheld = std::move(withheld);
  simhost::Host host(options);
  rbversion = 2021.0;
  gResolver = &simhost::Host::Resolve;
  RaiseException("RuntimeException", "nobody hears", 0, 0);
  bool released = host.LiveStrings() == 0 && host.LiveObjects() == 0 && host.Misuses() == 0;
  bool raised = !host.Exceptions().empty();
  if (!released) return 2;
  if (options.withheld.count("PluginNewInstance"))
    return !raised && host.Calls("RuntimeRaiseException") == 0 ? 0 : 1;
  return !raised && host.Calls("REALSetPropValueInteger") == 1 ? 0 : 1;
}

TEST(HostExceptionsDegrade, WithoutNewInstanceNothingIsRaised) {
  EXPECT_EQ(RaiseWithout({"PluginNewInstance"}), 0);
}

TEST(HostExceptionsDegrade, WithoutRaiseTheInstanceIsStillReleased) {
  EXPECT_EQ(RaiseWithout({"RuntimeRaiseException", "REALSetPropValueString"}), 0);
}

}  // namespace
