// The bytes of the run the import is collecting. Appending is a store or a short copy without a
// call; the bytes become the byte string the host call takes when the run is flushed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

// Copies count bytes; short pieces (a word between two control words) without a call, with two
// overlapping moves (three single bytes below four).
inline void CopyShort(char* to, const char* bytes, size_t count) {
  if (count >= 8 && count <= 16) {
    uint64_t head, tail;
    std::memcpy(&head, bytes, 8);
    std::memcpy(&tail, bytes + count - 8, 8);
    std::memcpy(to, &head, 8);
    std::memcpy(to + count - 8, &tail, 8);
  } else if (count >= 4 && count < 8) {
    uint32_t head, tail;
    std::memcpy(&head, bytes, 4);
    std::memcpy(&tail, bytes + count - 4, 4);
    std::memcpy(to, &head, 4);
    std::memcpy(to + count - 4, &tail, 4);
  } else if (count < 4) {
    if (count != 0) {
      const char first = bytes[0], middle = bytes[count / 2], last = bytes[count - 1];
      to[0] = first;
      to[count / 2] = middle;
      to[count - 1] = last;
    }
  } else {
    std::memcpy(to, bytes, count);
  }
}

class TextBuffer {
 public:
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }
  const char* data() const { return data_.get(); }
  // Where the next byte goes (written in place behind Reserve).
  char* end() { return data_.get() + size_; }
  void clear() { size_ = 0; }

  void push_back(char c) {
    if (size_ == capacity_) Grow(1);
    data_[size_++] = c;
  }

  void append(const char* bytes, size_t count) {
    if (capacity_ - size_ < count) Grow(count);
    char* to = data_.get() + size_;
    size_ += count;
    CopyShort(to, bytes, count);
  }

  // Room for count more bytes, written in place and then kept with Commit.
  char* Reserve(size_t count) {
    if (capacity_ - size_ < count) Grow(count);
    return data_.get() + size_;
  }
  void Commit(size_t count) { size_ += count; }

  // Hands the bytes over as out's content and empties the buffer.
  void MoveTo(std::string& out) {
    out.clear();
    out.append(data_.get(), size_);
    size_ = 0;
  }

 private:
  void Grow(size_t more);  // out of line, so that the paths above stay a few instructions

  std::unique_ptr<char[]> data_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};
