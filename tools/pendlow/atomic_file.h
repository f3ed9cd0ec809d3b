// Writing a file so that readers see either the old content or the complete new one: the bytes
// go to a temporary file in the same directory, which is flushed to disk and then renamed over
// the target.
#pragma once

#include <string>
#include <string_view>

namespace pendlow {

// Throws ToolError (usage status) with the reason when the file cannot be written; the
// temporary file is removed then and the target is left as it was.
void WriteFileAtomically(const std::string& path, std::string_view bytes);

}  // namespace pendlow
