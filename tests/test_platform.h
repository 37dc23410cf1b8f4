// A platform object for tests: the platform's own object with any of the
// services below replaced by a function of the test's. It is in force from
// its construction to its destruction; an empty function keeps the
// platform's own service.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "nev/platform.h"

class Test_platform : public nev::platform::Platform_wrapper {
 public:
  Test_platform() : Platform_wrapper(nev::platform::default_platform()) { nev::platform::install(this); }
  ~Test_platform() override { nev::platform::install(nullptr); }
  Test_platform(const Test_platform&) = delete;
  Test_platform& operator=(const Test_platform&) = delete;

  std::function<std::int64_t()> clock;
  std::function<std::int64_t(std::int64_t seconds, bool at_utc)> zone;
  std::function<bool(void* library, std::u16string& reason)> unload;
  std::function<int(std::uint16_t version)> startup;
  std::function<int()> last_error;
  std::function<int(char* buffer, int length)> host_name;
  std::function<bool(const char* name, nev::Nev_host_entry& entry)> host_by_name;

  std::int64_t clock_microseconds() override { return clock ? clock() : Platform_wrapper::clock_microseconds(); }
  std::int64_t local_offset_at_utc(std::int64_t s) override {
    return zone ? zone(s, true) : Platform_wrapper::local_offset_at_utc(s);
  }
  std::int64_t local_offset_at_local(std::int64_t s) override {
    return zone ? zone(s, false) : Platform_wrapper::local_offset_at_local(s);
  }
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
};
