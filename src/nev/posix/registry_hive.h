// A hive: one SQLite database file holding the keys and values of one
// machine's registry.
//
// Layout of the file:
//   reg_key(id, parent, name, fold)   one row per key; the five predefined
//       roots are the rows 1 to 5 with parent 0. `name` is the key name as
//       given (UTF-16LE), `fold` the name upper-cased by nev_to_upper and
//       stored big-endian, so that the byte order of `fold` is the
//       case-insensitive order of names: (parent, fold) is unique and
//       ORDER BY fold lists subkeys in that order.
//   reg_value(key, fold, seq, name, type, data)   one row per value; `seq`
//       grows with each new value of a key and gives the creation order,
//       `data` the raw bytes (strings as UTF-16LE with their NUL).
//
// A process keeps one connection per hive file, opened on first use and kept
// open; a mutex serialises its use between threads, and a process forked
// from one that used it opens a connection of its own. Statements are
// prepared once. The file is in WAL mode with a busy timeout, so readers and
// writers of several processes proceed together; a transaction that still
// meets a busy hive is retried whole. Each read runs in at most one
// transaction, each write in exactly one.
//
// Reads are served from a cache of key ids, value lists and subkey lists. It
// is dropped whenever `PRAGMA data_version` shows a commit by another
// connection and after every write of this one, so it never answers with
// data older than the last commit seen. That check is skipped while the WAL
// index header in shared memory is unchanged since the last one, so a warm
// read takes no lock at all.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "nev/registry.h"
#include "nev/status.h"

struct sqlite3;
struct sqlite3_stmt;

namespace nev::detail {

using Key_id = std::int64_t;
// The id no key has: "not found".
constexpr Key_id NO_KEY = 0;

// The row id of the predefined root `index` (0 to 4).
constexpr Key_id root_key_id(int index) { return index + 1; }

// The values of one key in creation order, with an index by folded name.
struct Value_list {
  std::vector<Nev_reg_value> values;
  std::unordered_map<std::u16string, std::size_t> by_fold;

  // The value whose folded name is `fold`; null when there is none.
  const Nev_reg_value* find(const std::u16string& fold) const;
};

// A reference to a callable, cheap to pass: the body of a transaction.
class Hive_body {
 public:
  template <class F>
    requires(!std::is_same_v<std::remove_cv_t<F>, Hive_body>)
  Hive_body(F& body) : m_object(&body), m_call([](void* object) { (*static_cast<F*>(object))(); }) {}
  void operator()() const { m_call(m_object); }

 private:
  void* m_object;
  void (*m_call)(void*);
};

class Hive {
 public:
  // A hive kept in the file at `path` (UTF-8); nothing is opened yet.
  explicit Hive(std::string path);
  ~Hive();
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;

  // The process's hive object for the file at `path`.
  static std::shared_ptr<Hive> at(const std::string& path);

  const std::string& path() const noexcept { return m_path; }

  // Runs `body` under the hive's lock for reading: the operations below that
  // read may be used in it. A hive whose file does not exist reads as empty.
  // False, with NEV_E_REG_HIVE in `status`, when the hive failed; `body`
  // reports its own failures in `status` and may be run more than once.
  bool read(Hive_body body, Nev_status& status);
  // The same for writing: the file is created when missing, and everything
  // `body` does is one transaction, committed when `status` is still good
  // afterwards and rolled back otherwise.
  bool write(Hive_body body, Nev_status& status);

  // ---- inside read or write ------------------------------------------------
  // The key at `path` below the key `base`; NO_KEY when it does not exist.
  Key_id find_key(Key_id base, const std::u16string& path);
  // The values of `key`, in creation order.
  const Value_list& values(Key_id key);
  // The names of the subkeys of `key`, in case-insensitive order.
  const std::vector<std::u16string>& subkeys(Key_id key);

  // ---- inside write ----------------------------------------------------------
  // The key at `path` below `base`, created with every missing key on its way.
  Key_id create_key(Key_id base, const std::u16string& path);
  // Writes `value` in `key`; an existing value of that name keeps its place
  // and its name's spelling.
  void put_value(Key_id key, const Nev_reg_value& value);
  // Deletes the value of `key` named `name` (any case); false when none.
  bool remove_value(Key_id key, const std::u16string& name);
  // Deletes `key` with all its subkeys and values.
  void remove_tree(Key_id key);

  // Closes the connection (at process end); the next use opens it again.
  void close();

  // Called in the child after fork(): forgets the parent's connection.
  void forget_connection() noexcept;
  std::mutex& mutex() noexcept { return m_mutex; }

 private:
  struct Statements;

  bool run(bool writing, Hive_body body, Nev_status& status);
  void run_once(bool writing, Hive_body body, Nev_status& status);
  bool open(bool create);
  void prepare_schema(bool create);
  void validate_cache();
  bool read_header(std::array<std::uint32_t, 12>& header) const;
  bool header_unchanged() const;
  void remember_header();
  void map_wal_header();
  void drop_cache() noexcept;
  void begin_read_if_needed();
  void end_transaction(bool commit) noexcept;
  Key_id find_child(Key_id parent, const std::u16string& fold);

  std::string m_path;
  std::mutex m_mutex;
  sqlite3* m_db = nullptr;
  std::unique_ptr<Statements> m_statements;
  // The fork generation the connection was opened in.
  unsigned m_generation = 0;
  bool m_in_transaction = false;
  bool m_writing = false;

  std::int64_t m_data_version = -1;
  // The WAL index header in shared memory (null until mapped), and the
  // header as it was when the cache was last checked.
  const volatile std::uint32_t* m_wal_header = nullptr;
  std::array<std::uint32_t, 12> m_seen_header{};
  bool m_header_known = false;
  bool m_mode_checked = false;  // whether m_wal_mode has been asked yet
  bool m_wal_mode = false;
  std::unordered_map<std::u16string, Key_id> m_key_cache;
  std::unordered_map<Key_id, Value_list> m_value_cache;
  std::unordered_map<Key_id, std::vector<std::u16string>> m_subkey_cache;
};

}  // namespace nev::detail
