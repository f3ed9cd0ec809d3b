// Runs the setter on one RTF document, or the getter on a styled text of many short runs, once,
// inside a minimal host; made to be counted by callgrind (bench/library_cost.sh). The calls into
// the library go through PendlowCost_MeasuredSetter and PendlowCost_MeasuredGetter, the
// functions the profiler switches collection on for.
//
//   pendlow_library_cost [--library PATH] [--trace FILE] setter DOCUMENT.rtf
//   pendlow_library_cost [--library PATH] [--trace FILE] getter RUNS
//   pendlow_library_cost [--library PATH] [--trace FILE] getter-varied RUNS
//   pendlow_library_cost [--library PATH] [--trace FILE] getter-text BYTES
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "minimal_host.h"
#include "../varied_runs.h"

#ifndef PENDLOW_LIBRARY_PATH
#define PENDLOW_LIBRARY_PATH "libPendlow.so"
#endif

typedef void(RBCALL* PluginMainFn)(REALResolver);
typedef REALstring(RBCALL* GetterFn)(REALobject, RBBoolean);
typedef void(RBCALL* SetterFn)(REALobject, RBBoolean, REALstring);

// Called just before the measured call: the profiler zeroes its counters here, dropping what the
// load of the library cost (host services toggle collection on while they run).
extern "C" __attribute__((noinline)) void PendlowCost_StartCounting() {
  asm volatile("" ::: "memory");
}

// Kept out of line and not tail-calling, so that the profiler sees each call enter and leave.
extern "C" __attribute__((noinline)) void PendlowCost_MeasuredSetter(SetterFn setter,
                                                                     REALobject styledText,
                                                                     REALstring value) {
  setter(styledText, 0, value);
  asm volatile("" ::: "memory");
}

extern "C" __attribute__((noinline)) REALstring PendlowCost_MeasuredGetter(GetterFn getter,
                                                                           REALobject styledText) {
  REALstring result = getter(styledText, 0);
  asm volatile("" ::: "memory");
  return result;
}

namespace {

int Usage() {
  std::fprintf(stderr,
               "usage: pendlow_library_cost [--library PATH] [--trace FILE] setter DOCUMENT.rtf\n"
               "       pendlow_library_cost [--library PATH] [--trace FILE] getter RUNS\n"
               "       pendlow_library_cost [--library PATH] [--trace FILE] getter-varied RUNS\n"
               "       pendlow_library_cost [--library PATH] [--trace FILE] getter-text BYTES\n");
  return 2;
}

using bench_runs::kColors;
using bench_runs::kFonts;

// count runs of 20 characters each, every one differing from the one before in some way; one
// in seven holds non-ASCII letters and braces, every tenth ends its paragraph.
void BuildRuns(REALobject styledText, long count) {
  for (long i = 0; i < count; ++i) {
    minihost::RunRecipe run;
    if (i % 10 == 9) {
      run.text = "word word word word\r";
    } else if (i % 7 == 3) {
      run.text = "caf\xC3\xA9 {x} na\xC3\xAFve deal ";
    } else {
      run.text = "word word word word ";
    }
    bench_runs::StyleVariedRun(run, i);
    minihost::AppendRun(styledText, run);
  }
  minihost::CycleParagraphAlignments(styledText);
}

// Runs that take the getter down its less common paths, for comparing host calls between two
// builds: empty and non-ASCII font names, empty, long, multi-line and non-ASCII texts, control
// characters, surrogate pairs, repeated formatting.
void BuildVariedRuns(REALobject styledText, long count) {
  const char* const texts[] = {
      "",
      "plain",
      "a\r\nb\n\rc\r\rd\n\ne\r\n\r\nf",
      "tab\there \x01\x02\x08 ctl\x0B\x0C",
      "\\{}\\ braces {and} backslashes \\",
      "\xC3\xA9\xC3\xA0\xE2\x82\xAC \xF0\x9F\x98\x80 \xEF\xBF\xBF end",
      "\r",
      "\n",
  };
  // The last name is UTF-16 as some hosts hold it: the getter rebuilds it as text.
  const std::string fonts[] = {"",
                               "Arial",
                               "Arial",
                               "Gr\xC3\xBC\xC3\x9F"
                               "e Sans",
                               "arial",
                               "Times New Roman",
                               "Font;{}\\\\",
                               std::string("A\0r\0i\0a\0l\0", 10)};
  std::string longText;
  for (int k = 0; k < 300; ++k) longText += "long line of text, ";
  longText += "\r\n";
  for (long i = 0; i < count; ++i) {
    minihost::RunRecipe run;
    run.text = (i % 13 == 12) ? longText : texts[i % 8];
    run.font = fonts[(i / 2) % 8];
    run.nullFont = i % 17 == 16;
    run.nullText = i % 19 == 18;
    run.size = (i % 9 == 0) ? -3 : 8 + (i / 3) % 5;
    run.color = (i % 6 == 5) ? 0xFF123456u : kColors[(i / 4) % 5];
    run.bold = (i / 5) % 2 != 0;
    run.italic = (i / 7) % 2 != 0;
    run.underline = (i / 3) % 3 == 0;
    minihost::AppendRun(styledText, run);
  }
  minihost::CycleParagraphAlignments(styledText);
}

// Runs of 16 KiB of mostly ASCII prose with escapes, tabs and a few non-ASCII letters, a line
// break ending every eighth run: the text-heavy export of the export benchmark.
void BuildLongRuns(REALobject styledText, long bytes) {
  const std::string sentence =
      "The quick brown fox jumps over the lazy dog {again} \\ and\tthen na\xC3\xAFve "
      "caf\xC3\xA9 patrons cheer. ";
  long total = 0;
  for (long index = 0; total < bytes; ++index) {
    minihost::RunRecipe run;
    while (run.text.size() < 16384) run.text += sentence;
    if (index % 8 == 7) run.text += "\r\n";
    run.font = kFonts[index % 2];
    run.size = 12;
    run.color = kColors[index % 3];
    run.bold = (index % 3) == 1;
    total += static_cast<long>(run.text.size());
    minihost::AppendRun(styledText, run);
  }
  minihost::CycleParagraphAlignments(styledText);
}

}  // namespace

