// The control-word reader on arbitrary text: the input becomes a heap buffer holding exactly the
// bytes, the terminating NUL and the two readable bytes the reader may look at behind it, and
// the reader is started behind every backslash (in short texts at every position) up to the
// terminator. NUL bytes inside the input stay, as they do inside an assigned document.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "rtf_import/control_word.h"

namespace {

[[noreturn]] void Fail(const char* what, long long position, long long result) {
  std::fprintf(stderr, "\n==pendlow-fuzz== %s (position %lld, result %lld)\n", what, position,
               result);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Bytes, NUL, then two more bytes: the contract of the reader's buffer.
  std::unique_ptr<char[]> text(new char[size + 3]);
  std::memcpy(text.get(), data, size);
  std::memset(text.get() + size, 0, 3);
  const long long end = static_cast<long long>(size);  // the terminator

  // Every start is legal; in long texts only the ones callers use, to keep the cost linear.
  const bool everyPosition = end <= 512;
  std::string word;
  long long parameter = 0;
  for (long long position = 0; position <= end; ++position) {
    if (!everyPosition && (position == 0 || text[position - 1] != '\\')) continue;
    const long long result = ReadCommand(text.get(), position, word, parameter);
    // The caller goes on at result + 1: never before the backslash at position - 1, never
    // past the byte behind the terminator.
    if (result < position - 1) Fail("result before the backslash", position, result);
    if (result > end + 1) Fail("result past the terminator", position, result);
    // The word is the text's own letters, or one of the two rewrites.
    if (word != "par" && word != "u") {
      if (static_cast<long long>(word.size()) > end - position)
        Fail("word longer than the text", position, result);
      if (std::memcmp(word.data(), text.get() + position, word.size()) != 0)
        Fail("word differs from the text", position, result);
    }
    if (word.find('\0') != std::string::npos) Fail("NUL in the word", position, result);
  }
  return 0;
}
