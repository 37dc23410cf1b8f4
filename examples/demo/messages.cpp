// Demo section: a service's own messages.
//
// Status codes become text through the global message list, which knows the
// codes of the foundation and the toolbox from the start. A service brings
// texts for its own codes in message files named by its "Messages"
// parameter; the demo's file is demo.msg, next to this source.
#include <cstdio>

#include "demo.h"
#include "kov/plugin.h"
#include "nev/status.h"

namespace demo {

namespace {

// The demo's own codes, written in demo.msg.
constexpr std::uint32_t DEMO_E_UNKNOWN_ADDRESS = 0xC3D00001;
constexpr std::uint32_t DEMO_I_ORDER_SPLIT = 0x43D00002;

nev::Nev_status undeliverable_order() {
  nev::Nev_status status;
  status.assign(DEMO_E_UNKNOWN_ADDRESS, nev::Nev_wstring_status_arg(u"4711"),
                nev::Nev_wstring_status_arg(u"Rua Nova 12, Lisboa"));
  status.push(DEMO_I_ORDER_SPLIT, nev::Nev_wstring_status_arg(u"4711"), nev::Nev_uint_status_arg(2, true));
  return status;
}

}  // namespace

void demo_messages() {
  title("A service's own messages");
  explain("A status holds codes with arguments, outermost first. Codes the message list\n"
          "does not know show as numbers; once the service's message file is loaded,\n"
          "the same status reads as sentences.");
  const nev::Nev_status status = undeliverable_order();
  std::printf("  before loading demo.msg:\n");
  say(u"  " + status_text(status));

  nev::Nev_status load_status;
  kov::kov_load_service_messages(SERVICE, load_status);
  std::printf("  loading the files of the service's \"Messages\" parameter: %s\n",
              load_status.ok() ? "done" : "failed");
  if (!load_status.ok()) say(status_text(load_status));

  std::printf("  after:\n");
  say(u"  " + status_text(status));
  std::printf("  still ok to go on? %s (the top code is informational)\n", status.ok() ? "yes" : "no");
}

}  // namespace demo
