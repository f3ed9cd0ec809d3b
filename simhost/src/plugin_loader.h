// The platform's dynamic loader as the simulated host uses it: every load gets a private copy
// of the library file, so each Plugin starts with fresh globals and service caches (the loader
// shares one instance per file). Loaded copies stay loaded for the life of the process, as the
// IDE never unloads a plug-in.
#pragma once

#include <string>

namespace simhost {

// Loads a private copy of the library at `path`. Null on failure, with the reason in *error.
void* LoadPrivateCopy(const std::string& path, std::string* error);

// The address of an exported symbol of a loaded copy; null when it has none.
void* FindSymbol(void* handle, const char* name);

}  // namespace simhost
