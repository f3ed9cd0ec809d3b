// Building host strings. Hosts before 2012 build plain bytes and label them afterwards, hosts
// from 2012 build with an encoding, hosts from 2013 also take UTF-32. UTF-16 and UTF-32 input
// is converted to UTF-8 by the host before it is handed back.
#include "bridge/host_string_build.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "bridge/ascii_check.h"
#include "bridge/host_exceptions.h"
#include "frame/debug_log.h"
#include "frame/host_services.h"
#include "frame/host_version.h"

namespace {

constexpr int64_t kMaxHostLength = 0x80000000LL;  // host builders take a 32-bit length

// UTF-32 input up to this many bytes is converted without a heap allocation.
constexpr int64_t kLocalUTF32Bytes = 799;
// Two UTF-16 units for each of the 199 code points plus the terminator.
constexpr size_t kLocalUTF16Units = 2 * (kLocalUTF32Bytes / 4) + 1;

// The bytes built as a host string in the given encoding.
inline REALstring BuildWithEncoding(const char* bytes, int32_t length, uint32_t encoding) {
  if (rbversion >= kHostBuildsEncodedStrings)
    return REALBuildStringWithEncoding(bytes, length, encoding);
  REALstring s = originalREALBuildString(bytes, length);
  if (s == nullptr) return nullptr;
  REALSetStringEncoding(s, encoding);
  return s;
}

// Builds UTF-16 or UTF-32 (encoding) bytes and hands back the host's UTF-8 conversion.
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline REALstring
BuildAsUTF8(const char* bytes, int32_t length, uint32_t encoding) {
  if (rbversion >= kHostBuildsEncodedStrings) {
    REALstring s = REALBuildStringWithEncoding(bytes, length, encoding);
    REALstring r = REALConvertString(s, kREALTextEncodingUTF8);
    if (s != nullptr) REALUnlockString(s);
    return r;
  }
  REALstring s = originalREALBuildString(bytes, length);
  if (s == nullptr) {
    DebugLog("Out of memory in REALBuildUnicodeStringUTF16.");
    return nullptr;
  }
  REALSetStringEncoding(s, encoding);
  REALstring r = REALConvertString(s, kREALTextEncodingUTF8);
  REALUnlockString(s);
  return r;
}

// Hosts before 2013 know no UTF-32: convert to UTF-16 here and build that.
REALstring BuildUTF32AsUTF16(const char* data, int64_t count) {
  int64_t n = count / 4;  // trailing partial units are ignored
  uint16_t local[kLocalUTF16Units];
  std::unique_ptr<uint16_t, decltype(&std::free)> heap(nullptr, &std::free);
  uint16_t* units = local;
  if (count > kLocalUTF32Bytes) {
    // Two units per code point at most, plus the terminator.
    heap.reset(static_cast<uint16_t*>(std::calloc(static_cast<size_t>(n) * 2 + 1, 2)));
    if (!heap) {
      DebugLog("Out of memory in REALBuildUnicodeStringUTF32.");
      return nullptr;
    }
    units = heap.get();
  }

  int64_t written = 0;
  for (int64_t i = 0; i < n; ++i) {
    uint32_t value;
    std::memcpy(&value, data + i * 4, sizeof value);
    if (value < 0x10000) {
      if (value >= 0xD800 && value <= 0xDFFF) continue;  // lone surrogate
      units[written++] = static_cast<uint16_t>(value);
    } else if (value <= 0x10FFFF) {
      units[written++] = static_cast<uint16_t>(0xD800 + ((value - 0x10000) >> 10));
      units[written++] = static_cast<uint16_t>(0xDC00 + (value & 0x3FF));
    } else {
      units[written++] = 0xFFFD;
    }
  }
  units[written] = 0;

  // Also the empty result is built: 1 to 3 bytes give an empty string, not null.
  auto length = static_cast<int32_t>(written * 2);
  return BuildAsUTF8(reinterpret_cast<const char*>(units), length, kREALTextEncodingUTF16);
}

}  // namespace

