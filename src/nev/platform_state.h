// What the foundation's own units need to know of the platform object's
// state beyond nev/platform.h; not exported.
#pragma once

namespace nev::platform {

// Grows whenever the hive locations must be resolved again (a platform was
// installed, reset_hive_locations ran, nev_setenv changed a registry
// variable). A unit that keeps resolved locations compares it with the value
// it resolved them at.
unsigned hive_location_generation() noexcept;

}  // namespace nev::platform
