// Portable helpers for tests, so that the same test sources run on Linux
// and on Windows: the environment, scratch folders, running a program and
// reading its output, and the isolation of a test program from the
// registry of the machine it runs on.
//
// On Linux every test program gets a hive of its own through NEV_REGISTRY
// (set by ctest, or by a fixture). On Windows the registry is the system's:
// Registry_isolation redirects the predefined roots of the test process to
// scratch keys (RegOverridePredefKey) for the program's lifetime, and
// fresh_registry() empties them, which is what a new hive gives on Linux.
// Child processes do not inherit the redirection: a test program that hands
// the registry to the tools it runs works on the machine's registry instead
// (see Registry_isolation), which the test script's fresh Wine prefix keeps
// apart from everything else.
//
// Faults of the foundation's own platform calls are injected through
// test_platform.h instead; these helpers only stand in for the POSIX calls
// that tests make themselves.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <process.h>
// Old names of the Windows headers that test code uses as plain words.
#undef far
#undef near
#undef FAR
#undef NEAR
#else
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <gtest/gtest.h>

#include "nev/platform.h"
#include "nev/strings.h"

namespace kov_test {

// ---- environment -----------------------------------------------------------------

inline void set_env(const std::string& name, const std::string& value) {
#ifdef _WIN32
  const std::u16string wide_name = nev::nev_from_utf8(name), wide_value = nev::nev_from_utf8(value);
  SetEnvironmentVariableW(reinterpret_cast<const wchar_t*>(wide_name.c_str()),
                          reinterpret_cast<const wchar_t*>(wide_value.c_str()));
  _wputenv(reinterpret_cast<const wchar_t*>((wide_name + u"=" + wide_value).c_str()));
  // An empty value removed the variable from the C library's copy.
  if (value.empty()) SetEnvironmentVariableW(reinterpret_cast<const wchar_t*>(wide_name.c_str()), L"");
#else
  ::setenv(name.c_str(), value.c_str(), 1);
#endif
  nev::platform::reset_hive_locations();  // the registry's variables may have changed
}

inline void unset_env(const std::string& name) {
#ifdef _WIN32
  const std::u16string wide_name = nev::nev_from_utf8(name);
  SetEnvironmentVariableW(reinterpret_cast<const wchar_t*>(wide_name.c_str()), nullptr);
  _wputenv(reinterpret_cast<const wchar_t*>((wide_name + u"=").c_str()));
#else
  ::unsetenv(name.c_str());
#endif
  nev::platform::reset_hive_locations();
}

// The C library's copy of variable `name` as UTF-8 (what programs started
// from here inherit); empty when it is not set.
inline std::string c_library_env(const std::string& name) {
#ifdef _WIN32
  const std::u16string wide_name = nev::nev_from_utf8(name);
  const wchar_t* value = _wgetenv(reinterpret_cast<const wchar_t*>(wide_name.c_str()));
  return value != nullptr ? nev::nev_to_utf8(reinterpret_cast<const char16_t*>(value)) : std::string();
#else
  const char* value = std::getenv(name.c_str());
  return value != nullptr ? value : "";
#endif
}

// ---- standard output -------------------------------------------------------------

// Standard output goes into a pipe until take(); gtest prints nothing between.
// Without a reader, the pipe's read end is closed at once.
class Captured_stdout {
 public:
#ifdef _WIN32
  explicit Captured_stdout(bool reader = true) : m_saved(GetStdHandle(STD_OUTPUT_HANDLE)) {
    EXPECT_TRUE(CreatePipe(&m_read, &m_write, nullptr, 1 << 16));  // as small as a Linux pipe
    SetStdHandle(STD_OUTPUT_HANDLE, m_write);
    if (!reader) CloseHandle(m_read), m_read = nullptr;
  }
  std::string take() {
    if (m_write != nullptr) SetStdHandle(STD_OUTPUT_HANDLE, m_saved), CloseHandle(m_write), m_write = nullptr;
    std::string text;
    char buffer[4096];
    DWORD count = 0;
    while (m_read != nullptr && ReadFile(m_read, buffer, sizeof buffer, &count, nullptr) && count > 0) {
      text.append(buffer, count);
    }
    if (m_read != nullptr) CloseHandle(m_read), m_read = nullptr;
    return text;
  }
#else
  explicit Captured_stdout(bool reader = true) : m_saved(::dup(STDOUT_FILENO)) {
    EXPECT_EQ(::pipe(m_pipe), 0);
    ::dup2(m_pipe[1], STDOUT_FILENO);
    ::close(m_pipe[1]);
    if (!reader) ::close(m_pipe[0]), m_pipe[0] = -1;
  }
  std::string take() {
    if (m_saved >= 0) ::dup2(m_saved, STDOUT_FILENO), ::close(m_saved), m_saved = -1;
    std::string text;
    char buffer[4096];
    for (ssize_t count; m_pipe[0] >= 0 && (count = ::read(m_pipe[0], buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<std::size_t>(count));
    }
    if (m_pipe[0] >= 0) ::close(m_pipe[0]), m_pipe[0] = -1;
    return text;
  }
#endif
  ~Captured_stdout() { take(); }
  Captured_stdout(const Captured_stdout&) = delete;
  Captured_stdout& operator=(const Captured_stdout&) = delete;

 private:
#ifdef _WIN32
  HANDLE m_saved;
  HANDLE m_read = nullptr;
  HANDLE m_write = nullptr;
#else
  int m_saved;
  int m_pipe[2] = {-1, -1};
#endif
};

// Makes a captured standard output take only what fits at once; false
// where that cannot be done (Windows: an anonymous pipe in PIPE_NOWAIT mode
// refuses a write larger than its room instead of taking part of it).
inline bool make_stdout_nonblocking() {
#ifdef _WIN32
  return false;
#else
  return ::fcntl(STDOUT_FILENO, F_SETFL, ::fcntl(STDOUT_FILENO, F_GETFL) | O_NONBLOCK) == 0;
#endif
}

// True while the process's standard output is open.
inline bool stdout_open() {
#ifdef _WIN32
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  return output != nullptr && output != INVALID_HANDLE_VALUE;
#else
  return ::fcntl(STDOUT_FILENO, F_GETFD) != -1;
#endif
}

// True when a SIGPIPE waits for this thread (never on Windows, which has none).
inline bool sigpipe_pending() {
#ifdef _WIN32
  return false;
#else
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
#endif
}

// ---- system texts and conventions --------------------------------------------------

// A reason text of the system: on Windows the text of `windows_error`
// (without its line end and full stop, as the foundation gives it), on
// Linux `linux_text`, the part of the C library's or linker's text to
// look for.
inline std::u16string system_text(unsigned long windows_error, const std::u16string& linux_text) {
#ifdef _WIN32
  static_cast<void>(linux_text);
  wchar_t buffer[256];
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                windows_error, 0, buffer, 256, nullptr);
  while (length > 0 && (buffer[length - 1] == L'\r' || buffer[length - 1] == L'\n' || buffer[length - 1] == L' ' ||
                        buffer[length - 1] == L'.')) {
    --length;
  }
  return std::u16string(reinterpret_cast<const char16_t*>(buffer), length);
#else
  static_cast<void>(windows_error);
  return linux_text;
#endif
}

// The system's reason for opening a file in a folder that does not exist.
inline std::u16string missing_folder_text() { return system_text(3, u"No such file or directory"); }

// Standard output as GoogleTest's capture gives it back: on Windows it
// reads its file in text mode, so each CR LF comes back as LF.
inline std::string as_captured(std::string text) {
#ifdef _WIN32
  for (std::size_t at; (at = text.find("\r\n")) != std::string::npos;) text.erase(at, 1);
#endif
  return text;
}

// The platform's path separator.
#ifdef _WIN32
constexpr char16_t PATH_SEPARATOR = u'\\';
#else
constexpr char16_t PATH_SEPARATOR = u'/';
#endif

// `path` with each "/" as the platform's separator.
inline std::u16string native_separators(std::u16string path) {
  for (char16_t& unit : path) unit = unit == u'/' ? PATH_SEPARATOR : unit;
  return path;
}

// ---- dynamic libraries -------------------------------------------------------------

// Loads the library at `path` (the system's loader, not the foundation's).
inline void* load_library(const std::string& path) {
#ifdef _WIN32
  const std::u16string wide_path = nev::nev_from_utf8(path);
  return reinterpret_cast<void*>(LoadLibraryW(reinterpret_cast<const wchar_t*>(wide_path.c_str())));
#else
  return ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
#endif
}

// The handle of the library at `path` when it is loaded, without loading it.
inline void* loaded_library(const std::string& path) {
#ifdef _WIN32
  const std::u16string name = nev::nev_from_utf8(std::filesystem::path(path).filename().string());
  return reinterpret_cast<void*>(GetModuleHandleW(reinterpret_cast<const wchar_t*>(name.c_str())));
#else
  void* library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) ::dlclose(library);  // the count that NOLOAD added
  return library;
#endif
}

