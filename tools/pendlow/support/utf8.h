// UTF-8 helpers. The host hands the tool UTF-8 text and counts positions in characters (code
// points), so every output format needs to step through text one code point at a time.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace pendlow {

// Decodes one code point at `*pos` and advances past it. A malformed sequence yields U+FFFD and
// advances by one byte, so decoding always makes progress.
char32_t NextCodePoint(std::string_view text, size_t* pos);

// Appends the UTF-8 form of `cp` (which must be a Unicode scalar value).
void AppendUtf8(char32_t cp, std::string* out);

std::u32string DecodeUtf8(std::string_view text);
std::string EncodeUtf8(std::u32string_view text);
size_t CountCodePoints(std::string_view text);

// Appends `cp` as it stands inside a quoted string: a character listed in `escapes` (pairs of
// the character and the letter after its backslash, e.g. "\nn\tt") as backslash and letter, any
// other control character (below U+0020, and DEL) through `controlFormat` (e.g. "\\x%02X"),
// everything else as UTF-8.
void AppendEscaped(char32_t cp, std::string_view escapes, const char* controlFormat,
                   std::string* out);

// Offset of the first byte that does not start a well-formed UTF-8 sequence, or npos.
size_t FindInvalidUtf8(std::string_view text);

}  // namespace pendlow
