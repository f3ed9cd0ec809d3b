// Every host service the library uses, each behind one thin wrapper that resolves the host's
// entry point by name on first use and caches it. An unavailable service makes its wrapper
// return a neutral result (null, 0, false or nothing) and is looked up again on the next use.
// Callers rely on those neutral results instead of testing for the service.
#pragma once

#include <cstdint>
#include <type_traits>

#include "frame/host_api.h"
#include "frame/host_contract.h"

// The host's resolver, stored by REALPluginMain before anything else runs.
extern REALResolver gResolver;

// Entry points of the services the library caches (one per row of host_contract.def, named
// after it) and of the framework global LenB, null until the host offers them.
// A StyledText method as last found: the StyledText it was looked up for and the host's answer.
struct HostMethodCache {
  REALobject lastObject;
  void* entry;
};

// Every entry point the library has resolved: services by name, framework globals by
// declaration (kept once found), StyledText methods with the object they were found for.
struct HostEntryPoints {
#define HOST_SERVICE(Id, Name, Declared, Read, Params, Neutral, Since) void* Id;
#define HOST_GLOBAL_METHOD(Id, Declaration, Result, Params) void* global##Id;
#define HOST_OBJECT_METHOD(Id, Declaration, Result, Params) HostMethodCache method##Id;
#include "frame/host_contract.def"
};
// Defined here (not only declared) so that every use is a direct load, as for any variable of
// the library's own.
inline HostEntryPoints gHostEntryPoints{};

// Forgets every entry point found so far, as if no service had been used yet. For tests that
// need a fresh start against another host; the library itself never calls it.
void ResetHostEntryPoints();

// Strings.
inline bool REALGetStringData(REALstring s, uint32_t encoding, REALstringData* out);
inline void REALDisposeStringData(REALstringData* data);
// The string's own bytes (the host's C string service) and byte length (the framework global
// LenB); the length is 0 when LenB is missing, the pointer null when the C string service is.
inline const char* REALGetStringContents(REALstring s, int64_t* length);
inline void REALLockString(REALstring s);
inline void REALUnlockString(REALstring s);
// The string's encoding; *available (if given) tells whether the host offers the service.
inline uint32_t REALGetStringEncoding(REALstring s, bool* available = nullptr);
inline void REALSetStringEncoding(REALstring s, uint32_t encoding);
inline REALstring REALConvertString(REALstring s, uint32_t encoding);
inline REALstring originalREALBuildString(const char* data, int32_t length);
inline REALstring REALBuildStringWithEncoding(const char* data, int32_t length, uint32_t encoding);
// 0 when equal; *available (if given) tells whether the host's comparison was found.
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
typedef host_contract::StyleRunFn HostIndexGetter;            // StyleRun, Paragraph
typedef host_contract::RemoveStyleRunFn HostIndexAction;      // RemoveStyleRun
typedef host_contract::AppendStyleRunFn HostObjectAction;     // AppendStyleRun
typedef host_contract::ParagraphAlignmentFn HostIndexSetter;  // ParagraphAlignment
typedef host_contract::LenBFn HostStringMeasure;              // Len, LenB

// The wrappers are defined here, so that every call site is a load of the cached entry and
// one call: the import makes a dozen of them for every style run.
namespace host_detail {

// <Id>(): the cached entry point of a service, resolved while it is null. Call<Id>(...): the
// service called, or its neutral result while the host lacks it.
#define HOST_SERVICE(Id, Name, Declared, Read, Params, Neutral, Since) \
  inline host_contract::Id##Fn Id() {                                  \
    void* entry = gHostEntryPoints.Id;                                 \
    if (entry == nullptr) {                                            \
      entry = gResolver(Name);                                         \
      gHostEntryPoints.Id = entry;                                     \
    }                                                                  \
    return reinterpret_cast<host_contract::Id##Fn>(entry);             \
  }                                                                    \
  template <typename... Args>                                          \
  inline Read Call##Id(Args... args) {                                 \
    auto fn = Id();                                                    \
    return fn != nullptr ? fn(args...) : Neutral;                      \
  }
#include "frame/host_contract.def"

}  // namespace host_detail

// <Id>(): the cached entry point of a service, taken as it is. Only for callers that have seen
// every entry they use set: an entry, once found, stays for the rest of an import, so a run's
// dozen host calls need neither the test nor the resolver.
namespace host_resolved {
#define HOST_SERVICE(Id, Name, Declared, Read, Params, Neutral, Since)   \
  inline host_contract::Id##Fn Id() {                                    \
    return reinterpret_cast<host_contract::Id##Fn>(gHostEntryPoints.Id); \
  }
#include "frame/host_contract.def"
}  // namespace host_resolved

inline bool REALGetStringData(REALstring s, uint32_t encoding, REALstringData* out) {
  auto fn = host_detail::PluginGetStringData();
  return fn != nullptr && fn(s, encoding, out) != 0;
}

inline void REALDisposeStringData(REALstringData* data) {
  host_detail::CallPluginDisposeStringData(data);
}

