// Reading "RTFDataZVK" from one StyledText and assigning the result to another, through the
// simulated host, and comparing the two texts character by character. Run boundaries are not
// compared: the setter starts a new StyleRun at every formatting change, every "\u" character
// and every paragraph end, so the same formatted text comes back cut into other runs.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "simhost/host.h"
#include "support/utf8.h"

namespace roundtrip {

// The formatting one character carries.
struct CharFormat {
  std::string font;  // UTF-8; "" for a run without a font
  int64_t size = 0;
  uint32_t color = 0;
  bool bold = false, italic = false, underline = false;
  bool operator==(const CharFormat& o) const {
    return font == o.font && size == o.size && color == o.color && bold == o.bold &&
           italic == o.italic && underline == o.underline;
  }
  bool operator!=(const CharFormat& o) const { return !(*this == o); }
};

struct StyledChar {
  char32_t code = 0;
  CharFormat format;
};

// A StyledText as the user sees it: characters with their formatting, and paragraphs.
struct TextView {
  std::vector<StyledChar> chars;
  std::vector<simhost::Paragraph> paragraphs;
  std::vector<simhost::Run> runs;  // as the host holds them, for messages and run-level checks
};

// Code points of well-formed UTF-8 (the host hands back UTF-8 it made itself).
inline std::u32string DecodeUTF8(const std::string& s) {
  std::u32string out;
  for (size_t i = 0; i < s.size();) {
    const auto b = static_cast<unsigned char>(s[i]);
    const int extra = b < 0x80 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : 3;
    char32_t c = extra == 0 ? b : extra == 1 ? (b & 0x1F) : extra == 2 ? (b & 0x0F) : (b & 0x07);
    for (int k = 1; k <= extra && i + k < s.size(); ++k) {
      c = (c << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3F);
    }
    out += c;
    i += static_cast<size_t>(extra) + 1;
  }
  return out;
}

inline std::string EncodeUTF8(const std::u32string& text) {
  return test_support::Utf8(text);
}

inline std::string Printable(const std::string& utf8) {
  std::ostringstream os;
  for (char32_t c : DecodeUTF8(utf8)) {
    if (c >= 0x20 && c < 0x7F && c != '"' && c != '\\') {
      os << static_cast<char>(c);
    } else {
      os << "\\u{" << std::hex << static_cast<uint32_t>(c) << std::dec << "}";
    }
  }
  return os.str();
}

inline std::ostream& operator<<(std::ostream& os, const CharFormat& f) {
  return os << "font=\"" << Printable(f.font) << "\" size=" << f.size << " color=0x" << std::hex
            << f.color << std::dec << (f.bold ? " bold" : "") << (f.italic ? " italic" : "")
            << (f.underline ? " underline" : "");
}

inline std::string Describe(const std::vector<simhost::Run>& runs) {
  std::ostringstream os;
  for (const simhost::Run& r : runs) {
    CharFormat f{r.font, r.size, r.color, r.bold, r.italic, r.underline};
    os << "  \"" << Printable(r.text) << "\" " << f << "\n";
  }
  return os.str();
}

inline std::string Describe(const std::vector<simhost::Paragraph>& paragraphs) {
  std::ostringstream os;
  for (const simhost::Paragraph& p : paragraphs) {
    os << " [" << p.start << "," << p.end << ")=" << p.alignment;
  }
  return os.str();
}

// Where two views differ first, or "" when they are equal.
inline std::string FirstDifference(const TextView& before, const TextView& after) {
  std::ostringstream os;
  const size_t n = std::min(before.chars.size(), after.chars.size());
  for (size_t i = 0; i < n; ++i) {
    const StyledChar& a = before.chars[i];
    const StyledChar& b = after.chars[i];
    if (a.code != b.code || a.format != b.format) {
      os << "character " << i << ": U+" << std::hex << static_cast<uint32_t>(a.code) << " -> U+"
         << static_cast<uint32_t>(b.code) << std::dec << "\n  before " << a.format << "\n  after  "
         << b.format << "\n";
      return os.str();
    }
  }
  if (before.chars.size() != after.chars.size()) {
    os << "length " << before.chars.size() << " -> " << after.chars.size() << "\n";
    return os.str();
  }
  if (!(before.paragraphs == after.paragraphs)) {
    os << "paragraphs" << Describe(before.paragraphs) << "\n  ->      "
       << Describe(after.paragraphs) << "\n";
  }
  return os.str();
}

inline std::u32string TextOf(const TextView& view) {
  std::u32string text;
  for (const StyledChar& c : view.chars) text += c.code;
  return text;
}

inline std::vector<int64_t> AlignmentsOf(const TextView& view) {
  std::vector<int64_t> out;
  for (const simhost::Paragraph& p : view.paragraphs) out.push_back(p.alignment);
  return out;
}

// One host and the loaded library; StyledTexts are built from runs and paragraph alignments
// (by paragraph index), exported, and imported into a second StyledText.
class RoundTripTest : public ::testing::Test {
 protected:
  void Start(simhost::Options options = {}) {
    options.captureLog = false;
    host_ = std::make_unique<simhost::Host>(options);
    plugin_ = std::make_unique<simhost::Plugin>(*host_);
    ASSERT_TRUE(plugin_->loaded()) << plugin_->error();
    ASSERT_TRUE(plugin_->HasMember());
  }
  void SetUp() override { Start(); }
  void TearDown() override {
    if (host_) {
      EXPECT_EQ(host_->Misuses(), 0u) << host_->LastMisuse();
    }
    plugin_.reset();
    host_.reset();
  }

