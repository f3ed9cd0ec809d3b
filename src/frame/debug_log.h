// The debug log: one process-wide switch (the hidden module property "Debugging") and one
// printf-style sink. Every diagnostic is "ZVK Debug: " + message (+ one value) and is written
// only while the switch is on; the registration warnings are the only unconditional lines.
#pragma once

#include <cstdint>

#include "frame/host_api.h"

extern bool DebuggingEnabled;

constexpr const char* kDebugPrefix = "ZVK Debug: ";

// Getter and setter of the module property "Debugging" (no instance is passed).
RBBoolean RBCALL getDebugging();
void RBCALL setDebugging(RBBoolean value);

// Formats into a 4096-byte local buffer (longer output is cut to 4095 characters) and writes
// one entry to the system log: NSLog on macOS, one OutputDebugStringA string (with its line
// feed) on Windows, otherwise one flushed line on standard error.
void LogMessageX(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

// The eight log shapes, each written only while debugging is on.
void DebugLog(const char* message);                                         // "%s%s"
void DebugLogInt(const char* message, int32_t value);                       // "%s%s %d"
void DebugLogUInt(const char* message, uint32_t value);                     // "%s%s %u"
void DebugLogULong(const char* message, uint64_t value);                    // "%s%s %lu"
void DebugLogLong(const char* message, int64_t value);                      // "%s%s %lld"
void DebugLogLongs(const char* message, int64_t a, int64_t b);              // "%s%s %lld, %lld"
void DebugLogText(const char* message, const char* text);                   // "%s%s %s"
void DebugLogHandle(const char* message, const void* h, const char* text);  // "%s%s %p: %s"
