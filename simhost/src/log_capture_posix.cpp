// Capture of the library's debug log. The library writes each entry as one line on standard
// error; while a capture is open, file descriptor 2 points at an anonymous temporary file,
// which the outermost EndLogCapture reads back line by line into Host::Log().
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host_state.h"

namespace simhost {

void Host::BeginLogCapture() {
  State& s = *state_;
  if (s.captureDepth++ > 0) return;
  std::fflush(stderr);
  const char* dir = std::getenv("TMPDIR");
  std::string path =
      std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/simhost-log-XXXXXX";
  int fd = mkstemp(path.data());
  if (fd < 0) return;  // no capture: the lines stay on standard error
  unlink(path.c_str());
  int saved = dup(2);
  if (saved < 0 || dup2(fd, 2) < 0) {
    if (saved >= 0) close(saved);
    close(fd);
    return;
  }
  s.captureFd = fd;
  s.savedStderr = saved;
}

void Host::EndLogCapture() {
  State& s = *state_;
  if (s.captureDepth == 0 || --s.captureDepth > 0) return;
  if (s.captureFd < 0) return;
  std::fflush(stderr);
  dup2(s.savedStderr, 2);
  close(s.savedStderr);
  s.savedStderr = -1;

  std::string text;
  char buffer[65536];
  lseek(s.captureFd, 0, SEEK_SET);
  for (ssize_t n; (n = read(s.captureFd, buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<size_t>(n));
  }
  close(s.captureFd);
  s.captureFd = -1;

  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      s.log.push_back(text.substr(start));  // a last line without its newline
      break;
    }
    s.log.push_back(text.substr(start, end - start));
    start = end + 1;
  }
}

}  // namespace simhost
