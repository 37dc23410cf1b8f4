// A service's own message files, loaded from its "Messages" parameter.
#include <fstream>

#include "kov/plugin.h"
#include "nev/messages.h"
#include "nev/registry.h"
#include "nev/strings.h"
#include "plugin_test_support.h"

namespace {

using namespace plugin_test;

using Service_messages = Fresh_hive;

void set_messages_parameter(const std::u16string& service, const std::u16string& files) {
  nev::Nev_status status;
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE,
                                u"SYSTEM\\CurrentControlSet\\Services\\" + service + u"\\Parameters", u"",
                                u"Messages", files, status);
  ASSERT_TRUE(status.ok());
}

bool known(std::uint32_t code) {
  std::u16string text;
  return nev::Nev_messages_list::m_global_messages.lookup(code, text);
}

TEST_F(Service_messages, EveryFileIsTriedAndTheFirstFailureReported) {
  nev::Nev_status status;
  status = 0xC2010905u;  // cleared by a service without the parameter
  kov::kov_load_service_messages(u"Quiet", status);
  EXPECT_EQ(status.code(), 0u);

  const std::string good = work_dir() + "/good.msg";
  const std::string other = work_dir() + "/other.msg";
  std::ofstream(good) << "# sample service messages\n0xE0FF0001 The first sample message.\n";
  std::ofstream(other) << "0xE0FF0002 The second sample message.\n";
  const std::string bad1 = work_dir() + "/missing-one.msg";
  const std::string bad2 = work_dir() + "/missing-two.msg";

  set_messages_parameter(u"Loud", wide(bad1 + ";" + good + ";" + bad2 + ";" + other));
  kov::kov_load_service_messages(u"Loud", status);
  EXPECT_FALSE(status.ok());
  EXPECT_NE(nev::nev_to_utf8(nev::nev_status_text(status)).find("missing-one.msg"), std::string::npos)
      << nev::nev_to_utf8(nev::nev_status_text(status));
  EXPECT_TRUE(known(0xE0FF0001));
  EXPECT_TRUE(known(0xE0FF0002));

  set_messages_parameter(u"Good", wide(good));
  kov::kov_load_service_messages(u"Good", status);
  EXPECT_EQ(status.code(), 0u);
}

}  // namespace
