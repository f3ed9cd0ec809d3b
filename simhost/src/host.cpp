// The Host class: handle bookkeeping, the StyledText model and the observation interface.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale.h>
#include <wctype.h>

#include "code_page_tables.h"
#include "encodings.h"
#include "host_state.h"
#include "text_scan.h"

namespace simhost {
namespace {

Host* gCurrent = nullptr;

// How many released handles of each kind stay allocated before their memory is reused.
constexpr size_t kQuarantine = 4096;

// Simple case folding: ASCII and Latin-1 directly, the rest of the BMP through the C.UTF-8
// locale's towlower when the system has it (on Windows, through a table generated from it).
char32_t Fold(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 32 : c;
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return c + 32;
  if (c > 0xFFFF) return c;
#if defined(_WIN32)
  return tables::LowerCase(c);
#else
  static locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
  if (utf8 != static_cast<locale_t>(0)) return static_cast<char32_t>(towlower_l(c, utf8));
#endif
  if ((c >= 0x391 && c <= 0x3A9 && c != 0x3A2) || (c >= 0x410 && c <= 0x42F)) return c + 32;
  if (c >= 0x400 && c <= 0x40F) return c + 80;
  if (c >= 0x100 && c <= 0x17F && c % 2 == 0 && c != 0x130 && c != 0x138) return c + 1;
  return c;
}

std::u32string Decode(std::string_view bytes, Encoding encoding) {
  std::u32string text;
  if (!DecodeText(bytes, encoding, &text)) DecodeText(bytes, kREALTextEncodingUnknown, &text);
  return text;
}

}  // namespace

Host::State* gCurrentState = nullptr;

std::string ToUTF8(std::string_view bytes, Encoding encoding) {
  int64_t length;
  if (encoding == kREALTextEncodingUTF8 ? ScanUTF8(bytes, true, nullptr, &length)
                                        : IsAsciiCompatible(encoding) && IsAscii(bytes)) {
    return std::string(bytes);
  }
  // Also for UTF-8 input: ill-formed bytes come out as U+FFFD.
  std::string out;
  EncodeText(Decode(bytes, encoding), kREALTextEncodingUTF8, &out);
  return out;
}

int64_t LengthOf(std::string_view bytes, Encoding encoding) {
  int64_t n = CountCharacters(bytes, encoding);
  return n >= 0 ? n : static_cast<int64_t>(bytes.size());
}

namespace {

// Whether the bytes read as the same characters in UTF-8: pure ASCII in an encoding whose lower
// half is ASCII, or well-formed UTF-8.
bool ReadsAsUTF8(std::string_view bytes, Encoding encoding) {
  int64_t length;
  return encoding == kREALTextEncodingUTF8 ? ScanUTF8(bytes, true, nullptr, &length)
                                           : IsAscii(bytes) && IsAsciiCompatible(encoding);
}

// The code point at *i of well-formed UTF-8, stepping past it.
char32_t NextOfWellFormed(std::string_view s, size_t* i) {
  auto b = static_cast<unsigned char>(s[*i]);
  size_t n = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
  char32_t c = n == 1 ? b : b & (0x7F >> n);
  for (size_t k = 1; k < n; ++k) c = c << 6 | (static_cast<unsigned char>(s[*i + k]) & 0x3F);
  *i += n;
  return c;
}

}  // namespace

int CompareText(std::string_view a, Encoding ea, std::string_view b, Encoding eb) {
  // The same bytes in the same encoding are the same characters.
  if (ea == eb && a == b) return 0;
  if (ReadsAsUTF8(a, ea) && ReadsAsUTF8(b, eb)) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
      char32_t p = Fold(NextOfWellFormed(a, &i)), q = Fold(NextOfWellFormed(b, &j));
      if (p != q) return p < q ? -1 : 1;
    }
    return i == a.size() && j == b.size() ? 0 : i == a.size() ? -1 : 1;
  }
  std::u32string x = Decode(a, ea), y = Decode(b, eb);
  size_t n = std::min(x.size(), y.size());
  for (size_t i = 0; i < n; ++i) {
    char32_t p = Fold(x[i]), q = Fold(y[i]);
    if (p != q) return p < q ? -1 : 1;
  }
  return x.size() == y.size() ? 0 : x.size() < y.size() ? -1 : 1;
}