inline void* library_symbol(void* library, const char* name) {
#ifdef _WIN32
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
#else
  return ::dlsym(library, name);
#endif
}

// Unloads once; true when the system took it.
inline bool unload_library(void* library) {
#ifdef _WIN32
  return FreeLibrary(static_cast<HMODULE>(library)) != FALSE;
#else
  return ::dlclose(library) == 0;
#endif
}

// The system's reason for the last failure of the calls above.
inline std::string library_error() {
#ifdef _WIN32
  return "error " + std::to_string(GetLastError());
#else
  const char* text = ::dlerror();
  return text != nullptr ? text : "";
#endif
}

// ---- processes, time, folders ------------------------------------------------------

inline int process_id() {
#ifdef _WIN32
  return static_cast<int>(GetCurrentProcessId());
#else
  return static_cast<int>(::getpid());
#endif
}

inline std::tm local_time(std::time_t when) {
  std::tm local{};
#ifdef _WIN32
  localtime_s(&local, &when);
#else
  ::localtime_r(&when, &local);
#endif
  return local;
}

// A new empty folder below the system's temporary folder, its name starting
// with `prefix`.
inline std::string make_temp_dir(const std::string& prefix) {
#ifdef _WIN32
  static int counter = 0;
  for (;;) {
    const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                       (prefix + "-" + std::to_string(process_id()) + "-" + std::to_string(++counter));
    if (std::filesystem::create_directory(path)) return path.generic_string();
  }
#else
  std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
  return ::mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
#endif
}

