// The platform object on Windows. Its members are defined by area in the
// files of this folder: clock.cpp, file.cpp, library.cpp (with trust.cpp),
// system.cpp, sockets.cpp, and win32_platform.cpp for the registry's part,
// which Windows does not need: its registry is the system's (see
// registry_win32.h), so no hive is ever resolved or opened here.
#pragma once

#include "nev/platform.h"

namespace nev::platform {

class Win32_platform final : public Platform {
 public:
  std::int64_t clock_microseconds() override;
  std::int64_t local_offset_at_utc(std::int64_t utc_seconds) override;
  std::int64_t local_offset_at_local(std::int64_t local_seconds) override;
  std::uint64_t zone_generation() override;

  File_result file_open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
                        std::uint32_t attributes, Nev_file_sharing sharing, const void* security,
                        std::intptr_t& handle) override;
  File_result file_write(std::intptr_t handle, const void* data, std::uint32_t bytes,
                         std::uint32_t& written) override;
  File_result file_read(std::intptr_t handle, void* data, std::uint32_t bytes, std::uint32_t& read) override;
  File_result file_read_at(std::intptr_t handle, std::uint64_t offset, void* data, std::uint32_t bytes,
                           std::uint32_t& read) override;
  File_result file_size(std::intptr_t handle, std::uint64_t& size) override;
  void file_close(std::intptr_t handle) noexcept override;
  char16_t path_separator() noexcept override;

  void* library_load(const std::u16string& path, std::u16string& reason) override;
  void* library_symbol(void* library, const std::string& name, std::u16string& reason) override;
  bool library_unload(void* library, std::u16string& reason) override;
  bool library_trusted(const std::u16string& path, std::u16string& reason) override;

  bool environment_variable(const std::u16string& name, std::u16string& value) override;
  bool set_environment_variable(const std::u16string& name, const std::u16string& value) override;
  std::uint32_t thread_id() noexcept override;
  bool console_alloc() noexcept override;
  Nev_console console_std_output() noexcept override;
  bool console_write(Nev_console console, const char16_t* text, std::uint32_t count,
                     std::uint32_t& written) noexcept override;
  bool console_free() noexcept override;

  int socket_startup(std::uint16_t version) override;
  int socket_last_error() override;
  int socket_gethostname(char* buffer, int length) override;
  bool socket_gethostbyname(const char* name, Nev_host_entry& entry) override;
  std::uint32_t socket_inet_addr(const char* text) override;

  // The registry is the system's: no hive locations (the error says so) and
  // no hive, with NEV_E_NOT_AVAILABLE.
  Hive_locations hive_locations() override;
  std::shared_ptr<detail::Hive> open_hive(const std::string& location, Nev_status& status) override;
};

}  // namespace nev::platform
