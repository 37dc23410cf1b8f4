// IPv4 address helpers: an address as a 32-bit number and as text, and the
// local host's official name and addresses from the sockets layer's resolver.
//
// An IP number keeps the octets in memory order (network order): the first
// octet of the dotted text is the least significant byte, so 1.2.3.4 is the
// number 0x04030201. Every function here uses that one order; nothing
// converts to host order.
//
//   std::uint32_t number = 0;
//   nev::Nev_status status;
//   kov::ip_string_to_num(u"127.0.0.1", number, status);   // 0x0100007F
//   std::u16string text;
//   kov::ip_num_to_string(number, text, 16, 0);             // u"7F000001"
//
// No socket is ever opened. The sockets layer is started by the first call
// that needs it and never shut down; a start-up that fails is tried again by
// the next call. All functions may be called from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "kov/export.h"
#include "nev/status.h"
#include "nev/vector.h"

namespace kov {

// Byte `byte_number` (0 to 3) of `ip_number`: 0 gives bits 0-7, 3 gives bits
// 24-31. Any other byte number raises std::invalid_argument
// ("Invalid byte number.").
KOV_EXPORT std::uint8_t ip_byte(std::uint16_t byte_number, std::uint32_t ip_number);

// Replaces `out` with the four bytes of `ip_number`, byte 0 first, each in
// digits of `base` (base 16 padded to two digits, no other base padded) with
// `separator` between them, or nothing between them when `separator` is 0.
KOV_EXPORT void ip_num_to_string(std::uint32_t ip_number, std::u16string& out, std::uint16_t base,
                                 std::uint16_t separator);

// Reads dotted text into `ip_number`. Text that is no address, and
// 255.255.255.255, give 0 and the code 0xC2010912. Unlike the other
// operations this one does not clear `status` first: on success it is left
// exactly as it came.
KOV_EXPORT void ip_string_to_num(const std::u16string& text, std::uint32_t& ip_number, nev::Nev_status& status);

// Replaces `addresses` with the local host's IPv4 addresses as dotted text,
// in the resolver's order; empty when the host has none. Failures of the
// sockets layer give 0xC2010915 with the platform's error number, and leave
// the vector empty.
KOV_EXPORT void ip_get_local(nev::Nev_object_vector<std::u16string>& addresses, nev::Nev_status& status);

// Replaces `name` with the resolver's official name of the local host (not
// necessarily what the host calls itself); empty when the resolver gives
// none. Failures as ip_get_local, with `name` left empty.
KOV_EXPORT void ip_get_host_name(std::u16string& name, nev::Nev_status& status);

}  // namespace kov
