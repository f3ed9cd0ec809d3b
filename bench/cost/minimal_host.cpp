// The minimal host: reference-counted strings that keep their bytes and encoding, StyledText,
// StyleRun and Paragraph objects with the properties the library uses, and the services and
// host methods the library resolves. Conversions are done only where the library depends on
// their result (UTF-16 to UTF-8 for "\u" characters, UTF-8 to UTF-16 for string data).
#include "minimal_host.h"

#include <cstring>

#include "frame/host_contract.h"
#include "support/utf8.h"

namespace minihost {
namespace {

std::FILE* gTrace = nullptr;
uint64_t gNextId = 1;
REALproc gGetter = nullptr;
REALproc gSetter = nullptr;

}  // namespace
}  // namespace minihost

struct REALstringStruct {
  int refs;
  uint64_t id;
  uint32_t encoding;
  std::string bytes;
};

enum class ObjectKind { kStyledText, kStyleRun, kParagraph, kOther };

struct REALobjectStruct {
  ObjectKind kind;
  uint64_t id;
  int refs;
};

namespace minihost {
namespace {

struct RunObject : REALobjectStruct {
  REALstring font = nullptr;
  REALstring text = nullptr;
  uint32_t color = 0;
  bool bold = false, italic = false, underline = false;
  int64_t size = 0;
};

struct ParagraphObject : REALobjectStruct {
  int64_t start = 0, end = 0, alignment = 0;
};

struct StyledTextObject : REALobjectStruct {
  std::vector<RunObject*> runs;
  std::vector<ParagraphObject*> paragraphs;  // finished ones, then the open one (if any)
  int64_t length = 0;                        // characters
  bool openExists = false;                   // the last paragraph has no separator yet
  bool lastWasCR = false;                    // the last character was a CR separator
};

template <typename T>
T* NewObject(ObjectKind kind) {
  T* o = new T();
  o->kind = kind;
  o->id = gNextId++;
  o->refs = 1;
  return o;
}

REALstring MakeString(const char* bytes, size_t length, uint32_t encoding) {
  auto* s = new REALstringStruct{1, gNextId++, encoding, std::string(bytes, length)};
  return s;
}

void Lock(REALstring s) {
  if (s != nullptr) ++s->refs;
}

void Unlock(REALstring s) {
  if (s != nullptr && --s->refs == 0) delete s;
}

int64_t Characters(const std::string& utf8) {
  int64_t n = 0;
  for (unsigned char c : utf8) n += (c & 0xC0) != 0x80;
  return n;
}

// Paragraphs as the host counts them: CR, LF and CR LF each end one; the piece behind the
// last separator counts once it holds a character.
void AddText(StyledTextObject* st, const std::string& utf8) {
  int64_t pos = st->length;
  for (size_t k = 0; k < utf8.size(); ++k) {
    const unsigned char c = static_cast<unsigned char>(utf8[k]);
    if ((c & 0xC0) == 0x80) continue;
    if (c == '\n' && st->lastWasCR) {
      st->paragraphs.back()->end = pos + 1;
      st->lastWasCR = false;
    } else {
      if (!st->openExists) {
        auto* p = NewObject<ParagraphObject>(ObjectKind::kParagraph);
        p->start = pos;
        st->paragraphs.push_back(p);
        st->openExists = true;
      }
      st->paragraphs.back()->end = pos + 1;
      const bool separator = c == '\r' || c == '\n';
      if (separator) st->openExists = false;
      st->lastWasCR = c == '\r';
    }
    ++pos;
  }
  st->length = pos;
}

// --- trace ----------------------------------------------------------------------------------

void TraceBytes(const char* bytes, size_t length) {
  std::fputc('"', gTrace);
  for (size_t i = 0; i < length; ++i) {
    const unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c >= 0x20 && c < 0x7F && c != '"' && c != '\\') {
      std::fputc(c, gTrace);
    } else {
      std::fprintf(gTrace, "\\x%02X", c);
    }
  }
  std::fputc('"', gTrace);
}

uint64_t IdOf(const REALstringStruct* s) {
  return s != nullptr ? s->id : 0;
}
uint64_t IdOf(const REALobjectStruct* o) {
  return o != nullptr ? o->id : 0;
}

#define TRACE(...)                       \
  do {                                   \
    if (gTrace != nullptr) {             \
      std::fprintf(gTrace, __VA_ARGS__); \
      std::fputc('\n', gTrace);          \
    }                                    \
  } while (0)

// A new string of length bytes, or null for a negative length or missing bytes; the trace
// names the service and shows the encoding where the caller gave one.
REALstring BuildString(const char* service, const char* bytes, int length, uint32_t encoding,
                       bool encodingGiven) {
  REALstring r = length < 0 || (bytes == nullptr && length > 0)
                     ? nullptr
                     : MakeString(bytes, static_cast<size_t>(length), encoding);
  if (gTrace != nullptr) {
    std::fprintf(gTrace, "%s ", service);
    if (r != nullptr) TraceBytes(bytes, static_cast<size_t>(length));
    std::fprintf(gTrace, " %d", length);
    if (encodingGiven) std::fprintf(gTrace, " %X", encoding);
    std::fprintf(gTrace, " -> s%llu\n", (unsigned long long)IdOf(r));
  }
  return r;
}

// The index-th object of a StyledText's list (a new reference), or null out of range.
template <typename T>
REALobject ObjectAt(const char* method, REALobject self, const std::vector<T*>& list,
                    RBInteger index) {
  REALobject r = index >= 0 && static_cast<size_t>(index) < list.size()
                     ? list[static_cast<size_t>(index)]
                     : nullptr;
  if (r != nullptr) ++r->refs;
  TRACE("%s o%llu %lld -> o%llu", method, (unsigned long long)IdOf(self), (long long)index,
        (unsigned long long)IdOf(r));
  return r;
}

// The StyleRun obj when the property asked for is `property`; null otherwise.
RunObject* RunWith(REALobject obj, const char* name, const char* property) {
  return obj != nullptr && obj->kind == ObjectKind::kStyleRun && std::strcmp(name, property) == 0
             ? static_cast<RunObject*>(obj)
             : nullptr;
}

// The StyleRun's Bold, Italic or Underline by name; null for another property or object.
bool* RunFlag(REALobject obj, const char* name) {
  if (obj == nullptr || obj->kind != ObjectKind::kStyleRun) return nullptr;
  auto* run = static_cast<RunObject*>(obj);
  if (std::strcmp(name, "Bold") == 0) return &run->bold;
  if (std::strcmp(name, "Italic") == 0) return &run->italic;
  if (std::strcmp(name, "Underline") == 0) return &run->underline;
  return nullptr;
}

}  // namespace
}  // namespace minihost

