// The WAL index header watch (see wal_header.h).
#include "nev/posix/wal_header.h"

#include <sqlite3.h>

#include <atomic>
#include <cstring>

#include "nev/posix/sqlite_statement.h"

namespace nev::detail {

void Wal_header_watch::map(sqlite3* db) {
  if (m_header != nullptr) return;
  if (!m_mode_checked) {
    m_mode_checked = true;
    Statement journal(db, "PRAGMA journal_mode");
    Use use(journal);
    m_wal_mode = use.step() && use.ascii(0) == "wal";
  }
  sqlite3_file* file = nullptr;
  if (!m_wal_mode || sqlite3_file_control(db, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK ||
      file == nullptr || file->pMethods == nullptr || file->pMethods->iVersion < 2 ||
      file->pMethods->xShmMap == nullptr) {
    return;
  }
  // Not extending: until a read has set the index up there is nothing to
  // map, and the next check tries again.
  void volatile* region = nullptr;
  if (file->pMethods->xShmMap(file, 0, 32768, 0, &region) == SQLITE_OK && region != nullptr) {
    m_header = static_cast<const volatile std::uint32_t*>(region);
  }
}

bool Wal_header_watch::read(std::array<std::uint32_t, WORDS>& header) const {
  if (m_header == nullptr) return false;
  std::array<std::uint32_t, WORDS> second{};
  for (std::size_t i = 0; i < WORDS; ++i) header[i] = m_header[i];
  std::atomic_thread_fence(std::memory_order_seq_cst);
  for (std::size_t i = 0; i < WORDS; ++i) second[i] = m_header[WORDS + i];
  return header == second;
}

bool Wal_header_watch::unchanged() const {
  std::array<std::uint32_t, WORDS> header{};
  return m_known && read(header) && header == m_seen;
}

void Wal_header_watch::remember() { m_known = read(m_seen); }

void Wal_header_watch::forget() noexcept {
  m_header = nullptr;
  m_known = false;
  m_mode_checked = false;
  m_wal_mode = false;
}

}  // namespace nev::detail
