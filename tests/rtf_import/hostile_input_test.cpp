// Hostile and oversized RTF: deep nesting, huge numbers and words, "\bin" past the end and the
// generator's hostile documents. Nothing may crash, overflow the stack or leak a host handle.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "import_fixture.h"
#include "support/generated_document.h"

namespace import_test {
namespace {

using Texts = std::vector<std::string>;

TEST_F(ImportTest, MillionDeepNestingClosed) {
  const size_t depth = 1000000;
  const std::string rtf =
      "{\\rtf1 " + std::string(depth, '{') + "\\b x" + std::string(depth, '}') + "y}";
  auto runs = Import(rtf);
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[0].text, "x");
  EXPECT_TRUE(runs[0].bold);
  EXPECT_EQ(runs[1].text, "y");
  EXPECT_FALSE(runs[1].bold);
}

TEST_F(ImportTest, MillionDeepNestingNeverClosed) {
  const std::string rtf = "{\\rtf1{\\fonttbl\\f0 Name;}\\f0 " + std::string(1000000, '{') + "x";
  auto runs = Import(rtf);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].text, "x");
  EXPECT_EQ(runs[0].font, "Name");
}

TEST_F(ImportTest, MillionDeepSkippedDestination) {
  const std::string rtf =
      "{\\rtf1 {\\info" + std::string(1000000, '{') + "hidden" + std::string(1000001, '}') + "z}";
  EXPECT_EQ(TextsOf(Import(rtf)), Texts{"z"});
}

TEST_F(ImportTest, TenThousandDigitParameter) {
  std::string digits;
  for (int i = 0; i < 1000; ++i) digits += "1234567890";
  // The value wraps at 64 bits to -5994306948999214382; the size is half of it, as the host's
  // Integer holds it (32 bits wide on 32-bit systems).
  auto runs = Import("{\\rtf1\\fs" + digits + " x\\cf" + digits + " y\\u" + digits + " }");
  ASSERT_EQ(runs.size(), 3u);
  EXPECT_EQ(runs[0].size, static_cast<RBInteger>(-5994306948999214382LL / 2));
  EXPECT_EQ(runs[1].color, 0u);
  EXPECT_EQ(runs[1].text, "y");
}

TEST_F(ImportTest, OneMegabyteControlWord) {
  const std::string word(1 << 20, 'k');
  EXPECT_EQ(TextsOf(Import("{\\rtf1 a\\" + word + " b}")), Texts{"ab"});
  // Opening a group it makes the group an unknown destination.
  EXPECT_EQ(TextsOf(Import("{\\rtf1 {\\" + word + " b}c}")), Texts{"c"});
}

TEST_F(ImportTest, OneMegabyteFontName) {
  const std::string name(1 << 20, 'N');
  auto runs =
      Import("{\\rtf1{\\fonttbl\\f0 " + name + ";}\\f0 " + std::string(10000, '{') + "x\\par y}");
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[0].font, name);
  EXPECT_EQ(runs[1].font, name);
}

TEST_F(ImportTest, ManyEmptyGroupsAndParagraphs) {
  std::string rtf = "{\\rtf1 ";
  for (int i = 0; i < 50000; ++i) rtf += "{}";
  for (int i = 0; i < 20000; ++i) rtf += "\\par ";
  rtf += "}";
  auto runs = Import(rtf);
  EXPECT_EQ(runs.size(), 20000u);
  EXPECT_EQ(host_.ParagraphsOf(styledText_).size(), 20000u);
}

TEST_F(ImportTest, BinCountsAtTheEdgesOfTheRange) {
  for (const char* count : {"9223372036854775807", "9223372036854775806", "18446744073709551615",
                            "0", "99999999999999999999999999999", "-", "-9223372036854775808"}) {
    auto runs = Import(std::string("{\\rtf1 a\\bin") + count + " bcd}");
    ASSERT_FALSE(runs.empty()) << count;
    EXPECT_EQ(runs[0].text.substr(0, 1), "a") << count;
  }
}

// A document of the generator's hostile profile.
std::string GenerateHostile(int seed, const char* sizeMb) {
  std::string rtf = test_support::GeneratedDocument("hostile", seed, sizeMb);
  EXPECT_FALSE(rtf.empty()) << "the generator gave no hostile document for seed " << seed;
  return rtf;
}

TEST_F(ImportTest, GeneratedHostileDocuments) {
  for (int seed = 1; seed <= 3; ++seed) {
    const std::string rtf = GenerateHostile(seed, "0.5");
    ASSERT_GT(rtf.size(), 500000u) << "seed " << seed;
    ASSERT_EQ(rtf.compare(0, 5, "{\\rtf"), 0);
    auto runs = Import(rtf);
    // The profile holds ordinary text between its traps; some of it must come through.
    EXPECT_FALSE(runs.empty()) << "seed " << seed;
    SCOPED_TRACE(seed);
  }
}

// Every prefix of a small document that uses every construct: cut anywhere, the import stays
// inside the value and gives every handle back.
TEST_F(ImportTest, EveryPrefixOfAMixedDocument) {
  const std::string rtf =
      "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fswiss{\\*\\panose 0}Helvetica;}\\f1 T;}\r\n"
      "{\\colortbl;\\red255\\green0\\blue0;}\\f0\\fs24\\cf1\\qc Caf\\'e9 \\u8364?\\b "
      "bold\\b0\\par\r\n"
      "{\\*\\generator x;}{\\info{\\title t}}\\bin2 {}\\{\\}\\\\\\\r\n\\'4\\'\\";
  for (size_t n = 0; n <= rtf.size(); ++n) {
    SCOPED_TRACE(n);
    Import(rtf.substr(0, n));
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace import_test
