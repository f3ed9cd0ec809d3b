// The command line: `pendlow [OPTIONS] COMMAND [FILE...]`, options before or after the command.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace pendlow {

enum class Command { kNone, kImport, kExport, kRoundtrip, kInfo, kSurvey };
enum class Format { kTable, kJson, kText, kHtml };

struct Options {
  Command command = Command::kNone;
  std::string input;  // file name or "-" for standard input
  std::vector<std::string>
      inputs;  // every file given (survey: files and folders); `input` is the first
  Format format = Format::kTable;        // import only
  std::optional<std::string> output;     // -o FILE; standard output otherwise
  std::optional<std::string> outputDir;  // --out-dir DIR or -o DIR/: one output per input
  std::optional<double> hostVersion;     // nullopt: the host cannot tell its version
  std::string hostVersionText;           // as given (or the default), for messages
  std::optional<std::string> library;
  bool debug = false;
  bool skipParagraphs = false;
  bool time = false;
  bool help = false;
  bool version = false;
};

// Throws ToolError with the usage status for anything it cannot make sense of.
Options ParseOptions(int argc, char** argv);

std::string HelpText();
std::string ShortUsage();

}  // namespace pendlow
