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
// - BM_key_of/N: in a key with N values (10, 1,000, 50,000), one value read
//   warm, one value written, and all values listed;
// - BM_tree: in a tree of 100,000 keys, a warm read below it, a write in it,
//   and the cold start of a process (the mirror loaded from the cluster).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>

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
  static test_support::Etcd_cluster one(1);
  // Filling the large hives sends large transactions: give them time.
  ::setenv("NEV_REGISTRY_TIMEOUT_MS", "60000", 1);
  return one;
}

std::string sqlite_hive() {
  static const std::string path = [] {
    std::string pattern = "/tmp/nev-bench-etcd-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern + "/hive.db";
  }();
  return path;
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
  for (auto _ : state) nev_set_reg_uint_value(HKLM, KEY, u"", u"Counter", ++n, status);
  check(status);
  state.SetLabel(state.range(0) == 0 ? "etcd" : "sqlite");
}
BENCHMARK(BM_set)->Arg(0)->Arg(1);

// Arg 0: a key nobody watches; 1: a key in the hive's prefix, so that the
// cluster also sends each put to the hive's watch, as it does for a write.
void BM_raw_put(benchmark::State& state) {
  use(etcd_hive());
  const std::string key = state.range(0) == 0 ? "bench-raw/counter" : "bench/raw-counter";
  std::uint32_t n = 0;
  for (auto _ : state) raw_client().put(key, std::to_string(++n));
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
  for (auto _ : state) {
    compares[1].mod_revision = revision;
    if (!raw_client().txn(compares, {{true, "bench/raw-value", std::to_string(++n)}}, revision)) std::abort();
  }
}
BENCHMARK(BM_raw_txn);

// ---- growth --------------------------------------------------------------------------

std::u16string number_name(long n) { return u"v" + nev_from_utf8(std::to_string(n)); }

// A hive whose key "Big" holds `count` DWORD values, written in batches.
std::string hive_with_values(long count) {
  const std::string prefix = "values-" + std::to_string(count);
  use(etcd_hive(prefix));
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
  return etcd_hive(prefix);
}

void BM_key_of(benchmark::State& state) {
  const long count = state.range(0);
  static std::map<long, std::string> made;
  if (!made.count(count)) made[count] = hive_with_values(count);
  use(made[count]);
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
  state.SetLabel(what == 0 ? "read one" : what == 1 ? "write one" : "list all");
}
BENCHMARK(BM_key_of)->ArgsProduct({{10, 1000, 50000}, {0, 1, 2}})->Unit(benchmark::kMicrosecond);

// A hive holding Tree\G<i / 1000>\K<i> for 100,000 keys.
const std::string& tree_hive() {
  static const std::string location = [] {
    use(etcd_hive("tree"));
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
    return etcd_hive("tree");
  }();
  return location;
}

void BM_tree(benchmark::State& state) {
  use(tree_hive());
  Nev_status status;
  const long what = state.range(0);
  long n = 0;
  std::u16string text;
  for (auto _ : state) {
    if (what == 0) nev_get_reg_string_value(HKLM, KEY, u"", u"Name", text, status);
    if (what == 1) nev_set_reg_uint_value(HKLM, u"Tree\\G50\\K50000", u"", u"n", static_cast<std::uint32_t>(++n), status);
    if (what == 2) {
      // A location this process has not used yet is a hive object of its
      // own, which loads the whole prefix before its first answer.
      state.PauseTiming();
      ::setenv("NEV_REGISTRY", (tree_hive() + std::string(static_cast<std::size_t>(++n), '/')).c_str(), 1);
      nev::platform::reset_hive_locations();
      state.ResumeTiming();
      nev_get_reg_string_value(HKLM, KEY, u"", u"Name", text, status);
    }
  }
  check(status);
  state.SetLabel(what == 0 ? "read warm" : what == 1 ? "write one" : "cold start");
}
BENCHMARK(BM_tree)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_tree)->Arg(2)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