int main(int argc, char** argv) {
  std::string library = PENDLOW_LIBRARY_PATH;
  const char* tracePath = nullptr;
  int a = 1;
  for (; a + 1 < argc && std::strncmp(argv[a], "--", 2) == 0; a += 2) {
    if (std::strcmp(argv[a], "--library") == 0) {
      library = argv[a + 1];
    } else if (std::strcmp(argv[a], "--trace") == 0) {
      tracePath = argv[a + 1];
    } else {
      return Usage();
    }
  }
  if (argc - a != 2) return Usage();
  const std::string mode = argv[a];
  const char* argument = argv[a + 1];
  if (mode != "setter" && mode != "getter" && mode != "getter-varied" && mode != "getter-text")
    return Usage();

  std::FILE* trace = nullptr;
  if (tracePath != nullptr) {
    trace = std::fopen(tracePath, "w");
    if (trace == nullptr) {
      std::perror(tracePath);
      return 1;
    }
    minihost::OpenTrace(trace);
  }

  void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    std::fprintf(stderr, "cannot load %s: %s\n", library.c_str(), dlerror());
    return 1;
  }
  auto pluginMain = reinterpret_cast<PluginMainFn>(dlsym(handle, "REALPluginMain"));
  if (pluginMain == nullptr) {
    std::fprintf(stderr, "%s lacks REALPluginMain\n", library.c_str());
    return 1;
  }
  pluginMain(minihost::Resolver());
  auto getter = reinterpret_cast<GetterFn>(minihost::RegisteredGetter());
  auto setter = reinterpret_cast<SetterFn>(minihost::RegisteredSetter());
  if (getter == nullptr || setter == nullptr) {
    std::fprintf(stderr, "the library registered no getter and setter\n");
    return 1;
  }

  REALobject styledText = minihost::NewStyledText();
  if (mode == "setter") {
    std::ifstream in(argument, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "cannot read %s\n", argument);
      return 1;
    }
    std::ostringstream content;
    content << in.rdbuf();
    const std::string document = content.str();
    REALstring value = minihost::NewString(document, kREALTextEncodingUTF8);
    PendlowCost_StartCounting();
    PendlowCost_MeasuredSetter(setter, styledText, value);
    minihost::ReleaseString(value);
    std::printf("bytes %zu runs %lld\n", document.size(),
                static_cast<long long>(minihost::RunCount(styledText)));
  } else {
    const long runs = std::strtol(argument, nullptr, 10);
    if (runs <= 0) return Usage();
    if (mode == "getter") {
      BuildRuns(styledText, runs);
    } else if (mode == "getter-text") {
      BuildLongRuns(styledText, runs);  // the argument counts text bytes here
    } else {
      BuildVariedRuns(styledText, runs);
    }
    PendlowCost_StartCounting();
    REALstring result = PendlowCost_MeasuredGetter(getter, styledText);
    const std::string rtf = minihost::BytesOf(result);
    minihost::ReleaseString(result);
    std::printf("%s %ld rtf_bytes %zu\n", mode == "getter-text" ? "text_bytes" : "runs", runs,
                rtf.size());
  }
  minihost::CloseTrace();
  if (trace != nullptr) std::fclose(trace);
  return 0;
}
