// The writer's buffer: allocation and growth.
#include "rtf_export/rtf_output.h"

#include <cstdlib>
#include <new>

RTFOutput::~RTFOutput() {
  std::free(data_);
}

void RTFOutput::Grow(size_t more) {
  size_t capacity = capacity_ < 64 ? 64 : capacity_;
  while (capacity - size_ < more) capacity *= 2;
  // One spare byte for the terminator c_str writes.
  void* data = std::realloc(data_, capacity + 1);
  if (data == nullptr) throw std::bad_alloc();
  data_ = static_cast<char*>(data);
  capacity_ = capacity;
}
