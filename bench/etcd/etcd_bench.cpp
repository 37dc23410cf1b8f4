// What the registry costs on a hive in an etcd cluster (one member on
// 127.0.0.1, started by this program, data in /dev/shm when there is one).
//
// - BM_get/etcd and BM_get/sqlite: the warm read of
//   HKEY_LOCAL_MACHINE\SOFTWARE\Kov\Bench\Level4 "Name" through
//   nev_get_reg_string_value, on each kind of hive;
// - BM_raw_range: one range request for that value's key, on one kept
//   connection (what any read that asked the cluster would pay at least);
// - BM_set/etcd and BM_set/sqlite: one value written and acknowledged;
//   BM_raw_put: one raw put request, to a key nobody watches and to one the
//   hive watches; BM_raw_txn: the transaction of BM_set/etcd, sent raw;
//   each with the counter member_us, the part of a request that the member
//   spent handling it (the rest is the gateway, transport and client);
// The growth of costs, on both kinds of hive (the last argument: 0 etcd,
// 1 SQLite):
// - BM_key_of/N: in a key with N values (10, 1,000, 50,000), one value read
//   warm, one value written, and all values listed;
// - BM_tree: in a tree of 100,000 keys, a warm read below it, a write in it,
//   and the cold start of a process (for etcd, the mirror loaded);
// - BM_writers/P: one value written while P - 1 other processes write
//   values of their own into the same hive as fast as they can.
#include <benchmark/benchmark.h>

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "etcd_cluster.h"
#include "nev/platform.h"
#include "nev/posix/etcd_client.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"

namespace {

using namespace nev;

const std::u16string KEY = u"SOFTWARE\\Kov\\Bench\\Level4";
const Nev_hkey HKLM = NEV_HKEY_LOCAL_MACHINE;

test_support::Etcd_cluster& cluster() {
  // Extensive metrics: the time the member itself spends on each request.
  static test_support::Etcd_cluster one(1, {"--metrics=extensive"});
  // Filling the large hives sends large transactions: give them time.
  ::setenv("NEV_REGISTRY_TIMEOUT_MS", "60000", 1);
  return one;
}

// A hive file `name` in this run's temporary folder.
std::string sqlite_hive(const std::string& name = "hive") {
  static const std::string folder = [] {
    std::string pattern = "/tmp/nev-bench-etcd-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern;
  }();
  return folder + "/" + name + ".db";
}

void check(const Nev_status& status) {
  if (!status.ok()) {
    std::fprintf(stderr, "%s\n", nev_to_utf8(nev_status_text(status)).c_str());
    std::abort();
  }
}

// Makes `location` this machine's hive, holding the bench value.
void use(const std::string& location) {
  ::setenv("NEV_REGISTRY", location.c_str(), 1);
  nev::platform::reset_hive_locations();
  Nev_status status;
  nev_set_reg_string_value(HKLM, KEY, u"", u"Name", u"a setting of some length", status);
  check(status);
}

std::string etcd_hive(const std::string& prefix = "bench") { return cluster().location(prefix); }

void BM_get(benchmark::State& state) {
  use(state.range(0) == 0 ? etcd_hive() : sqlite_hive());
  std::u16string text;
  Nev_status status;
  for (auto _ : state) {
    nev_get_reg_string_value(HKLM, KEY, u"", u"Name", text, status);
    benchmark::DoNotOptimize(text);
  }
  check(status);
  state.SetLabel(state.range(0) == 0 ? "etcd" : "sqlite");
}
BENCHMARK(BM_get)->Arg(0)->Arg(1);

// The time the cluster member spent handling the unary requests of one
// kind ("Put", "Txn", "Range"), from its own metrics: the rest of a
// request's time went to the JSON gateway in front of it, to the transport
// and to this client. Read before and after a run, it gives the member's
// share of one request as the counter "member_us".
class Member_time {
 public:
  explicit Member_time(const char* method) : m_method(method), m_sum(read("sum")), m_count(read("count")) {}
  void report(benchmark::State& state) const {
    const double count = read("count") - m_count;
    if (count > 0) state.counters["member_us"] = (read("sum") - m_sum) / count * 1e6;
  }

