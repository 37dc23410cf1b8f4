// What a registry read costs compared with the store underneath it.
//
// All benchmarks share one hive in a temporary folder holding the value
// HKEY_LOCAL_MACHINE\SOFTWARE\Kov\Bench\Level4 "Name":
// - BM_nev_get_string: the warm read through nev_get_reg_string_value;
// - BM_raw_sqlite_join: the same value read by one prepared statement that
//   joins the four key levels, on a connection of its own, with the folded
//   names bound as ready-made blobs (the least a caller of SQLite could do);
// - BM_nev_set_string: one value written (one transaction).
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>

#include "nev/registry.h"
#include "nev/status.h"

namespace {

const std::u16string KEY = u"SOFTWARE\\Kov\\Bench";
const std::u16string SUBKEY = u"Level4";
const std::u16string VALUE_NAME = u"Name";

std::string hive_path;

// A fresh hive holding the value, made once per run and removed at exit.
void prepare_hive() {
  static std::once_flag once;
  std::call_once(once, [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "nev-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    hive_path = pattern + "/hive.db";
    ::setenv("NEV_REGISTRY", hive_path.c_str(), 1);
    nev::Nev_status status;
    nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, KEY, SUBKEY, VALUE_NAME, u"a setting of some length",
                                  status);
    if (!status.ok()) std::abort();
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(std::filesystem::path(hive_path).parent_path(), ignored);
    });
  });
}

// The folded form of a name as the hive stores it: upper case, big-endian.
std::string folded(const char* name) {
  std::string bytes;
  for (const char* c = name; *c != '\0'; ++c) {
    bytes += '\0';
    bytes += static_cast<char>(std::toupper(static_cast<unsigned char>(*c)));
  }
  return bytes;
}

void BM_nev_get_string(benchmark::State& state) {
  prepare_hive();
  std::u16string text;
  nev::Nev_status status;
  for (auto _ : state) {
    nev::nev_get_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, KEY, SUBKEY, VALUE_NAME, text, status);
    benchmark::DoNotOptimize(text.data());
  }
  if (!status.ok() || text.empty()) state.SkipWithError("the value was not read");
}
BENCHMARK(BM_nev_get_string);

void BM_raw_sqlite_join(benchmark::State& state) {
  prepare_hive();
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(hive_path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    state.SkipWithError("the hive did not open");
    return;
  }
  sqlite3_stmt* statement = nullptr;
  const char* sql =
      "SELECT v.data FROM reg_key k1"
      " JOIN reg_key k2 ON k2.parent = k1.id AND k2.fold = ?2"
      " JOIN reg_key k3 ON k3.parent = k2.id AND k3.fold = ?3"
      " JOIN reg_key k4 ON k4.parent = k3.id AND k4.fold = ?4"
      " JOIN reg_value v ON v.key = k4.id AND v.fold = ?5"
      " WHERE k1.parent = 3 AND k1.fold = ?1";
  if (sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
    state.SkipWithError(sqlite3_errmsg(db));
    sqlite3_close(db);
    return;
  }
  const std::string names[] = {folded("SOFTWARE"), folded("Kov"), folded("Bench"), folded("Level4"), folded("Name")};
  std::u16string text;
  bool found = true;
  for (auto _ : state) {
    for (int i = 0; i < 5; ++i) {
      sqlite3_bind_blob(statement, i + 1, names[i].data(), static_cast<int>(names[i].size()), SQLITE_STATIC);
    }
    found = sqlite3_step(statement) == SQLITE_ROW;
    if (found) {
      const auto* data = static_cast<const char16_t*>(sqlite3_column_blob(statement, 0));
      text.assign(data, static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)) / 2 - 1);
    }
    sqlite3_reset(statement);
    benchmark::DoNotOptimize(text.data());
  }
  if (!found) state.SkipWithError("the value was not found");
  sqlite3_finalize(statement);
  sqlite3_close(db);
}
BENCHMARK(BM_raw_sqlite_join);

void BM_nev_set_string(benchmark::State& state) {
  prepare_hive();
  nev::Nev_status status;
  for (auto _ : state) {
    nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, KEY, SUBKEY, u"Written", u"a value written", status);
  }
  if (!status.ok()) state.SkipWithError("the value was not written");
}
BENCHMARK(BM_nev_set_string);

}  // namespace

BENCHMARK_MAIN();
