// Private copies through LoadLibrary. Windows keeps a loaded DLL's file open, so a copy can only
// be deleted once no process has it loaded: copies are named "pendlow-plugin-<process>-<n>.dll"
// in the temporary folder, the first load of a process deletes the copies that earlier
// processes left behind (those still loaded elsewhere refuse), and a process that ends normally
// unloads and deletes its own.
#include <windows.h>

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "plugin_loader.h"

namespace simhost {
namespace {

std::string LastErrorText(DWORD code) {
  char* text = nullptr;
  DWORD n = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  std::string result = n > 0 ? std::string(text, n) : "error " + std::to_string(code);
  if (text != nullptr) LocalFree(text);
  while (!result.empty() && (result.back() == '\n' || result.back() == '\r' ||
                             result.back() == ' ' || result.back() == '.')) {
    result.pop_back();
  }
  return result;
}

std::string TemporaryFolder() {
  char buffer[MAX_PATH + 1];
  DWORD n = GetTempPathA(sizeof buffer, buffer);
  return n > 0 && n < sizeof buffer ? std::string(buffer, n) : std::string(".\\");
}

// The copies this process loaded; unloaded and deleted when the process ends normally.
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
  Copies() {
    // Copies of processes that are gone (crashed, killed, or ended without running exit
    // handlers); a copy still loaded by a live process cannot be deleted and stays.
    WIN32_FIND_DATAA found;
    std::string folder = TemporaryFolder();
    HANDLE search = FindFirstFileA((folder + "pendlow-plugin-*.dll").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
      DeleteFileA((folder + found.cFileName).c_str());
    } while (FindNextFileA(search, &found));
    FindClose(search);
  }
  std::mutex mutex_;
  std::vector<std::pair<HMODULE, std::string>> loaded_;
};

}  // namespace

void* LoadPrivateCopy(const std::string& libraryPath, std::string* error) {
  Copies& copies = Copies::Get();
  static std::atomic<unsigned> counter{0};
  std::string path = TemporaryFolder() + "pendlow-plugin-" + std::to_string(GetCurrentProcessId()) +
                     "-" + std::to_string(counter++) + ".dll";
  if (!CopyFileA(libraryPath.c_str(), path.c_str(), TRUE)) {
    DWORD code = GetLastError();
    *error = code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND
                 ? "cannot open " + libraryPath + ": " + LastErrorText(code)
                 : "cannot create a copy of the library: " + LastErrorText(code);
    return nullptr;
  }
  // No error dialog box for a file that is not a DLL.
  UINT oldMode = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  HMODULE module = LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  DWORD code = GetLastError();
  SetErrorMode(oldMode);
  if (module == nullptr) {
    DeleteFileA(path.c_str());
    *error = "cannot load " + libraryPath + ": " + LastErrorText(code);
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