 private:
  double read(const char* part) const {
    std::string name = "grpc_server_handling_seconds_";
    name += part;
    name += "{grpc_method=\"";
    name += m_method;
    name += "\",grpc_service=\"etcdserverpb.KV\",grpc_type=\"unary\"}";
    return cluster().metric(0, name);
  }
  const char* m_method;
  double m_sum;
  double m_count;
};

detail::Etcd_client& raw_client() {
  static detail::Etcd_client client({cluster().endpoint(0)}, std::chrono::milliseconds(2000));
  return client;
}

void BM_raw_range(benchmark::State& state) {
  use(etcd_hive());
  // A key of the size of a value entry: prefix, tag, id, folded name.
  const std::string key("bench/v/0000000000000009/\0N\0A\0M\0E", 33);
  std::vector<detail::Etcd_kv> kvs;
  for (auto _ : state) {
    kvs.clear();
    benchmark::DoNotOptimize(raw_client().range(key, std::string(), kvs));
  }
}
BENCHMARK(BM_raw_range);

void BM_set(benchmark::State& state) {
  use(state.range(0) == 0 ? etcd_hive() : sqlite_hive());
  Nev_status status;
  std::uint32_t n = 0;
  const Member_time member("Txn");
  for (auto _ : state) nev_set_reg_uint_value(HKLM, KEY, u"", u"Counter", ++n, status);
  check(status);
  if (state.range(0) == 0) member.report(state);
  state.SetLabel(state.range(0) == 0 ? "etcd" : "sqlite");
}
BENCHMARK(BM_set)->Arg(0)->Arg(1);

// Arg 0: a key nobody watches; 1: a key in the hive's prefix, so that the
// cluster also sends each put to the hive's watch, as it does for a write.
void BM_raw_put(benchmark::State& state) {
  use(etcd_hive());
  const std::string key = state.range(0) == 0 ? "bench-raw/counter" : "bench/raw-counter";
  std::uint32_t n = 0;
  const Member_time member("Put");
  for (auto _ : state) raw_client().put(key, std::to_string(++n));
  member.report(state);
  state.SetLabel(state.range(0) == 0 ? "unwatched" : "watched");
}
BENCHMARK(BM_raw_put)->Arg(0)->Arg(1);

// The transaction that writing an existing value sends (two conditions, one
// put, in the watched prefix), sent raw: the floor of BM_set/etcd.
void BM_raw_txn(benchmark::State& state) {
  use(etcd_hive());
  std::vector<detail::Etcd_compare> compares;
  for (const char* key : {"bench/raw-key", "bench/raw-value"}) compares.push_back({key, raw_client().put(key, "x"), {}});
  std::uint32_t n = 0;
  std::int64_t revision = compares[1].mod_revision;
  const Member_time member("Txn");
  for (auto _ : state) {
    compares[1].mod_revision = revision;
    if (!raw_client().txn(compares, {{true, "bench/raw-value", std::to_string(++n)}}, revision)) std::abort();
  }
  member.report(state);
}
BENCHMARK(BM_raw_txn);

// ---- growth --------------------------------------------------------------------------

// "v" and the number (appended, not concatenated: g++ 12 warns wrongly about
// operator+ on a temporary string at -O2).
std::u16string number_name(long n, char letter = 'v') {
  std::string text(1, letter);
  text += std::to_string(n);
  return nev_from_utf8(text);
}

// The location of hive `name` of kind `kind` (0 etcd, 1 SQLite).
std::string hive_of(long kind, const std::string& name) { return kind == 0 ? etcd_hive(name) : sqlite_hive(name); }
const char* kind_name(long kind) { return kind == 0 ? "etcd" : "sqlite"; }

// A hive whose key "Big" holds `count` DWORD values, written in batches.
std::string hive_with_values(long count, long kind) {
  const std::string location = hive_of(kind, "values-" + std::to_string(count));
  use(location);
  std::vector<Nev_reg_change> batch;
  Nev_status status;
  for (long i = 0; i < count; ++i) {
    batch.push_back({Nev_reg_change::SET_VALUE, HKLM, u"Big", {number_name(i), NEV_REG_DWORD, {1, 2, 3, 4}}});
    if (batch.size() == 2000 || i + 1 == count) {
      nev_apply_reg_changes(batch, status);
      check(status);
      batch.clear();
    }
  }
  return location;
}

void BM_key_of(benchmark::State& state) {
  const long count = state.range(0), kind = state.range(2);
  static std::map<std::pair<long, long>, std::string> made;
  if (!made.count({count, kind})) made[{count, kind}] = hive_with_values(count, kind);
  use(made[{count, kind}]);
  Nev_status status;
  Nev_reg_value value;
  std::vector<Nev_reg_value> all;
  const long what = state.range(1);
  long n = 0;
  for (auto _ : state) {
    if (what == 0) nev_get_reg_value(HKLM, u"Big", number_name(count / 2), value, status);
    if (what == 1) nev_set_reg_uint_value(HKLM, u"Big", u"", number_name(count / 2), static_cast<std::uint32_t>(++n), status);
    if (what == 2) nev_enum_reg_values(HKLM, u"Big", all, status);
  }
  check(status);
  state.SetLabel(std::string(kind_name(kind)) + (what == 0 ? " read one" : what == 1 ? " write one" : " list all"));
}
BENCHMARK(BM_key_of)->ArgsProduct({{10, 1000, 50000}, {0, 1, 2}, {0, 1}})->Unit(benchmark::kMicrosecond);

// A hive holding Tree\G<i / 1000>\K<i> for 100,000 keys.
const std::string& tree_hive(long kind) {
  static std::map<long, std::string> made;
  if (made.count(kind)) return made[kind];
  const std::string location = hive_of(kind, "tree");
  use(location);
  std::vector<Nev_reg_change> batch;
  Nev_status status;
  for (long i = 0; i < 100000; ++i) {
    const std::u16string key = u"Tree\\G" + nev_from_utf8(std::to_string(i / 1000)) + u"\\K" +
                               nev_from_utf8(std::to_string(i));
    batch.push_back({Nev_reg_change::CREATE_KEY, HKLM, key, {}});
    if (batch.size() == 500) {
      nev_apply_reg_changes(batch, status);
      check(status);
      batch.clear();
    }
  }
  return made[kind] = location;
}

void BM_tree(benchmark::State& state) {
  const long what = state.range(0), kind = state.range(1);
  use(tree_hive(kind));
  Nev_status status;
  long n = 0;
  std::u16string text;
  for (auto _ : state) {
    if (what == 0) nev_get_reg_string_value(HKLM, KEY, u"", u"Name", text, status);
    if (what == 1) nev_set_reg_uint_value(HKLM, u"Tree\\G50\\K50000", u"", u"n", static_cast<std::uint32_t>(++n), status);
    if (what == 2) {
      // A location this process has not used yet is a hive object of its
      // own, which (for etcd) loads the whole prefix before its first answer.
      state.PauseTiming();
      // The same hive under another spelling: slashes after an etcd
      // prefix, before an absolute file path.
      std::string again = tree_hive(kind);
      if (kind == 0) {
        again.append(static_cast<std::size_t>(++n), '/');
      } else {
        again.insert(0, static_cast<std::size_t>(++n), '/');
      }
      ::setenv("NEV_REGISTRY", again.c_str(), 1);
      nev::platform::reset_hive_locations();
      state.ResumeTiming();
      nev_get_reg_string_value(HKLM, KEY, u"", u"Name", text, status);
    }
  }
  check(status);
  state.SetLabel(std::string(kind_name(kind)) + (what == 0 ? " read warm" : what == 1 ? " write one" : " cold start"));
}
BENCHMARK(BM_tree)->ArgsProduct({{0, 1}, {0, 1}})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_tree)->ArgsProduct({{2}, {0, 1}})->Iterations(3)->Unit(benchmark::kMillisecond);

