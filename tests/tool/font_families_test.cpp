// The faces the HTML page offers a browser for a document's font name.
#include <gtest/gtest.h>

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

INSTANTIATE_TEST_SUITE_P(
    Names, FontFallbacksFor,
    ::testing::Values(
        // Family names as they are: no second name, only the generic face.
        Case{"Arial", "", "sans-serif"}, Case{"Helvetica", "", "sans-serif"},
        Case{"Verdana", "", "sans-serif"}, Case{"Tahoma", "", "sans-serif"},
        Case{"Calibri", "", "sans-serif"}, Case{"Segoe UI", "", "sans-serif"},
        Case{"Helvetica Neue", "", "sans-serif"}, Case{"Times New Roman", "", "serif"},
        Case{"Times", "", "serif"}, Case{"Georgia", "", "serif"}, Case{"Cambria", "", "serif"},
        Case{"Garamond", "", "serif"}, Case{"Courier", "", "monospace"},
        Case{"Courier New", "", "monospace"}, Case{"Consolas", "", "monospace"},
        Case{"Menlo", "", "monospace"}, Case{"Monaco", "", "monospace"},
        Case{"Lucida Console", "", "monospace"}, Case{"Comic Sans MS", "", "cursive"},
        Case{"Brush Script MT", "", "cursive"},
        // Another spelling of a known family: its usual name as the second choice.
        Case{"times new roman", "Times New Roman", "serif"},
        Case{"SegoeUI", "Segoe UI", "sans-serif"},
        // PostScript names: style suffixes and vendor tags taken off.
        Case{"ArialMT", "Arial", "sans-serif"}, Case{"Arial-BoldMT", "Arial", "sans-serif"},
        Case{"Arial-ItalicMT", "Arial", "sans-serif"},
        Case{"Helvetica-Bold", "Helvetica", "sans-serif"},
        Case{"Helvetica-BoldOblique", "Helvetica", "sans-serif"},
        Case{"HelveticaNeue-Light", "Helvetica Neue", "sans-serif"},
        Case{"Verdana,Bold", "Verdana", "sans-serif"},
        Case{"TimesNewRomanPSMT", "Times New Roman", "serif"},
        Case{"TimesNewRomanPS-BoldMT", "Times New Roman", "serif"},
        Case{"Times-Roman", "Times", "serif"}, Case{"Times-BoldItalic", "Times", "serif"},
        Case{"Georgia-Italic", "Georgia", "serif"},
        Case{"CourierNewPSMT", "Courier New", "monospace"},
        Case{"Courier-Oblique", "Courier", "monospace"},
        Case{"Menlo-Regular", "Menlo", "monospace"},
        // Unknown families: the stripped name where there is one, no generic face.
        Case{"Zapfino", "", ""}, Case{"Symbol", "", ""}, Case{"Wingdings", "", ""},
        Case{"Unheard-Bold", "Unheard", ""}, Case{"FancyMT", "Fancy", ""},
        // Names too short to strip, or nothing but punctuation, are left as they are.
        Case{"MT", "", ""}, Case{"-Bold", "", ""}, Case{"", "", ""},
        // Endings that are part of a family's name stay.
        Case{"Optima", "", "sans-serif"}, Case{"Impact", "", "sans-serif"}));

}  // namespace
}  // namespace pendlow
