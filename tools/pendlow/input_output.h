// Reading the input document and delivering the output: standard streams or files.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "cli_options.h"

namespace pendlow {

struct Input {
  std::string name;   // for messages: the path, or "<stdin>"
  std::string bytes;  // the whole document
  bool isFile = false;
  dev_t device = 0;  // identity of the file, to refuse -o onto it
  ino_t inode = 0;
};

// Reads a file (opened read-only) or, for "-", standard input. Throws ToolError (usage status)
// with the reason when it cannot.
Input ReadInput(const std::string& path);

// Writes to the -o file atomically, or to standard output. Refuses to replace the input file.
void WriteOutput(const Options& options, const Input* input, std::string_view bytes);

}  // namespace pendlow