using namespace minihost;

// --- services -------------------------------------------------------------------------------
// Names start with "HostService_": the profiler switches collection off inside each of them.

extern "C" {

RBBoolean RBCALL HostService_GetStringData(REALstring s, uint32_t encoding, REALstringData* out) {
  TRACE("PluginGetStringData s%llu %X", (unsigned long long)IdOf(s), encoding);
  if (s == nullptr || out == nullptr) return 0;
  std::string converted;
  const bool fromUTF8 =
      s->encoding == kREALTextEncodingUTF8 || s->encoding == kREALTextEncodingASCII;
  if (encoding == s->encoding || (fromUTF8 && encoding == kREALTextEncodingUTF8)) {
    converted = s->bytes;
  } else if (fromUTF8 && encoding == kREALTextEncodingUTF16) {
    const std::string& b = s->bytes;
    for (size_t i = 0; i < b.size();) {
      const unsigned char c = static_cast<unsigned char>(b[i]);
      uint32_t cp = c;
      int n = c < 0x80 ? 0 : c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
      if (n > 0) cp = c & (0x3F >> n);
      for (int k = 1; k <= n && i + k < b.size(); ++k) cp = (cp << 6) | (b[i + k] & 0x3F);
      i += n + 1;
      uint16_t units[2];
      int count = 1;
      if (cp >= 0x10000) {
        units[0] = static_cast<uint16_t>(0xD800 + ((cp - 0x10000) >> 10));
        units[1] = static_cast<uint16_t>(0xDC00 + (cp & 0x3FF));
        count = 2;
      } else {
        units[0] = static_cast<uint16_t>(cp);
      }
      converted.append(reinterpret_cast<const char*>(units), count * 2);
    }
  } else {
    return 0;
  }
  char* buffer = new char[converted.size() + 4];
  std::memcpy(buffer, converted.data(), converted.size());
  std::memset(buffer + converted.size(), 0, 4);
  out->data = buffer;
  out->length = converted.size();
  out->encoding = encoding;
  out->private1 = buffer;
  out->private2 = 0;
  return 1;
}

void RBCALL HostService_DisposeStringData(REALstringData* data) {
  TRACE("%s", host_contract::kPluginDisposeStringDataName);
  if (data == nullptr) return;
  delete[] static_cast<const char*>(data->private1);
  data->private1 = nullptr;
}

void* RBCALL HostService_StringGetCString(REALstring s) {
  TRACE("StringGetCString s%llu", (unsigned long long)IdOf(s));
  return s != nullptr ? s->bytes.data() : nullptr;
}

void RBCALL HostService_LockString(REALstring s) {
  TRACE("REALLockString s%llu", (unsigned long long)IdOf(s));
  Lock(s);
}

void RBCALL HostService_UnlockString(REALstring s) {
  TRACE("REALUnlockString s%llu", (unsigned long long)IdOf(s));
  Unlock(s);
}

uint32_t RBCALL HostService_GetStringEncoding(REALstring s) {
  TRACE("REALGetStringEncoding s%llu", (unsigned long long)IdOf(s));
  return s != nullptr ? s->encoding : kREALTextEncodingUnknown;
}

void RBCALL HostService_SetStringEncoding(REALstring s, uint32_t encoding) {
  TRACE("REALSetStringEncoding s%llu %X", (unsigned long long)IdOf(s), encoding);
  if (s != nullptr) s->encoding = encoding;
}

// Only UTF-16 to UTF-8 is converted (the one conversion the library asks for); anything else
// keeps its bytes under the new label.
REALstring RBCALL HostService_ConvertString(REALstring s, uint32_t encoding) {
  if (s == nullptr) {
    TRACE("REALConvertString s0 %X -> s0", encoding);
    return nullptr;
  }
  std::string out;
  if (s->encoding == kREALTextEncodingUTF16 && encoding == kREALTextEncodingUTF8) {
    const std::string& b = s->bytes;
    for (size_t i = 0; i + 1 < b.size(); i += 2) {
      uint16_t u;
      std::memcpy(&u, b.data() + i, 2);
      uint32_t cp = u;
      if (u >= 0xD800 && u < 0xDC00 && i + 3 < b.size()) {
        uint16_t low;
        std::memcpy(&low, b.data() + i + 2, 2);
        if (low >= 0xDC00 && low < 0xE000) {
          cp = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
          i += 2;
        }
      }
      test_support::AppendUtf8(cp, &out);
    }
  } else {
    out = s->bytes;
  }
  REALstring r = MakeString(out.data(), out.size(), encoding);
  TRACE("REALConvertString s%llu %X -> s%llu", (unsigned long long)IdOf(s), encoding,
        (unsigned long long)IdOf(r));
  return r;
}

REALstring RBCALL HostService_BuildString(const char* bytes, int length) {
  return BuildString("REALBuildString", bytes, length, kREALTextEncodingUnknown, false);
}

REALstring RBCALL HostService_BuildStringWithEncoding(const char* bytes, int length,
                                                      uint32_t encoding) {
  return BuildString("REALBuildStringWithEncoding", bytes, length, encoding, true);
}

RBInteger RBCALL HostService_StringCompare(REALstring a, REALstring b) {
  const std::string empty;
  const std::string& x = a != nullptr ? a->bytes : empty;
  const std::string& y = b != nullptr ? b->bytes : empty;
  const int c = x.compare(y);
  const RBInteger r = c < 0 ? -1 : c > 0 ? 1 : 0;
  TRACE("RuntimeStringCompare s%llu s%llu -> %lld", (unsigned long long)IdOf(a),
        (unsigned long long)IdOf(b), (long long)r);
  return r;
}

// --- host methods ---

RBInteger RBCALL HostService_Len(REALstring s) {
  const RBInteger n = s != nullptr ? Characters(s->bytes) : 0;
  TRACE("Len s%llu -> %lld", (unsigned long long)IdOf(s), (long long)n);
  return n;
}

RBInteger RBCALL HostService_LenB(REALstring s) {
  const RBInteger n = s != nullptr ? static_cast<RBInteger>(s->bytes.size()) : 0;
  TRACE("LenB s%llu -> %lld", (unsigned long long)IdOf(s), (long long)n);
  return n;
}

REALobject RBCALL HostService_StyleRunAt(REALobject self, RBInteger index) {
  return ObjectAt("StyleRun", self, static_cast<StyledTextObject*>(self)->runs, index);
}

REALobject RBCALL HostService_ParagraphAt(REALobject self, RBInteger index) {
  return ObjectAt("Paragraph", self, static_cast<StyledTextObject*>(self)->paragraphs, index);
}

void RBCALL HostService_RemoveStyleRun(REALobject self, RBInteger index) {
  TRACE("RemoveStyleRun o%llu %lld", (unsigned long long)IdOf(self), (long long)index);
  auto* st = static_cast<StyledTextObject*>(self);
  if (index >= 0 && static_cast<size_t>(index) < st->runs.size())
    st->runs.erase(st->runs.begin() + index);
}

void RBCALL HostService_AppendStyleRun(REALobject self, REALobject run) {
  TRACE("AppendStyleRun o%llu o%llu", (unsigned long long)IdOf(self),
        (unsigned long long)IdOf(run));
  auto* st = static_cast<StyledTextObject*>(self);
  auto* r = static_cast<RunObject*>(run);
  ++r->refs;
  st->runs.push_back(r);
  if (r->text != nullptr) AddText(st, r->text->bytes);
}

void RBCALL HostService_SetParagraphAlignment(REALobject self, RBInteger index,
                                              RBInteger alignment) {
  TRACE("ParagraphAlignment o%llu %lld %lld", (unsigned long long)IdOf(self), (long long)index,
        (long long)alignment);
  auto* st = static_cast<StyledTextObject*>(self);
  if (index >= 0 && static_cast<size_t>(index) < st->paragraphs.size())
    st->paragraphs[static_cast<size_t>(index)]->alignment = alignment;
}

void* RBCALL HostService_LoadGlobalMethod(const char* module, const char* declaration) {
  void* r = nullptr;
  if (module == nullptr && declaration != nullptr) {
    if (std::strcmp(declaration, host_contract::kLenDeclaration) == 0)
      r = reinterpret_cast<void*>(&HostService_Len);
    if (std::strcmp(declaration, host_contract::kLenBDeclaration) == 0)
      r = reinterpret_cast<void*>(&HostService_LenB);
  }
  TRACE("REALLoadGlobalMethod %s %s -> %d", module != nullptr ? module : "(null)",
        declaration != nullptr ? declaration : "(null)", r != nullptr);
  return r;
}

void* RBCALL HostService_LoadObjectMethod(REALobject obj, const char* declaration) {
  void* r = nullptr;
  if (obj != nullptr && obj->kind == ObjectKind::kStyledText && declaration != nullptr) {
    const std::string d(declaration);
    if (d == host_contract::kStyleRunDeclaration)
      r = reinterpret_cast<void*>(&HostService_StyleRunAt);
    if (d == host_contract::kParagraphDeclaration)
      r = reinterpret_cast<void*>(&HostService_ParagraphAt);
    if (d == host_contract::kRemoveStyleRunDeclaration)
      r = reinterpret_cast<void*>(&HostService_RemoveStyleRun);
    if (d == host_contract::kAppendStyleRunDeclaration)
      r = reinterpret_cast<void*>(&HostService_AppendStyleRun);
    if (d == host_contract::kParagraphAlignmentDeclaration)
      r = reinterpret_cast<void*>(&HostService_SetParagraphAlignment);
  }
  TRACE("REALLoadObjectMethod o%llu %s -> %d", (unsigned long long)IdOf(obj),
        declaration != nullptr ? declaration : "(null)", r != nullptr);
  return r;
}

// --- objects ---

void RBCALL HostService_UnlockObject(REALobject obj) {
  TRACE("REALUnlockObject o%llu", (unsigned long long)IdOf(obj));
  if (obj != nullptr) --obj->refs;  // objects stay allocated: the host keeps its runs
}

REALobject RBCALL HostService_NewInstance(const char* className) {
  REALobject r = nullptr;
  if (className != nullptr && std::strcmp(className, "StyleRun") == 0)
    r = NewObject<RunObject>(ObjectKind::kStyleRun);
  TRACE("PluginNewInstance %s -> o%llu", className != nullptr ? className : "(null)",
        (unsigned long long)IdOf(r));
  return r;
}

void RBCALL HostService_RaiseException(REALobject obj) {
  TRACE("RuntimeRaiseException o%llu", (unsigned long long)IdOf(obj));
}

// --- properties ---

RBBoolean RBCALL HostService_GetPropValueString(REALobject obj, const char* name, REALstring* out) {
  RBBoolean ok = 0;
  if (obj != nullptr && obj->kind == ObjectKind::kStyleRun && out != nullptr) {
    auto* run = static_cast<RunObject*>(obj);
    if (std::strcmp(name, "Text") == 0) {
      *out = run->text;
      ok = 1;
    } else if (std::strcmp(name, "Font") == 0 || std::strcmp(name, "FontName") == 0) {
      *out = run->font;
      ok = 1;
    }
    if (ok) Lock(*out);
  }
  TRACE("REALGetPropValueString o%llu %s -> %d s%llu", (unsigned long long)IdOf(obj), name, ok,
        (unsigned long long)(ok ? IdOf(*out) : 0));
  return ok;
}

RBBoolean RBCALL HostService_SetPropValueString(REALobject obj, const char* name,
                                                REALstring value) {
  RBBoolean ok = 0;
  if (obj != nullptr && obj->kind == ObjectKind::kStyleRun) {
    auto* run = static_cast<RunObject*>(obj);
    REALstring* slot = nullptr;
    if (std::strcmp(name, "Text") == 0) slot = &run->text;
    if (std::strcmp(name, "Font") == 0) slot = &run->font;
    if (slot != nullptr) {
      Lock(value);
      Unlock(*slot);
      *slot = value;
      ok = 1;
    }
  }
  TRACE("REALSetPropValueString o%llu %s s%llu -> %d", (unsigned long long)IdOf(obj), name,
        (unsigned long long)IdOf(value), ok);
  return ok;
}

RBBoolean RBCALL HostService_GetPropValueBool(REALobject obj, const char* name, RBBoolean* out) {
  const bool* flag = out != nullptr ? RunFlag(obj, name) : nullptr;
  const RBBoolean ok = flag != nullptr;
  if (ok) *out = *flag;
  TRACE("REALGetPropValueBool o%llu %s -> %d %d", (unsigned long long)IdOf(obj), name, ok,
        ok ? *out : 0);
  return ok;
}

RBBoolean RBCALL HostService_GetPropValueColor(REALobject obj, const char* name, RBColor* out) {
  const RunObject* run = out != nullptr ? RunWith(obj, name, "TextColor") : nullptr;
  const RBBoolean ok = run != nullptr;
  if (ok) *out = run->color;
  TRACE("REALGetPropValueColor o%llu %s -> %d %X", (unsigned long long)IdOf(obj), name, ok,
        ok ? *out : 0);
  return ok;
}

RBBoolean RBCALL HostService_GetPropValueInteger(REALobject obj, const char* name, RBInteger* out) {
  RBBoolean ok = 0;
  if (obj != nullptr && out != nullptr) {
    ok = 1;
    if (obj->kind == ObjectKind::kStyledText) {
      auto* st = static_cast<StyledTextObject*>(obj);
      if (std::strcmp(name, "StyleRunCount") == 0) {
        *out = static_cast<RBInteger>(st->runs.size());
      } else if (std::strcmp(name, "ParagraphCount") == 0) {
        *out = static_cast<RBInteger>(st->paragraphs.size());
      } else {
        ok = 0;
      }
    } else if (obj->kind == ObjectKind::kStyleRun && std::strcmp(name, "Size") == 0) {
      *out = static_cast<RunObject*>(obj)->size;
    } else if (obj->kind == ObjectKind::kParagraph) {
      auto* p = static_cast<ParagraphObject*>(obj);
      if (std::strcmp(name, "StartPos") == 0) {
        *out = p->start;
      } else if (std::strcmp(name, "EndPos") == 0) {
        *out = p->end;
      } else if (std::strcmp(name, "Alignment") == 0) {
        *out = p->alignment;
      } else {
        ok = 0;
      }
    } else {
      ok = 0;
    }
  }
  TRACE("REALGetPropValueInteger o%llu %s -> %d %lld", (unsigned long long)IdOf(obj), name, ok,
        ok ? (long long)*out : 0LL);
  return ok;
}

RBBoolean RBCALL HostService_SetPropValueInteger(REALobject obj, const char* name,
                                                 RBInteger value) {
  RunObject* run = RunWith(obj, name, "Size");
  const RBBoolean ok = run != nullptr;
  if (ok) run->size = value;
  TRACE("REALSetPropValueInteger o%llu %s %lld -> %d", (unsigned long long)IdOf(obj), name,
        (long long)value, ok);
  return ok;
}

RBBoolean RBCALL HostService_SetPropValueUInt32(REALobject obj, const char* name, uint32_t value) {
  RunObject* run = RunWith(obj, name, "TextColor");
  const RBBoolean ok = run != nullptr;
  if (ok) run->color = value;
  TRACE("REALSetPropValueUInt32 o%llu %s %X -> %d", (unsigned long long)IdOf(obj), name, value, ok);
  return ok;
}

RBBoolean RBCALL HostService_SetPropValueBoolean(REALobject obj, const char* name,
                                                 RBBoolean value) {
  bool* flag = RunFlag(obj, name);
  const RBBoolean ok = flag != nullptr;
  if (ok) *flag = value != 0;
  TRACE("REALSetPropValueBoolean o%llu %s %d -> %d", (unsigned long long)IdOf(obj), name, value,
        ok);
  return ok;
}

// --- registration ---

void RBCALL HostService_RegisterClassExtension(REALclassDefinition* definition) {
  TRACE("%s", host_contract::kPluginRegisterClassExtensionName);
  if (definition != nullptr && definition->methodCount > 0) {
    gGetter = definition->methods[0].function;
    gSetter = definition->methods[0].setterFunction;
  }
}

void RBCALL HostService_RegisterModule(REALmoduleDefinition* definition) {
  TRACE("%s", host_contract::kPluginRegisterModuleName);
  if (definition == nullptr) return;
  for (size_t i = 0; i < definition->methodCount; ++i) {
    const REALmethodDefinition& m = definition->methods[i];
    if (std::strstr(m.declaration, "assigns") != nullptr) {
      gSetter = m.function;
    } else {
      gGetter = m.function;
    }
  }
}

double RBCALL HostService_GetRBVersion() {
  TRACE("%s", host_contract::kREALGetRBVersionName);
  return 2021.03;
}

void RBCALL HostService_RegisterPluginVersion(int version) {
  TRACE("RegisterPluginVersion %d", version);
}

void* RBCALL HostService_Resolve(const char* name) {
  struct Service {
    const char* name;
    void* entry;
  };
#define SERVICE(n, f) \
  { n, reinterpret_cast<void*>(&f) }
  static const Service kServices[] = {
      SERVICE(host_contract::kPluginGetStringDataName, HostService_GetStringData),
      SERVICE(host_contract::kPluginDisposeStringDataName, HostService_DisposeStringData),
      SERVICE(host_contract::kStringGetCStringName, HostService_StringGetCString),
      SERVICE(host_contract::kREALLockStringName, HostService_LockString),
      SERVICE(host_contract::kREALUnlockStringName, HostService_UnlockString),
      SERVICE(host_contract::kREALUnlockObjectName, HostService_UnlockObject),
      SERVICE(host_contract::kREALGetStringEncodingName, HostService_GetStringEncoding),
      SERVICE(host_contract::kREALSetStringEncodingName, HostService_SetStringEncoding),
      SERVICE(host_contract::kREALConvertStringName, HostService_ConvertString),
      SERVICE(host_contract::kREALBuildStringName, HostService_BuildString),
      SERVICE(host_contract::kREALBuildStringWithEncodingName, HostService_BuildStringWithEncoding),
      SERVICE(host_contract::kRuntimeStringCompareName, HostService_StringCompare),
      SERVICE(host_contract::kPluginNewInstanceName, HostService_NewInstance),
      SERVICE(host_contract::kRuntimeRaiseExceptionName, HostService_RaiseException),
      SERVICE(host_contract::kREALLoadGlobalMethodName, HostService_LoadGlobalMethod),
      SERVICE(host_contract::kREALLoadObjectMethodName, HostService_LoadObjectMethod),
      SERVICE(host_contract::kREALGetPropValueStringName, HostService_GetPropValueString),
      SERVICE(host_contract::kREALSetPropValueStringName, HostService_SetPropValueString),
      SERVICE(host_contract::kREALGetPropValueBoolName, HostService_GetPropValueBool),
      SERVICE(host_contract::kREALGetPropValueColorName, HostService_GetPropValueColor),
      SERVICE(host_contract::kREALGetPropValueIntegerName, HostService_GetPropValueInteger),
      SERVICE(host_contract::kREALSetPropValueIntegerName, HostService_SetPropValueInteger),
      SERVICE(host_contract::kREALSetPropValueUInt32Name, HostService_SetPropValueUInt32),
      SERVICE(host_contract::kREALSetPropValueBooleanName, HostService_SetPropValueBoolean),
      SERVICE(host_contract::kPluginRegisterClassExtensionName, HostService_RegisterClassExtension),
      SERVICE(host_contract::kPluginRegisterModuleName, HostService_RegisterModule),
      SERVICE(host_contract::kREALGetRBVersionName, HostService_GetRBVersion),
      SERVICE(host_contract::kRegisterPluginVersionName, HostService_RegisterPluginVersion),
  };
#undef SERVICE
  void* r = nullptr;
  for (const Service& s : kServices) {
    if (name != nullptr && std::strcmp(s.name, name) == 0) r = s.entry;
  }
  TRACE("resolve %s -> %d", name != nullptr ? name : "(null)", r != nullptr);
  return r;
}

}  // extern "C"

