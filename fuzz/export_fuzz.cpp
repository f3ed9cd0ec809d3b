// The getter on arbitrary styled texts: the input is decoded into style runs (text in any host
// encoding, optional font name in any encoding, any size, colour and style flags) and paragraph
// alignments, a fresh StyledText is built from them and its RTF is read. The document may then
// be assigned to another StyledText, whose text must match where the text can travel.
//
// Input layout (fields past the end read as zero):
//   byte    flags: bit 0 SkipParagraphs, bit 1 debug log, bit 2 assign the document back,
//           bits 3-4 host version
//   then records until the input ends, each starting with a tag byte:
//   tag % 4 != 3: a style run
//     byte text encoding, uint16 LE length, text bytes,
//     byte font encoding (0xFF: no font), byte length, font bytes (absent without a font),
//     byte size (below 0xF8 the size itself, else one of eight edge values),
//     uint32 LE colour, byte style (bit 0 bold, bit 1 italic, bit 2 underline)
//   tag % 4 == 3: a paragraph alignment: byte paragraph index, signed byte alignment
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "fuzz_host.h"
#include "rtf_export/rtf_export.h"
#include "rtf_import/rtf_import.h"

namespace {

const int64_t kEdgeSizes[8] = {-3,
                               -1,
                               std::numeric_limits<int64_t>::max(),
                               std::numeric_limits<int64_t>::min(),
                               1073741823,
                               -1073741824,
                               int64_t{1} << 31,
                               -(int64_t{1} << 31) - 1};

// Standard UTF-8 of characters in the Basic Multilingual Plane other than U+FEFF and U+FFFE:
// text the getter and the host decode alike.
bool IsPlainUTF8(const std::string& s) {
  size_t i = 0;
  while (i < s.size()) {
    const auto b = static_cast<uint8_t>(s[i]);
    uint32_t c;
    if (b < 0x80) {
      ++i;
      continue;
    } else if (b >= 0xC2 && b <= 0xDF && i + 1 < s.size()) {
      c = b & 0x1F;
      const auto b1 = static_cast<uint8_t>(s[i + 1]);
      if ((b1 & 0xC0) != 0x80) return false;
      c = (c << 6) | (b1 & 0x3F);
      i += 2;
    } else if (b >= 0xE0 && b <= 0xEF && i + 2 < s.size()) {
      const auto b1 = static_cast<uint8_t>(s[i + 1]), b2 = static_cast<uint8_t>(s[i + 2]);
      if ((b1 & 0xC0) != 0x80 || (b2 & 0xC0) != 0x80) return false;
      c = ((b & 0x0Fu) << 12) | ((b1 & 0x3Fu) << 6) | (b2 & 0x3Fu);
      if (c < 0x800 || (c >= 0xD800 && c <= 0xDFFF)) return false;
      i += 3;
    } else {
      return false;
    }
    if (c == 0xFEFF || c == 0xFFFE) return false;
  }
  return true;
}

// Whether the run's text reaches the document the way the host itself decodes it.
// The font table is written raw, so a name with RTF's own delimiters spills into the text.
bool RoundTrips(const simhost::RunRecipe& run) {
  if (run.font && run.font->find_first_of("\\{};") != std::string::npos) return false;
  switch (run.textEncoding) {
    case kREALTextEncodingUTF8:
      return IsPlainUTF8(run.text);
    case kREALTextEncodingWindowsLatin1:
    case kREALTextEncodingMacRoman:
    case kREALTextEncodingISOLatin1:
      return true;
    default:
      return false;
  }
}

// The text the document carries for one run as the host holds it (UTF-8): characters below
// tab vanish, a line break is one paragraph mark (CR) unless it pairs with the line break just
// before it (CR LF, LF CR).
std::string ExpectedText(const std::string& utf8) {
  std::string out;
  char prev = 0;
  for (char c : utf8) {
    if (c == '\r') {
      if (prev != '\n') out += '\r';
    } else if (c == '\n') {
      if (prev != '\r') out += '\r';
    } else if (static_cast<uint8_t>(c) >= 9) {
      out += c;
    }
    prev = c;
  }
  return out;
}

void CheckDocument(simhost::Host& host, REALstring result) {
  if (result == nullptr) return;
  const std::string rtf = host.BytesOf(result);
  static const std::string kHead = "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl";
  if (rtf.compare(0, kHead.size(), kHead) != 0) fuzzhost::Fail("document without its header", rtf);
  if (rtf.back() != '}') fuzzhost::Fail("document not closed", rtf);
  if (rtf.find('\0') != std::string::npos) fuzzhost::Fail("zero byte in the document");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzhost::ByteReader in(data, size);
  simhost::Host& host = fuzzhost::TheHost();
  const uint8_t flags = in.Byte();
  const bool skipParagraphs = (flags & 1) != 0;
  const bool debugging = (flags & 2) != 0;
  const bool readBack = (flags & 4) != 0;
  fuzzhost::HostVersionScope version(fuzzhost::HostVersion(static_cast<uint8_t>(flags >> 3)));

  REALobject styledText = host.NewStyledText();
  bool textRoundTrips = true;
  while (!in.empty()) {
    const uint8_t tag = in.Byte();
    if (tag % 4 == 3) {
      const int64_t index = in.Byte();
      const int64_t alignment = static_cast<int8_t>(in.Byte());
      host.SetParagraphAlignment(styledText, index, alignment);
      continue;
    }
    simhost::RunRecipe run;
    run.textEncoding = fuzzhost::EncodingAt(in.Byte());
    run.text = in.Bytes(in.UInt16());
    const uint8_t fontEncoding = in.Byte();
    if (fontEncoding != 0xFF) {
      run.fontEncoding = fuzzhost::EncodingAt(fontEncoding);
      run.font = in.Bytes(in.Byte());
    }
    const uint8_t sizeByte = in.Byte();
    run.size = sizeByte < 0xF8 ? sizeByte : kEdgeSizes[sizeByte - 0xF8];
    run.color = in.UInt32();
    const uint8_t style = in.Byte();
    run.bold = (style & 1) != 0;
    run.italic = (style & 2) != 0;
    run.underline = (style & 4) != 0;
    textRoundTrips = textRoundTrips && RoundTrips(run);
    host.AppendRun(styledText, run);
  }
  {
    fuzzhost::DebugLogScope log(debugging);
    const fuzzhost::Handles before = fuzzhost::Count();
    REALstring result = RTFRead(styledText, skipParagraphs ? 1 : 0);
    fuzzhost::CheckAfterGetter(before, result);
    CheckDocument(host, result);
    fuzzhost::ReleaseFetchedRuns();

    if (readBack && result != nullptr) {
      REALobject copy = host.NewStyledText();
      const fuzzhost::Handles beforeSet = fuzzhost::Count();
      RTFWrite(copy, 0, result);
      fuzzhost::CheckAfterSetter(beforeSet);
      if (textRoundTrips) {
        std::string expected;
        for (const simhost::Run& run : host.RunsOf(styledText)) expected += ExpectedText(run.text);
        const std::string found = host.TextOf(copy);
        if (found != expected) fuzzhost::Fail("text changed on the way back", host.BytesOf(result));
      }
      host.Release(copy);
    }
    if (result != nullptr) host.Release(result);
  }
  host.Release(styledText);
  host.ClearExceptions();
  return 0;
}
