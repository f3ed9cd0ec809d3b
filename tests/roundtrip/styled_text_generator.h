// Random styled texts for the round-trip properties, reproducible from a seed.
//
// Range::kExpressible keeps to what the getter's RTF can carry back into a StyledText:
// - text: ASCII (backslash, braces, apostrophe, tab and the other control characters from 9 up
//   included), Latin-1, C1 controls and any other BMP character except the byte-order marks
//   U+FEFF and U+FFFE; CR as the only line break;
// - fonts: names without ";", "{", "}", "\" or a zero byte, no two of them equal when letter case
//   is ignored; runs without a font only before the first run with one;
// - sizes from 0 up, colours without a high byte;
// - paragraph alignments 1, 2 and 3, or 0 as long as no other alignment came before; every run
//   lies in paragraphs of one alignment.
// Range::kAnything drops these limits, except for three: font names that break the font table,
// font names that differ only in letter case, and the byte-order marks (the by-design tests show
// what becomes of them).
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "roundtrip_fixture.h"
#include "simhost/host.h"

namespace roundtrip {

enum class Range { kExpressible, kAnything };

struct GeneratedText {
  std::vector<simhost::RunRecipe> runs;
  std::vector<int64_t> alignments;  // by paragraph index
  bool skipParagraphs = false;

  std::string Describe() const {
    std::ostringstream os;
    for (const simhost::RunRecipe& r : runs) {
      const std::string text =
          simhost::Host::Convert(r.text, r.textEncoding, kREALTextEncodingUTF8).value_or("?");
      std::string font = "(none)";
      if (r.font) {
        font = "\"" +
               Printable(simhost::Host::Convert(*r.font, r.fontEncoding, kREALTextEncodingUTF8)
                             .value_or("?")) +
               "\"";
      }
      os << "  \"" << Printable(text) << "\" enc=0x" << std::hex << r.textEncoding
         << " font=" << font << " fontenc=0x" << r.fontEncoding << std::dec << " size=" << r.size
         << " color=0x" << std::hex << r.color << std::dec << (r.bold ? " bold" : "")
         << (r.italic ? " italic" : "") << (r.underline ? " underline" : "") << "\n";
    }
    os << "  alignments:";
    for (int64_t a : alignments) os << " " << a;
    os << (skipParagraphs ? "  (SkipParagraphs)" : "") << "\n";
    return os.str();
  }
};

class StyledTextGenerator {
 public:
  StyledTextGenerator(uint64_t seed, Range range) : rng_(seed), range_(range) {}

  GeneratedText Next() {
    GeneratedText out;
    const int runCount = Chance(1, 50) ? 0 : Between(1, 24);
    const int noFontRuns = Chance(2, 5) ? 0 : Between(0, runCount);
    std::u32string all;
    std::vector<std::pair<size_t, size_t>> spans;  // code-point range of each run
    simhost::RunRecipe previous;
    for (int i = 0; i < runCount; ++i) {
      simhost::RunRecipe run;
      if (i > 0 && Chance(3, 10)) {
        run = previous;  // equal formatting next to each other
      } else {
        PickFont(run, i < noFontRuns);
        run.size = PickSize();
        run.color = PickColor();
        run.bold = Chance(1, 3);
        run.italic = Chance(1, 3);
        run.underline = Chance(1, 4);
      }
      const std::u32string text = PickText();
      EncodeText(text, run);
      spans.emplace_back(all.size(), all.size() + text.size());
      all += text;
      previous = run;
      out.runs.push_back(run);
    }
    if (range_ == Range::kExpressible) {
      PickExpressibleAlignments(all, spans, out);
    } else {
      size_t breaks = 0;
      for (char32_t c : all) breaks += (c == '\r' || c == '\n') ? 1 : 0;
      for (size_t k = 0; k <= breaks; ++k) out.alignments.push_back(Between(-1, 5));
      out.skipParagraphs = Chance(1, 10);
    }
    return out;
  }

  // The paragraph rule the alignments are chosen for.
  simhost::ParagraphRule rule = simhost::ParagraphRule::kDocumented;

 private:
  struct Font {
    const char* utf8;
    bool latin1;  // can be held in ISO Latin 1
  };

