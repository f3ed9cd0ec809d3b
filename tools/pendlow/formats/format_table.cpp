#include <algorithm>
#include <cstdio>

#include "formats/formats.h"
#include "support/utf8.h"

namespace pendlow {

namespace {

constexpr size_t kPreviewLength = 40;  // characters of text shown per row
// Separators, tab, quote and backslash as C escapes ("\r" ...).
constexpr std::string_view kPreviewEscapes = "\rr\nn\tt\"\"\\\\";

// The text quoted, with separators and control characters made visible, cut to a preview.
std::string Preview(std::u32string_view text) {
  std::string out = "\"";
  size_t shown = 0;
  for (char32_t cp : text) {
    if (shown >= kPreviewLength) {
      out += "\"...";
      return out;
    }
    AppendEscaped(cp, kPreviewEscapes, "\\x%02X", &out);
    ++shown;
  }
  return out + "\"";
}

// A font name as it can go to a terminal: control characters shown as \xHH, so a name read
// from a document cannot move the cursor or change colours.
std::string Visible(std::string_view name) {
  std::string out;
  for (char32_t cp : DecodeUtf8(name)) AppendEscaped(cp, "", "\\x%02X", &out);
  return out;
}

// Columns padded to their widest cell; numbers right-aligned, the last column left open.
class Table {
 public:
  Table(std::vector<std::string> header, std::vector<bool> rightAligned)
      : right_(std::move(rightAligned)) {
    rows_.push_back(std::move(header));
  }
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

  // `marks` (one per data row, or none) go in front of column `markColumn`; each mark shows
  // as `markWidth` characters, so the header gets that many spaces there instead.
  std::string Render(size_t markColumn = 0, const std::vector<std::string>& marks = {},
                     size_t markWidth = 0) const {
    std::vector<size_t> widths(rows_[0].size(), 0);
    for (const auto& row : rows_) {
      for (size_t c = 0; c < row.size(); ++c) {
        widths[c] = std::max(widths[c], CountCodePoints(row[c]));
      }
    }
    std::string out;
    for (size_t r = 0; r < rows_.size(); ++r) {
      std::string line = " ";
      for (size_t c = 0; c < rows_[r].size(); ++c) {
        const std::string& cell = rows_[r][c];
        std::string pad(widths[c] - CountCodePoints(cell), ' ');
        line += "  ";
        if (!marks.empty() && c == markColumn) {
          line += r == 0 ? std::string(markWidth, ' ') : marks[r - 1];
        }
        if (right_[c]) {
          line += pad + cell;
        } else {
          line += c + 1 == rows_[r].size() ? cell : cell + pad;
        }
      }
      out += line + "\n";
    }
    return out;
  }

 private:
  std::vector<std::vector<std::string>> rows_;
  std::vector<bool> right_;
};

std::string Swatch(uint32_t color) {
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "\033[38;2;%u;%u;%um\u2588\u2588\033[0m ",
                static_cast<unsigned>((color >> 16) & 0xFF),
                static_cast<unsigned>((color >> 8) & 0xFF), static_cast<unsigned>(color & 0xFF));
  return buffer;
}

}  // namespace

std::string FormatTable(const StyledDocument& document, const std::string& sourceName,
                        bool swatches) {
  std::u32string text = DecodeUtf8(document.Text());
  auto plural = [](size_t n, const char* word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
  };
  std::string out = sourceName + ": " + plural(document.runs.size(), "run") + ", " +
                    plural(document.paragraphs.size(), "paragraph") + ", " +
                    plural(text.size(), "character") + "\n";
  if (document.runs.empty()) return out;

  Table runs({"#", "start", "end", "font", "size", "color", "style", "text"},
             {true, true, true, false, true, false, false, false});
  std::vector<std::string> marks;
  size_t start = 0;
  for (size_t i = 0; i < document.runs.size(); ++i) {
    const StyledRun& run = document.runs[i];
    size_t length = CountCodePoints(run.text);
    std::string style =
        std::string(run.bold ? "B" : "-") + (run.italic ? "I" : "-") + (run.underline ? "U" : "-");
    std::string color = ColorHex(run.color);
    if ((run.color >> 24) != 0) color += "/" + std::to_string(run.color >> 24);
    runs.Add({std::to_string(i), std::to_string(start), std::to_string(start + length),
              run.font && !run.font->empty() ? Visible(*run.font) : "(none)",
              std::to_string(run.size), color, style,
              Preview(std::u32string_view(text).substr(start, length))});
    if (swatches) marks.push_back(Swatch(run.color));
    start += length;
  }
  out += "\nRuns\n" + runs.Render(5, marks, 3);

  Table paragraphs({"#", "start", "end", "alignment", "text"}, {true, true, true, false, false});
  for (size_t i = 0; i < document.paragraphs.size(); ++i) {
    const StyledParagraph& p = document.paragraphs[i];
    size_t from = static_cast<size_t>(std::clamp<int64_t>(p.start, 0, text.size()));
    size_t to = static_cast<size_t>(std::clamp<int64_t>(p.end, from, text.size()));
    paragraphs.Add({std::to_string(i), std::to_string(p.start), std::to_string(p.end),
                    AlignmentName(p.alignment),
                    Preview(std::u32string_view(text).substr(from, to - from))});
  }
  out += "\nParagraphs\n" + paragraphs.Render();
  return out;
}

}  // namespace pendlow
