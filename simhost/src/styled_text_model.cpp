// The StyledText model: runs appended and removed, paragraphs found from the text's separators,
// alignments kept by paragraph.
#include "encodings.h"
#include "host_state.h"
#include "text_scan.h"

namespace simhost {

void Host::State::AppendRun(StyledTextObject* st, const RunData& run, bool toUnicode) {
  breaks.clear();
  int64_t length = 0;
  std::string_view text = run.text;
  Encoding encoding = run.textEncoding;
  bool utf8 = (encoding == kREALTextEncodingUTF8 || AsciiCompatible(encoding)) &&
              ScanUTF8(text, encoding == kREALTextEncodingUTF8, &breaks, &length);
  if (utf8) {
    // Pure ASCII or well-formed UTF-8: the bytes are already what the IDE would hold.
    if (toUnicode) encoding = kREALTextEncodingUTF8;
  } else if (const char32_t* table = ByteTable(encoding)) {
    // One character per byte: converted in one pass.
    breaks.clear();
    length = static_cast<int64_t>(text.size());
    converted.clear();
    ByteTableToUTF8(text, table, toUnicode ? &converted : nullptr, &breaks);
    if (toUnicode) {
      text = converted;
      encoding = kREALTextEncodingUTF8;
      utf8 = true;
    }
  } else {
    breaks.clear();
    codePoints.clear();
    if (!DecodeText(text, encoding, &codePoints)) {
      DecodeText(text, kREALTextEncodingUnknown, &codePoints);
    }
    length = ScanBreaks(codePoints, &breaks);
    if (toUnicode) {
      converted.clear();
      EncodeText(codePoints, kREALTextEncodingUTF8, &converted);
      text = converted;
      encoding = kREALTextEncodingUTF8;
      utf8 = true;
    }
  }
  const int64_t base = st->scan.length();
  for (const ParagraphScan::Break& b : breaks) st->scan.AddBreak(base + b.offset, b.cr);
  st->scan.Grow(length);
  st->runs.Append(text, encoding, utf8, run);
  TrimScratch();
}

void Host::State::RemoveRun(StyledTextObject* st, int64_t index) {
  if (index < 0 || index >= static_cast<int64_t>(st->runs.size())) return;
  auto i = static_cast<size_t>(index);
  if (i + 1 == st->runs.size()) {
    Encoding encoding;
    std::string_view text = st->runs.TextOf(i, &encoding);
    st->scan.Truncate(st->scan.length() - LengthOf(text, encoding));
    st->runs.RemoveLast();
  } else {
    // A run in the middle: the separators after it move, so scan the remaining text again.
    st->runs.RemoveAt(i);
    st->scan.Clear();
    st->runs.ForEachText([&](std::string_view text, Encoding encoding, bool) {
      st->scan.Append(Decode(text, encoding));
    });
  }
  // Paragraphs that no longer exist lose their alignment; if they come back they are new.
  auto count = static_cast<size_t>(std::max<int64_t>(ParagraphCount(st), 0));
  if (st->alignments.size() > count) st->alignments.resize(count);
}

Paragraph Host::State::ParagraphAt(const StyledTextObject* st, int64_t index) const {
  Paragraph p = st->scan.At(index, options.paragraphRule);
  if (index >= 0 && index < static_cast<int64_t>(st->alignments.size())) {
    p.alignment = st->alignments[static_cast<size_t>(index)];
  }
  return p;
}

void Host::State::SetAlignment(StyledTextObject* st, int64_t index, int64_t alignment) {
  if (index < 0 || index >= ParagraphCount(st)) return;
  auto i = static_cast<size_t>(index);
  if (st->alignments.size() <= i) st->alignments.resize(i + 1, 0);
  st->alignments[i] = alignment;
}

}  // namespace simhost
