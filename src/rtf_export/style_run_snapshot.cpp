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

// The host services a StyleRun's snapshot calls, through the wrappers: each finds its entry
// point while the host has not given it yet.
struct RunServiceWrappers : StringServiceWrappers {
  bool GetString(REALobjectStruct* run, const char* name, REALstringStruct** out) const {
    return REALGetPropValueString(run, name, out);
  }
  bool GetColor(REALobjectStruct* run, const char* name, uint32_t* out) const {
    return REALGetPropValueColor(run, name, out);
  }
  bool GetBoolean(REALobjectStruct* run, const char* name, bool* out) const {
    return REALGetPropValueBoolean(run, name, out);
  }
  bool GetInteger(REALobjectStruct* run, const char* name, int64_t* out) const {
    return REALGetPropValueInteger(run, name, out);
  }
  int64_t Length(REALstringStruct* s) const { return GetStringLength(s); }
};

// The same straight from the wrappers' cache once every one is found: the first run finds
// them, and the others call them without testing each entry point. Each reader keeps the
// wrappers' contract: the result variable keeps its preset when the host does not write it.
struct CachedRunServices {
  // Also the StyleRun method as its lookup cached it for styledText, and the framework's Len.
  bool Take(REALobjectStruct* styledText) {
    const HostMethodCache& method = gHostEntryPoints.methodStyleRun;
    styleRun =
        method.lastObject == styledText ? reinterpret_cast<HostIndexGetter>(method.entry) : nullptr;
    length = reinterpret_cast<HostStringMeasure>(gHostEntryPoints.globalLen);
    lock = reinterpret_cast<host_contract::REALLockStringFn>(gHostEntryPoints.REALLockString);
    unlock = reinterpret_cast<host_contract::REALUnlockStringFn>(gHostEntryPoints.REALUnlockString);
    bytes = reinterpret_cast<host_contract::StringGetCStringFn>(gHostEntryPoints.StringGetCString);
    byteCount = reinterpret_cast<HostStringMeasure>(gHostEntryPoints.globalLenB);
    getString = reinterpret_cast<host_contract::REALGetPropValueStringFn>(
        gHostEntryPoints.REALGetPropValueString);
    getColor = reinterpret_cast<host_contract::REALGetPropValueColorFn>(
        gHostEntryPoints.REALGetPropValueColor);
    getBoolean = reinterpret_cast<host_contract::REALGetPropValueBoolFn>(
        gHostEntryPoints.REALGetPropValueBool);
    getInteger = reinterpret_cast<host_contract::REALGetPropValueIntegerFn>(
        gHostEntryPoints.REALGetPropValueInteger);
    return styleRun != nullptr && length != nullptr && lock != nullptr && unlock != nullptr &&
           bytes != nullptr && byteCount != nullptr && getString != nullptr &&
           getColor != nullptr && getBoolean != nullptr && getInteger != nullptr;
  }
  // GetStyleRun through the method its lookup cached for this StyledText.
  REALobjectStruct* StyleRun(REALobjectStruct* styledText, int64_t index) const {
    return styleRun(styledText, static_cast<RBInteger>(index));
  }
  int64_t Length(REALstringStruct* s) const { return length(s); }
  void Lock(REALstringStruct* s) const { lock(s); }
  void Unlock(REALstringStruct* s) const { unlock(s); }
  const char* Contents(REALstringStruct* s, int64_t* count) const {
    *count = byteCount(s);
    return static_cast<const char*>(bytes(s));
  }
  bool GetString(REALobjectStruct* run, const char* name, REALstringStruct** out) const {
    return getString(run, name, out) != 0;
  }
  bool GetColor(REALobjectStruct* run, const char* name, uint32_t* out) const {
    RBColor value = *out;
    const bool ok = getColor(run, name, &value) != 0;
    *out = value;
    return ok;
  }
  bool GetBoolean(REALobjectStruct* run, const char* name, bool* out) const {
    RBBoolean value = *out ? 1 : 0;
    const bool ok = getBoolean(run, name, &value) != 0;
    *out = value != 0;
    return ok;
  }
  bool GetInteger(REALobjectStruct* run, const char* name, int64_t* out) const {
    RBInteger value = static_cast<RBInteger>(*out);
    const bool ok = getInteger(run, name, &value) != 0;
    *out = value;
    return ok;
  }

