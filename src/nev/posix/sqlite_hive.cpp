// The SQLite hive: connection, schema, transactions and the read cache. See
// sqlite_hive.h for the layout of the file.
#include "nev/posix/sqlite_hive.h"

#include <fcntl.h>
#include <pthread.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <thread>

#include "nev/codes.h"
#include "nev/posix/sqlite_statement.h"
#include "nev/posix/trust.h"
#include "nev/registry_names.h"
#include "nev/strings.h"

namespace nev::detail {

namespace {

// The format this code writes and reads; kept in PRAGMA user_version.
// Format 1 could give a deleted key's id to a new key; format 2 never does.
constexpr int HIVE_FORMAT = 2;
// How long one statement waits for a lock held by another process.
constexpr int BUSY_TIMEOUT_MS = 5000;
// How often a transaction that still found the hive busy is tried again.
constexpr int BUSY_ATTEMPTS = 12;
// The most entries the read caches hold together; the entry that would pass
// it starts them afresh.
constexpr std::size_t CACHE_LIMIT = 4096;
// What a value row takes beside its name and data, at most: the record
// header and the integers.
constexpr std::size_t ROW_OVERHEAD = 64;
// SQLite's own limit on a row when no connection is there to ask.
constexpr int DEFAULT_LENGTH_LIMIT = 1000000000;

// The cache key of `path` below `base`: the id as four units, then the
// folded names joined by one backslash.
std::u16string cache_key(Key_id base, const std::u16string& path) {
  std::u16string key;
  key.reserve(4 + path.size());
  for (int shift = 48; shift >= 0; shift -= 16) key += static_cast<char16_t>((base >> shift) & 0xFFFF);
  bool pending_separator = false;
  for (const char16_t unit : path) {
    if (unit == u'\\') {
      pending_separator = key.size() > 4;
      continue;
    }
    if (pending_separator) key += u'\\';
    pending_separator = false;
    key += nev_to_upper(unit);
  }
  return key;
}

// Creates the missing folders on the way to `path`, for this user alone.
void make_parent_folders(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    const std::string folder = path.substr(0, slash);
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
      throw Hive_error{SQLITE_CANTOPEN, "the folder " + folder + " could not be created: " + std::strerror(errno)};
    }
  }
}

// Creates an empty hive file for this user alone, unless one is there.
// SQLite gives the -wal and -shm files the mode of the hive file.
void make_hive_file(const std::string& path) {
  const int fd = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd >= 0) {
    ::close(fd);
  } else if (errno != EEXIST) {
    throw Hive_error{SQLITE_CANTOPEN, "the file " + path + " could not be created: " + std::strerror(errno)};
  }
}

// Throws when the file or folder at `path` is not trusted.
void require_trusted(const std::string& path) {
  std::string reason;
  if (!platform::is_trusted(path, reason)) throw Hive_error{SQLITE_AUTH, reason, path};
}

// Key ids are AUTOINCREMENT: the id of a deleted key is never given again,
// so a handle that holds it cannot reach another key.
#define NEV_KEY_TABLE(name)                  \
  "CREATE TABLE " name "("                   \
  "  id INTEGER PRIMARY KEY AUTOINCREMENT,"  \
  "  parent INTEGER NOT NULL,"               \
  "  name BLOB NOT NULL,"                    \
  "  fold BLOB NOT NULL);"
#define NEV_KEY_INDEX "CREATE UNIQUE INDEX reg_key_by_parent ON reg_key(parent, fold);"

const char* const SCHEMA =
    NEV_KEY_TABLE("reg_key")
    NEV_KEY_INDEX
    "CREATE TABLE reg_value("
    "  key INTEGER NOT NULL,"
    "  fold BLOB NOT NULL,"
    "  seq INTEGER NOT NULL,"
    "  name BLOB NOT NULL,"
    "  type INTEGER NOT NULL,"
    "  data BLOB NOT NULL,"
    "  PRIMARY KEY(key, fold)) WITHOUT ROWID;"
    "CREATE INDEX reg_value_by_seq ON reg_value(key, seq);";