  // The engine's own output is the same everywhere; distributions differ between libraries.
  int Between(int lo, int hi) {
    return lo + static_cast<int>(rng_() % static_cast<uint64_t>(hi - lo + 1));
  }
  bool Chance(int in, int of) { return Between(1, of) <= in; }

  void PickFont(simhost::RunRecipe& run, bool beforeFirstFont) {
    static const Font kFonts[] = {
        {"Arial", true},
        {"Times New Roman", true},
        {"Courier New", true},
        {" Leading Space", true},
        {"Trailing ", true},
        {"Tab\tFace", true},
        {"Symbol !@#$%^&*()'\"", true},
        {"Font-2_(x)", true},
        {"Caf\xC3\xA9 Sans", true},
        {"\xC3\x86nigma \xC3\x98", true},
        {"\xD0\x93\xD0\xB0\xD1\x80\xD0\xBD\xD0\xB8\xD1\x82\xD1\x83\xD1\x80\xD0\xB0", false},
        {"\xE5\xAE\x8B\xE4\xBD\x93", false},
        {"MS \xE3\x82\xB4\xE3\x82\xB7\xE3\x83\x83\xE3\x82\xAF", false},
        {"Emoji \xF0\x9F\x98\x80 Color", false},
    };
    const int known = static_cast<int>(sizeof kFonts / sizeof kFonts[0]);
    if (range_ == Range::kExpressible) {
      if (beforeFirstFont) {
        if (Chance(1, 2)) run.font = "";
        return;
      }
    } else if (Chance(1, 5)) {
      if (Chance(1, 4)) run.font = "";  // an empty name; otherwise no font at all
      return;
    }
    SetFont(run, kFonts[Between(0, known - 1)]);
  }

  void SetFont(simhost::RunRecipe& run, const Font& font) {
    const int choice = Between(0, 9);
    if (choice < 5 || (choice < 7 && !font.latin1)) {
      run.font = font.utf8;
      run.fontEncoding = kREALTextEncodingUTF8;
    } else if (choice < 7) {
      run.font =
          *simhost::Host::Convert(font.utf8, kREALTextEncodingUTF8, kREALTextEncodingISOLatin1);
      run.fontEncoding = kREALTextEncodingISOLatin1;
    } else {
      run.font = *simhost::Host::Convert(font.utf8, kREALTextEncodingUTF8, kREALTextEncodingUTF16);
      run.fontEncoding = kREALTextEncodingUTF16;
    }
  }

  int64_t PickSize() {
    const int choice = Between(0, 99);
    if (choice < 20) return 0;
    if (choice < 80) return Between(1, 96);
    if (choice < 95) return Between(97, 5000);
    if (range_ == Range::kAnything && choice < 98) return -Between(1, 50);
    return Between(100000, 1000000000);
  }

  uint32_t PickColor() {
    static const uint32_t kPalette[] = {0x000000, 0xFFFFFF, 0xFF0000, 0x00FF00, 0x0000FF, 0x336699};
    uint32_t color =
        Chance(3, 5) ? kPalette[Between(0, 5)] : static_cast<uint32_t>(Between(0, 0xFFFFFF));
    if (range_ == Range::kAnything && Chance(1, 5)) {
      color |= static_cast<uint32_t>(Between(1, 255)) << 24;
    }
    return color;
  }

  char32_t Pick(const std::vector<char32_t>& set) {
    return set[static_cast<size_t>(Between(0, static_cast<int>(set.size()) - 1))];
  }

