// A service's diagnostic parameters in the registry, the service
// constructor, the process-wide object, and the kovdiag tool run as a
// program on what the library wrote.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include "portable.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "diag_test_support.h"
#include "nev/platform.h"
#include "kov/codes.h"
#include "kov/diag.h"
#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/strings.h"

namespace {

using namespace diag_test;
using ::testing::ThrowsMessage;
using Global = kov::Kov_diag_global;

const std::u16string SERVICES = u"SYSTEM\\CurrentControlSet\\Services\\";

// A service name of this test alone, with no key left from an earlier run:
// the hive outlives the test.
std::u16string new_service(const char* stem) {
  const std::u16string service = widen(std::string(stem) + "_" +
                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
  nev::Nev_status ignored;
  nev::nev_delete_reg_tree(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service, ignored);
  return service;
}

// Sets one of the service's parameters, a string or a number.
void set(const std::u16string& service, const char16_t* value, const std::u16string& text) {
  nev::Nev_status status;
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service, u"Parameters", value, text, status);
  EXPECT_TRUE(status.ok()) << nev::nev_to_utf8(nev::nev_status_text(status));
}
void set(const std::u16string& service, const char16_t* value, std::uint32_t number) {
  nev::Nev_status status;
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service, u"Parameters", value, number, status);
  EXPECT_TRUE(status.ok()) << nev::nev_to_utf8(nev::nev_status_text(status));
}

// Sets a variable while it lives, then puts back what was there.
struct Scoped_env {
  Scoped_env(const char* variable, const std::string& value)
      : name(variable), old(std::getenv(variable) ? std::getenv(variable) : "") {
    kov_test::set_env(name, value.c_str());
    nev::platform::reset_hive_locations();
  }
  ~Scoped_env() {
    old.empty() ? kov_test::unset_env(name) : kov_test::set_env(name, old.c_str());
    nev::platform::reset_hive_locations();
  }
  const char* name;
  std::string old;
};

// The top failure in `status` with its arguments, and how many failures
// stand in it, as one text to compare.
std::u16string failure(const nev::Nev_status& status) {
  std::u16string text = widen(std::to_string(status.code()));
  for (unsigned i = 0; i < status.argument_count(0); ++i) text += u" " + status.argument(0, i);
  return text + u" /" + widen(std::to_string(status.depth()));
}
std::u16string failure(std::uint32_t code, const std::u16string& arguments, unsigned depth) {
  return widen(std::to_string(code)) + u" " + arguments + u" /" + widen(std::to_string(depth));
}

TEST(DiagService, LocalParametersAndTheirFailures) {
  const std::u16string service = new_service("svc");
  nev::Nev_status status;
  Global::set_service_parameters(u"", service, u"/var/diag", u"svc%3.dgn", 7, status);
  ASSERT_TRUE(status.ok()) << nev::nev_to_utf8(nev::nev_status_text(status));
  nev::Nev_reg_value raw;
  nev::nev_get_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service + u"\\Parameters", u"DiagTraceLevel", raw,
                         status);
  EXPECT_EQ(raw.type, nev::NEV_REG_DWORD);
  EXPECT_EQ(raw.data, (std::vector<std::uint8_t>{7, 0, 0, 0}));
  std::u16string path = u"p", name = u"n";
  std::uint16_t level = 99;
  set(service, u"DiagTraceLevel", 65541);  // only the low 16 bits count
  Global::get_service_parameters(u"", service, path, name, level, status);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(path + u"|" + name, u"/var/diag|svc%3.dgn");
  EXPECT_EQ(level, 5);

  // The first failure ends the reading: the level, present behind the
  // missing name, is not read.
  const std::u16string partial = new_service("partial");
  set(partial, u"DiagFilePath", u"/first");
  set(partial, u"DiagTraceLevel", 3);
  path = u".";
  name = u"preset.dgn";
  level = 1;
  status = 0xC2000001;  // cleared first
  Global::get_service_parameters(u"", partial, path, name, level, status);
  EXPECT_EQ(path + u"|" + name, u"/first|preset.dgn");
  EXPECT_EQ(level, 1);
  EXPECT_EQ(failure(status), failure(kov::KOV_E_DIAG_READ, partial, 2)) << "the lower failure stays beneath";
  EXPECT_NE(status.code(1), 0u);

  // A hive that cannot be written: the local write code, with the service.
  if (kov_test::system_registry()) return;  // no hive file to make unusable
  {
    Scoped_env hive("NEV_REGISTRY", "/proc/no-such-dir/hive.db");
    Global::set_service_parameters(u"", service, u"p", u"n", 1, status);
  }
  EXPECT_EQ(failure(status), failure(kov::KOV_E_DIAG_WRITE, service, 2));
}

