// The name services of the sockets layer: the BSD calls, whose start-up
// needs nothing. The last error is kept per thread, as the resolver's own
// error number is: errno of gethostname, or the resolver's h_errno code
// (HOST_NOT_FOUND, TRY_AGAIN, NO_RECOVERY, NO_DATA) of a failed lookup.
#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <vector>

#include "nev/host_entry.h"
#include "nev/posix/posix_platform.h"

namespace nev::platform {

namespace {

thread_local int t_last_error = 0;

int fail(int error) {
  t_last_error = error;
  return -1;
}

}  // namespace

int Posix_platform::socket_startup(std::uint16_t /*version*/) { return 0; }

int Posix_platform::socket_last_error() { return t_last_error; }

int Posix_platform::socket_gethostname(char* buffer, int length) {
  if (buffer == nullptr || length <= 0) return fail(EFAULT);
  // Linux names have at most 64 bytes; this buffer is wide enough for any
  // platform, so only the caller's buffer can be too small.
  char name[HOST_NAME_MAX + 2] = {};
  if (::gethostname(name, sizeof name - 1) != 0) return fail(errno);
  const std::size_t size = std::strlen(name) + 1;
  if (size > static_cast<std::size_t>(length)) return fail(ENAMETOOLONG);
  std::memcpy(buffer, name, size);
  return 0;
}

bool Posix_platform::socket_gethostbyname(const char* name, Nev_host_entry& entry) {
  entry = Nev_host_entry{};
  if (name == nullptr) {
    fail(HOST_NOT_FOUND);
    return false;
  }
  // The reentrant lookup keeps the resolver's order of addresses (that of
  // /etc/hosts or of the DNS answer), which getaddrinfo would sort anew.
  hostent host{};
  hostent* found = nullptr;
  int resolver_error = 0;
  std::vector<char> scratch(1024);
  int result;
  while ((result = gethostbyname_r(name, &host, scratch.data(), scratch.size(), &found, &resolver_error)) ==
         ERANGE) {
    scratch.resize(scratch.size() * 2);
  }
  if (result != 0 || found == nullptr) {
    fail(resolver_error != 0 ? resolver_error : HOST_NOT_FOUND);
    return false;
  }
  detail::copy_host_entry(*found, entry);
  return true;
}

std::uint32_t Posix_platform::socket_inet_addr(const char* text) {
  if (text == nullptr) return INADDR_NONE;
  return static_cast<std::uint32_t>(::inet_addr(text));
}

}  // namespace nev::platform
