// The system's text for an error number, through FormatMessageW.
#include <string>

#include "nev/strings.h"
#include "nev/win32/win32_text.h"

namespace nev::platform {

std::u16string error_text(DWORD error) {
  wchar_t buffer[512];
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                                      0, buffer, static_cast<DWORD>(sizeof buffer / sizeof buffer[0]), nullptr);
  std::u16string text = from_wide(buffer, length);
  while (!text.empty() && (text.back() == u'\n' || text.back() == u'\r' || text.back() == u' ' ||
                           text.back() == u'.')) {
    text.pop_back();
  }
  if (text.empty()) {
    std::u16string digits;
    nev_itow(static_cast<std::int64_t>(error), digits, 10, false);
    text = u"error " + digits;
  }
  return text;
}

}  // namespace nev::platform