TEST(DiagService, NamedMachine) {
  KOV_SKIP_ON_WINDOWS("a named machine is a hive file of NEV_REGISTRY_MACHINES only on Linux");
  Scratch_dir machines;  // holds the hive of the machine "far"
  kov_test::set_env("NEV_REGISTRY_MACHINES", machines.path().c_str());
  nev::platform::reset_hive_locations();
  nev::Nev_status status;
  {
    Scoped_env hive("NEV_REGISTRY", machines.file("far.db"));
    nev::nev_create_reg_key(nev::NEV_HKEY_LOCAL_MACHINE, u"SYSTEM", status);
    ASSERT_TRUE(status.ok()) << nev::nev_to_utf8(nev::nev_status_text(status));
  }
  Global::set_service_parameters(u"far", u"remote", u"/remote", u"r.dgn", 9, status);
  ASSERT_TRUE(status.ok()) << nev::nev_to_utf8(nev::nev_status_text(status));
  std::u16string path, name;
  std::uint16_t level = 0;
  Global::get_service_parameters(u"far", u"remote", path, name, level, status);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(path, u"/remote");
  EXPECT_EQ(level, 9);
  Global::get_service_parameters(u"", u"remote", path = u"local", name, level, status);
  EXPECT_EQ(path, u"local") << "the named machine's values are not this machine's";

  // A machine with no hive: nothing is read, both names in the failure.
  Global::get_service_parameters(u"nowhere", u"remote", path = u"kept", name, level, status);
  EXPECT_EQ(failure(status), failure(kov::KOV_E_DIAG_READ_MACHINE, u"remote nowhere", 2));
  EXPECT_EQ(status.code(1), nev::NEV_E_REG_NO_MACHINE);
  EXPECT_EQ(path, u"kept");
  Global::set_service_parameters(u"nowhere", u"remote", u"p", u"n", 1, status);
  EXPECT_EQ(failure(status), failure(kov::KOV_E_DIAG_WRITE_MACHINE, u"remote nowhere", 2));
  EXPECT_EQ(status.code(1), nev::NEV_E_REG_NO_MACHINE);
  EXPECT_FALSE(std::filesystem::exists(machines.file("nowhere.db")));
}

// The service constructor reads the registry and no environment; values
// not read keep the defaults (reading stops at the missing name, so the
// level stays 0). A console value of exactly 1 gives the console, even at
// level 0.
TEST(DiagService, ServiceConstructorUsesRegistryAndConsoleOfExactlyOne) {
  kov_test::set_env("DGN_FILEPATH", "/nowhere");
  for (const std::uint32_t console : {1u, 2u}) {
    Scratch_dir dir;
    const std::u16string service = new_service(console == 1 ? "one" : "two");
    set(service, u"DiagFilePath", dir.wpath());
    set(service, u"DiagTraceLevel", 4);
    set(service, u"DiagEnableConsole", console);
    ::testing::internal::CaptureStdout();
    {
      kov::Kov_diag_main diag(service);
      EXPECT_EQ(diag.name(), u"default.dgn");
      EXPECT_EQ(diag.level(), 0) << "the level behind the missing name is not read";
      diag.write(u"shown \u00e9");
    }
    const std::string shown = header_line() + "\r\n" + marker_line() + "\r\nshown \xc3\xa9\r\n";
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), kov_test::as_captured(console == 1 ? shown : "")) << console;
    EXPECT_EQ(read_lines(dir.file("default.dgn")), opened({"shown \xe9"}));
  }
}

// The global object is made or installed once in a process and never
// destroyed; the next three tests are about that first call, so each runs
// in a process of its own (a suite whose name ends in "Alone").
TEST(DiagGlobalAlone, MadeOnceFromTheEnvironment) {
  Scratch_dir dir;
  kov_test::set_env("DGN_FILEPATH", dir.path().c_str());
  kov_test::set_env("DGN_TRACELEVEL", "4");
  kov::Kov_diag_main& first = Global::global();
  EXPECT_EQ(first.path(), dir.wpath());
  EXPECT_EQ(first.level(), 4);
  kov::Kov_diag_main mine;
  Global::initialise(&mine);  // ignored without a word
  EXPECT_NO_THROW(Global::initialise(nullptr));
  EXPECT_EQ(&Global::global(), &first);
}

