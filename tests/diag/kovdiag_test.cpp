// The kovdiag tool, run as a program on files the library wrote.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <thread>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include "diag_test_support.h"
#include "kov/diag.h"
#include "nev/registry.h"
#include "nev/system.h"

namespace {

using diag_test::header_line;
using diag_test::marker_line;
using diag_test::Scratch_dir;

struct Tool_run {
  int status;
  std::string output;
};

// Runs kovdiag with `arguments`; standard error is joined to the output.
Tool_run kovdiag(const std::string& arguments) {
  // The tool is built beside the test program.
  const std::string program = (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "kovdiag").string();
  if (!std::filesystem::exists(program)) return {-1, "kovdiag not built at " + program};
  FILE* pipe = ::popen((program + " " + arguments + " 2>&1").c_str(), "r");
  Tool_run run{-1, ""};
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.output.append(buffer, n);
  const int status = ::pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

TEST(Kovdiag, CatPrintsUtf8AndFiltersOneThread) {
  Scratch_dir dir;
  std::uint32_t other = 0;
  {
    kov::Kov_diag_main diag;
    diag.reset(dir.wpath(), u"c.dgn", 1);
    diag.write(u"main \u20ac");
    std::thread([&] {
      other = nev::nev_current_thread_id();
      diag.write(u"other");
    }).join();
    diag.write(u"main again");
  }
  const std::string mine = marker_line(nev::nev_current_thread_id());
  const Tool_run all = kovdiag("cat " + dir.file("c.dgn"));
  EXPECT_EQ(all.status, 0);
  EXPECT_EQ(all.output, header_line() + "\n" + mine + "\nmain \xe2\x82\xac\n" + marker_line(other) +
                            "\nother\n" + mine + "\nmain again\n");

  char id[16];
  std::snprintf(id, sizeof id, "%x", nev::nev_current_thread_id());
  const Tool_run filtered = kovdiag("cat --thread " + std::string(id) + " " + dir.file("c.dgn"));
  EXPECT_EQ(filtered.output, "main \xe2\x82\xac\nmain again\n");

  const Tool_run missing = kovdiag("cat " + dir.file("none.dgn"));
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.output.find("none.dgn"), std::string::npos) << missing.output;
  EXPECT_EQ(missing.output.find("0xC2"), std::string::npos) << "a readable text, not a bare code";
  EXPECT_EQ(kovdiag("cat").status, 2);
  EXPECT_EQ(kovdiag("frobnicate x").status, 2);
}

TEST(Kovdiag, FollowSeesGrowthAndMovesToTheNextNumberedFile) {
  Scratch_dir dir;
  kov::Kov_diag_main diag;
  diag.reset(dir.wpath(), u"f%2.dgn", 1);
  diag.write(u"before");
  auto follower = std::async(std::launch::async, [&] { return kovdiag("follow --lines 6 --for 20 " + dir.file("f00.dgn")); });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  diag.write(u"grown");
  diag.close();
  diag.write(u"in the next file");
  const Tool_run run = follower.get();
  const std::string mine = marker_line(nev::nev_current_thread_id());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            header_line() + "\n" + mine + "\nbefore\ngrown\n" + header_line() + "\n" + mine + "\n");

  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(kovdiag("follow --for 0.3 " + dir.file("absent.dgn")).status, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(Kovdiag, FollowStopsOnInterrupt) {
  Scratch_dir dir;
  const std::string program = (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "kovdiag").string();
  const std::string file = dir.file("i.dgn");
  char* const argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>("follow"),
                        const_cast<char*>(file.c_str()), nullptr};
  pid_t pid = 0;
  ASSERT_EQ(::posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, environ), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  ::kill(pid, SIGINT);
  int status = 0;
  bool ended = false;
  for (int i = 0; i < 100 && !ended; ++i) {
    ended = ::waitpid(pid, &status, WNOHANG) == pid;
    if (!ended) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  if (!ended) {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, &status, 0);
  }
  ASSERT_TRUE(ended) << "follow did not stop on SIGINT";
  ASSERT_TRUE(WIFEXITED(status)) << "killed by the signal instead of stopping";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(Kovdiag, ConfigThenShow) {
  const std::string service = "kovdiag_tool_service";
  nev::Nev_status status;
  nev::nev_delete_reg_tree(nev::NEV_HKEY_LOCAL_MACHINE, u"SYSTEM\\CurrentControlSet\\Services\\kovdiag_tool_service",
                           status);
  EXPECT_EQ(kovdiag("config " + service + " --level 4").status, 0);
  Tool_run shown = kovdiag("show " + service);
  EXPECT_EQ(shown.output,
            "DiagFilePath       .\nDiagFileName       default.dgn\nDiagTraceLevel     4\nDiagEnableConsole  (not set)\n");

  EXPECT_EQ(kovdiag("config " + service + " --path /var/x --name s%3.dgn --console on").status, 0);
  shown = kovdiag("show " + service);
  EXPECT_EQ(shown.output,
            "DiagFilePath       /var/x\nDiagFileName       s%3.dgn\nDiagTraceLevel     4\nDiagEnableConsole  on\n");

  // What the tool wrote is what the library reads.
  std::u16string path, name;
  std::uint16_t level = 0;
  kov::Kov_diag_global::get_service_parameters(u"", diag_test::widen(service), path, name, level, status);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(path, u"/var/x");
  EXPECT_EQ(level, 4);

  EXPECT_EQ(kovdiag("config " + service + " --level 70000").status, 2);
  EXPECT_EQ(kovdiag("config " + service + " --console maybe").status, 2);
  const Tool_run far = kovdiag("show " + service + " --machine nowhere");
  EXPECT_EQ(far.status, 1);
  EXPECT_NE(far.output.find("nowhere"), std::string::npos) << far.output;
}

}  // namespace
