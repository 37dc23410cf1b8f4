// A service's diagnostic parameters in the registry, the service
// constructor, and the process-wide object.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "diag_test_support.h"
#include "kov/codes.h"
#include "kov/diag.h"
#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/system.h"

namespace {

using diag_test::header_line;
using diag_test::marker_line;
using diag_test::read_lines;
using diag_test::Scratch_dir;

const std::u16string SERVICES = u"SYSTEM\\CurrentControlSet\\Services\\";

// A service name of this test alone, with no key left from an earlier run:
// the tests of this program share a hive that outlives them.
std::u16string unique_service(const char* stem) {
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  const std::u16string service =
      diag_test::widen(std::string(stem) + "_" + info->test_suite_name() + "_" + info->name());
  nev::Nev_status ignored;
  nev::nev_delete_reg_tree(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service, ignored);
  return service;
}

void set_string(const std::u16string& service, const std::u16string& value_name, const std::u16string& value) {
  nev::Nev_status status;
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service, u"Parameters", value_name, value,
                                status);
  ASSERT_TRUE(status.ok()) << diag_test::narrow(nev::nev_status_text(status));
}

void set_uint(const std::u16string& service, const std::u16string& value_name, std::uint32_t value) {
  nev::Nev_status status;
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service, u"Parameters", value_name, value,
                              status);
  ASSERT_TRUE(status.ok()) << diag_test::narrow(nev::nev_status_text(status));
}

TEST(DiagService, ReadsWhatWasWrittenAndKeepsLowSixteenBits) {
  const std::u16string service = unique_service("svc");
  nev::Nev_status status;
  kov::Kov_diag_global::set_service_parameters(u"", service, u"/var/diag", u"svc%3.dgn", 7, status);
  ASSERT_TRUE(status.ok()) << diag_test::narrow(nev::nev_status_text(status));

  nev::Nev_reg_value raw;
  nev::nev_get_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service + u"\\Parameters", u"DiagTraceLevel", raw,
                         status);
  EXPECT_EQ(raw.type, nev::NEV_REG_DWORD);
  EXPECT_EQ(raw.data, (std::vector<std::uint8_t>{7, 0, 0, 0}));

  std::u16string path = u"p", name = u"n";
  std::uint16_t level = 99;
  kov::Kov_diag_global::get_service_parameters(u"", service, path, name, level, status);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(path, u"/var/diag");
  EXPECT_EQ(name, u"svc%3.dgn");
  EXPECT_EQ(level, 7);

  set_uint(service, u"DiagTraceLevel", 65541);
  kov::Kov_diag_global::get_service_parameters(u"", service, path, name, level, status);
  EXPECT_EQ(level, 5);
}

TEST(DiagService, FirstFailureEndsTheReading) {
  const std::u16string service = unique_service("partial");
  set_string(service, u"DiagFilePath", u"/first");
  set_uint(service, u"DiagTraceLevel", 3);  // present, but behind the missing name
  std::u16string path = u".", name = u"preset.dgn";
  std::uint16_t level = 1;
  nev::Nev_status status;
  status = 0xC2000001;  // cleared first
  kov::Kov_diag_global::get_service_parameters(u"", service, path, name, level, status);
  EXPECT_EQ(path, u"/first");
  EXPECT_EQ(name, u"preset.dgn");
  EXPECT_EQ(level, 1);
  EXPECT_EQ(status.code(), kov::KOV_E_DIAG_READ);
  EXPECT_EQ(status.argument(0, 0), service);
  EXPECT_EQ(status.argument_count(0), 1u);
  EXPECT_EQ(status.depth(), 2u);
  EXPECT_FALSE(status.code(1) == 0) << "the lower failure stays beneath";

  // A hive that cannot be written: the local write code, with the service.
  const std::string hive = std::getenv("NEV_REGISTRY") ? std::getenv("NEV_REGISTRY") : "";
  ::setenv("NEV_REGISTRY", "/proc/no-such-dir/hive.db", 1);
  kov::Kov_diag_global::set_service_parameters(u"", service, u"p", u"n", 1, status);
  hive.empty() ? ::unsetenv("NEV_REGISTRY") : ::setenv("NEV_REGISTRY", hive.c_str(), 1);
  EXPECT_EQ(status.code(), kov::KOV_E_DIAG_WRITE);
  EXPECT_EQ(status.argument(0, 0), service);
  EXPECT_EQ(status.depth(), 2u);
}