TEST(DiagGlobalAlone, NullPointerWithNoObjectThrowsExactText) {
  EXPECT_THAT([] { Global::initialise(static_cast<kov::Kov_diag_main*>(nullptr)); },
              ThrowsMessage<std::invalid_argument>("Null pointer given to Kov_diag_global::initialise()"));
  kov::Kov_diag_main mine;
  Global::initialise(&mine);
  EXPECT_EQ(&Global::global(), &mine);
}

TEST(DiagGlobalAlone, ServiceInitialiseResetsOnlyWhenAllThreeWereRead) {
  Scratch_dir dir;
  Scratch_dir other;
  const std::u16string service = new_service("global");
  set(service, u"DiagFilePath", dir.wpath());
  set(service, u"DiagFileName", u"g%1.dgn");
  set(service, u"DiagTraceLevel", 3);
  set(service, u"DiagEnableConsole", 1);
  ::testing::internal::CaptureStdout();
  Global::initialise(service);
  kov::Kov_diag_main& global = Global::global();
  EXPECT_EQ(global.level(), 3);
  global.write(u"one");

  // The level goes missing: nothing changes, the file stays open.
  nev::Nev_status status;
  nev::nev_delete_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, SERVICES + service + u"\\Parameters", u"DiagTraceLevel",
                            status);
  set(service, u"DiagFilePath", other.wpath());
  Global::initialise(service);
  global.write(u"two");
  EXPECT_EQ(global.path(), dir.wpath());
  EXPECT_EQ(global.level(), 3);

  // All three again: reset, which closes the file and ends the console.
  set(service, u"DiagTraceLevel", 2);
  Global::initialise(service);
  global.write(u"three");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            kov_test::as_captured(header_line() + "\r\n" + marker_line() + "\r\none\r\ntwo\r\n"));
  EXPECT_EQ(&Global::global(), &global);
  EXPECT_EQ(global.level(), 2);
  EXPECT_EQ(read_lines(dir.file("g0.dgn")), opened({"one", "two"}));
  EXPECT_EQ(read_lines(other.file("g1.dgn")), opened({"three"}));
}

// Threads that call global(), initialise() and initialise(&mine) at once on
// a process with no object yet all end up with one and the same object.
// A long name template makes the constructor slow, so the threads overlap
// inside it; each round runs in a child process of its own, since only the
// first call of a process can race.
TEST(DiagGlobal, ThreadsRacingOnTheFirstCallShareOneObject) {
#ifdef _WIN32
  GTEST_SKIP() << "needs fork: only the first call of a fresh process can race, and Windows cannot copy a process";
#else
  constexpr int ROUNDS = 20, THREADS = 6;
  Scratch_dir dir;
  Scoped_env path("DGN_FILEPATH", dir.path());
  Scoped_env name("DGN_FILENAME", std::string(1 << 19, 'n') + "%2");
  for (int round = 0; round < ROUNDS; ++round) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      kov::Kov_diag_main mine;
      std::atomic<int> ready{0};
      std::vector<kov::Kov_diag_main*> seen(THREADS, nullptr);
      std::vector<std::thread> threads;
      for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([&, t] {
          for (++ready; ready.load() < THREADS;) {
          }
          if (t == 0) Global::initialise(&mine);
          if (t == 1) Global::initialise();
          seen[t] = &Global::global();
        });
      }
      for (auto& thread : threads) thread.join();
      int distinct = 0;
      for (auto* object : seen) distinct += object != &Global::global();
      ::_exit(distinct);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "round " << round;
    EXPECT_EQ(WEXITSTATUS(status), 0) << "round " << round << ": threads saw another object";
  }
#endif
}

// The kovdiag tool.

// The tool is built beside the test program.
const std::string PROGRAM = kov_test::program_beside("kovdiag");

struct Tool_run { int status; std::string output; };

// Runs kovdiag with `arguments`, behind `runner` if given; standard error
// is joined to the output.
Tool_run kovdiag(const std::string& arguments, const std::string& runner = "") {
  if (!std::filesystem::exists(PROGRAM)) return {-1, "kovdiag not built at " + PROGRAM};
  Tool_run run{-1, ""};
  run.status = kov_test::run_command(runner + PROGRAM + " " + arguments, &run.output);
  return run;
}

