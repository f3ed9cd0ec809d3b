// Windows: the temporary file is written through, then moved over the target with
// MoveFileExA(MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH), which replaces the target in
// one step. A replaced file's attributes carry over to the new one, as the POSIX version keeps
// the mode. A read-only target is refused, as Windows itself refuses to replace it (clearing
// the attribute first would also clear it for every other name of the old file).
#include <windows.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "simhost/system_error_text.h"
#include "support/atomic_file.h"
#include "support/platform.h"
#include "support/tool_error.h"

namespace pendlow {

namespace {

// The C library's wording for the common failures, as on the other platforms; the system's
// own message for the rest.
std::string Reason(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_NETPATH:
      return std::strerror(ENOENT);
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_WRITE_PROTECT:
      return std::strerror(EACCES);
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return std::strerror(ENOSPC);
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return std::strerror(EEXIST);
    default:
      break;
  }
  return simhost::SystemErrorText(code);
}

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
  throw ToolError(kExitUsage, "cannot write '" + path + "': " + reason);
}

// Removes the temporary file unless it was moved into place.
class TemporaryFile {
 public:
  TemporaryFile(std::string path, HANDLE file) : path_(std::move(path)), file_(file) {}
  ~TemporaryFile() {
    if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
    if (!path_.empty()) DeleteFileA(path_.c_str());
  }
  HANDLE file() const { return file_; }
  const std::string& path() const { return path_; }
  bool Close() {
    bool ok = CloseHandle(file_) != 0;
    file_ = INVALID_HANDLE_VALUE;
    return ok;
  }
  void Keep() { path_.clear(); }

 private:
  std::string path_;
  HANDLE file_;
};

// Whether the name is a device (NUL, CON, a pipe ...) rather than a file on a disk. Opening
// with no access asks for nothing and changes nothing.
bool IsDevice(const std::string& path) {
  HANDLE probe = CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                             OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (probe == INVALID_HANDLE_VALUE) return false;
  DWORD type = GetFileType(probe);
  CloseHandle(probe);
  return type != FILE_TYPE_DISK && type != FILE_TYPE_UNKNOWN;
}

// A device is written through its own name: there is no file to move anything over.
void WriteInPlace(const std::string& path, std::string_view bytes) {
  HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                            nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) Fail(path, Reason(GetLastError()));
  const char* data = bytes.data();
  size_t left = bytes.size();
  while (left > 0) {
    DWORD chunk = left > (1u << 30) ? (1u << 30) : static_cast<DWORD>(left);
    DWORD written = 0;
    if (!WriteFile(file, data, chunk, &written, nullptr)) {
      DWORD error = GetLastError();
      CloseHandle(file);
      Fail(path, Reason(error));
    }
    data += written;
    left -= written;
  }
  CloseHandle(file);
}

}  // namespace

void WriteFileAtomically(const std::string& path, std::string_view bytes) {
  if (IsDevice(path)) {
    WriteInPlace(path, bytes);
    return;
  }
  DWORD existing = GetFileAttributesA(path.c_str());
  bool exists = existing != INVALID_FILE_ATTRIBUTES;
  if (exists && (existing & FILE_ATTRIBUTE_DIRECTORY) != 0) Fail(path, std::strerror(EISDIR));
  if (exists && (existing & FILE_ATTRIBUTE_READONLY) != 0) Fail(path, std::strerror(EACCES));

  size_t slash = path.find_last_of(kPathSeparators);
  std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  if (directory.size() > 1 && (directory.back() == '/' || directory.back() == '\\')) {
    directory.pop_back();
  }
  // A fresh name beside the target; CREATE_NEW never opens a file that is already there.
  HANDLE file = INVALID_HANDLE_VALUE;
  std::string temporaryPath;
  DWORD seed = GetTickCount() ^ (GetCurrentProcessId() << 16);
  for (int attempt = 0; attempt < 100 && file == INVALID_HANDLE_VALUE; ++attempt) {
    char suffix[16];
    seed = seed * 1103515245u + 12345u;
    std::snprintf(suffix, sizeof suffix, "%06lx", static_cast<unsigned long>(seed >> 8 & 0xFFFFFF));
    temporaryPath = directory + "/." + base + ".pendlow-" + suffix;
    file = CreateFileA(temporaryPath.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_EXISTS) break;
  }
  if (file == INVALID_HANDLE_VALUE) Fail(path, Reason(GetLastError()));
  TemporaryFile temporary(temporaryPath, file);

  const char* data = bytes.data();
  size_t left = bytes.size();
  while (left > 0) {
    DWORD chunk = left > (1u << 30) ? (1u << 30) : static_cast<DWORD>(left);
    DWORD written = 0;
    if (!WriteFile(temporary.file(), data, chunk, &written, nullptr)) {
      Fail(path, Reason(GetLastError()));
    }
    data += written;
    left -= written;
  }
  if (!FlushFileBuffers(temporary.file())) Fail(path, Reason(GetLastError()));
  if (!temporary.Close()) Fail(path, Reason(GetLastError()));

  if (!MoveFileExA(temporary.path().c_str(), path.c_str(),
                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    Fail(path, Reason(GetLastError()));
  }
  temporary.Keep();
  if (exists) SetFileAttributesA(path.c_str(), existing);
}

}  // namespace pendlow
