// Loading the built library the way the IDE does: open it, call REALPluginMain with the
// resolver, and find the member it registered.
#include <cstdlib>

#include "host_state.h"
#include "plugin_loader.h"

#ifndef PENDLOW_DEFAULT_LIBRARY
#if defined(_WIN32)
#define PENDLOW_DEFAULT_LIBRARY "Pendlow.dll"
#else
#define PENDLOW_DEFAULT_LIBRARY "libPendlow.so"
#endif
#endif

namespace simhost {
namespace {

typedef void(RBCALL* PluginMainFn)(REALResolver);
typedef REALstring(RBCALL* GetterFn)(REALobject, RBBoolean);
typedef void(RBCALL* SetterFn)(REALobject, RBBoolean, REALstring);
typedef RBBoolean(RBCALL* DebugGetterFn)();
typedef void(RBCALL* DebugSetterFn)(RBBoolean);

// Runs a call into the library inside a log capture when the host wants one.
template <typename F>
auto Captured(Host& host, F f) -> decltype(f()) {
  struct Scope {
    Host& host;
    bool on;
    ~Scope() {
      if (on) host.EndLogCapture();
    }
  } scope{host, host.options().captureLog};
  if (scope.on) host.BeginLogCapture();
  return f();
}

}  // namespace

std::string Plugin::DefaultLibraryPath() {
  const char* path = std::getenv("PENDLOW_LIBRARY");
  return path != nullptr && *path != '\0' ? std::string(path)
                                          : std::string(PENDLOW_DEFAULT_LIBRARY);
}

Plugin::Plugin(Host& host, const std::string& libraryPath) : host_(host) {
  // A private copy: the dynamic loader shares one instance per file, and each Plugin must start
  // with fresh globals and service caches.
  handle_ = LoadPrivateCopy(libraryPath, &error_);
  if (handle_ == nullptr) return;

  auto pluginMain = reinterpret_cast<PluginMainFn>(FindSymbol(handle_, "REALPluginMain"));
  if (pluginMain == nullptr) {
    error_ = libraryPath + " lacks REALPluginMain";
    return;
  }
  size_t before = host_.Registrations().size();
  Captured(host_, [&] { pluginMain(&Host::Resolve); });

  const std::vector<Registration>& all = host_.Registrations();
  if (all.size() == before) return;
  const Registration& r = all.back();
  if (r.kind == Registration::Kind::kClassExtension) {
    if (!r.methods.empty()) {
      getter_ = r.methods[0].function;
      setter_ = r.methods[0].setter;
    }
  } else {
    // The module form: the setter is its own method with an "assigns" parameter.
    for (const MethodRecord& m : r.methods) {
      if (m.declaration.find("assigns") != std::string::npos) {
        setter_ = m.function;
      } else {
        getter_ = m.function;
      }
    }
    for (const PropertyRecord& p : r.properties) {
      if (p.name == "Debugging") {
        debugGetter_ = p.getter;
        debugSetter_ = p.setter;
      }
    }
  }
}

// The IDE never unloads a plug-in: the registration records it handed over must stay valid
// for the life of the process. Keeping the private copy mapped does the same here, and keeps
// those records reachable for leak checkers.
Plugin::~Plugin() = default;

bool Plugin::loaded() const {
  return handle_ != nullptr && error_.empty();
}

const std::string& Plugin::error() const {
  return error_;
}

void* Plugin::Symbol(const char* name) const {
  return handle_ != nullptr ? FindSymbol(handle_, name) : nullptr;
}

bool Plugin::HasMember() const {
  return getter_ != nullptr || setter_ != nullptr;
}

REALstring Plugin::GetRaw(REALobject styledText, bool skipParagraphs) {
  if (getter_ == nullptr) return nullptr;
  auto getter = reinterpret_cast<GetterFn>(getter_);
  return Captured(host_, [&] { return getter(styledText, skipParagraphs ? 1 : 0); });
}

std::string Plugin::Get(REALobject styledText, bool skipParagraphs) {
  REALstring result = GetRaw(styledText, skipParagraphs);
  if (result == nullptr) return std::string();
  std::string text = host_.UTF8Of(result);
  host_.Release(result);
  return text;
}

void Plugin::SetRaw(REALobject styledText, bool skipParagraphs, REALstring value) {
  if (setter_ == nullptr) return;
  auto setter = reinterpret_cast<SetterFn>(setter_);
  Captured(host_, [&] { setter(styledText, skipParagraphs ? 1 : 0, value); });
}

void Plugin::Set(REALobject styledText, std::string_view rtf, bool skipParagraphs,
                 Encoding encoding) {
  REALstring value = host_.NewString(rtf, encoding);
  SetRaw(styledText, skipParagraphs, value);
  host_.Release(value);
}

bool Plugin::HasDebugging() const {
  return debugGetter_ != nullptr;
}

bool Plugin::Debugging() {
  if (debugGetter_ == nullptr) return false;
  auto getter = reinterpret_cast<DebugGetterFn>(debugGetter_);
  return Captured(host_, [&] { return getter(); }) != 0;
}

void Plugin::SetDebugging(bool on) {
  if (debugSetter_ == nullptr) return;
  auto setter = reinterpret_cast<DebugSetterFn>(debugSetter_);
  Captured(host_, [&] { setter(on ? 1 : 0); });
}

}  // namespace simhost
