#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "support/platform.h"

namespace pendlow {

namespace {

FileIdentity FromHandle(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION info;
  FileIdentity id;
  if (file == INVALID_HANDLE_VALUE || !GetFileInformationByHandle(file, &info)) return id;
  id.known = true;
  id.volume = info.dwVolumeSerialNumber;
  id.index = static_cast<uint64_t>(info.nFileIndexHigh) << 32 | info.nFileIndexLow;
  return id;
}

}  // namespace

void UseBinaryStandardStreams() {
  for (int fd = 0; fd <= 2; ++fd) _setmode(fd, _O_BINARY);
}

std::string ExecutablePath() {
  char buffer[MAX_PATH * 4];
  DWORD length = GetModuleFileNameA(nullptr, buffer, sizeof buffer);
  return length > 0 && length < sizeof buffer ? std::string(buffer, length) : std::string();
}

FileIdentity IdentityOf(int fd) {
  return FromHandle(reinterpret_cast<HANDLE>(_get_osfhandle(fd)));
}

FileIdentity IdentityOfPath(const std::string& path) {
  // Opened for no access at all, which even a file locked by another program allows; the
  // backup flag lets this open directories too.
  HANDLE file = CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return FileIdentity();
  FileIdentity id = FromHandle(file);
  CloseHandle(file);
  return id;
}

}  // namespace pendlow
