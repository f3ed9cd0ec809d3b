// The output formats of `pendlow import`. JSON lives with the document (styled_document.h).
#pragma once

#include <string>
#include <vector>

#include "styled_document.h"

namespace pendlow {

// A piece of one paragraph in the formatting of one run.
struct Segment {
  size_t run = 0;
  std::u32string text;
};

// Each paragraph's text cut at run boundaries; separators are not part of any paragraph.
std::vector<std::vector<Segment>> ParagraphSegments(const StyledDocument& document);

// A readable table of runs and paragraphs. `swatches` adds a coloured block beside each
// colour (for terminals that understand 24-bit colour escapes).
std::string FormatTable(const StyledDocument& document, const std::string& sourceName,
                        bool swatches);

// The plain text: each paragraph on a line of its own, ended by a line feed.
std::string FormatText(const StyledDocument& document);

// A self-contained HTML page: one <p> per paragraph with its alignment, one <span> per piece
// of a run with its font, size, colour, bold, italic and underline.
std::string FormatHtml(const StyledDocument& document, const std::string& title);

}  // namespace pendlow
