// Which faces a browser should try for a font name from a document. Documents often carry a
// PostScript name ("ArialMT", "Helvetica-BoldOblique") that no browser finds as a family; left
// alone, the page falls back to the browser's default face, usually a serif one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pendlow {

struct FontFallbacks {
  std::string family;   // the family behind the name ("Helvetica"); "" when it is the name itself
  std::string generic;  // "serif", "sans-serif", "monospace", "cursive"; "" when not known
};

// The family the name belongs to, with PostScript style suffixes ("-Bold", "-BoldOblique",
// ",Italic") and vendor tags ("MT", "PSMT", "PS") taken off, and the generic face of the
// families people meet in documents (Arial, Helvetica, Times, Courier, Consolas, ...).
FontFallbacks FallbacksFor(std::string_view font);

}  // namespace pendlow
