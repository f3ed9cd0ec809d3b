#include "document/document_diff.h"

#include <algorithm>
#include <cstdio>

#include "support/json.h"
#include "support/utf8.h"

namespace pendlow {

namespace {

// A StyledText as its characters plus spans of equal look: each span lies in one run and one
// paragraph, so comparing span against span is enough and costs nothing per character.
struct Span {
  size_t start, end;  // characters [start, end)
  size_t run;
  int64_t alignment;  // of its paragraph; a separator counts with the paragraph it ends
};

struct Flat {
  const StyledDocument* document;
  std::u32string text;
  std::vector<Span> spans;
};

Flat Flatten(const StyledDocument& document) {
  Flat flat{&document, {}, {}};
  std::vector<size_t> runStarts;
  for (const StyledRun& run : document.runs) {
    runStarts.push_back(flat.text.size());
    flat.text += DecodeUtf8(run.text);
  }
  runStarts.push_back(flat.text.size());

  // Where the alignment changes: each paragraph's alignment holds from its start to the next
  // paragraph's start; text before the first paragraph has alignment 0.
  const auto& paragraphs = document.paragraphs;
  size_t length = flat.text.size();
  std::vector<std::pair<size_t, int64_t>> alignments = {{0, 0}};
  for (const StyledParagraph& p : paragraphs) {
    auto at = static_cast<size_t>(std::clamp<int64_t>(p.start, 0, static_cast<int64_t>(length)));
    if (at == alignments.back().first) {
      alignments.back().second = p.alignment;
    } else if (at > alignments.back().first) {
      alignments.emplace_back(at, p.alignment);
    }
  }

  size_t a = 0;
  for (size_t r = 0; r < document.runs.size(); ++r) {
    size_t pos = runStarts[r];
    while (pos < runStarts[r + 1]) {
      while (a + 1 < alignments.size() && alignments[a + 1].first <= pos) ++a;
      size_t end = runStarts[r + 1];
      if (a + 1 < alignments.size()) end = std::min(end, alignments[a + 1].first);
      flat.spans.push_back({pos, end, r, alignments[a].second});
      pos = end;
    }
  }
  return flat;
}

enum Property { kFont, kSize, kColor, kBold, kItalic, kUnderline, kAlignment, kPropertyCount };
const char* const kPropertyNames[] = {"font",   "size",      "color",    "bold",
                                      "italic", "underline", "alignment"};

bool Same(Property property, const Flat& a, const Span& x, const Flat& b, const Span& y) {
  const StyledRun& p = a.document->runs[x.run];
  const StyledRun& q = b.document->runs[y.run];
  switch (property) {
    case kFont:
      return p.font.value_or("") == q.font.value_or("");
    case kSize:
      return p.size == q.size;
    case kColor:
      return p.color == q.color;
    case kBold:
      return p.bold == q.bold;
    case kItalic:
      return p.italic == q.italic;
    case kUnderline:
      return p.underline == q.underline;
    case kAlignment:
      return x.alignment == y.alignment;
    case kPropertyCount:
      break;
  }
  return true;
}

std::string Describe(Property property, const Flat& flat, const Span& span) {
  const StyledRun& run = flat.document->runs[span.run];
  auto flag = [](bool on) { return std::string(on ? "true" : "false"); };
  switch (property) {
    case kFont:
      return json::Quote(run.font.value_or(""));
    case kSize:
      return std::to_string(run.size);
    case kColor: {
      std::string hex = ColorHex(run.color);
      if ((run.color >> 24) != 0) hex += " (alpha " + std::to_string(run.color >> 24) + ")";
      return hex;
    }
    case kBold:
      return flag(run.bold);
    case kItalic:
      return flag(run.italic);
    case kUnderline:
      return flag(run.underline);
    case kAlignment:
      return AlignmentName(span.alignment);
    case kPropertyCount:
      break;
  }
  return std::string();
}

std::string Quoted(std::u32string_view text) {
  constexpr size_t kLimit = 30;
  bool cut = text.size() > kLimit;
  std::string quoted = json::Quote(EncodeUtf8(text.substr(0, kLimit)));
  return cut ? quoted + "..." : quoted;
}

std::string Characters(size_t first, size_t last) {
  return first == last ? "character " + std::to_string(first)
                       : "characters " + std::to_string(first) + "-" + std::to_string(last);
}

struct Difference {
  size_t position;  // in the first text
  int order;        // text first, then the properties in their order
  std::string line;
};

}  // namespace

std::vector<std::string> CompareDocuments(const StyledDocument& before,
                                          const StyledDocument& after) {
  Flat a = Flatten(before);
  Flat b = Flatten(after);
  std::vector<Difference> differences;

  // Text: the common beginning and end line up; what lies between them changed.
  size_t prefix = 0;
  while (prefix < a.text.size() && prefix < b.text.size() && a.text[prefix] == b.text[prefix]) {
    ++prefix;
  }
  size_t suffix = 0;
  while (suffix < a.text.size() - prefix && suffix < b.text.size() - prefix &&
         a.text[a.text.size() - 1 - suffix] == b.text[b.text.size() - 1 - suffix]) {
    ++suffix;
  }
  size_t changedA = a.text.size() - prefix - suffix;
  size_t changedB = b.text.size() - prefix - suffix;
  if (changedA > 0 || changedB > 0) {
    std::string where = changedA == 0 ? "character " + std::to_string(prefix)
                                      : Characters(prefix, prefix + changedA - 1);
    differences.push_back(
        {prefix, -1,
         "text at " + where + ": " + Quoted(std::u32string_view(a.text).substr(prefix, changedA)) +
             " -> " + Quoted(std::u32string_view(b.text).substr(prefix, changedB))});
  }

  // Formatting of the characters that line up: the common beginning (same offsets) and the
  // common end (offsets shifted by the change in length). They are cut into chunks that lie in
  // one span on either side; neighbouring chunks with the same change form one range.
  struct Chunk {
    size_t start, end;  // in the first text
    const Span* x;
    const Span* y;
  };
  std::vector<Chunk> chunks;
  auto cut = [&](size_t fromA, size_t fromB, size_t length) {
    auto spanAt = [](const Flat& flat, size_t pos) {
      return std::upper_bound(flat.spans.begin(), flat.spans.end(), pos,
                              [](size_t p, const Span& s) { return p < s.end; });
    };
    auto i = spanAt(a, fromA);
    auto j = spanAt(b, fromB);
    for (size_t done = 0; done < length;) {
      size_t step = std::min({length - done, i->end - (fromA + done), j->end - (fromB + done)});
      chunks.push_back({fromA + done, fromA + done + step, &*i, &*j});
      done += step;
      if (fromA + done == i->end) ++i;
      if (fromB + done == j->end) ++j;
    }
  };
  cut(0, 0, prefix);
  cut(a.text.size() - suffix, b.text.size() - suffix, suffix);

  for (int p = 0; p < kPropertyCount; ++p) {
    auto property = static_cast<Property>(p);
    bool open = false;
    size_t first = 0, end = 0;
    std::string from, to;
    auto close = [&]() {
      if (!open) return;
      differences.push_back({first, p,
                             Characters(first, end - 1) + " (" +
                                 Quoted(std::u32string_view(a.text).substr(first, end - first)) +
                                 "): " + kPropertyNames[p] + " " + from + " -> " + to});
      open = false;
    };
    for (const Chunk& chunk : chunks) {
      if (Same(property, a, *chunk.x, b, *chunk.y)) {
        close();
        continue;
      }
      std::string x = Describe(property, a, *chunk.x);
      std::string y = Describe(property, b, *chunk.y);
      if (open && chunk.start == end && x == from && y == to) {
        end = chunk.end;
        continue;
      }
      close();
      open = true;
      first = chunk.start;
      end = chunk.end;
      from = std::move(x);
      to = std::move(y);
    }
    close();
  }

  std::stable_sort(differences.begin(), differences.end(),
                   [](const Difference& x, const Difference& y) {
                     return x.position != y.position ? x.position < y.position : x.order < y.order;
                   });
  std::vector<std::string> lines;
  for (Difference& d : differences) lines.push_back(std::move(d.line));
  return lines;
}

}  // namespace pendlow
