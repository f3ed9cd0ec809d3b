// Capture of the library's debug log on Windows. The library hands each entry to
// OutputDebugStringA. With no debugger attached, Windows passes such a string to the one
// debug-output monitor of the session through the DBWIN protocol: the monitor owns a 4096-byte
// shared mapping "DBWIN_BUFFER" and two auto-reset events; a writer waits for
// "DBWIN_BUFFER_READY", writes its process id and the text (at most 4091 bytes and a zero), and
// sets "DBWIN_DATA_READY"; the monitor reads and sets "DBWIN_BUFFER_READY" again.
//
// While a capture is open, this host is that monitor: a thread collects the strings of this
// process. Only one monitor can work in a session, so captures of different processes take
// turns through a named mutex. The outermost EndLogCapture waits until the monitor has read
// everything sent before it, then splits the text into lines as on POSIX, one entry per string.
#include <windows.h>

#include <cstring>
#include <string>
#include <thread>

#include "host_state.h"

namespace simhost {

struct DebugOutputMonitor {
  HANDLE turn = nullptr;  // the named mutex held for the whole capture
  HANDLE mapping = nullptr;
  const char* view = nullptr;
  HANDLE bufferReady = nullptr;
  HANDLE dataReady = nullptr;
  HANDLE stop = nullptr;
  std::thread reader;
  std::string text;  // this process's strings, each ending in a line feed

  void Read() {
    const DWORD self = GetCurrentProcessId();
    HANDLE waits[2] = {dataReady, stop};
    for (;;) {
      DWORD which = WaitForMultipleObjects(2, waits, FALSE, INFINITE);
      if (which != WAIT_OBJECT_0) return;
      DWORD pid;
      std::memcpy(&pid, view, sizeof pid);
      if (pid == self) {
        const char* s = view + sizeof pid;
        std::string entry(s, strnlen(s, 4096 - sizeof pid));
        // A string cut at the buffer's size has lost its line feed.
        if (entry.empty() || entry.back() != '\n') entry.push_back('\n');
        text += entry;
      }
      SetEvent(bufferReady);
    }
  }

  void Close() {
    if (dataReady != nullptr) CloseHandle(dataReady);
    if (bufferReady != nullptr) CloseHandle(bufferReady);
    if (view != nullptr) UnmapViewOfFile(view);
    if (mapping != nullptr) CloseHandle(mapping);
    if (stop != nullptr) CloseHandle(stop);
    if (turn != nullptr) {
      ReleaseMutex(turn);
      CloseHandle(turn);
    }
  }
};

namespace {

constexpr DWORD kBufferSize = 4096;

// Becomes the session's debug-output monitor; null when that is not possible (then the strings
// go wherever Windows sends them, and nothing is captured).
DebugOutputMonitor* StartMonitor() {
  auto* m = new DebugOutputMonitor;
  m->turn = CreateMutexA(nullptr, FALSE, "Local\\simhost-debug-output-monitor");
  DWORD waited = m->turn != nullptr ? WaitForSingleObject(m->turn, 120000) : WAIT_FAILED;
  if (waited != WAIT_OBJECT_0 && waited != WAIT_ABANDONED) {
    if (m->turn != nullptr) CloseHandle(m->turn);
    delete m;
    return nullptr;
  }
  m->mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kBufferSize,
                                  "DBWIN_BUFFER");
  bool another = GetLastError() == ERROR_ALREADY_EXISTS;  // a debugger or monitor of its own
  if (m->mapping != nullptr && !another) {
    m->view = static_cast<const char*>(MapViewOfFile(m->mapping, FILE_MAP_READ, 0, 0, 0));
  }
  m->bufferReady = CreateEventA(nullptr, FALSE, FALSE, "DBWIN_BUFFER_READY");
  m->dataReady = CreateEventA(nullptr, FALSE, FALSE, "DBWIN_DATA_READY");
  m->stop = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (another || m->view == nullptr || m->bufferReady == nullptr || m->dataReady == nullptr ||
      m->stop == nullptr) {
    m->Close();
    delete m;
    return nullptr;
  }
  m->reader = std::thread([m] { m->Read(); });
  SetEvent(m->bufferReady);
  return m;
}

// Waits until the monitor has read every string written so far, then ends it and returns what
// this process wrote.
std::string StopMonitor(DebugOutputMonitor* m) {
  // A writer takes "buffer ready" before it writes and the monitor gives it back only after
  // reading, so holding it means nothing written earlier is still unread.
  WaitForSingleObject(m->bufferReady, 10000);
  SetEvent(m->stop);
  m->reader.join();
  // Let a writer of another process that is already waiting go on (its string is not ours).
  SetEvent(m->bufferReady);
  std::string text = std::move(m->text);
  m->Close();
  delete m;
  return text;
}

}  // namespace

void Host::BeginLogCapture() {
  State& s = *state_;
  if (s.captureDepth++ > 0) return;
  s.monitor = StartMonitor();
}

void Host::EndLogCapture() {
  State& s = *state_;
  if (s.captureDepth == 0 || --s.captureDepth > 0) return;
  if (s.monitor == nullptr) return;
  std::string text = StopMonitor(s.monitor);
  s.monitor = nullptr;

  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    s.log.push_back(text.substr(start, end - start));
    start = end + 1;
  }
}

}  // namespace simhost
