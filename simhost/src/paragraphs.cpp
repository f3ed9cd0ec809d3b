#include "paragraphs.h"

namespace simhost {

void ParagraphScan::AddBreak(int64_t position, bool cr) {
  // An LF right after a lone CR completes a CR LF separator, also across two appended pieces.
  if (!cr && !separators_.empty()) {
    uint64_t& last = separators_.back();
    if ((last & (kCr | kTwo)) == kCr && End(last) == position) {
      last |= kTwo;
      return;
    }
  }
  separators_.push_back(static_cast<uint64_t>(position) << 2 | (cr ? kCr : 0));
}

void ParagraphScan::Append(int64_t length, const std::vector<Break>& breaks) {
  for (const Break& b : breaks) AddBreak(length_ + b.offset, b.cr);
  length_ += length;
}

void ParagraphScan::Append(std::u32string_view text) {
  std::vector<Break> breaks;
  int64_t length = ScanBreaks(text, &breaks);
  Append(length, breaks);
}

void ParagraphScan::Truncate(int64_t length) {
  if (length >= length_) return;
  if (length < 0) length = 0;
  while (!separators_.empty() && Start(separators_.back()) >= length) separators_.pop_back();
  // A CR LF cut after its CR becomes a lone CR.
  if (!separators_.empty() && End(separators_.back()) > length) separators_.back() &= ~kTwo;
  length_ = length;
}

Paragraph ParagraphScan::At(int64_t index, ParagraphRule rule) const {
  Paragraph p;
  if (index < 0 || index >= Count(rule)) return p;
  auto i = static_cast<size_t>(index);
  p.start = i == 0 ? 0 : End(separators_[i - 1]);
  p.end = i < separators_.size() ? Start(separators_[i]) : length_;
  return p;
}

int64_t ScanBreaks(std::u32string_view text, std::vector<ParagraphScan::Break>* breaks) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' || text[i] == '\n') {
      breaks->push_back({static_cast<int64_t>(i), text[i] == '\r'});
    }
  }
  return static_cast<int64_t>(text.size());
}

std::vector<Paragraph> SplitParagraphs(std::u32string_view text, ParagraphRule rule) {
  ParagraphScan scan;
  scan.Append(text);
  std::vector<Paragraph> result;
  for (int64_t i = 0, n = scan.Count(rule); i < n; ++i) result.push_back(scan.At(i, rule));
  return result;
}

}  // namespace simhost
