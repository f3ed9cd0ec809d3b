// Differential test of the import: the literal model (literal_import_model.h) is compared with
// the library on random documents, the real corpus, generated documents and mutated corpus files
// (runs, paragraph alignments and counts of host calls).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "frame/host_contract.h"
#include "import_fixture.h"
#include "literal_import_model.h"
#include "support/corpus.h"
#include "support/generated_document.h"
#include "support/shown_bytes.h"

namespace import_test {
namespace {

const char* kPieces[] = {
    "{",
    "}",
    "{",
    "}",
    "\\b ",
    "\\b0 ",
    "\\i ",
    "\\i0",
    "\\ul ",
    "\\ulnone ",
    "\\ul0",
    "\\fs24 ",
    "\\fs-3 ",
    "\\fs25",
    "\\upr ",
    "\\upr30 ",
    "\\f0 ",
    "\\f1 ",
    "\\f9 ",
    "\\f",
    "\\cf1 ",
    "\\cf2 ",
    "\\cf0",
    "\\cf7",
    "\\par ",
    "\\par",
    "\\par\r\n",
    "\\qc ",
    "\\qr ",
    "\\ql ",
    "\\qj ",
    "\\pard ",
    "\\pardirnatural ",
    "\\u8364?",
    "\\u-10179 ",
    "\\u0 ",
    "\\u228",
    "\\u",
    "\\'e9",
    "\\'E9",
    "\\'4",
    "\\'}",
    "\\'g1",
    "\\ansicpg1251 ",
    "\\ansicpg1252 ",
    "\\ansi ",
    "\\mac ",
    "{\\*\\generator x;}",
    "{\\info{\\title t}}",
    "\\foo ",
    "{\\foo ",
    "\\bin3 ",
    "\\bin-2 ",
    "\\bin0 ",
    "\\bin",
    "\\\n",
    "\\\r",
    "\n",
    "\r\n",
    "\r",
    "\\{",
    "\\}",
    "\\\\",
    "\\~",
    "\\-",
    "\\*",
    "\\",
    "\\'",
    "text",
    " ",
    "words and ",
    "\xE9",
    "\xC3\xA9",
    "{\\fonttbl\\f0 Aa;\\f1 Bb;}",
    "{\\fonttbl{\\f0\\fswiss{\\*\\panose 02}Helv;}{\\f1 T;}}",
    "\\fonttbl\\f0 Zz;}",
    "{\\colortbl;\\red255\\green0\\blue0;\\red1\\green2\\blue3;}",
    "\\colortbl;\\red9;}",
    "\\rtf1",
    "\\paperw100 ",
    "\\b\r\n",
    "\\uc0 ",
    "\\Par",
    ";",
    "x\r\nq",
    "\\line ",
    "\\tab ",
    "{\\b ",
    "{\\i x}",
    "\\*\\x ",
    "\\pard\\qc ",
    "}\r\n",
    "}\rx\n",
    "\\b\rx\n",
    "\\'E9x",
    "{\\*\\",
    "{\\*\\}",
    "{\\fonttbl\\f0 \\'E9;x}",
    "{\\fonttbl\\f0 A\r\n;\\f1 B;}\r\n",
    "{\\colortbl\\red-5;}",
    "\\bin1 \\",
    "\\f-1 ",
    "\\cf-1",
    "\\u65535 ",
    "\\u-1 ",
    "\\u55357 \\u56832 ",
    "\\fonttbl",
    "\\colortbl",
    "{\\*\\fonttbl\\f0 Q;}",
    "\\'",
    "\\'4}",
    "\\b\r\n\n",
    "\\par\r",
    "{\\ansicpg932 \\'82\\'a0}",
    "\\mac \\'8e",
    "\\ansicpg10007 \\'80",
    "\\ansicpg437 \\'82",
    "{\\upr{\\*\\ud x}}",
    "\\plain ",
    "\\insrsid15008489 ",
    "\\lang1033\\langfe1033\\cgrid ",
    "{\\rtlch\\fcs1 \\af31507 \\ltrch\\fcs0 \\insrsid1499604 text }",
    "\\abcdefghijklmnopq1 ",
    "\\abcdefghijklmnopqrstuvwx ",
    "\\binx ",
    "\\pararsid12345678901234567 ",
    "{\\foo \\bin2 {}}",
    "{\\foo \\'7d}",
    "{\\foo{}{}\\\\\\{x}",
    "{\\*\\foo\\bar-12\r\nx}",
};

// A random document made of the pieces above, with a random byte now and then.
std::string RandomDocument(std::mt19937& rng) {
  std::string document = "{\\rtf1";
  std::uniform_int_distribution<int> length(0, 80);
  std::uniform_int_distribution<size_t> pick(0, sizeof(kPieces) / sizeof(kPieces[0]) - 1);
  const int pieces = length(rng);
  for (int k = 0; k < pieces; ++k) {
    if (rng() % 40 == 0) {
      document += static_cast<char>(rng() % 256);
    } else {
      document += kPieces[pick(rng)];
    }
  }
  if (rng() % 2) document += "}";
  if (rng() % 4 == 0) document += "}tail\r\n";
  return document;
}

// The document as a failure message shows it, cut to 300 bytes when long.
std::string Shown(const std::string& document) {
  const std::string shown = test_support::ShownBytes(document);
  return shown.size() < 3000 ? shown : shown.substr(0, 300);
}

std::string HexBytes(const std::string& bytes) {
  std::string hex;
  for (unsigned char c : bytes) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%02X ", c);
    hex += digits;
  }
  return hex;
}

int EnvironmentNumber(const char* name, int otherwise) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::atoi(value) : otherwise;
}

