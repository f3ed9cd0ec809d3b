// Writing a file so that readers see either the old content or the complete new one: the bytes
// go to a temporary file in the same directory, which is flushed to disk and then renamed over
// the target. A target that exists and is not a regular file (a device such as /dev/null, a
// FIFO, a socket; on Windows NUL or CON) is opened and written in place instead, never renamed
// over or removed.
#pragma once

#include <string>
#include <string_view>

namespace pendlow {

// Throws ToolError (usage status) with the reason when the file cannot be written; the
// temporary file is removed then and the target is left as it was.
void WriteFileAtomically(const std::string& path, std::string_view bytes);

}  // namespace pendlow
