// Statements and their uses over SQLite's C interface.
#include "nev/posix/sqlite_statement.h"

#include <sqlite3.h>

#include "nev/strings.h"

namespace nev::detail {

bool is_busy(int code) {
  const int primary = code & 0xFF;
  return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

void fail(sqlite3* db, int code) { throw Hive_error{code, db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(code)}; }

void execute(sqlite3* db, const char* sql) {
  char* message = nullptr;
  const int code = sqlite3_exec(db, sql, nullptr, nullptr, &message);
  if (code != SQLITE_OK) {
    Hive_error error{code, message != nullptr ? message : sqlite3_errstr(code)};
    sqlite3_free(message);
    throw error;
  }
}

Statement::Statement(sqlite3* db, const char* sql) : m_db(db) {
  const int code = sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &m_statement, nullptr);
  if (code != SQLITE_OK) fail(db, code);
}

Statement::~Statement() { sqlite3_finalize(m_statement); }

Use::~Use() {
  sqlite3_reset(m_statement);
  sqlite3_clear_bindings(m_statement);
}

Use& Use::bind(int index, std::int64_t number) {
  check(sqlite3_bind_int64(m_statement, index, number));
  return *this;
}

Use& Use::bind(int index, const void* data, std::size_t size) {
  static const char nothing = 0;
  if (size > static_cast<std::size_t>(INT32_MAX)) fail(m_db, SQLITE_TOOBIG);
  check(sqlite3_bind_blob(m_statement, index, size != 0 ? data : &nothing, static_cast<int>(size), SQLITE_TRANSIENT));
  return *this;
}

bool Use::step() {
  const int code = sqlite3_step(m_statement);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  fail(m_db, code);
}

void Use::run() {
  while (step()) {
  }
}

std::int64_t Use::integer(int column) const { return sqlite3_column_int64(m_statement, column); }

std::u16string Use::text(int column) const {
  return nev_from_utf16le(sqlite3_column_blob(m_statement, column),
                          static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)), false);
}

std::vector<std::uint8_t> Use::bytes(int column) const {
  const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(m_statement, column));
  return data != nullptr ? std::vector<std::uint8_t>(data, data + sqlite3_column_bytes(m_statement, column))
                         : std::vector<std::uint8_t>();
}

std::string Use::ascii(int column) const {
  const auto* text = sqlite3_column_text(m_statement, column);
  return text != nullptr ? std::string(reinterpret_cast<const char*>(text)) : std::string();
}

void Use::check(int code) {
  if (code != SQLITE_OK) fail(m_db, code);
}

}  // namespace nev::detail
