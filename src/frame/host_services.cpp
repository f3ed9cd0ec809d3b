// Cached wrappers of the host services. Each resolves its entry point by the host's export name
// on first use; while the host lacks a service the wrapper returns its neutral result and
// resolves again next time.
#include "frame/host_services.h"

REALResolver gResolver = nullptr;

namespace {

// Resolves one service through a function-local cache and casts it to its C shape.
template <typename Fn>
Fn Resolve(HostEntry& slot) {
  return reinterpret_cast<Fn>(slot.Get());
}

typedef RBBoolean(RBCALL* GetStringDataFn)(REALstring, uint32_t, REALstringData*);
typedef void(RBCALL* DisposeStringDataFn)(REALstringData*);
typedef void*(RBCALL* CStringFn)(REALstring);
typedef void(RBCALL* StringFn)(REALstring);
typedef void(RBCALL* ObjectFn)(REALobject);
typedef uint32_t(RBCALL* GetEncodingFn)(REALstring);
typedef void(RBCALL* SetEncodingFn)(REALstring, uint32_t);
typedef REALstring(RBCALL* ConvertFn)(REALstring, uint32_t);
typedef REALstring(RBCALL* BuildFn)(const char*, int);
typedef REALstring(RBCALL* BuildWithEncodingFn)(const char*, int, uint32_t);
typedef RBInteger(RBCALL* CompareFn)(REALstring, REALstring);
typedef REALobject(RBCALL* NewInstanceFn)(const char*);
typedef void*(RBCALL* LoadGlobalFn)(const char*, const char*);
typedef void*(RBCALL* LoadObjectMethodFn)(REALobject, const char*);
// Property getters answer in the lowest byte only: hosts differ in the width of that result.
typedef RBBoolean(RBCALL* GetStringPropFn)(REALobject, const char*, REALstring*);
typedef RBBoolean(RBCALL* SetStringPropFn)(REALobject, const char*, REALstring);
typedef RBBoolean(RBCALL* GetBoolPropFn)(REALobject, const char*, RBBoolean*);
typedef RBBoolean(RBCALL* GetColorPropFn)(REALobject, const char*, RBColor*);
typedef RBBoolean(RBCALL* GetIntegerPropFn)(REALobject, const char*, RBInteger*);
typedef RBBoolean(RBCALL* SetIntegerPropFn)(REALobject, const char*, RBInteger);
typedef RBBoolean(RBCALL* SetUInt32PropFn)(REALobject, const char*, uint32_t);
typedef RBBoolean(RBCALL* SetBoolPropFn)(REALobject, const char*, RBBoolean);
typedef void(RBCALL* RegisterClassFn)(REALclassDefinition*);
typedef void(RBCALL* RegisterModuleFn)(REALmoduleDefinition*);

}  // namespace

bool REALGetStringData(REALstring s, uint32_t encoding, REALstringData* out) {
  static HostEntry slot{"PluginGetStringData", nullptr};
  auto fn = Resolve<GetStringDataFn>(slot);
  return fn != nullptr && fn(s, encoding, out) != 0;
}

void REALDisposeStringData(REALstringData* data) {
  static HostEntry slot{"PluginDisposeStringData", nullptr};
  if (auto fn = Resolve<DisposeStringDataFn>(slot)) fn(data);
}

const char* REALGetStringContents(REALstring s, int64_t* length) {
  // Its own two caches: the bytes come from "StringGetCString", the byte count from the
  // framework's global LenB.
  static HostEntry cstring{"StringGetCString", nullptr};
  static HostStringMeasure lenB = nullptr;
  auto getBytes = Resolve<CStringFn>(cstring);
  if (lenB == nullptr) {
    lenB = reinterpret_cast<HostStringMeasure>(
        REALLoadFrameworkMethod(nullptr, "LenB( s as string ) as integer"));
  }
  int64_t count = 0;
  if (lenB != nullptr) count = lenB(s);
  if (length != nullptr) *length = count;
  return getBytes != nullptr ? static_cast<const char*>(getBytes(s)) : nullptr;
}

void REALLockString(REALstring s) {
  static HostEntry slot{"REALLockString", nullptr};
  if (auto fn = Resolve<StringFn>(slot)) fn(s);
}

void REALUnlockString(REALstring s) {
  static HostEntry slot{"REALUnlockString", nullptr};
  if (auto fn = Resolve<StringFn>(slot)) fn(s);
}

uint32_t REALGetStringEncoding(REALstring s, bool* available) {
  static HostEntry slot{"REALGetStringEncoding", nullptr};
  auto fn = Resolve<GetEncodingFn>(slot);
  if (available != nullptr) *available = fn != nullptr;
  return fn != nullptr ? fn(s) : 0;
}

void REALSetStringEncoding(REALstring s, uint32_t encoding) {
  static HostEntry slot{"REALSetStringEncoding", nullptr};
  if (auto fn = Resolve<SetEncodingFn>(slot)) fn(s, encoding);
}

REALstring REALConvertString(REALstring s, uint32_t encoding) {
  static HostEntry slot{"REALConvertString", nullptr};
  auto fn = Resolve<ConvertFn>(slot);
  return fn != nullptr ? fn(s, encoding) : nullptr;
}

