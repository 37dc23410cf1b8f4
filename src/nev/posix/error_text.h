// The C library's text for an errno value, as 16-bit text for status
// arguments. Shared by the POSIX units of the platform layer.
#pragma once

#include <cstring>
#include <string>

#include "nev/strings.h"

namespace nev::platform {

inline std::u16string error_text(int error) {
  char buffer[256];
  // The GNU strerror_r returns its text, which need not be in the buffer.
  const char* text = strerror_r(error, buffer, sizeof buffer);
  return nev_from_utf8(text);
}

}  // namespace nev::platform
