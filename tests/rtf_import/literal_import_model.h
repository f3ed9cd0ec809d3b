// A second, deliberately literal model of how assigning RTF to the member becomes style runs:
// one plain pass over the bytes that takes every reading rule step by step, with none of the
// library's shortcuts. The differential tests (import_model_test.cpp) compare what it expects
// with what the library left in the simulated host.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simhost/host.h"

namespace literal_model {

// What the host should hold, and how often it should have been called, after an import.
struct Expected {
  std::vector<simhost::Run> runs;
  std::vector<int64_t> alignments;  // by paragraph; paragraphs past the end keep 0
  uint64_t styleRunsCreated = 0;    // PluginNewInstance
  uint64_t runsAppended = 0;        // AppendStyleRun
  uint64_t alignmentsSet = 0;       // ParagraphAlignment assignments
};

Expected Import(const std::string& rtf);

}  // namespace literal_model
