// What the host sees when it loads the library: the record version announced, and the member
// registered as a class extension or as a module, on every host generation.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "pe_file.h"
#include "simhost/host.h"
#include "support/host_options.h"

namespace {

using simhost::Registration;

constexpr const char* kMember = "RTFDataZVK(SkipParagraphs as boolean = false) as string";
constexpr const char* kGetter =
    "RTFDataZVK(extends ref as StyledText, SkipParagraphs as boolean = false) as string";
constexpr const char* kSetter =
    "RTFDataZVK(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as "
    "string)";

struct Expectation {
  std::optional<double> version;
  Registration::Kind kind;
  int32_t controlVersion;
  uint32_t methodFlags;
};

void PrintTo(const Expectation& e, std::ostream* os) {
  *os << (e.version ? std::to_string(*e.version) : std::string("no version service"));
}

class HostGeneration : public testing::TestWithParam<Expectation> {};

TEST_P(HostGeneration, RegistersTheMemberForThatHost) {
  const Expectation& e = GetParam();
  simhost::Host host(test_support::HostOptions(e.version));
  simhost::Plugin plugin(host);
  ASSERT_TRUE(plugin.loaded()) << plugin.error();

  ASSERT_EQ(host.AnnouncedVersion(), e.controlVersion);
  ASSERT_EQ(host.Registrations().size(), 1u);
  const Registration& r = host.Registrations()[0];
  EXPECT_EQ(r.kind, e.kind);
  EXPECT_EQ(r.version, static_cast<uint32_t>(e.controlVersion));
  EXPECT_TRUE(plugin.HasMember());

  if (e.kind == Registration::Kind::kClassExtension) {
    EXPECT_EQ(r.name, "StyledText");
    auto* cls = static_cast<const REALclassDefinition*>(r.record);
    EXPECT_EQ(cls->flags, e.methodFlags);
    ASSERT_EQ(r.methods.size(), 1u);
    EXPECT_EQ(r.methods[0].declaration, kMember);
    EXPECT_EQ(r.methods[0].flags, e.methodFlags);
    EXPECT_NE(r.methods[0].function, nullptr);
    EXPECT_NE(r.methods[0].setter, nullptr);
    EXPECT_TRUE(r.properties.empty());
    EXPECT_FALSE(plugin.HasDebugging());
    EXPECT_EQ(cls->superName, nullptr);
    EXPECT_EQ(cls->dataSize, 0u);
    EXPECT_EQ(cls->propertyCount, 0u);
    EXPECT_EQ(cls->sharedMethodCount, 0u);
  } else {
    EXPECT_EQ(r.name, "StyledTextPendlowExtensionZVK");
    auto* module = static_cast<const REALmoduleDefinition*>(r.record);
    EXPECT_EQ(module->flags, 4u);
    EXPECT_EQ(module->constantCount, 0u);
    ASSERT_EQ(r.methods.size(), 2u);
    // The setter precedes its getter.
    EXPECT_EQ(r.methods[0].declaration, kSetter);
    EXPECT_EQ(r.methods[1].declaration, kGetter);
    for (const auto& m : r.methods) {
      EXPECT_EQ(m.flags, e.methodFlags | 0x10) << m.declaration;
      EXPECT_NE(m.function, nullptr);
      EXPECT_EQ(m.setter, nullptr);
    }
    EXPECT_NE(r.methods[0].function, r.methods[1].function);
    // The spare bytes behind the method array stay zero.
    auto* spare = reinterpret_cast<const unsigned char*>(module->methods + module->methodCount);
    for (int i = 0; i < 16; i++) EXPECT_EQ(spare[i], 0) << i;

    ASSERT_EQ(r.properties.size(), 1u);
    const auto& debugging = r.properties[0];
    EXPECT_EQ(debugging.name, "Debugging");
    EXPECT_EQ(debugging.type, "Boolean");
    EXPECT_EQ(debugging.flags, 0x26u);
    ASSERT_EQ(debugging.attributes.size(), 1u);
    EXPECT_EQ(debugging.attributes[0].first, "Hidden");
    EXPECT_EQ(debugging.attributes[0].second, "");
    EXPECT_TRUE(plugin.HasDebugging());
  }
  EXPECT_TRUE(host.Log().empty()) << host.Log()[0];
}

INSTANTIATE_TEST_SUITE_P(
    Hosts, HostGeneration,
    testing::Values(Expectation{std::nullopt, Registration::Kind::kClassExtension, 9, 0x4},
                    Expectation{2011.04, Registration::Kind::kClassExtension, 9, 0x4},
                    Expectation{2012.99, Registration::Kind::kClassExtension, 10, 0x4},
                    Expectation{2013.0, Registration::Kind::kModule, 11, 0x4},
                    Expectation{2013.03, Registration::Kind::kModule, 12, 0x4},
                    Expectation{2013.04, Registration::Kind::kModule, 13, 0x4},
                    Expectation{2019.0, Registration::Kind::kModule, 13, 0x4},
                    Expectation{2019.03, Registration::Kind::kModule, 13, 0x4},
                    Expectation{2020.02, Registration::Kind::kModule, 13, 0x308},
                    Expectation{3000.0, Registration::Kind::kClassExtension, 13, 0x308}));

TEST(Registration, DebuggingPropertyStoresAnyNonZeroAsTrue) {
  simhost::Host host;
  simhost::Plugin plugin(host);
  ASSERT_TRUE(plugin.loaded()) << plugin.error();
  ASSERT_EQ(host.Registrations().size(), 1u);
  const auto& property = host.Registrations()[0].properties.at(0);
  auto get = reinterpret_cast<RBBoolean(RBCALL*)()>(property.getter);
  auto set = reinterpret_cast<void(RBCALL*)(RBBoolean)>(property.setter);
  EXPECT_EQ(get(), 0) << "debugging starts switched off";
  set(2);
  EXPECT_EQ(get(), 1);
  set(0);
  EXPECT_EQ(get(), 0);
  set(-1);
  EXPECT_EQ(get(), 1);
  EXPECT_TRUE(plugin.Debugging());
}

TEST(Registration, HostWithoutModuleRegistrationGetsNothingSilently) {
  simhost::Host host(test_support::HostOptions(2019.0, {"PluginRegisterModule"}));
  simhost::Plugin plugin(host);
  ASSERT_TRUE(plugin.loaded()) << plugin.error();
  EXPECT_EQ(host.AnnouncedVersion(), 13);
  EXPECT_TRUE(host.Registrations().empty());
  EXPECT_FALSE(plugin.HasMember());
  EXPECT_TRUE(host.Log().empty());
}

TEST(Registration, HostWithoutClassExtensionsGetsNothingSilently) {
  simhost::Host host(test_support::HostOptions(2012.0, {"PluginRegisterClassExtension"}));
  simhost::Plugin plugin(host);
  ASSERT_TRUE(plugin.loaded()) << plugin.error();
  EXPECT_TRUE(host.Registrations().empty());
  EXPECT_TRUE(host.Log().empty());
}

TEST(Registration, EveryLoadStartsFresh) {
  // Two loads in one process each announce their own host's version.
  simhost::Options old;
  old.version = 2012.5;
  {
    simhost::Host host(old);
    simhost::Plugin plugin(host);
    EXPECT_EQ(host.AnnouncedVersion(), 10);
    EXPECT_EQ(host.Registrations().at(0).kind, Registration::Kind::kClassExtension);
  }
  {
    simhost::Host host;
    simhost::Plugin plugin(host);
    EXPECT_EQ(host.AnnouncedVersion(), 13);
    EXPECT_EQ(host.Registrations().at(0).kind, Registration::Kind::kModule);
  }
}

#if defined(_WIN32)

// The DLL's own tables, as the Windows loader reads them.
TEST(Registration, LibraryExportsOnlyItsEntryPoint) {
  const pefile::Tables tables = pefile::Read(PENDLOW_LIBRARY_PATH);
  ASSERT_EQ(tables.error, "");
  // Undecorated on 32-bit Windows too (cdecl), so the host finds it by its plain name.
  EXPECT_EQ(tables.exports, std::vector<std::string>{"REALPluginMain"});
}

TEST(Registration, LibraryNeedsOnlySystemDlls) {
  // The C and C++ runtimes are linked in: nothing has to be installed beside the DLL.
  const pefile::Tables tables = pefile::Read(PENDLOW_LIBRARY_PATH);
  ASSERT_EQ(tables.error, "");
  ASSERT_FALSE(tables.imports.empty());
  for (std::string library : tables.imports) {
    for (char& c : library) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_TRUE(library == "kernel32.dll" || library == "msvcrt.dll") << library;
  }
}

#else

TEST(Registration, LibraryExportsOnlyItsEntryPoint) {
  std::string command = std::string("nm -D --defined-only '") + PENDLOW_LIBRARY_PATH + "'";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  ASSERT_NE(pipe, nullptr);
  std::string output;
  char line[512];
  while (fgets(line, sizeof line, pipe.get()) != nullptr) output += line;
  std::vector<std::string> symbols;
  size_t start = 0;
  while (start < output.size()) {
    size_t end = output.find('\n', start);
    std::string entry = output.substr(start, end - start);
    start = end == std::string::npos ? output.size() : end + 1;
    size_t space = entry.rfind(' ');
    if (entry.empty() || space == std::string::npos) continue;
    char type = entry[space - 1];
    if (type == 'A') continue;  // version-node markers, not symbols
    symbols.push_back(entry.substr(space + 1));
  }
  ASSERT_EQ(symbols.size(), 1u) << output;
  EXPECT_EQ(symbols[0], "REALPluginMain");
}

TEST(Registration, LibraryNeedsOnlyTheCAndCxxRuntimes) {
  std::string command = std::string("readelf -d '") + PENDLOW_LIBRARY_PATH + "'";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  ASSERT_NE(pipe, nullptr);
  const std::set<std::string> allowed = {
      "libstdc++.so.6", "libgcc_s.so.1",        "libc.so.6",
      "libm.so.6",      "ld-linux-x86-64.so.2", "ld-linux-aarch64.so.1"};
  std::vector<std::string> needed;
  char line[512];
  while (fgets(line, sizeof line, pipe.get()) != nullptr) {
    std::string entry = line;
    if (entry.find("(NEEDED)") == std::string::npos) continue;
    size_t open = entry.find('[');
    size_t close = entry.find(']', open);
    ASSERT_NE(close, std::string::npos) << entry;
    needed.push_back(entry.substr(open + 1, close - open - 1));
  }
  ASSERT_FALSE(needed.empty()) << "readelf gave no dynamic section";
  for (const std::string& library : needed) {
    // A sanitizer build links its runtimes; they are the build's, not the library's.
    bool sanitizerRuntime = library.rfind("libasan.", 0) == 0 || library.rfind("libubsan.", 0) == 0;
    EXPECT_TRUE(allowed.count(library) || sanitizerRuntime) << library;
  }
}

#endif  // _WIN32

}  // namespace
