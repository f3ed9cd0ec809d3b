// The shared harness of the in-process fuzz targets. The library is linked statically and bound
// to one strict simulated host through a resolver that forwards every service to the host; it
// only watches the StyledText method StyleRun so that the StyleRun objects the getter keeps can be
// counted and given back after each call.
#include "fuzz_host.h"

#include <sanitizer/common_interface_defs.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/debug_log.h"
#include "frame/host_contract.h"
#include "frame/host_services.h"
#include "frame/registration.h"

namespace fuzzhost {
namespace {

constexpr double kDefaultVersion = 2021.03;
constexpr const char* kStyleRunMethod = host_contract::kStyleRunDeclaration;

typedef void*(RBCALL* LoadObjectMethodFn)(REALobject, const char*);

LoadObjectMethodFn gLoadObjectMethod = nullptr;
HostIndexGetter gStyleRunMethod = nullptr;
std::vector<REALobject> gFetchedRuns;

int gStderrCopy = -1;  // the real standard error, for reports
bool gShowLog = false;
FILE* gRealStderr = nullptr;
FILE* gLogSink = nullptr;  // takes the debug log and drops it

ssize_t DropLog(void*, const char*, size_t size) {
  return static_cast<ssize_t>(size);
}

REALobject RBCALL StyleRunSpy(REALobject styledText, RBInteger index) {
  REALobject run = gStyleRunMethod(styledText, index);
  if (run != nullptr) gFetchedRuns.push_back(run);
  return run;
}

void* RBCALL LoadObjectMethodSpy(REALobject object, const char* declaration) {
  void* method = gLoadObjectMethod(object, declaration);
  if (method == nullptr || std::strcmp(declaration, kStyleRunMethod) != 0) return method;
  gStyleRunMethod = reinterpret_cast<HostIndexGetter>(method);
  return reinterpret_cast<void*>(&StyleRunSpy);
}

void* RBCALL SpyResolve(const char* name) {
  void* entry = simhost::Host::Resolve(name);
  if (entry == nullptr || std::strcmp(name, host_contract::kREALLoadObjectMethodName) != 0)
    return entry;
  gLoadObjectMethod = reinterpret_cast<LoadObjectMethodFn>(entry);
  return reinterpret_cast<void*>(&LoadObjectMethodSpy);
}

simhost::Host* MakeHost() {
  simhost::Options options;
  options.strict = true;
  options.captureLog = false;
  options.version = kDefaultVersion;
  auto* host = new simhost::Host(options);  // lives as long as the process
  gResolver = &SpyResolve;
  rbversion = kDefaultVersion;
  DebuggingEnabled = false;

  gShowLog = std::getenv("PENDLOW_FUZZ_SHOW_LOG") != nullptr;
  gStderrCopy = dup(2);
  // The library writes its log lines to the C stream stderr and flushes each one: a stream
  // that drops what it is given takes them without a system call per line. (The C library
  // lets a program assign its standard streams.)
  cookie_io_functions_t drop{};
  drop.write = &DropLog;
  gLogSink = fopencookie(nullptr, "w", drop);
  gRealStderr = stderr;
  // Reports of the sanitizers go to the real standard error whatever the streams do.
  if (gStderrCopy >= 0) __sanitizer_set_report_fd(reinterpret_cast<void*>(intptr_t{gStderrCopy}));
  return host;
}

}  // namespace

simhost::Host& TheHost() {
  static simhost::Host* host = MakeHost();
  return *host;
}

void Fail(const char* what, const std::string& detail) {
  const int fd = gStderrCopy >= 0 ? gStderrCopy : 2;
  dprintf(fd, "\n==pendlow-fuzz== %s%s%s\n", what, detail.empty() ? "" : ": ", detail.c_str());
  std::abort();
}

double HostVersion(uint8_t choice) {
  // A host before 2012 labels plain bytes, 2012 builds with an encoding, 2013 on takes UTF-32.
  static const double kVersions[] = {kDefaultVersion, 2013.04, 2012.02, 2011.04};
  return kVersions[choice % 4];
}

uint32_t EncodingAt(uint8_t index) {
  static const uint32_t kEncodings[kEncodingCount] = {
      // The host's own labels, then the Unicode forms (the order is the corpus's numbering).
      kREALTextEncodingUTF8, kREALTextEncodingWindowsLatin1, kREALTextEncodingMacRoman,
      kREALTextEncodingISOLatin1, kREALTextEncodingASCII, kREALTextEncodingUnknown,
      kREALTextEncodingUTF16, kREALTextEncodingUTF16BE, kREALTextEncodingUTF16LE,
      kREALTextEncodingUTF32, kREALTextEncodingUTF32BE, kREALTextEncodingUTF32LE,
      // Code pages.
      0x0400,  // DOS Latin US
      0x0410,  // DOS Latin 1
      0x041B,  // DOS Russian
      0x041D,  // Thai
      0x0420,  // Shift_JIS
      0x0421,  // GBK
      0x0422,  // Korean
      0x0423,  // Big5
      0x0501,  // Windows-1250
      0x0502,  // Windows-1251
      0x0503,  // Windows-1253
      0x0504,  // Windows-1254
      0x0505,  // Windows-1255
      0x0506,  // Windows-1256
      0x0507,  // Windows-1257
      0x0508,  // Windows-1258
      0x0510,  // Johab
      0x0001,  // Mac Japanese
      0x0004,  // Mac Arabic
      0x0005,  // Mac Hebrew
      0x0006,  // Mac Greek
      0x0007,  // Mac Cyrillic
      0x001D,  // Mac Central European
      0x0023,  // Mac Turkish
  };
  return kEncodings[index % kEncodingCount];
}

Handles Count() {
  simhost::Host& host = TheHost();
  return Handles{host.LiveStrings(), host.LiveObjects()};
}

const std::vector<REALobject>& FetchedRuns() {
  return gFetchedRuns;
}

void ReleaseFetchedRuns() {
  simhost::Host& host = TheHost();
  for (REALobject run : gFetchedRuns) host.Release(run);
  gFetchedRuns.clear();
}

void CheckAfterSetter(const Handles& before) {
  simhost::Host& host = TheHost();
  const Handles after = Count();
  if (after.strings != before.strings)
    Fail("host strings alive after the setter",
         std::to_string(before.strings) + " -> " + std::to_string(after.strings));
  if (after.objects != before.objects)
    Fail("host objects alive after the setter",
         std::to_string(before.objects) + " -> " + std::to_string(after.objects));
  if (host.LiveStringData() != 0) Fail("string data record kept after the setter");
  if (!gFetchedRuns.empty()) Fail("the setter fetched StyleRun objects");
}

void CheckAfterGetter(const Handles& before, REALstring result) {
  simhost::Host& host = TheHost();
  const Handles after = Count();
  const size_t strings = before.strings + (result != nullptr ? 1 : 0);
  const size_t objects = before.objects + gFetchedRuns.size();
  if (after.strings != strings)
    Fail("host strings alive after the getter",
         "expected " + std::to_string(strings) + ", found " + std::to_string(after.strings));
  if (after.objects != objects)
    Fail("host objects alive after the getter",
         "expected " + std::to_string(objects) + ", found " + std::to_string(after.objects));
  if (host.LiveStringData() != 0) Fail("string data record kept after the getter");
  for (REALobject run : gFetchedRuns) {
    if (host.RefCount(run) != 1) Fail("fetched StyleRun with a reference count other than 1");
  }
  if (result != nullptr && host.RefCount(result) != 1)
    Fail("getter result with a reference count other than 1");
}

DebugLogScope::DebugLogScope(bool on) : on_(on) {
  if (!on_) return;
  DebuggingEnabled = true;
  if (!gShowLog && gLogSink != nullptr) {
    std::fflush(stderr);
    stderr = gLogSink;
  }
}

DebugLogScope::~DebugLogScope() {
  if (!on_) return;
  DebuggingEnabled = false;
  if (!gShowLog && gLogSink != nullptr) {
    std::fflush(stderr);
    stderr = gRealStderr;
  }
}

HostVersionScope::HostVersionScope(double version) : saved_(rbversion) {
  rbversion = version;
}
HostVersionScope::~HostVersionScope() {
  rbversion = saved_;
}

}  // namespace fuzzhost
