// The commands. Each returns the exit status or throws ToolError.
#pragma once

#include "commands/cli_options.h"
#include "commands/input_output.h"

namespace pendlow {

int RunImport(const Options& options);
int RunExport(const Options& options);
int RunRoundtrip(const Options& options);
int RunInfo(const Options& options);
int RunSurvey(const Options& options);
// The command options name, on the input it names (kExitUsage for no command).
int RunCommand(const Options& options);

// Several inputs, or an output folder: the command once per input.
int RunEachInput(const Options& options);

// One note on standard error saying why the member left the StyledText empty.
void NoteEmptyResult(const Input& input);

}  // namespace pendlow
