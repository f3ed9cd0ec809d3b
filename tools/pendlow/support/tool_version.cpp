#include "support/tool_version.h"

// Set by the build from the project's version.
#ifndef PENDLOW_VERSION
#define PENDLOW_VERSION "unknown"
#endif

namespace pendlow {

const char* ToolVersion() {
  return PENDLOW_VERSION;
}

}  // namespace pendlow
