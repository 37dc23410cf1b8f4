// The name and IPv4 addresses of a host as the C library's or Winsock's
// lookup gives them (a `hostent`), copied into a Nev_host_entry; not
// exported. A template, since each system declares its own `hostent`.
#pragma once

#include <cstdint>
#include <cstring>

#include "nev/system.h"

namespace nev::detail {

template <class Hostent>
void copy_host_entry(const Hostent& found, Nev_host_entry& entry) {
  entry.has_name = found.h_name != nullptr;
  if (entry.has_name) entry.name = found.h_name;
  if (found.h_addrtype == AF_INET && found.h_length == 4 && found.h_addr_list != nullptr) {
    for (char** address = found.h_addr_list; *address != nullptr; ++address) {
      std::uint32_t number = 0;
      std::memcpy(&number, *address, sizeof number);  // network order, as it lies in memory
      entry.addresses.push_back(number);
    }
  }
}

}  // namespace nev::detail
