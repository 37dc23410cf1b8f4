// Nev_file and Nev_path: the status reporting and path rules of files; the
// descriptors themselves belong to the platform layer.
#include "nev/file.h"

#include "nev/codes.h"
#include "nev/platform.h"

namespace nev {

namespace {

void report(Nev_status& status, std::uint32_t code, const std::u16string& path,
            const std::u16string& reason) {
  status.assign(code, Nev_wstring_status_arg(path), Nev_wstring_status_arg(reason));
}

}  // namespace

Nev_file::~Nev_file() { close(); }

void Nev_file::open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
                    std::uint32_t attributes, Nev_file_sharing sharing, Nev_status& status,
                    const void* security) {
  status.clear();
  close();
  std::intptr_t handle = platform::CLOSED_FILE;
  const platform::File_result result =
      platform::current().file_open(path, open, access, attributes, sharing, security, handle);
  if (!result.ok) {
    report(status, NEV_E_FILE_OPEN, path, result.reason);
    return;
  }
  m_handle = handle;
  m_path = path;
}

std::uint32_t Nev_file::write(const void* data, std::uint32_t bytes, Nev_status& status) {
  status.clear();
  std::uint32_t written = 0;
  const platform::File_result result = platform::current().file_write(m_handle, data, bytes, written);
  if (!result.ok) report(status, NEV_E_FILE_WRITE, m_path, result.reason);
  return written;
}

std::uint32_t Nev_file::read(void* data, std::uint32_t bytes, Nev_status& status) {
  status.clear();
  std::uint32_t read = 0;
  const platform::File_result result = platform::current().file_read(m_handle, data, bytes, read);
  if (!result.ok) report(status, NEV_E_FILE_READ, m_path, result.reason);
  return read;
}

std::uint32_t Nev_file::read_at(std::uint64_t offset, void* data, std::uint32_t bytes, Nev_status& status) {
  status.clear();
  std::uint32_t read = 0;
  const platform::File_result result = platform::current().file_read_at(m_handle, offset, data, bytes, read);
  if (!result.ok) report(status, NEV_E_FILE_READ, m_path, result.reason);
  return read;
}

std::uint64_t Nev_file::size(Nev_status& status) const {
  status.clear();
  std::uint64_t size = 0;
  const platform::File_result result = platform::current().file_size(m_handle, size);
  if (!result.ok) report(status, NEV_E_FILE_READ, m_path, result.reason);
  return size;
}

void Nev_file::close() noexcept {
  if (m_handle == platform::CLOSED_FILE) return;
  platform::current().file_close(m_handle);
  m_handle = platform::CLOSED_FILE;
}

Nev_path::Nev_path(const std::u16string& path) : m_path(path) {}

Nev_path::Nev_path(const std::u16string& directory, const std::u16string& name) : m_path(directory) {
  // "/" separates on every platform; the platform's own separator as well.
  const bool ends_in_separator =
      !directory.empty() && (directory.back() == u'/' || directory.back() == separator());
  if (!directory.empty() && !ends_in_separator) m_path += separator();
  m_path += name;
}

char16_t Nev_path::separator() noexcept { return platform::current().path_separator(); }

}  // namespace nev