// Format 1 to 2: the key table again, with AUTOINCREMENT.
const char* const MIGRATE_FROM_1 =
    NEV_KEY_TABLE("reg_key_2")
    "INSERT INTO reg_key_2(id, parent, name, fold) SELECT id, parent, name, fold FROM reg_key;"
    "DROP TABLE reg_key;"
    "ALTER TABLE reg_key_2 RENAME TO reg_key;"
    NEV_KEY_INDEX;

// The subtree of ?1, the key itself included.
#define NEV_SUBTREE \
  "WITH RECURSIVE subtree(id) AS (SELECT ?1 UNION ALL " \
  "SELECT reg_key.id FROM reg_key JOIN subtree ON reg_key.parent = subtree.id) "

// Every hive of the process by file path. Hives are never destroyed before
// the process ends, so a handle may hold a plain reference to one.
struct Hive_table {
  std::mutex mutex;
  std::map<std::string, std::shared_ptr<Sqlite_hive>> hives;

  // Closes every connection at process end so that SQLite folds the WAL
  // back into the hive file.
  ~Hive_table() {
    std::lock_guard<std::mutex> lock(mutex);
    for (auto& entry : hives) entry.second->close();
  }
};

Hive_table& hive_table() {
  static Hive_table table;
  return table;
}

// A child must never use a connection of its parent, nor even open one of
// its own beside it: SQLite keeps one table per process of the files it has
// open and the POSIX locks it holds on them, and a child inherits that table
// but none of the locks (they belong to the process that took them). A
// connection the child opened would share the inherited entry, believe the
// locks held, and take none: another process closing last would then fold
// the WAL into the hive and delete it under the child's writes. So every
// connection is closed before the fork, with every hive's mutex held (no
// transaction is open), and both processes open a new one on next use.
void before_fork() {
  Hive_table& table = hive_table();
  table.mutex.lock();
  for (auto& entry : table.hives) {
    entry.second->mutex().lock();
    entry.second->close_connection();
  }
}

void after_fork_in_parent() {
  Hive_table& table = hive_table();
  for (auto& entry : table.hives) entry.second->mutex().unlock();
  table.mutex.unlock();
}

void after_fork_in_child() {
  Hive_table& table = hive_table();
  for (auto& entry : table.hives) entry.second->mutex().unlock();
  table.mutex.unlock();
}

}  // namespace

// ---- statements --------------------------------------------------------------

struct Sqlite_hive::Statements {
  explicit Statements(sqlite3* db)
      : begin(db, "BEGIN"),
        begin_immediate(db, "BEGIN IMMEDIATE"),
        commit(db, "COMMIT"),
        rollback(db, "ROLLBACK"),
        data_version(db, "PRAGMA data_version"),
        find_child(db, "SELECT id FROM reg_key WHERE parent = ?1 AND fold = ?2"),
        children(db, "SELECT name FROM reg_key WHERE parent = ?1 ORDER BY fold"),
        insert_key(db, "INSERT INTO reg_key(parent, name, fold) VALUES (?1, ?2, ?3)"),
        values(db, "SELECT name, type, data FROM reg_value WHERE key = ?1 ORDER BY seq"),
        one_value(db, "SELECT name, type, data FROM reg_value WHERE key = ?1 AND fold = ?2"),
        key_exists(db, "SELECT 1 FROM reg_key WHERE id = ?1"),
        put_value(db,
                  "INSERT INTO reg_value(key, fold, seq, name, type, data) VALUES (?1, ?2, "
                  "(SELECT ifnull(max(seq), 0) + 1 FROM reg_value WHERE key = ?1), ?3, ?4, ?5) "
                  "ON CONFLICT(key, fold) DO UPDATE SET type = excluded.type, data = excluded.data"),
        delete_value(db, "DELETE FROM reg_value WHERE key = ?1 AND fold = ?2"),
        delete_tree_values(db, NEV_SUBTREE "DELETE FROM reg_value WHERE key IN subtree"),
        delete_tree_keys(db, NEV_SUBTREE "DELETE FROM reg_key WHERE id IN subtree") {}

