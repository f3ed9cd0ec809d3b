#include "support/write_all.h"

#include <unistd.h>

#include <cerrno>

namespace pendlow {

int WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t written = ::write(fd, data, size);
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    data += written;
    size -= static_cast<size_t>(written);
  }
  return 0;
}

}  // namespace pendlow
