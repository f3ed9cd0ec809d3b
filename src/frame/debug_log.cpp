// The debug log switch and its sink.
#include "frame/debug_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#if defined(__APPLE__)
#include <CoreFoundation/CoreFoundation.h>
extern "C" void NSLog(CFStringRef format, ...);
#elif defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

bool DebuggingEnabled = false;

RBBoolean RBCALL getDebugging() {
  return DebuggingEnabled ? 1 : 0;
}

void RBCALL setDebugging(RBBoolean value) {
  DebuggingEnabled = value != 0;
}

void LogMessageX(const char* format, ...) {
  // vsnprintf terminates what it writes (an empty entry for a failed format), so the buffer
  // needs no clearing: the log runs once per style run while debugging is on.
  char buffer[4096];
  buffer[0] = '\0';
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
#if defined(__APPLE__)
  NSLog(CFSTR("%s\n"), buffer);
#elif defined(_WIN32)
  // One string per entry, line feed included, for the developer's debugger (or the session's
  // debug-output monitor when no debugger is attached).
  char entry[sizeof buffer + 1];
  size_t length = std::strlen(buffer);
  std::memcpy(entry, buffer, length);
  entry[length] = '\n';
  entry[length + 1] = '\0';
  OutputDebugStringA(entry);
#else
  // One entry per call, flushed at once so the library's lines and the host's interleave in
  // order (glibc formats a call to unbuffered stderr into one write).
  std::fprintf(stderr, "%s\n", buffer);
  std::fflush(stderr);
#endif
}

namespace debug_log_detail {

void Log(const char* message) {
  LogMessageX("%s%s", kDebugPrefix, message);
}

void LogInt(const char* message, int32_t value) {
  LogMessageX("%s%s %d", kDebugPrefix, message, value);
}

void LogUInt(const char* message, uint32_t value) {
  LogMessageX("%s%s %u", kDebugPrefix, message, value);
}

void LogULong(const char* message, uint64_t value) {
  LogMessageX("%s%s %llu", kDebugPrefix, message, static_cast<unsigned long long>(value));
}

void LogLong(const char* message, int64_t value) {
  LogMessageX("%s%s %lld", kDebugPrefix, message, static_cast<long long>(value));
}

void LogLongs(const char* message, int64_t a, int64_t b) {
  LogMessageX("%s%s %lld, %lld", kDebugPrefix, message, static_cast<long long>(a),
              static_cast<long long>(b));
}

void LogText(const char* message, const char* text) {
  LogMessageX("%s%s %s", kDebugPrefix, message, text);
}

void LogHandle(const char* message, const void* handle, const char* text) {
#if defined(_WIN32)
  // The C runtime writes %p as 16 upper-case digits; write the handle as the Linux and macOS
  // builds do, so that every platform's log reads the same.
  if (DebuggingEnabled) {
    if (handle == nullptr) {
      LogMessageX("%s%s (nil): %s", kDebugPrefix, message, text);
    } else {
      LogMessageX("%s%s 0x%llx: %s", kDebugPrefix, message,
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(handle)), text);
    }
  }
#else
  LogMessageX("%s%s %p: %s", kDebugPrefix, message, handle, text);
#endif
}

}  // namespace debug_log_detail
