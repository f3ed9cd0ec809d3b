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

// The eight log shapes, each written only while debugging is on. The switch is tested here,
// so that a line the log does not want costs one test where it is written.
namespace debug_log_detail {
void Log(const char* message);                                         // "%s%s"
void LogInt(const char* message, int32_t value);                       // "%s%s %d"
void LogUInt(const char* message, uint32_t value);                     // "%s%s %u"
void LogULong(const char* message, uint64_t value);                    // "%s%s %lu"
void LogLong(const char* message, int64_t value);                      // "%s%s %lld"
void LogLongs(const char* message, int64_t a, int64_t b);              // "%s%s %lld, %lld"
void LogText(const char* message, const char* text);                   // "%s%s %s"
void LogHandle(const char* message, const void* h, const char* text);  // "%s%s %p: %s"
}  // namespace debug_log_detail

inline void DebugLog(const char* message) {
  if (DebuggingEnabled) debug_log_detail::Log(message);
}
inline void DebugLogInt(const char* message, int32_t value) {
  if (DebuggingEnabled) debug_log_detail::LogInt(message, value);
}
inline void DebugLogUInt(const char* message, uint32_t value) {
  if (DebuggingEnabled) debug_log_detail::LogUInt(message, value);
}
inline void DebugLogULong(const char* message, uint64_t value) {
  if (DebuggingEnabled) debug_log_detail::LogULong(message, value);
}
inline void DebugLogLong(const char* message, int64_t value) {
  if (DebuggingEnabled) debug_log_detail::LogLong(message, value);
}
inline void DebugLogLongs(const char* message, int64_t a, int64_t b) {
  if (DebuggingEnabled) debug_log_detail::LogLongs(message, a, b);
}
inline void DebugLogText(const char* message, const char* text) {
  if (DebuggingEnabled) debug_log_detail::LogText(message, text);
}
inline void DebugLogHandle(const char* message, const void* h, const char* text) {
  if (DebuggingEnabled) debug_log_detail::LogHandle(message, h, text);
}
