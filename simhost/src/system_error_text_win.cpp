#include "simhost/system_error_text.h"

#include <windows.h>

namespace simhost {

std::string SystemErrorText(unsigned long code) {
  char* text = nullptr;
  DWORD n = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  std::string result = n > 0 ? std::string(text, n) : "error " + std::to_string(code);
  if (text != nullptr) LocalFree(text);
  while (!result.empty() && (result.back() == '\n' || result.back() == '\r' ||
                             result.back() == ' ' || result.back() == '.')) {
    result.pop_back();
  }
  return result;
}

}  // namespace simhost
