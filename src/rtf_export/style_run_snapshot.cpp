// The getter's walk over a StyledText: every StyleRun becomes one record holding its own
// references to the run's text and font, then each Paragraph hands its alignment to the runs
// whose middle it contains.
#include "rtf_export/style_run_snapshot.h"

#include <algorithm>
#include <cstring>

#include "bridge/ascii_check.h"
#include "bridge/host_string_build.h"
#include "bridge/host_string_read.h"
#include "bridge/styled_text.h"
#include "frame/host_services.h"

XojoStyleRun& XojoStyleRun::operator=(const XojoStyleRun& other) {
  if (this == &other) return *this;
  // Lock the incoming strings before releasing ours: they may be the same handles.
  if (other.font != nullptr) REALLockString(other.font);
  if (other.text != nullptr) REALLockString(other.text);
  if (text != nullptr) REALUnlockString(text);
  if (font != nullptr) REALUnlockString(font);
  bold = other.bold;
  underline = other.underline;
  italic = other.italic;
  textColor = other.textColor;
  size = other.size;
  alignment = other.alignment;
  start = other.start;
  length = other.length;
  middle = other.middle;
  font = other.font;
  text = other.text;
  return *this;
}

namespace {

// A font name the host holds as UTF-16 bytes shows zero bytes; rebuild it as text so the font
// table gets the real name. Keeps the old string when the rebuild fails.
void RepairUTF16FontName(REALstringStruct*& font) {
  if (font == nullptr) return;
  rbData raw(font);
  if (raw.length < 1 || raw.data == nullptr) return;
  if (!HasZeroByte(raw.data, raw.length)) return;
  REALstringStruct* rebuilt = REALBuildUnicodeString(raw.data, raw.length, kREALTextEncodingUTF16);
  if (rebuilt == nullptr) return;
  REALUnlockString(font);
  font = rebuilt;
}

bool ReadFlag(REALobjectStruct* run, const char* name) {
  bool value = false;
  REALGetPropValueBoolean(run, name, &value);
  return value;
}

// Appends the record for one StyleRun; returns its length in characters.
int64_t SnapshotRun(REALobjectStruct* run, int64_t pos, std::vector<XojoStyleRun>& runs) {
  REALstringStruct* font = nullptr;
  REALstringStruct* text = nullptr;
  rbFreeLater freeFont(nullptr, &font);
  rbFreeLater freeText(nullptr, &text);

  REALGetPropValueString(run, host_contract::kFontProperty, &font);
  RepairUTF16FontName(font);
  REALGetPropValueString(run, host_contract::kTextProperty, &text);
  uint32_t textColor = 0;
  REALGetPropValueColor(run, host_contract::kTextColorProperty, &textColor);
  const bool bold = ReadFlag(run, host_contract::kBoldProperty);
  const bool italic = ReadFlag(run, host_contract::kItalicProperty);
  const bool underline = ReadFlag(run, host_contract::kUnderlineProperty);
  int64_t size = 0;
  REALGetPropValueInteger(run, host_contract::kSizeProperty, &size);
  const int64_t length = GetStringLength(text);

  // The record takes its own references; this step's go back through the guards above.
  runs.emplace_back(bold, underline, italic, textColor, size, pos, length, font, text);
  return length;
}

// Each paragraph in turn gives its alignment to every record whose middle lies in
// [StartPos, EndPos]; a later paragraph overrides an earlier one at a shared boundary.
void AssignParagraphAlignment(REALobjectStruct* styledText, int64_t paragraphCount,
                              std::vector<XojoStyleRun>& runs) {
  // Middles grow with the run index unless the host reports negative lengths; then each
  // paragraph's records are the stretch that starts at the first middle not below StartPos and
  // runs while middles stay within EndPos. Paragraphs mostly come in text order, so the stretch
  // usually starts where the one before ended; otherwise it is found by binary search. This
  // keeps texts with many runs and many paragraphs linear.
  const auto byMiddle = [](const XojoStyleRun& a, const XojoStyleRun& b) {
    return a.middle < b.middle;
  };
  const bool sorted = std::is_sorted(runs.begin(), runs.end(), byMiddle);
  auto next = runs.begin();  // where the last paragraph's stretch ended
  for (int64_t k = 0; k < paragraphCount; ++k) {
    REALobjectStruct* paragraph = GetParagraph(styledText, k);
    if (paragraph == nullptr) continue;
    rbFreeLater freeParagraph(&paragraph, nullptr);
    int64_t startPos = 0, endPos = 0, alignment = 0;
    REALGetPropValueInteger(paragraph, host_contract::kStartPosProperty, &startPos);
    REALGetPropValueInteger(paragraph, host_contract::kEndPosProperty, &endPos);
    REALGetPropValueInteger(paragraph, host_contract::kAlignmentProperty, &alignment);
    if (!sorted) {
      for (XojoStyleRun& record : runs) {
        if (startPos <= record.middle && record.middle <= endPos) record.alignment = alignment;
      }
      continue;
    }
    auto record = next;
    const bool continues = (record == runs.end() || record->middle >= startPos) &&
                           (record == runs.begin() || (record - 1)->middle < startPos);
    if (!continues) {
      record = std::lower_bound(runs.begin(), runs.end(), startPos,
                                [](const XojoStyleRun& r, int64_t pos) { return r.middle < pos; });
    }
    for (; record != runs.end() && record->middle <= endPos; ++record) {
      record->alignment = alignment;
    }
    next = record;
  }
}

}  // namespace

bool TakeStyleRunSnapshot(REALobjectStruct* styledText, bool skipParagraphs,
                          std::vector<XojoStyleRun>& runs) {
  if (styledText == nullptr) return false;
  int64_t runCount = 0;
  REALGetPropValueInteger(styledText, host_contract::kStyleRunCountProperty, &runCount);
  if (runCount == 0) return false;
  // Checked even when paragraphs are skipped: a text without paragraphs yields no document.
  int64_t paragraphCount = 0;
  REALGetPropValueInteger(styledText, host_contract::kParagraphCountProperty, &paragraphCount);
  if (paragraphCount == 0) return false;

  int64_t pos = 0;
  for (int64_t i = 0; i < runCount; ++i) {
    // The StyleRun handle is deliberately not released here; only Paragraphs are.
    REALobjectStruct* run = GetStyleRun(styledText, i);
    if (run == nullptr) continue;  // a missing run takes no room in the offsets
    pos += SnapshotRun(run, pos, runs);
  }

  if (!skipParagraphs && paragraphCount > 0)
    AssignParagraphAlignment(styledText, paragraphCount, runs);
  return !runs.empty();
}