namespace minihost {

void OpenTrace(std::FILE* file) {
  gTrace = file;
}

void CloseTrace() {
  if (gTrace != nullptr) std::fflush(gTrace);
  gTrace = nullptr;
}

REALResolver Resolver() {
  return &HostService_Resolve;
}

REALproc RegisteredGetter() {
  return gGetter;
}

REALproc RegisteredSetter() {
  return gSetter;
}

REALstring NewString(const std::string& bytes, uint32_t encoding) {
  return MakeString(bytes.data(), bytes.size(), encoding);
}

void ReleaseString(REALstring s) {
  Unlock(s);
}

std::string BytesOf(REALstring s) {
  return s != nullptr ? s->bytes : std::string();
}

REALobject NewStyledText() {
  return NewObject<StyledTextObject>(ObjectKind::kStyledText);
}

void AppendRun(REALobject styledText, const RunRecipe& wanted) {
  auto* st = static_cast<StyledTextObject*>(styledText);
  auto* run = NewObject<RunObject>(ObjectKind::kStyleRun);
  run->text = wanted.nullText ? nullptr : NewString(wanted.text, kREALTextEncodingUTF8);
  run->font = wanted.nullFont ? nullptr : NewString(wanted.font, kREALTextEncodingUTF8);
  run->size = wanted.size;
  run->color = wanted.color;
  run->bold = wanted.bold;
  run->italic = wanted.italic;
  run->underline = wanted.underline;
  st->runs.push_back(run);
  if (run->text != nullptr) AddText(st, wanted.text);
}

void CycleParagraphAlignments(REALobject styledText) {
  auto* st = static_cast<StyledTextObject*>(styledText);
  for (size_t k = 0; k < st->paragraphs.size(); ++k)
    st->paragraphs[k]->alignment = static_cast<int64_t>(k % 4);
}

int64_t RunCount(REALobject styledText) {
  return static_cast<int64_t>(static_cast<StyledTextObject*>(styledText)->runs.size());
}

}  // namespace minihost