// --- handles --------------------------------------------------------------------------------

Host::State::State()
    : strings(&stringBlocks, kQuarantine),
      styledTexts(&objectBlocks, kQuarantine),
      styleRuns(&objectBlocks, kQuarantine),
      paragraphs(&objectBlocks, kQuarantine),
      exceptionObjects(&objectBlocks, kQuarantine) {}

Host::State::~State() {
  for (const void* d : stringData) delete[] static_cast<const char*>(d);
}

void Host::State::Misuse(const char* where, const void* handle, const char* what) {
  ++misuses;
  char text[256];
  snprintf(text, sizeof text, "simhost: %s: %s %p", where, what, handle);
  lastMisuse = text;
  if (options.strict) {
    // Standard error may be redirected into the log capture; report on the real one.
    int fd = savedStderr >= 0 ? savedStderr : 2;
    std::string line = lastMisuse + "\n";
    ssize_t written = write(fd, line.data(), line.size());
    (void)written;
    abort();
  }
}

void Host::State::LockString(REALstring s, const char* where) {
  if (CheckString(s, where)) ++s->refs;
}

void Host::State::LockObject(REALobject o, const char* where) {
  if (CheckObject(o, where)) ++o->refs;
}

void Host::State::ReleaseObject(REALobject o, const char* where) {
  if (o == nullptr) return;
  if (!IsLiveObject(o)) {
    Misuse(where, o, "release of a released or unknown object");
    return;
  }
  if (--o->refs > 0) return;
  // The slot (without its payload) is not handed out again at once.
  o->magic = kDeadMagic;
  switch (o->kind) {
    case ObjectKind::kStyledText: {
      auto st = static_cast<StyledTextObject*>(o);
      st->runs.Clear();
      st->alignments = {};
      st->scan.Clear();
      styledTexts.Release(st);
      break;
    }
    case ObjectKind::kStyleRun: {
      auto run = static_cast<StyleRunObject*>(o);
      RunData& r = run->run;
      r.text.Clear();
      r.font.Clear();
      r.textEncoding = r.fontEncoding = kREALTextEncodingUTF8;
      r.hasFont = r.bold = r.italic = r.underline = false;
      r.size = 0;
      r.color = 0;
      styleRuns.Release(run);
      break;
    }
    case ObjectKind::kParagraph: {
      auto paragraph = static_cast<ParagraphObject*>(o);
      paragraph->paragraph = Paragraph();
      paragraphs.Release(paragraph);
      break;
    }
    case ObjectKind::kException: {
      auto e = static_cast<ExceptionObject*>(o);
      e->className = std::string();
      e->message.reset();
      e->errorNumber = 0;
      exceptionObjects.Release(e);
      break;
    }
  }
}

uint8_t Host::State::LearnFacts(Encoding e) {
  uint8_t flags = (IsKnownEncoding(e) ? kKnown : 0) | (IsAsciiCompatible(e) ? kAsciiCompatible : 0);
  facts_[nextFact_] = {e, static_cast<uint8_t>(flags | 4)};
  nextFact_ = (nextFact_ + 1) % facts_.size();
  return flags;
}

