// Every document of the real-world corpus imports without a crash, a leaked handle or a misused
// one. The test also prints what the import kept of the corpus (runs, fonts, colours, styles,
// alignments) and how often the documents use features it drops.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "import_fixture.h"
#include "support/corpus.h"
#include "support/utf8.h"

namespace import_test {
namespace {

namespace fs = std::filesystem;

// Control words the import does not turn into anything, grouped by what the reader loses.
const std::vector<std::pair<std::string, std::vector<std::string>>> kDroppedFeatures = {
    {"tabs (\\tab)", {"tab"}},
    {"line breaks (\\line)", {"line"}},
    {"special characters (\\emdash \\endash \\bullet quotes)",
     {"emdash", "endash", "bullet", "lquote", "rquote", "ldblquote", "rdblquote"}},
    {"pictures (\\pict)", {"pict"}},
    {"tables (\\trowd \\cell)", {"trowd", "cell"}},
    {"lists (\\ls \\listtext \\pntext)", {"ls", "listtext", "pntext"}},
    {"fields and links (\\field)", {"field"}},
    {"footnotes (\\footnote)", {"footnote"}},
    {"strike, super/subscript", {"strike", "super", "sub", "nosupersub"}},
    {"highlight and background (\\highlight \\cb)", {"highlight", "cb", "chcbpat"}},
    {"indents (\\li \\ri \\fi)", {"li", "ri", "fi"}},
    {"paragraph spacing (\\sb \\sa \\sl)", {"sb", "sa", "sl"}},
    {"style sheet references (\\s \\cs)", {"s", "cs"}},
    {"\\plain (style reset)", {"plain"}},
    {"fallback counts (\\uc)", {"uc"}},
};

struct Totals {
  size_t documents = 0, withRuns = 0, bytes = 0;
  size_t runs = 0, characters = 0, paragraphs = 0;
  size_t boldRuns = 0, italicRuns = 0, underlineRuns = 0, colouredRuns = 0, sizedRuns = 0;
  size_t fontedRuns = 0;
  std::map<int64_t, size_t> alignments;  // paragraph alignment -> count
  std::set<std::string> fonts;
  std::set<uint32_t> colours;
  std::set<int64_t> sizes;
  std::map<std::string, std::pair<size_t, size_t>> dropped;  // documents, occurrences
};

void CountDropped(const std::string& rtf, Totals& totals) {
  std::map<std::string, size_t> words;
  for (size_t i = 0; i + 1 < rtf.size(); ++i) {
    if (rtf[i] != '\\') continue;
    size_t j = i + 1;
    while (j < rtf.size() && rtf[j] >= 'a' && rtf[j] <= 'z') ++j;
    if (j == i + 1) {
      ++i;  // control symbol: "\\" must not start a word
      continue;
    }
    ++words[rtf.substr(i + 1, j - i - 1)];
    i = j - 1;
  }
  for (const auto& feature : kDroppedFeatures) {
    size_t n = 0;
    for (const std::string& w : feature.second) {
      const auto found = words.find(w);
      if (found != words.end()) n += found->second;
    }
    if (n > 0) {
      ++totals.dropped[feature.first].first;
      totals.dropped[feature.first].second += n;
    }
  }
}

void PrintTotals(const Totals& t) {
  std::ostringstream out;
  out << "\nImport of the real corpus (" << t.documents << " documents, " << t.bytes
      << " bytes of RTF)\n\n"
      << "| kept | measure |\n|---|---|\n"
      << "| documents giving at least one run | " << t.withRuns << " |\n"
      << "| style runs | " << t.runs << " |\n"
      << "| characters of text | " << t.characters << " |\n"
      << "| paragraphs | " << t.paragraphs << " |\n"
      << "| runs with a font name | " << t.fontedRuns << " (" << t.fonts.size()
      << " distinct fonts) |\n"
      << "| runs with a size | " << t.sizedRuns << " (" << t.sizes.size() << " distinct sizes) |\n"
      << "| runs with a colour other than black | " << t.colouredRuns << " (" << t.colours.size()
      << " distinct colours) |\n"
      << "| bold / italic / underlined runs | " << t.boldRuns << " / " << t.italicRuns << " / "
      << t.underlineRuns << " |\n";
  out << "| paragraph alignments (0 none, 1 left, 2 centre, 3 right) |";
  for (const auto& a : t.alignments) out << " " << a.first << ": " << a.second << ";";
  out << " |\n\n| dropped feature | documents using it | occurrences |\n|---|---|---|\n";
  for (const auto& feature : kDroppedFeatures) {
    const auto found = t.dropped.find(feature.first);
    const auto counts =
        found != t.dropped.end() ? found->second : std::make_pair(size_t{0}, size_t{0});
    out << "| " << feature.first << " | " << counts.first << " | " << counts.second << " |\n";
  }
  std::cout << out.str() << std::flush;
}

TEST_F(ImportTest, EveryRealDocumentImports) {
  const std::vector<fs::path> files = test_support::CorpusFiles();
  ASSERT_FALSE(files.empty()) << test_support::CorpusMissing();
  ASSERT_GT(files.size(), 200u) << "the corpus in " << test_support::CorpusFolder()
                                << " is incomplete";
  Totals totals;
  for (const fs::path& file : files) {
    SCOPED_TRACE(file.filename().string());
    const std::string rtf = test_support::ReadDocument(file);
    const std::vector<simhost::Run> runs = Import(rtf);
    if (HasFailure()) break;
    ++totals.documents;
    totals.bytes += rtf.size();
    totals.withRuns += !runs.empty();
    totals.runs += runs.size();
    totals.paragraphs += host_.ParagraphsOf(styledText_).size();
    for (const simhost::Paragraph& p : host_.ParagraphsOf(styledText_))
      ++totals.alignments[p.alignment];
    for (const simhost::Run& r : runs) {
      totals.characters += test_support::CodePointCount(r.text);
      totals.boldRuns += r.bold;
      totals.italicRuns += r.italic;
      totals.underlineRuns += r.underline;
      if (!r.font.empty()) {
        ++totals.fontedRuns;
        totals.fonts.insert(r.font);
      }
      if (r.color != 0) {
        ++totals.colouredRuns;
        totals.colours.insert(r.color);
      }
      if (r.size != 0) {
        ++totals.sizedRuns;
        totals.sizes.insert(r.size);
      }
    }
    CountDropped(rtf, totals);
  }
  EXPECT_EQ(totals.documents, files.size());
  // Most documents of the corpus hold ordinary styled text.
  EXPECT_GT(totals.withRuns, files.size() * 3 / 4);
  PrintTotals(totals);
}

}  // namespace
}  // namespace import_test
