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
// Room for what is not counted per run: the header, the font and colour tables, the closing.
// Kept small: the getter runs on every read of the property, mostly on short texts, and a
// large block costs its allocation (and, in a checked build, its poisoning) every time.
constexpr size_t kOutputReserve = 4096;
// Beyond this the buffer grows as it fills instead of being sized up front.
constexpr size_t kLargestReserve = size_t{1} << 28;
// Room per run besides its text: its formatting words, as they mostly are.
constexpr size_t kRunFormatting = 24;

// The buffer a document usually fits: every character of text once, and the formatting of each
// run. A larger document is then not copied as its buffer grows through every doubling. The
// records' offsets add up the runs' lengths, so the last one's end is the text's; lengths the
// host reports out of range only make the estimate smaller.
size_t OutputReserve(const std::vector<XojoStyleRun>& runs) {
  const XojoStyleRun& last = runs.back();
  // Added without overflow: hostile lengths may come near the ends of the range.
  const int64_t characters =
      static_cast<int64_t>(static_cast<uint64_t>(last.start) + static_cast<uint64_t>(last.length));
  const uint64_t runRoom = static_cast<uint64_t>(runs.size()) * kRunFormatting;
  const uint64_t room =
      (characters > 0 ? static_cast<uint64_t>(characters) : 0) + runRoom + kOutputReserve;
  return room < kLargestReserve ? static_cast<size_t>(room) : kLargestReserve;
}
}  // namespace

REALstringStruct* RBCALL RTFRead(REALobjectStruct* styledText, RBBoolean skipParagraphs) {
  try {
    std::vector<XojoStyleRun> runs;  // releases every record's strings on every way out
    if (!TakeStyleRunSnapshot(styledText, skipParagraphs != 0, runs)) return nullptr;
    RTFOutput document(OutputReserve(runs));
    WriteRTF(runs, document);
    const char* bytes = document.c_str();
    return REALBuildUnicodeString(bytes, static_cast<int64_t>(std::strlen(bytes)),
                                  kREALTextEncodingUTF8);
  } catch (...) {
    return nullptr;
  }
}
