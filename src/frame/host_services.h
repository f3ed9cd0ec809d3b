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
// offers it. Wrappers keep one of these as a function-local static.
struct HostEntry {
  const char* name;
  void* entry;
  void* Get() {
    if (entry == nullptr) entry = gResolver(name);
    return entry;
  }
};

// Strings.
bool REALGetStringData(REALstring s, uint32_t encoding, REALstringData* out);
void REALDisposeStringData(REALstringData* data);
// The string's own bytes ("StringGetCString") and byte length (global "LenB"); the length is
// 0 when "LenB" is missing, the pointer null when "StringGetCString" is.
const char* REALGetStringContents(REALstring s, int64_t* length);
void REALLockString(REALstring s);
void REALUnlockString(REALstring s);
// The string's encoding; *available (if given) tells whether the host offers the service.
uint32_t REALGetStringEncoding(REALstring s, bool* available = nullptr);
void REALSetStringEncoding(REALstring s, uint32_t encoding);
REALstring REALConvertString(REALstring s, uint32_t encoding);
REALstring originalREALBuildString(const char* data, int32_t length);
REALstring REALBuildStringWithEncoding(const char* data, int32_t length, uint32_t encoding);
// 0 when equal; *available (if given) tells whether "RuntimeStringCompare" was found.
int64_t REALCompareStrings(REALstring a, REALstring b, bool* available = nullptr);

// Objects.
void REALUnlockObject(REALobject obj);
REALobject REALnewInstance(const char* className);
void REALRaiseException(REALobject exception);
void* REALLoadFrameworkMethod(const char* moduleName, const char* declaration);
void* REALLoadObjectMethod(REALobject obj, const char* declaration);

// Properties. Getters leave *out untouched when the service is missing or fails.
bool REALGetPropValueString(REALobject obj, const char* name, REALstring* out);
bool REALSetPropValueString(REALobject obj, const char* name, REALstring value);
bool REALGetPropValueBoolean(REALobject obj, const char* name, bool* out);
bool REALGetPropValueColor(REALobject obj, const char* name, uint32_t* out);
bool REALGetPropValueInteger(REALobject obj, const char* name, int64_t* out);
bool REALSetPropValueInteger(REALobject obj, const char* name, int64_t value);
bool REALSetPropValueUInt32(REALobject obj, const char* name, uint32_t value);
bool REALSetPropValueBoolean(REALobject obj, const char* name, bool value);

// Registration.
void REALRegisterClassExtension(REALclassDefinition* definition);
void REALRegisterModule(REALmoduleDefinition* definition);

// C shapes of the host methods the library obtains by declaration.
typedef REALobject(RBCALL* HostIndexGetter)(REALobject self,
                                            RBInteger index);             // StyleRun, Paragraph
typedef void(RBCALL* HostIndexAction)(REALobject self, RBInteger index);  // RemoveStyleRun
typedef void(RBCALL* HostObjectAction)(REALobject self, REALobject argument);  // AppendStyleRun
typedef void(RBCALL* HostIndexSetter)(REALobject self, RBInteger i,
                                      RBInteger v);          // ParagraphAlignment
typedef RBInteger(RBCALL* HostStringMeasure)(REALstring s);  // Len, LenB
