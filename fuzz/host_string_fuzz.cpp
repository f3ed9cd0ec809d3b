// The host-string readers on arbitrary bytes in every encoding: raw bytes (rbData), the UTF-8
// and UTF-16 views of rbText in both orders of first use, GetStringInUTF8, and the builders the
// readers rely on (REALBuildUnicodeString, CString2RB), on every host-version path.
//
// Input layout (fields past the end read as zero):
//   byte  the string's encoding (0xFF: a uint32 LE encoding value follows, known or not)
//   byte  the encoding the bytes are built with
//   byte  flags: bit 0 debug log, bit 1 UTF-8 view first, bits 2-3 host version
//   rest  the string's bytes
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "bridge/host_string_build.h"
#include "bridge/host_string_read.h"
#include "fuzz_host.h"

namespace {

bool IsASCIICompatible(simhost::Encoding e) {
  return e == kREALTextEncodingUTF8 || e == kREALTextEncodingWindowsLatin1 ||
         e == kREALTextEncodingMacRoman || e == kREALTextEncodingISOLatin1 ||
         e == kREALTextEncodingASCII || e == kREALTextEncodingUnknown;
}

bool AllASCII(const std::string& bytes) {
  for (char c : bytes) {
    if (static_cast<uint8_t>(c) >= 0x80) return false;
  }
  return true;
}

void CheckViews(rbText& text, const std::string& bytes, simhost::Encoding encoding,
                bool utf8First) {
  int64_t utf8Length = 0, utf16Length = 0;
  const char* utf8 = nullptr;
  const uint16_t* utf16 = nullptr;
  if (utf8First) {
    utf8 = text.UTF8();
    utf8Length = text.UTF8Length();
    utf16 = text.UTF16();
    utf16Length = text.UTF16Length();
  } else {
    utf16 = text.UTF16();
    utf16Length = text.UTF16Length();
    utf8 = text.UTF8();
    utf8Length = text.UTF8Length();
  }
  if (utf8Length < 0 || utf16Length < 0) fuzzhost::Fail("negative view length");
  if (utf8 == nullptr || utf16 == nullptr) fuzzhost::Fail("null view");
  // Both views are terminated: reading the terminator is inside the buffer for ASan.
  if (utf8[utf8Length] != 0) fuzzhost::Fail("UTF-8 view not terminated");
  if (utf16[utf16Length] != 0) fuzzhost::Fail("UTF-16 view not terminated");

  // Pure ASCII in an encoding that extends ASCII (or an unknown one) is shown as it is in both
  // views.
  if (IsASCIICompatible(encoding) && AllASCII(bytes)) {
    if (std::string(utf8, static_cast<size_t>(utf8Length)) != bytes)
      fuzzhost::Fail("ASCII text changed in the UTF-8 view");
    if (utf16Length != static_cast<int64_t>(bytes.size()))
      fuzzhost::Fail("ASCII text changed length in the UTF-16 view");
    for (size_t i = 0; i < bytes.size(); ++i) {
      if (utf16[i] != static_cast<uint8_t>(bytes[i]))
        fuzzhost::Fail("ASCII text changed in the UTF-16 view");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzhost::ByteReader in(data, size);
  simhost::Host& host = fuzzhost::TheHost();
  const uint8_t encodingByte = in.Byte();
  const simhost::Encoding encoding =
      encodingByte == 0xFF ? in.UInt32() : fuzzhost::EncodingAt(encodingByte);
  const simhost::Encoding buildEncoding = fuzzhost::EncodingAt(in.Byte());
  const uint8_t flags = in.Byte();
  const bool debugging = (flags & 1) != 0;
  const bool utf8First = (flags & 2) != 0;
  fuzzhost::HostVersionScope version(fuzzhost::HostVersion(static_cast<uint8_t>(flags >> 2)));
  const std::string bytes = in.Rest();

  fuzzhost::DebugLogScope log(debugging);
  REALstring s = host.NewString(bytes, encoding);
  const fuzzhost::Handles before = fuzzhost::Count();
  {
    rbData raw(s);
    if (raw.length != static_cast<int64_t>(bytes.size()))
      fuzzhost::Fail("rbData length differs from the string's");
    if (raw.length > 0 && std::memcmp(raw.data, bytes.data(), bytes.size()) != 0)
      fuzzhost::Fail("rbData bytes differ from the string's");
  }
  {
    rbText text(s);
    CheckViews(text, bytes, encoding, utf8First);
  }
  {
    const std::string utf8 = GetStringInUTF8(s);
    if (utf8.find('\0') != std::string::npos) fuzzhost::Fail("zero byte from GetStringInUTF8");
  }
  {
    REALstring built =
        REALBuildUnicodeString(bytes.data(), static_cast<int64_t>(bytes.size()), buildEncoding);
    if (built != nullptr) {
      rbText text(built);
      (void)text.UTF16();
      host.Release(built);
    }
    REALstring fromC = CString2RB(bytes.c_str(), buildEncoding);
    if (fromC != nullptr) host.Release(fromC);
  }
  const fuzzhost::Handles after = fuzzhost::Count();
  if (after.strings != before.strings || after.objects != before.objects)
    fuzzhost::Fail("host handles left alive by the string readers");
  if (host.LiveStringData() != 0) fuzzhost::Fail("string data record kept by the string readers");
  host.Release(s);
  host.ClearExceptions();
  return 0;
}
