#include <cstdio>

#include "formats/font_families.h"
#include "formats/formats.h"
#include "support/tool_version.h"
#include "support/utf8.h"

namespace pendlow {

namespace {

// Text as HTML character data. Control characters other than tab cannot appear in HTML, so
// they are shown as their Unicode control pictures.
std::string EscapeHtml(std::u32string_view text) {
  std::string out;
  for (char32_t cp : text) {
    switch (cp) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        if ((cp < 0x20 && cp != '\t') || cp == 0x7F) {
          AppendUtf8(cp == 0x7F ? 0x2421 : 0x2400 + cp, &out);
        } else {
          AppendUtf8(cp, &out);
        }
    }
  }
  return out;
}

std::string EscapeHtml(std::string_view utf8) {
  return EscapeHtml(DecodeUtf8(utf8));
}

// A CSS string literal (single quotes) for a font name; the result still needs HTML escaping
// when it goes into an attribute.
std::string CssString(std::string_view utf8) {
  std::string out = "'";
  for (char32_t cp : DecodeUtf8(utf8)) {
    if (cp == '\'' || cp == '\\' || cp < 0x20 || cp == 0x7F) {
      char buffer[16];
      std::snprintf(buffer, sizeof buffer, "\\%X ", static_cast<unsigned>(cp));
      out += buffer;
    } else {
      AppendUtf8(cp, &out);
    }
  }
  return out + "'";
}

// The font's own name first, then the family behind a PostScript name, then the generic face,
// so that "ArialMT" still shows in a sans-serif face where no font has that name.
std::string FontFamilyList(const std::string& font) {
  FontFallbacks fallbacks = FallbacksFor(font);
  std::string list = CssString(font);
  if (!fallbacks.family.empty()) list += ", " + CssString(fallbacks.family);
  if (!fallbacks.generic.empty()) list += ", " + fallbacks.generic;
  return list;
}

std::string RunStyle(const StyledRun& run) {
  std::string style;
  if (run.font && !run.font->empty()) style += "font-family:" + FontFamilyList(*run.font) + ";";
  if (run.size > 0) style += "font-size:" + std::to_string(run.size) + "pt;";
  style += "color:" + ColorHex(run.color) + ";";
  if (run.bold) style += "font-weight:bold;";
  if (run.italic) style += "font-style:italic;";
  if (run.underline) style += "text-decoration:underline;";
  return style;
}

// The CSS text-align of a paragraph alignment; none for the host's default (left for this page)
// and for values the host does not define.
bool HasTextAlign(int64_t alignment) {
  return alignment >= 1 && alignment <= 3;  // left, center, right: CSS has the same names
}

}  // namespace

std::string FormatHtml(const StyledDocument& document, const std::string& title) {
  std::string out =
      "<!DOCTYPE html>\n"
      "<html>\n"
      "<head>\n"
      "<meta charset=\"utf-8\">\n"
      "<meta name=\"generator\" content=\"pendlow " +
      EscapeHtml(std::string_view(ToolVersion())) +
      "\">\n"
      "<title>" +
      EscapeHtml(std::string_view(title)) +
      "</title>\n"
      "<style>\n"
      "body { margin: 24px; background: #ffffff; color: #000000; }\n"
      ".styled-text { font-family: serif; font-size: 12pt; line-height: 1.25; }\n"
      ".styled-text p { margin: 0; min-height: 1.25em; white-space: pre-wrap; "
      "overflow-wrap: anywhere; }\n"
      "</style>\n"
      "</head>\n"
      "<body>\n"
      "<div class=\"styled-text\">\n";
  std::vector<std::vector<Segment>> paragraphs = ParagraphSegments(document);
  for (size_t i = 0; i < paragraphs.size(); ++i) {
    int64_t alignment = i < document.paragraphs.size() ? document.paragraphs[i].alignment : 0;
    out += HasTextAlign(alignment) ? "<p style=\"text-align:" + AlignmentName(alignment) + "\">"
                                   : std::string("<p>");
    if (paragraphs[i].empty()) out += "<br>";  // keeps an empty paragraph one line high
    for (const Segment& segment : paragraphs[i]) {
      out += "<span style=\"" + EscapeHtml(RunStyle(document.runs[segment.run])) + "\">" +
             EscapeHtml(std::u32string_view(segment.text)) + "</span>";
    }
    out += "</p>\n";
  }
  out += "</div>\n</body>\n</html>\n";
  return out;
}

}  // namespace pendlow
