// Random styled texts exported through the loaded library and compared byte for byte with a
// small independent model of the writer: fonts and colours numbered by first use, each run's
// changed formatting, the paragraph that holds each run's middle, and the escaped text.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "simhost/host.h"
#include "support/utf8.h"

namespace {

using simhost::RunRecipe;

// UTF-8 to UTF-16 code units (the generator only produces valid UTF-8).
std::u16string Units(const std::string& utf8) {
  std::u16string out;
  for (size_t i = 0; i < utf8.size();) {
    const auto b = static_cast<unsigned char>(utf8[i]);
    uint32_t cp = b;
    size_t n = 1;
    if (b >= 0xF0) {
      cp = b & 0x07;
      n = 4;
    } else if (b >= 0xE0) {
      cp = b & 0x0F;
      n = 3;
    } else if (b >= 0xC0) {
      cp = b & 0x1F;
      n = 2;
    }
    for (size_t k = 1; k < n; ++k)
      cp = (cp << 6) | (static_cast<unsigned char>(utf8[i + k]) & 0x3F);
    i += n;
    if (cp >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      out += static_cast<char16_t>(cp);
    }
  }
  return out;
}

// The simulated host compares font names ignoring ASCII case; a null name equals "".
bool SameFont(const std::optional<std::string>& a, const std::optional<std::string>& b) {
  const std::string x = a.value_or(""), y = b.value_or("");
  if (x.size() != y.size()) return false;
  for (size_t i = 0; i < x.size(); ++i) {
    auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    if (fold(x[i]) != fold(y[i])) return false;
  }
  return true;
}

std::string Model(const std::vector<RunRecipe>& runs,
                  const std::vector<simhost::Paragraph>& paragraphs, bool skip) {
  // Alignment of the paragraph holding each run's middle; the later paragraph wins.
  std::vector<int64_t> alignment(runs.size(), 0);
  int64_t pos = 0;
  for (size_t r = 0; r < runs.size(); ++r) {
    const int64_t length = static_cast<int64_t>(test_support::CodePointCount(runs[r].text));
    const int64_t middle = pos + length / 2;
    if (!skip)
      for (const simhost::Paragraph& p : paragraphs)
        if (p.start <= middle && middle <= p.end) alignment[r] = p.alignment;
    pos += length;
  }

  std::map<uint32_t, int> colours;
  std::vector<uint32_t> colourList;
  std::map<std::string, int> fonts;
  std::vector<std::string> fontList;
  for (const RunRecipe& run : runs) {
    if (colours.emplace(run.color, static_cast<int>(colourList.size())).second)
      colourList.push_back(run.color);
    const std::string name = run.font.value_or("");
    if (!name.empty() && fonts.emplace(name, static_cast<int>(fontList.size())).second)
      fontList.push_back(name);
  }

  std::string out = "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl";
  for (size_t i = 0; i < fontList.size(); ++i)
    out += "{\\f" + std::to_string(i) + "\\fnil " + fontList[i] + ";}";
  out += "}{\\colortbl";
  for (uint32_t v : colourList)
    out += "\\red" + std::to_string((v >> 16) & 0xFF) + "\\green" +
           std::to_string((v >> 8) & 0xFF) + "\\blue" + std::to_string(v & 0xFF) + ";";
  out += "}\\uc0 ";

  int64_t curAlignment = 0;
  bool bold = false, italic = false, underline = false;
  std::optional<std::string> curFont;
  uint32_t curColour = 0;
  int64_t curSize = 0;
  for (size_t r = 0; r < runs.size(); ++r) {
    const RunRecipe& run = runs[r];
    bool changed = false;
    if (alignment[r] != curAlignment) {
      out += alignment[r] == 2 ? "\\qc" : alignment[r] == 3 ? "\\qr" : "\\ql";
      curAlignment = alignment[r];
      changed = true;
    }
    if (run.bold != bold) out += run.bold ? "\\b" : "\\b0", bold = run.bold, changed = true;
    if (run.italic != italic)
      out += run.italic ? "\\i" : "\\i0", italic = run.italic, changed = true;
    if (run.underline != underline)
      out += run.underline ? "\\ul" : "\\ul0", underline = run.underline, changed = true;
    if (run.font && !SameFont(run.font, curFont)) {
      auto found = fonts.find(*run.font);
      out += "\\f" + std::to_string(found == fonts.end() ? 0 : found->second);
      curFont = run.font;
      changed = true;
    }
    if (run.color != curColour) {
      out += "\\cf" + std::to_string(colours[run.color]);
      curColour = run.color;
      changed = true;
    }
    if (run.size != curSize) {
      // Whole points: size * 2 + 0.5 truncated toward zero.
      out += "\\fs" + std::to_string(run.size * 2 + (run.size < 0 ? 1 : 0));
      curSize = run.size;
      changed = true;
    }
    if (changed) out += ' ';
    char16_t prev = 0;
    for (char16_t u : Units(run.text)) {
      if (u < 9) {
      } else if (u == 13 || u == 10) {
        if (prev != (u == 13 ? 10 : 13)) out += "\\par ";
      } else if (u >= 128) {
        out += "\\u" + std::to_string(static_cast<unsigned>(u)) + " ";
      } else if (u == '\\' || u == '{' || u == '}') {
        out += '\\';
        out += static_cast<char>(u);
      } else {
        out += static_cast<char>(u);
      }
      prev = u;
    }
  }
  return out + "}";
}

// maxPieces bounds the text's length; asciiOnly leaves out the non-ASCII pieces (the writer
// reads pure ASCII text from its bytes, everything else as UTF-16 units).
RunRecipe RandomRun(std::mt19937& rng, size_t maxPieces = 6, bool asciiOnly = false) {
  static const std::vector<std::string> pieces = {"a",
                                                  "Z",
                                                  " ",
                                                  "\\",
                                                  "{",
                                                  "}",
                                                  "\t",
                                                  "\r",
                                                  "\n",
                                                  "\r\n",
                                                  "\x01",
                                                  std::string(1, '\0'),
                                                  "\x7F",
                                                  "\x0B",
                                                  "\xC3\xA9",
                                                  "\xE2\x82\xAC",
                                                  "\xF0\x9F\x98\x80",
                                                  "\xEF\xBF\xBF",
                                                  "word"};
  static const std::vector<std::optional<std::string>> fonts = {
      std::nullopt, std::string(), "Arial", "arial", "Courier", "Z\xC3\xA9ro", "A}b;c",
      // Names of every length class the font table compares by, some alike at both ends.
      "X", "Sym", "Garamond", "Helvetica", "Times New Roman", "Times Old Roman", "Courier New Bold",
      "Lucida Sans Unicode", "Lucida Sanz Unicode"};
  static const std::vector<int64_t> sizes = {0, 9, 12, 12, -3, 72, 1000000};
  static const std::vector<uint32_t> colours = {0, 0x00FF0000, 0x80000000, 0x00123456, 0xFF123456};
  auto pick = [&rng](size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng); };
  RunRecipe run;
  const size_t count = pick(maxPieces + 1);
  for (size_t i = 0; i < count; ++i) {
    const std::string& piece = pieces[pick(pieces.size())];
    if (asciiOnly && static_cast<unsigned char>(piece[0]) >= 0x80) continue;
    run.text += piece;
  }
  run.font = fonts[pick(fonts.size())];
  run.size = sizes[pick(sizes.size())];
  run.color = colours[pick(colours.size())];
  run.bold = pick(2) == 1;
  run.italic = pick(2) == 1;
  run.underline = pick(2) == 1;
  return run;
}

