// The Win32 platform object: every service of nev::platform::Platform
// through the Windows API (see platform.h for each member's contract). The
// members are defined by area in the units of this folder.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "nev/platform.h"

namespace nev::platform {

class Win32_platform final {
 public:
  // clock.cpp
  std::int64_t clock_microseconds();
  std::int64_t local_offset_at_utc(std::int64_t utc_seconds);
  std::int64_t local_offset_at_local(std::int64_t local_seconds);

  // file.cpp
  File_result file_open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
                        Nev_file_sharing sharing, const void* security, std::intptr_t& handle);
  File_result file_write(std::intptr_t handle, const void* data, std::uint32_t bytes, std::uint32_t& written);
  File_result file_read(std::intptr_t handle, void* data, std::uint32_t bytes, std::uint32_t& read);
  File_result file_read_at(std::intptr_t handle, std::uint64_t offset, void* data, std::uint32_t bytes,
                           std::uint32_t& read);
  File_result file_size(std::intptr_t handle, std::uint64_t& size);
  void file_close(std::intptr_t handle) noexcept;
  char16_t path_separator() noexcept;

  // library.cpp
  void* library_load(const std::u16string& path, std::u16string& reason);
  void* library_symbol(void* library, const std::string& name, std::u16string& reason);
  bool library_unload(void* library, std::u16string& reason);

  // system.cpp
  bool environment_variable(const std::u16string& name, std::u16string& value);
  bool set_environment_variable(const std::u16string& name, const std::u16string& value);
  std::uint32_t thread_id() noexcept;
  bool console_alloc() noexcept;
  Nev_console console_std_output() noexcept;
  bool console_write(Nev_console console, const char16_t* text, std::uint32_t count,
                     std::uint32_t& written) noexcept;
  bool console_free() noexcept;

  // sockets.cpp
  int socket_startup(std::uint16_t version);
  int socket_last_error();
  int socket_gethostname(char* buffer, int length);
  bool socket_gethostbyname(const char* name, Nev_host_entry& entry);
  std::uint32_t socket_inet_addr(const char* text);
};

Win32_platform& win32_platform() noexcept;

}  // namespace nev::platform
