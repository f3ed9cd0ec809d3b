// The simulated host's resolver, the decoding of registration records, the capture of the
// debug log, and the loader, exercised with small stand-in plug-ins.
#include <gtest/gtest.h>
#if defined(_WIN32)
#include <stdlib.h>
#include <windows.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "services.h"
#include "frame/member_flags.h"
#include "simhost/host.h"

namespace {

using namespace simhost_test;
using simhost::Host;
using simhost::Options;
using simhost::Plugin;
using simhost::Registration;

void RBCALL NoOp() {}
void RBCALL OtherNoOp() {}
REALproc kFunction = reinterpret_cast<REALproc>(&NoOp);
REALproc kSetter = reinterpret_cast<REALproc>(&OtherNoOp);

TEST(SimhostResolver, OffersEveryServiceOfThePluginInterface) {
  Host host;
  // Every service of the host contract, those the library does not ask for included.
  for (const host_contract::ServiceRow& row : host_contract::kServices) {
    EXPECT_NE(Host::Resolve(row.name), nullptr) << row.name;
  }
  EXPECT_EQ(std::size(host_contract::kServices), 32u);
  EXPECT_EQ(Host::Resolve("REALGetPropValueDouble"), nullptr);
  EXPECT_EQ(Host::Resolve(nullptr), nullptr);
  EXPECT_EQ(host.Lookups("REALLockString"), 1u);
  EXPECT_EQ(host.Lookups("REALGetPropValueDouble"), 1u);
  EXPECT_DOUBLE_EQ(Service<VersionFn>("REALGetRBVersion")(), 2021.03);
  EXPECT_EQ(host.Calls("REALGetRBVersion"), 1u);
}

TEST(SimhostResolver, WithheldServicesAndVersionAreNotOffered) {
  Options options;
  options.version = std::nullopt;
  options.withheld = {"REALGetPropValueColor", "PluginGetStringData"};
  Host host(options);
  EXPECT_EQ(Host::Resolve("REALGetRBVersion"), nullptr);
  EXPECT_EQ(Host::Resolve("REALGetPropValueColor"), nullptr);
  EXPECT_EQ(Host::Resolve("PluginGetStringData"), nullptr);
  EXPECT_NE(Host::Resolve("REALGetPropValueInteger"), nullptr);
  host.options().withheld.clear();
  EXPECT_NE(Host::Resolve("REALGetPropValueColor"), nullptr);
  EXPECT_EQ(host.Lookups("REALGetPropValueColor"), 2u);
}

TEST(SimhostResolver, TheNewestHostIsCurrentUntilItEnds) {
  Host outer;
  EXPECT_EQ(Host::Current(), &outer);
  {
    Options options;
    options.version = 2012.0;
    Host inner(options);
    EXPECT_EQ(Host::Current(), &inner);
    EXPECT_DOUBLE_EQ(Service<VersionFn>("REALGetRBVersion")(), 2012.0);
  }
  EXPECT_EQ(Host::Current(), &outer);
  EXPECT_DOUBLE_EQ(Service<VersionFn>("REALGetRBVersion")(), 2021.03);
}

TEST(SimhostResolver, CountsCallsPerServiceAndResets) {
  Host host;
  REALstring s = host.NewStringUTF8("x");
  Service<StringFn>("REALLockString")(s);
  Service<StringFn>("REALUnlockString")(s);
  Service<StringFn>("REALUnlockString")(s);
  EXPECT_EQ(host.Calls("REALLockString"), 1u);
  EXPECT_EQ(host.Calls("REALUnlockString"), 2u);
  EXPECT_EQ(host.AllCalls(),
            (std::map<std::string, uint64_t>{{"REALLockString", 1}, {"REALUnlockString", 2}}));
  host.ResetCounters();
  EXPECT_EQ(host.Calls("REALUnlockString"), 0u);
  EXPECT_EQ(host.Lookups("REALLockString"), 0u);
  EXPECT_TRUE(host.AllCalls().empty());
}

// --- registration records -------------------------------------------------------------------

struct ClassRecord {
  REALattribute hidden[1] = {{"Hidden", ""}};
  REALmethodDefinition methods[1] = {{kFunction, kSetter, "Data(Flag as boolean = false) as string",
                                      kDesktopWebConsole, 1, hidden}};
  REALproperty properties[1] = {
      {nullptr, "Plain", "Integer", 0x20, kFunction, nullptr, 0, nullptr, 0, nullptr, 1, hidden}};
  REALproperty shared[1] = {{nullptr, "Shared", "Boolean", kDebuggingPropertyFlags, kFunction,
                             kSetter, 0, nullptr, 0, nullptr, 0, nullptr}};
  REALclassDefinition definition{};
  explicit ClassRecord(uint32_t version) {
    definition.version = version;
    definition.name = "StyledText";
    PointAt(definition.methods, definition.methodCount, methods);
    PointAt(definition.properties, definition.propertyCount, properties);
    PointAt(definition.sharedProperties, definition.sharedPropertyCount, shared);
    definition.flags = kDesktopWebConsole;
  }
};

TEST(SimhostRegistration, ClassExtensionOfTheCurrentLayout) {
  Host host;
  ClassRecord record(13);
  Service<AnnounceFn>("RegisterPluginVersion")(13);
  Service<RegisterClassFn>("PluginRegisterClassExtension")(&record.definition);
  EXPECT_EQ(host.AnnouncedVersion(), std::optional<int32_t>(13));
  ASSERT_EQ(host.Registrations().size(), 1u);
  const Registration& r = host.Registrations()[0];
  EXPECT_EQ(r.kind, Registration::Kind::kClassExtension);
  EXPECT_EQ(r.record, &record.definition);
  EXPECT_EQ(r.name, "StyledText");
  EXPECT_EQ(r.version, 13u);
  EXPECT_EQ(r.flags, kDesktopWebConsole);
  ASSERT_EQ(r.methods.size(), 1u);
  EXPECT_EQ(r.methods[0].declaration, "Data(Flag as boolean = false) as string");
  EXPECT_EQ(r.methods[0].function, kFunction);
  EXPECT_EQ(r.methods[0].setter, kSetter);
  EXPECT_EQ(r.methods[0].flags, kDesktopWebConsole);
  EXPECT_EQ(r.methods[0].attributes,
            (std::vector<std::pair<std::string, std::string>>{{"Hidden", ""}}));
  ASSERT_EQ(r.properties.size(), 2u);  // the class's properties, then its shared ones
  EXPECT_EQ(r.properties[0].name, "Plain");
  EXPECT_EQ(r.properties[0].type, "Integer");
  EXPECT_EQ(r.properties[0].attributes.size(), 1u);
  EXPECT_EQ(r.properties[1].name, "Shared");
  EXPECT_EQ(r.properties[1].flags, kDebuggingPropertyFlags);
  EXPECT_EQ(r.properties[1].getter, kFunction);
  EXPECT_EQ(r.properties[1].setter, kSetter);
}

TEST(SimhostRegistration, OlderVersionsAreReadOnlyAsFarAsTheirLayoutGoes) {
  Host host;
  ClassRecord v9(9), v6(6);
  Service<RegisterClassFn>("PluginRegisterClassExtension")(&v9.definition);
  Service<RegisterClassFn>("PluginRegisterClassExtension")(&v6.definition);
  ASSERT_EQ(host.Registrations().size(), 2u);
  const Registration& r9 = host.Registrations()[0];
  EXPECT_EQ(r9.flags, kDesktopWebConsole);
  ASSERT_EQ(r9.methods.size(), 1u);
  EXPECT_TRUE(r9.methods[0].attributes.empty());  // attributes came with version 10
  ASSERT_EQ(r9.properties.size(), 2u);
  EXPECT_TRUE(r9.properties[0].attributes.empty());
  const Registration& r6 = host.Registrations()[1];
  EXPECT_EQ(r6.flags, 0u);  // no flags words yet
  EXPECT_EQ(r6.methods[0].flags, 0u);
  EXPECT_EQ(r6.properties.size(), 1u);  // no shared properties yet
}

TEST(SimhostRegistration, ArraysAreSteppedWithTheElementSizeOfTheVersion) {
  // Method records as a version 9 plug-in lays them out: no attribute fields.
  struct MethodV9 {
    REALproc function, setter;
    const char* declaration;
    uint32_t flags;
  };
  static_assert(sizeof(MethodV9) == offsetof(REALmethodDefinition, attributeCount), "layout");
  MethodV9 methods[2] = {{kFunction, nullptr, "First() as string", 0x14},
                         {kSetter, nullptr, "Second(assigns v as string)", 0x24}};
  REALmoduleDefinition module{};
  module.version = 9;
  module.name = "M";
  module.methods = reinterpret_cast<REALmethodDefinition*>(methods);
  module.methodCount = 2;
  Host host;
  Service<RegisterModuleFn>("PluginRegisterModule")(&module);
  const Registration& r = host.Registrations().at(0);
  EXPECT_EQ(r.kind, Registration::Kind::kModule);
  ASSERT_EQ(r.methods.size(), 2u);
  EXPECT_EQ(r.methods[1].declaration, "Second(assigns v as string)");
  EXPECT_EQ(r.methods[1].function, kSetter);
  EXPECT_EQ(r.methods[1].flags, 0x24u);
}

TEST(SimhostRegistration, ModuleFlagsAndPropertiesDependOnTheVersion) {
  REALattribute hidden[1] = {{"Hidden", ""}};
  REALproperty debugging[1] = {{nullptr, "Debugging", "Boolean", kDebuggingPropertyFlags, kFunction,
                                kSetter, 0, nullptr, 0, nullptr, 1, hidden}};
  REALmoduleDefinition module{};
  module.name = "StyledTextPendlowExtensionZVK";
  module.properties = debugging;
  module.propertyCount = 1;
  module.flags = 4;
  Host host;
  auto registerModule = Service<RegisterModuleFn>("PluginRegisterModule");
  for (uint32_t version : {8u, 13u, 14u}) {
    module.version = version;
    registerModule(&module);
  }
  ASSERT_EQ(host.Registrations().size(), 3u);
  EXPECT_TRUE(host.Registrations()[0].properties.empty());  // reserved slots before 9
  EXPECT_EQ(host.Registrations()[0].flags, 0u);
  EXPECT_EQ(host.Registrations()[1].flags, 0u);  // beyond the end of a version 13 record
  ASSERT_EQ(host.Registrations()[1].properties.size(), 1u);
  EXPECT_EQ(host.Registrations()[1].properties[0].name, "Debugging");
  EXPECT_EQ(host.Registrations()[1].properties[0].attributes,
            (std::vector<std::pair<std::string, std::string>>{{"Hidden", ""}}));
  EXPECT_EQ(host.Registrations()[2].flags, 4u);
  EXPECT_EQ(host.Registrations()[2].name, "StyledTextPendlowExtensionZVK");
}

// --- log capture ----------------------------------------------------------------------------

#if defined(_WIN32)

// Windows: the library's entries are OutputDebugStringA strings, one entry each.
TEST(SimhostLog, CapturesDebugOutputLineByLine) {
  Host host;
  host.BeginLogCapture();
  OutputDebugStringA("ZVK Debug: first\n");
  host.BeginLogCapture();  // nested: still the same capture
  OutputDebugStringA("ZVK Debug: second\nno newline");
  host.EndLogCapture();
  EXPECT_TRUE(host.Log().empty());  // read back only when the outermost capture ends
  host.EndLogCapture();
  EXPECT_EQ(host.Log(),
            (std::vector<std::string>{"ZVK Debug: first", "ZVK Debug: second", "no newline"}));
  OutputDebugStringA("ZVK Debug: after the capture\n");
  host.EndLogCapture();  // unbalanced: ignored
  EXPECT_EQ(host.Log().size(), 3u);
  host.ClearLog();
  EXPECT_TRUE(host.Log().empty());
}

TEST(SimhostLog, CapturesManyEntriesInOrder) {
  Host host;
  host.BeginLogCapture();
  for (int i = 0; i < 500; ++i) OutputDebugStringA(("entry " + std::to_string(i) + "\n").c_str());
  host.EndLogCapture();
  ASSERT_EQ(host.Log().size(), 500u);
  for (int i = 0; i < 500; ++i) EXPECT_EQ(host.Log()[i], "entry " + std::to_string(i));
}

#else

ino_t StandardErrorInode() {
  struct stat s;
  fstat(2, &s);
  return s.st_ino;
}

TEST(SimhostLog, CapturesStandardErrorLineByLine) {
  Host host;
  ino_t before = StandardErrorInode();
  host.BeginLogCapture();
  EXPECT_NE(StandardErrorInode(), before);
  std::fprintf(stderr, "ZVK Debug: first\n");
  host.BeginLogCapture();  // nested: still the same capture
  const char raw[] = "ZVK Debug: second\nno newline";
  EXPECT_EQ(write(2, raw, sizeof raw - 1), static_cast<ssize_t>(sizeof raw - 1));
  host.EndLogCapture();
  EXPECT_TRUE(host.Log().empty());  // read back only when the outermost capture ends
  host.EndLogCapture();
  EXPECT_EQ(StandardErrorInode(), before);
  EXPECT_EQ(host.Log(),
            (std::vector<std::string>{"ZVK Debug: first", "ZVK Debug: second", "no newline"}));
  host.EndLogCapture();  // unbalanced: ignored
  host.ClearLog();
  EXPECT_TRUE(host.Log().empty());
}

#endif  // _WIN32

// --- loader ---------------------------------------------------------------------------------

Options WithVersion(double version) {
  Options options;
  options.version = version;
  return options;
}

TEST(SimhostPlugin, ModuleFormIsFoundWithItsDebuggingProperty) {
  Host host;
  Plugin plugin(host, SIMHOST_FAKE_PLUGIN_PATH);
  ASSERT_TRUE(plugin.loaded()) << plugin.error();
  EXPECT_EQ(host.AnnouncedVersion(), std::optional<int32_t>(13));
  EXPECT_TRUE(plugin.HasMember());
  EXPECT_TRUE(plugin.HasDebugging());
  EXPECT_NE(plugin.Symbol("REALPluginMain"), nullptr);
  REALobject st = host.NewStyledText();
  EXPECT_EQ(plugin.Get(st, true), "calls=1 self");
  plugin.Set(st, "hello", true);
  EXPECT_FALSE(plugin.Debugging());
  plugin.SetDebugging(true);
  EXPECT_TRUE(plugin.Debugging());
  EXPECT_EQ(host.Log(), (std::vector<std::string>{"fake: main", "fake: get 1", "fake: set 1 hello",
                                                  "fake: debugging 1"}));
  host.Release(st);
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_EQ(host.LiveObjects(), 0u);
  EXPECT_EQ(host.Misuses(), 0u);
}

TEST(SimhostPlugin, ClassExtensionFormOnOldHosts) {
  Host host(WithVersion(2012.5));
  Plugin plugin(host, SIMHOST_FAKE_PLUGIN_PATH);
  ASSERT_TRUE(plugin.loaded()) << plugin.error();
  EXPECT_EQ(host.Registrations().back().kind, Registration::Kind::kClassExtension);
  EXPECT_TRUE(plugin.HasMember());
  EXPECT_FALSE(plugin.HasDebugging());
  EXPECT_FALSE(plugin.Debugging());
  EXPECT_EQ(plugin.Get(nullptr), "calls=1 nil");
  plugin.Set(nullptr, "abc", false, kREALTextEncodingMacRoman);
  EXPECT_EQ(host.Log().back(), "fake: set 0 abc");
}

TEST(SimhostPlugin, EveryPluginIsAFreshInstance) {
  Host host;
  Plugin first(host, SIMHOST_FAKE_PLUGIN_PATH);
  Plugin second(host, SIMHOST_FAKE_PLUGIN_PATH);
  ASSERT_TRUE(first.loaded() && second.loaded());
  EXPECT_EQ(first.Get(nullptr), "calls=1 nil");
  EXPECT_EQ(first.Get(nullptr), "calls=2 nil");
  EXPECT_EQ(second.Get(nullptr), "calls=1 nil");
  EXPECT_EQ(host.Registrations().size(), 2u);
}

TEST(SimhostPlugin, LogCaptureCanBeSwitchedOff) {
#if defined(_WIN32)
  // The strings still reach the system's debug output, where another host (started first, so
  // not the plug-in's) watches.
  Host observer;
  Options options;
  options.captureLog = false;
  Host host(options);
  observer.BeginLogCapture();
  Plugin plugin(host, SIMHOST_FAKE_PLUGIN_PATH);
  plugin.Get(nullptr);
  observer.EndLogCapture();
  EXPECT_TRUE(host.Log().empty());
  EXPECT_EQ(observer.Log(), (std::vector<std::string>{"fake: main", "fake: get 0"}));
#else
  Options options;
  options.captureLog = false;
  Host host(options);
  testing::internal::CaptureStderr();
  Plugin plugin(host, SIMHOST_FAKE_PLUGIN_PATH);
  plugin.Get(nullptr);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(host.Log().empty());
  EXPECT_NE(err.find("fake: main\nfake: get 0\n"), std::string::npos);
#endif
}

TEST(SimhostPlugin, LoadFailuresAreReported) {
  Host host;
  Plugin missing(host, "/nonexistent/libNothing.so");
  EXPECT_FALSE(missing.loaded());
  EXPECT_NE(missing.error().find("/nonexistent/libNothing.so"), std::string::npos);
  EXPECT_FALSE(missing.HasMember());
  EXPECT_EQ(missing.Get(nullptr), "");

  std::string notLibrary = testing::TempDir() + "simhost-not-a-library.so";
  FILE* f = std::fopen(notLibrary.c_str(), "w");
  ASSERT_NE(f, nullptr);
  std::fputs("not an ELF file\n", f);
  std::fclose(f);
  Plugin garbage(host, notLibrary);
  std::remove(notLibrary.c_str());
  EXPECT_FALSE(garbage.loaded());
  EXPECT_NE(garbage.error().find("cannot load"), std::string::npos) << garbage.error();

  Plugin noEntry(host, SIMHOST_FAKE_PLUGIN_WITHOUT_ENTRY_PATH);
  EXPECT_FALSE(noEntry.loaded());
  EXPECT_NE(noEntry.error().find("lacks REALPluginMain"), std::string::npos) << noEntry.error();
  EXPECT_TRUE(host.Registrations().empty());
}

// Sets (or, for null, removes) an environment variable.
void SetVariable(const char* name, const char* value) {
#if defined(_WIN32)
  _putenv_s(name, value != nullptr ? value : "");
#else
  if (value != nullptr) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
#endif
}

TEST(SimhostPlugin, DefaultLibraryPathHonoursTheEnvironment) {
  const char* saved = std::getenv("PENDLOW_LIBRARY");
  std::string keep = saved != nullptr ? saved : "";
  SetVariable("PENDLOW_LIBRARY", "/somewhere/libPendlow.so");
  EXPECT_EQ(Plugin::DefaultLibraryPath(), "/somewhere/libPendlow.so");
  SetVariable("PENDLOW_LIBRARY", nullptr);
  EXPECT_EQ(Plugin::DefaultLibraryPath(), PENDLOW_LIBRARY_PATH);
  if (saved != nullptr) SetVariable("PENDLOW_LIBRARY", keep.c_str());
}

TEST(SimhostResolver, AnswersEveryPropertyOfTheContractOnItsClass) {
  Host host;
  REALobject st = host.NewStyledText();
  simhost::RunRecipe recipe;
  recipe.text = "ab\r";
  host.AppendRun(st, recipe);
  REALobject run = Method<IndexGetterFn>(st, kStyleRun)(st, 0);
  REALobject paragraph = Method<IndexGetterFn>(st, kParagraph)(st, 0);
  REALobject exception = Service<NewInstanceFn>("PluginNewInstance")("RuntimeException");
  ASSERT_NE(run, nullptr);
  ASSERT_NE(paragraph, nullptr);
  ASSERT_NE(exception, nullptr);
  for (const host_contract::PropertyRow& row : host_contract::kProperties) {
    const std::string classes = row.classes, type = row.type;
    REALobject o = classes.rfind("StyledText", 0) == 0  ? st
                   : classes.rfind("StyleRun", 0) == 0  ? run
                   : classes.rfind("Paragraph", 0) == 0 ? paragraph
                                                        : exception;
    bool answered = false;
    if (type == "String") {
      REALstring value = nullptr;
      answered = Service<GetStringPropFn>("REALGetPropValueString")(o, row.name, &value) != 0;
      if (value != nullptr) host.Release(value);
    } else if (type == "Integer") {
      RBInteger value = 0;
      answered = Service<GetIntegerPropFn>("REALGetPropValueInteger")(o, row.name, &value) != 0;
    } else if (type == "Boolean") {
      RBBoolean value = 0;
      answered = Service<GetBoolPropFn>("REALGetPropValueBool")(o, row.name, &value) != 0;
    } else if (type == "Color") {
      RBColor value = 0;
      answered = Service<GetColorPropFn>("REALGetPropValueColor")(o, row.name, &value) != 0;
    }
    EXPECT_TRUE(answered) << row.name << " on " << row.classes;
  }
  EXPECT_EQ(std::size(host_contract::kProperties), 15u);
  host.Release(exception);
  host.Release(paragraph);
  host.Release(run);
  host.Release(st);
  EXPECT_EQ(host.Misuses(), 0u) << host.LastMisuse();
}

}  // namespace
