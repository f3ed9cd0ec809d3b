// The bytes of a host string or of a StyleRun's text and font name, always followed by a zero
// byte. Most of them are short (one "\u" character, a font name), so up to 23 bytes are kept in
// place and copied without a call; longer ones live in a std::string.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace simhost {

class HostBytes {
 public:
  HostBytes() { small_[0] = 0; }
  HostBytes(const HostBytes& o) { Assign(o); }
  HostBytes& operator=(const HostBytes& o) {
    if (this != &o) Assign(o);
    return *this;
  }

  void Assign(std::string_view v) {
    const size_t n = v.size();
    if (n < sizeof small_) {
      CopySmall(small_, v.data(), n);
      small_[n] = 0;
      if (big_) ReleaseLarge();
      size_ = n;
    } else {
      large_.assign(v.data(), n);
      big_ = true;
      size_ = n;
    }
  }
  // Takes the bytes of a string over (no copy for long ones).
  void Adopt(std::string&& s) {
    if (s.size() < sizeof small_) {
      Assign(s);
      return;
    }
    large_ = std::move(s);
    big_ = true;
    size_ = large_.size();
  }
  // Empties it and gives a heap block back.
  void Clear() {
    if (big_) ReleaseLarge();
    size_ = 0;
    small_[0] = 0;
  }

  const char* data() const { return big_ ? large_.data() : small_; }
  char* data() { return big_ ? large_.data() : small_; }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::string_view view() const { return std::string_view(data(), size_); }
  operator std::string_view() const { return view(); }
  std::string str() const { return std::string(data(), size_); }
  bool operator==(std::string_view v) const { return view() == v; }

 private:
  void Assign(const HostBytes& o) { Assign(o.view()); }
  void ReleaseLarge() {
    std::string().swap(large_);
    big_ = false;
  }
  // n < 24 bytes in a few fixed-size moves (overlapping where n is not a power of two).
  static void CopySmall(char* to, const char* from, size_t n) {
    if (n >= 8) {
      std::memcpy(to, from, 8);
      if (n > 16) std::memcpy(to + 8, from + 8, 8);
      std::memcpy(to + n - 8, from + n - 8, 8);
    } else if (n >= 4) {
      std::memcpy(to, from, 4);
      std::memcpy(to + n - 4, from + n - 4, 4);
    } else if (n > 0) {
      to[0] = from[0];
      to[n / 2] = from[n / 2];
      to[n - 1] = from[n - 1];
    }
  }

  std::string large_;  // the bytes when big_
  size_t size_ = 0;
  bool big_ = false;
  char small_[24];
};

}  // namespace simhost
