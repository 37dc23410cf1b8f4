// The foundation's platform layer: one interface object through which the
// platform-neutral units of src/nev/ reach the operating system.
//
// `Platform` declares every service the foundation takes from the system:
// the clock and the local zone, files, dynamic libraries, the environment,
// thread ids, the console, the sockets layer and where the registry's hive
// lies. Each platform folder (src/nev/posix/, src/nev/win32/) defines one
// object of it, `default_platform()`; nothing else in the foundation calls
// the operating system. The members speak in the foundation's own terms
// (16-bit text, plain numbers, a reason text on failure) so that the neutral
// units turn outcomes into Nev_status codes in one place, the same on every
// platform.
//
// Tests replace the object, or wrap it with `Platform_wrapper` and override
// the few members whose faults they inject, then `install` it. Installing is
// meant for a test's set-up: the object must outlive every call made while it
// is installed, and calls already running may still use the previous one.
//
// The classes and functions here are exported for tests only; they are not
// part of the libraries' public interface.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "nev/export.h"
#include "nev/file.h"
#include "nev/status.h"
#include "nev/system.h"

namespace nev::detail {
class Hive;
}

namespace nev::platform {

// The handle value of a closed file.
constexpr std::intptr_t CLOSED_FILE = -1;

// The outcome of a file operation: `ok` false carries the platform's reason.
struct File_result {
  bool ok = true;
  std::u16string reason;
};

// Where the registry's hives lie, as the platform resolves it: the local
// machine's hive and the place of named machines' hives, each a file path or
// a store location (see docs/design.md). `error` is set, and both empty, when
// no location can be found (no home folder and no variable naming one).
struct Hive_locations {
  std::string local;
  std::string machines;
  std::u16string error;
};

class NEV_EXPORT Platform {
 public:
  virtual ~Platform();

  // ---- clock and local zone ------------------------------------------------

  // Microseconds since 1 January 1970 UTC from the system's real-time clock.
  // May throw; the exception passes out of whatever asked for the time.
  virtual std::int64_t clock_microseconds() = 0;
  // Offset of the local zone from UTC, in seconds east, at the UTC instant
  // `utc_seconds` (seconds since 1 January 1970). 0 when it cannot tell.
  virtual std::int64_t local_offset_at_utc(std::int64_t utc_seconds) = 0;
  // Offset of the local zone from UTC, in seconds east, in force at the local
  // wall-clock reading `local_seconds` (seconds since 1 January 1970, counted
  // as if the local zone were UTC). A reading that a daylight-saving change
  // skips or repeats gets the platform's choice of the two offsets; 0 when it
  // cannot tell.
  virtual std::int64_t local_offset_at_local(std::int64_t local_seconds) = 0;
  // A number that changes whenever the two offsets above may answer
  // differently for the same instant (another zone set, the zone rules read
  // again). A caller may keep an offset, or local-time fields made with it,
  // for as long as this number stays the same. Called for every traced
  // line: it must be cheap.
  virtual std::uint64_t zone_generation() = 0;

  // ---- files ---------------------------------------------------------------

  // Opens `path` as `open` and `access` say; the new handle goes to `handle`.
  // `attributes` holds Nev_file_attribute bits (others are ignored).
  // `security` is a platform security descriptor, where the platform has one.
  virtual File_result file_open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
                                std::uint32_t attributes, Nev_file_sharing sharing, const void* security,
                                std::intptr_t& handle) = 0;
  // Writes all `bytes`, retrying short and interrupted writes; `written`
  // receives the count that reached the file, also on failure.
  virtual File_result file_write(std::intptr_t handle, const void* data, std::uint32_t bytes,
                                 std::uint32_t& written) = 0;
  // Reads at the current position until `bytes` are read or the file ends.
  virtual File_result file_read(std::intptr_t handle, void* data, std::uint32_t bytes, std::uint32_t& read) = 0;
  // Reads at `offset` without moving the position, until `bytes` are read or
  // the file ends.
  virtual File_result file_read_at(std::intptr_t handle, std::uint64_t offset, void* data, std::uint32_t bytes,
                                   std::uint32_t& read) = 0;
  // The size of the file in bytes.
  virtual File_result file_size(std::intptr_t handle, std::uint64_t& size) = 0;
  // Closes the handle; errors are of no use to anybody at this point.
  virtual void file_close(std::intptr_t handle) noexcept = 0;
  // The platform's path separator.
  virtual char16_t path_separator() noexcept = 0;

