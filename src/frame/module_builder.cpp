// The module path of registration: the class's methods become extension methods of a new
// module, "<class>PendlowExtensionZVK", which also carries the hidden "Debugging" property.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/debug_log.h"
#include "frame/host_services.h"
#include "frame/member_flags.h"
#include "frame/registration.h"

REALmoduleDefinition* NewModule = nullptr;

namespace {

constexpr const char* kPartName = "Pendlow";
constexpr size_t kDeclarationBuffer = 1000;

// The host keeps a pointer to this record and writes its flags word: writable, for the life of
// the process.
REALattribute DebuggingHiddenAttributes[] = {{"Hidden", ""}};

REALproperty DebuggingSharedProperties[] = {
    {nullptr, "Debugging", "Boolean", kDebuggingPropertyFlags,
     reinterpret_cast<REALproc>(getDebugging), reinterpret_cast<REALproc>(setDebugging), 0, nullptr,
     0, nullptr, 1, DebuggingHiddenAttributes},
};

void LogWarning(const char* message) {
  LogMessageX("%s%s", kDebugPrefix, message);
}

// Gives every record without a scope bit the protected scope, as the host's default.
template <typename Record>
void DefaultScope(Record* list, size_t count) {
  for (size_t i = 0; list != nullptr && i < count; i++) {
    if ((list[i].flags & kScopeBits) == 0) list[i].flags |= REALScopeProtected;
  }
}

REALmethodDefinition MakeModuleMethod(const REALmethodDefinition& m, REALproc function,
                                      const char* declaration) {
  REALmethodDefinition r = m;
  r.function = function;
  r.setterFunction = nullptr;
  r.declaration = declaration;
  r.flags = m.flags | REALScopeGlobal;
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
  module->flags = kModuleFlags;

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
  if (module->flags == 0) module->flags = kModuleFlags;
  module->version = static_cast<uint32_t>(CurrentREALControlVersion);

  REALRegisterModule(module);
}
