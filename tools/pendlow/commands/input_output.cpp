#include "commands/input_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/atomic_file.h"
#include "support/tool_error.h"
#include "support/write_all.h"

#if defined(_WIN32)
#define O_CLOEXEC _O_BINARY  // Windows: no descriptor inheritance flag, but no text mode either
#endif

namespace pendlow {

namespace {

// Reads until end of file; returns errno on failure, 0 on success.
int ReadAll(int fd, std::string* out) {
  char buffer[1 << 16];
  for (;;) {
    ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got == 0) return 0;
    if (got < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    out->append(buffer, static_cast<size_t>(got));
  }
}

[[noreturn]] void CannotRead(const std::string& name, int error) {
  throw ToolError(kExitUsage, "cannot read '" + name + "': " + std::strerror(error));
}

}  // namespace

Input ReadInput(const std::string& path) {
  Input input;
  if (path == "-") {
    input.name = "<stdin>";
    int error = ReadAll(STDIN_FILENO, &input.bytes);
    if (error != 0) CannotRead(input.name, error);
    return input;
  }
  input.name = path;
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    // Windows refuses to open a directory at all ("Permission denied"); say what it is.
    int error = errno;
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) error = EISDIR;
    CannotRead(path, error);
  }
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    int error = errno;
    ::close(fd);
    CannotRead(path, error);
  }
  if (S_ISDIR(info.st_mode)) {
    ::close(fd);
    CannotRead(path, EISDIR);
  }
  input.isFile = true;
  input.identity = IdentityOf(fd);
  if (S_ISREG(info.st_mode)) input.bytes.reserve(static_cast<size_t>(info.st_size));
  int error = ReadAll(fd, &input.bytes);
  ::close(fd);
  if (error != 0) CannotRead(path, error);
  return input;
}

void WriteOutput(const Options& options, const Input* input, std::string_view bytes) {
  if (options.output) {
    if (input != nullptr && input->isFile && IdentityOfPath(*options.output) == input->identity) {
      throw ToolError(kExitUsage,
                      "refusing to write the output over the input file '" + *options.output + "'");
    }
    WriteFileAtomically(*options.output, bytes);
    return;
  }
  if (int error = WriteAll(STDOUT_FILENO, bytes.data(), bytes.size())) {
    throw ToolError(kExitUsage,
                    std::string("cannot write standard output: ") + std::strerror(error));
  }
}

}  // namespace pendlow