// The path of the program `name` built beside this test program (".exe"
// added on Windows).
inline std::string program_beside(const std::string& name) {
#ifdef _WIN32
  wchar_t self[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, self, MAX_PATH);
  return (std::filesystem::path(std::wstring(self, length)).parent_path() / (name + ".exe")).generic_string();
#else
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string();
#endif
}

// True when a folder without write permission still takes new files from
// this process: for root on Linux, and on Windows, where the read-only
// attribute of a folder does not stop files being created in it.
inline bool writes_anywhere() {
#ifdef _WIN32
  return true;
#else
  return ::geteuid() == 0;
#endif
}

// Runs a command line (through the shell: cmd.exe on Windows), standard
// error joined to standard output; gives its exit code, -1 when it did not
// run to its end.
inline int run_command(const std::string& command, std::string* output = nullptr) {
#ifdef _WIN32
  // cmd.exe /c drops the outer quotes of a line that starts with one.
  const std::u16string line = nev::nev_from_utf8("\"" + command + " 2>&1\"");
  std::FILE* pipe = _wpopen(reinterpret_cast<const wchar_t*>(line.c_str()), L"rb");
#else
  std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
#endif
  if (pipe == nullptr) return -1;
  std::string text;
  char buffer[512];
  for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, count);
#ifdef _WIN32
  const int status = _pclose(pipe);
  // Output lines end in CR LF on Windows; the tests compare LF lines.
  for (std::size_t at; (at = text.find("\r\n")) != std::string::npos;) text.erase(at, 1);
  if (output != nullptr) *output = text;
  return status;
