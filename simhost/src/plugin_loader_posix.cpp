// Private copies through dlopen: the copy is a temporary file, removed as soon as it is mapped.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "plugin_loader.h"

namespace simhost {
namespace {

// Copies a file; "" on success, else the reason.
std::string CopyFile(const std::string& from, int toFd) {
  int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0) return "cannot open " + from + ": " + std::strerror(errno);
  char buffer[1 << 16];
  std::string error;
  for (ssize_t n; (n = read(in, buffer, sizeof buffer)) != 0;) {
    if (n < 0) {
      if (errno == EINTR) continue;
      error = "cannot read " + from + ": " + std::strerror(errno);
      break;
    }
    for (ssize_t done = 0; done < n;) {
      ssize_t w = write(toFd, buffer + done, static_cast<size_t>(n - done));
      if (w < 0 && errno == EINTR) continue;
      if (w <= 0) {
        error = std::string("cannot write the library copy: ") + std::strerror(errno);
        break;
      }
      done += w;
    }
    if (!error.empty()) break;
  }
  close(in);
  return error;
}

}  // namespace

void* LoadPrivateCopy(const std::string& libraryPath, std::string* error) {
  const char* dir = std::getenv("TMPDIR");
  std::string path =
      std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/pendlow-plugin-XXXXXX.so";
  int fd = mkstemps(path.data(), 3);
  if (fd < 0) {
    *error = std::string("cannot create a copy of the library: ") + std::strerror(errno);
    return nullptr;
  }
  *error = CopyFile(libraryPath, fd);
  close(fd);
  void* handle = nullptr;
  if (error->empty()) {
    handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
      const char* why = dlerror();
      *error = "cannot load " + libraryPath + ": " + (why != nullptr ? why : "unknown error");
    }
  }
  unlink(path.c_str());
  return handle;
}

void* FindSymbol(void* handle, const char* name) {
  return dlsym(handle, name);
}

}  // namespace simhost
