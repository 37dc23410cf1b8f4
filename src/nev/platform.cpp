// The platform object in force, and the generation of the hive locations
// resolved through it.
#include "nev/platform.h"

#include <atomic>

#include "nev/platform_state.h"

namespace nev::platform {

namespace {

std::atomic<Platform*> g_installed{nullptr};
std::atomic<unsigned> g_location_generation{0};

}  // namespace

Platform::~Platform() = default;

Platform& current() noexcept {
  Platform* installed = g_installed.load(std::memory_order_acquire);
  return installed != nullptr ? *installed : default_platform();
}

void install(Platform* platform) noexcept {
  g_installed.store(platform, std::memory_order_release);
  reset_hive_locations();
}

void reset_hive_locations() noexcept { g_location_generation.fetch_add(1, std::memory_order_acq_rel); }

unsigned hive_location_generation() noexcept { return g_location_generation.load(std::memory_order_acquire); }

}  // namespace nev::platform