// Points NEV_REGISTRY_MACHINES at `dir` and gives it a hive for `machine`.
void make_machine(const Scratch_dir& dir, const std::string& machine) {
  ::setenv("NEV_REGISTRY_MACHINES", dir.path().c_str(), 1);
  const std::string local = std::getenv("NEV_REGISTRY") ? std::getenv("NEV_REGISTRY") : "";
  ::setenv("NEV_REGISTRY", dir.file(machine + ".db").c_str(), 1);
  nev::Nev_status status;
  nev::nev_create_reg_key(nev::NEV_HKEY_LOCAL_MACHINE, u"SYSTEM", status);
  ASSERT_TRUE(status.ok()) << diag_test::narrow(nev::nev_status_text(status));
  if (local.empty()) {
    ::unsetenv("NEV_REGISTRY");
  } else {
    ::setenv("NEV_REGISTRY", local.c_str(), 1);
  }
}

TEST(DiagService, NamedMachine) {
  Scratch_dir machines;
  make_machine(machines, "far");
  const std::u16string service = u"remote";
  nev::Nev_status status;
  kov::Kov_diag_global::set_service_parameters(u"far", service, u"/remote", u"r.dgn", 9, status);
  ASSERT_TRUE(status.ok()) << diag_test::narrow(nev::nev_status_text(status));

  std::u16string path, name;
  std::uint16_t level = 0;
  kov::Kov_diag_global::get_service_parameters(u"far", service, path, name, level, status);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(path, u"/remote");
  EXPECT_EQ(level, 9);
  kov::Kov_diag_global::get_service_parameters(u"", service, path = u"local", name, level, status);
  EXPECT_EQ(path, u"local") << "the named machine's values are not this machine's";

  // A machine with no hive: nothing is read, both names in the failure.
  const struct {
    bool write;
    std::uint32_t code;
  } cases[] = {{false, kov::KOV_E_DIAG_READ_MACHINE}, {true, kov::KOV_E_DIAG_WRITE_MACHINE}};
  for (const auto& c : cases) {
    path = u"kept";
    if (c.write) {
      kov::Kov_diag_global::set_service_parameters(u"nowhere", service, u"p", u"n", 1, status);
    } else {
      kov::Kov_diag_global::get_service_parameters(u"nowhere", service, path, name, level, status);
    }
    EXPECT_EQ(status.code(), c.code);
    EXPECT_EQ(status.argument(0, 0), service);
    EXPECT_EQ(status.argument(0, 1), u"nowhere");
    EXPECT_EQ(status.code(1), nev::NEV_E_REG_NO_MACHINE);
    EXPECT_EQ(path, u"kept");
  }
  EXPECT_FALSE(std::filesystem::exists(machines.file("nowhere.db")));
}

TEST(DiagService, ServiceConstructorUsesRegistryAndConsole) {
  Scratch_dir dir;
  const std::u16string service = unique_service("console");
  set_string(service, u"DiagFilePath", dir.wpath());
  set_string(service, u"DiagFileName", u"svc%3.dgn");
  set_uint(service, u"DiagTraceLevel", 0);
  set_uint(service, u"DiagEnableConsole", 1);
  ::setenv("DGN_FILEPATH", "/nowhere", 1);  // the service constructor reads no environment

  ::testing::internal::CaptureStdout();
  {
    kov::Kov_diag_main diag(service);
    EXPECT_EQ(diag.level(), 0) << "level 0 does not take the console away";
    diag.write(u"shown \u00e9");
    diag.close();
    diag.write(u"file only");
  }
  const std::string console = ::testing::internal::GetCapturedStdout();
  const std::string marker = marker_line(nev::nev_current_thread_id());
  EXPECT_EQ(console, header_line() + "\r\n" + marker + "\r\n" + "shown \xc3\xa9\r\n");
  EXPECT_EQ(read_lines(dir.file("svc000.dgn")), (std::vector<std::string>{header_line(), marker, "shown \xe9"}));
  EXPECT_EQ(read_lines(dir.file("svc001.dgn")), (std::vector<std::string>{header_line(), marker, "file only"}));
}