  Statement begin, begin_immediate, commit, rollback, data_version;
  Statement find_child, children, insert_key, values, one_value, key_exists, put_value, delete_value;
  Statement delete_tree_values, delete_tree_keys;
};

// ---- Hive: life cycle --------------------------------------------------------------

Sqlite_hive::Sqlite_hive(std::string path) : m_path(std::move(path)) {}

Sqlite_hive::~Sqlite_hive() { close(); }

std::shared_ptr<Sqlite_hive> Sqlite_hive::at(const std::string& path) {
  static std::once_flag fork_handlers;
  std::call_once(fork_handlers, [] { pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child); });
  Hive_table& table = hive_table();
  std::lock_guard<std::mutex> lock(table.mutex);
  std::shared_ptr<Sqlite_hive>& hive = table.hives[path];
  if (!hive) hive = std::make_shared<Sqlite_hive>(path);
  return hive;
}

void Sqlite_hive::close() {
  std::lock_guard<std::mutex> lock(m_mutex);
  close_connection();
}

void Sqlite_hive::close_connection() noexcept {
  drop_cache();
  m_statements.reset();
  m_wal.forget();
  if (m_db != nullptr) sqlite3_close_v2(m_db);
  m_db = nullptr;
  m_in_transaction = false;
  m_read_only = false;
}

bool Sqlite_hive::prepare_file(bool create) {
  struct stat info {};
  const bool exists = ::stat(m_path.c_str(), &info) == 0;
  if (!exists && !create) return false;
  if (!exists) make_parent_folders(m_path);
  require_trusted(platform::folder_of(m_path));
  if (!exists) make_hive_file(m_path);
  require_trusted(m_path);
  return true;
}

