// The font-table and colour-table readers on arbitrary text. The input becomes a heap buffer
// holding exactly the bytes, the terminating NUL and two readable bytes behind it; both readers
// start at position 0 (the last byte of their control word) and at a position taken from the
// first input byte. NUL bytes inside the input stay, as they do inside an assigned document.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "rtf_import/rtf_tables.h"

namespace {

[[noreturn]] void Fail(const char* what, long long start, long long position) {
  std::fprintf(stderr, "\n==pendlow-fuzz== %s (start %lld, position %lld)\n", what, start,
               position);
  std::abort();
}

// The position may only move forward, and not past the byte behind the terminator.
void CheckPosition(long long start, long long position, long long end) {
  if (position < start) Fail("position moved back", start, position);
  if (position > end + 1) Fail("position past the terminator", start, position);
}

void ReadBoth(const char* text, long long start, long long end) {
  long long position = start;
  const auto colors = ReadColorTable(text, position);
  CheckPosition(start, position, end);
  if (static_cast<long long>(colors.size()) > end - start)
    Fail("more colours than bytes", start, position);

  position = start;
  const auto fonts = ReadFontTable(text, position);
  CheckPosition(start, position, end);
  long long nameBytes = 0;
  for (const auto& font : fonts) nameBytes += static_cast<long long>(font.second.size());
  if (nameBytes > end - start) Fail("font names longer than the text", start, position);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const uint8_t startChoice = data[0];
  ++data;
  --size;
  std::unique_ptr<char[]> text(new char[size + 3]);
  std::memcpy(text.get(), data, size);
  std::memset(text.get() + size, 0, 3);
  const long long end = static_cast<long long>(size);  // the terminator

  ReadBoth(text.get(), 0, end);
  const long long start = end > 0 ? startChoice % (end + 1) : 0;
  if (start != 0) ReadBoth(text.get(), start, end);
  return 0;
}
