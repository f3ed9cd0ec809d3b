// The library's entry point and the one place that wires its parts together: learns the host
// version, announces the record version and registers "RTFDataZVK" on StyledText (getter from
// the export side, setter from the import side), as a class extension on hosts before 2013 and
// from 3000 on, otherwise as a module of extension methods with the hidden "Debugging" property.
#include <cstdlib>

#include "frame/host_contract.h"
#include "frame/host_services.h"
#include "frame/member_flags.h"
#include "frame/registration.h"
#include "rtf_export/rtf_export.h"
#include "rtf_import/rtf_import.h"

// The library's only exported symbol.
#if defined(_WIN32)
#define PENDLOW_EXPORT __declspec(dllexport)
#else
#define PENDLOW_EXPORT __attribute__((visibility("default")))
#endif

namespace {

// Registration records live in writable memory for the life of the process: the host keeps
// pointers into them and writes some fields itself.
REALmethodDefinition StyledTextMethods[] = {
    {reinterpret_cast<REALproc>(RTFRead), reinterpret_cast<REALproc>(RTFWrite),
     "RTFDataZVK(SkipParagraphs as boolean = false) as string", kDesktopWebConsole, 0, nullptr},
};

REALclassDefinition StyledTextClass = [] {
  REALclassDefinition c{};
  c.name = "StyledText";
  c.methods = StyledTextMethods;
  c.methodCount = sizeof StyledTextMethods / sizeof StyledTextMethods[0];
  c.flags = kDesktopWebConsole;
  return c;
}();

}  // namespace

extern "C" PENDLOW_EXPORT void RBCALL REALPluginMain(REALResolver resolver) {
  gResolver = resolver;
  if (resolver != nullptr) {
    if (auto getVersion = reinterpret_cast<host_contract::REALGetRBVersionFn>(
            resolver(host_contract::kREALGetRBVersionName))) {
      rbversion = getVersion();
    }
  }
  CurrentREALControlVersion = ControlVersionFor(rbversion);
  if (resolver == nullptr) return;

  // The host must offer this one; it is called without a test, as the host's own glue does.
  reinterpret_cast<host_contract::RegisterPluginVersionFn>(
      resolver(host_contract::kRegisterPluginVersionName))(CurrentREALControlVersion);

  REALclassDefinition& cls = StyledTextClass;
  cls.flags = FixFlagsWord(cls.flags);
  FixFlags(cls.methods, static_cast<long long>(cls.methodCount), "class methods");
  FixFlags(cls.sharedMethods, static_cast<long long>(cls.sharedMethodCount), "shared methods");
  FixFlags(cls.properties, static_cast<long long>(cls.propertyCount), "class properties");
  FixFlags(cls.sharedProperties, static_cast<long long>(cls.sharedPropertyCount),
           "shared properties");

  if (RegistersAsModule(rbversion)) {
    RegisterClassAsModule(cls, std::calloc);
  } else {
    cls.version = static_cast<uint32_t>(CurrentREALControlVersion);
    REALRegisterClassExtension(&cls);
  }
}
