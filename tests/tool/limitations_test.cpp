// Every example of the README's Limitations section (kept in docs/limitations.md) run through
// `pendlow import`, so that the documented results and the member's behaviour cannot drift
// apart. An example is a fenced block of two lines: the RTF document, then "→ KIND VALUE" with
// KIND one of
//   text        the plain text (`import --text`, paragraphs joined by "\n"), as a JSON string
//   runs        the style runs' texts (`import --json`), each as a JSON string, space-separated
//   alignments  the paragraphs' alignments by name (default, left, center, right)
#include <gtest/gtest.h>

#include <regex>

#include "host_oracle.h"  // JsonString
#include "tool_runner.h"

namespace tooltest {
namespace {

struct Example {
  int line = 0;  // of the RTF in the docs file
  std::string rtf, kind, value;
};

std::string LimitationsFile() {
  return std::string(PENDLOW_SOURCE_DIR) + "/docs/limitations.md";
}

std::string Trim(const std::string& text) {
  size_t from = text.find_first_not_of(' ');
  return from == std::string::npos ? "" : text.substr(from);
}

std::vector<Example> Examples() {
  std::vector<Example> examples;
  std::vector<std::string> lines = Lines(ReadFile(LimitationsFile()));
  const std::string arrow = "\xE2\x86\x92 ";  // "→ "
  for (size_t i = 0; i + 2 < lines.size(); ++i) {
    if (Trim(lines[i]) != "```") continue;
    std::string result = Trim(lines[i + 2]);
    if (result.rfind(arrow, 0) != 0) continue;
    Example example;
    example.line = static_cast<int>(i + 2);
    example.rtf = Trim(lines[i + 1]);
    result = result.substr(arrow.size());
    size_t space = result.find(' ');
    example.kind = result.substr(0, space);
    example.value = space == std::string::npos ? "" : result.substr(space + 1);
    examples.push_back(example);
  }
  return examples;
}

std::string AlignmentName(int64_t alignment) {
  static const char* const kNames[] = {"default", "left", "center", "right"};
  return alignment >= 0 && alignment <= 3 ? kNames[alignment] : std::to_string(alignment);
}

// What the tool prints for the example's kind, written the way the docs write it.
std::string Observed(const Example& example, const std::string& file) {
  if (example.kind == "text") {
    ToolResult r = RunTool({"import", "--text", file});
    EXPECT_EQ(r.status, 0) << r.err;
    std::string text = r.out;
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return JsonString(text);
  }
  ToolResult r = RunTool({"import", "--json", file});
  EXPECT_EQ(r.status, 0) << r.err;
  std::string out;
  if (example.kind == "runs") {
    static const std::regex run(R"(\{"text": ("(?:[^"\\]|\\.)*"), "font")");
    for (std::sregex_iterator it(r.out.begin(), r.out.end(), run), end; it != end; ++it) {
      out += (out.empty() ? "" : " ") + (*it)[1].str();
    }
  } else if (example.kind == "alignments") {
    static const std::regex paragraph(R"(\{"start": \d+, "end": \d+, "alignment": (-?\d+)\})");
    for (std::sregex_iterator it(r.out.begin(), r.out.end(), paragraph), end; it != end; ++it) {
      out += (out.empty() ? "" : " ") + AlignmentName(std::stoll((*it)[1].str()));
    }
  } else {
    ADD_FAILURE() << "unknown kind '" << example.kind << "'";
  }
  return out;
}

TEST(Limitations, TheSectionHasItsExamples) {
  std::vector<Example> examples = Examples();
  EXPECT_GE(examples.size(), 8u);
  for (const Example& example : examples) {
    EXPECT_EQ(example.rtf.rfind("{\\rtf1", 0), 0u) << "line " << example.line;
  }
}

TEST(Limitations, EveryExampleGivesWhatTheSectionSays) {
  TempDir dir;
  for (const Example& example : Examples()) {
    std::string file = dir.File("example.rtf");
    WriteFile(file, example.rtf);
    EXPECT_EQ(Observed(example, file), example.value)
        << LimitationsFile() << ":" << example.line << ": " << example.rtf;
  }
}

}  // namespace
}  // namespace tooltest
