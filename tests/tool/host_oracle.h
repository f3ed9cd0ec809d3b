// What the simulated host itself holds after the library's setter ran, read in-process without
// the tool, so that the tool's printed output can be checked against the host's own answer.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simhost/host.h"

namespace tooltest {

struct HostView {
  std::vector<simhost::Run> runs;
  std::vector<simhost::Paragraph> paragraphs;
  std::string text;  // UTF-8, the host's separators as they are
};

// Assigns the RTF to a fresh StyledText through the library's member and reads it back.
HostView ImportThroughHost(const std::string& rtf);

// Builds a StyledText from runs (and paragraph alignments by index) and returns the bytes the
// member's getter hands back.
std::string ExportThroughHost(const std::vector<simhost::RunRecipe>& runs,
                              const std::vector<int64_t>& alignments, bool skipParagraphs);

// A JSON string literal the way the tool's schema writes it: UTF-8 kept, quote, backslash and
// control characters escaped.
std::string JsonString(const std::string& utf8);

// The JSON line the tool writes for a run read from the host (without indentation or comma).
std::string JsonRunLine(const simhost::Run& run);

// "#RRGGBB".
std::string Hex6(uint32_t color);

// The text with each paragraph on a line of its own, as `import --text` prints it.
std::string TextLines(const HostView& view);

}  // namespace tooltest