void CompareRandomDocuments(size_t maxPieces, bool asciiOnly, int documents) {
  simhost::Options options;
  options.captureLog = false;
  simhost::Host host(options);
  simhost::Plugin plugin(host);
  ASSERT_TRUE(plugin.loaded()) << plugin.error();
  std::mt19937 rng(20240611);
  const int64_t alignments[] = {0, 1, 2, 3, 4, -1};
  for (int doc = 0; doc < documents; ++doc) {
    std::vector<RunRecipe> runs(1 + rng() % 10);
    for (RunRecipe& run : runs) run = RandomRun(rng, maxPieces, asciiOnly);
    REALobject st = host.NewStyledText();
    for (const RunRecipe& run : runs) host.AppendRun(st, run);
    const size_t paragraphCount = host.ParagraphsOf(st).size();
    for (size_t k = 0; k < paragraphCount; ++k)
      host.SetParagraphAlignment(st, static_cast<int64_t>(k), alignments[rng() % 6]);
    const auto paragraphs = host.ParagraphsOf(st);
    for (bool skip : {false, true}) {
      // A text without paragraphs exports nothing, also when paragraphs are skipped.
      const std::string expected = paragraphs.empty() ? "" : Model(runs, paragraphs, skip);
      ASSERT_EQ(plugin.Get(st, skip), expected) << "document " << doc << " skip " << skip;
    }
    host.Release(st);
  }
  EXPECT_EQ(host.Misuses(), 0u);
}

TEST(ExportModel, RandomDocumentsMatchByteForByte) {
  CompareRandomDocuments(6, false, 400);
}

// Texts long enough for the writer's block-wise scan, with the special characters at every
// offset of a block and at its edges.
TEST(ExportModel, LongRandomTextsMatchByteForByte) {
  CompareRandomDocuments(60, true, 300);
  CompareRandomDocuments(60, false, 300);
}

}  // namespace
