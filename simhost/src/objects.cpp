// Host classes: StyledText, StyleRun, Paragraph and the exception classes, their properties
// (answered by the dynamic property services) and the StyledText methods the host hands out by
// declaration. Property names match exactly (case included).
#include <cstring>
#include <utility>

#include "host_state.h"

namespace simhost {
namespace {

template <size_t N>
[[gnu::always_inline]] inline bool Is(const char* name, const char (&expected)[N]) {
  return NameIs(name, expected);
}

bool IsExceptionClass(const char* name) {
  return Is(name, "RuntimeException") || Is(name, "OutOfBoundsException") ||
         Is(name, "OutOfMemoryException");
}

bool HasFontProperty(const Host::State& s, const char* name) {
  FontProperty f = s.options.fontProperty;
  if (Is(name, host_contract::kFontProperty))
    return f == FontProperty::kFont || f == FontProperty::kBoth;
  if (Is(name, host_contract::kFontNameProperty))
    return f == FontProperty::kFontName || f == FontProperty::kBoth;
  return false;
}

// A live object of the expected kind, for a method entry point; anything else is misuse.
template <typename T>
T* Self(Host::State& s, REALobject o, ObjectKind kind, const char* where) {
  if (!s.CheckObject(o, where)) return nullptr;
  if (o->kind != kind) {
    s.Misuse(where, o, "object of the wrong class");
    return nullptr;
  }
  return static_cast<T*>(o);
}

// --- StyledText methods ----------------------------------------------------------------------

// The start of every StyledText method: the current host in *state, the call counted, and the
// live StyledText it was called on; null (misuse labelled with the method's declaration) when
// there is no host or no such object.
StyledTextObject* EnterMethod(Host::State** state, REALobject self, Counter method) {
  Host::State* s = *state = CurrentState();
  if (s == nullptr) return nullptr;
  s->Count(method);
  return Self<StyledTextObject>(*s, self, ObjectKind::kStyledText, NameOf(method));
}

REALobject RBCALL StyledTextStyleRun(REALobject self, RBInteger index) {
  Host::State* s;
  auto st = EnterMethod(&s, self, kMethodStyleRun);
  if (st == nullptr || index < 0 || index >= static_cast<RBInteger>(st->runs.size())) {
    return nullptr;
  }
  // A detached copy: changing it does not change the text.
  auto run = s->NewObject<StyleRunObject>();
  run->run = st->runs.Get(static_cast<size_t>(index));
  return run;
}

REALobject RBCALL StyledTextParagraph(REALobject self, RBInteger index) {
  Host::State* s;
  auto st = EnterMethod(&s, self, kMethodParagraph);
  if (st == nullptr || index < 0 || index >= s->ParagraphCount(st)) return nullptr;
  auto paragraph = s->NewObject<ParagraphObject>();
  paragraph->paragraph = s->ParagraphAt(st, index);
  return paragraph;
}

void RBCALL StyledTextRemoveStyleRun(REALobject self, RBInteger index) {
  Host::State* s;
  auto st = EnterMethod(&s, self, kMethodRemoveStyleRun);
  if (st != nullptr) s->RemoveRun(st, index);  // an index out of range is ignored
}

void RBCALL StyledTextAppendStyleRun(REALobject self, REALobject run) {
  Host::State* s;
  auto st = EnterMethod(&s, self, kMethodAppendStyleRun);
  if (st == nullptr || run == nullptr) return;
  auto r = Self<StyleRunObject>(*s, run, ObjectKind::kStyleRun, NameOf(kMethodAppendStyleRun));
  // The text keeps a copy of the run, its text held as Unicode.
  if (r != nullptr) s->AppendRun(st, r->run, true);
}

void RBCALL StyledTextParagraphAlignment(REALobject self, RBInteger index, RBInteger value) {
  Host::State* s;
  auto st = EnterMethod(&s, self, kMethodParagraphAlignment);
  if (st != nullptr) s->SetAlignment(st, index, value);  // an index out of range is ignored
}

// --- property helpers -----------------------------------------------------------------------

// The bytes and encoding of a string given to a setter; null reads as empty.
bool ReadArgument(Host::State& s, REALstring value, const char* where, std::string_view* bytes,
                  Encoding* encoding) {
  if (value == nullptr) {
    *bytes = std::string_view();
    *encoding = kREALTextEncodingUTF8;
    return true;
  }
  if (!s.CheckString(value, where)) return false;
  *bytes = value->bytes;
  *encoding = value->encoding;
  return true;
}

}  // namespace

const char* ClassName(const REALobjectStruct* o) {
  switch (o->kind) {
    case ObjectKind::kStyledText:
      return "StyledText";
    case ObjectKind::kStyleRun:
      return "StyleRun";
    case ObjectKind::kParagraph:
      return "Paragraph";
    case ObjectKind::kException:
      return static_cast<const ExceptionObject*>(o)->className.c_str();
  }
  return "";
}

REALobject NewInstance(Host::State& s, const char* className) {
  if (className == nullptr) return nullptr;
  if (Is(className, "StyleRun")) return s.NewObject<StyleRunObject>();
  if (Is(className, "StyledText")) return s.NewObject<StyledTextObject>();
  if (IsExceptionClass(className)) {
    auto e = s.NewObject<ExceptionObject>();
    e->className = className;
    return e;
  }
  return nullptr;
}

void* StyledTextMethod(Host::State& s, const std::string& declaration) {
  void* entry = nullptr;
  if (declaration == host_contract::kStyleRunDeclaration) {
    entry = reinterpret_cast<void*>(&StyledTextStyleRun);
  } else if (declaration == host_contract::kParagraphDeclaration) {
    entry = reinterpret_cast<void*>(&StyledTextParagraph);
  } else if (declaration == host_contract::kRemoveStyleRunDeclaration) {
    entry = reinterpret_cast<void*>(&StyledTextRemoveStyleRun);
  } else if (declaration == host_contract::kAppendStyleRunDeclaration) {
    entry = reinterpret_cast<void*>(&StyledTextAppendStyleRun);
  } else if (declaration == host_contract::kParagraphAlignmentDeclaration) {
    entry = reinterpret_cast<void*>(&StyledTextParagraphAlignment);
  }
  return entry != nullptr && !s.Withheld(declaration) ? entry : nullptr;
}

bool GetStringProperty(Host::State& s, REALobject o, const char* name, REALstring* out) {
  if (name == nullptr || out == nullptr || !s.CheckObject(o, NameOf(kREALGetPropValueString))) {
    return false;
  }
  switch (o->kind) {
    case ObjectKind::kStyleRun: {
      const RunData& r = static_cast<StyleRunObject*>(o)->run;
      if (Is(name, host_contract::kTextProperty)) {
        *out = s.NewString(r.text, r.textEncoding);
        return true;
      }
      if (HasFontProperty(s, name)) {
        *out = r.hasFont ? s.NewString(r.font, r.fontEncoding) : nullptr;
        return true;
      }
      return false;
    }
    case ObjectKind::kStyledText: {
      if (!Is(name, host_contract::kTextProperty)) return false;
      std::string text;
      static_cast<StyledTextObject*>(o)->runs.ForEachText(
          [&](std::string_view bytes, Encoding encoding, bool) {
            text += ToUTF8(bytes, encoding);
          });
      *out = s.AdoptString(std::move(text), kREALTextEncodingUTF8);
      return true;
    }
    case ObjectKind::kException: {
      if (!Is(name, host_contract::kMessageProperty)) return false;
      const auto& message = static_cast<ExceptionObject*>(o)->message;
      *out = message ? s.NewString(*message, kREALTextEncodingUTF8) : nullptr;
      return true;
    }
    case ObjectKind::kParagraph:
      return false;
  }
  return false;
}

bool SetStringProperty(Host::State& s, REALobject o, const char* name, REALstring value) {
  if (name == nullptr || !s.CheckObject(o, NameOf(kREALSetPropValueString))) return false;
  std::string_view bytes;
  Encoding encoding;
  switch (o->kind) {
    case ObjectKind::kStyleRun: {
      RunData& r = static_cast<StyleRunObject*>(o)->run;
      if (Is(name, host_contract::kTextProperty)) {
        if (!ReadArgument(s, value, NameOf(kREALSetPropValueString), &bytes, &encoding))
          return false;
        r.text.Assign(bytes);
        r.textEncoding = encoding;
        return true;
      }
      if (HasFontProperty(s, name)) {
        if (!ReadArgument(s, value, NameOf(kREALSetPropValueString), &bytes, &encoding))
          return false;
        r.hasFont = value != nullptr;
        r.font.Assign(bytes);
        r.fontEncoding = encoding;
        return true;
      }
      return false;
    }
    case ObjectKind::kException: {
      if (!Is(name, host_contract::kMessageProperty)) return false;
      if (!ReadArgument(s, value, NameOf(kREALSetPropValueString), &bytes, &encoding)) return false;
      auto e = static_cast<ExceptionObject*>(o);
      if (value == nullptr) {
        e->message.reset();
      } else {
        e->message = ToUTF8(bytes, encoding);
      }
      return true;
    }
    case ObjectKind::kStyledText:  // "Text" is read-only here
    case ObjectKind::kParagraph:
      return false;
  }
  return false;
}

bool GetIntegerProperty(Host::State& s, REALobject o, const char* name, int64_t* out) {
  if (name == nullptr || out == nullptr || !s.CheckObject(o, NameOf(kREALGetPropValueInteger))) {
    return false;
  }
  switch (o->kind) {
    case ObjectKind::kStyledText: {
      auto st = static_cast<StyledTextObject*>(o);
      if (Is(name, host_contract::kParagraphCountProperty)) {
        *out = s.ParagraphCount(st);
        return true;
      }
      if (Is(name, host_contract::kStyleRunCountProperty)) {
        *out = static_cast<int64_t>(st->runs.size());
        return true;
      }
      return false;
    }
    case ObjectKind::kStyleRun:
      if (Is(name, host_contract::kSizeProperty) || Is(name, "FontSize")) {
        *out = static_cast<StyleRunObject*>(o)->run.size;
        return true;
      }
      return false;
    case ObjectKind::kParagraph: {
      const Paragraph& p = static_cast<ParagraphObject*>(o)->paragraph;
      if (Is(name, host_contract::kStartPosProperty) || Is(name, "StartPosition")) {
        *out = p.start;
      } else if (Is(name, host_contract::kEndPosProperty) || Is(name, "EndPosition")) {
        *out = p.end;
      } else if (Is(name, host_contract::kAlignmentProperty) || Is(name, "TextAlignment")) {
        *out = p.alignment;
      } else if (Is(name, "Length")) {
        *out = p.end - p.start;
      } else {
        return false;
      }
      return true;
    }
    case ObjectKind::kException:
      if (!Is(name, host_contract::kErrorNumberProperty)) return false;
      *out = static_cast<ExceptionObject*>(o)->errorNumber;
      return true;
  }
  return false;
}

bool SetIntegerProperty(Host::State& s, REALobject o, const char* name, int64_t value) {
  if (name == nullptr || !s.CheckObject(o, NameOf(kREALSetPropValueInteger))) return false;
  if (o->kind == ObjectKind::kStyleRun &&
      (Is(name, host_contract::kSizeProperty) || Is(name, "FontSize"))) {
    static_cast<StyleRunObject*>(o)->run.size = value;
    return true;
  }
  if (o->kind == ObjectKind::kException && Is(name, host_contract::kErrorNumberProperty)) {
    static_cast<ExceptionObject*>(o)->errorNumber = value;
    return true;
  }
  return false;  // counts and paragraph positions are read-only
}

namespace {
bool* BooleanField(REALobject o, const char* name) {
  if (o->kind != ObjectKind::kStyleRun) return nullptr;
  RunData& r = static_cast<StyleRunObject*>(o)->run;
  if (Is(name, host_contract::kBoldProperty)) return &r.bold;
  if (Is(name, host_contract::kItalicProperty)) return &r.italic;
  if (Is(name, host_contract::kUnderlineProperty)) return &r.underline;
  return nullptr;
}
}  // namespace

bool GetBooleanProperty(Host::State& s, REALobject o, const char* name, bool* out) {
  if (name == nullptr || out == nullptr || !s.CheckObject(o, NameOf(kREALGetPropValueBool))) {
    return false;
  }
  bool* field = BooleanField(o, name);
  if (field == nullptr) return false;
  *out = *field;
  return true;
}

bool SetBooleanProperty(Host::State& s, REALobject o, const char* name, bool value) {
  if (name == nullptr || !s.CheckObject(o, NameOf(kREALSetPropValueBoolean))) return false;
  bool* field = BooleanField(o, name);
  if (field == nullptr) return false;
  *field = value;
  return true;
}

bool GetColorProperty(Host::State& s, REALobject o, const char* name, uint32_t* out) {
  if (name == nullptr || out == nullptr || !s.CheckObject(o, NameOf(kREALGetPropValueColor))) {
    return false;
  }
  if (o->kind != ObjectKind::kStyleRun || !Is(name, host_contract::kTextColorProperty))
    return false;
  *out = static_cast<StyleRunObject*>(o)->run.color;
  return true;
}

bool SetColorProperty(Host::State& s, REALobject o, const char* name, uint32_t value) {
  if (name == nullptr || !s.CheckObject(o, NameOf(kREALSetPropValueColor))) return false;
  if (o->kind != ObjectKind::kStyleRun || !Is(name, host_contract::kTextColorProperty))
    return false;
  static_cast<StyleRunObject*>(o)->run.color = value;  // all 32 bits, unchanged
  return true;
}

}  // namespace simhost
