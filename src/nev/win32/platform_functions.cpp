// The platform layer's free functions, each handing over to the Win32
// platform object.
#include "nev/win32/win32_platform.h"

namespace nev::platform {

Win32_platform& win32_platform() noexcept {
  static Win32_platform* object = new Win32_platform;  // outlives every static user
  return *object;
}

std::int64_t clock_microseconds() { return win32_platform().clock_microseconds(); }
std::int64_t local_offset_at_utc(std::int64_t s) { return win32_platform().local_offset_at_utc(s); }
std::int64_t local_offset_at_local(std::int64_t s) { return win32_platform().local_offset_at_local(s); }
File_result file_open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
                      Nev_file_sharing sharing, const void* security, std::intptr_t& handle) {
  return win32_platform().file_open(path, open, access, sharing, security, handle);
}
File_result file_write(std::intptr_t handle, const void* data, std::uint32_t bytes, std::uint32_t& written) {
  return win32_platform().file_write(handle, data, bytes, written);
}
File_result file_read(std::intptr_t handle, void* data, std::uint32_t bytes, std::uint32_t& read) {
  return win32_platform().file_read(handle, data, bytes, read);
}
File_result file_read_at(std::intptr_t handle, std::uint64_t offset, void* data, std::uint32_t bytes,
                         std::uint32_t& read) {
  return win32_platform().file_read_at(handle, offset, data, bytes, read);
}
File_result file_size(std::intptr_t handle, std::uint64_t& size) { return win32_platform().file_size(handle, size); }
void file_close(std::intptr_t handle) noexcept { win32_platform().file_close(handle); }
char16_t path_separator() noexcept { return win32_platform().path_separator(); }
void* library_load(const std::u16string& path, std::u16string& reason) {
  return win32_platform().library_load(path, reason);
}
void* library_symbol(void* library, const std::string& name, std::u16string& reason) {
  return win32_platform().library_symbol(library, name, reason);
}
bool library_unload(void* library, std::u16string& reason) { return win32_platform().library_unload(library, reason); }
bool environment_variable(const std::u16string& name, std::u16string& value) {
  return win32_platform().environment_variable(name, value);
}
bool set_environment_variable(const std::u16string& name, const std::u16string& value) {
  return win32_platform().set_environment_variable(name, value);
}
std::uint32_t thread_id() noexcept { return win32_platform().thread_id(); }
bool console_alloc() noexcept { return win32_platform().console_alloc(); }
Nev_console console_std_output() noexcept { return win32_platform().console_std_output(); }
bool console_write(Nev_console console, const char16_t* text, std::uint32_t count, std::uint32_t& written) noexcept {
  return win32_platform().console_write(console, text, count, written);
}
bool console_free() noexcept { return win32_platform().console_free(); }
int socket_startup(std::uint16_t version) { return win32_platform().socket_startup(version); }
int socket_last_error() { return win32_platform().socket_last_error(); }
int socket_gethostname(char* buffer, int length) { return win32_platform().socket_gethostname(buffer, length); }
bool socket_gethostbyname(const char* name, Nev_host_entry& entry) {
  return win32_platform().socket_gethostbyname(name, entry);
}
std::uint32_t socket_inet_addr(const char* text) { return win32_platform().socket_inet_addr(text); }

}  // namespace nev::platform
