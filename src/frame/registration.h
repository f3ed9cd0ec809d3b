// Registration of "RTFDataZVK" with the host: the record version announced to it, the flags
// rules by host version, the rewriting of the class member's declaration into extension-method
// form and the module built from it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/host_api.h"
#include "frame/host_version.h"

extern int32_t CurrentREALControlVersion;  // record version written into every record
extern REALmoduleDefinition* NewModule;    // module built on hosts 2013.0 to 3000.0, never freed

// Record version for a host version: 13, 12, 11, 10 or 9.
int32_t ControlVersionFor(double hostVersion);

// The flags rule for one flags word on the running host (rbversion).
uint32_t FixFlagsWord(uint32_t flags);
void FixFlags(REALmethodDefinition* list, long long count, const char* context);
void FixFlags(REALproperty* list, long long count, const char* context);

// Whether a host of this version takes the member as a module of extension methods rather than
// as a class extension.
bool RegistersAsModule(double hostVersion);

// The module path: registers the class's methods as extension methods of a new module
// ("<class>PendlowExtensionZVK") with the hidden "Debugging" property. Allocation goes through
// a calloc-like function so that its failure paths can be exercised.
typedef void* (*ZeroAllocator)(size_t count, size_t size);
void RegisterClassAsModule(const REALclassDefinition& cls, ZeroAllocator allocate);

// Declaration rewriting for the module path. Each returns false (output empty) when the
// declaration cannot be rewritten; outputs are cut to fit 1000-byte buffers.
bool MakeExtensionGetterDeclaration(const char* declaration, const char* className, char* out,
                                    size_t outSize);
bool MakeExtensionSetterDeclaration(const char* getterDeclaration, char* out, size_t outSize);