  REALobject Build(const std::vector<simhost::RunRecipe>& runs,
                   const std::vector<int64_t>& alignments) {
    REALobject st = host_->NewStyledText();
    for (const simhost::RunRecipe& run : runs) host_->AppendRun(st, run);
    for (size_t k = 0; k < alignments.size(); ++k) {
      host_->SetParagraphAlignment(st, static_cast<int64_t>(k), alignments[k]);
    }
    return st;
  }

  TextView View(REALobject st) const {
    TextView view;
    view.runs = host_->RunsOf(st);
    view.paragraphs = host_->ParagraphsOf(st);
    for (const simhost::Run& r : view.runs) {
      const CharFormat format{r.font, r.size, r.color, r.bold, r.italic, r.underline};
      for (char32_t c : DecodeUTF8(r.text)) view.chars.push_back({c, format});
    }
    return view;
  }

  // Assigns rtf to a StyledText that already holds text (the setter must empty it first) and
  // checks that the setter gave back every host handle it obtained.
  TextView Import(const std::string& rtf) {
    REALobject st = host_->NewStyledText();
    simhost::RunRecipe old;
    old.text = "old text\r";
    old.font = "Old";
    old.bold = true;
    host_->AppendRun(st, old);
    host_->SetParagraphAlignment(st, 0, 3);
    const size_t strings = host_->LiveStrings();
    const size_t objects = host_->LiveObjects();
    const size_t stringData = host_->LiveStringData();
    plugin_->Set(st, rtf);
    EXPECT_EQ(host_->LiveStrings(), strings) << "host strings leaked";
    EXPECT_EQ(host_->LiveObjects(), objects) << "host objects leaked";
    EXPECT_EQ(host_->LiveStringData(), stringData) << "string data not disposed";
    TextView view = View(st);
    host_->Release(st);
    return view;
  }

  struct Trip {
    std::string rtf;
    TextView before, after;
  };

  Trip RoundTrip(const std::vector<simhost::RunRecipe>& runs,
                 const std::vector<int64_t>& alignments = {}, bool skipParagraphs = false) {
    Trip trip;
    REALobject st = Build(runs, alignments);
    trip.before = View(st);
    trip.rtf = plugin_->Get(st, skipParagraphs);
    host_->Release(st);
    trip.after = Import(trip.rtf);
    return trip;
  }

  std::unique_ptr<simhost::Host> host_;
  std::unique_ptr<simhost::Plugin> plugin_;
};

// Run builders for the examples.
inline simhost::RunRecipe Plain(std::string text) {
  simhost::RunRecipe run;
  run.text = std::move(text);
  return run;
}

inline simhost::RunRecipe InFont(std::string text, std::string font) {
  simhost::RunRecipe run = Plain(std::move(text));
  run.font = std::move(font);
  return run;
}

inline simhost::RunRecipe Bold(std::string text) {
  simhost::RunRecipe run = Plain(std::move(text));
  run.bold = true;
  return run;
}

}  // namespace roundtrip
