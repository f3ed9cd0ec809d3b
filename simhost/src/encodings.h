// Text conversion between the host's encodings, in the host's numbering (base encoding in the
// low 16 bits, Unicode form above). Every conversion goes through Unicode code points:
// bytes are decoded, then encoded into the target.
//
// Rules the whole host relies on:
// - Bytes that cannot be decoded become U+FFFD (one per undecodable byte or, in UTF-8, per
//   maximal ill-formed subsequence); a conversion never fails for bad bytes.
// - A character the target cannot hold becomes U+FFFD in a Unicode target and "?" in any
//   other target.
// - No byte-order mark is read or written; U+FEFF is an ordinary character.
// - Only an encoding value the host does not know makes a conversion fail.
// - A known encoding whose converter the C library lacks stops the program with a message.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// glibc's iconv where the C library has it (Linux); Windows has none.
#if !defined(_WIN32)
#define SIMHOST_HAVE_ICONV 1
#else
#define SIMHOST_HAVE_ICONV 0
#endif

namespace simhost {

// What the code pages are converted with: glibc's iconv (the Linux host), or tables generated
// from it that give the same answers (code_page_tables.h; the host without iconv). The plain
// functions below use the platform's own; tests on Linux run both and compare.
enum class Converters { kIconv, kTables };
constexpr Converters kPlatformConverters =
    SIMHOST_HAVE_ICONV ? Converters::kIconv : Converters::kTables;

// Decodes bytes of `encoding` into code points, appended to *out. False: unknown encoding.
bool DecodeText(std::string_view bytes, uint32_t encoding, std::u32string* out);

// Encodes code points into `encoding`, appended to *out. False: unknown encoding.
bool EncodeText(std::u32string_view text, uint32_t encoding, std::string* out);

// Whether the host knows the encoding.
bool IsKnownEncoding(uint32_t encoding);

// The same three with the given converters (false when these are not on this platform).
bool DecodeTextWith(Converters converters, std::string_view bytes, uint32_t encoding,
                    std::u32string* out);
bool EncodeTextWith(Converters converters, std::u32string_view text, uint32_t encoding,
                    std::string* out);
bool IsKnownEncodingWith(Converters converters, uint32_t encoding);

// Number of characters (code points) the bytes decode to; -1 for an unknown encoding.
// Cheap for single-byte encodings (the byte count) and for the Unicode forms.
int64_t CountCharacters(std::string_view bytes, uint32_t encoding);

// True when every byte below 0x80 decodes to the same ASCII character (UTF-8 and the
// single-byte encodings whose lower half is ASCII), so pure ASCII text converts between two
// such encodings unchanged.
bool IsAsciiCompatible(uint32_t encoding);

// Appends the UTF-8 form of one code point.
void AppendUTF8(char32_t c, std::string* out);

}  // namespace simhost
