// The real-world RTF documents kept in the repository (tests/corpus/real, PENDLOW_CORPUS_DIR).
// They are part of every checkout: a missing or empty folder means a broken checkout, so the
// tests that read it fail with CorpusMissing() instead of passing over nothing.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace test_support {

inline std::string CorpusFolder() {
  return PENDLOW_CORPUS_DIR;
}

inline std::string CorpusMissing() {
  return "no documents in " + CorpusFolder() +
         ": the real-document corpus is part of the repository; restore it (git checkout -- "
         "tests/corpus/real)";
}

// The corpus documents, sorted by name: every regular file but the folder's own notes
// (MANIFEST.tsv, SOURCES.md). Empty when the folder is missing or cannot be read.
inline std::vector<std::filesystem::path> CorpusFiles() {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  std::error_code error;
  fs::directory_iterator it(CorpusFolder(), error);
  if (error) return files;
  for (const fs::directory_entry& entry : it) {
    // One document is named "*.RTF": everything that is not a note counts.
    const std::string extension = entry.path().extension().string();
    if (entry.is_regular_file(error) && extension != ".tsv" && extension != ".md") {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

// The bytes of a document ("" when it cannot be read).
inline std::string ReadDocument(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

}  // namespace test_support
