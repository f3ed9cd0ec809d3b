// The host services the resolver hands out, each with the C shape the plug-in interface gives
// it. Every service counts its calls and works on the current host; with no host alive it does
// nothing and returns a neutral result.
#include <cstring>

#include "encodings.h"
#include "host_state.h"
#include "text_scan.h"

namespace simhost {
namespace {

constexpr uint32_t kStringDataMark = 0x53444154;  // "SDAT", kept in private2

// The current host's state with the call counted, or null.
Host::State* Enter(Counter c) {
  Host::State* s = CurrentState();
  if (s != nullptr) s->Count(c);
  return s;
}

// --- strings --------------------------------------------------------------------------------

RBBoolean RBCALL PluginGetStringData(REALstring str, uint32_t encoding, REALstringData* out) {
  Host::State* s = Enter(kPluginGetStringData);
  if (s == nullptr || out == nullptr || !s->CheckString(str, NameOf(kPluginGetStringData)))
    return 0;
  std::string& converted = s->converted;
  if (!s->Convert(str->bytes, str->encoding, encoding, &converted)) return 0;
  // A private zero-terminated copy (four zero bytes, so UTF-16 and UTF-32 data end in a zero
  // unit too), owned by the record until it is disposed.
  size_t n = converted.size();
  char* buffer = new char[n + 4];
  std::memcpy(buffer, converted.data(), n);
  s->TrimScratch();
  std::memset(buffer + n, 0, 4);
  s->stringData.insert(buffer);
  out->data = buffer;
  out->length = n;
  out->encoding = encoding;
  out->private1 = buffer;
  out->private2 = kStringDataMark;
  return 1;
}

void RBCALL PluginDisposeStringData(REALstringData* data) {
  Host::State* s = Enter(kPluginDisposeStringData);
  if (s == nullptr || data == nullptr) return;
  auto it = s->stringData.find(data->private1);
  if (data->private1 == nullptr || it == s->stringData.end()) {
    s->Misuse(NameOf(kPluginDisposeStringData), data, "record not filled or already disposed:");
    return;
  }
  delete[] static_cast<const char*>(*it);
  s->stringData.erase(it);
  data->private1 = nullptr;
  data->private2 = 0;
}

void* RBCALL StringGetCString(REALstring str) {
  Host::State* s = Enter(kStringGetCString);
  if (s == nullptr || !s->CheckString(str, NameOf(kStringGetCString))) return nullptr;
  return str->bytes.data();
}

void RBCALL REALLockString(REALstring str) {
  if (Host::State* s = Enter(kREALLockString)) s->LockString(str, NameOf(kREALLockString));
}

void RBCALL REALUnlockString(REALstring str) {
  if (Host::State* s = Enter(kREALUnlockString)) s->ReleaseString(str, NameOf(kREALUnlockString));
}

uint32_t RBCALL REALGetStringEncoding(REALstring str) {
  Host::State* s = Enter(kREALGetStringEncoding);
  if (s == nullptr || !s->CheckString(str, NameOf(kREALGetStringEncoding))) {
    return kREALTextEncodingUnknown;
  }
  return str->encoding;
}

void RBCALL REALSetStringEncoding(REALstring str, uint32_t encoding) {
  Host::State* s = Enter(kREALSetStringEncoding);
  if (s != nullptr && s->CheckString(str, NameOf(kREALSetStringEncoding))) str->encoding = encoding;
}

REALstring RBCALL REALConvertString(REALstring str, uint32_t encoding) {
  Host::State* s = Enter(kREALConvertString);
  if (s == nullptr || !s->CheckString(str, NameOf(kREALConvertString))) return nullptr;
  // A few UTF-16 or UTF-32 characters (one "\\u" escape of the plug-in) to UTF-8: no buffer.
  char small[kSmallUnicodeOutput];
  size_t n = 0;
  if (encoding == kREALTextEncodingUTF8 &&
      SmallUnicodeToUTF8(str->bytes, str->encoding, small, &n)) {
    return s->NewString(std::string_view(small, n), encoding);
  }
  std::string converted;
  if (!s->Convert(str->bytes, str->encoding, encoding, &converted)) return nullptr;
  return s->AdoptString(std::move(converted), encoding);
}

REALstring Build(Host::State* s, const char* bytes, int length, uint32_t encoding) {
  if (s == nullptr || length < 0 || (bytes == nullptr && length > 0)) return nullptr;
  return s->NewString(std::string_view(bytes, static_cast<size_t>(length)), encoding);
}

REALstring RBCALL REALBuildString(const char* bytes, int length) {
  // No encoding given: the string's encoding is unknown.
  return Build(Enter(kREALBuildString), bytes, length, kREALTextEncodingUnknown);
}

REALstring RBCALL REALBuildStringWithEncoding(const char* bytes, int length, uint32_t encoding) {
  return Build(Enter(kREALBuildStringWithEncoding), bytes, length, encoding);
}

RBInteger RBCALL RuntimeStringCompare(REALstring a, REALstring b) {
  Host::State* s = Enter(kRuntimeStringCompare);
  if (s == nullptr) return 0;
  // A null string equals the empty string.
  bool okA = a == nullptr || s->CheckString(a, NameOf(kRuntimeStringCompare));
  bool okB = b == nullptr || s->CheckString(b, NameOf(kRuntimeStringCompare));
  if (!okA || !okB) return 0;
  std::string_view x = a ? std::string_view(a->bytes) : std::string_view();
  std::string_view y = b ? std::string_view(b->bytes) : std::string_view();
  return CompareText(x, a ? a->encoding : kREALTextEncodingUTF8, y,
                     b ? b->encoding : kREALTextEncodingUTF8);
}

// --- global methods -------------------------------------------------------------------------

RBInteger RBCALL GlobalLen(REALstring str) {
  Host::State* s = Enter(kMethodLen);
  if (s == nullptr || !s->CheckString(str, host_contract::kLenDeclaration)) return 0;
  return static_cast<RBInteger>(LengthOf(str->bytes, str->encoding));
}

RBInteger RBCALL GlobalLenB(REALstring str) {
  Host::State* s = Enter(kMethodLenB);
  if (s == nullptr || !s->CheckString(str, host_contract::kLenBDeclaration)) return 0;
  return static_cast<RBInteger>(str->bytes.size());
}

void* RBCALL REALLoadGlobalMethod(const char* module, const char* declaration) {
  Host::State* s = Enter(kREALLoadGlobalMethod);
  if (s == nullptr || declaration == nullptr) return nullptr;
  std::string d(declaration);
  ++s->lookups[d];
  // Only the framework's own globals are found, and only with no module name.
  if (module != nullptr || s->Withheld(d)) return nullptr;
  if (d == host_contract::kLenDeclaration) return reinterpret_cast<void*>(&GlobalLen);
  if (d == host_contract::kLenBDeclaration) return reinterpret_cast<void*>(&GlobalLenB);
  return nullptr;
}

void* RBCALL REALLoadObjectMethod(REALobject obj, const char* declaration) {
  Host::State* s = Enter(kREALLoadObjectMethod);
  if (s == nullptr || declaration == nullptr) return nullptr;
  std::string d(declaration);
  ++s->lookups[d];
  if (!s->CheckObject(obj, NameOf(kREALLoadObjectMethod))) return nullptr;
  if (obj->kind != ObjectKind::kStyledText) return nullptr;
  return StyledTextMethod(*s, d);
}

// --- objects --------------------------------------------------------------------------------

void RBCALL REALLockObject(REALobject obj) {
  if (Host::State* s = Enter(kREALLockObject)) s->LockObject(obj, NameOf(kREALLockObject));
}

void RBCALL REALUnlockObject(REALobject obj) {
  if (Host::State* s = Enter(kREALUnlockObject)) s->ReleaseObject(obj, NameOf(kREALUnlockObject));
}

REALobject RBCALL PluginNewInstance(const char* className) {
  Host::State* s = Enter(kPluginNewInstance);
  return s != nullptr ? NewInstance(*s, className) : nullptr;
}

void RBCALL RuntimeRaiseException(REALobject obj) {
  Host::State* s = Enter(kRuntimeRaiseException);
  if (s == nullptr || !s->CheckObject(obj, NameOf(kRuntimeRaiseException))) return;
  if (obj->kind != ObjectKind::kException) {
    // The IDE crashes on anything that is not a RuntimeException.
    s->Misuse(NameOf(kRuntimeRaiseException), obj, "not an exception object:");
    return;
  }
  auto e = static_cast<ExceptionObject*>(obj);
  s->exceptions.push_back({e->className, e->message, e->errorNumber});
}

// --- properties -----------------------------------------------------------------------------

long RBCALL REALGetPropValueString(REALobject obj, const char* name, REALstring* out) {
  Host::State* s = Enter(kREALGetPropValueString);
  return s != nullptr && GetStringProperty(*s, obj, name, out) ? 1 : 0;
}

RBBoolean RBCALL REALSetPropValueString(REALobject obj, const char* name, REALstring value) {
  Host::State* s = Enter(kREALSetPropValueString);
  return s != nullptr && SetStringProperty(*s, obj, name, value) ? 1 : 0;
}

RBBoolean RBCALL REALGetPropValueBool(REALobject obj, const char* name, RBBoolean* out) {
  Host::State* s = Enter(kREALGetPropValueBool);
  bool value = false;
  if (s == nullptr || out == nullptr || !GetBooleanProperty(*s, obj, name, &value)) return 0;
  *out = value ? 1 : 0;
  return 1;
}

RBBoolean RBCALL REALGetPropValueColor(REALobject obj, const char* name, RBColor* out) {
  Host::State* s = Enter(kREALGetPropValueColor);
  return s != nullptr && GetColorProperty(*s, obj, name, out) ? 1 : 0;
}

RBBoolean RBCALL REALGetPropValueInteger(REALobject obj, const char* name, RBInteger* out) {
  Host::State* s = Enter(kREALGetPropValueInteger);
  int64_t value = 0;
  if (s == nullptr || out == nullptr || !GetIntegerProperty(*s, obj, name, &value)) return 0;
  *out = static_cast<RBInteger>(value);
  return 1;
}

RBBoolean RBCALL REALSetPropValueInteger(REALobject obj, const char* name, RBInteger value) {
  Host::State* s = Enter(kREALSetPropValueInteger);
  return s != nullptr && SetIntegerProperty(*s, obj, name, value) ? 1 : 0;
}

RBBoolean RBCALL REALSetPropValueUInt32(REALobject obj, const char* name, uint32_t value) {
  // Accepted by Color properties (all 32 bits kept) and by Integer properties.
  Host::State* s = Enter(kREALSetPropValueUInt32);
  if (s == nullptr) return 0;
  if (s->IsLiveObject(obj) && obj->kind == ObjectKind::kStyleRun && name != nullptr &&
      NameIs(name, host_contract::kTextColorProperty)) {
    return SetColorProperty(*s, obj, name, value) ? 1 : 0;
  }
  return SetIntegerProperty(*s, obj, name, value) ? 1 : 0;
}

RBBoolean RBCALL REALSetPropValueBoolean(REALobject obj, const char* name, RBBoolean value) {
  Host::State* s = Enter(kREALSetPropValueBoolean);
  return s != nullptr && SetBooleanProperty(*s, obj, name, value != 0) ? 1 : 0;
}

RBBoolean RBCALL REALSetPropValueColor(REALobject obj, const char* name, RBColor value) {
  Host::State* s = Enter(kREALSetPropValueColor);
  return s != nullptr && SetColorProperty(*s, obj, name, value) ? 1 : 0;
}

// The 32-bit accessors of older hosts; they also serve Color properties.
long RBCALL REALGetPropValueInt(REALobject obj, const char* name, int32_t* out) {
  Host::State* s = Enter(kREALGetPropValueInt);
  if (s == nullptr || out == nullptr) return 0;
  int64_t value = 0;
  uint32_t color = 0;
  if (GetIntegerProperty(*s, obj, name, &value)) {
    *out = static_cast<int32_t>(value);
    return 1;
  }
  if (s->IsLiveObject(obj) && GetColorProperty(*s, obj, name, &color)) {
    *out = static_cast<int32_t>(color);
    return 1;
  }
  return 0;
}

RBBoolean RBCALL REALSetPropValueInt(REALobject obj, const char* name, int32_t value) {
  Host::State* s = Enter(kREALSetPropValueInt);
  if (s == nullptr) return 0;
  if (SetIntegerProperty(*s, obj, name, value)) return 1;
  if (s->IsLiveObject(obj) && SetColorProperty(*s, obj, name, static_cast<uint32_t>(value))) {
    return 1;
  }
  return 0;
}

// --- registration ---------------------------------------------------------------------------

void RBCALL PluginRegisterClassExtension(REALclassDefinition* definition) {
  Host::State* s = Enter(kPluginRegisterClassExtension);
  if (s != nullptr && definition != nullptr) {
    s->registrations.push_back(DecodeClassExtension(definition));
  }
}

void RBCALL PluginRegisterModule(REALmoduleDefinition* definition) {
  Host::State* s = Enter(kPluginRegisterModule);
  if (s != nullptr && definition != nullptr) {
    s->registrations.push_back(DecodeModule(definition));
  }
}

double RBCALL REALGetRBVersion() {
  Host::State* s = Enter(kREALGetRBVersion);
  return s != nullptr ? s->options.version.value_or(0.0) : 0.0;
}

void RBCALL RegisterPluginVersion(int version) {
  if (Host::State* s = Enter(kRegisterPluginVersion)) s->announcedVersion = version;
}

struct Service {
  const char* name;
  void* entry;
};

// An entry point as the resolver hands it out; Fn is the service's C shape as the host declares
// it, so a service implemented with another shape does not compile.
template <typename Fn>
void* Entry(Fn f) {
  return reinterpret_cast<void*>(f);
}

const Service kServices[] = {
#define HOST_SERVICE(Id, Name, Declared, Read, Params, Neutral, Since) \
  {Name, Entry<host_contract::Id##HostFn>(&Id)},
#define HOST_START_SERVICE HOST_SERVICE
#define HOST_EXTRA_SERVICE HOST_SERVICE
#include "frame/host_contract.def"
};

}  // namespace

void* RBCALL Host::Resolve(const char* serviceName) {
  Host::State* s = CurrentState();
  if (s == nullptr || serviceName == nullptr) return nullptr;
  ++s->lookups[serviceName];
  if (s->Withheld(serviceName)) return nullptr;
  if (std::strcmp(serviceName, NameOf(kREALGetRBVersion)) == 0 && !s->options.version)
    return nullptr;
  for (const Service& service : kServices) {
    if (std::strcmp(service.name, serviceName) == 0) return service.entry;
  }
  return nullptr;
}

}  // namespace simhost
