// The HTML page in a real browser: scripts/html_screenshot.sh renders it in headless Chromium,
// saves a screenshot and compares the text the browser shows with the document's text.
#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "tool_runner.h"
#include "support/text_checks.h"

namespace tooltest {
namespace {

using test_support::Contains;

#if defined(_WIN32)

TEST(HtmlInChromium, RendersAndShowsTheDocumentsText) {
  GTEST_SKIP() << "the check drives Linux's headless Chromium through a shell script, which a "
                  "Windows program (under wine) cannot start; the page is checked on Linux";
}

#else

constexpr const char* kChromium = "/usr/bin/chromium";

struct ScriptResult {
  int status = -1;
  std::string output;
};

ScriptResult RunScript(const std::string& arguments) {
  std::string command = "PENDLOW_TOOL='" + ToolPath() + "' CHROMIUM='" + kChromium + "' '" +
                        std::string(PENDLOW_SOURCE_DIR) + "/scripts/html_screenshot.sh' " +
                        arguments + " 2>&1";
#ifdef PENDLOW_TOOL_EMULATOR
  // A cross build's tool runs through the emulator that runs the tests.
  const std::vector<std::string> words = PENDLOW_TOOL_EMULATOR;
  std::string emulator;
  for (const std::string& word : words) emulator += (emulator.empty() ? "" : " ") + word;
  command = "PENDLOW_TOOL_EMULATOR='" + emulator + "' " + command;
#endif
  ScriptResult result;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[4096];
  size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) result.output.append(buffer, got);
  int status = ::pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

uint32_t BigEndian32(const std::string& bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

class HtmlInChromium : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (::access(kChromium, X_OK) != 0) {
      GTEST_SKIP() << "Chromium is not installed at " << kChromium
                   << " (apt-get install chromium); the HTML page was not rendered";
    }
  }
};

TEST_P(HtmlInChromium, RendersAndShowsTheDocumentsText) {
  TempDir dir;
  std::string png = dir.File("shot.png");
  ScriptResult r = RunScript("-o '" + png + "' -s 900,600 '" + SamplePath(GetParam()) + "'");
  ASSERT_EQ(r.status, 0) << r.output;
  EXPECT_TRUE(Contains(r.output, "the page shows the document's text"));
  std::string image = ReadFile(png);
  ASSERT_GT(image.size(), 24u);
  EXPECT_EQ(image.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(image.substr(12, 4), "IHDR");
  EXPECT_EQ(BigEndian32(image, 16), 900u);  // width
  EXPECT_EQ(BigEndian32(image, 20), 600u);  // height
}

INSTANTIATE_TEST_SUITE_P(Samples, HtmlInChromium, ::testing::Values("welcome.rtf", "codepages.rtf"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                           return std::string(info.param).substr(0, 7) == "welcome"
                                      ? std::string("Welcome")
                                      : std::string("Codepages");
                         });

TEST(HtmlInChromiumCheck, WrongExpectedTextIsReported) {
  if (::access(kChromium, X_OK) != 0) {
    GTEST_SKIP() << "Chromium is not installed at " << kChromium;
  }
  TempDir dir;
  WriteFile(dir.File("expected.txt"), "Welcome to Pendlow\nsomething else\n");
  ScriptResult r = RunScript("-o '" + dir.File("shot.png") + "' -e '" + dir.File("expected.txt") +
                             "' '" + SamplePath("welcome.rtf") + "'");
  EXPECT_EQ(r.status, 1) << r.output;
  EXPECT_TRUE(Contains(r.output, "the page's visible text differs"));
}

// Which face each run got in the browser: its rendered width against the same text in the
// generic faces. PostScript names no font carries must still land in the right kind of face.
TEST(HtmlInChromiumCheck, PostScriptFontNamesRenderInTheirGenericFace) {
  if (::access(kChromium, X_OK) != 0) {
    GTEST_SKIP() << "Chromium is not installed at " << kChromium;
  }
  struct Expected {
    const char* font;
    size_t generic;  // column of the generic face's width: 1 serif, 2 sans-serif, 3 monospace
  };
  const Expected expected[] = {{"ArialMT", 2},        {"Helvetica-BoldOblique", 2},
                               {"Times-Roman", 1},    {"TimesNewRomanPSMT", 1},
                               {"CourierNewPSMT", 3}, {"Menlo-Regular", 3}};
  const std::string line = "The quick brown fox jumps over the lazy dog";
  std::string rtf = "{\\rtf1{\\fonttbl";
  for (size_t i = 0; i < std::size(expected); ++i) {
    rtf += "\\f" + std::to_string(i) + " " + expected[i].font + ";";
  }
  rtf += "}";
  for (size_t i = 0; i < std::size(expected); ++i) {
    rtf += "\\f" + std::to_string(i) + " " + line + "\\par ";
  }
  rtf += "}";
  TempDir dir;
  WriteFile(dir.File("fonts.rtf"), rtf);
  ScriptResult r = RunScript("-o '" + dir.File("shot.png") + "' -m '" + dir.File("widths.tsv") +
                             "' '" + dir.File("fonts.rtf") + "'");
  ASSERT_EQ(r.status, 0) << r.output;
  std::vector<std::vector<std::string> > rows;
  for (const std::string& row : Lines(ReadFile(dir.File("widths.tsv")))) {
    std::vector<std::string> cells;
    size_t start = 0;
    for (size_t tab; (tab = row.find('\t', start)) != std::string::npos; start = tab + 1) {
      cells.push_back(row.substr(start, tab - start));
    }
    cells.push_back(row.substr(start));
    ASSERT_EQ(cells.size(), 6u) << row;
    rows.push_back(cells);
  }
  ASSERT_EQ(rows.size(), std::size(expected));
  // The generic faces must differ from one another here, or widths cannot tell them apart.
  const std::vector<std::string>& first = rows[0];
  if (first[1] == first[2] || first[2] == first[3] || first[1] == first[3]) {
    GTEST_SKIP() << "serif, sans-serif and monospace text have the same width on this machine ("
                 << first[1] << ", " << first[2] << ", " << first[3]
                 << " px): its fonts cannot tell the faces apart";
  }
  for (size_t i = 0; i < rows.size(); ++i) {
    const std::vector<std::string>& cells = rows[i];
    EXPECT_EQ(cells[5], line);
    EXPECT_EQ(cells[4].rfind(expected[i].font, 0), 0u) << cells[4];
    for (size_t generic = 1; generic <= 3; ++generic) {
      if (generic == expected[i].generic) {
        EXPECT_EQ(cells[0], cells[generic]) << expected[i].font << " in " << cells[4];
      } else {
        EXPECT_NE(cells[0], cells[generic]) << expected[i].font << " in " << cells[4];
      }
    }
  }
}

#endif  // _WIN32

}  // namespace
}  // namespace tooltest
