// A host: creates a greeter through the registry, uses it, ends it.
#include <cstdio>

#include "greeter.h"
#include "kov/plugin.h"
#include "nev/status.h"
#include "nev/strings.h"

int main() {
  gan::Gan_base* object = nullptr;
  nev::Nev_status status;
  // Finds "Greeter" in the registry, loads its library, checks the versions.
  kov::kov_plugin_create_instance(u"Greeter", GREETER_TYPE, GREETER_VERSION, 0, object, status);
  if (!status.ok()) {
    std::fprintf(stderr, "%s\n", nev::nev_to_utf8(nev::nev_status_text(status)).c_str());
    return 1;
  }
  // The object is of the type asked for, so the cast is safe.
  const Greeter* greeter = static_cast<Greeter*>(object);
  std::printf("%s\n", nev::nev_to_utf8(greeter->greet(u"world")).c_str());

  kov::Kov_plugin_deallocator().deallocate(object);
  // Unloads the library, which now has no live object.
  kov::kov_plugin_tidy_libraries(status);
  return status.ok() ? 0 : 1;
}
