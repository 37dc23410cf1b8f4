// Hive locations on POSIX systems, and the choice of hive kind by location.
//
// Where the hives lie:
//   this machine:    NEV_REGISTRY, else $XDG_DATA_HOME/kov/registry.db, else
//                    $HOME/.local/share/kov/registry.db (the home folder from
//                    the user database when HOME is unset);
//   a named machine: NEV_REGISTRY_MACHINES/<machine>.db, else
//                    $XDG_DATA_HOME/kov/machines/<machine>.db, else
//                    $HOME/.local/share/kov/machines/<machine>.db.
// With no variable and no home folder there is no hive: the calls fail and
// say so, rather than fall back on a shared folder that another user could
// prepare.
//
// Either variable may instead name a prefix of an etcd cluster,
// `etcd://HOST:PORT[,...]/PREFIX` (etcd_hive.h): machine M is then PREFIX/M,
// and it exists once its hive was written to. NEV_REGISTRY_TIMEOUT_MS bounds
// the wait for the cluster (default 2000).
#include "nev/posix/hive_location.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <set>

#include "nev/codes.h"
#include "nev/platform_state.h"
#include "nev/posix/posix_platform.h"
#include "nev/posix/sqlite_hive.h"
#include "nev/strings.h"
#ifdef NEV_WITH_ETCD
#include "nev/posix/etcd_hive.h"
#endif

namespace nev {

namespace platform {

namespace {

std::string variable(Platform& platform, const char16_t* name) {
  std::u16string value;
  return platform.environment_variable(name, value) ? nev_to_utf8(value) : std::string();
}

// The folder for a user's data files, as the XDG conventions place it; empty
// when the user has no home folder.
std::string data_home(Platform& platform) {
  const std::string xdg = variable(platform, u"XDG_DATA_HOME");
  if (!xdg.empty() && xdg.front() == '/') return xdg;
  std::string home = variable(platform, u"HOME");
  if (home.empty()) {
    passwd entry{};
    passwd* found = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::geteuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr) {
      home = found->pw_dir;
    }
  }
  if (home.empty() || home.front() != '/') return std::string();
  return home + "/.local/share";
}

bool is_store_location(const std::string& location) { return location.rfind("etcd://", 0) == 0; }

// ---- hives in an etcd cluster ------------------------------------------------
#ifdef NEV_WITH_ETCD
// How long a call on a hive in a cluster may wait for it: NEV_REGISTRY_TIMEOUT_MS,
// else 2 s.
std::chrono::milliseconds store_timeout(Platform& platform) {
  const std::string text = variable(platform, u"NEV_REGISTRY_TIMEOUT_MS");
  char* end = nullptr;
  const long long ms = text.empty() ? 0 : std::strtoll(text.c_str(), &end, 10);
  return std::chrono::milliseconds(ms > 0 && end != nullptr && *end == '\0' ? ms : 2000);
}

std::shared_ptr<detail::Hive> open_store_hive(Platform& platform, const std::string& location, Nev_status& status) {
  return detail::Etcd_hive::open(location, store_timeout(platform), status);
}

// Whether the hive in the cluster exists (it was written to once); false
// with the cluster's failure in `status` when it could not be asked.
bool store_hive_exists(detail::Hive& hive, Nev_status& status) {
  return static_cast<detail::Etcd_hive&>(hive).exists(status);
}
#else
std::shared_ptr<detail::Hive> open_store_hive(Platform&, const std::string& location, Nev_status& status) {
  status.assign(NEV_E_REG_HIVE, Nev_wstring_status_arg(nev_from_utf8(location)),
                Nev_wstring_status_arg(u"this build has no support for hives in an etcd cluster"));
  return nullptr;
}

bool store_hive_exists(detail::Hive&, Nev_status&) { return false; }
#endif

}  // namespace

Hive_locations Posix_platform::hive_locations() {
  Hive_locations locations;
  locations.local = variable(*this, u"NEV_REGISTRY");
  locations.machines = variable(*this, u"NEV_REGISTRY_MACHINES");
  if (!locations.local.empty() && !locations.machines.empty()) return locations;
  const std::string data = data_home(*this);
  if (data.empty()) {
    locations.error = u"NEV_REGISTRY is not set and the user has no home folder";
    return locations;
  }
  if (locations.local.empty()) locations.local = data + "/kov/registry.db";
  if (locations.machines.empty()) locations.machines = data + "/kov/machines";
  return locations;
}

std::shared_ptr<detail::Hive> Posix_platform::open_hive(const std::string& location, Nev_status& status) {
  if (is_store_location(location)) return open_store_hive(*this, location, status);
  return detail::Sqlite_hive::at(location);
}

}  // namespace platform

