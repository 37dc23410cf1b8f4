// Several processes and threads on one hive, and a writer that dies in the
// middle of its work.
#ifdef _WIN32
#include <gtest/gtest.h>

// Every case here forks processes onto one hive file and checks it with
// SQLite; Windows has neither fork nor hive files.
TEST(Concurrency, HiveProcessesExistOnlyOnPosix) {
  GTEST_SKIP() << "forks processes onto a hive file; Windows keeps the system's registry and cannot fork";
}
#else
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "hive_faults.h"
#include "hive_fixture.h"

using namespace nev;

namespace {

std::u16string number_name(int number) { return u"v" + nev_from_utf8(std::to_string(number)); }

// Runs `work` in a child process; its result is the child's exit code.
template <class Work>
pid_t spawn(Work work) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(work());
  return pid;
}

int exit_code(pid_t pid) {
  int status = 0;
  return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The answer of SQLite's own check of the file: "ok" when it is sound.
std::string integrity_of(const std::string& path) {
  sqlite3* db = nullptr;
  std::string result = "cannot open";
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  const auto first_column = [](void* out, int, char** columns, char**) {
    *static_cast<std::string*>(out) = columns[0];
    return 0;
  };
  sqlite3_exec(db, "PRAGMA integrity_check", first_column, &result, nullptr);
  sqlite3_close(db);
  return result;
}

}  // namespace

