// Fast paths for the text the host handles most: pure ASCII, well-formed UTF-8 and the Unicode
// forms the plug-in builds strings in. Each gives exactly what the general conversions of
// encodings.h give for the same input, without going through code points.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "paragraphs.h"

namespace simhost {

// Whether every byte is below 0x80.
bool IsAscii(std::string_view bytes);

// For pure ASCII, or with `utf8` for well-formed UTF-8: the number of characters and the CR and
// LF offsets (in characters, appended to *breaks unless it is null); false (with *breaks in any
// state) otherwise.
bool ScanUTF8(std::string_view bytes, bool utf8, std::vector<ParagraphScan::Break>* breaks,
              int64_t* length);

// UTF-8 of bytes of a one-byte-per-character encoding, read through its table of 256
// characters: appended to *out unless it is null; the CR and LF offsets appended to *breaks
// unless it is null.
void ByteTableToUTF8(std::string_view bytes, const char32_t* table, std::string* out,
                     std::vector<ParagraphScan::Break>* breaks);

// UTF-8 of UTF-16 or UTF-32 bytes (any of the host's byte orders) into *out; false, with *out
// untouched, for any other encoding.
bool UnicodeToUTF8(std::string_view bytes, uint32_t encoding, std::string* out);

// The same for at most kSmallUnicodeInput bytes, into a buffer of kSmallUnicodeOutput bytes;
// false for longer input or another encoding.
constexpr size_t kSmallUnicodeInput = 8;
constexpr size_t kSmallUnicodeOutput = 16;
bool SmallUnicodeToUTF8(std::string_view bytes, uint32_t encoding, char* out, size_t* length);

}  // namespace simhost
