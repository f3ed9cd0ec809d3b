// Hostile input through the plug-in as the host loads it, with the simulated host in strict
// mode: a use of a released handle, a double release or a release of an unknown handle aborts
// the test program, and every call is checked for the handles it leaves alive.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "simhost/host.h"

namespace hardening {

inline simhost::Options StrictOptions() {
  simhost::Options options;
  options.strict = true;
  return options;
}

class PluginTest : public ::testing::Test {
 protected:
  PluginTest() : host_(StrictOptions()), plugin_(host_) {}

  void SetUp() override {
    ASSERT_TRUE(plugin_.loaded()) << plugin_.error();
    ASSERT_TRUE(plugin_.HasMember());
  }

  // Assigns the bytes (labelled with encoding) to a fresh StyledText and returns its runs. The
  // setter may leave nothing alive: no string, no object, no string data record.
  std::vector<simhost::Run> Import(std::string_view rtf,
                                   simhost::Encoding encoding = kREALTextEncodingUTF8) {
    REALobject styledText = host_.NewStyledText();
    const size_t strings = host_.LiveStrings();
    const size_t objects = host_.LiveObjects();
    plugin_.Set(styledText, rtf, false, encoding);
    EXPECT_EQ(host_.LiveStrings(), strings) << "host strings left alive by the setter";
    EXPECT_EQ(host_.LiveObjects(), objects) << "host objects left alive by the setter";
    EXPECT_EQ(host_.LiveStringData(), 0u) << "string data records kept by the setter";
    std::vector<simhost::Run> runs = host_.RunsOf(styledText);
    host_.Release(styledText);
    return runs;
  }

  // Reads the member of styledText. Besides the result (released here), the getter keeps the
  // StyleRun objects it fetched, one per run (none when the text has no paragraph, as then it
  // fetches nothing), and nothing else.
  std::string Export(REALobject styledText, bool skipParagraphs = false) {
    const size_t strings = host_.LiveStrings();
    const size_t objects = host_.LiveObjects();
    const size_t runs =
        host_.ParagraphsOf(styledText).empty() ? 0 : host_.RunsOf(styledText).size();
    REALstring result = plugin_.GetRaw(styledText, skipParagraphs);
    EXPECT_EQ(host_.LiveStrings(), strings + (result != nullptr ? 1 : 0))
        << "host strings left alive by the getter";
    EXPECT_EQ(host_.LiveObjects(), objects + runs) << "host objects left alive by the getter";
    EXPECT_EQ(host_.LiveStringData(), 0u) << "string data records kept by the getter";
    if (result == nullptr) return std::string();
    std::string rtf = host_.BytesOf(result);
    host_.Release(result);
    return rtf;
  }

  simhost::Host host_;
  simhost::Plugin plugin_;
};

inline std::string TextOf(const std::vector<simhost::Run>& runs) {
  std::string text;
  for (const simhost::Run& run : runs) text += run.text;
  return text;
}

}  // namespace hardening
