// A minimal host for counting the library's own instructions: every service does as little as
// its contract allows, so that a profiler switched off inside the services sees only the
// library and the runtime calls it makes. Every service and host method is an extern "C"
// function whose name starts with "HostService_" (the profiler toggles on that prefix); the
// program itself never calls them, it builds strings and objects through the functions below.
//
// With a trace file, every service call is written as one line (name, arguments, result, with
// handles numbered in order of creation), so two builds of the library can be compared call by
// call.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "frame/host_api.h"

namespace minihost {

// Opens the trace (null: no trace). Lines are written until CloseTrace.
void OpenTrace(std::FILE* file);
void CloseTrace();

// The resolver to hand to REALPluginMain, and what the library registered.
REALResolver Resolver();
REALproc RegisteredGetter();
REALproc RegisteredSetter();

// Strings and objects made by the program, each with one reference owned by the caller.
REALstring NewString(const std::string& bytes, uint32_t encoding);
void ReleaseString(REALstring s);
std::string BytesOf(REALstring s);

struct RunRecipe {
  std::string text;                         // UTF-8
  std::string font;                         // UTF-8
  bool nullText = false, nullFont = false;  // the run holds no string at all
  int64_t size = 0;
  uint32_t color = 0;
  bool bold = false, italic = false, underline = false;
};

REALobject NewStyledText();
// Appends a run as the host's own editor would; paragraphs follow the run texts' line breaks.
void AppendRun(REALobject styledText, const RunRecipe& run);
// Gives every paragraph an alignment (index modulo 4) so the getter writes alignment words.
void CycleParagraphAlignments(REALobject styledText);
int64_t RunCount(REALobject styledText);

}  // namespace minihost