bool Sqlite_hive::open(bool create) {
  if (m_db != nullptr && !(create && m_read_only)) return true;
  close_connection();  // a connection for reading only, now writing
  if (!prepare_file(create)) return false;
  // A hive this user may read but not write is opened for reading: the
  // reads work, and a write fails with SQLite's reason.
  const bool writable = ::faccessat(AT_FDCWD, m_path.c_str(), R_OK | W_OK, AT_EACCESS) == 0;
  if (create && !writable) {
    throw Hive_error{SQLITE_READONLY, "this user may not write the file " + m_path + ": " + std::strerror(errno)};
  }
  const int flags = (writable ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) | SQLITE_OPEN_NOMUTEX;
  sqlite3* db = nullptr;
  const int code = sqlite3_open_v2(m_path.c_str(), &db, flags, nullptr);
  if (code != SQLITE_OK) {
    Hive_error error{code, db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(code)};
    sqlite3_close_v2(db);
    throw error;
  }
  m_db = db;
  m_read_only = !writable;
  m_data_version = -1;
  m_wal.forget();
  sqlite3_busy_timeout(db, BUSY_TIMEOUT_MS);
  try {
    // With WAL, NORMAL loses no committed transaction when a process dies;
    // only a power failure may lose the last ones, as on Windows, whose
    // registry also writes lazily.
    if (writable) {
      execute(db, "PRAGMA journal_mode = WAL");
      // The -wal and -shm files stay when the last connection closes: a
      // user who may read the hive but not create files in its folder
      // needs them to read it.
      int persist = 1;
      sqlite3_file_control(db, "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
    }
    execute(db, "PRAGMA synchronous = NORMAL");
    prepare_schema(create, writable);
  } catch (...) {
    close_connection();
    throw;
  }
  return m_db != nullptr;
}

namespace {

int hive_format(sqlite3* db) {
  Statement version(db, "PRAGMA user_version");
  Use use(version);
  return use.step() ? static_cast<int>(use.integer(0)) : 0;
}

// Sets up a new hive, or carries an older format over, in one transaction;
// another process may be doing the same, so the format is read again
// inside it.
void set_up_format(sqlite3* db) {
  execute(db, "BEGIN IMMEDIATE");
  try {
    const int format = hive_format(db);
    if (format == 0) {
      execute(db, SCHEMA);
      Statement insert(db, "INSERT INTO reg_key(id, parent, name, fold) VALUES (?1, 0, ?2, ?3)");
      for (int index = 0; index < REG_ROOT_COUNT; ++index) {
        Use use(insert);
        use.bind(1, root_key_id(index))
            .bind(2, nev_to_utf16le(reg_root_name(index), false))
            .bind(3, folded_bytes(reg_root_name(index)))
            .run();
      }
    } else if (format == 1) {
      execute(db, MIGRATE_FROM_1);
    }
    if (format < HIVE_FORMAT) execute(db, ("PRAGMA user_version = " + std::to_string(HIVE_FORMAT)).c_str());
    execute(db, "COMMIT");
  } catch (...) {
    sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

}  // namespace

void Sqlite_hive::prepare_schema(bool create, bool writable) {
  const int format = hive_format(m_db);
  if (format > HIVE_FORMAT) {
    throw Hive_error{SQLITE_ERROR, "the hive has format " + std::to_string(format) + ", newer than format " +
                                       std::to_string(HIVE_FORMAT) + " that this library reads"};
  }
  if (format == 0 && !create) {
    // Still being set up by its creator: it reads as empty until then.
    close_connection();
    return;
  }
  // A reader that may not write reads format 1 as it is.
  if (format < HIVE_FORMAT && writable) set_up_format(m_db);
  m_statements = std::make_unique<Statements>(m_db);
}

// ---- Hive: transactions ---------------------------------------------------------------

bool Sqlite_hive::read(Hive_body body, Nev_status& status) { return run(false, body, status); }

bool Sqlite_hive::write(Hive_body body, Nev_status& status) { return run(true, body, status); }

bool Sqlite_hive::run(bool writing, Hive_body body, Nev_status& status) {
  std::lock_guard<std::mutex> lock(m_mutex);
  for (int attempt = 1;; ++attempt) {
    try {
      run_once(writing, body, status);
      return true;
    } catch (const Hive_error& error) {
      roll_back();
      drop_cache();
      if (is_busy(error.code) && attempt < BUSY_ATTEMPTS) {
        status.clear();
        std::this_thread::sleep_for(std::chrono::milliseconds(attempt * 10));
        continue;
      }
      report(error, status);
      return false;
    } catch (...) {
      roll_back();
      drop_cache();
      throw;
    }
  }
}

void Sqlite_hive::report(const Hive_error& error, Nev_status& status) const {
  status.clear();
  if (!error.file.empty()) {
    status.assign(NEV_E_UNTRUSTED_FILE, Nev_wstring_status_arg(nev_from_utf8(error.file)),
                  Nev_wstring_status_arg(nev_from_utf8(error.reason)));
    status.push(NEV_E_REG_HIVE, Nev_wstring_status_arg(nev_from_utf8(m_path)),
                Nev_wstring_status_arg(nev_from_utf8(error.reason)));
    return;
  }
  status.assign(NEV_E_REG_HIVE, Nev_wstring_status_arg(nev_from_utf8(m_path)),
                Nev_wstring_status_arg(nev_from_utf8(error.reason)));
}

void Sqlite_hive::run_once(bool writing, Hive_body body, Nev_status& status) {
  m_writing = writing;
  if (!open(writing)) {
    body();  // no hive file yet: everything reads as missing
    return;
  }
  if (writing) {
    Use(m_statements->begin_immediate).run();
    m_in_transaction = true;
  }
  validate_cache();
  body();
  if (m_in_transaction) {
    const bool commit = !writing || status.ok();
    if (commit) {
      Use(m_statements->commit).run();
      m_in_transaction = false;
    } else {
      roll_back();
    }
  }
  // This connection's own commits do not move data_version.
  if (writing) drop_cache();
}

void Sqlite_hive::begin_read_if_needed() {
  if (m_in_transaction) return;
  Use(m_statements->begin).run();
  m_in_transaction = true;
}

void Sqlite_hive::roll_back() noexcept {
  if (!m_in_transaction || m_db == nullptr) return;
  m_in_transaction = false;
  sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
}

// ---- Hive: cache --------------------------------------------------------------------

void Sqlite_hive::validate_cache() {
  if (!m_writing && m_wal.unchanged()) return;
  // The header is taken before data_version: a commit between the two shows
  // as a changed header next time, which only costs one more check.
  m_wal.remember();
  Use use(m_statements->data_version);
  const std::int64_t version = use.step() ? use.integer(0) : -1;
  if (version != m_data_version) {
    drop_cache();
    m_data_version = version;
  }
  m_wal.map(m_db);
}

void Sqlite_hive::drop_cache() noexcept {
  m_key_cache.clear();
  m_value_cache.clear();
  m_subkey_cache.clear();
  m_exists_cache.clear();
}

std::size_t Sqlite_hive::cached() const noexcept {
  return m_key_cache.size() + m_value_cache.size() + m_subkey_cache.size() + m_exists_cache.size();
}

void Sqlite_hive::make_room() noexcept {
  if (cached() >= CACHE_LIMIT) drop_cache();
}

// ---- Hive: reading ---------------------------------------------------------------------

Key_id Sqlite_hive::find_child(Key_id parent, const std::u16string& name) {
  begin_read_if_needed();
  Use use(m_statements->find_child);
  use.bind(1, parent).bind(2, folded_bytes(name));
  if (!use.step()) return NO_KEY;
  ++m_rows_read;
  return use.integer(0);
}

Key_id Sqlite_hive::find_key(Key_id base, const std::u16string& path) {
  if (path.find_first_not_of(u'\\') == std::u16string::npos) return base;
  if (m_db == nullptr) return NO_KEY;
  const bool caching = !m_writing;
  std::u16string key;
  if (caching) {
    key = cache_key(base, path);
    const auto found = m_key_cache.find(key);
    if (found != m_key_cache.end()) return found->second;
  }
  Key_id id = base;
  for (const std::u16string& name : reg_split_path(path)) {
    id = find_child(id, name);
    if (id == NO_KEY) break;
  }
  if (caching) {
    make_room();
    m_key_cache.emplace(std::move(key), id);
  }
  return id;
}

bool Sqlite_hive::find_value(Key_id key, const std::u16string& name, Nev_reg_value& value) {
  if (m_db == nullptr || key == NO_KEY) return false;
  if (!m_writing) {
    const auto cached = m_value_cache.find(key);
    if (cached != m_value_cache.end()) {
      const Nev_reg_value* found = cached->second.find(reg_fold(name));
      if (found != nullptr) value = *found;
      return found != nullptr;
    }
  }
  begin_read_if_needed();
  Use use(m_statements->one_value);
  use.bind(1, key).bind(2, folded_bytes(name));
  if (!use.step()) return false;
  ++m_rows_read;
  value.name = use.text(0);
  value.type = static_cast<std::uint32_t>(use.integer(1));
  value.data = use.bytes(2);
  return true;
}

bool Sqlite_hive::key_exists(Key_id key) {
  if (m_db == nullptr || key == NO_KEY) return false;
  if (!m_writing) {
    const auto found = m_exists_cache.find(key);
    if (found != m_exists_cache.end()) return found->second;
  }
  begin_read_if_needed();
  Use use(m_statements->key_exists);
  use.bind(1, key);
  const bool exists = use.step();
  if (exists) ++m_rows_read;
  if (!m_writing) {
    make_room();
    m_exists_cache.emplace(key, exists);
  }
  return exists;
}

const Value_list& Sqlite_hive::values(Key_id key) {
  static const Value_list none;
  if (m_db == nullptr || key == NO_KEY) return none;
  if (!m_writing) {
    const auto found = m_value_cache.find(key);
    if (found != m_value_cache.end()) return found->second;
  }
  Value_list list;
  begin_read_if_needed();
  {
    Use use(m_statements->values);
    use.bind(1, key);
    while (use.step()) {
      ++m_rows_read;
      Nev_reg_value value;
      value.name = use.text(0);
      value.type = static_cast<std::uint32_t>(use.integer(1));
      value.data = use.bytes(2);
      list.by_fold.emplace(reg_fold(value.name), list.values.size());
      list.values.push_back(std::move(value));
    }
  }
  if (m_writing) m_value_cache.clear();
  make_room();
  return m_value_cache[key] = std::move(list);
}

const std::vector<std::u16string>& Sqlite_hive::subkeys(Key_id key) {
  static const std::vector<std::u16string> none;
  if (m_db == nullptr || key == NO_KEY) return none;
  if (!m_writing) {
    const auto found = m_subkey_cache.find(key);
    if (found != m_subkey_cache.end()) return found->second;
  }
  std::vector<std::u16string> names;
  begin_read_if_needed();
  {
    Use use(m_statements->children);
    use.bind(1, key);
    for (; use.step(); ++m_rows_read) names.push_back(use.text(0));
  }
  if (m_writing) m_subkey_cache.clear();
  make_room();
  return m_subkey_cache[key] = std::move(names);
}

Hive_counters Sqlite_hive::counters() const noexcept {
  std::lock_guard<std::mutex> lock(m_mutex);
  return Hive_counters{cached(), m_rows_read};
}

// ---- Hive: writing ------------------------------------------------------------------------

Key_id Sqlite_hive::create_key(Key_id base, const std::u16string& path) {
  Key_id id = base;
  for (const std::u16string& name : reg_split_path(path)) {
    const Key_id child = find_child(id, name);
    if (child != NO_KEY) {
      id = child;
      continue;
    }
    Use use(m_statements->insert_key);
    use.bind(1, id).bind(2, nev_to_utf16le(name, false)).bind(3, folded_bytes(name)).run();
    id = sqlite3_last_insert_rowid(m_db);
  }
  return id;
}

std::size_t Sqlite_hive::value_capacity(const std::u16string& name) const noexcept {
  // A row holds the name twice (as given and folded), two bytes a unit.
  const int limit = m_db != nullptr ? sqlite3_limit(m_db, SQLITE_LIMIT_LENGTH, -1) : DEFAULT_LENGTH_LIMIT;
  const std::size_t taken = ROW_OVERHEAD + 4 * name.size();
  return static_cast<std::size_t>(limit) > taken ? static_cast<std::size_t>(limit) - taken : 0;
}

void Sqlite_hive::put_value(Key_id key, const Nev_reg_value& value) {
  Use use(m_statements->put_value);
  use.bind(1, key)
      .bind(2, folded_bytes(value.name))
      .bind(3, nev_to_utf16le(value.name, false))
      .bind(4, static_cast<std::int64_t>(value.type))
      .bind(5, value.data.data(), value.data.size())
      .run();
}

bool Sqlite_hive::remove_value(Key_id key, const std::u16string& name) {
  Use use(m_statements->delete_value);
  use.bind(1, key).bind(2, folded_bytes(name)).run();
  return sqlite3_changes(m_db) > 0;
}

void Sqlite_hive::remove_tree(Key_id key) {
  Use(m_statements->delete_tree_values).bind(1, key).run();
  Use(m_statements->delete_tree_keys).bind(1, key).run();
}

}  // namespace nev::detail
