// Demo section: the local host and IPv4 addresses.
//
// The host's name and addresses come from the resolver; a machine without a
// network may have none, which the demo says rather than fails. An address
// is a number with the first octet in its lowest byte (network order), and
// its text form may be written in any base.
#include <cstdio>

#include "demo.h"
#include "kov/ip.h"
#include "nev/strings.h"

namespace demo {

namespace {

void show_local_host() {
  nev::Nev_status status;
  std::u16string name;
  kov::ip_get_host_name(name, status);
  if (status.ok()) {
    say("host name", name.empty() ? u"(the resolver gives none)" : name);
  } else {
    say("host name unknown:", status_text(status));
  }
  nev::Nev_object_vector<std::u16string> addresses;
  kov::ip_get_local(addresses, status);
  if (!status.ok()) say("addresses unknown:", status_text(status));
  if (status.ok() && addresses.empty()) say("addresses", u"(none)");
  for (const std::u16string* address : addresses) say("address", *address);
}

void round_trip(const std::u16string& text) {
  std::uint32_t number = 0;
  nev::Nev_status status;
  kov::ip_string_to_num(text, number, status);
  if (!status.ok()) {
    say(nev::nev_to_utf8(text).c_str(), status_text(status));
    return;
  }
  std::u16string dotted;
  std::u16string hex;
  kov::ip_num_to_string(number, dotted, 10, u'.');
  kov::ip_num_to_string(number, hex, 16, 0);
  std::printf("  %-15s -> number 0x%08X -> back to \"%s\", in hex bytes \"%s\"\n", nev::nev_to_utf8(text).c_str(),
              number, nev::nev_to_utf8(dotted).c_str(), nev::nev_to_utf8(hex).c_str());
}

}  // namespace

void demo_network() {
  title("The local host and its addresses");
  explain("The resolver's name and IPv4 addresses of this machine, then addresses turned\n"
          "into numbers and back; text that is no address is refused.");
  show_local_host();
  round_trip(u"192.168.10.20");
  round_trip(u"127.0.0.1");
  round_trip(u"300.1.2.3");
}

}  // namespace demo
