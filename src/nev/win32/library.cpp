// Dynamic libraries through the Windows loader.
#include <string>

#include "nev/win32/win32_platform.h"
#include "nev/win32/win32_text.h"

namespace nev::platform {

// LOAD_WITH_ALTERED_SEARCH_PATH: a library loaded by its full path finds
// the libraries it needs beside itself first, as a program does.
void* Win32_platform::library_load(const std::u16string& path, std::u16string& reason) {
  if (path.empty() || path.find(u'\0') != std::u16string::npos) {
    reason = error_text(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  const DWORD flags = path.find_first_of(u"\\/") != std::u16string::npos ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
  const HMODULE library = LoadLibraryExW(wide(path), nullptr, flags);
  if (library == nullptr) reason = error_text(GetLastError());
  return reinterpret_cast<void*>(library);
}

void* Win32_platform::library_symbol(void* library, const std::string& name, std::u16string& reason) {
  const FARPROC address = GetProcAddress(static_cast<HMODULE>(library), name.c_str());
  if (address == nullptr) reason = error_text(GetLastError());
  return reinterpret_cast<void*>(address);
}

bool Win32_platform::library_unload(void* library, std::u16string& reason) {
  if (FreeLibrary(static_cast<HMODULE>(library))) return true;
  reason = error_text(GetLastError());
  return false;
}

}  // namespace nev::platform