  std::u32string PickText() {
    std::u32string text;
    if (Chance(1, 8)) return text;  // an empty run
    const int pieces = Between(1, 8);
    for (int p = 0; p < pieces; ++p) {
      const int kind = Between(0, range_ == Range::kAnything ? 11 : 8);
      switch (kind) {
        case 0:
        case 1: {  // a word
          const int letters = Between(1, 8);
          for (int k = 0; k < letters; ++k) {
            text += static_cast<char32_t>(Chance(1, 5) ? Between('A', 'Z') : Between('a', 'z'));
          }
          if (Chance(1, 2)) text += U' ';
          break;
        }
        case 2:  // characters the RTF escapes or that end a control word
          text += Pick(
              {U'\\', U'{', U'}', U'\'', U';', U'*', U'?', U' ', U' ', U'-', U'0', U'7', U'\\'});
          break;
        case 3:  // tab and the other control characters that survive
          text += Chance(1, 2) ? U'\t' : Pick({11, 12, 14, 15, 27, 31, 127});
          break;
        case 4:  // Latin-1 and C1 controls
          text += static_cast<char32_t>(Chance(4, 5) ? Between(0xA0, 0xFF) : Between(0x80, 0x9F));
          break;
        case 5:
        case 6: {  // elsewhere in the BMP: Greek, Cyrillic, CJK, Hangul,
          // private use, or one of a few chosen characters
          static const int kBlocks[][2] = {
              {0x391, 0x3C9}, {0x410, 0x44F}, {0x4E00, 0x9FFF}, {0xAC00, 0xD7A3}, {0xE000, 0xF8FF}};
          if (const int block = Between(0, 5); block < 5) {
            text += static_cast<char32_t>(Between(kBlocks[block][0], kBlocks[block][1]));
          } else {
            text += Pick({0x100, 0x7FF, 0x800, 0x2028, 0x2029, 0x20AC, 0xFFFD, 0xFFFF});
          }
          break;
        }
        case 7:
        case 8:  // paragraph ends
          text += U'\r';
          if (Chance(1, 4)) text += U'\r';
          break;
        case 9:  // other line breaks
          text += Pick({U'\n', U'\n', U'\r'});
          break;
        case 10:  // characters below tab
          text += static_cast<char32_t>(Between(0, 8));
          break;
        default:  // outside the BMP
          text += Pick({0x1F600, 0x10000, 0x1D11E, 0x10FFFF});
      }
    }
    return text;
  }

  void EncodeText(const std::u32string& text, simhost::RunRecipe& run) {
    const std::string utf8 = EncodeUTF8(text);
    bool latin1 = true;
    for (char32_t c : text) latin1 = latin1 && c <= 0xFF;
    const int choice = Between(0, 19);
    Encoding encoding = kREALTextEncodingUTF8;
    if (choice < 3) {
      encoding = kREALTextEncodingUTF16;
    } else if (choice < 4) {
      encoding = kREALTextEncodingUTF16BE;
    } else if (choice < 5) {
      encoding = kREALTextEncodingUTF32;
    } else if (choice < 8 && latin1) {
      encoding = kREALTextEncodingISOLatin1;
    }
    run.text = *simhost::Host::Convert(utf8, kREALTextEncodingUTF8, encoding);
    run.textEncoding = encoding;
  }
  using Encoding = simhost::Encoding;

  // Alignments by paragraph for CR-separated text: paragraphs that one run touches share one
  // alignment; 0 only before any other value.
  void PickExpressibleAlignments(const std::u32string& all,
                                 const std::vector<std::pair<size_t, size_t>>& spans,
                                 GeneratedText& out) {
    std::vector<size_t> paragraphOf(all.size() + 1);
    size_t breaks = 0;
    for (size_t i = 0; i < all.size(); ++i) {
      paragraphOf[i] = breaks;
      if (all[i] == '\r') ++breaks;
    }
    paragraphOf[all.size()] = breaks;
    const bool tail = !all.empty() && all.back() != '\r';
    const size_t count =
        rule == simhost::ParagraphRule::kDocumented ? breaks + (tail ? 1 : 0) : breaks + 1;
    std::vector<bool> sameAsBefore(count, false);
    for (const auto& span : spans) {
      if (span.second == span.first) continue;
      for (size_t k = paragraphOf[span.first] + 1; k <= paragraphOf[span.second - 1]; ++k) {
        sameAsBefore[k] = true;
      }
    }
    const int mode = Between(0, 9);
    const size_t zeroUpTo = mode == 0   ? count
                            : mode <= 3 ? static_cast<size_t>(Between(0, static_cast<int>(count)))
                                        : 0;
    for (size_t k = 0; k < count; ++k) {
      if (sameAsBefore[k]) {
        out.alignments.push_back(out.alignments.back());
      } else {
        out.alignments.push_back(k < zeroUpTo ? 0 : Between(1, 3));
      }
    }
    out.skipParagraphs = mode == 0 && Chance(1, 2);
  }

  std::mt19937_64 rng_;
  Range range_;
};

}  // namespace roundtrip