namespace detail {

namespace {

struct Location_table {
  std::mutex mutex;
  unsigned generation = ~0u;
  platform::Hive_locations locations;
  // The hives opened through the platform object of this generation.
  std::map<std::string, std::shared_ptr<Hive>> hives;
  // Hives of earlier generations: handles may still point at them, so they
  // live on until the process ends.
  std::set<std::shared_ptr<Hive>> retired;
};

Location_table& location_table() {
  static auto* table = new Location_table;  // outlives every static user
  return *table;
}

// The locations in force, resolved again when the generation moved on.
// Called with the table's mutex held.
const platform::Hive_locations& locations(Location_table& table) {
  const unsigned generation = platform::hive_location_generation();
  if (table.generation != generation) {
    table.locations = platform::current().hive_locations();
    table.generation = generation;
    for (auto& entry : table.hives) {
      entry.second->retire();
      table.retired.insert(std::move(entry.second));
    }
    table.hives.clear();
  }
  return table.locations;
}

Hive* open_at(Location_table& table, const std::string& location, Nev_status& status) {
  std::shared_ptr<Hive>& hive = table.hives[location];
  if (!hive) hive = platform::current().open_hive(location, status);
  if (!hive) table.hives.erase(location);
  return hive.get();
}

void no_location(const platform::Hive_locations& found, Nev_status& status) {
  status.assign(NEV_E_REG_HIVE, Nev_wstring_status_arg(u"(none)"), Nev_wstring_status_arg(found.error));
}

// The hive of this machine for the calling thread, kept with the generation
// it was found at, so that a warm call takes no lock.
struct Local_cache {
  unsigned generation = ~0u;
  Hive* hive = nullptr;
};
thread_local Local_cache t_local;

}  // namespace

Hive* local_hive(Nev_status& status) {
  const unsigned generation = platform::hive_location_generation();
  if (t_local.hive != nullptr && t_local.generation == generation) return t_local.hive;
  Location_table& table = location_table();
  std::lock_guard<std::mutex> lock(table.mutex);
  const platform::Hive_locations& found = locations(table);
  if (found.local.empty()) {
    no_location(found, status);
    return nullptr;
  }
  Hive* hive = open_at(table, found.local, status);
  if (hive != nullptr) t_local = Local_cache{generation, hive};
  return hive;
}

Hive* machine_hive(const std::u16string& name, Nev_status& status) {
  Location_table& table = location_table();
  std::lock_guard<std::mutex> lock(table.mutex);
  const platform::Hive_locations& found = locations(table);
  if (found.machines.empty()) {
    no_location(found, status);
    return nullptr;
  }
  const bool store = platform::is_store_location(found.machines);
  const std::string location = found.machines + "/" + nev_to_utf8(name) + (store ? "" : ".db");
  struct stat info {};
  if (!store && (::stat(location.c_str(), &info) != 0 || !S_ISREG(info.st_mode))) {
    status.assign(NEV_E_REG_NO_MACHINE, Nev_wstring_status_arg(name), Nev_wstring_status_arg(nev_from_utf8(location)));
    return nullptr;
  }
  Hive* hive = open_at(table, location, status);
  // A hive in a cluster exists once it was written to (its head key is there).
  if (hive != nullptr && store && !platform::store_hive_exists(*hive, status)) {
    if (status.ok()) {
      status.assign(NEV_E_REG_NO_MACHINE, Nev_wstring_status_arg(name), Nev_wstring_status_arg(nev_from_utf8(location)));
    }
    return nullptr;
  }
  return hive;
}

}  // namespace detail

}  // namespace nev
