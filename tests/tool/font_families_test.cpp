// The faces the HTML page offers a browser for a document's font name.
#include <gtest/gtest.h>

#include <initializer_list>
#include <iterator>
#include <vector>

#include "pendlow/formats/font_families.h"

namespace pendlow {
namespace {

struct Case {
  const char* font;
  const char* family;
  const char* generic;
};

void PrintTo(const Case& c, std::ostream* os) {
  *os << '"' << c.font << '"';
}

class FontFallbacksFor : public ::testing::TestWithParam<Case> {};

TEST_P(FontFallbacksFor, NamesTheFamilyAndTheGenericFace) {
  const Case& c = GetParam();
  FontFallbacks fallbacks = FallbacksFor(c.font);
  EXPECT_EQ(fallbacks.family, c.family) << c.font;
  EXPECT_EQ(fallbacks.generic, c.generic) << c.font;
}

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  // Family names as they are: no second name, only the generic face.
  auto asTheyAre = [&cases](const char* generic, std::initializer_list<const char*> fonts) {
    for (const char* font : fonts) cases.push_back(Case{font, "", generic});
  };
  asTheyAre("sans-serif",
            {"Arial", "Helvetica", "Verdana", "Tahoma", "Calibri", "Segoe UI", "Helvetica Neue"});
  asTheyAre("serif", {"Times New Roman", "Times", "Georgia", "Cambria", "Garamond"});
  asTheyAre("monospace",
            {"Courier", "Courier New", "Consolas", "Menlo", "Monaco", "Lucida Console"});
  asTheyAre("cursive", {"Comic Sans MS", "Brush Script MT"});
  // Endings that are part of a family's name stay.
  asTheyAre("sans-serif", {"Optima", "Impact"});
  const Case others[] = {
      // Another spelling of a known family: its usual name as the second choice.
      {"times new roman", "Times New Roman", "serif"},
      {"SegoeUI", "Segoe UI", "sans-serif"},
      // PostScript names: style suffixes and vendor tags taken off.
      {"ArialMT", "Arial", "sans-serif"},
      {"Arial-BoldMT", "Arial", "sans-serif"},
      {"Arial-ItalicMT", "Arial", "sans-serif"},
      {"Helvetica-Bold", "Helvetica", "sans-serif"},
      {"Helvetica-BoldOblique", "Helvetica", "sans-serif"},
      {"HelveticaNeue-Light", "Helvetica Neue", "sans-serif"},
      {"Verdana,Bold", "Verdana", "sans-serif"},
      {"TimesNewRomanPSMT", "Times New Roman", "serif"},
      {"TimesNewRomanPS-BoldMT", "Times New Roman", "serif"},
      {"Times-Roman", "Times", "serif"},
      {"Times-BoldItalic", "Times", "serif"},
      {"Georgia-Italic", "Georgia", "serif"},
      {"CourierNewPSMT", "Courier New", "monospace"},
      {"Courier-Oblique", "Courier", "monospace"},
      {"Menlo-Regular", "Menlo", "monospace"},
      // Unknown families: the stripped name where there is one, no generic face.
      {"Zapfino", "", ""},
      {"Symbol", "", ""},
      {"Wingdings", "", ""},
      {"Unheard-Bold", "Unheard", ""},
      {"FancyMT", "Fancy", ""},
      // Names too short to strip, or nothing but punctuation, are left as they are.
      {"MT", "", ""},
      {"-Bold", "", ""},
      {"", "", ""},
  };
  cases.insert(cases.end(), std::begin(others), std::end(others));
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Names, FontFallbacksFor, ::testing::ValuesIn(AllCases()));

}  // namespace
}  // namespace pendlow