const char32_t* Host::State::ByteTable(Encoding e) {
  auto it = byteTables.find(e);
  if (it != byteTables.end()) return it->second ? it->second->data() : nullptr;
  std::unique_ptr<std::array<char32_t, 256>> table;
  if (e != kREALTextEncodingUTF8 && IsKnownEncoding(e)) {
    table = std::make_unique<std::array<char32_t, 256>>();
    std::string all;
    std::u32string one, whole;
    for (int b = 0; b < 256; ++b) {
      all.push_back(static_cast<char>(b));
      one.clear();
      if (!DecodeText(all.substr(b, 1), e, &one) || one.size() != 1) table.reset();
      if (!table) break;
      (*table)[static_cast<size_t>(b)] = one[0];
    }
    // Byte by byte only if no pair or quadruple of any double- or multi-byte code page (nor
    // UTF-8) reads differently together.
    static const char* const kProbes[] = {"\xC3\xA9", "\x81\x40", "\xA1\x40",        "\xA1\xA1",
                                          "\x8E\xA1", "\x84\x41", "\x81\x30\x81\x30"};
    if (table && DecodeText(all, e, &whole) && whole.size() == 256) {
      for (const char* probe : kProbes) {
        one.clear();
        std::string_view p(probe);
        if (!DecodeText(p, e, &one) || one.size() != p.size()) table.reset();
        for (size_t k = 0; table && k < p.size(); ++k) {
          if (one[k] != (*table)[static_cast<unsigned char>(p[k])]) table.reset();
        }
        if (!table) break;
      }
      for (size_t b = 0; table && b < 256; ++b) {
        if (whole[b] != (*table)[b]) table.reset();
      }
    } else {
      table.reset();
    }
  }
  const char32_t* result = table ? table->data() : nullptr;
  byteTables.emplace(e, std::move(table));
  return result;
}

bool Host::State::Convert(std::string_view bytes, Encoding from, Encoding to, std::string* out) {
  // The plug-in's usual request first: UTF-16 or UTF-32 to UTF-8.
  if (to == kREALTextEncodingUTF8 && UnicodeToUTF8(bytes, from, out)) return true;
  out->clear();
  if (!Known(from) || !Known(to)) return false;
  if (from == to || (AsciiCompatible(from) && AsciiCompatible(to) && IsAscii(bytes))) {
    out->assign(bytes.data(), bytes.size());
    return true;
  }
  if (to == kREALTextEncodingUTF8) {
    if (const char32_t* table = ByteTable(from)) {
      ByteTableToUTF8(bytes, table, out, nullptr);
      return true;
    }
  }
  codePoints.clear();
  const bool known = DecodeText(bytes, from, &codePoints) && EncodeText(codePoints, to, out);
  TrimScratch(false);  // *out may be the scratch string
  return known;
}

// --- StyledText model -----------------------------------------------------------------------

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

// --- Host -----------------------------------------------------------------------------------

Host::Host(Options options) : state_(new State) {
  state_->options = std::move(options);
  state_->previous = gCurrent;
  gCurrent = this;
  gCurrentState = state_;
}

Host::~Host() {
  while (state_->captureDepth > 0) EndLogCapture();
  if (gCurrent == this) {
    gCurrent = state_->previous;
    gCurrentState = gCurrent != nullptr ? gCurrent->state_ : nullptr;
  } else {
    // Destroyed before a host made after it: that host falls back to this one's predecessor.
    for (Host* h = gCurrent; h != nullptr; h = h->state_->previous) {
      if (h->state_->previous == this) {
        h->state_->previous = state_->previous;
        break;
      }
    }
  }
  delete state_;
}

Host* Host::Current() {
  return gCurrent;
}

Options& Host::options() {
  return state_->options;
}

REALstring Host::NewString(std::string_view bytes, Encoding encoding) {
  return state_->NewString(bytes, encoding);
}

REALstring Host::NewStringUTF8(std::string_view utf8) {
  return state_->NewString(utf8, kREALTextEncodingUTF8);
}

void Host::Lock(REALstring s) {
  state_->LockString(s, "Host::Lock");
}
void Host::Release(REALstring s) {
  state_->ReleaseString(s, "Host::Release");
}

std::string Host::BytesOf(REALstring s) const {
  return state_->CheckString(s, "Host::BytesOf") ? s->bytes.str() : std::string();
}