TEST_F(Hive_test, ForkedWritersAndReadersLoseNothingAndNeverSeeALock) {
  SKIP_FORKED_ETCD_UNDER_SANITIZERS();
  constexpr int WRITERS = 4;
  constexpr int READERS = 2;
  constexpr int WRITES = 60;
  // The parent uses the hive before forking, and its reads are warm when the
  // children write: a value it read and a key it found missing must change.
  put(u"Shared", number_name(0), 99u);
  ASSERT_EQ(number_of(u"Shared", number_name(0)), 99u);
  ASSERT_FALSE(nev_reg_key_exists(HKLM, u"Shared", u"W" + number_name(0)));

  std::vector<pid_t> children;
  for (int writer = 0; writer < WRITERS; ++writer) {
    children.push_back(spawn([writer] {
      Nev_status own;
      for (int i = 0; i < WRITES; ++i) {
        const int number = writer * 1000 + i;
        nev_set_reg_uint_value(HKLM, u"Shared", u"", number_name(number), number, own);
        if (!own.ok()) return 1;
        nev_create_reg_key(HKLM, u"Shared\\W" + number_name(number), own);
        if (!own.ok()) return 2;
      }
      return 0;
    }));
  }
  for (int reader = 0; reader < READERS; ++reader) {
    children.push_back(spawn([] {
      for (int i = 0; i < 200; ++i) {
        Nev_status own;
        Nev_object_vector<std::u16string> keys;
        nev_enum_reg_keys(HKLM, u"Shared", u"", keys, own);
        if (!own.ok()) return 3;
        std::vector<Nev_reg_value> values;
        nev_enum_reg_values(HKLM, u"Shared", values, own);
        if (!own.ok()) return 4;
      }
      return 0;
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(exit_code(child), 0);
  // A hive in a cluster shows other processes' writes as its watch brings
  // them; a write of one's own is the barrier after which all are seen.
  if (etcd_backend()) put(u"Barrier", u"after the children", 1u);

  std::vector<Nev_reg_value> values;
  Nev_status status;
  nev_enum_reg_values(HKLM, u"Shared", values, status);
  ASSERT_STATUS_OK(status);
  EXPECT_EQ(values.size(), static_cast<std::size_t>(WRITERS * WRITES));
  for (int writer = 0; writer < WRITERS; ++writer) {
    for (int i = 0; i < WRITES; ++i) {
      const int number = writer * 1000 + i;
      EXPECT_EQ(number_of(u"Shared", number_name(number)), static_cast<std::uint32_t>(number));
      EXPECT_TRUE(nev_reg_key_exists(HKLM, u"Shared", u"W" + number_name(number)));
    }
  }
}

TEST_F(Hive_test, AWriterKilledMidWayLeavesEveryCommittedWrite) {
  const auto text = [](int i) { return std::u16string(200, static_cast<char16_t>(u'a' + i % 26)); };
  int pipe_ends[2];
  ASSERT_EQ(::pipe(pipe_ends), 0);
  const pid_t writer = spawn([&] {
    ::close(pipe_ends[0]);
    Nev_status own;
    for (int i = 0;; ++i) {
      nev_set_reg_string_value(HKLM, u"Crash\\" + number_name(i % 7), u"", number_name(i), text(i), own);
      if (!own.ok()) return 1;
      if (::write(pipe_ends[1], &i, sizeof i) != sizeof i) return 2;  // reported only once committed
    }
  });
  ::close(pipe_ends[1]);
  int last = -1;
  int number = 0;
  while (last < 150 && ::read(pipe_ends[0], &number, sizeof number) == sizeof number) last = number;
  ::kill(writer, SIGKILL);
  while (::read(pipe_ends[0], &number, sizeof number) == sizeof number) last = number;
  ::close(pipe_ends[0]);
  int wait_status = 0;
  ::waitpid(writer, &wait_status, 0);
  ASSERT_TRUE(WIFSIGNALED(wait_status));
  ASSERT_GE(last, 150);

  if (!etcd_backend()) {
    EXPECT_EQ(integrity_of(hive()), "ok");
  }
  for (int i = 0; i <= last; ++i) EXPECT_EQ(text_of(HKLM, u"Crash\\" + number_name(i % 7), number_name(i)), text(i));
  put(u"Crash", u"after", 1u);
}

TEST_F(Hive_test, AReaderFollowsAWriterThroughCheckpoints) {
  SKIP_FORKED_ETCD_UNDER_SANITIZERS();
  constexpr std::uint32_t LAST = 300;
  put(u"Follow", u"Counter", 0u);
  const std::string path = hive();
  const pid_t writer = spawn([&path] {
    sqlite3* db = nullptr;
    if (!etcd_backend() && sqlite3_open(path.c_str(), &db) != SQLITE_OK) return 1;
    if (db != nullptr) sqlite3_busy_timeout(db, 5000);
    Nev_status own;
    for (std::uint32_t i = 1; i <= LAST; ++i) {
      nev_set_reg_uint_value(HKLM, u"Follow", u"", u"Counter", i, own);
      if (!own.ok()) return 2;
      // Restarting the WAL now and then: the readers' check must see through it.
      if (db != nullptr && i % 50 == 0) sqlite3_exec(db, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
    }
    sqlite3_close(db);
    return 0;
  });
  std::uint32_t seen = 0;
  int backwards = 0;
  for (int polls = 0; seen < LAST && polls < 2000000; ++polls) {
    std::uint32_t now = 0;
    Nev_status status;
    nev_get_reg_uint_value(HKLM, u"Follow", u"", u"Counter", now, status);
    if (now < seen) ++backwards;
    seen = now;
  }
  EXPECT_EQ(exit_code(writer), 0);
  EXPECT_EQ(backwards, 0);
  EXPECT_EQ(seen, LAST);
}

TEST_F(Hive_test, ThreadsShareOneConnection) {
  constexpr int THREADS = 4;
  std::vector<std::thread> threads;
  std::vector<int> failures(THREADS, 0);
  for (int t = 0; t < THREADS; ++t) {
    threads.emplace_back([t, &failures] {
      const std::u16string key = u"Threads\\T" + number_name(t);
      for (int i = 0; i < 50; ++i) {
        Nev_status own;
        nev_set_reg_uint_value(HKLM, key, u"", number_name(i), i, own);
        std::uint32_t read = 0;
        nev_get_reg_uint_value(HKLM, key, u"", number_name(i), read, own);
        if (!own.ok() || read != static_cast<std::uint32_t>(i)) ++failures[static_cast<std::size_t>(t)];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(THREADS, 0));
}

#ifdef KOVREG_PATH
// A process that wrote, forked and exited leaves a child whose connection
// must hold real locks of its own: otherwise another process that closes
// last folds the WAL away and deletes it under the child's writes.
TEST_F(Hive_test, AChildOfAnExitedWriterKeepsEveryWriteBesideOtherProcesses) {
  SKIP_FORKED_ETCD_UNDER_SANITIZERS();
  constexpr int CHILD_WRITES = 400;
  constexpr int TOOL_WRITES = 60;
  int done[2];
  ASSERT_EQ(::pipe(done), 0);
  // This process never opens the hive: the writer that forks is a child.
  const pid_t parent = spawn([&] {
    ::close(done[0]);
    put(u"Fork", u"parent", 1u);
    const pid_t writer = ::getpid();
    if (::fork() == 0) {
      while (::getppid() == writer) ::usleep(1000);  // the parent has exited
      Nev_status own;
      int failures = 0;
      for (int i = 0; i < CHILD_WRITES; ++i) {
        nev_set_reg_uint_value(HKLM, u"Fork", u"", number_name(i), i, own);
        failures += own.ok() ? 0 : 1;
        ::usleep(2000);
      }
      const char result = failures == 0 ? 'y' : 'n';
      ::_exit(::write(done[1], &result, 1) == 1 ? 0 : 1);
    }
    return 0;
  });
  ::close(done[1]);
  ASSERT_EQ(exit_code(parent), 0);
  std::vector<pid_t> tools;
  for (int i = 0; i < TOOL_WRITES; ++i) {
    const std::string name = "t" + std::to_string(i);
    const pid_t tool = ::fork();
    if (tool == 0) {
      const int null = ::open("/dev/null", O_WRONLY);
      ::dup2(null, 1);
      ::execl(KOVREG_PATH, KOVREG_PATH, "add", "HKLM\\Fork", "/v", name.c_str(), "/d", "x", "/f", nullptr);
      ::_exit(127);
    }
    tools.push_back(tool);
    if (tools.size() == 4) {
      for (const pid_t t : tools) EXPECT_EQ(exit_code(t), 0);
      tools.clear();
    }
  }
  for (const pid_t t : tools) EXPECT_EQ(exit_code(t), 0);
  char result = 0;
  EXPECT_EQ(::read(done[0], &result, 1), 1);
  ::close(done[0]);
  EXPECT_EQ(result, 'y');

  // A fresh process (this one never opened the hive) finds every value.
  std::vector<Nev_reg_value> values;
  Nev_status status;
  nev_enum_reg_values(HKLM, u"Fork", values, status);
  ASSERT_STATUS_OK(status);
  EXPECT_EQ(values.size(), static_cast<std::size_t>(1 + CHILD_WRITES + TOOL_WRITES));
  if (!etcd_backend()) {
    EXPECT_EQ(integrity_of(hive()), "ok");
  }
}
#endif

#ifdef KOVREG_PATH
// A write that another process's write overtook between this process's
// last view and its commit: the other write is seen by the next read. The
// other write runs inside this process's write, while its hive is locked,
// so that this process cannot have taken it in before committing its own.

namespace {

// Runs kovreg with `args` to its end. A program started without fork(): the
// caller may hold its hive's lock.
void run_kovreg(std::vector<const char*> args) {
  args.insert(args.begin(), KOVREG_PATH);
  args.push_back(nullptr);
  pid_t tool = 0;
  ASSERT_EQ(::posix_spawn(&tool, KOVREG_PATH, nullptr, nullptr, const_cast<char* const*>(args.data()), environ), 0);
  EXPECT_EQ(exit_code(tool), 0) << args[1] << " " << args[2];
}

}  // namespace

TEST_F(Hive_test, AWriteThatAnotherOvertookStillShowsTheOthersWrite) {
  if (!etcd_backend()) GTEST_SKIP() << "about hives whose view follows a stream of changes";
  Faulty_hive_platform platform;
  Nev_status status;
  nev_set_reg_uint_value(HKLM, u"Mine", u"", u"n", 1, status);
  nev_set_reg_string_value(HKLM, u"Other", u"", u"k", u"before", status);
  ASSERT_STATUS_OK(status);
  ASSERT_EQ(platform.hives.size(), 1u);
  platform.hives.begin()->second->inside_next_write = [] {
    run_kovreg({"add", "HKLM\\Other", "/v", "k", "/d", "after", "/f"});
  };
  nev_set_reg_uint_value(HKLM, u"Mine", u"", u"n", 2, status);
  ASSERT_STATUS_OK(status);
  std::u16string text;
  nev_get_reg_string_value(HKLM, u"Other", u"", u"k", text, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(text, u"after");
}

// A value written four levels down while another process deletes a key
// above it (and perhaps creates the path again): the write must not land
// under the deleted key, where nobody would ever find it, but in the path
// as it stands when it commits.
TEST_F(Hive_test, AValueWrittenWhileAnotherDeletesItsPathIsNotLost) {
  if (!etcd_backend()) GTEST_SKIP() << "about hives whose view follows a stream of changes";
  const std::vector<std::vector<std::vector<const char*>>> meanwhile = {
      {{"delete", "HKLM\\Deep\\A", "/f"}},
      {{"delete", "HKLM\\Deep\\A\\B", "/f"}, {"add", "HKLM\\Deep\\A\\B\\C", "/v", "o", "/d", "x", "/f"}},
  };
  for (std::size_t row = 0; row < meanwhile.size(); ++row) {
    Faulty_hive_platform platform;
    Nev_status status;
    nev_set_reg_uint_value(HKLM, u"Deep\\A\\B\\C", u"", u"n", 1, status);
    ASSERT_STATUS_OK(status);
    ASSERT_EQ(platform.hives.size(), 1u);
    platform.hives.begin()->second->inside_next_write = [&] {
      for (const auto& command : meanwhile[row]) run_kovreg(command);
    };
    // A value the key did not have: nothing but the key itself ties it to the path.
    nev_set_reg_uint_value(HKLM, u"Deep\\A\\B\\C", u"", u"m", 2, status);
    ASSERT_STATUS_OK(status);
    std::uint32_t n = 0;
    nev_get_reg_uint_value(HKLM, u"Deep\\A\\B\\C", u"", u"m", n, status);
    EXPECT_STATUS_OK(status) << "row " << row;
    EXPECT_EQ(n, 2u) << "row " << row;
    nev_delete_reg_tree(HKLM, u"Deep", status);
  }
}
#endif
#endif
