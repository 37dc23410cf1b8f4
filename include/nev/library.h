// Dynamic libraries: load, look up an entry point by name, unload.
//
// A failure carries the platform's own error text as a status argument, so a
// caller can show why a plug-in library did not load. Loading the same path
// twice gives handles that count as two loads: each needs its own unload.
// All of them may be called from any thread.
#pragma once

#include <string>

#include "nev/export.h"
#include "nev/status.h"

namespace nev {

// A loaded library; null is no library.
using Nev_library = void*;

// Loads the library at `path`. Failure: 0xC2000009 with the path and the
// platform's reason, and a null result. Clears `status` first.
NEV_EXPORT Nev_library nev_load_library(const std::u16string& path, Nev_status& status);
// The address of the entry point `name`. Failure: 0xC200000A with the name
// and the platform's reason, and a null result. Clears `status` first.
NEV_EXPORT void* nev_lookup_function(Nev_library library, const std::string& name, Nev_status& status);
// Refuses a library that a plug-in host must not load: a path that is not
// absolute, or a file or folder that anybody but the effective user or the
// system could change (owned by another user, or writable by group or
// others). Failure: 0xC2000014 with the path and the reason. Clears `status`
// first.
NEV_EXPORT void nev_check_library(const std::u16string& path, Nev_status& status);
// Unloads a library. Failure: 0xC200000B with the platform's reason.
// Clears `status` first.
NEV_EXPORT void nev_unload_library(Nev_library library, Nev_status& status);

}  // namespace nev
