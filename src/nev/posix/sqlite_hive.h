// The SQLite hive: one database file holding the keys and values of one
// machine's registry.
//
// Layout of the file (format 2, in PRAGMA user_version):
//   reg_key(id, parent, name, fold)   one row per key; `id` is
//       AUTOINCREMENT, so the id of a deleted key is never given again; the
//       five predefined roots are the rows 1 to 5 with parent 0. `name` is
//       the key name as given (UTF-16LE), `fold` the name upper-cased by
//       nev_to_upper and stored big-endian, so that the byte order of `fold`
//       is the case-insensitive order of names: (parent, fold) is unique and
//       ORDER BY fold lists subkeys in that order.
//   reg_value(key, fold, seq, name, type, data)   one row per value; `seq`
//       grows with each new value of a key and gives the creation order,
//       `data` the raw bytes (strings as UTF-16LE with their NUL).
// A file of format 1 (ids could be given again) is carried over by the
// first connection that may write it.
//
// A process keeps one connection per hive file, opened on first use and kept
// open; a mutex serialises its use between threads. Every connection is
// closed before a fork() (see sqlite_hive.cpp for why a child must not even
// open one beside an inherited one), and parent and child open anew on next
// use. Statements are prepared once.
//
// Before a connection is opened the hive file and its folder must be
// trusted (trust.h); missing folders are created 0700 and the file 0600. A
// hive this user may read but not write is opened for reading only. The file
// is in WAL mode with a busy timeout, so readers and writers of several
// processes proceed together, and its -wal and -shm files persist so that
// such readers can read it; a transaction that still meets a busy hive is
// retried whole. Each read runs in at most one transaction, each write in
// exactly one.
//
// Reads are served from a cache of key ids, value lists, subkey lists and
// whether keys exist, 4096 entries at most together (an insertion that would
// pass that drops them all). It is dropped whenever `PRAGMA data_version`
// shows a commit by another connection and after every write of this one, so
// it never answers with data older than the last commit seen. That check is
// skipped while the WAL index header in shared memory is unchanged since the
// last one (see wal_header.h), so a warm read takes no lock at all.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "nev/posix/hive.h"
#include "nev/posix/sqlite_statement.h"
#include "nev/posix/wal_header.h"

struct sqlite3;

namespace nev::detail {

class Sqlite_hive final : public Hive {
 public:
  // A hive kept in the file at `path` (UTF-8); nothing is opened yet.
  explicit Sqlite_hive(std::string path);
  ~Sqlite_hive() override;
  Sqlite_hive(const Sqlite_hive&) = delete;
  Sqlite_hive& operator=(const Sqlite_hive&) = delete;

  // The process's hive object for the file at `path`.
  static std::shared_ptr<Sqlite_hive> at(const std::string& path);

  const std::string& location() const noexcept override { return m_path; }
  bool read(Hive_body body, Nev_status& status) override;
  bool write(Hive_body body, Nev_status& status) override;
  Key_id find_key(Key_id base, const std::u16string& path) override;
  bool find_value(Key_id key, const std::u16string& name, Nev_reg_value& value) override;
  bool key_exists(Key_id key) override;
  const Value_list& values(Key_id key) override;
  const std::vector<std::u16string>& subkeys(Key_id key) override;
  Key_id create_key(Key_id base, const std::u16string& path) override;
  void put_value(Key_id key, const Nev_reg_value& value) override;
  bool remove_value(Key_id key, const std::u16string& name) override;
  void remove_tree(Key_id key) override;
  Hive_counters counters() const noexcept override;
  std::size_t value_capacity(const std::u16string& name) const noexcept override;

  // Closes the connection (at process end); the next use opens it again.
  void close();

  // The same with the mutex held (around fork()).
  void close_connection() noexcept;
  std::mutex& mutex() noexcept { return m_mutex; }

 private:
  struct Statements;

  bool run(bool writing, Hive_body body, Nev_status& status);
  void run_once(bool writing, Hive_body body, Nev_status& status);
  bool open(bool create);
  bool prepare_file(bool create);
  void prepare_schema(bool create, bool writable);
  void report(const Hive_error& error, Nev_status& status) const;
  void validate_cache();
  void drop_cache() noexcept;
  std::size_t cached() const noexcept;
  void make_room() noexcept;
  void begin_read_if_needed();
  void roll_back() noexcept;
  Key_id find_child(Key_id parent, const std::u16string& fold);

  std::string m_path;
  mutable std::mutex m_mutex;
  sqlite3* m_db = nullptr;
  std::unique_ptr<Statements> m_statements;
  bool m_read_only = false;
  bool m_in_transaction = false;
  bool m_writing = false;

  std::uint64_t m_rows_read = 0;
  std::int64_t m_data_version = -1;
  Wal_header_watch m_wal;
  std::unordered_map<std::u16string, Key_id> m_key_cache;
  std::unordered_map<Key_id, Value_list> m_value_cache;
  std::unordered_map<Key_id, std::vector<std::u16string>> m_subkey_cache;
  std::unordered_map<Key_id, bool> m_exists_cache;
};

}  // namespace nev::detail
