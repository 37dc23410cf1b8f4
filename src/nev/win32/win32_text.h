// Helpers shared by the Win32 units of the platform layer: 16-bit text as
// the wide characters of the ...W calls, and the system's text for an error
// number.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <string>

namespace nev::platform {

// A char16_t and a wchar_t are both one UTF-16 unit on Windows.
static_assert(sizeof(wchar_t) == sizeof(char16_t), "wchar_t is a UTF-16 unit on Windows");

inline const wchar_t* wide(const std::u16string& text) noexcept {
  return reinterpret_cast<const wchar_t*>(text.c_str());
}
inline wchar_t* wide(char16_t* text) noexcept { return reinterpret_cast<wchar_t*>(text); }
inline std::u16string from_wide(const wchar_t* text) { return reinterpret_cast<const char16_t*>(text); }
inline std::u16string from_wide(const wchar_t* text, std::size_t count) {
  return std::u16string(reinterpret_cast<const char16_t*>(text), count);
}

// The system's text for `error` (a GetLastError or registry result code),
// without its line end; "error N" when the system has none.
std::u16string error_text(DWORD error);

}  // namespace nev::platform
