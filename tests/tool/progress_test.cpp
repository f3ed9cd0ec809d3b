// The progress line: shown on a terminal for large inputs only, and wiped when done.
#include <gtest/gtest.h>

#include "tool_runner.h"
#include "support/text_checks.h"

namespace tooltest {
namespace {

using test_support::Contains;
using test_support::Lacks;

// An RTF document of a little over `bytes` bytes: a few long runs, so that the library's time
// goes into reading bytes rather than into building many runs.
std::string LargeRtf(size_t bytes) {
  std::string rtf = "{\\rtf1\\ansi{\\fonttbl\\f0 Arial;}\\f0\\b Large document\\b0\\par ";
  const std::string sentence = "A plain sentence in a long paragraph of a large document. ";
  while (rtf.size() < bytes) rtf += sentence;
  return rtf + "}";
}

TEST(Progress, LargeInputOnATerminalShowsAndWipesTheLine) {
  if (!TerminalsAvailable()) GTEST_SKIP() << "no pseudo-terminals on this machine";
  RunOptions options;
  options.input = LargeRtf(5u << 20);
  options.stderrTerminal = true;
  ToolResult r = RunTool({"import", "--text", "-"}, options);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.err, "\r\033[Kpendlow: importing <stdin> (5.2 MB) ... "));
  EXPECT_EQ(r.err.substr(r.err.size() - 4), "\r\033[K");  // the line is gone at the end
  EXPECT_FALSE(r.out.empty());
}

TEST(Progress, NotShownWhenStandardErrorIsNotATerminal) {
  ToolResult r = RunWithInput({"import", "--text", "-"}, LargeRtf(5u << 20));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
}

TEST(Progress, NotShownForSmallInputs) {
  if (!TerminalsAvailable()) GTEST_SKIP() << "no pseudo-terminals on this machine";
  RunOptions options;
  options.input = LargeRtf(100000);
  options.stderrTerminal = true;
  ToolResult r = RunTool({"import", "--text", "-"}, options);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Lacks(r.err, "pendlow:"));
}

TEST(Progress, RoundTripOfALargeInputAlsoShowsIt) {
  if (!TerminalsAvailable()) GTEST_SKIP() << "no pseudo-terminals on this machine";
  RunOptions options;
  options.input = LargeRtf(5u << 20);
  options.stderrTerminal = true;
  ToolResult r = RunTool({"roundtrip", "-"}, options);
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_TRUE(Contains(r.err, "pendlow: round trip of <stdin> ("));
}

}  // namespace
}  // namespace tooltest
