// What the entry point asks the host for, and in which order: the host version first, then the
// record version announcement, then the one registration service of that host generation.
// The library is loaded here with a recording resolver in front of the simulated host's.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../../simhost/src/plugin_loader.h"  // the host's own loader, for a private copy
#include "simhost/host.h"
#include "support/host_options.h"

namespace {

typedef void(RBCALL* PluginMainFn)(REALResolver);

std::vector<std::string>* gAsked = nullptr;

void* RBCALL RecordingResolver(const char* name) {
  if (gAsked != nullptr) gAsked->push_back(name);
  return simhost::Host::Resolve(name);
}

// Loads a private copy of the library (fresh globals and caches) and returns its entry point.
PluginMainFn LoadFreshCopy() {
  std::string error;
  // Never unloaded: the host keeps pointers into the registration records.
  void* handle = simhost::LoadPrivateCopy(PENDLOW_LIBRARY_PATH, &error);
  EXPECT_NE(handle, nullptr) << error;
  return handle != nullptr
             ? reinterpret_cast<PluginMainFn>(simhost::FindSymbol(handle, "REALPluginMain"))
             : nullptr;
}

std::vector<std::string> Enter(simhost::Host& host, REALResolver resolver) {
  PluginMainFn pluginMain = LoadFreshCopy();
  EXPECT_NE(pluginMain, nullptr);
  if (pluginMain == nullptr) return {};
  std::vector<std::string> asked;
  gAsked = &asked;
  host.BeginLogCapture();
  pluginMain(resolver);
  host.EndLogCapture();
  gAsked = nullptr;
  return asked;
}

// What the library asks the host for on entry: the version, the announcement, then the given
// registration service.
std::vector<std::string> AskedInOrder(const std::string& registration) {
  return {"REALGetRBVersion", "RegisterPluginVersion", registration};
}

TEST(EntrySequence, ModuleHostIsAskedVersionThenAnnouncementThenModuleRegistration) {
  simhost::Host host(test_support::HostOptions(2019.0));
  EXPECT_EQ(Enter(host, &RecordingResolver), AskedInOrder("PluginRegisterModule"));
  EXPECT_EQ(host.Calls("REALGetRBVersion"), 1u);
  EXPECT_EQ(host.Calls("RegisterPluginVersion"), 1u);
  EXPECT_EQ(host.Calls("PluginRegisterModule"), 1u);
  EXPECT_EQ(host.AnnouncedVersion(), 13);
  EXPECT_EQ(host.Registrations().size(), 1u);
  EXPECT_TRUE(host.Log().empty());
}

TEST(EntrySequence, OldHostIsAskedForClassExtensionRegistration) {
  simhost::Host host(test_support::HostOptions(2012.0));
  EXPECT_EQ(Enter(host, &RecordingResolver), AskedInOrder("PluginRegisterClassExtension"));
  EXPECT_EQ(host.Calls("PluginRegisterClassExtension"), 1u);
  EXPECT_EQ(host.AnnouncedVersion(), 10);
}

TEST(EntrySequence, HostWithoutVersionServiceIsTreatedAsOld) {
  simhost::Host host(test_support::HostOptions(std::nullopt));
  EXPECT_EQ(Enter(host, &RecordingResolver), AskedInOrder("PluginRegisterClassExtension"));
  EXPECT_EQ(host.AnnouncedVersion(), 9);
  ASSERT_EQ(host.Registrations().size(), 1u);
  EXPECT_EQ(host.Registrations()[0].kind, simhost::Registration::Kind::kClassExtension);
  EXPECT_EQ(host.Registrations()[0].version, 9u);
}

TEST(EntrySequence, MissingRegistrationServiceIsAskedOnceAndNothingIsLogged) {
  simhost::Host host(test_support::HostOptions(3000.0, {"PluginRegisterClassExtension"}));
  EXPECT_EQ(Enter(host, &RecordingResolver), AskedInOrder("PluginRegisterClassExtension"));
  EXPECT_EQ(host.AnnouncedVersion(), 13);
  EXPECT_TRUE(host.Registrations().empty());
  EXPECT_TRUE(host.Log().empty());
}

TEST(EntrySequence, NullResolverRegistersNothing) {
  simhost::Host host;
  EXPECT_TRUE(Enter(host, nullptr).empty());
  EXPECT_FALSE(host.AnnouncedVersion().has_value());
  EXPECT_TRUE(host.Registrations().empty());
  EXPECT_TRUE(host.Log().empty());
  EXPECT_EQ(host.Calls("REALGetRBVersion"), 0u);
}

}  // namespace
