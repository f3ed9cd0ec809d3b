// Reading the input document and delivering the output: standard streams or files.
#pragma once

#include <string>
#include <string_view>

#include "commands/cli_options.h"
#include "support/platform.h"

namespace pendlow {

struct Input {
  std::string name;   // for messages: the path, or "<stdin>"
  std::string bytes;  // the whole document
  bool isFile = false;
  FileIdentity identity;  // to refuse -o onto it
};

// Reads a file (opened read-only) or, for "-", standard input. Throws ToolError (usage status)
// with the reason when it cannot.
Input ReadInput(const std::string& path);

// Writes to the -o file atomically, or to standard output. Refuses to replace the input file.
void WriteOutput(const Options& options, const Input* input, std::string_view bytes);

}  // namespace pendlow
