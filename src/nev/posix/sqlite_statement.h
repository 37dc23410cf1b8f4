// Thin wrappers over SQLite's C interface for the SQLite hive: failures as
// exceptions carrying SQLite's text, prepared statements finalised with their
// owner, and one use of a statement that resets it on every way out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace nev::detail {

// A failure of SQLite or of the file system, raised inside a transaction and
// turned into a status where the transaction ends.
struct Hive_error {
  int code;
  std::string reason;
  // The file or folder that is not trusted, when that is the failure.
  std::string file = {};
};

// True when `code` says another connection holds the lock.
bool is_busy(int code);
// Throws a Hive_error with `code` and the connection's message.
[[noreturn]] void fail(sqlite3* db, int code);
// Runs `sql` (one or more statements); throws on failure.
void execute(sqlite3* db, const char* sql);

// One prepared statement, finalised with its owner.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  sqlite3_stmt* get() const noexcept { return m_statement; }
  sqlite3* db() const noexcept { return m_db; }

 private:
  sqlite3* m_db;
  sqlite3_stmt* m_statement = nullptr;
};

// One use of a statement: bindings, steps, and the reset on every way out.
class Use {
 public:
  explicit Use(const Statement& statement) : m_statement(statement.get()), m_db(statement.db()) {}
  ~Use();
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

  Use& bind(int index, std::int64_t number);
  // Binds bytes; empty data is bound as a zero-length blob, never as NULL.
  Use& bind(int index, const void* data, std::size_t size);
  Use& bind(int index, const std::string& bytes) { return bind(index, bytes.data(), bytes.size()); }
  Use& bind(int index, const std::vector<std::uint8_t>& bytes) { return bind(index, bytes.data(), bytes.size()); }

  // True while a row is there.
  bool step();
  // Steps to the end.
  void run();

  std::int64_t integer(int column) const;
  // A column of UTF-16LE bytes as text.
  std::u16string text(int column) const;
  std::vector<std::uint8_t> bytes(int column) const;
  // A column of ASCII text; empty when NULL.
  std::string ascii(int column) const;

 private:
  void check(int code);

  sqlite3_stmt* m_statement;
  sqlite3* m_db;
};

}  // namespace nev::detail
