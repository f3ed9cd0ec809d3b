// Documents of the benchmark generator (bench/gen_rtf.py, PENDLOW_GENERATOR), for tests that
// import them.
// Made on the spot with python3; where no Python can be started (Windows programs under wine),
// read from the copies the build made beforehand in PENDLOW_GENERATED_DIR
// (tests/CMakeLists.txt lists which).
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#if !defined(PENDLOW_GENERATED_DIR)
#include <unistd.h>
#endif

namespace test_support {

// The document of a profile, seed and size ("0.5" MB); "" when it cannot be had.
inline std::string GeneratedDocument(const std::string& profile, int seed,
                                     const std::string& sizeMb) {
#if defined(PENDLOW_GENERATED_DIR)
  const std::string path = std::string(PENDLOW_GENERATED_DIR) + "/" + profile + "-" +
                           std::to_string(seed) + "-" + sizeMb + ".rtf";
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
#else
  char path[] = "/tmp/pendlow-generated-XXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0) return "";
  close(fd);
  const std::string command = std::string("python3 '") + PENDLOW_GENERATOR + "' --profile " +
                              profile + " --size-mb " + sizeMb + " --seed " + std::to_string(seed) +
                              " -o '" + path + "' 2>/dev/null";
  std::string rtf;
  if (std::system(command.c_str()) == 0) {
    std::ifstream in(path, std::ios::binary);
    rtf.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  unlink(path);
  return rtf;
#endif
}

}  // namespace test_support
