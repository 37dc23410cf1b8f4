// Watches the header of a SQLite database's WAL index, so that a connection
// can tell without taking any lock that nobody committed since it last
// looked.
//
// The WAL index is the shared memory through which SQLite's connections learn
// of each other's commits. It begins with a 48-byte header, written twice: a
// writer stores the second copy, then the first; a reader that finds both
// copies equal has read a consistent header. Every commit changes it (the
// last frame, its checksum, or the salts when the WAL restarts), so an
// unchanged header proves that nobody committed since it was seen.
//
// One object per connection, used under that connection's lock.
#pragma once

#include <array>
#include <cstdint>

struct sqlite3;

namespace nev::detail {

class Wal_header_watch {
 public:
  // Maps the header of `db`'s WAL index when the database is in WAL mode and
  // its index is set up; does nothing when it is mapped already. Throws a
  // Hive_error when asking the journal mode fails.
  void map(sqlite3* db);
  // True when a header was remembered and the header now is the same.
  bool unchanged() const;
  // Takes the header as it is now as the one seen.
  void remember();
  // Forgets the mapping and everything seen (the connection is gone).
  void forget() noexcept;

 private:
  static constexpr std::size_t WORDS = 12;

  bool read(std::array<std::uint32_t, WORDS>& header) const;

  const volatile std::uint32_t* m_header = nullptr;
  std::array<std::uint32_t, WORDS> m_seen{};
  bool m_known = false;
  bool m_mode_checked = false;
  bool m_wal_mode = false;
};

}  // namespace nev::detail
