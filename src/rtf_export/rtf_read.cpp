// The getter of "RTFDataZVK": snapshot of the StyledText, then the RTF document as a UTF-8
// host string. Nothing escapes into the host: any failure returns null, which the host shows
// as an empty string.
#include <cstring>
#include <string>
#include <vector>

#include "bridge/host_string_build.h"
#include "rtf_export/rtf_writer.h"
#include "rtf_export/style_run_snapshot.h"

REALstringStruct* RBCALL RTFRead(REALobjectStruct* styledText, RBBoolean skipParagraphs) {
  try {
    std::vector<XojoStyleRun> runs;  // releases every record's strings on every way out
    if (!TakeStyleRunSnapshot(styledText, skipParagraphs != 0, runs)) return nullptr;
    const std::string document = WriteRTF(runs);
    const char* bytes = document.c_str();
    return REALBuildUnicodeString(bytes, static_cast<int64_t>(std::strlen(bytes)),
                                  kREALTextEncodingUTF8);
  } catch (...) {
    return nullptr;
  }
}
