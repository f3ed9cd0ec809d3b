// The library's entry point: learns the host version, announces the record version and
// registers "RTFDataZVK" on StyledText, as a class extension on hosts before 2013 and from 3000
// on, otherwise as a module of extension methods with the hidden "Debugging" property.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/debug_log.h"
#include "frame/host_services.h"
#include "frame/registration.h"
#include "rtf_export/rtf_writer.h"
#include "rtf_import/rtf_import.h"

double rbversion = 0.0;
int32_t CurrentREALControlVersion = 15;
REALmoduleDefinition* NewModule = nullptr;

namespace {

typedef double(RBCALL* GetVersionFn)();
typedef void(RBCALL* RegisterVersionFn)(int);

constexpr const char* kPartName = "Pendlow";
constexpr size_t kDeclarationBuffer = 1000;

// Registration records live in writable memory for the life of the process: the host keeps
// pointers into them and writes some fields itself.
REALmethodDefinition StyledTextMethods[] = {
    {reinterpret_cast<REALproc>(RTFRead), reinterpret_cast<REALproc>(RTFWrite),
     "RTFDataZVK(SkipParagraphs as boolean = false) as string", 0x308, 0, nullptr},
};

REALattribute DebuggingHiddenAttributes[] = {{"Hidden", ""}};

REALproperty DebuggingSharedProperties[] = {
    {nullptr, "Debugging", "Boolean", 0x26, reinterpret_cast<REALproc>(getDebugging),
     reinterpret_cast<REALproc>(setDebugging), 0, nullptr, 0, nullptr, 1,
     DebuggingHiddenAttributes},
};

REALclassDefinition StyledTextClass = [] {
  REALclassDefinition c{};
  c.name = "StyledText";
  c.methods = StyledTextMethods;
  c.methodCount = sizeof StyledTextMethods / sizeof StyledTextMethods[0];
  c.flags = 0x308;
  return c;
}();

void LogWarning(const char* message) {
  LogMessageX("%s%s", kDebugPrefix, message);
}

// Gives every record without a scope bit the protected scope, as the host's default.
template <typename Record>
void DefaultScope(Record* list, size_t count) {
  for (size_t i = 0; list != nullptr && i < count; i++) {
    if ((list[i].flags & 0xF0) == 0) list[i].flags |= 0x40;
  }
}

REALmethodDefinition MakeModuleMethod(const REALmethodDefinition& m, REALproc function,
                                      const char* declaration) {
  REALmethodDefinition r = m;
  r.function = function;
  r.setterFunction = nullptr;
  r.declaration = declaration;
  r.flags = m.flags | 0x10;
  return r;
}

// A heap copy of a C string that std::free releases (strdup is POSIX, not standard C++).
char* CopyString(const char* text) {
  const size_t size = std::strlen(text) + 1;
  char* copy = static_cast<char*>(std::malloc(size));
  if (copy != nullptr) std::memcpy(copy, text, size);
  return copy;
}

void FreeModuleMethods(REALmethodDefinition* methods, size_t count) {
  for (size_t i = 0; i < count; i++) std::free(const_cast<char*>(methods[i].declaration));
  std::free(methods);
}

}  // namespace

