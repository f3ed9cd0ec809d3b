// The run buffer's rare path.
#include "rtf_import/text_buffer.h"

void TextBuffer::Grow(size_t more) {
  size_t capacity = capacity_ < 4096 ? 4096 : capacity_;
  while (capacity - size_ < more) capacity *= 2;
  std::unique_ptr<char[]> data(new char[capacity]);
  if (size_ != 0) std::memcpy(data.get(), data_.get(), size_);
  data_ = std::move(data);
  capacity_ = capacity;
}
