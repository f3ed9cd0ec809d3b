// Several inputs in one run: each is converted on its own, as if the tool had been started for
// it alone, with its output in the output folder. A failing input is reported and the others
// still go; the exit status tells that one failed.
#include <filesystem>
#include <map>
#include <system_error>

#include "commands/commands.h"
#include "support/console.h"
#include "support/platform.h"
#include "support/tool_error.h"

namespace pendlow {

namespace {

std::string BaseName(const std::string& path) {
  size_t slash = path.find_last_of(kPathSeparators);
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// "doc.rtf" -> "doc"; a leading dot (".rtf") is part of the name, not an extension.
std::string WithoutExtension(const std::string& name) {
  size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

const char* ExtensionFor(const Options& options) {
  if (options.command == Command::kExport) return ".rtf";
  switch (options.format) {
    case Format::kJson:
      return ".json";
    case Format::kText:
      return ".txt";
    case Format::kHtml:
      return ".html";
    case Format::kTable:
      break;
  }
  return ".table.txt";  // not .txt, which is the plain text's (and chooses --text for -o)
}

std::string OutputPath(const Options& options, const std::string& input) {
  std::string folder = *options.outputDir;
  std::string separator =
      std::string_view(kPathSeparators).find(folder.back()) == std::string_view::npos ? "/" : "";
  return folder + separator + WithoutExtension(BaseName(input)) + ExtensionFor(options);
}

void MakeFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error || !std::filesystem::is_directory(folder, error)) {
    throw ToolError(kExitUsage, "cannot make the output folder '" + folder + "': " +
                                    (error ? error.message() : "a file of that name is there"));
  }
}

}  // namespace

int RunEachInput(const Options& options) {
  if (options.outputDir) MakeFolder(*options.outputDir);
  int failed = 0;
  bool differences = false;
  std::map<std::string, std::string> written;  // output path -> the input it holds
  for (const std::string& input : options.inputs) {
    Options one = options;
    one.input = input;
    one.inputs = {input};
    one.outputDir.reset();
    if (options.outputDir) {
      one.output = OutputPath(options, input);
      auto [earlier, fresh] = written.emplace(*one.output, input);
      if (!fresh) {
        console::Write("pendlow: " + input + ": not converted: its output '" + *one.output +
                       "' already holds that of '" + earlier->second + "'\n");
        failed = kExitUsage;
        continue;
      }
    }
    try {
      int status = RunCommand(one);
      if (status == kExitDifferences) differences = true;
    } catch (const ToolError& e) {
      if (e.status() == kExitLibrary) throw;  // the same for every input: stop here
      std::string message = e.what();
      if (message.find(input) == std::string::npos) message = input + ": " + message;
      console::Write("pendlow: " + message + "\n");
      failed = e.status();
    } catch (const std::exception& e) {
      console::Write("pendlow: " + input + ": " + e.what() + "\n");
      failed = kExitUsage;
    }
  }
  if (failed != 0) return failed;
  return differences ? kExitDifferences : kExitOk;
}

}  // namespace pendlow
