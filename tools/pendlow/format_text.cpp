#include "formats.h"
#include "utf8.h"

namespace pendlow {

std::string FormatText(const StyledDocument& document) {
  std::string out;
  for (const std::vector<Segment>& paragraph : ParagraphSegments(document)) {
    for (const Segment& segment : paragraph) out += EncodeUtf8(segment.text);
    out += "\n";
  }
  return out;
}

}  // namespace pendlow