class ModelAgrees : public ImportTest {
 protected:
  // Imports the document and compares the host's runs, paragraph alignments and call counts
  // with what the literal model expects.
  void Check(const std::string& document) {
    host_.ResetCounters();
    const std::vector<simhost::Run> runs = Import(document);
    const literal_model::Expected expected = literal_model::Import(document);
    const std::string shown = Shown(document);
    if (runs != expected.runs) {
      size_t k = 0;
      while (k < runs.size() && k < expected.runs.size() && runs[k] == expected.runs[k]) ++k;
      const bool both = k < runs.size() && k < expected.runs.size();
      ADD_FAILURE() << "sizes " << runs.size() << " vs " << expected.runs.size() << " first diff "
                    << k << ": " << (k < runs.size() ? ::testing::PrintToString(runs[k]) : "-")
                    << " vs "
                    << (k < expected.runs.size() ? ::testing::PrintToString(expected.runs[k]) : "-")
                    << " "
                    << (both ? HexBytes(runs[k].font) + "| " + HexBytes(expected.runs[k].font)
                             : std::string())
                    << " " << shown;
    }
    const std::vector<int64_t> alignments = Alignments();
    std::vector<int64_t> expectedAlignments = expected.alignments;
    expectedAlignments.resize(alignments.size(), 0);
    EXPECT_EQ(alignments, expectedAlignments) << shown;
    EXPECT_EQ(host_.Calls("PluginNewInstance"), expected.styleRunsCreated) << shown;
    EXPECT_EQ(host_.Calls(host_contract::kAppendStyleRunDeclaration), expected.runsAppended)
        << shown;
    EXPECT_EQ(host_.Calls(host_contract::kParagraphAlignmentDeclaration), expected.alignmentsSet)
        << shown;
  }
};

TEST_F(ModelAgrees, OnRandomDocuments) {
  std::mt19937 rng(EnvironmentNumber("PENDLOW_MODEL_SEED", 12345));
  const int count = EnvironmentNumber("PENDLOW_MODEL_COUNT", 3000);
  for (int k = 0; k < count; ++k) {
    Check(RandomDocument(rng));
    if (HasFailure()) break;
  }
}

TEST_F(ModelAgrees, OnRealDocuments) {
  const std::vector<std::filesystem::path> files = test_support::CorpusFiles();
  ASSERT_FALSE(files.empty()) << test_support::CorpusMissing();
  for (const std::filesystem::path& file : files) {
    SCOPED_TRACE(file.string());
    Check(test_support::ReadDocument(file));
  }
}

TEST_F(ModelAgrees, OnGeneratedDocuments) {
  for (const char* profile :
       {"plain", "styled", "unicode", "codepage", "wordlike", "export", "hostile"}) {
    for (int seed = 1; seed <= 2; ++seed) {
      const std::string document = test_support::GeneratedDocument(profile, seed, "0.1");
      ASSERT_FALSE(document.empty()) << "the generator gave no " << profile << " document";
      SCOPED_TRACE(std::string(profile) + " " + std::to_string(seed));
      Check(document);
    }
  }
}

TEST_F(ModelAgrees, OnMutatedDocuments) {
  std::vector<std::string> documents;
  for (const std::filesystem::path& file : test_support::CorpusFiles()) {
    if (std::filesystem::file_size(file) < 20000)
      documents.push_back(test_support::ReadDocument(file));
  }
  // The documents are picked at random below: none would leave nothing to pick from.
  ASSERT_FALSE(documents.empty()) << test_support::CorpusMissing();
  std::mt19937 rng(777);
  const char specials[] = "{}\\\r\n';0-9*abu ";
  for (int k = 0; k < 1000; ++k) {
    std::string document = documents[rng() % documents.size()];
    if (document.size() < 10) continue;
    const int edits = 1 + rng() % 8;
    for (int e = 0; e < edits; ++e) {
      const size_t at = 6 + rng() % (document.size() - 6);
      const char c =
          rng() % 3 ? specials[rng() % (sizeof(specials) - 1)] : static_cast<char>(rng());
      switch (rng() % 3) {
        case 0:
          document[at] = c;
          break;
        case 1:
          document.insert(document.begin() + at, c);
          break;
        default:
          document.erase(at, 1 + rng() % 3);
          break;
      }
    }
    Check(document);
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace import_test
