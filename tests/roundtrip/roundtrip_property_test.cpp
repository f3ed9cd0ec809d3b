// Round trip over many generated styled texts: what the getter of "RTFDataZVK" writes, assigned
// to the member of another StyledText, rebuilds the same characters with the same formatting and
// the same paragraph alignments, for every text within what the RTF can express.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>

#include "roundtrip_fixture.h"
#include "styled_text_generator.h"

namespace roundtrip {
namespace {

// Seeds 1..N; PENDLOW_ROUNDTRIP_SEEDS raises (or lowers) N for a longer local search.
uint64_t SeedCount(uint64_t standard) {
  const char* value = std::getenv("PENDLOW_ROUNDTRIP_SEEDS");
  if (value == nullptr || *value == '\0') return standard;
  const unsigned long long n = std::strtoull(value, nullptr, 10);
  return n == 0 ? standard : n;
}

constexpr uint64_t kSeeds = 3000;
constexpr int kMaxReported = 3;

class RoundTripProperty : public RoundTripTest {
 protected:
  // Font names are written into the font table as they are; everything behind it is ASCII.
  static void ExpectAsciiBody(const std::string& rtf, uint64_t seed) {
    const size_t colortbl = rtf.find("{\\colortbl");
    ASSERT_NE(colortbl, std::string::npos) << "seed " << seed << ": " << rtf;
    for (size_t i = colortbl; i < rtf.size(); ++i) {
      const auto c = static_cast<unsigned char>(rtf[i]);
      ASSERT_TRUE(c != 0 && c < 0x80)
          << "seed " << seed << ": byte " << static_cast<int>(c) << " at " << i << " in " << rtf;
    }
  }
};

TEST_F(RoundTripProperty, ExpressibleTextsComeBackCharacterForCharacter) {
  const uint64_t seeds = SeedCount(kSeeds);
  int failures = 0;
  uint64_t characters = 0, paragraphs = 0, skipped = 0, overParagraphs = 0;
  // How many documents use each control word and escape the generated texts should exercise.
  std::map<std::string, uint64_t> documentsWith;
  for (const char* token : {"\\u", "\\par ", "\\ql", "\\qc", "\\qr", "\\b", "\\b0", "\\i", "\\ul",
                            "\\f1", "\\fs", "\\fs0", "\\cf", "\\\\", "\\{", "\\}", "\t"}) {
    documentsWith[token] = 0;
  }
  for (uint64_t seed = 1; seed <= seeds && failures < kMaxReported; ++seed) {
    StyledTextGenerator generator(seed, Range::kExpressible);
    const GeneratedText text = generator.Next();
    const Trip trip = RoundTrip(text.runs, text.alignments, text.skipParagraphs);
    for (auto& feature : documentsWith) {
      if (trip.rtf.find(feature.first) != std::string::npos) ++feature.second;
    }
    skipped += text.skipParagraphs ? 1 : 0;
    for (const simhost::RunRecipe& run : text.runs) {
      const std::string utf8 =
          *simhost::Host::Convert(run.text, run.textEncoding, kREALTextEncodingUTF8);
      const size_t cr = utf8.find('\r');
      if (cr != std::string::npos && cr + 1 < utf8.size()) {
        ++overParagraphs;
        break;
      }
    }
    ASSERT_EQ(trip.before.paragraphs.size(), text.alignments.size()) << "seed " << seed;
    if (trip.before.paragraphs.empty()) {
      // No paragraph (no run, or only empty ones), no document: the getter gives nothing.
      EXPECT_EQ(trip.rtf, "") << "seed " << seed;
    } else {
      ExpectAsciiBody(trip.rtf, seed);
    }
    characters += trip.before.chars.size();
    paragraphs += trip.before.paragraphs.size();
    const std::string difference = FirstDifference(trip.before, trip.after);
    if (!difference.empty()) {
      ++failures;
      ADD_FAILURE() << "seed " << seed << ": " << difference << "generated:\n"
                    << text.Describe() << "rtf: " << trip.rtf << "\nruns after:\n"
                    << Describe(trip.after.runs);
    }
  }
  // The generator must actually produce substance, or the property says nothing.
  EXPECT_GT(characters, seeds * 10);
  EXPECT_GT(paragraphs, seeds);
  EXPECT_GT(skipped, seeds / 50);
  EXPECT_GT(overParagraphs, seeds / 5) << "few texts with a run over several paragraphs";
  for (const auto& feature : documentsWith) {
    EXPECT_GT(feature.second, seeds / 20) << "few documents with " << feature.first;
  }
}

// A host that counts an empty text as one paragraph: the setter's alignment goes to the paragraph
// index the text had before the run was appended, so every alignment lands one paragraph late
// and the first paragraph keeps 0. Characters and formatting still come back unchanged.
TEST_F(RoundTripProperty, OnAHostCountingAnEmptyParagraphAlignmentsMoveOneParagraphOn) {
  simhost::Options options;
  options.paragraphRule = simhost::ParagraphRule::kSeparatorsPlusOne;
  Start(options);
  const uint64_t seeds = SeedCount(kSeeds) / 3;
  int failures = 0;
  for (uint64_t seed = 1; seed <= seeds && failures < kMaxReported; ++seed) {
    StyledTextGenerator generator(seed, Range::kExpressible);
    generator.rule = simhost::ParagraphRule::kSeparatorsPlusOne;
    const GeneratedText text = generator.Next();
    REALobject st = Build(text.runs, text.alignments);
    const TextView before = View(st);
    const std::string rtf = plugin_->Get(st, text.skipParagraphs);
    host_->Release(st);
    // Into a new StyledText: one that had text keeps its first paragraph's old alignment.
    REALobject target = host_->NewStyledText();
    plugin_->Set(target, rtf);
    const TextView after = View(target);
    host_->Release(target);

    TextView expected = before;
    for (size_t k = expected.paragraphs.size(); k-- > 0;) {
      const int64_t shifted = k == 0 ? 0 : before.paragraphs[k - 1].alignment;
      expected.paragraphs[k].alignment = text.skipParagraphs ? 0 : shifted;
    }
    const std::string difference = FirstDifference(expected, after);
    if (!difference.empty()) {
      ++failures;
      ADD_FAILURE() << "seed " << seed << ": " << difference << "generated:\n"
                    << text.Describe() << "rtf: " << rtf << "\nruns after:\n"
                    << Describe(after.runs);
    }
  }
}

// Outside those limits the first round trip changes the text, but only once: the text it
// rebuilds is within them, so a second round trip gives the same document and the same text.
TEST_F(RoundTripProperty, AnyTextIsStableAfterOneRoundTrip) {
  const uint64_t seeds = SeedCount(kSeeds) / 3;
  int failures = 0;
  uint64_t changed = 0;
  for (uint64_t seed = 1; seed <= seeds && failures < kMaxReported; ++seed) {
    StyledTextGenerator generator(seed, Range::kAnything);
    const GeneratedText text = generator.Next();
    const Trip first = RoundTrip(text.runs, text.alignments, text.skipParagraphs);
    if (!FirstDifference(first.before, first.after).empty()) ++changed;

    REALobject once = Build({}, {});
    plugin_->Set(once, first.rtf);
    const std::string rtf2 = plugin_->Get(once, text.skipParagraphs);
    host_->Release(once);
    const TextView second = Import(rtf2);
    REALobject twice = Build({}, {});
    plugin_->Set(twice, rtf2);
    const std::string rtf3 = plugin_->Get(twice, text.skipParagraphs);
    host_->Release(twice);

    const std::string difference = FirstDifference(first.after, second);
    if (!difference.empty() || rtf2 != rtf3) {
      ++failures;
      ADD_FAILURE() << "seed " << seed << ": " << difference << "generated:\n"
                    << text.Describe() << "rtf1: " << first.rtf << "\nrtf2: " << rtf2
                    << "\nrtf3: " << rtf3;
    }
  }
  // Most of these texts are outside the limits, so most of them do change once.
  EXPECT_GT(changed, seeds / 2);
}

}  // namespace
}  // namespace roundtrip
