// The system's wording for a Windows error code, shared by the host's loader and the tool so
// that both report the same text for the same failure.
#pragma once

#include <string>

namespace simhost {

// FormatMessage's text for code without the trailing line break and full stop; "error N" when
// the system has no text for it. Windows only (defined in a *_win.cpp part).
std::string SystemErrorText(unsigned long code);

}  // namespace simhost