  HostIndexGetter styleRun = nullptr;
  HostStringMeasure length = nullptr;
  host_contract::REALLockStringFn lock = nullptr;
  host_contract::REALUnlockStringFn unlock = nullptr;
  host_contract::StringGetCStringFn bytes = nullptr;
  HostStringMeasure byteCount = nullptr;
  host_contract::REALGetPropValueStringFn getString = nullptr;
  host_contract::REALGetPropValueColorFn getColor = nullptr;
  host_contract::REALGetPropValueBoolFn getBoolean = nullptr;
  host_contract::REALGetPropValueIntegerFn getInteger = nullptr;
};

// A font name the host holds as UTF-16 bytes shows zero bytes; rebuild it as text so the font
// table gets the real name. Keeps the old string when the rebuild fails. The name's bytes are
// read as rbData reads them, under a lock of their own.
template <typename Services>
void RepairUTF16FontName(const Services& host, REALstringStruct*& font) {
  if (font == nullptr) return;
  REALstringStruct* const read = font;
  host.Lock(read);
  int64_t length = 0;
  const char* data = host.Contents(read, &length);
  if ((data == nullptr && length != 0) || length < 0) rbText::FixLength(data, length);
  if (length >= 1 && data != nullptr && HasZeroByte(data, length)) {
    REALstringStruct* rebuilt = REALBuildUnicodeString(data, length, kREALTextEncodingUTF16);
    if (rebuilt != nullptr) {
      REALUnlockString(font);
      font = rebuilt;
    }
  }
  host.Unlock(read);
}

template <typename Services>
bool ReadFlag(const Services& host, REALobjectStruct* run, const char* name) {
  bool value = false;
  host.GetBoolean(run, name, &value);
  return value;
}

// What the snapshot reads of one StyleRun, in the order it reads it.
struct RunFields {
  REALstringStruct* font = nullptr;
  REALstringStruct* text = nullptr;
  uint32_t textColor = 0;
  bool bold = false;
  bool italic = false;
  bool underline = false;
  int64_t size = 0;
  int64_t length = 0;
};

template <typename Services>
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline void
ReadRun(const Services& host, REALobjectStruct* run, RunFields& f) {
  host.GetString(run, host_contract::kFontProperty, &f.font);
  RepairUTF16FontName(host, f.font);
  host.GetString(run, host_contract::kTextProperty, &f.text);
  host.GetColor(run, host_contract::kTextColorProperty, &f.textColor);
  f.bold = ReadFlag(host, run, host_contract::kBoldProperty);
  f.italic = ReadFlag(host, run, host_contract::kItalicProperty);
  f.underline = ReadFlag(host, run, host_contract::kUnderlineProperty);
  host.GetInteger(run, host_contract::kSizeProperty, &f.size);
  f.length = host.Length(f.text);
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
  // The services come from the wrappers' cache once the first runs have found them all.
  CachedRunServices cached;
  bool haveCached = false;
  for (int64_t i = 0; i < runCount; ++i) {
    // The StyleRun handle is deliberately not released here; only Paragraphs are.
    REALobjectStruct* run =
        haveCached ? cached.StyleRun(styledText, i) : GetStyleRun(styledText, i);
    if (run == nullptr) continue;  // a missing run takes no room in the offsets
    RunFields f;
    rbFreeLater freeFont(nullptr, &f.font);
    rbFreeLater freeText(nullptr, &f.text);
    if (!haveCached) haveCached = cached.Take(styledText);
    if (haveCached) {
      ReadRun(cached, run, f);
    } else {
      ReadRun(RunServiceWrappers(), run, f);
    }
    // The record takes its own references; this step's go back, text first, as the guards
    // above give them back on any other way out.
    runs.emplace_back(f.bold, f.underline, f.italic, f.textColor, f.size, pos, f.length, f.font,
                      f.text);
    pos += f.length;
    if (haveCached) {
      if (f.text != nullptr) cached.Unlock(f.text);
      if (f.font != nullptr) cached.Unlock(f.font);
      f.text = nullptr;
      f.font = nullptr;
    }
  }

  if (!skipParagraphs && paragraphCount > 0)
    AssignParagraphAlignment(styledText, paragraphCount, runs);
  return !runs.empty();
}
