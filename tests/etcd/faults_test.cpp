// Hives in an etcd cluster when the cluster fails: a cluster that is gone or
// hung makes every call fail in bounded time with a status that names it, and
// calls work again once it is back; writers that lose their leader lose no
// acknowledged write, and readers never see a value go back.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "etcd_cluster.h"
#include "nev/codes.h"
#include "nev/platform.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"

using namespace nev;
using test_support::Etcd_cluster;

namespace {

const Nev_hkey HKLM = NEV_HKEY_LOCAL_MACHINE;

std::u16string number_name(int number) { return u"v" + nev_from_utf8(std::to_string(number)); }

// Points this machine's hive and the named machines at `prefix` of `cluster`.
void use_cluster(const Etcd_cluster& cluster, const std::string& prefix, int timeout_ms) {
  ::setenv("NEV_REGISTRY", cluster.location(prefix + "/local").c_str(), 1);
  ::setenv("NEV_REGISTRY_MACHINES", cluster.location(prefix + "/machines").c_str(), 1);
  ::setenv("NEV_REGISTRY_TIMEOUT_MS", std::to_string(timeout_ms).c_str(), 1);
  nev::platform::reset_hive_locations();
}

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

struct Call {
  const char* name;
  std::function<void(Nev_status&)> run;
};

// One call of each kind on the registry, each with a status.
std::vector<Call> every_call() {
  return {
      {"get", [](Nev_status& s) { std::u16string t; nev_get_reg_string_value(HKLM, u"Kept", u"", u"name", t, s); }},
      {"set", [](Nev_status& s) { nev_set_reg_uint_value(HKLM, u"Kept", u"", u"n", 8, s); }},
      {"enum keys", [](Nev_status& s) { Nev_object_vector<std::u16string> k; nev_enum_reg_keys(HKLM, u"", u"", k, s); }},
      {"enum values", [](Nev_status& s) { std::vector<Nev_reg_value> v; nev_enum_reg_values(HKLM, u"Kept", v, s); }},
      {"create key", [](Nev_status& s) { nev_create_reg_key(HKLM, u"Kept\\Sub", s); }},
      {"delete value", [](Nev_status& s) { nev_delete_reg_value(HKLM, u"Kept", u"n", s); }},
      {"delete tree", [](Nev_status& s) { nev_delete_reg_tree(HKLM, u"Kept", s); }},
      {"batch", [](Nev_status& s) {
         nev_apply_reg_changes({Nev_reg_change{Nev_reg_change::CREATE_KEY, HKLM, u"Batch", {}}}, s);
       }},
      {"connect", [](Nev_status& s) { nev_connect_reg_root(u"far", HKLM, s); }},
  };
}

// Runs `calls`, expecting each to fail with the hive's status naming the
// cluster's endpoint, and to come back well before a hang would.
void expect_failures(const std::vector<Call>& calls, const std::string& endpoint) {
  for (const Call& call : calls) {
    Nev_status status;
    const auto start = std::chrono::steady_clock::now();
    call.run(status);
    const auto spent = std::chrono::steady_clock::now() - start;
    // Creating a key says so on top of the hive's failure.
    EXPECT_TRUE(status.code() == NEV_E_REG_HIVE || status.code() == NEV_E_REG_KEY_CREATE) << call.name;
    EXPECT_NE(nev_to_utf8(nev_status_text(status)).find(endpoint), std::string::npos)
        << call.name << ": " << nev_to_utf8(nev_status_text(status));
    EXPECT_LT(spent, std::chrono::seconds(10)) << call.name << " hung";
  }
}

std::uint32_t read_number(const std::u16string& key, const std::u16string& name, Nev_status& status,
                          Nev_hkey root = HKLM) {
  std::uint32_t number = 0;
  nev_get_reg_uint_value(root, key, u"", name, number, status);
  return number;
}

}  // namespace

