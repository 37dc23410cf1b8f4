// A service's own message files, loaded from its "Messages" parameter.
#include <fstream>

#include "nev/messages.h"
#include "nev/strings.h"
#include "plugin_test_support.h"

namespace {

using namespace plugin_test;

using Service_messages = Fresh_hive;

TEST_F(Service_messages, EveryFileIsTriedAndTheFirstFailureReported) {
  nev::Nev_status status;
  status = 0xC2010905u;  // cleared by a service without the parameter
  kov::kov_load_service_messages(u"Quiet", status);
  EXPECT_EQ(status.code(), 0u);

  const std::string good = work_dir() + "/good.msg";
  const std::string other = work_dir() + "/other.msg";
  std::ofstream(good) << "# sample service messages\n0xE0FF0001 The first sample message.\n";
  std::ofstream(other) << "0xE0FF0002 The second sample message.\n";
  const std::u16string parameters = u"SYSTEM\\CurrentControlSet\\Services\\Loud\\Parameters";
  set_string(parameters, u"Messages", wide(work_dir() + "/missing-one.msg;" + good + ";" + work_dir() +
                                           "/missing-two.msg;" + other));
  kov::kov_load_service_messages(u"Loud", status);
  const std::string text = nev::nev_to_utf8(nev::nev_status_text(status));
  EXPECT_FALSE(status.ok());
  EXPECT_NE(text.find("missing-one.msg"), std::string::npos) << text;
  std::u16string found;
  for (std::uint32_t code : {0xE0FF0001u, 0xE0FF0002u})
    EXPECT_TRUE(nev::Nev_messages_list::m_global_messages.lookup(code, found)) << std::hex << code;

  set_string(parameters, u"Messages", wide(good));
  kov::kov_load_service_messages(u"Loud", status);
  EXPECT_EQ(status.code(), 0u);
}

}  // namespace
