// Private copies through LoadLibrary. Windows keeps a loaded DLL's file open and refuses to
// delete it, and a plug-in stays loaded for the life of the process (as in the IDE). So copies
// are named "pendlow-plugin-<process id>-<n>.dll" in the temporary folder; a process that ends
// normally unloads and deletes its own at exit, and the first load of a process deletes the
// copies of processes that ended otherwise.
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

#include "plugin_loader.h"
#include "simhost/system_error_text.h"

namespace simhost {
namespace {

std::string TemporaryFolder() {
  char buffer[MAX_PATH + 1];
  DWORD n = GetTempPathA(sizeof buffer, buffer);
  return n > 0 && n < sizeof buffer ? std::string(buffer, n) : std::string(".\\");
}

// Whether a process of that id is running.
bool Running(DWORD pid) {
  HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
  if (process == nullptr) return GetLastError() == ERROR_ACCESS_DENIED;
  DWORD code = 0;
  bool running = GetExitCodeProcess(process, &code) && code == STILL_ACTIVE;
  CloseHandle(process);
  return running;
}

// Deletes the copies left behind by processes that have ended without their exit handlers
// (crashed, killed, or ended from inside a test).
void DeleteStaleCopies() {
  const std::string folder = TemporaryFolder();
  const std::string prefix = "pendlow-plugin-";
  WIN32_FIND_DATAA found;
  HANDLE search = FindFirstFileA((folder + prefix + "*.dll").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return;
  do {
    const std::string name = found.cFileName;
    char* end = nullptr;
    unsigned long pid = std::strtoul(name.c_str() + prefix.size(), &end, 10);
    // This process has made no copy yet: one with its id is from an earlier process.
    if (end == nullptr || *end != '-' ||
        (pid != GetCurrentProcessId() && Running(static_cast<DWORD>(pid)))) {
      continue;
    }
    DeleteFileA((folder + name).c_str());  // fails harmlessly for a copy still loaded
  } while (FindNextFileA(search, &found));
  FindClose(search);
}

// The copies this process loaded, unloaded and deleted at exit (after main, when no host is
// left to call into them).
class Copies {
 public:
  static Copies& Get() {
    static Copies copies;
    return copies;
  }
  void Add(HMODULE module, std::string path) {
    std::lock_guard<std::mutex> lock(mutex_);
    loaded_.emplace_back(module, std::move(path));
  }
  ~Copies() {
    for (auto& copy : loaded_) {
      FreeLibrary(copy.first);
      DeleteFileA(copy.second.c_str());
    }
  }

 private:
  Copies() { DeleteStaleCopies(); }
  std::mutex mutex_;
  std::vector<std::pair<HMODULE, std::string>> loaded_;
};

}  // namespace

void* LoadPrivateCopy(const std::string& libraryPath, std::string* error) {
  Copies& copies = Copies::Get();
  static std::atomic<unsigned> counter{0};
  std::string path;
  BOOL copied = FALSE;
  do {  // a name still taken (a copy that could not be deleted) is skipped
    path = TemporaryFolder() + "pendlow-plugin-" + std::to_string(GetCurrentProcessId()) + "-" +
           std::to_string(counter++) + ".dll";
    copied = CopyFileA(libraryPath.c_str(), path.c_str(), TRUE);
  } while (!copied &&
           (GetLastError() == ERROR_FILE_EXISTS || GetLastError() == ERROR_ALREADY_EXISTS));
  if (!copied) {
    DWORD code = GetLastError();
    *error = code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND
                 ? "cannot open " + libraryPath + ": " + SystemErrorText(code)
                 : "cannot create a copy of the library: " + SystemErrorText(code);
    return nullptr;
  }
  // No error dialog box for a file that is not a DLL.
  UINT oldMode = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  HMODULE module = LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  DWORD code = GetLastError();
  SetErrorMode(oldMode);
  if (module == nullptr) {
    DeleteFileA(path.c_str());
    *error = "cannot load " + libraryPath + ": " + SystemErrorText(code);
    return nullptr;
  }
  copies.Add(module, path);
  error->clear();
  return reinterpret_cast<void*>(module);
}

void* FindSymbol(void* handle, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}

}  // namespace simhost