Encoding Host::EncodingOf(REALstring s) const {
  return state_->CheckString(s, "Host::EncodingOf") ? s->encoding : kREALTextEncodingUnknown;
}

std::string Host::UTF8Of(REALstring s) const {
  return state_->CheckString(s, "Host::UTF8Of") ? ToUTF8(s->bytes, s->encoding) : std::string();
}

REALstring Host::AdoptString(std::string&& bytes, Encoding encoding) {
  return state_->AdoptString(std::move(bytes), encoding);
}

int Host::RefCount(REALstring s) const {
  return state_->IsLiveString(s) ? s->refs : 0;
}

REALobject Host::NewStyledText() {
  return state_->NewObject<StyledTextObject>();
}

REALobject Host::NewObject(const std::string& className) {
  return NewInstance(*state_, className.c_str());
}

void Host::Lock(REALobject o) {
  state_->LockObject(o, "Host::Lock");
}
void Host::Release(REALobject o) {
  state_->ReleaseObject(o, "Host::Release");
}

int Host::RefCount(REALobject o) const {
  return state_->IsLiveObject(o) ? o->refs : 0;
}

std::string Host::ClassOf(REALobject o) const {
  return state_->CheckObject(o, "Host::ClassOf") ? ClassName(o) : "";
}

namespace {
StyledTextObject* AsStyledText(Host::State& s, REALobject o, const char* where) {
  if (!s.CheckObject(o, where)) return nullptr;
  if (o->kind != ObjectKind::kStyledText) {
    s.Misuse(where, o, "not a StyledText:");
    return nullptr;
  }
  return static_cast<StyledTextObject*>(o);
}
}  // namespace

void Host::AppendRun(REALobject styledText, const RunRecipe& given) {
  StyledTextObject* st = AsStyledText(*state_, styledText, "Host::AppendRun");
  if (st == nullptr) return;
  RunData run;
  run.textEncoding = given.textEncoding;
  run.hasFont = given.font.has_value();
  if (given.font) run.font.Assign(*given.font);
  run.fontEncoding = given.fontEncoding;
  run.size = given.size;
  run.color = given.color;
  run.bold = given.bold;
  run.italic = given.italic;
  run.underline = given.underline;
  run.text.Assign(given.text);
  state_->AppendRun(st, run, false);
}

std::vector<Run> Host::RunsOf(REALobject styledText) const {
  std::vector<Run> runs;
  StyledTextObject* st = AsStyledText(*state_, styledText, "Host::RunsOf");
  if (st == nullptr) return runs;
  runs.reserve(st->runs.size());
  for (size_t i = 0; i < st->runs.size(); ++i) {
    const RunData r = st->runs.Get(i);
    Run run;
    run.text = ToUTF8(r.text, r.textEncoding);
    run.font = r.hasFont ? ToUTF8(r.font, r.fontEncoding) : std::string();
    run.size = r.size;
    run.color = r.color;
    run.bold = r.bold;
    run.italic = r.italic;
    run.underline = r.underline;
    runs.push_back(std::move(run));
  }
  return runs;
}

std::vector<Paragraph> Host::ParagraphsOf(REALobject styledText) const {
  std::vector<Paragraph> paragraphs;
  StyledTextObject* st = AsStyledText(*state_, styledText, "Host::ParagraphsOf");
  if (st == nullptr) return paragraphs;
  for (int64_t i = 0, n = state_->ParagraphCount(st); i < n; ++i) {
    paragraphs.push_back(state_->ParagraphAt(st, i));
  }
  return paragraphs;
}

std::string Host::TextOf(REALobject styledText) const {
  std::string text;
  StyledTextObject* st = AsStyledText(*state_, styledText, "Host::TextOf");
  if (st == nullptr) return text;
  VisitText(styledText, [&](std::string_view piece) { text += piece; });
  return text;
}

