// Writing Rich Text Format from a style-run snapshot: header, font and colour tables, then each
// run's changed formatting and its escaped text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/host_api.h"
#include "rtf_export/rtf_output.h"
#include "rtf_export/style_run_snapshot.h"

// Font-name hash used by the font table map.
struct StringHash {
  size_t operator()(const std::string& name) const;
};

// Decimal text of a 32-bit signed value, formatted through one process-wide buffer.
std::string ToString(int32_t value);

// The document for a non-empty snapshot, appended to out.
void WriteRTF(const std::vector<XojoStyleRun>& runs, RTFOutput& out);
// The same as a byte string.
std::string WriteRTF(const std::vector<XojoStyleRun>& runs);
