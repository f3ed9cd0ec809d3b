#include "formats/font_families.h"

#include <cctype>

namespace pendlow {

namespace {

struct KnownFamily {
  const char* key;  // lower case, letters and digits only
  const char* name;
  const char* generic;
};

constexpr const char* kSans = "sans-serif";
constexpr const char* kSerif = "serif";
constexpr const char* kMono = "monospace";
constexpr const char* kCursive = "cursive";

// The families of Windows, macOS and Linux desktops and of the common office documents.
constexpr KnownFamily kKnownFamilies[] = {
    // Sans-serif
    {"arial", "Arial", kSans},
    {"arialnarrow", "Arial Narrow", kSans},
    {"arialblack", "Arial Black", kSans},
    {"arialunicodems", "Arial Unicode MS", kSans},
    {"helvetica", "Helvetica", kSans},
    {"helveticaneue", "Helvetica Neue", kSans},
    {"verdana", "Verdana", kSans},
    {"tahoma", "Tahoma", kSans},
    {"calibri", "Calibri", kSans},
    {"calibrilight", "Calibri Light", kSans},
    {"candara", "Candara", kSans},
    {"corbel", "Corbel", kSans},
    {"segoeui", "Segoe UI", kSans},
    {"trebuchetms", "Trebuchet MS", kSans},
    {"microsoftsansserif", "Microsoft Sans Serif", kSans},
    {"mssansserif", "MS Sans Serif", kSans},
    {"centurygothic", "Century Gothic", kSans},
    {"franklingothic", "Franklin Gothic", kSans},
    {"franklingothicmedium", "Franklin Gothic Medium", kSans},
    {"gillsans", "Gill Sans", kSans},
    {"futura", "Futura", kSans},
    {"optima", "Optima", kSans},
    {"avenir", "Avenir", kSans},
    {"avenirnext", "Avenir Next", kSans},
    {"geneva", "Geneva", kSans},
    {"lucidagrande", "Lucida Grande", kSans},
    {"lucidasans", "Lucida Sans", kSans},
    {"lucidasansunicode", "Lucida Sans Unicode", kSans},
    {"myriadpro", "Myriad Pro", kSans},
    {"frutiger", "Frutiger", kSans},
    {"univers", "Univers", kSans},
    {"impact", "Impact", kSans},
    {"sfprotext", "SF Pro Text", kSans},
    {"sfprodisplay", "SF Pro Display", kSans},
    {"roboto", "Roboto", kSans},
    {"opensans", "Open Sans", kSans},
    {"notosans", "Noto Sans", kSans},
    {"sourcesanspro", "Source Sans Pro", kSans},
    {"ubuntu", "Ubuntu", kSans},
    {"dejavusans", "DejaVu Sans", kSans},
    {"liberationsans", "Liberation Sans", kSans},
    {"freesans", "FreeSans", kSans},
    {"nimbussans", "Nimbus Sans", kSans},
    {"arimo", "Arimo", kSans},
    {"carlito", "Carlito", kSans},
    // Serif
    {"times", "Times", kSerif},
    {"timesroman", "Times Roman", kSerif},
    {"timesnewroman", "Times New Roman", kSerif},
    {"georgia", "Georgia", kSerif},
    {"cambria", "Cambria", kSerif},
    {"constantia", "Constantia", kSerif},
    {"garamond", "Garamond", kSerif},
    {"ebgaramond", "EB Garamond", kSerif},
    {"palatino", "Palatino", kSerif},
    {"palatinolinotype", "Palatino Linotype", kSerif},
    {"bookantiqua", "Book Antiqua", kSerif},
    {"bookman", "Bookman", kSerif},
    {"bookmanoldstyle", "Bookman Old Style", kSerif},
    {"centuryschoolbook", "Century Schoolbook", kSerif},
    {"newcenturyschlbk", "New Century Schoolbook", kSerif},
    {"baskerville", "Baskerville", kSerif},
    {"bigcaslon", "Big Caslon", kSerif},
    {"didot", "Didot", kSerif},
    {"bodoni", "Bodoni", kSerif},
    {"hoeflertext", "Hoefler Text", kSerif},
    {"cochin", "Cochin", kSerif},
    {"charter", "Charter", kSerif},
    {"minionpro", "Minion Pro", kSerif},
    {"msserif", "MS Serif", kSerif},
    {"sourceserifpro", "Source Serif Pro", kSerif},
    {"notoserif", "Noto Serif", kSerif},
    {"dejavuserif", "DejaVu Serif", kSerif},
    {"liberationserif", "Liberation Serif", kSerif},
    {"freeserif", "FreeSerif", kSerif},
    {"tinos", "Tinos", kSerif},
    {"caladea", "Caladea", kSerif},
    // Monospace
    {"courier", "Courier", kMono},
    {"couriernew", "Courier New", kMono},
    {"consolas", "Consolas", kMono},
    {"menlo", "Menlo", kMono},
    {"monaco", "Monaco", kMono},
    {"lucidaconsole", "Lucida Console", kMono},
    {"lucidasanstypewriter", "Lucida Sans Typewriter", kMono},
    {"andalemono", "Andale Mono", kMono},
    {"sfmono", "SF Mono", kMono},
    {"cascadiacode", "Cascadia Code", kMono},
    {"cascadiamono", "Cascadia Mono", kMono},
    {"sourcecodepro", "Source Code Pro", kMono},
    {"inconsolata", "Inconsolata", kMono},
    {"firacode", "Fira Code", kMono},
    {"firamono", "Fira Mono", kMono},
    {"jetbrainsmono", "JetBrains Mono", kMono},
    {"ubuntumono", "Ubuntu Mono", kMono},
    {"notosansmono", "Noto Sans Mono", kMono},
    {"dejavusansmono", "DejaVu Sans Mono", kMono},
    {"liberationmono", "Liberation Mono", kMono},
    {"freemono", "FreeMono", kMono},
    {"cousine", "Cousine", kMono},
    // Handwriting
    {"comicsansms", "Comic Sans MS", kCursive},
    {"brushscriptmt", "Brush Script MT", kCursive},
    {"lucidahandwriting", "Lucida Handwriting", kCursive},
    {"applechancery", "Apple Chancery", kCursive},
    {"zapfchancery", "Zapf Chancery", kCursive},
};

// Lower-case letters and digits: "Times New Roman" and "TimesNewRoman" meet as "timesnewroman".
std::string Key(std::string_view name) {
  std::string key;
  for (char c : name) {
    unsigned char u = static_cast<unsigned char>(c);
    if (std::isalnum(u) && u < 0x80) key += static_cast<char>(std::tolower(u));
  }
  return key;
}

const KnownFamily* Find(std::string_view name) {
  std::string key = Key(name);
  if (key.empty()) return nullptr;
  for (const KnownFamily& family : kKnownFamilies) {
    if (key == family.key) return &family;
  }
  return nullptr;
}

bool EndsWith(std::string_view text, std::string_view suffix) {
  return text.size() > suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// "Helvetica-BoldOblique" -> "Helvetica", "Arial,Bold" -> "Arial", "ArialMT" -> "Arial",
// "TimesNewRomanPSMT" -> "TimesNewRoman". The tags are upper case in PostScript names, so
// "Helvetica Neue" or "Optima" keep their own endings.
std::string_view StripPostScript(std::string_view name) {
  size_t cut = name.find_first_of("-,");
  if (cut != std::string_view::npos && cut > 0) name = name.substr(0, cut);
  for (std::string_view tag : {"PSMT", "MT", "PS"}) {
    if (EndsWith(name, tag)) {
      name.remove_suffix(tag.size());
      break;
    }
  }
  while (!name.empty() && name.back() == ' ') name.remove_suffix(1);
  return name;
}

}  // namespace

FontFallbacks FallbacksFor(std::string_view font) {
  FontFallbacks result;
  // The family first: "Times-Roman" is Times, not Times Roman.
  std::string_view stripped = StripPostScript(font);
  const KnownFamily* known = Find(stripped);
  if (known == nullptr) known = Find(font);
  if (known != nullptr) {
    result.generic = known->generic;
    if (known->name != font) result.family = known->name;
  } else if (!stripped.empty() && stripped != font) {
    result.family = std::string(stripped);
  }
  return result;
}

}  // namespace pendlow
