// The limits users can rely on: the deepest group nesting, the largest documents and the largest
// single style run, each assigned (or read) through the plug-in in a process of its own, with
// the peak resident memory of that process measured around the call.
//
// Sizes: the default run uses sizes that finish in a few seconds; PENDLOW_HARDENING_FULL=1
// uses the documented sizes (fuzz/README.md); under valgrind or a sanitizer the sizes shrink
// and no memory bound is checked, as the figures are then the instrumentation's.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "hardening.h"
#include "peak_memory.h"
#include "support/generated_document.h"

namespace hardening {
namespace {

enum class Scale { kInstrumented, kDefault, kFull };

Scale CurrentScale() {
  if (UnderInstrumentation()) return Scale::kInstrumented;
  const char* full = std::getenv("PENDLOW_HARDENING_FULL");
  return full != nullptr && *full != '\0' && *full != '0' ? Scale::kFull : Scale::kDefault;
}

// The size for the current scale.
size_t Sized(size_t instrumented, size_t normal, size_t full) {
  switch (CurrentScale()) {
    case Scale::kInstrumented:
      return instrumented;
    case Scale::kDefault:
      return normal;
    case Scale::kFull:
      return full;
  }
  return normal;
}

// Reports the measurement and checks it: no failure, and (without instrumentation) a peak
// growth below the bound, which is several times what the library needs.
void Check(const std::string& what, const PeakMemory& peak, long boundMb) {
  ASSERT_TRUE(peak.error.empty()) << what << ": " << peak.error;
  ASSERT_GT(peak.peakKb, 0) << what << ": peak memory not measured";
  std::printf("[ LIMIT    ] %s: resident %ld MB before the call, peak %ld MB (+%ld MB)\n",
              what.c_str(), peak.beforeKb / 1024, peak.peakKb / 1024, peak.GrowthKb() / 1024);
  ::testing::Test::RecordProperty(what, std::to_string(peak.peakKb / 1024) + " MB peak");
  if (CurrentScale() != Scale::kInstrumented) {
    EXPECT_LT(peak.GrowthKb() / 1024, boundMb) << what;
  }
}

// Assigns rtf to a fresh StyledText of a strict host in a child process; expect checks the
// result there.
PeakMemory MeasureImport(const std::string& rtf,
                         const std::function<std::string(simhost::Host&, REALobject)>& expect) {
  return MeasurePeakMemory([&](const std::function<void()>& start) -> std::string {
    simhost::Host host(StrictOptions());
    simhost::Plugin plugin(host);
    if (!plugin.loaded()) return "plug-in not loaded: " + plugin.error();
    REALobject styledText = host.NewStyledText();
    const size_t strings = host.LiveStrings(), objects = host.LiveObjects();
    start();
    plugin.Set(styledText, rtf);
    if (host.LiveStrings() != strings || host.LiveObjects() != objects) return "handles left alive";
    std::string error = expect(host, styledText);
    host.Release(styledText);
    return error;
  });
}

std::string ExpectSingleRun(simhost::Host& host, REALobject styledText, size_t length) {
  const std::vector<simhost::Run> runs = host.RunsOf(styledText);
  if (runs.size() != 1) return "expected one run, found " + std::to_string(runs.size());
  if (runs[0].text.size() != length)
    return "run of " + std::to_string(runs[0].text.size()) + " bytes";
  return "";
}

TEST(Limits, DeepestNestingClosed) {
  const size_t depth = Sized(20000, 1000000, 10000000);
  const std::string rtf =
      "{\\rtf1 " + std::string(depth, '{') + "x" + std::string(depth, '}') + "}";
  const PeakMemory peak = MeasureImport(
      rtf, [](simhost::Host& host, REALobject st) { return ExpectSingleRun(host, st, 1); });
  Check("import, " + std::to_string(depth) + " nested groups closed", peak,
        static_cast<long>(depth / 1000));  // 1 KB per level is far above need
}

TEST(Limits, DeepestNestingNeverClosed) {
  const size_t depth = Sized(20000, 1000000, 10000000);
  const std::string rtf = "{\\rtf1{\\fonttbl\\f0 Font;}\\f0\\b " + std::string(depth, '{') + "x";
  const PeakMemory peak = MeasureImport(rtf, [](simhost::Host& host, REALobject st) -> std::string {
    const std::vector<simhost::Run> runs = host.RunsOf(st);
    if (runs.size() != 1 || runs[0].text != "x" || runs[0].font != "Font" || !runs[0].bold)
      return "the innermost group lost its formatting";
    return "";
  });
  Check("import, " + std::to_string(depth) + " nested groups never closed", peak,
        static_cast<long>(depth / 1000));
}

TEST(Limits, LargestSingleRunImported) {
  const size_t length = Sized(1 << 20, 16 << 20, 256 << 20);
  std::string rtf = "{\\rtf1\\ansi ";
  rtf.append(length, 'a');
  rtf += "}";
  const PeakMemory peak = MeasureImport(rtf, [length](simhost::Host& host, REALobject st) {
    return ExpectSingleRun(host, st, length);
  });
  // The document, the host's string of it, the working copy, the run's text and the host's
  // copy of that: about 8 bytes per character at the peak.
  Check("import, one run of " + std::to_string(length >> 20) + " MiB", peak,
        static_cast<long>(16 * (length >> 20) + 64));
}

TEST(Limits, LargestSingleRunExported) {
  const size_t characters = Sized(1 << 18, 4 << 20, 64 << 20);
  const PeakMemory peak = MeasurePeakMemory([&](const std::function<void()>& start) -> std::string {
    simhost::Host host(StrictOptions());
    simhost::Plugin plugin(host);
    if (!plugin.loaded()) return "plug-in not loaded: " + plugin.error();
    REALobject styledText = host.NewStyledText();
    simhost::RunRecipe run;
    run.font = "Arial";
    run.size = 12;
    for (size_t i = 0; i < characters; ++i) run.text += "\xC3\xA9";  // é
    host.AppendRun(styledText, run);
    run.text = std::string();
    start();
    const std::string rtf = plugin.Get(styledText);
    // Each é is written as "\u233 ".
    if (rtf.size() < 6 * characters) return "document of " + std::to_string(rtf.size()) + " bytes";
    return "";
  });
  // The run's UTF-16 form, the document and the host's string of it: about 20 bytes per
  // character.
  Check("export, one run of " + std::to_string(characters >> 20) + " Mi non-ASCII characters", peak,
        static_cast<long>(40 * (characters >> 20) + 64));
}

TEST(Limits, LargestDocumentExported) {
  const size_t runCount = Sized(5000, 100000, 1000000);
  const PeakMemory peak = MeasurePeakMemory([&](const std::function<void()>& start) -> std::string {
    simhost::Host host(StrictOptions());
    simhost::Plugin plugin(host);
    if (!plugin.loaded()) return "plug-in not loaded: " + plugin.error();
    REALobject styledText = host.NewStyledText();
    for (size_t i = 0; i < runCount; ++i) {
      simhost::RunRecipe run;
      run.text = i % 7 == 6 ? "line end\r" : "some words ";
      run.font = i % 3 == 0 ? "Times" : "Helvetica";
      run.size = 10 + static_cast<int64_t>(i % 5);
      run.color = static_cast<uint32_t>(i % 11) * 0x101010u;
      run.bold = i % 2 == 0;
      host.AppendRun(styledText, run);
    }
    start();
    const std::string rtf = plugin.Get(styledText);
    if (rtf.empty() || rtf.back() != '}') return "no document";
    return "";
  });
  Check("export, " + std::to_string(runCount) + " style runs", peak,
        static_cast<long>(runCount / 100 + 64));  // 10 KB per run is far above need
}

// A document of the benchmark generator, or "" when the generator cannot run here.
std::string Generated(const std::string& profile, const std::string& sizeMb) {
  return test_support::GeneratedDocument(profile, 7, sizeMb);
}

void ImportGenerated(const std::string& profile) {
  const std::string sizeMb = CurrentScale() == Scale::kInstrumented ? "0.1"
                             : CurrentScale() == Scale::kFull       ? "100"
                                                                    : "2";
  const std::string rtf = Generated(profile, sizeMb);
  // The generator is part of the repository and python3 part of the build's needs: no
  // document is a broken setup, not a reason to pass.
  if (rtf.empty()) FAIL() << "no " << profile << " document from " << PENDLOW_GENERATOR;
  const PeakMemory peak = MeasureImport(rtf, [](simhost::Host& host, REALobject st) -> std::string {
    return host.RunsOf(st).empty() ? "no runs" : "";
  });
  const long mb = static_cast<long>(rtf.size() >> 20);
  Check("import, " + profile + " document of " + std::to_string(mb) + " MiB", peak, 100 * mb + 64);
}

TEST(Limits, LargestStyledDocumentImported) {
  ImportGenerated("styled");
}
TEST(Limits, LargestHostileDocumentImported) {
  ImportGenerated("hostile");
}

}  // namespace
}  // namespace hardening