REALstring originalREALBuildString(const char* data, int32_t length) {
  static HostEntry slot{"REALBuildString", nullptr};
  auto fn = Resolve<BuildFn>(slot);
  return fn != nullptr ? fn(data, length) : nullptr;
}

REALstring REALBuildStringWithEncoding(const char* data, int32_t length, uint32_t encoding) {
  static HostEntry slot{"REALBuildStringWithEncoding", nullptr};
  auto fn = Resolve<BuildWithEncodingFn>(slot);
  return fn != nullptr ? fn(data, length, encoding) : nullptr;
}

int64_t REALCompareStrings(REALstring a, REALstring b, bool* available) {
  static HostEntry slot{"RuntimeStringCompare", nullptr};
  auto fn = Resolve<CompareFn>(slot);
  if (available != nullptr) *available = fn != nullptr;
  return fn != nullptr ? fn(a, b) : 0;
}

void REALUnlockObject(REALobject obj) {
  static HostEntry slot{"REALUnlockObject", nullptr};
  if (auto fn = Resolve<ObjectFn>(slot)) fn(obj);
}

REALobject REALnewInstance(const char* className) {
  static HostEntry slot{"PluginNewInstance", nullptr};
  auto fn = Resolve<NewInstanceFn>(slot);
  return fn != nullptr ? fn(className) : nullptr;
}

void REALRaiseException(REALobject exception) {
  static HostEntry slot{"RuntimeRaiseException", nullptr};
  if (auto fn = Resolve<ObjectFn>(slot)) fn(exception);
}

void* REALLoadFrameworkMethod(const char* moduleName, const char* declaration) {
  static HostEntry slot{"REALLoadGlobalMethod", nullptr};
  auto fn = Resolve<LoadGlobalFn>(slot);
  return fn != nullptr ? fn(moduleName, declaration) : nullptr;
}

void* REALLoadObjectMethod(REALobject obj, const char* declaration) {
  static HostEntry slot{"REALLoadObjectMethod", nullptr};
  auto fn = Resolve<LoadObjectMethodFn>(slot);
  return fn != nullptr ? fn(obj, declaration) : nullptr;
}

bool REALGetPropValueString(REALobject obj, const char* name, REALstring* out) {
  static HostEntry slot{"REALGetPropValueString", nullptr};
  auto fn = Resolve<GetStringPropFn>(slot);
  return fn != nullptr && fn(obj, name, out) != 0;
}

bool REALSetPropValueString(REALobject obj, const char* name, REALstring value) {
  static HostEntry slot{"REALSetPropValueString", nullptr};
  auto fn = Resolve<SetStringPropFn>(slot);
  return fn != nullptr && fn(obj, name, value) != 0;
}

bool REALGetPropValueBoolean(REALobject obj, const char* name, bool* out) {
  static HostEntry slot{"REALGetPropValueBool", nullptr};
  auto fn = Resolve<GetBoolPropFn>(slot);
  if (fn == nullptr) return false;
  RBBoolean value = *out ? 1 : 0;
  bool ok = fn(obj, name, &value) != 0;
  *out = value != 0;
  return ok;
}

bool REALGetPropValueColor(REALobject obj, const char* name, uint32_t* out) {
  static HostEntry slot{"REALGetPropValueColor", nullptr};
  auto fn = Resolve<GetColorPropFn>(slot);
  if (fn == nullptr) return false;
  RBColor value = *out;
  bool ok = fn(obj, name, &value) != 0;
  *out = value;
  return ok;
}

bool REALGetPropValueInteger(REALobject obj, const char* name, int64_t* out) {
  static HostEntry slot{"REALGetPropValueInteger", nullptr};
  auto fn = Resolve<GetIntegerPropFn>(slot);
  if (fn == nullptr) return false;
  RBInteger value = static_cast<RBInteger>(*out);
  bool ok = fn(obj, name, &value) != 0;
  *out = value;
  return ok;
}

bool REALSetPropValueInteger(REALobject obj, const char* name, int64_t value) {
  static HostEntry slot{"REALSetPropValueInteger", nullptr};
  auto fn = Resolve<SetIntegerPropFn>(slot);
  return fn != nullptr && fn(obj, name, static_cast<RBInteger>(value)) != 0;
}

bool REALSetPropValueUInt32(REALobject obj, const char* name, uint32_t value) {
  static HostEntry slot{"REALSetPropValueUInt32", nullptr};
  auto fn = Resolve<SetUInt32PropFn>(slot);
  return fn != nullptr && fn(obj, name, value) != 0;
}

bool REALSetPropValueBoolean(REALobject obj, const char* name, bool value) {
  static HostEntry slot{"REALSetPropValueBoolean", nullptr};
  auto fn = Resolve<SetBoolPropFn>(slot);
  return fn != nullptr && fn(obj, name, value ? 1 : 0) != 0;
}

void REALRegisterClassExtension(REALclassDefinition* definition) {
  static HostEntry slot{"PluginRegisterClassExtension", nullptr};
  if (auto fn = Resolve<RegisterClassFn>(slot)) fn(definition);
}

void REALRegisterModule(REALmoduleDefinition* definition) {
  static HostEntry slot{"PluginRegisterModule", nullptr};
  if (auto fn = Resolve<RegisterModuleFn>(slot)) fn(definition);
}