#else
  const int status = ::pclose(pipe);
  if (output != nullptr) *output = text;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

// `text` split into words at blanks; a part in single quotes is taken
// literally, blanks included (as a POSIX shell reads it).
inline std::vector<std::string> shell_words(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  bool in_word = false, quoted = false;
  for (const char c : text) {
    if (c == '\'' ) {
      quoted = !quoted;
      in_word = true;
    } else if (c == ' ' && !quoted) {
      if (in_word) words.push_back(word);
      word.clear();
      in_word = false;
    } else {
      word += c;
      in_word = true;
    }
  }
  if (in_word) words.push_back(word);
  return words;
}

// Runs `program` with `words` as its arguments, each taken literally, and
// `input` on its standard input; standard error is joined to the output.
// Gives the exit code, -1 when it did not run to its end.
inline int run_program(const std::string& program, const std::vector<std::string>& words, const std::string& input,
                       std::string* output) {
#ifdef _WIN32
  // cmd.exe takes double quotes; the input comes from a file.
  std::string command = "\"" + program + "\"";
  for (const std::string& word : words) command += " \"" + word + "\"";
  const std::filesystem::path file = std::filesystem::temp_directory_path() /
                                     ("kov-input-" + std::to_string(process_id()) + ".txt");
  {
    std::FILE* stream = _wfopen(file.c_str(), L"wb");
    if (stream == nullptr) return -1;
    std::fwrite(input.data(), 1, input.size(), stream);
    std::fputs("\r\n", stream);
    std::fclose(stream);
  }
  const int code = run_command(command + " < \"" + file.string() + "\"", output);
  std::error_code ignored;
  std::filesystem::remove(file, ignored);
  return code;
#else
  std::string command = "'" + program + "'";
  for (const std::string& word : words) command += " '" + word + "'";
  command += " 2>&1 <<'END'\n" + input + "\nEND\n";
  std::FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return -1;
  std::string text;
  char buffer[512];
  for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, count);
  const int status = ::pclose(pipe);
  if (output != nullptr) *output = text;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

// ---- the registry -------------------------------------------------------------------

