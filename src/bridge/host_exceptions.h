// Host exceptions: raising a named host exception class with a message, mapping a standard
// exception to one, and the guard that the host-string builder wraps around its body.
#pragma once

#include <cstdint>
#include <exception>

void RaiseException(const char* className, const char* message, uint32_t errorNumber,
                    int64_t extra);
void RaiseRuntimeException(const std::exception& e);

// Reports an exception that is not a standard one ("Unnamed C++ Exception.").
void RaiseUnnamedException();

// Runs body; a standard exception becomes a host exception, any other one the unnamed
// host exception; on either the guard returns failure.
template <typename Result, typename Body>
Result WithHostExceptionGuard(Result failure, Body&& body) {
  try {
    return body();
  } catch (const std::exception& e) {
    RaiseRuntimeException(e);
  } catch (...) {
    RaiseUnnamedException();
  }
  return failure;
}
