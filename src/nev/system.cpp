// Environment, thread ids, console and the sockets layer: thin dispatch to
// the platform object in force.
#include "nev/system.h"

#include "nev/platform.h"

namespace nev {

bool nev_getenv(const std::u16string& name, std::u16string& value) {
  return platform::current().environment_variable(name, value);
}

bool nev_setenv(const std::u16string& name, const std::u16string& value) {
  const bool set = platform::current().set_environment_variable(name, value);
  // The registry resolves its hive locations from the environment once; a
  // variable set here may name another hive.
  if (set) platform::reset_hive_locations();
  return set;
}

std::uint32_t nev_current_thread_id() noexcept { return platform::current().thread_id(); }

bool nev_alloc_console() noexcept { return platform::current().console_alloc(); }

Nev_console nev_get_std_output() noexcept { return platform::current().console_std_output(); }

bool nev_write_console(Nev_console console, const char16_t* text, std::uint32_t count,
                       std::uint32_t* written) noexcept {
  std::uint32_t units = 0;
  bool ok = false;
  if (console != nullptr && count == 0) {
    ok = true;  // nothing asked, nothing to fail
  } else if (console != nullptr && text != nullptr) {
    ok = platform::current().console_write(console, text, count, units);
  }
  if (written != nullptr) *written = units;
  return ok;
}

bool nev_free_console() noexcept { return platform::current().console_free(); }

int nev_socket_startup(std::uint16_t version) { return platform::current().socket_startup(version); }

int nev_socket_last_error() { return platform::current().socket_last_error(); }

int nev_gethostname(char* buffer, int length) { return platform::current().socket_gethostname(buffer, length); }

bool nev_gethostbyname(const char* name, Nev_host_entry& entry) {
  entry = Nev_host_entry{};  // nothing of an earlier lookup survives
  return platform::current().socket_gethostbyname(name, entry);
}

std::uint32_t nev_inet_addr(const char* text) { return platform::current().socket_inet_addr(text); }

}  // namespace nev
