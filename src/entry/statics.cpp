// The toolbox's process-wide objects and its start and stop.
//
// All of them are defined in this one file, in this order, so that their
// construction at load and their destruction at unload (in reverse) are
// fixed. None looks at another while it is being built.
//
// At unload the first thing to run is the destructor of `stop`, defined last:
// it unloads every library left in the plug-in cache, in key order, asking
// nothing and reporting nothing, before the cache itself is destroyed.
#include "entry/statics.h"

#include "nev/status.h"

namespace kov::detail {

std::uint16_t indent_step = 2;
const std::u16string messages_parameter_name = u"Messages";
const std::u16string order_value_name = u"{d768ad40-092e-11d3-9977-0090271916d9}";
std::map<std::u16string, nev::Nev_library> library_cache;
nev::Nev_critical cache_lock(false);
const std::u16string true_text = u"true";
const std::u16string false_text = u"false";

namespace {

// Unloads what the plug-in cache still holds when the library goes away.
// The cache lock is not taken: no other call can run at this point.
struct Stop_walk {
  Stop_walk() = default;
  Stop_walk(const Stop_walk&) = delete;
  Stop_walk& operator=(const Stop_walk&) = delete;
  ~Stop_walk() {
    nev::Nev_status status;
    for (const auto& entry : library_cache) nev::nev_unload_library(entry.second, status);
  }
};

Stop_walk stop;

}  // namespace
}  // namespace kov::detail
