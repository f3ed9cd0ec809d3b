// The byte buffer the RTF writer fills: appends are inline stores or short copies, growth goes
// through realloc (no copy of a large document when the allocator can extend it in place).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Writes value in decimal as "%d" does (minus sign, no padding) to out, which has room for 11
// bytes; returns the count written. No terminator.
inline size_t FormatDecimal(int32_t value, char* out) {
  // Colour and font indexes, colour components and sizes are mostly one or two digits.
  if (static_cast<uint32_t>(value) < 100) {
    const uint32_t v = static_cast<uint32_t>(value);
    if (v < 10) {
      out[0] = static_cast<char>('0' + v);
      return 1;
    }
    out[0] = static_cast<char>('0' + v / 10);
    out[1] = static_cast<char>('0' + v % 10);
    return 2;
  }
  uint32_t magnitude = static_cast<uint32_t>(value);
  size_t n = 0;
  if (value < 0) {
    out[n++] = '-';
    magnitude = 0u - magnitude;
  }
  char digits[10];
  size_t count = 0;
  do {
    digits[count++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  while (count != 0) out[n++] = digits[--count];
  return n;
}

// A literal written at to, in room the caller reserved; returns the position after it.
template <size_t N>
inline char* PutLiteral(char* to, const char (&text)[N]) {
  std::memcpy(to, text, N - 1);
  return to + N - 1;
}

class RTFOutput {
 public:
  explicit RTFOutput(size_t reserve) { Grow(reserve); }
  ~RTFOutput();
  RTFOutput(const RTFOutput&) = delete;
  RTFOutput& operator=(const RTFOutput&) = delete;

  size_t size() const { return size_; }
  const char* data() const { return data_; }
  // The bytes followed by a zero byte.
  const char* c_str() {
    data_[size_] = '\0';  // Grow always keeps one byte spare
    return data_;
  }

  // Room for count more bytes, written in place and then kept with Commit.
  char* Reserve(size_t count) {
    if (capacity_ - size_ < count) Grow(count);
    return data_ + size_;
  }
  void Commit(size_t count) { size_ += count; }

  void Append(char c) {
    *Reserve(1) = c;
    ++size_;
  }
  void Append(const char* bytes, size_t count) {
    std::memcpy(Reserve(count), bytes, count);
    size_ += count;
  }
  // A literal: its length is known here, so the copy becomes a few stores.
  template <size_t N>
  void AppendLiteral(const char (&text)[N]) {
    std::memcpy(Reserve(N - 1), text, N - 1);
    size_ += N - 1;
  }

  // Decimal, as "%d" writes it.
  void AppendNumber(int32_t value) { size_ += FormatDecimal(value, Reserve(11)); }

 private:
  void Grow(size_t more);  // out of line: only the first reserve and large documents get here

  char* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};
