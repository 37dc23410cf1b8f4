// IPv4 address helpers over the foundation's sockets layer.
#include "kov/ip.h"

#include <atomic>
#include <stdexcept>

#include "kov/codes.h"
#include "nev/strings.h"
#include "nev/system.h"

namespace kov {

namespace {

// Version of the sockets interface asked for at start-up: 1.1.
constexpr std::uint16_t SOCKETS_VERSION = 0x0101;
// Size of the buffer the host's own name is read into, in bytes.
constexpr int HOST_NAME_BUFFER = 100;

// Set once the sockets layer has started; it is never shut down. Threads that
// start at once may both start the layer, which is harmless. Atomic only so
// that such a race is well defined; no ordering is needed.
constinit std::atomic<bool> sockets_started{false};

// Clears `status` and starts the sockets layer unless that was done.
void ip_start_sockets(nev::Nev_status& status) {
  status.clear();
  if (sockets_started.load(std::memory_order_relaxed)) return;
  const int result = nev::nev_socket_startup(SOCKETS_VERSION);
  if (result == 0) {
    sockets_started.store(true, std::memory_order_relaxed);
  } else {
    status.assign(KOV_E_SOCKETS, nev::Nev_int_status_arg(result, true));
  }
}

void assign_socket_error(nev::Nev_status& status) {
  status.assign(KOV_E_SOCKETS, nev::Nev_int_status_arg(nev::nev_socket_last_error(), true));
}

// Starts the sockets layer and looks the local host up; false with the
// status set when any step fails.
bool look_up_local_host(nev::Nev_host_entry& entry, nev::Nev_status& status) {
  ip_start_sockets(status);
  if (!status.ok()) return false;
  char name[HOST_NAME_BUFFER] = {};
  if (nev::nev_gethostname(name, HOST_NAME_BUFFER) != 0) {
    assign_socket_error(status);
    return false;
  }
  name[HOST_NAME_BUFFER - 1] = '\0';
  if (!nev::nev_gethostbyname(name, entry)) {
    assign_socket_error(status);
    return false;
  }
  return true;
}

}  // namespace

std::uint8_t ip_byte(std::uint16_t byte_number, std::uint32_t ip_number) {
  if (byte_number > 3) throw std::invalid_argument("Invalid byte number.");
  return static_cast<std::uint8_t>(ip_number >> (8 * byte_number));
}

void ip_num_to_string(std::uint32_t ip_number, std::u16string& out, std::uint16_t base, std::uint16_t separator) {
  out.clear();
  std::u16string digits;
  for (std::uint16_t byte_number = 0; byte_number < 4; ++byte_number) {
    nev::nev_itow(ip_byte(byte_number, ip_number), digits, base, false);
    if (base == 16 && digits.size() < 2) out += u'0';
    out += digits;
    if (byte_number != 3 && separator != 0) out += static_cast<char16_t>(separator);
  }
}

void ip_string_to_num(const std::u16string& text, std::uint32_t& ip_number, nev::Nev_status& status) {
  ip_number = nev::nev_inet_addr(nev::nev_wtos(text).c_str());
  if (ip_number == 0xFFFFFFFF) {
    ip_number = 0;
    status = KOV_E_IP_ADDRESS;
  }
}

void ip_get_local(nev::Nev_object_vector<std::u16string>& addresses, nev::Nev_status& status) {
  status.clear();
  addresses.clear();
  nev::Nev_host_entry entry;
  if (!look_up_local_host(entry, status)) return;
  std::u16string text;
  for (const std::uint32_t address : entry.addresses) {
    ip_num_to_string(address, text, 10, u'.');
    addresses.push_back(new std::u16string(text));
  }
}

void ip_get_host_name(std::u16string& name, nev::Nev_status& status) {
  status.clear();
  name.clear();
  nev::Nev_host_entry entry;
  if (!look_up_local_host(entry, status)) return;
  if (entry.has_name) name = nev::nev_stow(entry.name);
}

}  // namespace kov