  // ---- dynamic libraries ---------------------------------------------------

  // Loads the library at `path`; null with `reason` filled on failure.
  virtual void* library_load(const std::u16string& path, std::u16string& reason) = 0;
  // The address of `name` in `library`; null with `reason` filled on failure.
  virtual void* library_symbol(void* library, const std::string& name, std::u16string& reason) = 0;
  // Unloads `library`; false with `reason` filled on failure.
  virtual bool library_unload(void* library, std::u16string& reason) = 0;
  // Whether the library at `path` may be loaded as a plug-in: the path is
  // absolute, and neither the file nor its folder can be changed by anybody
  // but the effective user or the system. False with `reason` (naming the
  // file and why) otherwise.
  virtual bool library_trusted(const std::u16string& path, std::u16string& reason) = 0;

  // ---- environment, threads, console ---------------------------------------

  // The value of environment variable `name`; false when it is not set.
  virtual bool environment_variable(const std::u16string& name, std::u16string& value) = 0;
  // Sets environment variable `name` to `value`, replacing any value.
  virtual bool set_environment_variable(const std::u16string& name, const std::u16string& value) = 0;
  // The calling thread's id, never 0.
  virtual std::uint32_t thread_id() noexcept = 0;
  // Gives the process a console if it has none.
  virtual bool console_alloc() noexcept = 0;
  // The standard output handle, null when there is none.
  virtual Nev_console console_std_output() noexcept = 0;
  // Writes `count` units of `text`; `written` receives the units that got
  // out. False when nothing could be written. Never waits on an output whose
  // reader has gone.
  virtual bool console_write(Nev_console console, const char16_t* text, std::uint32_t count,
                             std::uint32_t& written) noexcept = 0;
  // Detaches the process from its console.
  virtual bool console_free() noexcept = 0;

  // ---- sockets layer -------------------------------------------------------

  // The calls behind nev_socket_startup and its siblings, with the same
  // contracts as those (see nev/system.h).
  virtual int socket_startup(std::uint16_t version) = 0;
  virtual int socket_last_error() = 0;
  virtual int socket_gethostname(char* buffer, int length) = 0;
  virtual bool socket_gethostbyname(const char* name, Nev_host_entry& entry) = 0;
  virtual std::uint32_t socket_inet_addr(const char* text) = 0;

  // ---- registry ------------------------------------------------------------
  // Where the registry is a store of the foundation's own (a hive) rather
  // than the system's, these say where it lies and open it. A platform whose
  // registry is the system's answers with an error and a null hive.

  // Resolves the hive locations from the platform's environment. The
  // foundation asks once and keeps the answer until `reset_hive_locations`.
  virtual Hive_locations hive_locations() = 0;
  // The hive at `location` (as hive_locations gives it, or a named
  // machine's), or null with the reason in `status`. The foundation opens
  // each location once per process and keeps the object.
  virtual std::shared_ptr<detail::Hive> open_hive(const std::string& location, Nev_status& status) = 0;
};

// Forwards every call to another platform object; tests derive from it and
// override only the members whose behaviour they change.
class NEV_EXPORT Platform_wrapper : public Platform {
 public:
  explicit Platform_wrapper(Platform& target) : m_target(target) {}
  Platform& target() const noexcept { return m_target; }

