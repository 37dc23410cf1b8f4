// The Windows platform object, and the registry members it answers with
// "not used here": the registry functions of this folder call the system's
// registry directly.
#include "nev/win32/win32_platform.h"

#include "nev/codes.h"
#include "nev/status.h"

namespace nev::platform {

Platform& default_platform() noexcept {
  static Win32_platform* object = new Win32_platform;  // outlives every static user
  return *object;
}

Hive_locations Win32_platform::hive_locations() {
  Hive_locations locations;
  locations.error = u"the registry is the system's on Windows; no hive is used";
  return locations;
}

std::shared_ptr<detail::Hive> Win32_platform::open_hive(const std::string& /*location*/, Nev_status& status) {
  status.assign(NEV_E_NOT_AVAILABLE, Nev_wstring_status_arg(u"registry hive"));
  return nullptr;
}

}  // namespace nev::platform
