// The name services of the sockets layer through Winsock. The start-up asks
// Winsock for the version the caller names (1.1 is 0x0101); the last error
// is WSAGetLastError, which Winsock keeps per thread.
#include <winsock2.h>

#include <cstring>

#include "nev/host_entry.h"
#include "nev/win32/win32_platform.h"

namespace nev::platform {

namespace {

// The name services work without a start-up by the caller, as they do on
// every other platform: the first of them starts Winsock 1.1 for the
// process, once (Winsock counts start-ups; this one is never undone).
void ensure_started() {
  static const int started = [] {
    WSADATA data{};
    return WSAStartup(0x0101, &data);
  }();
  static_cast<void>(started);
}

}  // namespace

int Win32_platform::socket_startup(std::uint16_t version) {
  WSADATA data{};
  return WSAStartup(version, &data);
}

int Win32_platform::socket_last_error() { return WSAGetLastError(); }

int Win32_platform::socket_gethostname(char* buffer, int length) {
  if (buffer == nullptr || length <= 0) {
    WSASetLastError(WSAEFAULT);
    return -1;
  }
  ensure_started();
  return gethostname(buffer, length) == 0 ? 0 : -1;
}

bool Win32_platform::socket_gethostbyname(const char* name, Nev_host_entry& entry) {
  entry = Nev_host_entry{};
  if (name == nullptr) {
    WSASetLastError(WSAHOST_NOT_FOUND);
    return false;
  }
  ensure_started();
  // Winsock keeps the answer per thread until the thread's next lookup.
  const hostent* found = gethostbyname(name);
  if (found == nullptr) return false;
  detail::copy_host_entry(*found, entry);
  return true;
}

std::uint32_t Win32_platform::socket_inet_addr(const char* text) {
  if (text == nullptr) return INADDR_NONE;
  return static_cast<std::uint32_t>(inet_addr(text));
}

}  // namespace nev::platform
