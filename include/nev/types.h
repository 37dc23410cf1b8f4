// Basic types shared by the foundation and its callers.
//
// Wide text is 16-bit on every platform: a wide string is std::u16string and
// wide text a NUL-terminated const char16_t*. The type identifier of the
// plug-in system is the 16-byte _GUID; on Windows it is the platform's own.
#pragma once

#include <cstdint>
#include <string>

#if defined(_WIN32)
#  include <guiddef.h>
#else
// A 128-bit type identifier, laid out as on Windows.
struct _GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
#endif

namespace nev {

// A string of 16-bit code units with its length.
using Nev_wstring = std::u16string;

}  // namespace nev
