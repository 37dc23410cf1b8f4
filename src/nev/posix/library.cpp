// Dynamic libraries through the dynamic linker.
#include <dlfcn.h>

#include <cerrno>
#include <string>

#include "nev/posix/posix_platform.h"
#include "nev/posix/error_text.h"
#include "nev/posix/trust.h"
#include "nev/strings.h"

namespace nev::platform {

namespace {

// dlerror's text for the failure just seen (it is kept per thread).
std::u16string linker_error() {
  const char* text = dlerror();
  return nev_from_utf8(text != nullptr ? text : "unknown dynamic linker error");
}

}  // namespace

void* Posix_platform::library_load(const std::u16string& path, std::u16string& reason) {
  const std::string native = nev_to_utf8(path);
  // dlopen takes an empty name for the main program, and a NUL would cut the
  // name short; neither names a library file.
  if (native.empty() || native.find('\0') != std::string::npos) {
    reason = error_text(ENOENT);
    return nullptr;
  }
  dlerror();
  void* library = dlopen(native.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) reason = linker_error();
  return library;
}

void* Posix_platform::library_symbol(void* library, const std::string& name, std::u16string& reason) {
  dlerror();
  void* address = dlsym(library, name.c_str());
  // A symbol whose value is null is no entry point either.
  if (address == nullptr) reason = linker_error();
  return address;
}

bool Posix_platform::library_unload(void* library, std::u16string& reason) {
  dlerror();
  if (dlclose(library) == 0) return true;
  reason = linker_error();
  return false;
}

bool Posix_platform::library_trusted(const std::u16string& path, std::u16string& reason) {
  std::string why;
  if (is_trusted_with_folder(nev_to_utf8(path), why)) return true;
  reason = nev_from_utf8(why);
  return false;
}

}  // namespace nev::platform
