// Files as Win32 handles. A handle is a synchronous HANDLE; CLOSED_FILE (-1)
// is INVALID_HANDLE_VALUE.
#include <cstdint>
#include <string>

#include "nev/win32/win32_platform.h"
#include "nev/win32/win32_text.h"

namespace nev::platform {

namespace {

File_result failure(DWORD error) { return File_result{false, error_text(error)}; }

HANDLE handle_of(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

DWORD disposition(Nev_file_open open) {
  switch (open) {
    case NEV_FILE_OPEN_EXISTING: return OPEN_EXISTING;
    case NEV_FILE_CREATE_NEW: return CREATE_NEW;
    case NEV_FILE_OPEN_ALWAYS: return OPEN_ALWAYS;
    case NEV_FILE_CREATE_ALWAYS: return CREATE_ALWAYS;
  }
  return 0;
}

// Opening for writing with OPEN_ALWAYS continues the file: with
// FILE_APPEND_DATA and no FILE_WRITE_DATA, every write goes behind what is
// there, as O_APPEND does on POSIX.
DWORD desired_access(Nev_file_open open, Nev_file_access access) {
  const DWORD write = open == NEV_FILE_OPEN_ALWAYS ? (FILE_APPEND_DATA | SYNCHRONIZE) : GENERIC_WRITE;
  switch (access) {
    case NEV_FILE_READ: return GENERIC_READ;
    case NEV_FILE_WRITE: return write;
    case NEV_FILE_READ_WRITE: return GENERIC_READ | write;
  }
  return 0;
}

DWORD share_mode(Nev_file_sharing sharing) {
  DWORD mode = 0;
  if ((sharing & NEV_FILE_SHARE_READ) != 0) mode |= FILE_SHARE_READ;
  if ((sharing & NEV_FILE_SHARE_WRITE) != 0) mode |= FILE_SHARE_WRITE;
  return mode;
}

// ReadFile until `bytes` arrived or the file ends; `overlapped`, when given,
// carries the offset of the first byte and moves with the bytes read.
File_result read_loop(HANDLE file, void* data, std::uint32_t bytes, std::uint32_t& read, OVERLAPPED* overlapped,
                      std::uint64_t offset) {
  read = 0;
  auto* next = static_cast<char*>(data);
  while (read < bytes) {
    if (overlapped != nullptr) {
      const std::uint64_t at = offset + read;
      overlapped->Offset = static_cast<DWORD>(at);
      overlapped->OffsetHigh = static_cast<DWORD>(at >> 32);
    }
    DWORD count = 0;
    if (!ReadFile(file, next + read, bytes - read, &count, overlapped)) {
      const DWORD error = GetLastError();
      if (error == ERROR_HANDLE_EOF || error == ERROR_BROKEN_PIPE) break;
      return failure(error);
    }
    if (count == 0) break;
    read += count;
  }
  return {};
}

// With NEV_FILE_NO_FOLLOW the last component is opened itself, not what it
// points at (FILE_FLAG_OPEN_REPARSE_POINT), and refused when it is a link.
// NEV_FILE_NO_OTHERS has no counterpart in the open call: a new file takes
// the access list its folder hands down (or `security`).
File_result refuse_link(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION info{};
  if (!GetFileInformationByHandle(file, &info)) {
    const DWORD error = GetLastError();
    CloseHandle(file);
    return failure(error);
  }
  // Any reparse point counts: a junction redirects as a link does.
  if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    CloseHandle(file);
    return failure(ERROR_CANT_ACCESS_FILE);
  }
  return {};
}

// With NEV_FILE_REGULAR_ONLY what was opened must be a file on a disk: a
// device name ("CON", "NUL", "COM1" in any folder) or a pipe is refused.
File_result refuse_unless_disk_file(HANDLE file) {
  if (GetFileType(file) == FILE_TYPE_DISK) return {};
  CloseHandle(file);
  return File_result{false, u"not a regular file"};
}

}  // namespace

File_result Win32_platform::file_open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
                                      std::uint32_t attributes_wanted, Nev_file_sharing sharing, const void* security,
                                      std::intptr_t& handle) {
  const DWORD creation = disposition(open);
  const DWORD wanted = desired_access(open, access);
  // A NUL inside the path would silently cut it.
  if (creation == 0 || wanted == 0 || path.find(u'\0') != std::u16string::npos) {
    return failure(ERROR_INVALID_PARAMETER);
  }
  SECURITY_ATTRIBUTES attributes{};
  attributes.nLength = sizeof attributes;
  attributes.lpSecurityDescriptor = const_cast<void*>(security);
  attributes.bInheritHandle = FALSE;
  const bool no_follow = (attributes_wanted & NEV_FILE_NO_FOLLOW) != 0;
  // Telling a link needs the right to read the attributes, which a handle
  // for appending alone lacks.
  const DWORD access_asked = wanted | (no_follow ? FILE_READ_ATTRIBUTES : 0);
  const DWORD flags = FILE_ATTRIBUTE_NORMAL | (no_follow ? FILE_FLAG_OPEN_REPARSE_POINT : 0);
  const HANDLE file = CreateFileW(wide(path), access_asked, share_mode(sharing), security != nullptr ? &attributes : nullptr,
                                  creation, flags, nullptr);
  if (file == INVALID_HANDLE_VALUE) return failure(GetLastError());
  if (no_follow) {
    File_result checked = refuse_link(file);
    if (!checked.ok) return checked;
  }
  if ((attributes_wanted & NEV_FILE_REGULAR_ONLY) != 0) {
    File_result checked = refuse_unless_disk_file(file);
    if (!checked.ok) return checked;
  }
  handle = reinterpret_cast<std::intptr_t>(file);
  return {};
}

