// Every host service the library uses, each behind one thin wrapper that resolves the host's
// entry point by name on first use and caches it. An unavailable service makes its wrapper
// return a neutral result (null, 0, false or nothing) and is looked up again on the next use.
// Callers rely on those neutral results instead of testing for the service.
#pragma once

#include <cstdint>

#include "frame/host_api.h"

// The host's resolver, stored by REALPluginMain before anything else runs.
extern REALResolver gResolver;

// Entry point cache for one named host service: resolved on first use, null until the host
// offers it. Each wrapper below has one of these.
struct HostEntry {
  const char* name;
  void* entry;
  void* Get() {
    if (entry == nullptr) entry = gResolver(name);
    return entry;
  }
};

// Strings.
inline bool REALGetStringData(REALstring s, uint32_t encoding, REALstringData* out);
inline void REALDisposeStringData(REALstringData* data);
// The string's own bytes ("StringGetCString") and byte length (global "LenB"); the length is
// 0 when "LenB" is missing, the pointer null when "StringGetCString" is.
const char* REALGetStringContents(REALstring s, int64_t* length);
inline void REALLockString(REALstring s);
inline void REALUnlockString(REALstring s);
// The string's encoding; *available (if given) tells whether the host offers the service.
inline uint32_t REALGetStringEncoding(REALstring s, bool* available = nullptr);
inline void REALSetStringEncoding(REALstring s, uint32_t encoding);
inline REALstring REALConvertString(REALstring s, uint32_t encoding);
inline REALstring originalREALBuildString(const char* data, int32_t length);
inline REALstring REALBuildStringWithEncoding(const char* data, int32_t length, uint32_t encoding);
// 0 when equal; *available (if given) tells whether "RuntimeStringCompare" was found.
inline int64_t REALCompareStrings(REALstring a, REALstring b, bool* available = nullptr);

// Objects.
inline void REALUnlockObject(REALobject obj);
inline REALobject REALnewInstance(const char* className);
inline void REALRaiseException(REALobject exception);
inline void* REALLoadFrameworkMethod(const char* moduleName, const char* declaration);
inline void* REALLoadObjectMethod(REALobject obj, const char* declaration);

// Properties. Getters leave *out untouched when the service is missing or fails.
inline bool REALGetPropValueString(REALobject obj, const char* name, REALstring* out);
inline bool REALSetPropValueString(REALobject obj, const char* name, REALstring value);
inline bool REALGetPropValueBoolean(REALobject obj, const char* name, bool* out);
inline bool REALGetPropValueColor(REALobject obj, const char* name, uint32_t* out);
inline bool REALGetPropValueInteger(REALobject obj, const char* name, int64_t* out);
inline bool REALSetPropValueInteger(REALobject obj, const char* name, int64_t value);
inline bool REALSetPropValueUInt32(REALobject obj, const char* name, uint32_t value);
inline bool REALSetPropValueBoolean(REALobject obj, const char* name, bool value);

// Registration.
inline void REALRegisterClassExtension(REALclassDefinition* definition);
inline void REALRegisterModule(REALmoduleDefinition* definition);

// C shapes of the host methods the library obtains by declaration.
typedef REALobject(RBCALL* HostIndexGetter)(REALobject self,
                                            RBInteger index);             // StyleRun, Paragraph
typedef void(RBCALL* HostIndexAction)(REALobject self, RBInteger index);  // RemoveStyleRun
typedef void(RBCALL* HostObjectAction)(REALobject self, REALobject argument);  // AppendStyleRun
typedef void(RBCALL* HostIndexSetter)(REALobject self, RBInteger i,
                                      RBInteger v);          // ParagraphAlignment
typedef RBInteger(RBCALL* HostStringMeasure)(REALstring s);  // Len, LenB

