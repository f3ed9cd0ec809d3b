// Layout of the code-page tables that scripts/generate_code_page_tables.py reads out of glibc's
// iconv into code_page_tables_data.cpp. Use them through code_page_tables.h.
#pragma once

#include <cstddef>
#include <cstdint>

namespace simhost {
namespace tables {

constexpr char32_t kNoCharacter = 0xFFFFFFFF;  // the byte decodes to nothing on its own
constexpr char32_t kLeadByte = 0xFFFFFFFE;     // the byte starts a pair (multi-byte only)

struct SingleByteData {
  const char* converter;  // glibc's name
  const char32_t* upper;  // bytes 0x80-0xFF
  const char32_t* lower;  // (byte, character) for the bytes 0x00-0x7F that are not ASCII
  size_t lowerCount;
};

struct MultiByteData {
  const char* converter;
  const char32_t* upper;  // single bytes, as above (kLeadByte where a pair starts)
  const char32_t* lower;
  size_t lowerCount;
  const uint16_t* runStart;     // 257 entries: the runs of lead byte b are runStart[b]..[b + 1]
  const uint32_t* runs;         // trail << 24 | (length - 1) << 16 | character of the first trail
  const uint16_t* steppedOver;  // lead << 8 | trail: pairs iconv rejects after moving past them
  size_t steppedOverCount;
  // (character, length << 16 | bytes) where the encoder does not pick the first byte form that
  // decodes to the character; kNoCharacter instead of the bytes: no byte form.
  const uint32_t* encodeExceptions;
  size_t encodeExceptionCount;
};

// Characters first..last, every `step`-th, whose lower case is the character + delta.
struct LowerCaseRange {
  uint16_t first;
  uint16_t last;
  uint8_t step;
  int32_t delta;
};

extern const SingleByteData kSingleByte[];
extern const size_t kSingleByteCount;
extern const MultiByteData kMultiByte[];
extern const size_t kMultiByteCount;
extern const LowerCaseRange kLowerCase[];
extern const size_t kLowerCaseCount;

}  // namespace tables
}  // namespace simhost