inline const char* REALGetStringContents(REALstring s, int64_t* length) {
  // Inline, as the other wrappers: every string read asks for its bytes. Both entry points are
  // kept once found.
  auto getBytes = host_detail::StringGetCString();
  void*& lenB = gHostEntryPoints.globalLenB;
  if (lenB == nullptr) lenB = REALLoadFrameworkMethod(nullptr, host_contract::kLenBDeclaration);
  int64_t count = 0;
  if (lenB != nullptr) count = reinterpret_cast<HostStringMeasure>(lenB)(s);
  if (length != nullptr) *length = count;
  return getBytes != nullptr ? static_cast<const char*>(getBytes(s)) : nullptr;
}

inline void REALLockString(REALstring s) {
  host_detail::CallREALLockString(s);
}

inline void REALUnlockString(REALstring s) {
  host_detail::CallREALUnlockString(s);
}

inline uint32_t REALGetStringEncoding(REALstring s, bool* available) {
  auto fn = host_detail::REALGetStringEncoding();
  if (available != nullptr) *available = fn != nullptr;
  return fn != nullptr ? fn(s) : 0;
}

inline void REALSetStringEncoding(REALstring s, uint32_t encoding) {
  host_detail::CallREALSetStringEncoding(s, encoding);
}

inline REALstring REALConvertString(REALstring s, uint32_t encoding) {
  return host_detail::CallREALConvertString(s, encoding);
}

inline REALstring originalREALBuildString(const char* data, int32_t length) {
  return host_detail::CallREALBuildString(data, length);
}

inline REALstring REALBuildStringWithEncoding(const char* data, int32_t length, uint32_t encoding) {
  return host_detail::CallREALBuildStringWithEncoding(data, length, encoding);
}

inline int64_t REALCompareStrings(REALstring a, REALstring b, bool* available) {
  auto fn = host_detail::RuntimeStringCompare();
  if (available != nullptr) *available = fn != nullptr;
  return fn != nullptr ? fn(a, b) : 0;
}

inline void REALUnlockObject(REALobject obj) {
  host_detail::CallREALUnlockObject(obj);
}

inline REALobject REALnewInstance(const char* className) {
  return host_detail::CallPluginNewInstance(className);
}

inline void REALRaiseException(REALobject exception) {
  host_detail::CallRuntimeRaiseException(exception);
}

inline void* REALLoadFrameworkMethod(const char* moduleName, const char* declaration) {
  return host_detail::CallREALLoadGlobalMethod(moduleName, declaration);
}

inline void* REALLoadObjectMethod(REALobject obj, const char* declaration) {
  return host_detail::CallREALLoadObjectMethod(obj, declaration);
}

inline bool REALGetPropValueString(REALobject obj, const char* name, REALstring* out) {
  auto fn = host_detail::REALGetPropValueString();
  return fn != nullptr && fn(obj, name, out) != 0;
}

inline bool REALSetPropValueString(REALobject obj, const char* name, REALstring value) {
  auto fn = host_detail::REALSetPropValueString();
  return fn != nullptr && fn(obj, name, value) != 0;
}

inline bool REALGetPropValueBoolean(REALobject obj, const char* name, bool* out) {
  auto fn = host_detail::REALGetPropValueBool();
  if (fn == nullptr) return false;
  RBBoolean value = *out ? 1 : 0;
  bool ok = fn(obj, name, &value) != 0;
  *out = value != 0;
  return ok;
}

inline bool REALGetPropValueColor(REALobject obj, const char* name, uint32_t* out) {
  auto fn = host_detail::REALGetPropValueColor();
  if (fn == nullptr) return false;
  RBColor value = *out;
  bool ok = fn(obj, name, &value) != 0;
  *out = value;
  return ok;
}

inline bool REALGetPropValueInteger(REALobject obj, const char* name, int64_t* out) {
  auto fn = host_detail::REALGetPropValueInteger();
  if (fn == nullptr) return false;
  RBInteger value = static_cast<RBInteger>(*out);
  bool ok = fn(obj, name, &value) != 0;
  *out = value;
  return ok;
}

inline bool REALSetPropValueInteger(REALobject obj, const char* name, int64_t value) {
  auto fn = host_detail::REALSetPropValueInteger();
  return fn != nullptr && fn(obj, name, static_cast<RBInteger>(value)) != 0;
}

inline bool REALSetPropValueUInt32(REALobject obj, const char* name, uint32_t value) {
  auto fn = host_detail::REALSetPropValueUInt32();
  return fn != nullptr && fn(obj, name, value) != 0;
}

inline bool REALSetPropValueBoolean(REALobject obj, const char* name, bool value) {
  auto fn = host_detail::REALSetPropValueBoolean();
  return fn != nullptr && fn(obj, name, static_cast<RBBoolean>(value ? 1 : 0)) != 0;
}

inline void REALRegisterClassExtension(REALclassDefinition* definition) {
  host_detail::CallPluginRegisterClassExtension(definition);
}

inline void REALRegisterModule(REALmoduleDefinition* definition) {
  host_detail::CallPluginRegisterModule(definition);
}

static_assert(std::is_same_v<host_contract::StyleRunFn, host_contract::ParagraphFn> &&
                  std::is_same_v<host_contract::LenFn, host_contract::LenBFn>,
              "one C shape serves both methods");