  std::int64_t clock_microseconds() override { return m_target.clock_microseconds(); }
  std::int64_t local_offset_at_utc(std::int64_t s) override { return m_target.local_offset_at_utc(s); }
  std::int64_t local_offset_at_local(std::int64_t s) override { return m_target.local_offset_at_local(s); }
  std::uint64_t zone_generation() override { return m_target.zone_generation(); }
  File_result file_open(const std::u16string& path, Nev_file_open open, Nev_file_access access,
                        std::uint32_t attributes, Nev_file_sharing sharing, const void* security,
                        std::intptr_t& handle) override {
    return m_target.file_open(path, open, access, attributes, sharing, security, handle);
  }
  File_result file_write(std::intptr_t handle, const void* data, std::uint32_t bytes,
                         std::uint32_t& written) override {
    return m_target.file_write(handle, data, bytes, written);
  }
  File_result file_read(std::intptr_t handle, void* data, std::uint32_t bytes, std::uint32_t& read) override {
    return m_target.file_read(handle, data, bytes, read);
  }
  File_result file_read_at(std::intptr_t handle, std::uint64_t offset, void* data, std::uint32_t bytes,
                           std::uint32_t& read) override {
    return m_target.file_read_at(handle, offset, data, bytes, read);
  }
  File_result file_size(std::intptr_t handle, std::uint64_t& size) override { return m_target.file_size(handle, size); }
  void file_close(std::intptr_t handle) noexcept override { m_target.file_close(handle); }
  char16_t path_separator() noexcept override { return m_target.path_separator(); }
  void* library_load(const std::u16string& path, std::u16string& reason) override {
    return m_target.library_load(path, reason);
  }
  void* library_symbol(void* library, const std::string& name, std::u16string& reason) override {
    return m_target.library_symbol(library, name, reason);
  }
  bool library_unload(void* library, std::u16string& reason) override {
    return m_target.library_unload(library, reason);
  }
  bool library_trusted(const std::u16string& path, std::u16string& reason) override {
    return m_target.library_trusted(path, reason);
  }
  bool environment_variable(const std::u16string& name, std::u16string& value) override {
    return m_target.environment_variable(name, value);
  }
  bool set_environment_variable(const std::u16string& name, const std::u16string& value) override {
    return m_target.set_environment_variable(name, value);
  }
  std::uint32_t thread_id() noexcept override { return m_target.thread_id(); }
  bool console_alloc() noexcept override { return m_target.console_alloc(); }
  Nev_console console_std_output() noexcept override { return m_target.console_std_output(); }
  bool console_write(Nev_console console, const char16_t* text, std::uint32_t count,
                     std::uint32_t& written) noexcept override {
    return m_target.console_write(console, text, count, written);
  }
  bool console_free() noexcept override { return m_target.console_free(); }
  int socket_startup(std::uint16_t version) override { return m_target.socket_startup(version); }
  int socket_last_error() override { return m_target.socket_last_error(); }
  int socket_gethostname(char* buffer, int length) override { return m_target.socket_gethostname(buffer, length); }
  bool socket_gethostbyname(const char* name, Nev_host_entry& entry) override {
    return m_target.socket_gethostbyname(name, entry);
  }
  std::uint32_t socket_inet_addr(const char* text) override { return m_target.socket_inet_addr(text); }
  Hive_locations hive_locations() override { return m_target.hive_locations(); }
  std::shared_ptr<detail::Hive> open_hive(const std::string& location, Nev_status& status) override {
    return m_target.open_hive(location, status);
  }

 private:
  Platform& m_target;
};

// The platform's own object; defined in the platform folder. Lives for the
// whole process.
NEV_EXPORT Platform& default_platform() noexcept;
// The object in force: the one installed last, else default_platform().
NEV_EXPORT Platform& current() noexcept;
// Puts `platform` in force (null restores the default) and forgets the hive
// locations and hives resolved through the previous object.
NEV_EXPORT void install(Platform* platform) noexcept;
// Forgets the resolved hive locations, so that the next registry call asks
// the platform again (after the environment changed by other means than
// nev_setenv, which does this itself for the registry's variables).
NEV_EXPORT void reset_hive_locations() noexcept;
// The zone generation of the object in force, changed as well by every
// install: local-time fields kept under one value of it are still right.
// (The installs are counted in the top 24 bits, the object's own number in
// the low 40.)
NEV_EXPORT std::uint64_t zone_generation();

}  // namespace nev::platform
