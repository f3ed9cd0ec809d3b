// Flags words the library registers and the groups of bits the host-version rules test, built
// from the host's flag bits.
#pragma once

#include <cstdint>

#include "frame/host_api.h"

// A member for desktop, web and console apps (0x308): how "RTFDataZVK" and its class are
// registered.
constexpr uint32_t kDesktopWebConsole = REALTargetDesktop | REALwebOnly | REALconsoleOnly;
// The target bits a desktop, web and console word is told by (0x708): with iOS it is another.
constexpr uint32_t kDesktopWebConsoleIOS = kDesktopWebConsole | REALTargetIOS;
// The scope bits (0xF0); a record with none gets the protected scope.
constexpr uint32_t kScopeBits =
    REALScopeGlobal | REALScopePublic | REALScopeProtected | REALScopePrivate;
// A bit no host header names (0x40000): "all targets" on hosts that honour it.
constexpr uint32_t kHiddenAllTargets = 0x40000;
// The hidden "Debugging" module property (0x26): public, all targets, run time only.
constexpr uint32_t kDebuggingPropertyFlags =
    REALScopePublic | REALconsoleSafe | REALpropRuntimeOnly;
// A module record's flags word (0x4): all targets.
constexpr uint32_t kModuleFlags = REALconsoleSafe;

static_assert(kDesktopWebConsole == 0x308 && kDesktopWebConsoleIOS == 0x708 && kScopeBits == 0xF0 &&
                  kDebuggingPropertyFlags == 0x26,
              "the registered flags words");
