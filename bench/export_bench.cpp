// Throughput of the getter of "RTFDataZVK" through the simulated host: many short style runs
// (the per-run control-word work dominates) and few long ones (the text escaping dominates).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "simhost/host.h"
#include "varied_runs.h"

namespace {

// A host, the loaded library and one styled text, built once per configuration however often
// the framework calls a benchmark. The getter keeps every StyleRun it fetches alive in the host,
// so the whole host goes when the next configuration is asked for: that hands all of them back.
struct ExportFixture {
  static simhost::Options MakeOptions() {
    simhost::Options options;
    options.captureLog = false;
    return options;
  }

  explicit ExportFixture(std::string name)
      : key(std::move(name)), host(MakeOptions()), plugin(host) {
    styledText = host.NewStyledText();
  }
  ~ExportFixture() { host.Release(styledText); }

  std::string key;
  simhost::Host host;
  simhost::Plugin plugin;
  REALobject styledText = nullptr;
  int64_t runs = 0;
  int64_t textBytes = 0;
};

// The fixture for key, made by build when it is not the current one. One host at a time.
ExportFixture& FixtureFor(const std::string& key,
                          const std::function<void(ExportFixture&)>& build) {
  static std::unique_ptr<ExportFixture> current;
  if (!current || current->key != key) {
    current.reset();
    current = std::make_unique<ExportFixture>(key);
    if (current->plugin.loaded()) build(*current);
  }
  return *current;
}

using bench_runs::kColors;
using bench_runs::kFonts;

// Many short runs, each differing from the one before, all in one paragraph.
void BuildManyRuns(ExportFixture& f, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    simhost::RunRecipe run;
    run.text = (i % 7 == 3) ? "caf\xC3\xA9 {x} " : "word ";
    bench_runs::StyleVariedRun(run, i);
    f.textBytes += static_cast<int64_t>(run.text.size());
    f.host.AppendRun(f.styledText, run);
  }
  f.runs = count;
}

// Runs of 16 KiB of mostly ASCII prose with escapes, tabs and a few non-ASCII letters; a line
// break ends every eighth run.
void BuildLongText(ExportFixture& f, int64_t bytes) {
  const std::string sentence =
      "The quick brown fox jumps over the lazy dog {again} \\ and\tthen na\xC3\xAFve "
      "caf\xC3\xA9 patrons cheer. ";
  const int64_t runBytes = 16384;
  int64_t index = 0;
  while (f.textBytes < bytes) {
    simhost::RunRecipe run;
    run.text.reserve(runBytes + sentence.size() + 2);
    while (static_cast<int64_t>(run.text.size()) < runBytes) run.text += sentence;
    if (index % 8 == 7) run.text += "\r\n";
    run.font = kFonts[index % 2];
    run.size = 12;
    run.color = kColors[index % 3];
    run.bold = (index % 3) == 1;
    f.textBytes += static_cast<int64_t>(run.text.size());
    f.host.AppendRun(f.styledText, run);
    ++index;
  }
  f.runs = index;
}

void Export(benchmark::State& state, ExportFixture& f) {
  if (!f.plugin.loaded()) {
    state.SkipWithError(f.plugin.error().c_str());
    return;
  }
  int64_t outputBytes = 0;
  for (auto _ : state) {
    const std::string rtf = f.plugin.Get(f.styledText, false);
    outputBytes = static_cast<int64_t>(rtf.size());
    benchmark::DoNotOptimize(rtf.data());
  }
  if (outputBytes == 0) {
    state.SkipWithError("the getter returned no document");
    return;
  }
  state.SetBytesProcessed(state.iterations() * outputBytes);
  state.counters["runs/s"] = benchmark::Counter(static_cast<double>(f.runs),
                                                benchmark::Counter::kIsIterationInvariantRate);
  state.counters["text_bytes"] = static_cast<double>(f.textBytes);
  state.counters["rtf_bytes"] = static_cast<double>(outputBytes);
}

void BM_ExportRuns(benchmark::State& state) {
  const int64_t count = state.range(0);
  Export(state, FixtureFor("runs:" + std::to_string(count),
                           [count](ExportFixture& f) { BuildManyRuns(f, count); }));
}
BENCHMARK(BM_ExportRuns)->Arg(1000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_ExportText(benchmark::State& state) {
  const int64_t bytes = state.range(0);
  Export(state, FixtureFor("text:" + std::to_string(bytes),
                           [bytes](ExportFixture& f) { BuildLongText(f, bytes); }));
}
BENCHMARK(BM_ExportText)->Arg(1 << 20)->Arg(10 << 20)->Unit(benchmark::kMillisecond);

}  // namespace
