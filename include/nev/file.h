// Files and paths.
//
// Nev_file is a file handle with explicit open and close. Opening an existing
// file for writing with NEV_FILE_OPEN_ALWAYS appends to it: every write goes
// behind what the file already holds, so a diagnostic file of an earlier run
// is never truncated. The sharing argument is honoured where the platform
// enforces sharing (Windows) and accepted without effect elsewhere.
//
// One Nev_file is used by one thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "nev/export.h"
#include "nev/status.h"

namespace nev {

// What open does with an existing or missing file.
enum Nev_file_open : int {
  NEV_FILE_OPEN_EXISTING = 0,  // open; a missing file fails
  NEV_FILE_CREATE_NEW = 1,     // create; an existing file fails
  NEV_FILE_OPEN_ALWAYS = 2,    // open, creating a missing file; writes append
  NEV_FILE_CREATE_ALWAYS = 3,  // create, truncating an existing file
};

// What the handle may do.
enum Nev_file_access : int {
  NEV_FILE_READ = 0,
  NEV_FILE_WRITE = 1,
  NEV_FILE_READ_WRITE = 2,
};

// Bits of the `attributes` argument of Nev_file::open; 0 asks for none, and
// bits not named here are ignored.
enum Nev_file_attribute : std::uint32_t {
  // The path's last component must not be a symbolic link: opening one
  // fails, so neither the link's target is written nor a missing target
  // created.
  NEV_FILE_NO_FOLLOW = 0x00010000,
  // A file that the opening creates may be read by its owner's group and
  // by nobody else (0640 before the umask on POSIX; 0644 without this bit).
  NEV_FILE_NO_OTHERS = 0x00020000,
  // The path must name a regular file, or nothing when the opening may
  // create one: a pipe, device or socket there fails the opening at once,
  // where it could block (a pipe with no reader) or send the data elsewhere.
  NEV_FILE_REGULAR_ONLY = 0x00040000,
};

// What other handles may do while this one is open.
enum Nev_file_sharing : int {
  NEV_FILE_SHARE_NONE = 0,
  NEV_FILE_SHARE_READ = 1,
  NEV_FILE_SHARE_WRITE = 2,
  NEV_FILE_SHARE_READ_WRITE = 3,
};

class NEV_EXPORT Nev_file {
 public:
  // A closed file.
  Nev_file() noexcept = default;
  // Closes the file if it is open.
  ~Nev_file();
  Nev_file(const Nev_file&) = delete;
  Nev_file& operator=(const Nev_file&) = delete;

  // Opens `path`. `attributes` is 0 or Nev_file_attribute bits; `security`
  // must be null. A failure (0xC200000C with the path and the
  // platform's reason) leaves the file closed. Clears `status` first; an
  // open file is closed before.
  void open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
            std::uint32_t attributes, Nev_file_sharing sharing, Nev_status& status,
            const void* security = nullptr);
  // Writes `bytes` bytes; returns how many were written. A failure reports
  // 0xC200000D. Clears `status` first.
  std::uint32_t write(const void* data, std::uint32_t bytes, Nev_status& status);
  // Reads up to `bytes` bytes at the current position; returns how many were
  // read, 0 at the end. A failure reports 0xC200000E. Clears `status` first.
  std::uint32_t read(void* data, std::uint32_t bytes, Nev_status& status);
  // Reads up to `bytes` bytes at `offset` without moving the position.
  std::uint32_t read_at(std::uint64_t offset, void* data, std::uint32_t bytes, Nev_status& status);
  // The size of the open file in bytes.
  std::uint64_t size(Nev_status& status) const;
  // Closes the file; nothing happens when it is closed.
  void close() noexcept;
  // True between a successful open and close.
  bool is_open() const noexcept { return m_handle != -1; }

 private:
  // The platform's handle (a descriptor, or a HANDLE cast), -1 when closed.
  std::intptr_t m_handle = -1;
  std::u16string m_path;
};

// A file-system path.
class NEV_EXPORT Nev_path {
 public:
  explicit Nev_path(const std::u16string& path);
  // `directory` and `name` joined by the platform's separator; none is added
  // when `directory` is empty or already ends in a separator.
  Nev_path(const std::u16string& directory, const std::u16string& name);

  // The path. A temporary Nev_path gives its text by value, so that
  // `const std::u16string& p = Nev_path(d, n).str();` holds no dangling
  // reference.
  const std::u16string& str() const& noexcept { return m_path; }
  std::u16string str() && { return std::move(m_path); }
  // The path as a string of its own. The conversion gives a value, never a
  // reference: a reference bound to a temporary Nev_path would be bound
  // through a conversion that yields a reference, even with a by-value one
  // for temporaries beside it, and dangle at the end of the statement.
  // `const std::u16string& p = Nev_path(d, n);` binds to the value instead.
  operator std::u16string() const& { return m_path; }
  operator std::u16string() && { return std::move(m_path); }

  // The platform's separator: "/" or "\".
  static char16_t separator() noexcept;

 private:
  std::u16string m_path;
};

}  // namespace nev