REALstringStruct* REALBuildUnicodeString(const void* data, int64_t count, uint32_t encoding) {
  return WithHostExceptionGuard<REALstringStruct*>(nullptr, [&]() -> REALstringStruct* {
    if (data == nullptr || count < 1) return nullptr;
    if (count >= kMaxHostLength) {
      DebugLog("Count too big for REALBuildUnicodeString.");
      return nullptr;
    }
    const char* bytes = static_cast<const char*>(data);
    auto length = static_cast<int32_t>(count);

    switch (encoding) {
      case kREALTextEncodingMacRoman:
      case kREALTextEncodingISOLatin1:
      case kREALTextEncodingWindowsLatin1:
      case kREALTextEncodingUnknown:
        // Pure ASCII is labelled as such so the host never has to convert it.
        if (AllASCII(static_cast<const uint8_t*>(data), count)) encoding = kREALTextEncodingASCII;
        break;
      case kREALTextEncodingASCII:
      case kREALTextEncodingUTF8:
        break;
      case kREALTextEncodingUTF16:
        return BuildAsUTF8(bytes, length, kREALTextEncodingUTF16);
      case kREALTextEncodingUTF32:
        if (rbversion >= kHostBuildsUTF32Strings)
          return BuildAsUTF8(bytes, length, kREALTextEncodingUTF32);
        return BuildUTF32AsUTF16(bytes, count);
      default:
        DebugLogUInt("Unknown encoding in REALBuildUnicodeString", encoding);
        break;
    }
    return BuildWithEncoding(bytes, length, encoding);
  });
}

REALstringStruct* BuildByteString(const char* bytes, size_t length, uint32_t encoding) {
  const bool asciiBased =
      encoding == kREALTextEncodingWindowsLatin1 || encoding == kREALTextEncodingMacRoman ||
      encoding == kREALTextEncodingISOLatin1 || encoding == kREALTextEncodingUnknown;
  if (!asciiBased || length == 0 || length >= static_cast<uint64_t>(kMaxHostLength))
    return REALBuildUnicodeString(bytes, static_cast<int64_t>(length), encoding);
  // Pure ASCII is labelled as such so the host never has to convert it.
  if (AllASCII(reinterpret_cast<const uint8_t*>(bytes), static_cast<int64_t>(length)))
    encoding = kREALTextEncodingASCII;
  return WithHostExceptionGuard<REALstringStruct*>(
      nullptr, [bytes, length, encoding]() -> REALstringStruct* {
        return BuildWithEncoding(bytes, static_cast<int32_t>(length), encoding);
      });
}

REALstringStruct* BuildUTF16Unit(uint16_t unit) {
  return WithHostExceptionGuard<REALstringStruct*>(nullptr, [unit]() -> REALstringStruct* {
    return BuildAsUTF8(reinterpret_cast<const char*>(&unit), 2, kREALTextEncodingUTF16);
  });
}

REALstringStruct* BuildUTF8String(const char* text, size_t length) {
  // UTF-8 needs neither the encoding checks nor the ASCII test of REALBuildUnicodeString.
  if (length == 0) return nullptr;
  if (length >= static_cast<uint64_t>(kMaxHostLength)) {
    DebugLog("Count too big for REALBuildUnicodeString.");
    return nullptr;
  }
  return WithHostExceptionGuard<REALstringStruct*>(nullptr, [text, length]() -> REALstringStruct* {
    return BuildWithEncoding(text, static_cast<int32_t>(length), kREALTextEncodingUTF8);
  });
}

REALstringStruct* CString2RB(const char* text, uint32_t encoding) {
  return CString2RB(text, text != nullptr ? std::strlen(text) : 0, encoding);
}

REALstringStruct* CString2RB(const char* text, size_t length, uint32_t encoding) {
  if (encoding == kREALTextEncodingUTF32)
    DebugLog("Error: kREALTextEncodingUTF32 not useful for CString2RB!");
  if (encoding == kREALTextEncodingUTF16)
    DebugLog("Error: kREALTextEncodingUTF16 not useful for CString2RB!");
  if (text == nullptr) return nullptr;

  if (DebuggingEnabled && encoding == kREALTextEncodingASCII) {
    for (size_t i = 0; i < length; ++i) {
      if (static_cast<uint8_t>(text[i]) >= 0x80) {
        DebugLogText("Error: text is not ascii", text);
        break;
      }
    }
  }
  return REALBuildUnicodeString(text, static_cast<int64_t>(length), encoding);
}
