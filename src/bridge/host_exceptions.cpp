// Raising host exceptions. Each step degrades on its own when the host lacks a service: no
// string, no instance, no property or no raise, and the remaining steps still run.
#include "bridge/host_exceptions.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "bridge/host_string_build.h"
#include "frame/debug_log.h"
#include "frame/host_services.h"

void RaiseException(const char* className, const char* message, uint32_t /*errorNumber*/,
                    int64_t /*extra*/) {
  REALstring text = nullptr;
  if (message != nullptr) {
    text = REALBuildUnicodeString(message, static_cast<int64_t>(std::strlen(message)),
                                  kREALTextEncodingUTF8);
  }
  REALobject exception = REALnewInstance(className);
  if (exception == nullptr) exception = REALnewInstance("RuntimeException");
  if (exception != nullptr) {
    REALSetPropValueString(exception, host_contract::kMessageProperty, text);
    REALSetPropValueInteger(exception, host_contract::kErrorNumberProperty, 0);
    REALRaiseException(exception);
    REALUnlockObject(exception);
  }
  if (text != nullptr) REALUnlockString(text);
}

void RaiseRuntimeException(const std::exception& e) {
  const char* base = "C++ Exception";
  const char* className = "RuntimeException";
  if (dynamic_cast<const std::bad_alloc*>(&e) != nullptr) {
    base = "Failed to allocate memory";
    className = "OutOfMemoryException";
  } else if (dynamic_cast<const std::range_error*>(&e) != nullptr ||
             dynamic_cast<const std::out_of_range*>(&e) != nullptr) {
    base = "C++ reports range error";
    className = "OutOfBoundsException";
  } else if (dynamic_cast<const std::overflow_error*>(&e) != nullptr) {
    base = "C++ reports overflow error";
    className = "OutOfBoundsException";
  } else if (dynamic_cast<const std::underflow_error*>(&e) != nullptr) {
    base = "C++ reports underflow error";
    className = "OutOfBoundsException";
  }
  std::string message = base;
  const char* what = e.what();
  if (what != nullptr && what[0] != '\0') {
    message += ": ";
    message += what;
  } else {
    message += ".";
  }
  RaiseException(className, message.c_str(), 0, 0);
}

void RaiseUnnamedException() {
  DebugLog("Unnamed C++ Exception.");
  RaiseException("RuntimeException", "Sorry, but there was an unnamed C++ Exception.", 0, 0);
}