void RegisterClassAsModule(const REALclassDefinition& cls, ZeroAllocator allocate) {
  if (cls.methodCount == 0) return;

  char moduleName[100];
  std::snprintf(moduleName, sizeof moduleName, "%s%s%s", cls.name, kPartName, "ExtensionZVK");

  NewModule = static_cast<REALmoduleDefinition*>(allocate(1, sizeof(REALmoduleDefinition)));
  if (NewModule == nullptr) {
    LogWarning("Warning: Failed to allocate memory for module definition.");
    return;
  }

  size_t n = 0;
  for (size_t i = 0; i < cls.methodCount; i++) {
    if (cls.methods[i].setterFunction != nullptr) n++;
    if (cls.methods[i].function != nullptr) n++;
  }
  size_t bytes = n * sizeof(REALmethodDefinition) + 16;
  auto* methods = static_cast<REALmethodDefinition*>(allocate(1, bytes));
  if (methods == nullptr) {
    LogWarning("Warning: Failed to allocate memory for method definitions.");
    return;
  }

  size_t count = 0;
  for (size_t i = 0; i < cls.methodCount; i++) {
    const REALmethodDefinition& m = cls.methods[i];
    char getter[kDeclarationBuffer];
    char setter[kDeclarationBuffer];
    MakeExtensionGetterDeclaration(m.declaration, cls.name, getter, sizeof getter);
    if (m.setterFunction != nullptr) {
      if (!MakeExtensionSetterDeclaration(getter, setter, sizeof setter)) {
        LogMessageX("%s%s %s", kDebugPrefix, "Error: Keine Klammer in der Deklaration", getter);
        FreeModuleMethods(methods, count);
        return;
      }
      char* copy = CopyString(setter);
      if (copy == nullptr) {
        FreeModuleMethods(methods, count);
        return;
      }
      methods[count++] = MakeModuleMethod(m, m.setterFunction, copy);
    }
    if (m.function != nullptr) {
      char* copy = CopyString(getter);
      if (copy == nullptr) {
        FreeModuleMethods(methods, count);
        return;
      }
      methods[count++] = MakeModuleMethod(m, m.function, copy);
    }
  }

  REALmoduleDefinition* module = NewModule;
  module->version = static_cast<uint32_t>(CurrentREALControlVersion);
  module->name = CopyString(moduleName);
  module->methods = methods;
  module->methodCount = count;
  module->properties = DebuggingSharedProperties;
  module->propertyCount = 1;
  module->flags = 4;

  DefaultScope(module->methods, module->methodCount);
  DefaultScope(module->properties, module->propertyCount);
  if (module->enumCount != 0) {
    if (module->enums == nullptr) {
      LogWarning("Error: enum array is nil while count is not zero!");
    } else {
      DefaultScope(module->enums, module->enumCount);
    }
  }

  FixFlags(module->methods, static_cast<long long>(module->methodCount), "module methods");
  FixFlags(module->properties, static_cast<long long>(module->propertyCount), "module properties");
  if (module->flags == 0) module->flags = 4;
  module->version = static_cast<uint32_t>(CurrentREALControlVersion);

  REALRegisterModule(module);
}

extern "C" PENDLOW_EXPORT void RBCALL REALPluginMain(REALResolver resolver) {
  gResolver = resolver;
  if (resolver != nullptr) {
    if (auto getVersion = reinterpret_cast<GetVersionFn>(resolver("REALGetRBVersion"))) {
      rbversion = getVersion();
    }
  }
  CurrentREALControlVersion = ControlVersionFor(rbversion);
  if (resolver == nullptr) return;

  // The host must offer this one; it is called without a test, as the host's own glue does.
  reinterpret_cast<RegisterVersionFn>(resolver("RegisterPluginVersion"))(CurrentREALControlVersion);

  REALclassDefinition& cls = StyledTextClass;
  cls.flags = FixFlagsWord(cls.flags);
  FixFlags(cls.methods, static_cast<long long>(cls.methodCount), "class methods");
  FixFlags(cls.sharedMethods, static_cast<long long>(cls.sharedMethodCount), "shared methods");
  FixFlags(cls.properties, static_cast<long long>(cls.propertyCount), "class properties");
  FixFlags(cls.sharedProperties, static_cast<long long>(cls.sharedPropertyCount),
           "shared properties");

  if (rbversion >= 3000.0 || rbversion < 2013.0) {
    cls.version = static_cast<uint32_t>(CurrentREALControlVersion);
    REALRegisterClassExtension(&cls);
  } else {
    RegisterClassAsModule(cls, std::calloc);
  }
}
