#include <memory>

#include "commands/commands.h"
#include "commands/host_session.h"
#include "support/console.h"
#include "commands/input_output.h"
#include "support/tool_error.h"

namespace pendlow {

int RunExport(const Options& options) {
  Timings timings;
  Input input = timings.Measure("read", [&] { return ReadInput(options.input); });
  StyledDocument document =
      timings.Measure("parse", [&] { return DocumentFromJson(input.bytes, input.name); });
  auto session = timings.Measure("load", [&] { return std::make_unique<HostSession>(options); });
  std::string rtf;
  {
    Progress progress("exporting " + input.name, input.bytes.size());
    rtf = timings.Measure(
        "export", [&] { return session->Export(document, options.skipParagraphs, input.name); });
  }
  if (rtf.empty()) {
    console::Note("the StyledText is empty: the member returns an empty string");
  }
  timings.Measure("write", [&] { WriteOutput(options, &input, rtf); });
  if (options.time) console::Write("pendlow: " + timings.Report() + "\n");
  return kExitOk;
}

}  // namespace pendlow