File_result Win32_platform::file_write(std::intptr_t handle, const void* data, std::uint32_t bytes,
                                       std::uint32_t& written) {
  written = 0;
  const auto* next = static_cast<const char*>(data);
  while (written < bytes) {
    DWORD count = 0;
    if (!WriteFile(handle_of(handle), next + written, bytes - written, &count, nullptr)) {
      return failure(GetLastError());
    }
    // A write that takes nothing and reports nothing would loop for ever.
    if (count == 0) return failure(ERROR_WRITE_FAULT);
    written += count;
  }
  return {};
}

File_result Win32_platform::file_read(std::intptr_t handle, void* data, std::uint32_t bytes, std::uint32_t& read) {
  return read_loop(handle_of(handle), data, bytes, read, nullptr, 0);
}

// ReadFile with an offset in OVERLAPPED also moves the position of a
// synchronous handle; the position is saved and put back, so that a read at
// an offset leaves it where it was, as pread does.
File_result Win32_platform::file_read_at(std::intptr_t handle, std::uint64_t offset, void* data,
                                         std::uint32_t bytes, std::uint32_t& read) {
  read = 0;
  const HANDLE file = handle_of(handle);
  LARGE_INTEGER position{};
  if (!SetFilePointerEx(file, LARGE_INTEGER{}, &position, FILE_CURRENT)) return failure(GetLastError());
  // An offset beyond what a signed 64-bit position can name lies behind the end.
  if (offset > static_cast<std::uint64_t>(INT64_MAX)) return {};
  OVERLAPPED overlapped{};
  File_result result = read_loop(file, data, bytes, read, &overlapped, offset);
  SetFilePointerEx(file, position, nullptr, FILE_BEGIN);
  return result;
}

File_result Win32_platform::file_size(std::intptr_t handle, std::uint64_t& size) {
  LARGE_INTEGER bytes{};
  if (!GetFileSizeEx(handle_of(handle), &bytes)) return failure(GetLastError());
  size = static_cast<std::uint64_t>(bytes.QuadPart);
  return {};
}

void Win32_platform::file_close(std::intptr_t handle) noexcept { CloseHandle(handle_of(handle)); }

char16_t Win32_platform::path_separator() noexcept { return u'\\'; }

}  // namespace nev::platform
