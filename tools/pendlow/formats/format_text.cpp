#include <algorithm>
#include <cstring>

#include "formats/formats.h"
#include "support/utf8.h"

namespace pendlow {

namespace {

constexpr uint64_t kOnes = 0x0101010101010101ULL;
constexpr uint64_t kHighBits = 0x8080808080808080ULL;

// Bytes of the first `chars` characters of well-formed UTF-8 (all of it when it has fewer);
// *chars is left holding the characters still missing. Counts eight bytes at a time.
size_t SkipCharacters(const char* text, size_t size, int64_t* chars) {
  size_t i = 0;
  int64_t left = *chars;
  // A whole word is passed over while it holds fewer character starts than are left, so the
  // continuation bytes at its end still belong to a counted character.
  while (size - i >= 8 && left > 8) {
    uint64_t w;
    std::memcpy(&w, text + i, sizeof w);
    const uint64_t continuation = w & ~(w << 1) & kHighBits;
    const auto starts = static_cast<int64_t>(8 - (((continuation >> 7) * kOnes) >> 56));
    left -= starts;
    i += 8;
  }
  for (; i < size; ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      if (left == 0) break;
      --left;
    }
  }
  *chars = left;
  return i;
}

}  // namespace

PlainTextWriter::PlainTextWriter(const std::vector<StyledParagraph>& paragraphs, std::string* out)
    : paragraphs_(paragraphs), out_(out) {
  // Streaming needs paragraphs in text order that do not overlap.
  int64_t previousTo = 0;
  for (const StyledParagraph& p : paragraphs_) {
    const int64_t from = std::max<int64_t>(p.start, 0);
    if (from < previousTo) {
      ordered_ = false;
      break;
    }
    previousTo = std::max(p.end, from);
  }
  if (!paragraphs_.empty()) Enter(0);
}

void PlainTextWriter::Enter(size_t index) {
  next_ = index;
  if (index < paragraphs_.size()) {
    from_ = std::max<int64_t>(paragraphs_[index].start, 0);
    to_ = std::max(paragraphs_[index].end, from_);
  }
}

void PlainTextWriter::Add(std::string_view utf8) {
  if (paragraphs_.empty()) {
    // No paragraphs: the whole text is one.
    out_->append(utf8);
    position_ += utf8.empty() ? 0 : 1;  // only whether there is any text matters
    return;
  }
  const char* p = utf8.data();
  size_t left = utf8.size();
  while (left > 0 && next_ < paragraphs_.size()) {
    if (position_ >= to_) {
      out_->push_back('\n');
      Enter(next_ + 1);
      continue;
    }
    // Characters before the paragraph are passed over, those inside it copied.
    const bool inside = position_ >= from_;
    int64_t wanted = (inside ? to_ : from_) - position_;
    const int64_t asked = wanted;
    size_t bytes = SkipCharacters(p, left, &wanted);
    if (inside) out_->append(p, bytes);
    position_ += asked - wanted;
    p += bytes;
    left -= bytes;
  }
}

void PlainTextWriter::Finish() {
  if (paragraphs_.empty()) {
    if (position_ > 0) out_->push_back('\n');
    return;
  }
  // The paragraph the text ended in, and any beyond the end of the text, end their lines.
  for (size_t i = next_; i < paragraphs_.size(); ++i) out_->push_back('\n');
  next_ = paragraphs_.size();
}

std::string FormatText(const StyledDocument& document) {
  std::string out;
  PlainTextWriter writer(document.paragraphs, &out);
  bool wellFormed = std::all_of(document.runs.begin(), document.runs.end(), [](const StyledRun& r) {
    return FindInvalidUtf8(r.text) == std::string_view::npos;
  });
  if (writer.ordered() && wellFormed) {
    for (const StyledRun& run : document.runs) writer.Add(run.text);
    writer.Finish();
    return out;
  }
  out.clear();
  for (const std::vector<Segment>& paragraph : ParagraphSegments(document)) {
    for (const Segment& segment : paragraph) out += EncodeUtf8(segment.text);
    out += "\n";
  }
  return out;
}

}  // namespace pendlow
