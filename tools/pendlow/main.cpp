// pendlow: shows what the StyledText member RTFDataZVK does with a document, by loading the
// built plug-in library into the simulated host.
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "commands/cli_options.h"
#include "commands/commands.h"
#include "commands/host_session.h"
#include "support/console.h"
#include "support/platform.h"
#include "support/tool_error.h"
#include "support/tool_version.h"

namespace pendlow {

int RunCommand(const Options& options) {
  switch (options.command) {
    case Command::kImport:
      return RunImport(options);
    case Command::kExport:
      return RunExport(options);
    case Command::kRoundtrip:
      return RunRoundtrip(options);
    case Command::kInfo:
      return RunInfo(options);
    case Command::kSurvey:
      return RunSurvey(options);
    case Command::kNone:
      break;
  }
  return kExitUsage;
}

}  // namespace pendlow

int main(int argc, char** argv) {
  using namespace pendlow;
  UseBinaryStandardStreams();
  console::Init();
  try {
    Options options = ParseOptions(argc, argv);
    if (options.help) {
      std::fputs(HelpText().c_str(), stdout);
      return kExitOk;
    }
    if (options.version) {
      std::printf("pendlow %s\nlibrary: %s\n", ToolVersion(), LibraryBesideTool().c_str());
      return kExitOk;
    }
    if (options.command != Command::kSurvey && (options.inputs.size() > 1 || options.outputDir)) {
      return RunEachInput(options);
    }
    if (options.command != Command::kNone) return RunCommand(options);
    console::Write(ShortUsage());
    return kExitUsage;
  } catch (const ToolError& e) {
    console::Write("pendlow: " + std::string(e.what()) + "\n");
    if (e.status() == kExitUsage && std::string(e.what()).find("--help") != std::string::npos) {
      console::Write(ShortUsage());
    }
    return e.status();
  } catch (const std::bad_alloc&) {
    console::Write("pendlow: out of memory\n");
    return kExitUsage;
  } catch (const std::exception& e) {
    console::Write("pendlow: " + std::string(e.what()) + "\n");
    return kExitUsage;
  }
}
