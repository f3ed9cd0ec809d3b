// The setter on arbitrary bytes: a fresh StyledText per input is assigned the bytes, behind
// "{\rtf" or as they are, then optionally read back through the getter.
//
// Input: one control byte, then the document.
//   bit 0      put "{\rtf" in front of the bytes
//   bit 1      debug log on
//   bits 2-3   host version (string building paths)
//   bit 4      read the result back with the getter; bit 5 is its SkipParagraphs
//   bits 6-7   encoding the host labels the assigned string with
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_host.h"
#include "rtf_export/rtf_export.h"
#include "rtf_import/rtf_import.h"

namespace {

const simhost::Encoding kValueEncodings[] = {kREALTextEncodingUTF8, kREALTextEncodingWindowsLatin1,
                                             kREALTextEncodingUnknown, kREALTextEncodingMacRoman};

// The getter's document always has this frame.
void CheckDocument(simhost::Host& host, REALstring result) {
  if (result == nullptr) return;
  const std::string rtf = host.BytesOf(result);
  static const std::string kHead = "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl";
  if (rtf.compare(0, kHead.size(), kHead) != 0) fuzzhost::Fail("document without its header", rtf);
  if (rtf.back() != '}') fuzzhost::Fail("document not closed");
  if (rtf.find('\0') != std::string::npos) fuzzhost::Fail("zero byte in the document");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  simhost::Host& host = fuzzhost::TheHost();
  const uint8_t control = data[0];
  std::string value;
  if (control & 1) value = "{\\rtf";
  value.append(reinterpret_cast<const char*>(data + 1), size - 1);

  fuzzhost::HostVersionScope version(fuzzhost::HostVersion(static_cast<uint8_t>(control >> 2)));
  REALobject styledText = host.NewStyledText();
  REALstring rtf = host.NewString(value, kValueEncodings[control >> 6]);
  {
    fuzzhost::DebugLogScope log((control & 2) != 0);
    const fuzzhost::Handles before = fuzzhost::Count();
    RTFWrite(styledText, 0, rtf);
    fuzzhost::CheckAfterSetter(before);

    if (control & 16) {
      const fuzzhost::Handles beforeGet = fuzzhost::Count();
      REALstring result = RTFRead(styledText, (control & 32) ? 1 : 0);
      fuzzhost::CheckAfterGetter(beforeGet, result);
      CheckDocument(host, result);
      if (result != nullptr) host.Release(result);
      fuzzhost::ReleaseFetchedRuns();
    }
  }
  host.Release(rtf);
  host.Release(styledText);
  host.ClearExceptions();
  return 0;
}