// The wrappers are defined here, so that every call site is a load of the cached entry and
// one call: the import makes a dozen of them for every style run.
namespace host_detail {

inline HostEntry kREALGetStringData{"PluginGetStringData", nullptr};
inline HostEntry kREALDisposeStringData{"PluginDisposeStringData", nullptr};
inline HostEntry kREALLockString{"REALLockString", nullptr};
inline HostEntry kREALUnlockString{"REALUnlockString", nullptr};
inline HostEntry kREALGetStringEncoding{"REALGetStringEncoding", nullptr};
inline HostEntry kREALSetStringEncoding{"REALSetStringEncoding", nullptr};
inline HostEntry kREALConvertString{"REALConvertString", nullptr};
inline HostEntry koriginalREALBuildString{"REALBuildString", nullptr};
inline HostEntry kREALBuildStringWithEncoding{"REALBuildStringWithEncoding", nullptr};
inline HostEntry kREALCompareStrings{"RuntimeStringCompare", nullptr};
inline HostEntry kREALUnlockObject{"REALUnlockObject", nullptr};
inline HostEntry kREALnewInstance{"PluginNewInstance", nullptr};
inline HostEntry kREALRaiseException{"RuntimeRaiseException", nullptr};
inline HostEntry kREALLoadFrameworkMethod{"REALLoadGlobalMethod", nullptr};
inline HostEntry kREALLoadObjectMethod{"REALLoadObjectMethod", nullptr};
inline HostEntry kREALGetPropValueString{"REALGetPropValueString", nullptr};
inline HostEntry kREALSetPropValueString{"REALSetPropValueString", nullptr};
inline HostEntry kREALGetPropValueBoolean{"REALGetPropValueBool", nullptr};
inline HostEntry kREALGetPropValueColor{"REALGetPropValueColor", nullptr};
inline HostEntry kREALGetPropValueInteger{"REALGetPropValueInteger", nullptr};
inline HostEntry kREALSetPropValueInteger{"REALSetPropValueInteger", nullptr};
inline HostEntry kREALSetPropValueUInt32{"REALSetPropValueUInt32", nullptr};
inline HostEntry kREALSetPropValueBoolean{"REALSetPropValueBoolean", nullptr};
inline HostEntry kREALRegisterClassExtension{"PluginRegisterClassExtension", nullptr};
inline HostEntry kREALRegisterModule{"PluginRegisterModule", nullptr};

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

template <typename Fn>
Fn Resolve(HostEntry& slot) {
  return reinterpret_cast<Fn>(slot.Get());
}

}  // namespace host_detail

inline bool REALGetStringData(REALstring s, uint32_t encoding, REALstringData* out) {
  auto fn = host_detail::Resolve<host_detail::GetStringDataFn>(host_detail::kREALGetStringData);
  return fn != nullptr && fn(s, encoding, out) != 0;
}

inline void REALDisposeStringData(REALstringData* data) {
  if (auto fn = host_detail::Resolve<host_detail::DisposeStringDataFn>(
          host_detail::kREALDisposeStringData))
    fn(data);
}

inline void REALLockString(REALstring s) {
  if (auto fn = host_detail::Resolve<host_detail::StringFn>(host_detail::kREALLockString)) fn(s);
}

inline void REALUnlockString(REALstring s) {
  if (auto fn = host_detail::Resolve<host_detail::StringFn>(host_detail::kREALUnlockString)) fn(s);
}

inline uint32_t REALGetStringEncoding(REALstring s, bool* available) {
  auto fn = host_detail::Resolve<host_detail::GetEncodingFn>(host_detail::kREALGetStringEncoding);
  if (available != nullptr) *available = fn != nullptr;
  return fn != nullptr ? fn(s) : 0;
}

inline void REALSetStringEncoding(REALstring s, uint32_t encoding) {
  if (auto fn =
          host_detail::Resolve<host_detail::SetEncodingFn>(host_detail::kREALSetStringEncoding))
    fn(s, encoding);
}

inline REALstring REALConvertString(REALstring s, uint32_t encoding) {
  auto fn = host_detail::Resolve<host_detail::ConvertFn>(host_detail::kREALConvertString);
  return fn != nullptr ? fn(s, encoding) : nullptr;
}

inline REALstring originalREALBuildString(const char* data, int32_t length) {
  auto fn = host_detail::Resolve<host_detail::BuildFn>(host_detail::koriginalREALBuildString);
  return fn != nullptr ? fn(data, length) : nullptr;
}

inline REALstring REALBuildStringWithEncoding(const char* data, int32_t length, uint32_t encoding) {
  auto fn = host_detail::Resolve<host_detail::BuildWithEncodingFn>(
      host_detail::kREALBuildStringWithEncoding);
  return fn != nullptr ? fn(data, length, encoding) : nullptr;
}

inline int64_t REALCompareStrings(REALstring a, REALstring b, bool* available) {
  auto fn = host_detail::Resolve<host_detail::CompareFn>(host_detail::kREALCompareStrings);
  if (available != nullptr) *available = fn != nullptr;
  return fn != nullptr ? fn(a, b) : 0;
}

