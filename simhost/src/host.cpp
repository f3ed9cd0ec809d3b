// The Host class: the facade tests and the tool use to make a host current, create and inspect
// its strings and objects, and observe what the plug-in did.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "encodings.h"
#include "host_state.h"
#include "text_scan.h"

namespace simhost {
namespace {

Host* gCurrent = nullptr;

}  // namespace

Host::State* gCurrentState = nullptr;

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
