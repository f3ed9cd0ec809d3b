// A minimal plug-in for testing the host's loader (Plugin): it registers one getter/setter
// member on StyledText, as a class extension on hosts before 2013 and as a module with a
// "Debugging" property otherwise, and reports what it is called with. It has process-wide
// state (a call counter) so a test can tell whether two loads share one instance.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#define FAKE_EXPORT __declspec(dllexport)
#else
#define FAKE_EXPORT __attribute__((visibility("default")))
#endif

#include "frame/host_api.h"
#include "frame/host_contract.h"
#include "frame/host_version.h"
#include "frame/member_flags.h"

namespace {

using namespace host_contract;

// A service of the host by its name in the host contract, cast to its shape there.
#define FAKE_SERVICE(resolver, Id) reinterpret_cast<Id##Fn>((resolver)(k##Id##Name))

// Reports a call where the library writes its log: one OutputDebugStringA string on Windows, a
// line on standard error elsewhere.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
void Report(const char* format, ...) {
  char buffer[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
#if defined(_WIN32)
  OutputDebugStringA(buffer);
#else
  std::fputs(buffer, stderr);
#endif
}

REALResolver gResolve = nullptr;
int gCalls = 0;  // calls of the getter since this instance was loaded
bool gDebugging = false;

REALstring RBCALL Getter(REALobject self, RBBoolean flag) {
  ++gCalls;
  Report("fake: get %d\n", flag != 0 ? 1 : 0);
  auto build = FAKE_SERVICE(gResolve, REALBuildStringWithEncoding);
  std::string text = "calls=" + std::to_string(gCalls) + (self != nullptr ? " self" : " nil");
  return build(text.data(), static_cast<int>(text.size()), kREALTextEncodingUTF8);
}

void RBCALL Setter(REALobject, RBBoolean flag, REALstring value) {
  auto bytes = FAKE_SERVICE(gResolve, StringGetCString);
  auto load = FAKE_SERVICE(gResolve, REALLoadGlobalMethod);
  auto lenB = reinterpret_cast<LenBFn>(load(nullptr, kLenBDeclaration));
  Report("fake: set %d %.*s\n", flag != 0 ? 1 : 0, static_cast<int>(lenB(value)),
         static_cast<const char*>(bytes(value)));
}

RBBoolean RBCALL GetDebugging() {
  return gDebugging ? 1 : 0;
}
void RBCALL SetDebugging(RBBoolean on) {
  gDebugging = on != 0;
  Report("fake: debugging %d\n", gDebugging ? 1 : 0);
}

REALmethodDefinition gClassMethods[] = {
    {reinterpret_cast<REALproc>(Getter), reinterpret_cast<REALproc>(Setter),
     "FakeData(Flag as boolean = false) as string", kDesktopWebConsole, 0, nullptr}};
REALclassDefinition gClass = [] {
  REALclassDefinition c{};
  c.name = "StyledText";
  PointAt(c.methods, c.methodCount, gClassMethods);
  c.flags = kDesktopWebConsole;
  return c;
}();

REALmethodDefinition gModuleMethods[] = {
    {reinterpret_cast<REALproc>(Setter), nullptr,
     "FakeData(extends ref as StyledText, Flag as boolean = false, assigns value as string)",
     kDesktopWebConsole | REALScopeGlobal, 0, nullptr},
    {reinterpret_cast<REALproc>(Getter), nullptr,
     "FakeData(extends ref as StyledText, Flag as boolean = false) as string",
     kDesktopWebConsole | REALScopeGlobal, 0, nullptr}};
REALattribute gHidden[] = {{"Hidden", ""}};
REALproperty gModuleProperties[] = {{nullptr, "Debugging", "Boolean", kDebuggingPropertyFlags,
                                     reinterpret_cast<REALproc>(GetDebugging),
                                     reinterpret_cast<REALproc>(SetDebugging), 0, nullptr, 0,
                                     nullptr, 1, gHidden}};
REALmoduleDefinition gModule = [] {
  REALmoduleDefinition m{};
  m.name = "FakeModule";
  PointAt(m.methods, m.methodCount, gModuleMethods);
  PointAt(m.properties, m.propertyCount, gModuleProperties);
  m.flags = kModuleFlags;
  return m;
}();

}  // namespace

#ifdef FAKE_PLUGIN_WITHOUT_ENTRY
#define REALPluginMain SomethingElse  // a library the host cannot enter
#endif

extern "C" FAKE_EXPORT void RBCALL REALPluginMain(REALResolver resolve) {
  gResolve = resolve;
  auto version = FAKE_SERVICE(resolve, REALGetRBVersion);
  double v = version != nullptr ? version() : 0.0;
  FAKE_SERVICE(resolve, RegisterPluginVersion)(v >= kHostTakesExtensionModules ? 13 : 9);
  Report("fake: main\n");
  if (v >= kHostTakesExtensionModules) {
    gModule.version = 13;
    FAKE_SERVICE(resolve, PluginRegisterModule)(&gModule);
  } else {
    gClass.version = 9;
    FAKE_SERVICE(resolve, PluginRegisterClassExtension)(&gClass);
  }
}
