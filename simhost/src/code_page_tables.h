// The host's code pages from the tables generated out of glibc's iconv, for hosts that have no
// iconv (Windows). Each answer is what the Linux host gets from iconv for the same input;
// tests/simhost/code_page_tables_test.cpp checks that on Linux.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <unordered_map>

#include "code_page_tables_data.h"

namespace simhost {
namespace tables {

// What each byte of a single-byte converter decodes to on its own (kNoCharacter: nothing).
// False when there is no table for the converter.
bool SingleByteTable(const char* converter, std::array<char32_t, 256>* decode);

// A multi-byte converter (the CJK code pages), read the way the host reads iconv's answers.
class MultiByteCodec {
 public:
  explicit MultiByteCodec(const MultiByteData& data);

  struct Step {
    enum Kind { kCharacter, kIllegal, kIncomplete } kind;
    char32_t character;  // kCharacter
    size_t length;       // bytes read: the unit, or the illegal byte (1) or stepped-over pair (2)
  };
  // The unit at the start of non-empty `bytes`: a character, an illegal byte or pair, or a
  // pair cut off by the end of the input.
  Step Decode(std::string_view bytes) const;

  // Appends the byte form of c (possibly no bytes); false when c has none.
  bool Encode(char32_t c, std::string* out) const;

 private:
  char32_t Single(unsigned char byte) const;
  const MultiByteData& data_;
  std::unordered_map<char32_t, uint32_t> encode_;  // length << 16 | bytes
};

// The codec of a multi-byte converter, built once; null when there is no table for it.
const MultiByteCodec* FindMultiByte(const char* converter);

// towlower of the C.UTF-8 locale for characters of the Basic Multilingual Plane.
char32_t LowerCase(char32_t c);

}  // namespace tables
}  // namespace simhost
