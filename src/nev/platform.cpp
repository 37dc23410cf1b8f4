// The platform object in force, the generation of the hive locations
// resolved through it, and its zone generation.
#include "nev/platform.h"

#include <atomic>

#include "nev/platform_state.h"

namespace nev::platform {

namespace {

std::atomic<Platform*> g_installed{nullptr};
std::atomic<unsigned> g_location_generation{0};
std::atomic<std::uint64_t> g_installs{0};
constexpr int INSTALL_SHIFT = 40;

}  // namespace

Platform::~Platform() = default;

Platform& current() noexcept {
  Platform* installed = g_installed.load(std::memory_order_acquire);
  return installed != nullptr ? *installed : default_platform();
}

void install(Platform* platform) noexcept {
  g_installed.store(platform, std::memory_order_release);
  g_installs.fetch_add(1, std::memory_order_acq_rel);
  reset_hive_locations();
}

std::uint64_t zone_generation() {
  const std::uint64_t installs = g_installs.load(std::memory_order_acquire);
  const std::uint64_t own = current().zone_generation() & ((std::uint64_t{1} << INSTALL_SHIFT) - 1);
  return (installs << INSTALL_SHIFT) | own;
}

void reset_hive_locations() noexcept { g_location_generation.fetch_add(1, std::memory_order_acq_rel); }

unsigned hive_location_generation() noexcept { return g_location_generation.load(std::memory_order_acquire); }

}  // namespace nev::platform
