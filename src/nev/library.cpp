// Loading libraries and finding entry points, with the platform's reason on
// every failure.
#include "nev/library.h"

#include "nev/codes.h"
#include "nev/platform.h"
#include "nev/strings.h"

namespace nev {

namespace {

// The platform calls would treat a null handle as "the whole process", which
// is never what a caller of these functions means.
const char16_t* const NO_LIBRARY = u"no library handle was given";

}  // namespace

Nev_library nev_load_library(const std::u16string& path, Nev_status& status) {
  status.clear();
  std::u16string reason;
  void* library = platform::current().library_load(path, reason);
  if (library == nullptr) {
    status.assign(NEV_E_LIBRARY_LOAD, Nev_wstring_status_arg(path), Nev_wstring_status_arg(reason));
  }
  return library;
}

void* nev_lookup_function(Nev_library library, const std::string& name, Nev_status& status) {
  status.clear();
  std::u16string reason = NO_LIBRARY;
  void* address = library != nullptr ? platform::current().library_symbol(library, name, reason) : nullptr;
  if (address == nullptr) {
    status.assign(NEV_E_FUNCTION_NOT_FOUND, Nev_wstring_status_arg(nev_from_utf8(name)),
                  Nev_wstring_status_arg(reason));
  }
  return address;
}

void nev_check_library(const std::u16string& path, Nev_status& status) {
  status.clear();
  std::u16string reason;
  if (!platform::current().library_trusted(path, reason)) {
    status.assign(NEV_E_UNTRUSTED_FILE, Nev_wstring_status_arg(path), Nev_wstring_status_arg(reason));
  }
}

void nev_unload_library(Nev_library library, Nev_status& status) {
  status.clear();
  std::u16string reason = NO_LIBRARY;
  const bool unloaded = library != nullptr && platform::current().library_unload(library, reason);
  if (!unloaded) {
    status.assign(NEV_E_LIBRARY_UNLOAD, Nev_wstring_status_arg(reason));
  }
}

}  // namespace nev
