// The paragraph model of the simulated StyledText.
//
// Assumption about the IDE (not documented by it): a paragraph is the text between two
// separators; CR LF, a lone CR and a lone LF each count as one separator; positions are
// character (code point) offsets from 0; a paragraph's end is exclusive, i.e. the offset of the
// separator that ends it, or the end of the text. Whether a trailing empty piece counts is the
// host option ParagraphRule:
// - kDocumented: every separator ends one paragraph, and the piece after the last separator
//   counts only when it is not empty ("" -> 0, "abc\r" -> 1, "a\r\rb" -> 3);
// - kSeparatorsPlusOne: separators + 1 ("" -> 1, "abc\r" -> 2).
//
// ParagraphScan holds the separators of a text that grows at its end, so appending a style run
// costs only the run's own length, and answers count and positions in O(1).
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "simhost/host.h"

namespace simhost {

class ParagraphScan {
 public:
  // Appends text: `length` characters of which those at the given offsets (relative to the
  // appended piece, increasing) are CR (true) or LF (false).
  struct Break {
    int64_t offset;
    bool cr;
  };
  void Append(int64_t length, const std::vector<Break>& breaks);
  // Appends one piece of text given as code points.
  void Append(std::u32string_view text);
  // Appends a piece piecemeal: first its breaks, at positions counted from the start of the
  // whole text (at or after length(), increasing), then its length.
  void AddBreak(int64_t position, bool cr);
  void Grow(int64_t length) { length_ += length; }
  // Keeps only the first `length` characters.
  void Truncate(int64_t length);
  void Clear() { *this = ParagraphScan(); }

  int64_t length() const { return length_; }
  int64_t Count(ParagraphRule rule) const {
    auto separators = static_cast<int64_t>(separators_.size());
    if (rule == ParagraphRule::kSeparatorsPlusOne) return separators + 1;
    int64_t lastEnd = separators_.empty() ? 0 : End(separators_.back());
    return separators + (length_ > lastEnd ? 1 : 0);
  }
  // Start and end of paragraph `index` (0 <= index < Count(rule)); alignment left 0.
  Paragraph At(int64_t index, ParagraphRule rule) const;

 private:
  // A separator packed into 64 bits: its first character's position, whether it is two
  // characters long (CR LF) and whether it starts with CR.
  static constexpr uint64_t kTwo = 2, kCr = 1;
  static int64_t Start(uint64_t s) { return static_cast<int64_t>(s >> 2); }
  static int64_t End(uint64_t s) { return Start(s) + ((s & kTwo) != 0 ? 2 : 1); }
  std::vector<uint64_t> separators_;
  int64_t length_ = 0;
};

// The whole model as one function: the paragraphs of a text.
std::vector<Paragraph> SplitParagraphs(std::u32string_view text, ParagraphRule rule);

// The breaks (CR and LF offsets) of a piece of text, and its length.
int64_t ScanBreaks(std::u32string_view text, std::vector<ParagraphScan::Break>* breaks);

}  // namespace simhost
