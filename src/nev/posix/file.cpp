// Files as POSIX descriptors.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "nev/posix/posix_platform.h"
#include "nev/posix/error_text.h"
#include "nev/strings.h"

namespace nev::platform {

namespace {

File_result failure(int error) { return File_result{false, error_text(error)}; }

// Ends an opening of something that is not a regular file.
File_result not_regular(int fd) {
  if (fd >= 0) ::close(fd);
  return File_result{false, u"not a regular file"};
}

// With NEV_FILE_REGULAR_ONLY the opening does not wait (a pipe with no
// reader fails with ENXIO instead of blocking); what was opened must be a
// regular file, which then gets blocking writes back.
File_result keep_if_regular(int fd) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    const int error = errno;
    ::close(fd);
    return failure(error);
  }
  if (!S_ISREG(info.st_mode)) return not_regular(fd);
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
    const int error = errno;
    ::close(fd);
    return failure(error);
  }
  return {};
}

int creation_flags(Nev_file_open open) {
  switch (open) {
    case NEV_FILE_OPEN_EXISTING: return 0;
    case NEV_FILE_CREATE_NEW: return O_CREAT | O_EXCL;
    case NEV_FILE_OPEN_ALWAYS: return O_CREAT;
    case NEV_FILE_CREATE_ALWAYS: return O_CREAT | O_TRUNC;
  }
  return -1;
}

int access_flags(Nev_file_access access) {
  switch (access) {
    case NEV_FILE_READ: return O_RDONLY;
    case NEV_FILE_WRITE: return O_WRONLY;
    case NEV_FILE_READ_WRITE: return O_RDWR;
  }
  return -1;
}

int descriptor(std::intptr_t handle) { return static_cast<int>(handle); }

}  // namespace

File_result Posix_platform::file_open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
                                      std::uint32_t attributes, Nev_file_sharing /*sharing: not enforced by POSIX*/,
                                      const void* security, std::intptr_t& handle) {
  const std::string native = nev_to_utf8(path);
  const int creation = creation_flags(open);
  const int mode = access_flags(access);
  // No security descriptors here; a NUL inside the path would silently cut it.
  if (security != nullptr || creation < 0 || mode < 0 || native.find('\0') != std::string::npos) {
    return failure(EINVAL);
  }
  int flags = creation | mode | O_CLOEXEC;
  // Opening an existing file for writing with OPEN_ALWAYS continues it: every
  // write goes behind what is there, so an earlier run's output is kept.
  if (open == NEV_FILE_OPEN_ALWAYS && access != NEV_FILE_READ) flags |= O_APPEND;
  if ((attributes & NEV_FILE_NO_FOLLOW) != 0) flags |= O_NOFOLLOW;
  const bool regular_only = (attributes & NEV_FILE_REGULAR_ONLY) != 0;
  if (regular_only) flags |= O_NONBLOCK;
  const mode_t permissions = (attributes & NEV_FILE_NO_OTHERS) != 0 ? 0640 : 0644;
  int fd;
  do {
    fd = ::open(native.c_str(), flags, permissions);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return regular_only && errno == ENXIO ? not_regular(-1) : failure(errno);
  if (regular_only) {
    File_result kept = keep_if_regular(fd);
    if (!kept.ok) return kept;
  }
  handle = fd;
  return {};
}

File_result Posix_platform::file_write(std::intptr_t handle, const void* data, std::uint32_t bytes, std::uint32_t& written) {
  written = 0;
  const auto* next = static_cast<const char*>(data);
  while (written < bytes) {
    const ssize_t count = ::write(descriptor(handle), next + written, bytes - written);
    if (count < 0) {
      if (errno == EINTR) continue;
      return failure(errno);
    }
    // A write that takes nothing and reports nothing would loop for ever.
    if (count == 0) return failure(EIO);
    written += static_cast<std::uint32_t>(count);
  }
  return {};
}

// Calls `read_some(destination, wanted, done)` until `bytes` are read or it
// gives 0 (the end), retrying after EINTR; `read` counts what arrived.
template <class Read_some>
File_result read_fully(void* data, std::uint32_t bytes, std::uint32_t& read, Read_some read_some) {
  read = 0;
  auto* next = static_cast<char*>(data);
  while (read < bytes) {
    const ssize_t count = read_some(next + read, bytes - read, read);
    if (count < 0) {
      if (errno == EINTR) continue;
      return failure(errno);
    }
    if (count == 0) break;
    read += static_cast<std::uint32_t>(count);
  }
  return {};
}

File_result Posix_platform::file_read(std::intptr_t handle, void* data, std::uint32_t bytes, std::uint32_t& read) {
  return read_fully(data, bytes, read, [handle](char* destination, std::uint32_t wanted, std::uint32_t) {
    return ::read(descriptor(handle), destination, wanted);
  });
}

File_result Posix_platform::file_read_at(std::intptr_t handle, std::uint64_t offset, void* data, std::uint32_t bytes,
                         std::uint32_t& read) {
  // An offset beyond what off_t can name lies behind the end of any file.
  if (offset > static_cast<std::uint64_t>(INT64_MAX)) {
    read = 0;
    return {};
  }
  const auto read_some = [handle, offset](char* destination, std::uint32_t wanted, std::uint32_t done) {
    return ::pread(descriptor(handle), destination, wanted, static_cast<off_t>(offset + done));
  };
  return read_fully(data, bytes, read, read_some);
}

File_result Posix_platform::file_size(std::intptr_t handle, std::uint64_t& size) {
  struct stat information{};
  if (::fstat(descriptor(handle), &information) != 0) return failure(errno);
  size = static_cast<std::uint64_t>(information.st_size);
  return {};
}

void Posix_platform::file_close(std::intptr_t handle) noexcept { ::close(descriptor(handle)); }

char16_t Posix_platform::path_separator() noexcept { return u'/'; }

}  // namespace nev::platform
