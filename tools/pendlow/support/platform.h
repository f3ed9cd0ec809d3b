// What the tool needs from the operating system beyond the C and C++ standard libraries:
// POSIX in platform_posix.cpp, Windows in platform_win.cpp.
#pragma once

#include <cstdint>
#include <string>

namespace pendlow {

// The plug-in library's file name, looked for beside the tool.
#if defined(_WIN32)
constexpr const char* kLibraryFileName = "Pendlow.dll";
constexpr const char* kPathSeparators = "/\\";
#else
constexpr const char* kLibraryFileName = "libPendlow.so";
constexpr const char* kPathSeparators = "/";
#endif

// Standard input, output and error carry bytes unchanged (Windows would otherwise turn "\n"
// into "\r\n" and stop reading at a Ctrl-Z).
void UseBinaryStandardStreams();

// The running executable's path; "" when it cannot be found.
std::string ExecutablePath();

// Which file an open descriptor or an existing path is, to tell two names of one file apart
// from two files. `known` is false when the system cannot say.
struct FileIdentity {
  bool known = false;
  uint64_t volume = 0;
  uint64_t index = 0;
  bool operator==(const FileIdentity& other) const {
    return known && other.known && volume == other.volume && index == other.index;
  }
};
FileIdentity IdentityOf(int fd);
FileIdentity IdentityOfPath(const std::string& path);

}  // namespace pendlow