#ifdef _WIN32
namespace detail {
// The predefined roots and the scratch keys they are redirected to.
struct Redirection {
  HKEY root;
  const wchar_t* name;
  HKEY scratch = nullptr;
};
inline Redirection* redirections() {
  static Redirection table[] = {{HKEY_CLASSES_ROOT, L"HKCR"},  {HKEY_CURRENT_USER, L"HKCU"},
                                {HKEY_LOCAL_MACHINE, L"HKLM"}, {HKEY_USERS, L"HKU"},
                                {HKEY_CURRENT_CONFIG, L"HKCC"}};
  return table;
}
inline std::wstring scratch_path() { return L"Software\\KovTests\\" + std::to_wstring(GetCurrentProcessId()); }

// The keys that tests create below on the machine's registry (a test
// program that shares it with the tools it runs), with the subkeys each had
// when the program started.
struct Watched {
  HKEY root;
  const wchar_t* path;
  std::vector<std::wstring> names;
};
inline std::vector<Watched>& watched() {
  static std::vector<Watched> list;
  return list;
}
inline std::vector<std::wstring> subkeys(HKEY root, const wchar_t* path) {
  std::vector<std::wstring> names;
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return names;
  wchar_t name[256];
  for (DWORD index = 0;; ++index) {
    DWORD size = 256;
    if (RegEnumKeyExW(key, index, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    names.emplace_back(name, size);
  }
  RegCloseKey(key);
  return names;
}
// Removes the keys below the watched places that were not there at the start.
inline void remove_created_keys() {
  for (const Watched& entry : watched()) {
    for (const std::wstring& name : subkeys(entry.root, entry.path)) {
      if (std::find(entry.names.begin(), entry.names.end(), name) != entry.names.end()) continue;
      const std::wstring path = *entry.path ? std::wstring(entry.path) + L"\\" + name : name;
      RegDeleteTreeW(entry.root, path.c_str());
    }
  }
}
}  // namespace detail
#endif

// Isolates the test program from the machine's registry while it lives
// (Windows; nothing on Linux). With `redirect`, the predefined roots of
// this process go to scratch keys, removed at the end; without, the
// program works on the machine's registry (so that the tools it runs see
// what it writes), and fresh_registry() and the end of the program remove
// the keys created since the start below the roots, their Software keys and
// the services key.
class Registry_isolation {
 public:
#ifdef _WIN32
  explicit Registry_isolation(bool redirect) : m_redirect(redirect) {
    if (!redirect) {
      const wchar_t* paths[] = {L"", L"Software", L"SYSTEM\\CurrentControlSet\\Services"};
      for (int i = 0; i < 5; ++i) {
        for (const wchar_t* path : paths) {
          const HKEY root = detail::redirections()[i].root;
          detail::watched().push_back({root, path, detail::subkeys(root, path)});
        }
      }
      return;
    }
    for (int i = 0; i < 5; ++i) {
      detail::Redirection& entry = detail::redirections()[i];
      const std::wstring path = detail::scratch_path() + L"\\" + entry.name;
      RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &entry.scratch,
                      nullptr);
    }
    for (int i = 0; i < 5; ++i) {
      detail::Redirection& entry = detail::redirections()[i];
      if (entry.scratch != nullptr) RegOverridePredefKey(entry.root, entry.scratch);
    }
  }
  ~Registry_isolation() {
    // The machine's registry outlives the program: what it created goes,
    // so that the next test program starts from what this one found.
    if (!m_redirect) {
      detail::remove_created_keys();
      return;
    }
    for (int i = 0; i < 5; ++i) RegOverridePredefKey(detail::redirections()[i].root, nullptr);
    for (int i = 0; i < 5; ++i) {
      detail::Redirection& entry = detail::redirections()[i];
      if (entry.scratch != nullptr) RegCloseKey(entry.scratch);
      entry.scratch = nullptr;
    }
    RegDeleteTreeW(HKEY_CURRENT_USER, detail::scratch_path().c_str());
  }
#else
  explicit Registry_isolation(bool /*redirect*/) {}
#endif
  Registry_isolation(const Registry_isolation&) = delete;
  Registry_isolation& operator=(const Registry_isolation&) = delete;

 private:
  [[maybe_unused]] bool m_redirect = false;
};

// Gives the test an empty registry, as a new hive is empty (Windows);
// nothing on Linux, where a fixture names a new hive instead.
inline void fresh_registry() {
#ifdef _WIN32
  for (int i = 0; i < 5; ++i) {
    const HKEY scratch = detail::redirections()[i].scratch;
    if (scratch != nullptr) RegDeleteTreeW(scratch, nullptr);
  }
  detail::remove_created_keys();
#endif
}

// True where the registry is the system's (Windows) rather than a hive.
constexpr bool system_registry() {
#ifdef _WIN32
  return true;
#else
  return false;
#endif
}

// Skips the running test on Windows, saying why; use as a statement.
#ifdef _WIN32
#define KOV_SKIP_ON_WINDOWS(reason) GTEST_SKIP() << "not on Windows: " << (reason)
#else
#define KOV_SKIP_ON_WINDOWS(reason) static_cast<void>(0)
#endif

}  // namespace kov_test
