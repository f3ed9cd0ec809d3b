#include <algorithm>

#include "formats/formats.h"
#include "support/utf8.h"

namespace pendlow {

std::vector<std::vector<Segment>> ParagraphSegments(const StyledDocument& document) {
  // Every run's characters and where it starts in the whole text.
  std::vector<std::u32string> texts;
  std::vector<int64_t> starts;
  int64_t length = 0;
  for (const StyledRun& run : document.runs) {
    texts.push_back(DecodeUtf8(run.text));
    starts.push_back(length);
    length += static_cast<int64_t>(texts.back().size());
  }

  std::vector<StyledParagraph> paragraphs = document.paragraphs;
  if (paragraphs.empty() && length > 0) paragraphs.push_back({0, length, 0});

  std::vector<std::vector<Segment>> result;
  size_t run = 0;
  for (const StyledParagraph& p : paragraphs) {
    std::vector<Segment> segments;
    int64_t from = std::clamp<int64_t>(p.start, 0, length);
    int64_t to = std::clamp<int64_t>(p.end, from, length);
    // Paragraphs come in text order, so the run cursor only moves forward.
    while (run < texts.size() && starts[run] + static_cast<int64_t>(texts[run].size()) <= from) {
      ++run;
    }
    for (size_t r = run; r < texts.size() && starts[r] < to; ++r) {
      int64_t runEnd = starts[r] + static_cast<int64_t>(texts[r].size());
      int64_t a = std::max(from, starts[r]);
      int64_t b = std::min(to, runEnd);
      if (a >= b) continue;
      segments.push_back(
          {r, texts[r].substr(static_cast<size_t>(a - starts[r]), static_cast<size_t>(b - a))});
    }
    result.push_back(std::move(segments));
  }
  return result;
}

}  // namespace pendlow
