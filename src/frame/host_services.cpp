// The resolver every cached wrapper asks, the entry points it found, and the one wrapper that
// takes two services.
#include "frame/host_services.h"

REALResolver gResolver = nullptr;

void ResetHostEntryPoints() {
  gHostEntryPoints = HostEntryPoints{};
}

const char* REALGetStringContents(REALstring s, int64_t* length) {
  // The bytes come from the host's C string service, the byte count from the framework's
  // global LenB; both are kept once found.
  auto getBytes = host_detail::StringGetCString();
  void*& lenB = gHostEntryPoints.globalLenB;
  if (lenB == nullptr) lenB = REALLoadFrameworkMethod(nullptr, host_contract::kLenBDeclaration);
  int64_t count = 0;
  if (lenB != nullptr) count = reinterpret_cast<HostStringMeasure>(lenB)(s);
  if (length != nullptr) *length = count;
  return getBytes != nullptr ? static_cast<const char*>(getBytes(s)) : nullptr;
}
