// RTF text as the import hands it to its readers: an exact-size heap copy followed by three NUL
// bytes, so that a sanitizer build catches any read before the start or past the padding.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class RtfBuffer {
 public:
  explicit RtfBuffer(std::string_view text) : bytes_(text.begin(), text.end()) {
    bytes_.resize(text.size() + 3, '\0');
  }
  const char* data() const { return bytes_.data(); }
  long long size() const { return static_cast<long long>(bytes_.size()) - 3; }

 private:
  std::vector<char> bytes_;
};
