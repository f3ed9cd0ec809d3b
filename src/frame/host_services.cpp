// The resolver every cached wrapper asks, and the one wrapper that takes two services.
#include "frame/host_services.h"

REALResolver gResolver = nullptr;

const char* REALGetStringContents(REALstring s, int64_t* length) {
  // Its own two caches: the bytes come from "StringGetCString", the byte count from the
  // framework's global LenB.
  static HostEntry cstring{"StringGetCString", nullptr};
  static HostStringMeasure lenB = nullptr;
  auto getBytes = host_detail::Resolve<host_detail::CStringFn>(cstring);
  if (lenB == nullptr) {
    lenB = reinterpret_cast<HostStringMeasure>(
        REALLoadFrameworkMethod(nullptr, "LenB( s as string ) as integer"));
  }
  int64_t count = 0;
  if (lenB != nullptr) count = lenB(s);
  if (length != nullptr) *length = count;
  return getBytes != nullptr ? static_cast<const char*>(getBytes(s)) : nullptr;
}
