// Environment, thread ids and the console through the Windows API. A
// console handle is the standard output HANDLE: a real console gets
// WriteConsoleW, anything else (a file, a pipe) gets the text as UTF-8.
#include <string>
#include <vector>

#include "nev/text_units.h"
#include "nev/strings.h"
#include "nev/system.h"
#include "nev/win32/win32_platform.h"
#include "nev/win32/win32_text.h"

#include <shellapi.h>  // after <windows.h>

namespace nev::platform {

namespace {

// WriteFile until everything is out or a write fails (a pipe whose reader
// has gone fails at once with ERROR_NO_DATA: nothing waits for it).
std::size_t write_all(HANDLE output, const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    DWORD count = 0;
    if (!WriteFile(output, bytes.data() + done, static_cast<DWORD>(bytes.size() - done), &count, nullptr) ||
        count == 0) {
      break;
    }
    done += count;
  }
  return done;
}

}  // namespace

bool Win32_platform::environment_variable(const std::u16string& name, std::u16string& value) {
  std::vector<wchar_t> buffer(256);
  for (;;) {
    SetLastError(ERROR_SUCCESS);
    const DWORD length = GetEnvironmentVariableW(wide(name), buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0) {
      if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) return false;
      value.clear();  // set, and empty
      return true;
    }
    if (length < buffer.size()) {
      value = from_wide(buffer.data(), length);
      return true;
    }
    buffer.resize(length);
  }
}

// The C library's copy of the environment (getenv) is kept in step too, so
// that code reading it sees the same value.
bool Win32_platform::set_environment_variable(const std::u16string& name, const std::u16string& value) {
  if (!SetEnvironmentVariableW(wide(name), wide(value))) return false;
  const std::u16string assignment = name + u"=" + value;
  _wputenv(wide(assignment));
  return true;
}

std::uint32_t Win32_platform::thread_id() noexcept { return GetCurrentThreadId(); }

bool Win32_platform::console_alloc() noexcept {
  if (GetConsoleWindow() != nullptr) return true;
  return AllocConsole() != FALSE || GetLastError() == ERROR_ACCESS_DENIED;  // denied: it has one
}

Nev_console Win32_platform::console_std_output() noexcept {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  return output == INVALID_HANDLE_VALUE ? nullptr : static_cast<Nev_console>(output);
}

bool Win32_platform::console_write(Nev_console console, const char16_t* text, std::uint32_t count,
                                   std::uint32_t& written) noexcept {
  written = 0;
  const auto output = static_cast<HANDLE>(console);
  DWORD mode = 0;
  if (GetConsoleMode(output, &mode)) {
    while (written < count) {
      DWORD done = 0;
      if (!WriteConsoleW(output, text + written, count - written, &done, nullptr) || done == 0) break;
      written += done;
    }
    return written > 0;
  }
  try {
    const std::string bytes = nev_to_utf8(std::u16string(text, count));
    const std::size_t done = write_all(output, bytes);
    written = done == bytes.size() ? count : detail::units_in_utf8_prefix(text, count, done);
    return done > 0;
  } catch (...) {
    return false;  // no memory for the converted text
  }
}

bool Win32_platform::console_free() noexcept { return FreeConsole() != FALSE; }

}  // namespace nev::platform

namespace nev {

// The wide command line split as the C runtime splits it; `argv` (text in
// the ANSI code page) only where that fails.
Nev_utf8_arguments::Nev_utf8_arguments(int argc, char** argv) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide != nullptr && count == argc) {
    for (int i = 0; i < count; ++i) m_words.push_back(nev_to_utf8(platform::from_wide(wide[i])));
  } else {
    for (int i = 0; i < argc; ++i) m_words.emplace_back(argv[i] != nullptr ? argv[i] : "");
  }
  if (wide != nullptr) LocalFree(wide);
  for (std::string& word : m_words) m_pointers.push_back(word.data());
  m_pointers.push_back(nullptr);
}

}  // namespace nev
