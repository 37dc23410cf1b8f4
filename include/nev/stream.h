// Nev_istream: a source of bytes that can be read at any position.
//
// read_at names its offset on every call and moves no position, so a stream
// can be shared by readers that each keep their own offsets. At or behind the
// end of the stream read_at reports NEV_END_OF_STREAM (0xC2000019) as the
// current code; a read that starts inside and runs past the end gives the
// bytes that are there and reports the same code.
//
// Two implementations come with the foundation: Nev_file_istream over a file
// and Nev_memory_istream over bytes in memory.
//
// Threads: read_at and size of either may be called from several threads at
// once on one object, since they move no position; seek, the moving read and
// opening the source change the object and must not overlap any other call
// on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nev/export.h"
#include "nev/file.h"
#include "nev/status.h"

namespace nev {

class NEV_EXPORT Nev_istream {
 public:
  virtual ~Nev_istream();
  // The number of bytes in the stream.
  virtual std::uint64_t size(Nev_status& status) = 0;
  // The position that read() starts at.
  virtual std::uint64_t position() const = 0;
  // Moves the position of read().
  virtual void seek(std::uint64_t position, Nev_status& status) = 0;
  // Reads up to `count` bytes at the position and moves it on; returns the
  // count read.
  virtual std::uint32_t read(void* destination, std::uint32_t count, Nev_status& status) = 0;
  // Reads `count` bytes at `offset` into `destination`; returns the count
  // read. Clears `status` first.
  virtual std::uint32_t read_at(std::uint64_t offset, std::uint32_t count, void* destination,
                                Nev_status& status) = 0;
};

// A stream over a file, opened for reading.
class NEV_EXPORT Nev_file_istream final : public Nev_istream {
 public:
  Nev_file_istream() = default;
  // Opens `path` for reading; failures as Nev_file::open.
  void open(const std::u16string& path, Nev_status& status);
  bool is_open() const noexcept { return m_file.is_open(); }

  std::uint64_t size(Nev_status& status) override;
  std::uint64_t position() const override;
  void seek(std::uint64_t position, Nev_status& status) override;
  std::uint32_t read(void* destination, std::uint32_t count, Nev_status& status) override;
  std::uint32_t read_at(std::uint64_t offset, std::uint32_t count, void* destination,
                        Nev_status& status) override;

 private:
  Nev_file m_file;
  std::uint64_t m_position = 0;
};

// A stream over a copy of bytes in memory.
class NEV_EXPORT Nev_memory_istream final : public Nev_istream {
 public:
  Nev_memory_istream(const void* data, std::size_t size);
  explicit Nev_memory_istream(std::vector<std::uint8_t> data);

  std::uint64_t size(Nev_status& status) override;
  std::uint64_t position() const override;
  void seek(std::uint64_t position, Nev_status& status) override;
  std::uint32_t read(void* destination, std::uint32_t count, Nev_status& status) override;
  std::uint32_t read_at(std::uint64_t offset, std::uint32_t count, void* destination,
                        Nev_status& status) override;

 private:
  std::vector<std::uint8_t> m_data;
  std::uint64_t m_position = 0;
};

}  // namespace nev
