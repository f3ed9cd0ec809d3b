// The getter of "RTFDataZVK": snapshot of the StyledText, then the RTF document as a UTF-8
// host string. Nothing escapes into the host: any failure returns null, which the host shows
// as an empty string.
#include "rtf_export/rtf_export.h"

#include <cstring>
#include <vector>

#include "bridge/host_string_build.h"
#include "rtf_export/rtf_output.h"
#include "rtf_export/rtf_writer.h"
#include "rtf_export/style_run_snapshot.h"

namespace {
constexpr size_t kOutputReserve = 1048576;  // typical documents never regrow the buffer
}  // namespace

REALstringStruct* RBCALL RTFRead(REALobjectStruct* styledText, RBBoolean skipParagraphs) {
  try {
    std::vector<XojoStyleRun> runs;  // releases every record's strings on every way out
    if (!TakeStyleRunSnapshot(styledText, skipParagraphs != 0, runs)) return nullptr;
    RTFOutput document(kOutputReserve);
    WriteRTF(runs, document);
    const char* bytes = document.c_str();
    return REALBuildUnicodeString(bytes, static_cast<int64_t>(std::strlen(bytes)),
                                  kREALTextEncodingUTF8);
  } catch (...) {
    return nullptr;
  }
}
