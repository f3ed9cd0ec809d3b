// Inputs the fuzz targets (fuzz/) found trouble with, kept as bytes, each with what went wrong
// and what must hold now. Run under the sanitizer build and scripts/valgrind.sh as well: some
// of the failures were reported only by their leak and memory checkers.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "hardening.h"

namespace hardening {
namespace {

class RegressionTest : public PluginTest {};

// The host's text converters (iconv) were cached and never closed, so every program that
// converted a code page ended with a leak report. The leak checkers of the sanitizer and
// valgrind runs watch this test's process.
TEST_F(RegressionTest, CodePageTextLeavesNoConverterOpen) {
  const std::vector<simhost::Run> runs = Import(
      "{\\rtf1\\ansi\\ansicpg1251 x\\'cf\\'f0\\'e8\\par}"
      "{\\rtf1\\ansicpg932 y\\'82\\'a0}{\\rtf1\\ansicpg1253 z\\'e1}");
  ASSERT_EQ(runs.size(), 3u);
  EXPECT_EQ(runs[0].text, "x\xD0\x9F\xD1\x80\xD0\xB8\r");  // "xПри" + CR
  EXPECT_EQ(runs[1].text, "y\xE3\x81\x82");                // "yあ"
  EXPECT_EQ(runs[2].text, "z\xCE\xB1");                    // "zα"
}

// A styled text with many runs and many paragraphs took time proportional to their product in
// the getter (every paragraph was compared with every run), minutes for a few hundred thousand
// runs. Each run must still take the alignment of the last paragraph that holds its middle.
TEST_F(RegressionTest, ManyParagraphsGiveEveryRunItsAlignment) {
  const int64_t kRuns = 6000;
  REALobject st = host_.NewStyledText();
  std::vector<int64_t> lengths;
  for (int64_t i = 0; i < kRuns; ++i) {
    simhost::RunRecipe run;
    // Runs of 1 to 7 characters, a paragraph end in every third one.
    run.text = std::string(static_cast<size_t>(1 + i % 7), 'a');
    if (i % 3 == 2) run.text.back() = '\r';
    lengths.push_back(static_cast<int64_t>(run.text.size()));
    host_.AppendRun(st, run);
  }
  const std::vector<simhost::Paragraph> paragraphs = host_.ParagraphsOf(st);
  ASSERT_GT(paragraphs.size(), 1000u);
  for (size_t k = 0; k < paragraphs.size(); ++k) {
    host_.SetParagraphAlignment(st, static_cast<int64_t>(k), static_cast<int64_t>(k * 7 % 5));
  }

  // The rule, applied the slow way: every paragraph in order, every run.
  std::vector<int64_t> expected(lengths.size(), 0);
  for (const simhost::Paragraph& p : host_.ParagraphsOf(st)) {
    int64_t start = 0;
    for (size_t i = 0; i < lengths.size(); ++i) {
      const int64_t middle = start + lengths[i] / 2;
      if (p.start <= middle && middle <= p.end) expected[i] = p.alignment;
      start += lengths[i];
    }
  }
  std::string body;
  int64_t current = 0;
  for (size_t i = 0; i < lengths.size(); ++i) {
    if (expected[i] != current) {
      body += expected[i] == 2 ? "\\qc " : expected[i] == 3 ? "\\qr " : "\\ql ";
      current = expected[i];
    }
    std::string text(static_cast<size_t>(lengths[i]), 'a');
    if (i % 3 == 2) text.replace(text.size() - 1, 1, "\\par ");
    body += text;
  }

  const std::string rtf = Export(st);
  const size_t start = rtf.find("\\uc0 ");
  ASSERT_NE(start, std::string::npos);
  EXPECT_EQ(rtf.substr(start + 5), body + "}");
  host_.Release(st);
}

// Found by the sanitizer run of the test suite: a host destroyed while a newer one was current
// left the newer one pointing at it, and destroying the newer one then read the freed host.
TEST(HostLifetime, HostsDestroyedOutOfOrder) {
  simhost::Host* const before = simhost::Host::Current();
  auto older = std::make_unique<simhost::Host>();
  auto newer = std::make_unique<simhost::Host>();
  older.reset();
  EXPECT_EQ(simhost::Host::Current(), newer.get());
  newer.reset();
  EXPECT_EQ(simhost::Host::Current(), before);
}

}  // namespace
}  // namespace hardening
