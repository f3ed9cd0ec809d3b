#include <memory>

#include "commands/commands.h"
#include "commands/host_session.h"
#include "document/document_diff.h"
#include "support/console.h"
#include "commands/input_output.h"
#include "support/tool_error.h"
#include "support/utf8.h"

namespace pendlow {

namespace {

constexpr size_t kMaxShown = 100;  // difference lines printed before the rest is counted

std::string Plural(size_t n, const char* word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

}  // namespace

int RunRoundtrip(const Options& options) {
  Timings timings;
  Input input = timings.Measure("read", [&] { return ReadInput(options.input); });
  auto session = timings.Measure("load", [&] { return std::make_unique<HostSession>(options); });

  StyledDocument first, second;
  {
    Progress progress("round trip of " + input.name, input.bytes.size());
    // What application code would do: assign, read the member back from the same StyledText,
    // and assign that to a second one.
    HostSession::StyledTextRef original(session->host(), session->NewStyledText());
    timings.Measure("import", [&] { session->Assign(original.get(), input.bytes); });
    first = session->Read(original.get());
    std::string rtf = timings.Measure(
        "export", [&] { return session->Member(original.get(), options.skipParagraphs); });
    HostSession::StyledTextRef copy(session->host(), session->NewStyledText());
    timings.Measure("import again", [&] { session->Assign(copy.get(), rtf); });
    second = session->Read(copy.get());
  }
  if (first.runs.empty()) NoteEmptyResult(input);

  std::vector<std::string> differences =
      timings.Measure("compare", [&] { return CompareDocuments(first, second); });
  std::string report;
  if (differences.empty()) {
    report = input.name + ": no differences after export and import (" +
             Plural(CountCodePoints(first.Text()), "character") + ", " +
             Plural(first.runs.size(), "run") + " -> " + Plural(second.runs.size(), "run") + ")\n";
  } else {
    report =
        input.name + ": " + Plural(differences.size(), "difference") + " after export and import\n";
    for (size_t i = 0; i < differences.size() && i < kMaxShown; ++i) {
      report += "  " + differences[i] + "\n";
    }
    if (differences.size() > kMaxShown) {
      report += "  ... and " + std::to_string(differences.size() - kMaxShown) + " more\n";
    }
  }
  timings.Measure("write", [&] { WriteOutput(options, &input, report); });
  if (options.time) console::Write("pendlow: " + timings.Report() + "\n");
  return differences.empty() ? kExitOk : kExitDifferences;
}

}  // namespace pendlow