TEST(Etcd_faults, AStoppedClusterFailsEveryCallInTimeAndServesAgainWhenBack) {
  Etcd_cluster cluster(1);
  use_cluster(cluster, "faults", 500);
  Nev_status status;
  nev_set_reg_string_value(HKLM, u"Kept", u"", u"name", u"before", status);
  ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
  // Up, a machine that has no hive is no failure of the cluster.
  nev_connect_reg_root(u"far", HKLM, status);
  EXPECT_EQ(status.code(), NEV_E_REG_NO_MACHINE);
  EXPECT_EQ(status.argument(0, 1), nev_from_utf8(cluster.location("faults/machines/far")));

  // Hung (the process paused): a write cannot be acknowledged, so it fails.
  cluster.signal(0, SIGSTOP);
  expect_failures({every_call()[1], every_call()[4], every_call()[7]}, cluster.endpoint(0));
  cluster.signal(0, SIGCONT);

  // Gone: once the watch has seen the connection close (a read in that
  // moment is still served, and is no older than any acknowledged write),
  // every call fails, the predicates say no.
  cluster.kill(0);
  for (int tries = 0; tries < 50 && nev_reg_key_exists(HKLM, u"Kept", u""); ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  expect_failures(every_call(), cluster.endpoint(0));
  EXPECT_FALSE(nev_reg_key_exists(HKLM, u"Kept", u""));
  Nev_hkey key = nullptr;
  EXPECT_EQ(nev_reg_open_key(HKLM, u"Kept", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_ACCESS_DENIED);

  // Back: the same process reads and writes again, and nothing was lost.
  ASSERT_TRUE(cluster.restart(0));
  std::u16string text;
  for (int tries = 0; tries < 100; ++tries) {
    nev_get_reg_string_value(HKLM, u"Kept", u"", u"name", text, status);
    if (status.ok()) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
  EXPECT_EQ(text, u"before");
  nev_set_reg_uint_value(HKLM, u"Kept", u"", u"n", 9, status);
  EXPECT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
  EXPECT_EQ(read_number(u"Kept", u"n", status), 9u);
}

TEST(Etcd_faults, WritersLoseNoAcknowledgedWriteWhileTheLeaderIsKilled) {
  constexpr int WRITERS = 4;
  constexpr int READERS = 2;
  constexpr int WRITES = 100;
  Etcd_cluster cluster(3);
  use_cluster(cluster, "leader", 3000);
  // This process forks the writers and readers before it uses the hive
  // itself, so that they start from one thread (the sanitizers' runtimes
  // cannot follow a child forked beside a running watch thread).
  const pid_t creator = spawn([] {
    Nev_status own;
    nev_create_reg_key(HKLM, u"Load\\Last", own);
    return own.ok() ? 0 : 1;
  });
  ASSERT_EQ(exit_code(creator), 0);
  Nev_status status;

  int acks[2];
  int stop[2];
  ASSERT_EQ(::pipe2(acks, O_CLOEXEC), 0);  // not inherited by a restarted etcd
  ASSERT_EQ(::pipe2(stop, O_CLOEXEC), 0);
  std::vector<pid_t> writers;
  for (int writer = 0; writer < WRITERS; ++writer) {
    writers.push_back(spawn([&, writer] {
      ::close(acks[0]);
      ::close(stop[1]);
      const std::u16string name = u"W" + nev_from_utf8(std::to_string(writer));
      for (int i = 0; i < WRITES; ++i) {
        // Value i of the writer's key and its "last" number, as one batch;
        // an unacknowledged batch is tried again, as a program would.
        const std::vector<std::uint8_t> data = {static_cast<std::uint8_t>(i), 0, 0, 0};
        const std::vector<Nev_reg_change> batch = {
            {Nev_reg_change::SET_VALUE, HKLM, u"Load\\" + name, {number_name(i), NEV_REG_DWORD, data}},
            {Nev_reg_change::SET_VALUE, HKLM, u"Load\\Last", {name, NEV_REG_DWORD, data}}};
        Nev_status own;
        for (int attempt = 0; attempt < 60; ++attempt) {
          nev_apply_reg_changes(batch, own);
          if (own.ok()) break;
          std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        if (!own.ok()) return 1;
        const int ack[2] = {writer, i};
        if (::write(acks[1], ack, sizeof ack) != sizeof ack) return 2;
      }
      return 0;
    }));
  }
  std::vector<pid_t> readers;
  for (int reader = 0; reader < READERS; ++reader) {
    readers.push_back(spawn([&] {
      ::close(acks[1]);
      ::close(stop[1]);
      std::vector<std::uint32_t> seen(WRITERS, 0);
      int backwards = 0;
      int reads = 0;
      pollfd done{stop[0], POLLIN, 0};
      while (::poll(&done, 1, 0) == 0) {
        for (int writer = 0; writer < WRITERS; ++writer) {
          Nev_status own;
          const std::uint32_t now = read_number(u"Load\\Last", u"W" + nev_from_utf8(std::to_string(writer)), own);
          if (!own.ok()) continue;  // not yet written, or no cluster to ask
          ++reads;
          if (now < seen[writer]) ++backwards;
          seen[writer] = now;
        }
      }
      return backwards != 0 ? 1 : reads == 0 ? 2 : 0;
    }));
  }
  ::close(acks[1]);
  ::close(stop[0]);

  // Kill the leader a third of the way through, bring it back at two thirds.
  std::vector<std::vector<int>> acknowledged(WRITERS);
  int total = 0;
  int killed = -1;
  for (int ack[2]; ::read(acks[0], ack, sizeof ack) == sizeof ack;) {
    acknowledged[static_cast<std::size_t>(ack[0])].push_back(ack[1]);
    ++total;
    if (total == WRITERS * WRITES / 3) {
      killed = cluster.leader();
      ASSERT_GE(killed, 0);
      cluster.kill(killed);
    }
    if (total == 2 * WRITERS * WRITES / 3) {
      ASSERT_TRUE(cluster.restart(killed));
    }
  }
  ::close(acks[0]);
  for (const pid_t writer : writers) EXPECT_EQ(exit_code(writer), 0);
  ::close(stop[1]);
  for (const pid_t reader : readers) EXPECT_EQ(exit_code(reader), 0) << "1: a value went back; 2: nothing read";
  EXPECT_EQ(total, WRITERS * WRITES);

  // Every acknowledged write is there once, in the order it was made.
  for (int writer = 0; writer < WRITERS; ++writer) {
    std::vector<Nev_reg_value> values;
    nev_enum_reg_values(HKLM, u"Load\\W" + nev_from_utf8(std::to_string(writer)), values, status);
    ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
    ASSERT_EQ(values.size(), acknowledged[static_cast<std::size_t>(writer)].size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      const int number = acknowledged[static_cast<std::size_t>(writer)][i];
      EXPECT_EQ(values[i].name, number_name(number));
      EXPECT_EQ(values[i].data.at(0), static_cast<std::uint8_t>(number));
    }
  }
}

// A process that finds its hives again (a test, a changed location) would
// otherwise leave one watch per superseded hive open, and every write of
// every process costs the cluster one event per watch. The superseded hive
// stops watching, and a handle that still reaches it watches again on use.
TEST(Etcd_faults, AHiveFoundAgainLeavesOneWatchAndOldHandlesStillServe) {
  Etcd_cluster cluster(1);
  use_cluster(cluster, "again", 2000);
  Nev_status status;
  nev_set_reg_uint_value(HKLM, u"Kept", u"", u"n", 1, status);
  ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
  Nev_hkey old = nullptr;
  ASSERT_EQ(nev_reg_open_key(HKLM, u"Kept", 0, NEV_KEY_QUERY_VALUE, &old), NEV_ERROR_SUCCESS);

  for (int round = 0; round < 5; ++round) {
    nev::platform::reset_hive_locations();
    EXPECT_EQ(read_number(u"Kept", u"n", status), 1u);
  }
  int watchers = -1;
  for (int tries = 0; tries < 50 && (watchers = cluster.watchers(0)) != 1; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_EQ(watchers, 1);

  nev_set_reg_uint_value(HKLM, u"Kept", u"", u"n", 2, status);
  std::uint32_t seen = 0;
  for (int tries = 0; tries < 50 && seen != 2; ++tries) {
    seen = read_number(u"", u"n", status, old);
    if (seen != 2) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(seen, 2u) << nev_to_utf8(nev_status_text(status));
  nev_reg_close_key(old);
}
