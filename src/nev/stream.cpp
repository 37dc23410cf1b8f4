// The two streams of the foundation. Both read at a named offset and report
// NEV_END_OF_STREAM when a read starts at or behind the end or runs past it.
#include "nev/stream.h"

#include <algorithm>
#include <cstring>

#include "nev/codes.h"

namespace nev {

Nev_istream::~Nev_istream() = default;

// ---- Nev_file_istream ---------------------------------------------------------------

void Nev_file_istream::open(const std::u16string& path, Nev_status& status) {
  m_file.open(path, NEV_FILE_OPEN_EXISTING, NEV_FILE_READ, 0, NEV_FILE_SHARE_READ, status);
  m_position = 0;
}

std::uint64_t Nev_file_istream::size(Nev_status& status) { return m_file.size(status); }

std::uint64_t Nev_file_istream::position() const { return m_position; }

void Nev_file_istream::seek(std::uint64_t position, Nev_status& status) {
  status.clear();
  m_position = position;
}

std::uint32_t Nev_file_istream::read(void* destination, std::uint32_t count, Nev_status& status) {
  const std::uint32_t read = read_at(m_position, count, destination, status);
  m_position += read;
  return read;
}

std::uint32_t Nev_file_istream::read_at(std::uint64_t offset, std::uint32_t count, void* destination,
                                        Nev_status& status) {
  if (count == 0) {
    // Nothing to read tells nothing about the end: ask for the size.
    const std::uint64_t bytes = m_file.size(status);
    if (status.ok() && offset >= bytes) status = NEV_END_OF_STREAM;
    return 0;
  }
  // A short read of a regular file means its end, so no size is needed on
  // the common path (one system call per read).
  const std::uint32_t read = m_file.read_at(offset, destination, count, status);
  if (status.ok() && read < count) status = NEV_END_OF_STREAM;
  return read;
}

// ---- Nev_memory_istream ---------------------------------------------------------------

Nev_memory_istream::Nev_memory_istream(const void* data, std::size_t size)
    : m_data(static_cast<const std::uint8_t*>(data), static_cast<const std::uint8_t*>(data) + (data ? size : 0)) {}

Nev_memory_istream::Nev_memory_istream(std::vector<std::uint8_t> data) : m_data(std::move(data)) {}

std::uint64_t Nev_memory_istream::size(Nev_status& status) {
  status.clear();
  return m_data.size();
}

std::uint64_t Nev_memory_istream::position() const { return m_position; }

void Nev_memory_istream::seek(std::uint64_t position, Nev_status& status) {
  status.clear();
  m_position = position;
}

std::uint32_t Nev_memory_istream::read(void* destination, std::uint32_t count, Nev_status& status) {
  const std::uint32_t read = read_at(m_position, count, destination, status);
  m_position += read;
  return read;
}

std::uint32_t Nev_memory_istream::read_at(std::uint64_t offset, std::uint32_t count, void* destination,
                                          Nev_status& status) {
  status.clear();
  if (offset >= m_data.size()) {
    status = NEV_END_OF_STREAM;
    return 0;
  }
  const std::uint64_t available = m_data.size() - offset;
  const auto read = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, available));
  if (read > 0) std::memcpy(destination, m_data.data() + offset, read);
  if (read < count) status = NEV_END_OF_STREAM;
  return read;
}

}  // namespace nev
