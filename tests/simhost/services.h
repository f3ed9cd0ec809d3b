// The host's services and methods as the plug-in sees them: resolved by name and cast to their
// C shapes.
#pragma once

#include <gtest/gtest.h>

#include "simhost/host.h"

namespace simhost_test {

template <typename Fn>
Fn Service(const char* name) {
  return reinterpret_cast<Fn>(simhost::Host::Resolve(name));
}

typedef RBBoolean (*GetStringDataFn)(REALstring, uint32_t, REALstringData*);
typedef void (*DisposeStringDataFn)(REALstringData*);
typedef void* (*CStringFn)(REALstring);
typedef void (*StringFn)(REALstring);
typedef void (*ObjectFn)(REALobject);
typedef uint32_t (*GetEncodingFn)(REALstring);
typedef void (*SetEncodingFn)(REALstring, uint32_t);
typedef REALstring (*ConvertFn)(REALstring, uint32_t);
typedef REALstring (*BuildFn)(const char*, int);
typedef REALstring (*BuildWithEncodingFn)(const char*, int, uint32_t);
typedef RBInteger (*CompareFn)(REALstring, REALstring);
typedef REALobject (*NewInstanceFn)(const char*);
typedef void* (*LoadGlobalFn)(const char*, const char*);
typedef void* (*LoadObjectMethodFn)(REALobject, const char*);
typedef long (*GetStringPropFn)(REALobject, const char*, REALstring*);
typedef RBBoolean (*SetStringPropFn)(REALobject, const char*, REALstring);
typedef RBBoolean (*GetBoolPropFn)(REALobject, const char*, RBBoolean*);
typedef RBBoolean (*GetColorPropFn)(REALobject, const char*, RBColor*);
typedef RBBoolean (*GetIntegerPropFn)(REALobject, const char*, RBInteger*);
typedef RBBoolean (*SetIntegerPropFn)(REALobject, const char*, RBInteger);
typedef RBBoolean (*SetUInt32PropFn)(REALobject, const char*, uint32_t);
typedef RBBoolean (*SetBoolPropFn)(REALobject, const char*, RBBoolean);
typedef void (*RegisterClassFn)(REALclassDefinition*);
typedef void (*RegisterModuleFn)(REALmoduleDefinition*);
typedef double (*VersionFn)();
typedef void (*AnnounceFn)(int);

typedef RBInteger (*MeasureFn)(REALstring);
typedef REALobject (*IndexGetterFn)(REALobject, RBInteger);
typedef void (*IndexActionFn)(REALobject, RBInteger);
typedef void (*ObjectActionFn)(REALobject, REALobject);
typedef void (*IndexSetterFn)(REALobject, RBInteger, RBInteger);

constexpr const char* kLen = "Len(s as string) as integer";
constexpr const char* kLenB = "LenB( s as string ) as integer";
constexpr const char* kStyleRun = "StyleRun(Index as Integer) As StyleRun";
constexpr const char* kParagraph = "Paragraph(Index as Integer) As Paragraph";
constexpr const char* kRemoveStyleRun = "RemoveStyleRun(Index as Integer)";
constexpr const char* kAppendStyleRun = "AppendStyleRun(Run as StyleRun)";
constexpr const char* kParagraphAlignment =
    "ParagraphAlignment(Index As Integer, assigns _value as Integer)";

// A method of an object by declaration, through "REALLoadObjectMethod".
template <typename Fn>
Fn Method(REALobject object, const char* declaration) {
  auto load = Service<LoadObjectMethodFn>("REALLoadObjectMethod");
  return reinterpret_cast<Fn>(load(object, declaration));
}

// A framework global by declaration, through "REALLoadGlobalMethod".
inline MeasureFn Global(const char* declaration) {
  auto load = Service<LoadGlobalFn>("REALLoadGlobalMethod");
  return reinterpret_cast<MeasureFn>(load(nullptr, declaration));
}

inline int64_t IntegerProperty(REALobject o, const char* name) {
  RBInteger value = -12345;
  EXPECT_TRUE(Service<GetIntegerPropFn>("REALGetPropValueInteger")(o, name, &value)) << name;
  return value;
}

}  // namespace simhost_test