TEST(DiagService, ConsoleOnlyForExactlyOneAndDefaultsForMissingValues) {
  const std::u16string service = unique_service("two");
  set_string(service, u"DiagFilePath", u"/from/registry");
  set_uint(service, u"DiagEnableConsole", 2);
  ::testing::internal::CaptureStdout();
  {
    kov::Kov_diag_main diag(service);
    EXPECT_EQ(diag.path(), u"/from/registry");
    EXPECT_EQ(diag.name(), u"default.dgn");
    EXPECT_EQ(diag.level(), 0);
    diag.write(u"lost: the directory does not exist");
  }
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST(DiagGlobal, MadeOnceFromTheEnvironment) {
  Scratch_dir dir;
  ::setenv("DGN_FILEPATH", dir.path().c_str(), 1);
  ::setenv("DGN_TRACELEVEL", "4", 1);
  kov::Kov_diag_main& first = kov::Kov_diag_global::global();
  EXPECT_EQ(&kov::Kov_diag_global::global(), &first);
  EXPECT_EQ(first.path(), dir.wpath());
  EXPECT_EQ(first.level(), 4);
  kov::Kov_diag_main mine;
  kov::Kov_diag_global::initialise(&mine);  // ignored without a word
  EXPECT_NO_THROW(kov::Kov_diag_global::initialise(nullptr));
  EXPECT_EQ(&kov::Kov_diag_global::global(), &first);
}

TEST(DiagGlobal, NullPointerWithNoObjectThrowsExactText) {
  try {
    kov::Kov_diag_global::initialise(static_cast<kov::Kov_diag_main*>(nullptr));
    FAIL() << "no exception";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "Null pointer given to Kov_diag_global::initialise()");
  }
  kov::Kov_diag_main mine;
  kov::Kov_diag_global::initialise(&mine);
  EXPECT_EQ(&kov::Kov_diag_global::global(), &mine);
}

TEST(DiagGlobal, ServiceInitialiseResetsOnlyWhenAllThreeWereRead) {
  Scratch_dir dir;
  Scratch_dir other;
  const std::u16string service = unique_service("global");
  set_string(service, u"DiagFilePath", dir.wpath());
  set_string(service, u"DiagFileName", u"g%1.dgn");
  set_uint(service, u"DiagTraceLevel", 3);
  set_uint(service, u"DiagEnableConsole", 1);

  ::testing::internal::CaptureStdout();
  kov::Kov_diag_global::initialise(service);
  kov::Kov_diag_main& global = kov::Kov_diag_global::global();
  EXPECT_EQ(global.level(), 3);
  global.write(u"one");

  // The level goes missing: nothing changes, the file stays open.
  nev::Nev_status status;
  nev::nev_delete_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service + u"\\Parameters", u"DiagTraceLevel",
                            status);
  set_string(service, u"DiagFilePath", other.wpath());
  kov::Kov_diag_global::initialise(service);
  global.write(u"two");
  EXPECT_EQ(global.path(), dir.wpath());
  EXPECT_EQ(global.level(), 3);

  // All three again: reset, which closes the file and ends the console.
  set_uint(service, u"DiagTraceLevel", 2);
  kov::Kov_diag_global::initialise(service);
  global.write(u"three");
  const std::string console = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(&kov::Kov_diag_global::global(), &global);
  EXPECT_EQ(global.level(), 2);
  const std::string marker = marker_line(nev::nev_current_thread_id());
  EXPECT_EQ(console, header_line() + "\r\n" + marker + "\r\none\r\ntwo\r\n");
  EXPECT_EQ(read_lines(dir.file("g0.dgn")), (std::vector<std::string>{header_line(), marker, "one", "two"}));
  EXPECT_EQ(read_lines(other.file("g1.dgn")), (std::vector<std::string>{header_line(), marker, "three"}));
}

}  // namespace