void Host::VisitText(REALobject styledText,
                     const std::function<void(std::string_view)>& visit) const {
  StyledTextObject* st = AsStyledText(*state_, styledText, "Host::VisitText");
  if (st == nullptr) return;
  // Runs held as UTF-8 that lie side by side in the store go out as one piece.
  const char* begin = nullptr;
  size_t size = 0;
  st->runs.ForEachText([&](std::string_view text, Encoding encoding, bool utf8) {
    if (text.empty()) return;
    if (utf8) {
      if (begin != nullptr && begin + size == text.data()) {
        size += text.size();
        return;
      }
      if (size > 0) visit(std::string_view(begin, size));
      begin = text.data();
      size = text.size();
      return;
    }
    if (size > 0) visit(std::string_view(begin, size));
    begin = nullptr;
    size = 0;
    visit(ToUTF8(text, encoding));
  });
  if (size > 0) visit(std::string_view(begin, size));
}

int64_t Host::StyleRunCount(REALobject styledText) const {
  StyledTextObject* st = AsStyledText(*state_, styledText, "Host::StyleRunCount");
  return st != nullptr ? static_cast<int64_t>(st->runs.size()) : 0;
}

void Host::SetParagraphAlignment(REALobject styledText, int64_t index, int64_t alignment) {
  StyledTextObject* st = AsStyledText(*state_, styledText, "Host::SetParagraphAlignment");
  if (st != nullptr) state_->SetAlignment(st, index, alignment);
}

std::optional<std::string> Host::Convert(std::string_view bytes, Encoding from, Encoding to) {
  if (!IsKnownEncoding(from) || !IsKnownEncoding(to)) return std::nullopt;
  if (from == to) return std::string(bytes);
  if (IsAsciiCompatible(from) && IsAsciiCompatible(to) &&
      std::all_of(bytes.begin(), bytes.end(),
                  [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    return std::string(bytes);
  }
  std::u32string text;
  std::string out;
  if (!DecodeText(bytes, from, &text) || !EncodeText(text, to, &out)) return std::nullopt;
  return out;
}

uint64_t Host::Calls(const std::string& name) const {
  for (int i = 0; i < kCounterCount; ++i) {
    if (name == kCounterNames[i]) return state_->calls[static_cast<size_t>(i)];
  }
  return 0;
}

uint64_t Host::Lookups(const std::string& name) const {
  auto it = state_->lookups.find(name);
  return it == state_->lookups.end() ? 0 : it->second;
}

std::map<std::string, uint64_t> Host::AllCalls() const {
  std::map<std::string, uint64_t> all;
  for (int i = 0; i < kCounterCount; ++i) {
    if (state_->calls[static_cast<size_t>(i)] != 0) {
      all[kCounterNames[i]] = state_->calls[static_cast<size_t>(i)];
    }
  }
  return all;
}

void Host::ResetCounters() {
  state_->calls.fill(0);
  state_->lookups.clear();
}

size_t Host::LiveStrings() const {
  return state_->strings.live();
}
size_t Host::LiveObjects() const {
  return state_->LiveObjects();
}
size_t Host::LiveStringData() const {
  return state_->stringData.size();
}
uint64_t Host::Misuses() const {
  return state_->misuses;
}
const std::string& Host::LastMisuse() const {
  return state_->lastMisuse;
}

const std::vector<RaisedException>& Host::Exceptions() const {
  return state_->exceptions;
}
void Host::ClearExceptions() {
  state_->exceptions.clear();
}

const std::vector<Registration>& Host::Registrations() const {
  return state_->registrations;
}
std::optional<int32_t> Host::AnnouncedVersion() const {
  return state_->announcedVersion;
}

const std::vector<std::string>& Host::Log() const {
  return state_->log;
}
void Host::ClearLog() {
  state_->log.clear();
}

bool Run::operator==(const Run& o) const {
  return text == o.text && font == o.font && size == o.size && color == o.color && bold == o.bold &&
         italic == o.italic && underline == o.underline;
}

bool Paragraph::operator==(const Paragraph& o) const {
  return start == o.start && end == o.end && alignment == o.alignment;
}

}  // namespace simhost
