// Whether a file that the foundation reads code or settings from can be
// trusted: a hive, its folder, a plug-in library and its folder. Such a file
// is trusted when it is owned by the effective user or by root and nobody
// else (no group, no other user) may write it; a folder the same. Anybody
// who could change such a file could make this process run their code or
// believe their settings.
//
// Stateless; any thread.
#pragma once

#include <string>

namespace nev::platform {

// True when the file or folder at `path` (followed through symbolic links)
// exists and is trusted, or is missing and `missing_ok`; false with `reason`
// naming it and telling why.
bool is_trusted(const std::string& path, std::string& reason, bool missing_ok = false);

// The folder that holds `path` ("/" for a file at the top, "." for a bare
// name).
std::string folder_of(const std::string& path);

// True when `path` is absolute and it and its folder are trusted; false with
// `reason` otherwise. A missing file in a trusted folder passes: whoever
// opens it then finds it missing, and only a trusted user could put one
// there.
bool is_trusted_with_folder(const std::string& path, std::string& reason);

}  // namespace nev::platform
