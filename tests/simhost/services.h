// The host's services and methods as the plug-in sees them: resolved by name and cast to their
// C shapes.
#pragma once

#include <gtest/gtest.h>

#include "frame/host_contract.h"
#include "simhost/host.h"

namespace simhost_test {

template <typename Fn>
Fn Service(const char* name) {
  return reinterpret_cast<Fn>(simhost::Host::Resolve(name));
}

// The services' and methods' C shapes, from the host contract.
using GetStringDataFn = host_contract::PluginGetStringDataFn;
using DisposeStringDataFn = host_contract::PluginDisposeStringDataFn;
using CStringFn = host_contract::StringGetCStringFn;
using StringFn = host_contract::REALLockStringFn;
using ObjectFn = host_contract::REALUnlockObjectFn;
using GetEncodingFn = host_contract::REALGetStringEncodingFn;
using SetEncodingFn = host_contract::REALSetStringEncodingFn;
using ConvertFn = host_contract::REALConvertStringFn;
using BuildFn = host_contract::REALBuildStringFn;
using BuildWithEncodingFn = host_contract::REALBuildStringWithEncodingFn;
using CompareFn = host_contract::RuntimeStringCompareFn;
using NewInstanceFn = host_contract::PluginNewInstanceFn;
using LoadGlobalFn = host_contract::REALLoadGlobalMethodFn;
using LoadObjectMethodFn = host_contract::REALLoadObjectMethodFn;
using GetStringPropFn = host_contract::REALGetPropValueStringFn;
using SetStringPropFn = host_contract::REALSetPropValueStringFn;
using GetBoolPropFn = host_contract::REALGetPropValueBoolFn;
using GetColorPropFn = host_contract::REALGetPropValueColorFn;
using GetIntegerPropFn = host_contract::REALGetPropValueIntegerFn;
using SetIntegerPropFn = host_contract::REALSetPropValueIntegerFn;
using SetUInt32PropFn = host_contract::REALSetPropValueUInt32Fn;
using SetBoolPropFn = host_contract::REALSetPropValueBooleanFn;
using RegisterClassFn = host_contract::PluginRegisterClassExtensionFn;
using RegisterModuleFn = host_contract::PluginRegisterModuleFn;
using VersionFn = host_contract::REALGetRBVersionFn;
using AnnounceFn = host_contract::RegisterPluginVersionFn;

using MeasureFn = host_contract::LenBFn;
using IndexGetterFn = host_contract::StyleRunFn;
using IndexActionFn = host_contract::RemoveStyleRunFn;
using ObjectActionFn = host_contract::AppendStyleRunFn;
using IndexSetterFn = host_contract::ParagraphAlignmentFn;

constexpr const char* kLen = host_contract::kLenDeclaration;
constexpr const char* kLenB = host_contract::kLenBDeclaration;
constexpr const char* kStyleRun = host_contract::kStyleRunDeclaration;
constexpr const char* kParagraph = host_contract::kParagraphDeclaration;
constexpr const char* kRemoveStyleRun = host_contract::kRemoveStyleRunDeclaration;
constexpr const char* kAppendStyleRun = host_contract::kAppendStyleRunDeclaration;
constexpr const char* kParagraphAlignment = host_contract::kParagraphAlignmentDeclaration;

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
