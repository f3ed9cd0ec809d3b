// The tool's version, as `pendlow --version`, the help text and generated pages show it.
#pragma once

namespace pendlow {

const char* ToolVersion();

}  // namespace pendlow
