// The code-page tables generated from glibc's iconv (scripts/generate_code_page_tables.py), which
// the host uses where there is no iconv (Windows), against iconv itself: every byte, every pair
// of bytes and every character must convert the same way through both, so the tables cannot
// drift from the Linux host unnoticed.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <vector>

// The host's own conversion internals (not part of its public interface).
#include "../../simhost/src/code_page_tables.h"
#include "../../simhost/src/encodings.h"

#if SIMHOST_HAVE_ICONV
#include <locale.h>
#include <wctype.h>
#endif

namespace {

using simhost::Converters;

// Encodings built on glibc converters that have no tables: the host without iconv does not
// know them. The library never asks for them (they are no "\ansicpg" code page).
const std::set<uint32_t> kIconvOnly = {0x0632, 0x0920, 0x0930, 0x0940, 0x0A01, 0x0A03};

// The code-page encodings both converters know (the Unicode forms do not use either).
std::vector<uint32_t> CodePages() {
  std::vector<uint32_t> pages;
  for (uint32_t e = 0; e <= 0xFFFF; ++e) {
    if (e == 0x0100 || e == 0x0600) continue;  // UTF-16; ASCII has no converter behind it
    if (simhost::IsKnownEncodingWith(Converters::kTables, e)) pages.push_back(e);
  }
  return pages;
}

std::u32string Decoded(Converters converters, const std::string& bytes, uint32_t encoding) {
  std::u32string out;
  if (!simhost::DecodeTextWith(converters, bytes, encoding, &out)) return U"<failed>";
  return out;
}

#if SIMHOST_HAVE_ICONV

// Every encoding value the host could know: the host's numbers and the Windows code pages.
std::vector<uint32_t> Candidates() {
  std::vector<uint32_t> all;
  for (uint32_t e = 0; e <= 0xFFFF; ++e) all.push_back(e);
  for (uint32_t cp = 0; cp <= 0xFFFE; ++cp) all.push_back(0xFFFF0000u | cp);
  for (uint32_t form :
       {0x0100u, 0x08000100u, 0x0C000100u, 0x10000100u, 0x14000100u, 0x18000100u, 0x1C000100u}) {
    all.push_back(form);
  }
  return all;
}

std::string Encoded(Converters converters, const std::u32string& text, uint32_t encoding) {
  std::string out;
  if (!simhost::EncodeTextWith(converters, text, encoding, &out)) return "<failed>";
  return out;
}

std::string Hex(const std::string& bytes) {
  std::string out;
  char buffer[4];
  for (unsigned char b : bytes) {
    std::snprintf(buffer, sizeof buffer, "%02X", b);
    out += buffer;
  }
  return out;
}

TEST(CodePageTables, KnowTheSameEncodingsAsIconv) {
  std::set<uint32_t> onlyIconv;
  for (uint32_t e : Candidates()) {
    bool iconv = simhost::IsKnownEncodingWith(Converters::kIconv, e);
    bool tables = simhost::IsKnownEncodingWith(Converters::kTables, e);
    EXPECT_FALSE(tables && !iconv) << std::hex << e;
    if (iconv && !tables) onlyIconv.insert(e);
  }
  EXPECT_EQ(onlyIconv, kIconvOnly);
  EXPECT_GE(CodePages().size(), 60u);
}

TEST(CodePageTables, EveryByteAndPairDecodesAsThroughIconv) {
  for (uint32_t e : CodePages()) {
    size_t mismatches = 0;
    for (int a = 0; a < 256 && mismatches < 5; ++a) {
      std::string one(1, static_cast<char>(a));
      std::u32string expected = Decoded(Converters::kIconv, one, e);
      if (Decoded(Converters::kTables, one, e) != expected) {
        ADD_FAILURE() << std::hex << "encoding " << e << ": byte " << Hex(one);
        ++mismatches;
      }
      for (int b = 0; b < 256; ++b) {
        std::string two = one + static_cast<char>(b);
        if (Decoded(Converters::kTables, two, e) != Decoded(Converters::kIconv, two, e)) {
          ADD_FAILURE() << std::hex << "encoding " << e << ": bytes " << Hex(two);
          if (++mismatches == 5) break;
        }
      }
    }
  }
}

// One test per code page (the multi-byte ones take seconds each), so they can run side by side.
class EveryCharacter : public ::testing::TestWithParam<uint32_t> {};

TEST_P(EveryCharacter, EncodesAsThroughIconv) {
  constexpr char32_t kChunk = 4096;
  const uint32_t e = GetParam();
  // The Mac Japanese, Chinese and Korean scripts are their Windows code page (932, 950, 949,
  // 936) with single-byte changes in the BMP; above it they encode exactly like that code
  // page, which is checked on its own. (iconv is slow at refusing characters: about 2 s per
  // code page for the planes above the BMP.)
  bool macScript = e == 0x0001 || e == 0x0002 || e == 0x0003 || e == 0x0019;
  char32_t end = macScript ? 0x10000 : 0x110000;
  size_t mismatches = 0;
  for (char32_t first = 0; first < end && mismatches < 5; first += kChunk) {
    std::u32string chunk;
    for (char32_t c = first; c < first + kChunk; ++c) chunk.push_back(c);
    std::string expected = Encoded(Converters::kIconv, chunk, e);
    // Through the tables every character gives at least one byte ("?" at worst) except the
    // tag characters U+E0000-U+E007F, which the CJK converters drop. So outside those, N
    // bytes for N characters means one byte each, and the same N bytes from iconv mean the
    // same byte for each character. Any other chunk is compared one character at a time.
    bool tags = first <= 0xE007F && first + kChunk > 0xE0000;
    if (!tags && expected.size() == chunk.size() &&
        Encoded(Converters::kTables, chunk, e) == expected) {
      continue;
    }
    for (char32_t c : chunk) {
      std::u32string one(1, c);
      std::string want = Encoded(Converters::kIconv, one, e);
      if (Encoded(Converters::kTables, one, e) != want) {
        ADD_FAILURE() << std::hex << "encoding " << e << ": U+" << static_cast<uint32_t>(c)
                      << " gives " << Hex(want) << " through iconv";
        if (++mismatches == 5) break;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(CodePageTables, EveryCharacter, ::testing::ValuesIn(CodePages()),
                         [](const ::testing::TestParamInfo<uint32_t>& info) {
                           char name[16];
                           std::snprintf(name, sizeof name, "x%04X", info.param);
                           return std::string(name);
                         });

TEST(CodePageTables, RandomTextsConvertAsThroughIconv) {
  // Longer inputs catch any dependence on what came before.
  std::mt19937 random(20240611);
  for (uint32_t e : CodePages()) {
    for (int round = 0; round < 4; ++round) {
      std::string bytes(4096, '\0');
      for (char& b : bytes) b = static_cast<char>(random() & 0xFF);
      std::u32string text = Decoded(Converters::kIconv, bytes, e);
      ASSERT_EQ(Decoded(Converters::kTables, bytes, e), text) << std::hex << e;
      EXPECT_EQ(Encoded(Converters::kTables, text, e), Encoded(Converters::kIconv, text, e))
          << std::hex << e;
      std::u32string mixed;
      for (int i = 0; i < 1024; ++i) {
        char32_t c = random() % 4 == 0 ? random() % 0x110000 : random() % 0x10000;
        mixed.push_back(c);
      }
      EXPECT_EQ(Encoded(Converters::kTables, mixed, e), Encoded(Converters::kIconv, mixed, e))
          << std::hex << e;
    }
  }
}

TEST(CodePageTables, LowerCaseIsTheLocales) {
  locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
  if (utf8 == static_cast<locale_t>(0)) GTEST_SKIP() << "this system has no C.UTF-8 locale";
  size_t changed = 0;
  for (char32_t c = 0; c <= 0xFFFF; ++c) {
    char32_t lower = static_cast<char32_t>(towlower_l(static_cast<wint_t>(c), utf8));
    ASSERT_EQ(simhost::tables::LowerCase(c), lower) << std::hex << static_cast<uint32_t>(c);
    if (lower != c) ++changed;
  }
  freelocale(utf8);
  EXPECT_GT(changed, 1000u);
}

#else

TEST(CodePageTables, AreTheHostsConverters) {
  EXPECT_EQ(simhost::kPlatformConverters, Converters::kTables);
  for (uint32_t e : kIconvOnly) EXPECT_FALSE(simhost::IsKnownEncoding(e)) << std::hex << e;
  EXPECT_GE(CodePages().size(), 60u);
  EXPECT_EQ(Decoded(Converters::kIconv, "a", 0x0420), U"<failed>");
  EXPECT_EQ(Decoded(Converters::kTables, "\x82\xA0", 0x0420), U"\u3042");
  EXPECT_EQ(simhost::tables::LowerCase(U'\u0410'), U'\u0430');
}

#endif

}  // namespace
