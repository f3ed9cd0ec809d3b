// The fonts and colours of the benchmarks' styled texts, and the formatting of the i-th run of a
// varied one: every run differs from the one before in font, size, colour or a style. Shared by
// the export benchmark and the cost driver, whose run types differ.
#pragma once

#include <cstdint>

namespace bench_runs {

inline const char* const kFonts[] = {"Arial", "Times New Roman", "Helvetica", "Courier New"};
inline const uint32_t kColors[] = {0x000000, 0xFF0000, 0x0000FF, 0x336699, 0x00AA00};

template <typename Run>
void StyleVariedRun(Run& run, int64_t i) {
  run.font = kFonts[(i / 3) % 4];
  run.size = 10 + (i / 5) % 4;
  run.color = kColors[(i / 2) % 5];
  run.bold = (i % 2) != 0;
  run.italic = (i % 4) >= 2;
  run.underline = (i % 11) == 0;
}

}  // namespace bench_runs
