// Throughput of the setter of "RTFDataZVK" through the simulated host: generated documents of
// every profile of bench/gen_rtf.py (seed 1), assigned to a new StyledText each time.
//
// The documents are made on first use, one at a time, so a filtered run generates only what it
// measures. PENDLOW_BENCH_IMPORT_MB picks the sizes in MiB (comma-separated, default "1,10"; the
// CI smoke run uses "1"). PENDLOW_BENCH_RTF_DIR names a folder that keeps the documents between
// runs (as <profile>-<size>.rtf, the names the generator's README uses); without it they are
// made in a temporary folder and removed again.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "simhost/host.h"

namespace {

const char* const kProfiles[] = {"plain",    "styled", "unicode", "codepage",
                                 "wordlike", "export", "hostile"};

std::string Quoted(const std::string& s) {
  std::string out = "'";
  for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// The folder the documents go to: PENDLOW_BENCH_RTF_DIR, or a temporary one made on first use
// and removed at exit.
class DocumentFolder {
 public:
  static DocumentFolder& Get() {
    static DocumentFolder folder;
    return folder;
  }
  bool keep() const { return keep_; }
  // "" when no folder can be made; error says why.
  const std::string& path(std::string* error) {
    if (path_.empty()) {
      const char* dir = std::getenv("PENDLOW_BENCH_RTF_DIR");
      if (dir != nullptr && *dir != '\0') {
        path_ = dir;
        keep_ = true;
      } else {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern =
            std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/pendlow-bench-XXXXXX";
        if (mkdtemp(pattern.data()) != nullptr) {
          path_ = pattern;
        } else {
          *error = std::string("cannot make a temporary folder: ") + std::strerror(errno);
        }
      }
    }
    return path_;
  }
  ~DocumentFolder() {
    if (!keep_ && !path_.empty()) rmdir(path_.c_str());
  }

 private:
  std::string path_;
  bool keep_ = false;
};

// The bytes of one generated document. Only the latest is held: the benchmarks ask for the same
// document several times in a row, then move on to the next.
const std::string* LoadDocument(const std::string& profile, int sizeMb, std::string* error) {
  static std::string key, bytes;
  const std::string wanted = profile + "-" + std::to_string(sizeMb);
  if (key == wanted) return &bytes;
  key.clear();
  bytes.clear();
  bytes.shrink_to_fit();

  DocumentFolder& folder = DocumentFolder::Get();
  const std::string& dir = folder.path(error);
  if (dir.empty()) return nullptr;
  const std::string file = dir + "/" + wanted + ".rtf";
  if (access(file.c_str(), R_OK) != 0) {
    const std::string command = "python3 " + Quoted(PENDLOW_GENERATOR) + " --profile " + profile +
                                " --size-mb " + std::to_string(sizeMb) + " --seed 1 -o " +
                                Quoted(file);
    if (std::system(command.c_str()) != 0) {
      *error = "generation failed: " + command;
      return nullptr;
    }
  }
  std::ifstream in(file, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  bytes = content.str();
  if (!folder.keep()) std::remove(file.c_str());
  if (bytes.empty()) {
    *error = "cannot read " + file;
    return nullptr;
  }
  key = wanted;
  return &bytes;
}

simhost::Options BenchOptions() {
  simhost::Options options;
  options.captureLog = false;
  return options;
}

void BM_Import(benchmark::State& state, const std::string& profile, int sizeMb) {
  std::string error;
  const std::string* document = LoadDocument(profile, sizeMb, &error);
  if (document == nullptr) {
    state.SkipWithError(error.c_str());
    return;
  }
  // A host of its own for each call: other benchmarks keep hosts of theirs, and the newest one
  // alive is the one the library talks to.
  simhost::Host host(BenchOptions());
  simhost::Plugin plugin(host);
  if (!plugin.loaded()) {
    state.SkipWithError(plugin.error().c_str());
    return;
  }
  REALstring value = host.NewString(*document, kREALTextEncodingUTF8);

  // Each assignment goes to a new StyledText; the last one stays for counting its runs.
  REALobject target = nullptr;
  host.ResetCounters();
  for (auto _ : state) {
    state.PauseTiming();
    if (target != nullptr) host.Release(target);
    target = host.NewStyledText();
    state.ResumeTiming();
    plugin.SetRaw(target, false, value);
  }
  uint64_t hostCalls = 0;
  for (const auto& entry : host.AllCalls()) hostCalls += entry.second;
  const auto runs = static_cast<int64_t>(target != nullptr ? host.RunsOf(target).size() : 0);
  if (target != nullptr) host.Release(target);
  host.Release(value);

  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(document->size()));
  state.counters["runs"] = static_cast<double>(runs);
  state.counters["runs/s"] =
      benchmark::Counter(static_cast<double>(runs), benchmark::Counter::kIsIterationInvariantRate);
  // Host services and methods called per StyleRun made.
  state.counters["calls/run"] = runs > 0 ? static_cast<double>(hostCalls) /
                                               static_cast<double>(state.iterations()) /
                                               static_cast<double>(runs)
                                         : 0.0;
}

std::vector<int> SizesMb() {
  const char* value = std::getenv("PENDLOW_BENCH_IMPORT_MB");
  std::string list = value != nullptr && *value != '\0' ? value : "1,10";
  std::vector<int> sizes;
  std::stringstream in(list);
  std::string item;
  while (std::getline(in, item, ',')) {
    const int size = std::atoi(item.c_str());
    if (size > 0) sizes.push_back(size);
  }
  return sizes;
}

bool RegisterImportBenchmarks() {
  for (int sizeMb : SizesMb()) {
    for (const char* profile : kProfiles) {
      const std::string name =
          "BM_Import/" + std::string(profile) + "/" + std::to_string(sizeMb) + "MiB";
      benchmark::RegisterBenchmark(name.c_str(), [profile = std::string(profile),
                                                  sizeMb](benchmark::State& state) {
        BM_Import(state, profile, sizeMb);
      })->Unit(benchmark::kMillisecond);
    }
  }
  return true;
}

[[maybe_unused]] const bool gImportBenchmarksRegistered = RegisterImportBenchmarks();

}  // namespace
