#include "support/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/tool_error.h"
#include "support/write_all.h"

namespace pendlow {

namespace {

[[noreturn]] void Fail(const std::string& path, int error) {
  throw ToolError(kExitUsage, "cannot write '" + path + "': " + std::strerror(error));
}

// Removes the temporary file unless it was renamed into place.
class TemporaryFile {
 public:
  TemporaryFile(std::string path, int fd) : path_(std::move(path)), fd_(fd) {}
  ~TemporaryFile() {
    if (fd_ >= 0) ::close(fd_);
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  int fd() const { return fd_; }
  const std::string& path() const { return path_; }
  int Close() {
    int result = ::close(fd_);
    fd_ = -1;
    return result;
  }
  void Keep() { path_.clear(); }

 private:
  std::string path_;
  int fd_;
};

// Devices, FIFOs and sockets are written through their own name: renaming a file over them
// would replace the node itself (as root even /dev/null).
void WriteInPlace(const std::string& requested, const std::string& path, std::string_view bytes) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) Fail(requested, errno);
  if (int error = WriteAll(fd, bytes.data(), bytes.size())) {
    ::close(fd);
    Fail(requested, error);
  }
  if (::close(fd) != 0) Fail(requested, errno);
}

}  // namespace

void WriteFileAtomically(const std::string& requested, std::string_view bytes) {
  // A symbolic link is followed: the file it points to gets the new content, the link stays.
  std::string path = requested;
  struct stat linkInfo {};
  if (::lstat(path.c_str(), &linkInfo) == 0 && S_ISLNK(linkInfo.st_mode)) {
    char resolved[PATH_MAX];
    if (::realpath(path.c_str(), resolved) != nullptr) path = resolved;
  }

  struct stat existing {};
  bool exists = ::stat(path.c_str(), &existing) == 0;
  if (exists && S_ISDIR(existing.st_mode)) Fail(requested, EISDIR);
  if (exists && !S_ISREG(existing.st_mode)) {
    WriteInPlace(requested, path, bytes);
    return;
  }

  size_t slash = path.rfind('/');
  std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  if (directory.size() > 1 && directory.back() == '/') directory.pop_back();
  std::string pattern = directory + "/." + base + ".pendlow-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  int fd = ::mkstemp(name.data());
  if (fd < 0) Fail(requested, errno);
  TemporaryFile temporary(name.data(), fd);

  // Keep the mode of a file being replaced; a new file gets the usual 0666 less the umask.
  mode_t mode;
  if (exists) {
    mode = existing.st_mode & 07777;
  } else {
    mode_t mask = ::umask(0);
    ::umask(mask);
    mode = 0666 & ~mask;
  }
  if (::fchmod(temporary.fd(), mode) != 0) Fail(requested, errno);

  const char* data = bytes.data();
  size_t left = bytes.size();
  while (left > 0) {
    ssize_t written = ::write(temporary.fd(), data, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      Fail(requested, errno);
    }
    data += written;
    left -= static_cast<size_t>(written);
  }
  if (::fsync(temporary.fd()) != 0) Fail(requested, errno);
  if (temporary.Close() != 0) Fail(requested, errno);
  if (::rename(temporary.path().c_str(), path.c_str()) != 0) Fail(requested, errno);
  temporary.Keep();

  // Make the rename itself durable.
  int dirFd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirFd >= 0) {
    ::fsync(dirFd);
    ::close(dirFd);
  }
}

}  // namespace pendlow
