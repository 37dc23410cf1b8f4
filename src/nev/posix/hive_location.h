// Which hive a registry call reaches: the local machine's, or a named
// machine's. The locations come from the platform object (resolved once, and
// again after nev::platform::reset_hive_locations); each location is opened
// once per process and its hive object kept until the process ends, so
// callers may hold plain pointers.
//
// A location is either a file path (the SQLite hive) or a store location
// `etcd://HOST:PORT[,HOST:PORT...]/PREFIX`; this unit is the one place that
// tells them apart and builds a named machine's location from the machines'
// location.
#pragma once

#include <string>

#include "nev/posix/hive.h"
#include "nev/status.h"

namespace nev::detail {

// The local machine's hive; null with the reason in `status` when there is
// no location or the hive cannot be opened.
Hive* local_hive(Nev_status& status);
// The hive of machine `name` (a plain name: no separators, not "." or "..");
// null with NEV_E_REG_NO_MACHINE when that machine has no hive.
Hive* machine_hive(const std::u16string& name, Nev_status& status);

}  // namespace nev::detail
