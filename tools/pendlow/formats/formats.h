// The output formats of `pendlow import`. JSON lives with the document (styled_document.h).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "document/styled_document.h"

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

// The same plain text written in one pass from a text handed over in pieces (well-formed UTF-8,
// in order, never splitting a character) and its paragraphs (character offsets). Needs
// paragraphs in text order that do not overlap, as the host reports them: ordered() says
// whether they are.
class PlainTextWriter {
 public:
  PlainTextWriter(const std::vector<StyledParagraph>& paragraphs, std::string* out);
  bool ordered() const { return ordered_; }
  void Add(std::string_view utf8);  // the next piece of the text
  void Finish();                    // after the last piece

 private:
  void Enter(size_t index);

  const std::vector<StyledParagraph>& paragraphs_;
  std::string* out_;
  bool ordered_ = true;
  size_t next_ = 0;            // the paragraph being written
  int64_t from_ = 0, to_ = 0;  // its characters
  int64_t position_ = 0;       // characters of the text seen so far
};

// A self-contained HTML page: one <p> per paragraph with its alignment, one <span> per piece
// of a run with its font, size, colour, bold, italic and underline.
std::string FormatHtml(const StyledDocument& document, const std::string& title);

}  // namespace pendlow
