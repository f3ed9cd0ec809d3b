#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>

#include "commands/commands.h"
#include "commands/host_session.h"
#include "formats/formats.h"
#include "support/console.h"
#include "commands/input_output.h"
#include "support/platform.h"
#include "support/tool_error.h"

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

int Finish(const Options& options, const Timings& timings) {
  if (options.time) console::Write("pendlow: " + timings.Report() + "\n");
  return kExitOk;
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
  // The document's bytes become the host string assigned to the member; what the note on an
  // empty result looks at is kept.
  const size_t size = input.bytes.size();
  std::string rtf = std::move(input.bytes);
  input.bytes = rtf.substr(0, 7);

  std::string output;
  if (options.format == Format::kText) {
    // The plain text needs no copy of the runs: it is written from the host's own text.
    HostSession::StyledTextRef styledText(session->host(), session->NewStyledText());
    {
      Progress progress("importing " + input.name, size);
      timings.Measure("import", [&] { session->Assign(styledText.get(), std::move(rtf)); });
    }
    if (session->host().StyleRunCount(styledText.get()) == 0) NoteEmptyResult(input);
    if (!options.output) {
      // Standard output takes the text as it is made; the time spent writing is told apart.
      using Clock = std::chrono::steady_clock;
      const Clock::time_point start = Clock::now();
      Clock::duration writing{};
      session->WritePlainText(styledText.get(), [&](std::string_view piece) {
        const Clock::time_point before = Clock::now();
        WriteOutput(options, &input, piece);
        writing += Clock::now() - before;
      });
      auto seconds = [](Clock::duration d) { return std::chrono::duration<double>(d).count(); };
      timings.Add("format", seconds(Clock::now() - start - writing));
      timings.Add("write", seconds(writing));
      return Finish(options, timings);
    }
    timings.Measure("format", [&] {
      session->WritePlainText(styledText.get(), [&](std::string_view piece) { output += piece; });
    });
  } else {
    StyledDocument document;
    {
      Progress progress("importing " + input.name, size);
      document = timings.Measure("import", [&] { return session->Import(std::move(rtf)); });
    }
    if (document.runs.empty()) NoteEmptyResult(input);

    output = timings.Measure("format", [&] {
      switch (options.format) {
        case Format::kJson:
          return DocumentToJson(document);
        case Format::kHtml:
          return FormatHtml(document, BaseName(input.name));
        case Format::kText:
        case Format::kTable:
          break;
      }
      return FormatTable(document, input.name, WantSwatches(options));
    });
  }
  timings.Measure("write", [&] { WriteOutput(options, &input, output); });
  return Finish(options, timings);
}

}  // namespace pendlow