inline void REALUnlockObject(REALobject obj) {
  if (auto fn = host_detail::Resolve<host_detail::ObjectFn>(host_detail::kREALUnlockObject))
    fn(obj);
}

inline REALobject REALnewInstance(const char* className) {
  auto fn = host_detail::Resolve<host_detail::NewInstanceFn>(host_detail::kREALnewInstance);
  return fn != nullptr ? fn(className) : nullptr;
}

inline void REALRaiseException(REALobject exception) {
  if (auto fn = host_detail::Resolve<host_detail::ObjectFn>(host_detail::kREALRaiseException))
    fn(exception);
}

inline void* REALLoadFrameworkMethod(const char* moduleName, const char* declaration) {
  auto fn = host_detail::Resolve<host_detail::LoadGlobalFn>(host_detail::kREALLoadFrameworkMethod);
  return fn != nullptr ? fn(moduleName, declaration) : nullptr;
}

inline void* REALLoadObjectMethod(REALobject obj, const char* declaration) {
  auto fn =
      host_detail::Resolve<host_detail::LoadObjectMethodFn>(host_detail::kREALLoadObjectMethod);
  return fn != nullptr ? fn(obj, declaration) : nullptr;
}

inline bool REALGetPropValueString(REALobject obj, const char* name, REALstring* out) {
  auto fn =
      host_detail::Resolve<host_detail::GetStringPropFn>(host_detail::kREALGetPropValueString);
  return fn != nullptr && fn(obj, name, out) != 0;
}

inline bool REALSetPropValueString(REALobject obj, const char* name, REALstring value) {
  auto fn =
      host_detail::Resolve<host_detail::SetStringPropFn>(host_detail::kREALSetPropValueString);
  return fn != nullptr && fn(obj, name, value) != 0;
}

inline bool REALGetPropValueBoolean(REALobject obj, const char* name, bool* out) {
  auto fn = host_detail::Resolve<host_detail::GetBoolPropFn>(host_detail::kREALGetPropValueBoolean);
  if (fn == nullptr) return false;
  RBBoolean value = *out ? 1 : 0;
  bool ok = fn(obj, name, &value) != 0;
  *out = value != 0;
  return ok;
}

inline bool REALGetPropValueColor(REALobject obj, const char* name, uint32_t* out) {
  auto fn = host_detail::Resolve<host_detail::GetColorPropFn>(host_detail::kREALGetPropValueColor);
  if (fn == nullptr) return false;
  RBColor value = *out;
  bool ok = fn(obj, name, &value) != 0;
  *out = value;
  return ok;
}

inline bool REALGetPropValueInteger(REALobject obj, const char* name, int64_t* out) {
  auto fn =
      host_detail::Resolve<host_detail::GetIntegerPropFn>(host_detail::kREALGetPropValueInteger);
  if (fn == nullptr) return false;
  RBInteger value = static_cast<RBInteger>(*out);
  bool ok = fn(obj, name, &value) != 0;
  *out = value;
  return ok;
}

inline bool REALSetPropValueInteger(REALobject obj, const char* name, int64_t value) {
  auto fn =
      host_detail::Resolve<host_detail::SetIntegerPropFn>(host_detail::kREALSetPropValueInteger);
  return fn != nullptr && fn(obj, name, static_cast<RBInteger>(value)) != 0;
}

inline bool REALSetPropValueUInt32(REALobject obj, const char* name, uint32_t value) {
  auto fn =
      host_detail::Resolve<host_detail::SetUInt32PropFn>(host_detail::kREALSetPropValueUInt32);
  return fn != nullptr && fn(obj, name, value) != 0;
}

inline bool REALSetPropValueBoolean(REALobject obj, const char* name, bool value) {
  auto fn = host_detail::Resolve<host_detail::SetBoolPropFn>(host_detail::kREALSetPropValueBoolean);
  return fn != nullptr && fn(obj, name, value ? 1 : 0) != 0;
}

inline void REALRegisterClassExtension(REALclassDefinition* definition) {
  if (auto fn = host_detail::Resolve<host_detail::RegisterClassFn>(
          host_detail::kREALRegisterClassExtension))
    fn(definition);
}

inline void REALRegisterModule(REALmoduleDefinition* definition) {
  if (auto fn =
          host_detail::Resolve<host_detail::RegisterModuleFn>(host_detail::kREALRegisterModule))
    fn(definition);
}
