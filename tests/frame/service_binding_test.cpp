// The host service wrappers: neutral results while the host lacks a service (looked up again on
// every use), one look-up once it is there, and the byte-contents wrapper's order of work.
// Each test starts with no entry point resolved (ResetHostEntryPoints) and leaves none behind.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "frame/debug_log.h"
#include "frame/host_services.h"
#include "frame/registration.h"
#include "simhost/host.h"

namespace {

const char* const kLenB = host_contract::kLenBDeclaration;

// The services the library resolves and caches, by resolver name.
std::set<std::string> CachedServices() {
  std::set<std::string> names;
  for (const host_contract::ServiceRow& row : host_contract::kServices) {
    if (row.use == host_contract::ServiceUse::kCached) names.insert(row.name);
  }
  return names;
}
const std::set<std::string> kAllServices = CachedServices();

// Options for a host that offers none of the named services until a test clears the list.
simhost::Options Withholding(std::set<std::string> withheld) {
  simhost::Options options;
  options.withheld = std::move(withheld);
  return options;
}

class ServiceBinding : public testing::Test {
 protected:
  void SetUp() override { ResetHostEntryPoints(); }
  void TearDown() override {
    ResetHostEntryPoints();
    gResolver = nullptr;
  }
};

void Connect() {
  gResolver = &simhost::Host::Resolve;
  rbversion = 2021.03;
  DebuggingEnabled = false;
}

// One use of every wrapper with harmless arguments; handles it gets back are released through
// the host directly so that the counts of the wrappers stay exact.
void UseEveryWrapper(simhost::Host& host, REALstring s, REALobject run, REALobject styledText) {
  REALstringData data{};
  if (REALGetStringData(s, kREALTextEncodingUTF8, &data))
    REALDisposeStringData(&data);
  else
    REALDisposeStringData(nullptr);
  int64_t length = 0;
  REALGetStringContents(s, &length);
  REALLockString(s);
  REALUnlockString(s);
  REALUnlockObject(nullptr);
  REALGetStringEncoding(s);
  REALSetStringEncoding(s, kREALTextEncodingUTF8);
  if (REALstring c = REALConvertString(s, kREALTextEncodingUTF16)) host.Release(c);
  if (REALstring b = originalREALBuildString("ab", 2)) host.Release(b);
  if (REALstring b = REALBuildStringWithEncoding("ab", 2, kREALTextEncodingUTF8)) host.Release(b);
  REALCompareStrings(s, s);
  if (REALobject o = REALnewInstance("StyleRun")) host.Release(o);
  REALRaiseException(nullptr);
  REALLoadObjectMethod(styledText, host_contract::kStyleRunDeclaration);
  REALstring text = nullptr;
  if (REALGetPropValueString(run, "Text", &text) && text != nullptr) host.Release(text);
  REALSetPropValueString(run, "Text", s);
  bool bold = false;
  REALGetPropValueBoolean(run, "Bold", &bold);
  uint32_t color = 0;
  REALGetPropValueColor(run, "TextColor", &color);
  int64_t size = 0;
  REALGetPropValueInteger(run, "Size", &size);
  REALSetPropValueInteger(run, "Size", 12);
  REALSetPropValueUInt32(run, "TextColor", 0x00102030);
  REALSetPropValueBoolean(run, "Bold", true);
}

TEST_F(ServiceBinding, MissingServicesGiveNeutralResultsAndAreLookedUpOnEveryUse) {
  simhost::Host host(Withholding(kAllServices));
  Connect();
  REALstring s = host.NewStringUTF8("abc");
  REALobject run = host.NewObject("StyleRun");
  host.ResetCounters();

  for (int round = 1; round <= 2; ++round) {
    REALstringData data;
    std::memset(&data, 0x5A, sizeof data);
    EXPECT_FALSE(REALGetStringData(s, kREALTextEncodingUTF8, &data));
    REALDisposeStringData(&data);
    int64_t length = -1;
    EXPECT_EQ(REALGetStringContents(s, &length), nullptr);
    EXPECT_EQ(length, 0);
    REALLockString(s);
    REALUnlockString(s);
    EXPECT_EQ(host.RefCount(s), 1);
    REALUnlockObject(run);
    EXPECT_EQ(host.RefCount(run), 1);
    bool available = true;
    EXPECT_EQ(REALGetStringEncoding(s, &available), 0u);
    EXPECT_FALSE(available);
    REALSetStringEncoding(s, kREALTextEncodingUTF16);
    EXPECT_EQ(host.EncodingOf(s), kREALTextEncodingUTF8);
    EXPECT_EQ(REALConvertString(s, kREALTextEncodingUTF16), nullptr);
    EXPECT_EQ(originalREALBuildString("ab", 2), nullptr);
    EXPECT_EQ(REALBuildStringWithEncoding("ab", 2, kREALTextEncodingUTF8), nullptr);
    available = true;
    EXPECT_EQ(REALCompareStrings(s, nullptr, &available), 0);
    EXPECT_FALSE(available);
    EXPECT_EQ(REALnewInstance("RuntimeException"), nullptr);
    REALRaiseException(run);
    EXPECT_EQ(REALLoadFrameworkMethod(nullptr, kLenB), nullptr);
    EXPECT_EQ(REALLoadObjectMethod(run, "Foo()"), nullptr);

    REALstring text = reinterpret_cast<REALstring>(0x1);
    EXPECT_FALSE(REALGetPropValueString(run, "Text", &text));
    EXPECT_EQ(text, reinterpret_cast<REALstring>(0x1)) << "output left as it was";
    EXPECT_FALSE(REALSetPropValueString(run, "Text", s));
    bool bold = true;
    EXPECT_FALSE(REALGetPropValueBoolean(run, "Bold", &bold));
    EXPECT_TRUE(bold);
    uint32_t color = 0xDEADBEEF;
    EXPECT_FALSE(REALGetPropValueColor(run, "TextColor", &color));
    EXPECT_EQ(color, 0xDEADBEEFu);
    int64_t size = -77;
    EXPECT_FALSE(REALGetPropValueInteger(run, "Size", &size));
    EXPECT_EQ(size, -77);
    EXPECT_FALSE(REALSetPropValueInteger(run, "Size", 12));
    EXPECT_FALSE(REALSetPropValueUInt32(run, "TextColor", 1));
    EXPECT_FALSE(REALSetPropValueBoolean(run, "Bold", true));
    REALRegisterClassExtension(nullptr);
    REALRegisterModule(nullptr);

    for (const std::string& name : kAllServices) {
      uint64_t expected = static_cast<uint64_t>(round);
      // The byte-contents wrapper and REALLoadFrameworkMethod both go through the shared
      // global-method service.
      if (name == "REALLoadGlobalMethod") expected = 2u * static_cast<uint64_t>(round);
      EXPECT_EQ(host.Lookups(name), expected) << name << " in round " << round;
    }
  }
  EXPECT_TRUE(host.AllCalls().empty()) << "nothing of the host was called";
  EXPECT_TRUE(host.Registrations().empty());
  EXPECT_TRUE(host.Exceptions().empty());
  host.Release(run);
  host.Release(s);
}

TEST_F(ServiceBinding, AvailableServicesAreLookedUpOnceAndThenCalledDirectly) {
  simhost::Host host(Withholding(kAllServices));
  Connect();
  REALstring s = host.NewStringUTF8("abc");
  REALobject run = host.NewObject("StyleRun");
  REALobject styledText = host.NewStyledText();
  UseEveryWrapper(host, s, run, styledText);  // all missing: one look-up each

  host.options().withheld.clear();
  host.ResetCounters();
  for (int round = 0; round < 3; ++round) UseEveryWrapper(host, s, run, styledText);
  for (const std::string& name : kAllServices) {
    if (name == "PluginRegisterModule" || name == "PluginRegisterClassExtension") continue;
    EXPECT_EQ(host.Lookups(name), 1u) << name;
    EXPECT_GE(host.Calls(name), 1u) << name;
  }
  EXPECT_EQ(host.Lookups(kLenB), 1u) << "the byte count method is kept once found";
  EXPECT_EQ(host.Calls(kLenB), 3u);
  EXPECT_EQ(host.Misuses(), 0u) << host.LastMisuse();
  host.Release(styledText);
  host.Release(run);
  host.Release(s);
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_EQ(host.LiveObjects(), 0u);
}

// A resolver in front of the host's that records, in order, every look-up and every call of
// "StringGetCString" and of the global LenB it hands out.
std::vector<std::string>* gTrace = nullptr;
void* gRealCString = nullptr;
void* gRealLoadGlobal = nullptr;
void* gRealLenB = nullptr;

void* RBCALL TracedCString(REALstring s) {
  gTrace->push_back("call StringGetCString");
  return reinterpret_cast<void*(RBCALL*)(REALstring)>(gRealCString)(s);
}

RBInteger RBCALL TracedLenB(REALstring s) {
  gTrace->push_back("call LenB");
  return reinterpret_cast<RBInteger(RBCALL*)(REALstring)>(gRealLenB)(s);
}

void* RBCALL TracedLoadGlobal(const char* module, const char* declaration) {
  gTrace->push_back(std::string("global method ") + (module == nullptr ? "(null) " : module) +
                    declaration);
  gRealLenB = reinterpret_cast<void*(RBCALL*)(const char*, const char*)>(gRealLoadGlobal)(
      module, declaration);
  return gRealLenB != nullptr ? reinterpret_cast<void*>(&TracedLenB) : nullptr;
}

void* RBCALL TracingResolver(const char* name) {
  gTrace->push_back(std::string("resolve ") + name);
  void* entry = simhost::Host::Resolve(name);
  if (entry == nullptr) return nullptr;
  if (std::strcmp(name, "StringGetCString") == 0) {
    gRealCString = entry;
    return reinterpret_cast<void*>(&TracedCString);
  }
  if (std::strcmp(name, "REALLoadGlobalMethod") == 0) {
    gRealLoadGlobal = entry;
    return reinterpret_cast<void*>(&TracedLoadGlobal);
  }
  return entry;
}

TEST_F(ServiceBinding, StringContentsLooksUpThenMeasuresThenTakesTheBytes) {
  simhost::Host host;
  Connect();
  std::vector<std::string> trace;
  gTrace = &trace;
  gResolver = &TracingResolver;
  REALstring s = host.NewStringUTF8("caf\xC3\xA9");
  int64_t length = -1;
  const char* bytes = REALGetStringContents(s, &length);
  EXPECT_EQ(length, 5);
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(std::string(bytes, 5), "caf\xC3\xA9");
  std::vector<std::string> first = {"resolve StringGetCString", "resolve REALLoadGlobalMethod",
                                    std::string("global method (null) ") + kLenB, "call LenB",
                                    "call StringGetCString"};
  EXPECT_EQ(trace, first);

  trace.clear();
  length = -1;
  REALGetStringContents(s, &length);
  EXPECT_EQ(length, 5);
  std::vector<std::string> next = {"call LenB", "call StringGetCString"};
  EXPECT_EQ(trace, next) << "both kept after the first use";
  host.Release(s);
  gTrace = nullptr;
}

TEST_F(ServiceBinding, StringContentsWithoutCStringStillMeasures) {
  simhost::Host host(Withholding({"StringGetCString"}));
  Connect();
  REALstring s = host.NewStringUTF8("abc");
  for (int round = 0; round < 2; ++round) {
    int64_t length = -1;
    EXPECT_EQ(REALGetStringContents(s, &length), nullptr);
    EXPECT_EQ(length, 3);
  }
  EXPECT_EQ(host.Lookups("StringGetCString"), 2u);
  EXPECT_EQ(host.Lookups(kLenB), 1u);
  host.options().withheld.clear();
  int64_t length = -1;
  const char* bytes = REALGetStringContents(s, &length);
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(std::string(bytes, 3), "abc");
  EXPECT_EQ(host.Lookups("StringGetCString"), 3u);
  host.Release(s);
}

TEST_F(ServiceBinding, EveryCachedServiceHasAWrapper) {
  // UseEveryWrapper and the counts above cover exactly these.
  EXPECT_EQ(kAllServices.size(), 26u);
}

TEST_F(ServiceBinding, ResetForgetsWhatWasFound) {
  simhost::Host host;
  Connect();
  REALstring s = host.NewStringUTF8("abc");
  for (int round = 1; round <= 2; ++round) {
    int64_t length = -1;
    ASSERT_NE(REALGetStringContents(s, &length), nullptr);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(REALGetStringEncoding(s), kREALTextEncodingUTF8);
  }
  EXPECT_EQ(host.Lookups(host_contract::kStringGetCStringName), 1u);
  EXPECT_EQ(host.Lookups(host_contract::kREALGetStringEncodingName), 1u);
  EXPECT_EQ(host.Lookups(kLenB), 1u);

  ResetHostEntryPoints();
  int64_t length = -1;
  ASSERT_NE(REALGetStringContents(s, &length), nullptr);
  EXPECT_EQ(REALGetStringEncoding(s), kREALTextEncodingUTF8);
  EXPECT_EQ(host.Lookups(host_contract::kStringGetCStringName), 2u);
  EXPECT_EQ(host.Lookups(host_contract::kREALGetStringEncodingName), 2u);
  EXPECT_EQ(host.Lookups(kLenB), 2u) << "the global LenB is looked up again too";
  host.Release(s);
}

}  // namespace
