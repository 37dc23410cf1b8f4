// The foundation's platform layer: the few operating-system calls that the
// platform-neutral units of src/nev/ build on.
//
// Each platform folder (src/nev/posix/, later src/nev/win32/) defines every
// function declared here; nothing else in the foundation calls the operating
// system. The functions speak in the foundation's own terms (16-bit text,
// plain numbers, a reason text on failure) so that the neutral units turn
// outcomes into Nev_status codes in one place, the same on every platform.
//
// None of these functions is exported from the library.
#pragma once

#include <cstdint>
#include <string>

#include "nev/file.h"
#include "nev/system.h"

namespace nev::platform {

// ---- clock and local zone ----------------------------------------------------------

// Microseconds since 1 January 1970 UTC from the system's real-time clock.
std::int64_t clock_microseconds();
// Offset of the local zone from UTC, in seconds east, at the UTC instant
// `utc_seconds` (seconds since 1 January 1970). 0 when the platform cannot tell.
std::int64_t local_offset_at_utc(std::int64_t utc_seconds);
// Offset of the local zone from UTC, in seconds east, in force at the local
// wall-clock reading `local_seconds` (seconds since 1 January 1970, counted as
// if the local zone were UTC). A reading that a daylight-saving change skips
// or repeats gets the platform's choice of the two offsets; 0 when the
// platform cannot tell.
std::int64_t local_offset_at_local(std::int64_t local_seconds);

// ---- files ----------------------------------------------------------------------------

// The handle value of a closed file.
constexpr std::intptr_t CLOSED_FILE = -1;

// The outcome of a file operation: `ok` false carries the platform's reason.
struct File_result {
  bool ok = true;
  std::u16string reason;
};

// Opens `path` as `open` and `access` say; the new handle goes to `handle`.
// `attributes` holds Nev_file_attribute bits (others are ignored).
// `security` is a platform security descriptor, where the platform has one.
File_result file_open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
                      std::uint32_t attributes, Nev_file_sharing sharing, const void* security,
                      std::intptr_t& handle);
// Writes all `bytes`, retrying short and interrupted writes; `written`
// receives the count that reached the file, also on failure.
File_result file_write(std::intptr_t handle, const void* data, std::uint32_t bytes,
                       std::uint32_t& written);
// Reads at the current position until `bytes` are read or the file ends.
File_result file_read(std::intptr_t handle, void* data, std::uint32_t bytes, std::uint32_t& read);
// Reads at `offset` without moving the position, until `bytes` are read or
// the file ends.
File_result file_read_at(std::intptr_t handle, std::uint64_t offset, void* data,
                         std::uint32_t bytes, std::uint32_t& read);
// The size of the file in bytes.
File_result file_size(std::intptr_t handle, std::uint64_t& size);
// Closes the handle; errors are of no use to anybody at this point.
void file_close(std::intptr_t handle) noexcept;
// The platform's path separator.
char16_t path_separator() noexcept;

// ---- dynamic libraries -------------------------------------------------------------

// Loads the library at `path`; null with `reason` filled on failure.
void* library_load(const std::u16string& path, std::u16string& reason);
// The address of `name` in `library`; null with `reason` filled on failure.
void* library_symbol(void* library, const std::string& name, std::u16string& reason);
// Unloads `library`; false with `reason` filled on failure.
bool library_unload(void* library, std::u16string& reason);

// ---- environment, threads, console -------------------------------------------------

// The value of environment variable `name`; false when it is not set.
bool environment_variable(const std::u16string& name, std::u16string& value);
// Sets environment variable `name` to `value`, replacing any value.
bool set_environment_variable(const std::u16string& name, const std::u16string& value);
// The calling thread's id, never 0.
std::uint32_t thread_id() noexcept;
// Gives the process a console if it has none.
bool console_alloc() noexcept;
// The standard output handle, null when there is none.
Nev_console console_std_output() noexcept;
// Writes `count` units of `text`; `written` receives the units that got out.
// Returns false when nothing could be written. Never waits on an output
// whose reader has gone.
bool console_write(Nev_console console, const char16_t* text, std::uint32_t count,
                   std::uint32_t& written) noexcept;
// Detaches the process from its console.
bool console_free() noexcept;

// ---- sockets layer ------------------------------------------------------------------

// The platform's calls behind nev_socket_startup and its siblings, with the
// same contracts as those (see nev/system.h).
int socket_startup(std::uint16_t version);
int socket_last_error();
int socket_gethostname(char* buffer, int length);
bool socket_gethostbyname(const char* name, Nev_host_entry& entry);
std::uint32_t socket_inet_addr(const char* text);

}  // namespace nev::platform
