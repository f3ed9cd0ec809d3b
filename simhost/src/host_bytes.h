// The bytes of a host string or of a StyleRun's text and font name, always followed by a zero
// byte. Most of them are short (one "\u" character, a font name), so up to 23 bytes are kept in
// place and copied without a call; longer ones live in a std::string of their own.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace simhost {

class HostBytes {
 public:
  HostBytes() { small_[0] = 0; }
  ~HostBytes() {
    if (big()) delete large_;
  }
  HostBytes(const HostBytes& o) : HostBytes() { Assign(o.view()); }
  HostBytes& operator=(const HostBytes& o) {
    if (this != &o) Assign(o.view());
    return *this;
  }

  void Assign(std::string_view v) {
    const size_t n = v.size();
    if (n < kSmall) {
      if (big()) {
        // The bytes may be the string's own: copied out before it goes.
        char copy[kSmall];
        CopySmall(copy, v.data(), n);
        delete large_;
        CopySmall(small_, copy, n);
      } else {
        CopySmall(small_, v.data(), n);
      }
      small_[n] = 0;
    } else if (big()) {
      large_->assign(v.data(), n);
    } else {
      large_ = new std::string(v);
    }
    size_ = n;
  }
  // Takes the bytes of a string over (no copy for long ones).
  void Adopt(std::string&& s) {
    if (s.size() < kSmall) {
      Assign(s);
      return;
    }
    if (big()) {
      *large_ = std::move(s);
    } else {
      large_ = new std::string(std::move(s));
    }
    size_ = large_->size();
  }
  // Empties it and gives a heap block back.
  void Clear() {
    if (big()) delete large_;
    size_ = 0;
    small_[0] = 0;
  }

  const char* data() const { return big() ? large_->data() : small_; }
  char* data() { return big() ? large_->data() : small_; }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::string_view view() const { return std::string_view(data(), size_); }
  operator std::string_view() const { return view(); }
  std::string str() const { return std::string(data(), size_); }
  bool operator==(std::string_view v) const { return view() == v; }

 private:
  static constexpr size_t kSmall = 24;
  bool big() const { return size_ >= kSmall; }
  // n < 24 bytes in a few fixed-size moves (overlapping where n is not a power of two).
  static void CopySmall(char* to, const char* from, size_t n) {
    if (n >= 16) {
      std::memcpy(to, from, 16);
      std::memcpy(to + n - 16, from + n - 16, 16);
    } else if (n >= 8) {
      std::memcpy(to, from, 8);
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

  union {
    char small_[kSmall];
    std::string* large_;  // when size_ >= kSmall
  };
  size_t size_ = 0;
};

}  // namespace simhost
