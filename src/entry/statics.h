// The toolbox's process-wide objects, built when the library loads and
// destroyed when it unloads (see statics.cpp for the order).
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "nev/library.h"
#include "nev/locks.h"

namespace kov::detail {

// Spaces of indentation per trace depth.
extern std::uint16_t indent_step;
// Name of the service parameter that lists a service's message files.
extern const std::u16string messages_parameter_name;
// Name of the value that orders the subkeys of a key.
extern const std::u16string order_value_name;
// Loaded plug-in libraries by their path exactly as registered; guarded by
// `cache_lock`.
extern std::map<std::u16string, nev::Nev_library> library_cache;
// Guards `library_cache` and every call into a plug-in's factory.
extern nev::Nev_critical cache_lock;
// The texts of the two flag values.
extern const std::u16string true_text;
extern const std::u16string false_text;

}  // namespace kov::detail
