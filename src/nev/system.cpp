// Environment, thread ids, console and the sockets layer: thin dispatch to
// the platform layer, plus the replaceable socket calls used by tests.
#include "nev/system.h"

#include <mutex>

#include "nev/platform.h"

namespace nev {

namespace {

std::mutex g_hooks_lock;
Nev_socket_hooks g_hooks;

Nev_socket_hooks current_hooks() {
  const std::lock_guard<std::mutex> hold(g_hooks_lock);
  return g_hooks;
}

}  // namespace

bool nev_getenv(const std::u16string& name, std::u16string& value) {
  return platform::environment_variable(name, value);
}

bool nev_setenv(const std::u16string& name, const std::u16string& value) {
  return platform::set_environment_variable(name, value);
}

std::uint32_t nev_current_thread_id() noexcept { return platform::thread_id(); }

bool nev_alloc_console() noexcept { return platform::console_alloc(); }

Nev_console nev_get_std_output() noexcept { return platform::console_std_output(); }

bool nev_write_console(Nev_console console, const char16_t* text, std::uint32_t count,
                       std::uint32_t* written) noexcept {
  std::uint32_t units = 0;
  bool ok = false;
  if (console != nullptr && count == 0) {
    ok = true;  // nothing asked, nothing to fail
  } else if (console != nullptr && text != nullptr) {
    ok = platform::console_write(console, text, count, units);
  }
  if (written != nullptr) *written = units;
  return ok;
}

bool nev_free_console() noexcept { return platform::console_free(); }

int nev_socket_startup(std::uint16_t version) {
  const Nev_socket_hooks hooks = current_hooks();
  return hooks.startup != nullptr ? hooks.startup(version) : platform::socket_startup(version);
}

int nev_socket_last_error() {
  const Nev_socket_hooks hooks = current_hooks();
  return hooks.last_error != nullptr ? hooks.last_error() : platform::socket_last_error();
}

int nev_gethostname(char* buffer, int length) {
  const Nev_socket_hooks hooks = current_hooks();
  return hooks.gethostname != nullptr ? hooks.gethostname(buffer, length)
                                      : platform::socket_gethostname(buffer, length);
}

bool nev_gethostbyname(const char* name, Nev_host_entry& entry) {
  entry = Nev_host_entry{};  // nothing of an earlier lookup survives
  const Nev_socket_hooks hooks = current_hooks();
  return hooks.gethostbyname != nullptr ? hooks.gethostbyname(name, entry)
                                        : platform::socket_gethostbyname(name, entry);
}

std::uint32_t nev_inet_addr(const char* text) { return platform::socket_inet_addr(text); }

void nev_set_socket_hooks(const Nev_socket_hooks* hooks) {
  const std::lock_guard<std::mutex> hold(g_hooks_lock);
  g_hooks = hooks != nullptr ? *hooks : Nev_socket_hooks{};
}

}  // namespace nev
