#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "commands.h"
#include "console.h"
#include "formats.h"
#include "host_session.h"
#include "input_output.h"
#include "platform.h"
#include "tool_error.h"

namespace pendlow {

namespace {

std::string BaseName(const std::string& name) {
  size_t slash = name.find_last_of(kPathSeparators);
  return slash == std::string::npos ? name : name.substr(slash + 1);
}

// Colour blocks only for a person looking at a terminal that has not asked for plain output.
bool WantSwatches(const Options& options) {
  return !options.output && ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
}

}  // namespace

// The member leaves the StyledText empty for anything that is not RTF; say why, once.
void NoteEmptyResult(const Input& input) {
  const std::string& bytes = input.bytes;
  if (bytes.size() <= 6 || bytes.compare(0, 5, "{\\rtf") != 0) {
    console::Note("'" + input.name + "' is not RTF to the member (" +
                  (bytes.size() <= 6 ? std::string("6 bytes or shorter")
                                     : std::string("it does not begin with \"{\\rtf\"")) +
                  "): the StyledText is empty");
  } else {
    console::Note("the member read no text from '" + input.name + "': the StyledText is empty");
  }
}

int RunImport(const Options& options) {
  Timings timings;
  Input input = timings.Measure("read", [&] { return ReadInput(options.input); });
  auto session = timings.Measure("load", [&] { return std::make_unique<HostSession>(options); });
  StyledDocument document;
  {
    Progress progress("importing " + input.name, input.bytes.size());
    document = timings.Measure("import", [&] { return session->Import(input.bytes); });
  }
  if (document.runs.empty()) NoteEmptyResult(input);

  std::string output = timings.Measure("format", [&] {
    switch (options.format) {
      case Format::kJson:
        return DocumentToJson(document);
      case Format::kText:
        return FormatText(document);
      case Format::kHtml:
        return FormatHtml(document, BaseName(input.name));
      case Format::kTable:
        break;
    }
    return FormatTable(document, input.name, WantSwatches(options));
  });
  timings.Measure("write", [&] { WriteOutput(options, &input, output); });
  if (options.time) console::Write("pendlow: " + timings.Report() + "\n");
  return kExitOk;
}

}  // namespace pendlow
