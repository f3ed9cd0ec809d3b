#include "commands/cli_options.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

#include "simhost/host.h"
#include "support/platform.h"
#include "support/tool_error.h"
#include "support/tool_version.h"

namespace pendlow {

namespace {

// The simulated host's own default, so the tool sees what a test host sees.
std::string DefaultHostVersionText() {
  std::optional<double> version = simhost::Options().version;
  if (!version) return "none";
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.2f", *version);
  return buffer;
}

// The commands by their names on the command line.
constexpr std::pair<const char*, Command> kCommands[] = {{"import", Command::kImport},
                                                         {"export", Command::kExport},
                                                         {"roundtrip", Command::kRoundtrip},
                                                         {"info", Command::kInfo},
                                                         {"survey", Command::kSurvey}};

// Options that take no value and switch one thing on.
constexpr std::pair<const char*, bool Options::*> kSwitches[] = {
    {"-h", &Options::help},
    {"--help", &Options::help},
    {"--version", &Options::version},
    {"--debug", &Options::debug},
    {"--skip-paragraphs", &Options::skipParagraphs},
    {"--time", &Options::time}};

// The options that choose the output format.
constexpr std::pair<const char*, Format> kFormatOptions[] = {{"--json", Format::kJson},
                                                             {"--text", Format::kText},
                                                             {"--html", Format::kHtml},
                                                             {"--table", Format::kTable}};

// The entry of `table` whose name is `name`, or null.
template <typename Value, size_t N>
const Value* Find(const std::pair<const char*, Value> (&table)[N], const std::string& name) {
  for (const auto& [key, value] : table) {
    if (name == key) return &value;
  }
  return nullptr;
}

[[noreturn]] void Usage(const std::string& message) {
  throw ToolError(kExitUsage, message + " (see 'pendlow --help')");
}

bool AllDigits(std::string_view text) {
  if (text.empty()) return false;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// The IDE's release name, "2024r4": the host reports it as year + release / 100 (2024.04). That
// number has no place for a point release, so "2019r1.1" is refused rather than rounded.
std::optional<double> ParseReleaseName(const std::string& text) {
  size_t r = text.find_first_of("rR");
  if (r == std::string::npos || !AllDigits(std::string_view(text).substr(0, r))) {
    return std::nullopt;
  }
  std::string year = text.substr(0, r);
  std::string release = text.substr(r + 1);
  size_t dot = release.find('.');
  if (year.size() == 4 && dot != std::string::npos && dot <= 2 &&
      AllDigits(release.substr(0, dot)) && AllDigits(release.substr(dot + 1))) {
    std::string named = year + "r" + std::to_string(std::stoi(release.substr(0, dot)));
    char number[32];
    std::snprintf(number, sizeof number, "%s.%02d", year.c_str(),
                  std::stoi(release.substr(0, dot)));
    Usage("host version '" + text + "' is a point release, which the host's version number (" +
          number + " for " + named + ") cannot tell apart: give " + named);
  }
  if (year.size() != 4 || !AllDigits(release) || release.size() > 2 || std::stoi(release) == 0) {
    return std::nullopt;
  }
  // Through the decimal text, so that 2024r4 is the very double 2024.04 is.
  char number[32];
  std::snprintf(number, sizeof number, "%s.%02d", year.c_str(), std::stoi(release));
  return std::strtod(number, nullptr);
}

std::optional<double> ParseHostVersion(const std::string& text) {
  if (text == "none") return std::nullopt;
  if (std::optional<double> release = ParseReleaseName(text)) return release;
  errno = 0;
  char* end = nullptr;
  double value = std::strtod(text.c_str(), &end);
  if (text.empty() || errno != 0 || end == nullptr || *end != '\0' || !std::isfinite(value)) {
    Usage("invalid host version '" + text +
          "': expected a release such as 2024r4, a number such as 2021.03, or 'none'");
  }
  return value;
}

bool IsDirectory(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

bool EndsWithSeparator(const std::string& path) {
  return !path.empty() && std::string_view(kPathSeparators).find(path.back()) != std::string::npos;
}

// As pandoc does: the output file's extension chooses the format when no option does.
Format FormatOfName(const std::string& path, Format otherwise) {
  size_t dot = path.rfind('.');
  if (dot == std::string::npos || path.find_first_of(kPathSeparators, dot) != std::string::npos) {
    return otherwise;
  }
  std::string extension;
  for (char c : path.substr(dot + 1))
    extension += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (extension == "json") return Format::kJson;
  if (extension == "txt") return Format::kText;
  if (extension == "html" || extension == "htm") return Format::kHtml;
  return otherwise;
}

// `-o DIR/` (or an existing folder, for several inputs) and --out-dir give each input its own
// output file in that folder. Several inputs need one, as all their outputs on one stream or in
// one file could not be told apart; roundtrip reports, which begin with the input's name, are
// the exception and go to standard output one after another.
void ResolveOutputFolder(const std::string& command, Options* options) {
  // A survey takes many files and writes one report (-o FILE), never a folder of outputs.
  if (options->command == Command::kSurvey) return;
  const bool several = options->inputs.size() > 1;
  if (options->output &&
      (EndsWithSeparator(*options->output) || (several && IsDirectory(*options->output)))) {
    if (options->outputDir) Usage("options -o and --out-dir conflict");
    options->outputDir = options->output;
    options->output.reset();
  }
  if (options->outputDir && options->output) Usage("options -o and --out-dir conflict");
  if (options->outputDir && options->command != Command::kImport &&
      options->command != Command::kExport) {
    Usage("an output folder applies to import and export only");
  }
  if (options->outputDir) {
    for (const std::string& input : options->inputs) {
      if (input == "-") Usage("standard input has no name to give its output in a folder");
    }
  }
  if (!several) return;
  for (const std::string& input : options->inputs) {
    if (input == "-") Usage("standard input ('-') cannot be one of several inputs");
  }
  if (options->command == Command::kRoundtrip) {
    if (options->output) Usage("roundtrip of several files writes its reports to standard output");
  } else if (!options->outputDir) {
    Usage(command + " of several files needs an output folder: -o DIR/ or --out-dir DIR");
  }
}

}  // namespace

std::string ShortUsage() {
  return "usage: pendlow import FILE.rtf [--json|--text|--html] [-o OUT]\n"
         "       pendlow import FILE.rtf... [--json|--text|--html] (-o DIR/ | --out-dir DIR)\n"
         "       pendlow export FILE.json... [--skip-paragraphs] [-o OUT | -o DIR/ | --out-dir "
         "DIR]\n"
         "       pendlow roundtrip FILE.rtf... [--skip-paragraphs]\n"
         "       pendlow info\n"
         "       pendlow survey FILE|DIR... [--json] [-o OUT]\n"
         "       pendlow --help | --version\n";
}

std::string HelpText() {
  return "pendlow " + std::string(ToolVersion()) +
         ": what the StyledText member RTFDataZVK does with a document.\n"
         "\n" +
         ShortUsage() +
         "\n"
         "The tool loads the real plug-in library into a simulated Xojo host: what it shows is\n"
         "what the IDE gets.\n"
         "\n"
         "Commands:\n"
         "  import FILE     assign the RTF document to a fresh StyledText and print the result\n"
         "  export FILE     build a StyledText from a JSON document and print the RTF the member\n"
         "                  returns\n"
         "  roundtrip FILE  import, export and import again; report every character whose text\n"
         "                  or formatting changed (exit status 1 when there is one)\n"
         "  info            what the library registers with the host, as the IDE sees it\n"
         "  survey FILE|DIR...\n"
         "                  import many documents; one row each (runs, paragraphs, characters,\n"
         "                  time, writer) and totals by writer. A DIR means its *.rtf files,\n"
         "                  sorted, not those of its subdirectories. --json for scripts. Exit\n"
         "                  status 2 when any file could not be read (after the whole report)\n"
         "  FILE may be '-' for standard input. Several FILEs need an output folder (import\n"
         "  and export; roundtrip prints its reports one after another): each input's output\n"
         "  there has its name with .table.txt, .txt, .json, .html or (export) .rtf. An input\n"
         "  that fails is reported and the others still go; the exit status is then 2.\n"
         "\n"
         "Import formats:\n"
         "  --table         runs and paragraphs as a table (the default)\n"
         "  --json          the JSON document described in tools/pendlow/SCHEMA.md\n"
         "  --text          the plain text, one line per paragraph\n"
         "  --html          a self-contained HTML page showing the styled text\n"
         "  Without one of these, -o FILE's extension chooses: .json, .txt, .html (.htm).\n"
         "\n"
         "Options:\n"
         "  --skip-paragraphs     export with SkipParagraphs = true (no alignment is written)\n"
         "  -o, --output FILE     write the output to FILE (atomically) instead of standard\n"
         "                        output; '-' is standard output, and a device or FIFO is\n"
         "                        written in place; DIR/ (or, for several inputs, an existing\n"
         "                        folder) is an output folder\n"
         "  --out-dir DIR         one output per input in DIR, made when missing\n"
         "  --host-version V      the host version the library is told: a release as the IDE\n"
         "                        names it (2012r1, 2024r4) or the number the host reports\n"
         "                        (2012.01, 2021.03);\n"
         "                        'none' for a host that cannot tell (default " +
         DefaultHostVersionText() +
         ")\n"
         "  --debug               switch the library's Debugging property on (where the host has\n"
         "                        the module) and show the library's log on standard error\n"
         "  --library PATH        the plug-in library to load (default: " +
         kLibraryFileName +
         " beside\n"
         "                        this program)\n"
         "  --time                print the time taken on standard error\n"
         "  -h, --help            show this help\n"
         "  --version             show the tool's version\n"
         "\n"
         "Exit status: 0 success; 1 roundtrip found differences; 2 usage, input or output\n"
         "error; 3 the library did not load or does not offer the member.\n";
}

Options ParseOptions(int argc, char** argv) {
  Options options;
  options.hostVersion = simhost::Options().version;
  options.hostVersionText = DefaultHostVersionText();
  std::optional<Format> format;
  std::string formatOption;
  bool endOfOptions = false;
  std::vector<std::string> positional;

  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (endOfOptions || arg == "-" || arg.empty() || arg[0] != '-') {
      positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      endOfOptions = true;
      continue;
    }
    // "--name=value" and "--name value" are both accepted for options with a value.
    std::string name = arg;
    std::optional<std::string> inlineValue;
    if (arg.rfind("--", 0) == 0) {
      size_t eq = arg.find('=');
      if (eq != std::string::npos) {
        name = arg.substr(0, eq);
        inlineValue = arg.substr(eq + 1);
      }
    }
    auto value = [&]() -> std::string {
      if (inlineValue) return *inlineValue;
      if (i + 1 >= argc) Usage("option " + name + " needs a value");
      return argv[++i];
    };
    auto noValue = [&]() {
      if (inlineValue) Usage("option " + name + " takes no value");
    };
    auto setFormat = [&](Format f) {
      noValue();
      if (format && *format != f) Usage("options " + formatOption + " and " + name + " conflict");
      format = f;
      formatOption = name;
    };

    if (auto flag = Find(kSwitches, name)) {
      noValue();
      options.*(*flag) = true;
    } else if (auto f = Find(kFormatOptions, name)) {
      setFormat(*f);
    } else if (name == "-o" || name == "--output") {
      if (options.output) Usage("option " + name + " given twice");
      options.output = value();
      if (options.output->empty()) Usage("option " + name + " needs a file name");
    } else if (name == "--out-dir") {
      if (options.outputDir) Usage("option --out-dir given twice");
      options.outputDir = value();
      if (options.outputDir->empty()) Usage("option --out-dir needs a folder name");
    } else if (name == "--host-version") {
      options.hostVersionText = value();
      options.hostVersion = ParseHostVersion(options.hostVersionText);
      if (options.hostVersion && options.hostVersionText.find_first_of("rR") != std::string::npos) {
        char number[32];
        std::snprintf(number, sizeof number, "%.2f", *options.hostVersion);
        options.hostVersionText = number + (" (" + options.hostVersionText + ")");
      }
    } else if (name == "--library") {
      options.library = value();
      if (options.library->empty()) Usage("option --library needs a path");
    } else {
      Usage("unknown option '" + arg + "'");
    }
  }
  if (options.help || options.version) return options;
  if (options.output && *options.output == "-") options.output.reset();  // standard output

  if (positional.empty()) Usage("no command given");
  const std::string& command = positional[0];
  const Command* known = Find(kCommands, command);
  if (known == nullptr) Usage("unknown command '" + command + "'");
  options.command = *known;
  const std::string& name = command;

  if (options.command == Command::kInfo) {
    if (positional.size() > 1) Usage("info takes no file");
  } else if (options.command == Command::kSurvey) {
    if (positional.size() < 2) Usage("survey needs files or directories");
    options.inputs.assign(positional.begin() + 1, positional.end());
  } else {
    if (positional.size() < 2) Usage(name + " needs a file name (or '-' for standard input)");
    options.inputs.assign(positional.begin() + 1, positional.end());
    options.input = options.inputs[0];
  }
  if (format) {
    bool surveyFormat = *format == Format::kJson || *format == Format::kTable;
    if (options.command == Command::kSurvey && !surveyFormat) {
      Usage(formatOption + " does not apply to survey (--table or --json)");
    }
    if (options.command != Command::kImport && options.command != Command::kSurvey) {
      Usage(formatOption + " applies to import and survey only");
    }
    options.format = *format;
  } else if (options.command == Command::kImport && options.output) {
    options.format = FormatOfName(*options.output, options.format);
  }
  ResolveOutputFolder(name, &options);
  if (options.skipParagraphs && options.command != Command::kExport &&
      options.command != Command::kRoundtrip) {
    Usage("--skip-paragraphs applies to export and roundtrip only");
  }
  return options;
}

}  // namespace pendlow
