// A fleet whose machines keep their registry in one etcd cluster: a machine's
// settings are published with kovreg, and services, plug-ins and tools read
// them from the named machine.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "etcd_cluster.h"
#include "kov/bootstrap.h"
#include "kov/diag.h"
#include "nev/codes.h"
#include "nev/platform.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"

using namespace nev;

namespace {

struct Tool_run {
  int status;
  std::string output;
};

Tool_run run_tool(const std::string& command) {
  Tool_run run{-1, ""};
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.output.append(buffer, n);
  const int status = ::pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

const char* const WEB3_SETTINGS =
    "Windows Registry Editor Version 5.00\r\n\r\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor\\Product\\plugins\\Reader]\r\n"
    "@=\"reader-on-web3\"\r\n"
    "\"Retries\"=dword:00000003\r\n\r\n"
    "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Svc\\Parameters]\r\n"
    "\"DiagFilePath\"=\"/var/log/web3\"\r\n"
    "\"DiagFileName\"=\"svc.dgn\"\r\n"
    "\"DiagTraceLevel\"=dword:00000004\r\n";

}  // namespace

#if defined(KOVREG_PATH) && defined(KOVDIAG_PATH) && defined(KOVPLUG_PATH)
TEST(Etcd_fleet, ServicesPluginsAndToolsReachANamedMachineInTheCluster) {
  test_support::Etcd_cluster cluster(1);
  std::string folder = (std::filesystem::temp_directory_path() / "nev-fleet-XXXXXX").string();
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  ::setenv("NEV_REGISTRY", cluster.location("here").c_str(), 1);
  ::setenv("NEV_REGISTRY_MACHINES", cluster.location("fleet").c_str(), 1);
  nev::platform::reset_hive_locations();

  // Before anything is published, web3 has no hive in the cluster.
  Nev_status status;
  EXPECT_EQ(nev_connect_reg_root(u"web3", NEV_HKEY_LOCAL_MACHINE, status), nullptr);
  EXPECT_EQ(status.code(), NEV_E_REG_NO_MACHINE);
  EXPECT_EQ(status.argument(0, 1), nev_from_utf8(cluster.location("fleet/web3")));

  // Published with kovreg straight into web3's hive, read back by machine name.
  std::ofstream(folder + "/web3.reg", std::ios::binary) << WEB3_SETTINGS;
  Tool_run run = run_tool(std::string(KOVREG_PATH) + " --hive " + cluster.location("fleet/web3") + " import " +
                          folder + "/web3.reg");
  ASSERT_EQ(run.status, 0) << run.output;
  run = run_tool(std::string(KOVREG_PATH) + " --machine web3 export 'HKLM\\SOFTWARE\\Vendor' " + folder + "/back.reg");
  ASSERT_EQ(run.status, 0) << run.output;
  std::ifstream back(folder + "/back.reg", std::ios::binary);
  const std::string exported((std::istreambuf_iterator<char>(back)), std::istreambuf_iterator<char>());
  EXPECT_NE(nev_from_utf16le(exported.data(), exported.size(), false).find(u"reader-on-web3"), std::u16string::npos);

  // Diagnostics read web3's service parameters from the cluster; this
  // machine has none.
  std::u16string path, name;
  std::uint16_t level = 0;
  kov::Kov_diag_global::get_service_parameters(u"web3", u"Svc", path, name, level, status);
  ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
  EXPECT_EQ(path, u"/var/log/web3");
  EXPECT_EQ(name, u"svc.dgn");
  EXPECT_EQ(level, 4);
  kov::Kov_diag_global::get_service_parameters(u"", u"Svc", path, name, level, status);
  EXPECT_FALSE(status.ok());
  run = run_tool(std::string(KOVDIAG_PATH) + " show Svc --machine web3");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find("/var/log/web3"), std::string::npos) << run.output;

  // Plug-ins registered on web3 are listed there and not here.
  const std::string type = "{6B29FC40-CA47-1067-B31D-00DD010662DA}";
  // Registration stores the canonical path of a file that exists: any will do.
  run = run_tool(std::string(KOVPLUG_PATH) + " --machine web3 register Reader " + type + " " + KOVPLUG_PATH);
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run_tool(std::string(KOVPLUG_PATH) + " --machine web3 list " + type).output.find("Reader"),
            std::string::npos);
  EXPECT_EQ(run_tool(std::string(KOVPLUG_PATH) + " list " + type).output.find("Reader"), std::string::npos);
  EXPECT_EQ(run_tool(std::string(KOVPLUG_PATH) + " --machine nowhere list " + type).status, 1);

  // A service running as web3 reads its plug-in bootstrap entry there.
  ::setenv("NEV_REGISTRY", cluster.location("fleet/web3").c_str(), 1);
  nev::platform::reset_hive_locations();
  std::u16string value;
  kov::Kov_property_list settings;
  kov::kov_get_plugin_bootstrap_info(u"Vendor", u"Product", u"Reader", value, settings, status);
  ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
  EXPECT_EQ(value, u"reader-on-web3");
  EXPECT_EQ(settings.size(), 1u);

  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}
#endif
