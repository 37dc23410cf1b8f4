// Small platform services: the environment, thread ids, the console, and the
// name services of the sockets layer.
//
// On Windows these are the platform's own calls. On Linux the console is the
// process's standard output (text converted to UTF-8; allocating and freeing
// the console leave the descriptors alone), the environment is converted from
// UTF-8, and the sockets layer is the BSD calls, whose start-up succeeds at
// once. All functions may be called from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nev/export.h"

namespace nev {

// ---- environment and threads -----------------------------------------------------

// The value of environment variable `name`; false when it is not set. On
// Linux a program that runs with rights its caller lacks (set-user-ID,
// set-group-ID, file capabilities) sees every variable as unset.
NEV_EXPORT bool nev_getenv(const std::u16string& name, std::u16string& value);
// Sets environment variable `name` to `value` for this process and the
// programs it starts, replacing any value; false when that failed. Not to be
// called while another thread reads the environment.
NEV_EXPORT bool nev_setenv(const std::u16string& name, const std::u16string& value);
// The calling thread's id: not 0, distinct among threads that run at once.
NEV_EXPORT std::uint32_t nev_current_thread_id() noexcept;

// ---- the program's arguments ------------------------------------------------------

// The program's arguments as UTF-8 text, argv[0] first, for a main(argc,
// argv) that works on 8-bit words: on Windows they are read from the wide
// command line, so that every character survives (argv there holds them in
// the ANSI code page); elsewhere they are `argv` itself. Typical use:
//   nev::Nev_utf8_arguments arguments(argc, argv);
//   argc = arguments.count(); argv = arguments.argv();
// The words live as long as the object.
class NEV_EXPORT Nev_utf8_arguments {
 public:
  Nev_utf8_arguments(int argc, char** argv);
  Nev_utf8_arguments(const Nev_utf8_arguments&) = delete;
  Nev_utf8_arguments& operator=(const Nev_utf8_arguments&) = delete;
  int count() const noexcept { return static_cast<int>(m_words.size()); }
  // Null-terminated, as argv is.
  char** argv() noexcept { return m_pointers.data(); }

 private:
  std::vector<std::string> m_words;
  std::vector<char*> m_pointers;
};

// ---- console -----------------------------------------------------------------------

// A console output handle; null is none.
using Nev_console = void*;

// Gives the process a console if it has none; false when that failed.
NEV_EXPORT bool nev_alloc_console() noexcept;
// The standard output handle.
NEV_EXPORT Nev_console nev_get_std_output() noexcept;
// Writes `count` units of `text`; `written` receives the units written. False
// when nothing could be written.
NEV_EXPORT bool nev_write_console(Nev_console console, const char16_t* text, std::uint32_t count,
                                  std::uint32_t* written) noexcept;
// Detaches the process from its console; false when that failed.
NEV_EXPORT bool nev_free_console() noexcept;

// ---- sockets layer --------------------------------------------------------------

// What the resolver knows of a host.
struct Nev_host_entry {
  bool has_name = false;                 // false where the resolver gave no name
  std::string name;                      // the official name
  std::vector<std::uint32_t> addresses;  // IPv4, as they lie in memory (network order)
};

// Starts the sockets layer asking for `version` (0x0101 is 1.1); 0 on
// success, else the platform's error number.
NEV_EXPORT int nev_socket_startup(std::uint16_t version);
// The error number of the sockets layer's last failure on this thread.
NEV_EXPORT int nev_socket_last_error();
// The host's name into `buffer` of `length` bytes, NUL-terminated; 0 on
// success, -1 when it fails or does not fit.
NEV_EXPORT int nev_gethostname(char* buffer, int length);
// Looks `name` up; false when the resolver knows no such host.
NEV_EXPORT bool nev_gethostbyname(const char* name, Nev_host_entry& entry);
// The IPv4 address in dotted text as a number in network order;
// 0xFFFFFFFF when the text is no address.
NEV_EXPORT std::uint32_t nev_inet_addr(const char* text);

}  // namespace nev
