// A platform object for tests: the platform's own object with any of the
// services below replaced by a function of the test's. It is in force from
// its construction to its destruction; an empty function keeps the
// platform's own service.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "nev/platform.h"

class Test_platform : public nev::platform::Platform_wrapper {
 public:
  Test_platform() : Platform_wrapper(nev::platform::default_platform()) { nev::platform::install(this); }
  ~Test_platform() override { nev::platform::install(nullptr); }
  Test_platform(const Test_platform&) = delete;
  Test_platform& operator=(const Test_platform&) = delete;

  std::function<std::int64_t()> clock;
  std::function<bool(void* library, std::u16string& reason)> unload;
  std::function<int(std::uint16_t version)> startup;
  std::function<int()> last_error;
  std::function<int(char* buffer, int length)> host_name;
  std::function<bool(const char* name, nev::Nev_host_entry& entry)> host_by_name;

  // The local zone: the offset at `seconds` (UTC or local as `at_utc`
  // says). Setting it counts as a change of zone, as the platform's own
  // zone setting would.
  using Zone = std::function<std::int64_t(std::int64_t seconds, bool at_utc)>;
  void set_zone(Zone zone) {
    m_zone = std::move(zone);
    m_zone_changes.fetch_add(1);
  }

  std::int64_t clock_microseconds() override { return clock ? clock() : Platform_wrapper::clock_microseconds(); }
  std::int64_t local_offset_at_utc(std::int64_t s) override {
    return m_zone ? m_zone(s, true) : Platform_wrapper::local_offset_at_utc(s);
  }
  std::int64_t local_offset_at_local(std::int64_t s) override {
    return m_zone ? m_zone(s, false) : Platform_wrapper::local_offset_at_local(s);
  }
  // Both counts only grow, so their sum changes whenever either does.
  std::uint64_t zone_generation() override { return Platform_wrapper::zone_generation() + m_zone_changes.load(); }
  bool library_unload(void* library, std::u16string& reason) override {
    return unload ? unload(library, reason) : Platform_wrapper::library_unload(library, reason);
  }
  int socket_startup(std::uint16_t version) override {
    return startup ? startup(version) : Platform_wrapper::socket_startup(version);
  }
  int socket_last_error() override { return last_error ? last_error() : Platform_wrapper::socket_last_error(); }
  int socket_gethostname(char* buffer, int length) override {
    return host_name ? host_name(buffer, length) : Platform_wrapper::socket_gethostname(buffer, length);
  }
  bool socket_gethostbyname(const char* name, nev::Nev_host_entry& entry) override {
    return host_by_name ? host_by_name(name, entry) : Platform_wrapper::socket_gethostbyname(name, entry);
  }

 private:
  Zone m_zone;
  std::atomic<std::uint64_t> m_zone_changes{0};
};
