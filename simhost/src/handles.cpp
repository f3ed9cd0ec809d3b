// The host's handles: strings and objects allocated from its pools, reference counts, and the
// misuse a plug-in makes of them.
#include <unistd.h>

#include <cstdio>

#include "host_state.h"

namespace simhost {
namespace {

// How many released handles of each kind stay allocated before their memory is reused.
constexpr size_t kQuarantine = 4096;

}  // namespace

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
  // The slot (without its payload) is not handed out again at once.
  ReleaseHandle(o, where, [this](REALobject dead) { FreeObject(dead); });
}

void Host::State::FreeObject(REALobject o) {
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

}  // namespace simhost
