#include <sys/stat.h>
#include <unistd.h>

#include <climits>

#include "support/platform.h"

namespace pendlow {

namespace {

FileIdentity FromStat(const struct stat& info) {
  FileIdentity id;
  id.known = true;
  id.volume = static_cast<uint64_t>(info.st_dev);
  id.index = static_cast<uint64_t>(info.st_ino);
  return id;
}

}  // namespace

void UseBinaryStandardStreams() {}

std::string ExecutablePath() {
  char buffer[PATH_MAX];
  ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  return length > 0 ? std::string(buffer, static_cast<size_t>(length)) : std::string();
}

FileIdentity IdentityOf(int fd) {
  struct stat info {};
  return ::fstat(fd, &info) == 0 ? FromStat(info) : FileIdentity();
}

FileIdentity IdentityOfPath(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? FromStat(info) : FileIdentity();
}

}  // namespace pendlow
