// Writing a whole buffer to a file descriptor: write() may take only part of it, or be
// interrupted by a signal before it writes anything.
#pragma once

#include <cstddef>

namespace pendlow {

// Writes all `size` bytes, retrying after partial writes and interruptions. 0 when every byte
// is written, else the errno of the write that failed.
int WriteAll(int fd, const char* data, size_t size);

}  // namespace pendlow
