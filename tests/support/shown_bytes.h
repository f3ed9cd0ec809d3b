// Bytes as a failure message shows them: printable ASCII as it is, every other byte as "\xHH".
#pragma once

#include <string>

namespace test_support {

inline std::string ShownBytes(const std::string& bytes) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string shown;
  for (unsigned char c : bytes) {
    if (c < 0x20 || c >= 0x7F) {
      shown += "\\x";
      shown += kHex[c >> 4];
      shown += kHex[c & 15];
    } else {
      shown += static_cast<char>(c);
    }
  }
  return shown;
}

}  // namespace test_support