TEST(Kovdiag, CatPrintsUtf8AndFiltersOneThread) {
  Scratch_dir dir;
  std::string theirs;
  {
    kov::Kov_diag_main diag;
    diag.reset(dir.wpath(), u"c.dgn", 1);
    diag.write(u"main \u20ac");
    std::thread([&] {
      theirs = marker_line();
      diag.write(u"other");
    }).join();
    diag.write(u"main again");
  }
  const Tool_run all = kovdiag("cat " + dir.file("c.dgn"));
  EXPECT_EQ(all.status, 0);
  EXPECT_EQ(all.output, header_line() + "\n" + marker_line() + "\nmain \xe2\x82\xac\n" + theirs + "\nother\n" +
                            marker_line() + "\nmain again\n");

  char id[16];
  std::snprintf(id, sizeof id, "%x", nev::nev_current_thread_id());
  EXPECT_EQ(kovdiag("cat --thread " + std::string(id) + " " + dir.file("c.dgn")).output,
            "main \xe2\x82\xac\nmain again\n");

  const Tool_run missing = kovdiag("cat " + dir.file("none.dgn"));
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.output.find("none.dgn"), std::string::npos) << missing.output;
  EXPECT_EQ(missing.output.find("0xC2"), std::string::npos) << "a readable text, not a bare code";
  EXPECT_EQ(kovdiag("cat").status, 2);
  EXPECT_EQ(kovdiag("frobnicate x").status, 2);
}

// The file names are not ASCII: on Windows every path of the tool is UTF-16.
TEST(Kovdiag, FollowSeesGrowthAndMovesToTheNextNumberedFile) {
  Scratch_dir dir;
  kov::Kov_diag_main diag;
  diag.reset(dir.wpath(), u"f\u00e9%2.dgn", 1);
  diag.write(u"before");
  auto follower = std::async(std::launch::async,
                             [&] { return kovdiag("follow --lines 6 --for 20 " + dir.file("f\xC3\xA9" "00.dgn")); });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  diag.write(u"grown");
  diag.close();
  diag.write(u"in the next file");
  const Tool_run run = follower.get();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, header_line() + "\n" + marker_line() + "\nbefore\ngrown\n" + header_line() + "\n" +
                            marker_line() + "\n");
  // --for ends the wait even for a file that never appears.
  EXPECT_EQ(kovdiag("follow --for 0.3 " + dir.file("absent.dgn")).status, 0);
}

// An interrupt ends follow normally, with status 0; a follower that does
// not stop is killed after five more seconds (status 137), one killed by
// the interrupt itself ends with 130.
TEST(Kovdiag, FollowStopsOnInterrupt) {
  KOV_SKIP_ON_WINDOWS("no timeout(1) to interrupt the follower with");
  Scratch_dir dir;
  EXPECT_EQ(kovdiag("follow " + dir.file("i.dgn"), "timeout --preserve-status -k 5 -s INT 0.3 ").status, 0);
}

TEST(Kovdiag, ConfigThenShow) {
  const std::u16string service = new_service("tool");
  const std::string show = "show " + nev::nev_wtos(service), config = "config " + nev::nev_wtos(service);
  EXPECT_EQ(kovdiag(config + " --level 4").status, 0);
  EXPECT_EQ(kovdiag(show).output,
            "DiagFilePath       .\nDiagFileName       default.dgn\nDiagTraceLevel     4\nDiagEnableConsole  (not set)\n");
  EXPECT_EQ(kovdiag(config + " --path /var/x --name s%3.dgn --console on").status, 0);
  EXPECT_EQ(kovdiag(show).output,
            "DiagFilePath       /var/x\nDiagFileName       s%3.dgn\nDiagTraceLevel     4\nDiagEnableConsole  on\n");

  // What the tool wrote is what the library reads.
  std::u16string path, name;
  std::uint16_t level = 0;
  nev::Nev_status status;
  Global::get_service_parameters(u"", service, path, name, level, status);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(path, u"/var/x");
  EXPECT_EQ(level, 4);

  EXPECT_EQ(kovdiag(config + " --level 70000").status, 2);
  EXPECT_EQ(kovdiag(config + " --console maybe").status, 2);
  const Tool_run far = kovdiag(show + " --machine nowhere");
  EXPECT_EQ(far.status, 1);
  EXPECT_NE(far.output.find("nowhere"), std::string::npos) << far.output;
}

}  // namespace
