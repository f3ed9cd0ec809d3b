// Assigning RTF to the member through the simulated host, as application code does, and reading
// back what the StyledText holds.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simhost/host.h"
#include "support/shown_bytes.h"
#include "support/utf8.h"

namespace simhost {
inline void PrintTo(const Run& r, std::ostream* os) {
  *os << "{text=\"" << test_support::ShownBytes(r.text);
  *os << "\" font=\"" << r.font << "\" size=" << r.size << " color=0x" << std::hex << r.color
      << std::dec << (r.bold ? " bold" : "") << (r.italic ? " italic" : "")
      << (r.underline ? " underline" : "") << "}";
}
}  // namespace simhost

namespace import_test {

struct Style {
  std::string font;
  int64_t size = 0;
  uint32_t color = 0;
  bool bold = false, italic = false, underline = false;
};

inline simhost::Run MakeRun(std::string text, const Style& s = {}) {
  return simhost::Run{std::move(text), s.font, s.size, s.color, s.bold, s.italic, s.underline};
}

inline std::vector<std::string> TextsOf(const std::vector<simhost::Run>& runs) {
  std::vector<std::string> texts;
  for (const simhost::Run& r : runs) texts.push_back(r.text);
  return texts;
}

using test_support::Utf8;

class ImportTest : public ::testing::Test {
 protected:
  explicit ImportTest(simhost::Options options = {}) : host_(std::move(options)), plugin_(host_) {}

  void SetUp() override {
    ASSERT_TRUE(plugin_.loaded()) << plugin_.error();
    ASSERT_TRUE(plugin_.HasMember());
    styledText_ = host_.NewStyledText();
  }
  void TearDown() override { host_.Release(styledText_); }

  // Assigns rtf to the member and checks that every host handle the library obtained was given
  // back and none was misused.
  std::vector<simhost::Run> Import(std::string_view rtf) {
    const size_t strings = host_.LiveStrings();
    const size_t objects = host_.LiveObjects();
    const size_t stringData = host_.LiveStringData();
    const uint64_t misuses = host_.Misuses();
    plugin_.Set(styledText_, rtf);
    EXPECT_EQ(host_.LiveStrings(), strings) << "host strings leaked";
    EXPECT_EQ(host_.LiveObjects(), objects) << "host objects leaked";
    EXPECT_EQ(host_.LiveStringData(), stringData) << "string data not disposed";
    EXPECT_EQ(host_.Misuses(), misuses) << "handle misuse";
    return host_.RunsOf(styledText_);
  }

  std::vector<int64_t> Alignments() {
    std::vector<int64_t> alignments;
    for (const simhost::Paragraph& p : host_.ParagraphsOf(styledText_)) {
      alignments.push_back(p.alignment);
    }
    return alignments;
  }

  // How many lines of the host's debug log are exactly line.
  size_t LogLines(std::string_view line) const {
    size_t count = 0;
    for (const std::string& logged : host_.Log()) count += logged == line ? 1 : 0;
    return count;
  }

  simhost::Host host_;
  simhost::Plugin plugin_;
  REALobject styledText_ = nullptr;
};

}  // namespace import_test