// One value written by this process while `writers` - 1 others write
// values of their own into the same hive without pause. The time is this
// process's write (what one writer waits among the others); the counter
// "all_writes" is every process's writes a second together (writes go one
// at a time, so it should stay level as writers are added).
void BM_writers(benchmark::State& state) {
  const long writers = state.range(0), kind = state.range(1);
  const std::string location = hive_of(kind, "writers");
  use(location);
  auto* counted = static_cast<std::atomic<std::uint64_t>*>(
      ::mmap(nullptr, sizeof(std::atomic<std::uint64_t>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  if (counted == MAP_FAILED) std::abort();
  new (counted) std::atomic<std::uint64_t>(0);
  std::vector<pid_t> others;
  for (long w = 1; w < writers; ++w) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      const std::u16string name = number_name(w, 'w');
      Nev_status status;
      for (std::uint32_t n = 0;; ++n) {
        nev_set_reg_uint_value(HKLM, u"Writers", u"", name, n, status);
        if (status.ok()) counted->fetch_add(1, std::memory_order_relaxed);
      }
    }
    others.push_back(pid);
  }
  Nev_status status;
  std::uint32_t n = 0;
  const auto start = std::chrono::steady_clock::now();
  const std::uint64_t before = counted->load();
  for (auto _ : state) nev_set_reg_uint_value(HKLM, u"Writers", u"", u"w0", ++n, status);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const std::uint64_t theirs = counted->load() - before;
  for (const pid_t pid : others) {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
  }
  ::munmap(counted, sizeof(std::atomic<std::uint64_t>));
  check(status);
  state.counters["all_writes"] = static_cast<double>(theirs + state.iterations()) / seconds;
  state.SetLabel(kind_name(kind));
}
BENCHMARK(BM_writers)->ArgsProduct({{1, 2, 4, 8}, {0, 1}})->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
