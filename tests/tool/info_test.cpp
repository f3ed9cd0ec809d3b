// `pendlow info`: what the library registers for a host version, checked against the
// registration records the simulated host decodes in-process.
#include <gtest/gtest.h>

#include <cstdio>

#include "simhost/host.h"
#include "tool_runner.h"
#include "support/host_options.h"
#include "support/text_checks.h"

namespace tooltest {
namespace {

using test_support::Contains;
using test_support::ContainsAll;

std::string Hex(uint32_t value) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "0x%X", value);
  return buffer;
}

std::vector<simhost::Registration> RegistrationsFor(std::optional<double> version) {
  simhost::Host host(test_support::HostOptions(version));
  std::vector<simhost::Registration> result;
  {
    simhost::Plugin plugin(host, LibraryPath());
    result = host.Registrations();
  }
  return result;
}

struct Case {
  const char* argument;
  std::optional<double> version;
};

class InfoForVersion : public ::testing::TestWithParam<Case> {};

TEST_P(InfoForVersion, ShowsEveryRecordTheHostReceived) {
  const Case& c = GetParam();
  ToolResult r = RunTool({"info", "--host-version", c.argument});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.rfind("Host version " + std::string(c.argument) + "\n", 0), 0u) << r.out;
  std::vector<simhost::Registration> registrations = RegistrationsFor(c.version);
  ASSERT_EQ(registrations.size(), 1u);
  const simhost::Registration& reg = registrations[0];
  bool module = reg.kind == simhost::Registration::Kind::kModule;
  // A module record older than version 14 has no flags word.
  std::string flags = module && reg.version < 14 ? ", no flags word" : ", flags " + Hex(reg.flags);
  EXPECT_TRUE(Contains(r.out, std::string(module ? "\nModule " : "\nClass extension of ") +
                                  reg.name + "\n  record version " + std::to_string(reg.version) +
                                  flags));
  for (const simhost::MethodRecord& m : reg.methods) {
    EXPECT_TRUE(
        Contains(r.out, "  method    " + m.declaration + "\n            flags " + Hex(m.flags)))
        << m.declaration << "\n"
        << r.out;
  }
  for (const simhost::PropertyRecord& p : reg.properties) {
    EXPECT_TRUE(Contains(
        r.out, "  property  " + p.name + " as " + p.type + "\n            flags " + Hex(p.flags)));
  }
  EXPECT_EQ(r.out.find("Debugging") != std::string::npos, module);
}

INSTANTIATE_TEST_SUITE_P(Versions, InfoForVersion,
                         ::testing::Values(Case{"2012.01", 2012.01}, Case{"2013.0", 2013.0},
                                           Case{"2019.03", 2019.03}, Case{"2021.03", 2021.03},
                                           Case{"3000", 3000.0}, Case{"none", std::nullopt}));

TEST(Info, ModuleHostSeesExtensionMethodsAndTheHiddenDebuggingProperty) {
  ToolResult r = RunTool({"info", "--host-version", "2021.03"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(ContainsAll(
      r.out, {"Module StyledTextPendlowExtensionZVK\n",
              "RTFDataZVK(extends ref as StyledText, SkipParagraphs as boolean = false, "
              "assigns value as string)\n",
              "RTFDataZVK(extends ref as StyledText, SkipParagraphs as boolean = false) "
              "as string\n",
              "  property  Debugging as Boolean\n            flags 0x26 (RuntimeOnly | "
              "All | Public); getter and setter; attributes: Hidden\n",
              "  announced control version: 13\n"}));
}

TEST(Info, OldHostSeesAClassExtensionWithGetterAndSetter) {
  ToolResult r = RunTool({"info", "--host-version", "2012.01"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(
      ContainsAll(r.out, {"Class extension of StyledText\n",
                          "  method    RTFDataZVK(SkipParagraphs as boolean = false) as string\n"
                          "            flags 0x4 (All); function and setter\n",
                          "  announced control version: 10\n"}));
}

TEST(Info, DefaultHostVersionIsTheSimulatedHostsDefault) {
  ToolResult plain = RunTool({"info"});
  ToolResult explicitVersion = RunTool({"info", "--host-version", "2021.03"});
  ASSERT_EQ(plain.status, 0) << plain.err;
  EXPECT_EQ(plain.out, explicitVersion.out);
}

// The IDE's release names are the numbers the host reports: 2012r1 is 2012.01.
TEST(Info, ReleaseNamesAreTheHostsVersionNumbers) {
  for (const auto& [release, number] : {std::pair<const char*, const char*>{"2012r1", "2012.01"},
                                        {"2018r2", "2018.02"},
                                        {"2021r3", "2021.03"},
                                        {"2024R4", "2024.04"},
                                        {"2019r10", "2019.10"}}) {
    ToolResult byName = RunTool({"info", "--host-version", release});
    ToolResult byNumber = RunTool({"info", "--host-version", number});
    ASSERT_EQ(byName.status, 0) << release << ": " << byName.err;
    ASSERT_EQ(byNumber.status, 0) << byNumber.err;
    std::vector<std::string> nameLines = Lines(byName.out);
    std::vector<std::string> numberLines = Lines(byNumber.out);
    ASSERT_FALSE(nameLines.empty());
    EXPECT_EQ(nameLines[0], "Host version " + std::string(number) + " (" + release + ")");
    EXPECT_EQ(std::vector<std::string>(nameLines.begin() + 1, nameLines.end()),
              std::vector<std::string>(numberLines.begin() + 1, numberLines.end()))
        << release;
  }
  // Old and new hosts really differ, so the comparison above can tell a wrong number.
  EXPECT_NE(RunTool({"info", "--host-version", "2012r1"}).out.find("Class extension of"),
            std::string::npos);
  EXPECT_NE(RunTool({"info", "--host-version", "2024r4"}).out.find("Module "), std::string::npos);
}

TEST(Info, ShowsTheLibraryItLoaded) {
  ToolResult r = RunTool({"info", "--library", LibraryPath()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "  library: " + LibraryPath() + "\n"));
}

}  // namespace
}  // namespace tooltest
