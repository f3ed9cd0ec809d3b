// Throughput of the getter of "RTFDataZVK" through the simulated host: many short style runs
// (the per-run control-word work dominates) and few long ones (the text escaping dominates).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>

#include "simhost/host.h"

namespace {

// One host and one loaded library for the whole process; the host allows one current instance.
// The styled text of the last configuration is kept so a benchmark builds it only once, however
// often the framework calls it, and released when another configuration is asked for.
struct ExportFixture {
  simhost::Host host;
  simhost::Plugin plugin;
  REALobject styledText = nullptr;
  std::string key;
  int64_t runs = 0;
  int64_t textBytes = 0;

  static simhost::Options MakeOptions() {
    simhost::Options options;
    options.captureLog = false;
    return options;
  }
  ExportFixture() : host(MakeOptions()), plugin(host) {}
  ~ExportFixture() { Drop(); }

  void Drop() {
    if (styledText != nullptr) host.Release(styledText);
    styledText = nullptr;
    key.clear();
  }

  static ExportFixture& Get() {
    static ExportFixture fixture;
    return fixture;
  }
};

const char* const kFonts[] = {"Arial", "Times New Roman", "Helvetica", "Courier New"};
const uint32_t kColors[] = {0x000000, 0xFF0000, 0x0000FF, 0x336699, 0x00AA00};

// Many short runs, each differing from the one before, all in one paragraph.
void BuildManyRuns(ExportFixture& f, int64_t count) {
  const std::string key = "runs:" + std::to_string(count);
  if (f.key == key) return;
  f.Drop();
  f.key = key;
  f.styledText = f.host.NewStyledText();
  f.runs = count;
  f.textBytes = 0;
  for (int64_t i = 0; i < count; ++i) {
    simhost::RunSpec run;
    run.text = (i % 7 == 3) ? "caf\xC3\xA9 {x} " : "word ";
    run.font = kFonts[(i / 3) % 4];
    run.size = 10 + (i / 5) % 4;
    run.color = kColors[(i / 2) % 5];
    run.bold = (i % 2) != 0;
    run.italic = (i % 4) >= 2;
    run.underline = (i % 11) == 0;
    f.textBytes += static_cast<int64_t>(run.text.size());
    f.host.AppendRun(f.styledText, run);
  }
}

// Long runs of mostly ASCII prose with escapes, tabs and a few non-ASCII letters; a line break
// ends every eighth run.
void BuildLongText(ExportFixture& f, int64_t bytes) {
  const std::string key = "text:" + std::to_string(bytes);
  if (f.key == key) return;
  f.Drop();
  f.key = key;
  f.styledText = f.host.NewStyledText();
  const std::string sentence =
      "The quick brown fox jumps over the lazy dog {again} \\ and\tthen na\xC3\xAFve "
      "caf\xC3\xA9 patrons cheer. ";
  const int64_t runBytes = 16384;
  int64_t written = 0, index = 0;
  while (written < bytes) {
    std::string text;
    text.reserve(runBytes + sentence.size() + 2);
    while (static_cast<int64_t>(text.size()) < runBytes) text += sentence;
    if (index % 8 == 7) text += "\r\n";
    simhost::RunSpec run;
    run.text = std::move(text);
    run.font = kFonts[index % 2];
    run.size = 12;
    run.color = kColors[index % 3];
    run.bold = (index % 3) == 1;
    written += static_cast<int64_t>(run.text.size());
    f.host.AppendRun(f.styledText, run);
    ++index;
  }
  f.runs = index;
  f.textBytes = written;
}

void Export(benchmark::State& state, ExportFixture& f) {
  int64_t outputBytes = 0;
  for (auto _ : state) {
    const std::string rtf = f.plugin.Get(f.styledText, false);
    outputBytes = static_cast<int64_t>(rtf.size());
    benchmark::DoNotOptimize(rtf.data());
  }
  if (outputBytes == 0) state.SkipWithError("the getter returned no document");
  state.SetBytesProcessed(state.iterations() * outputBytes);
  state.counters["runs/s"] =
      benchmark::Counter(static_cast<double>(f.runs), benchmark::Counter::kIsIterationInvariantRate);
  state.counters["text_bytes"] = static_cast<double>(f.textBytes);
  state.counters["rtf_bytes"] = static_cast<double>(outputBytes);
}

void BM_ExportRuns(benchmark::State& state) {
  ExportFixture& f = ExportFixture::Get();
  if (!f.plugin.loaded()) {
    state.SkipWithError(f.plugin.error().c_str());
    return;
  }
  BuildManyRuns(f, state.range(0));
  Export(state, f);
}
BENCHMARK(BM_ExportRuns)->Arg(1000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_ExportText(benchmark::State& state) {
  ExportFixture& f = ExportFixture::Get();
  if (!f.plugin.loaded()) {
    state.SkipWithError(f.plugin.error().c_str());
    return;
  }
  BuildLongText(f, state.range(0));
  Export(state, f);
}
BENCHMARK(BM_ExportText)->Arg(1 << 20)->Arg(10 << 20)->Unit(benchmark::kMillisecond);

}  // namespace
BENCHMARK_MAIN();
