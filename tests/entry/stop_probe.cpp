// A user of the toolbox loaded at run time: creates one plug-in object and
// ends it, which leaves the plug-in's library in the toolbox's cache.
#include "gan/plugin.h"
#include "kov/plugin.h"
#include "nev/status.h"

extern "C" __attribute__((visibility("default"))) int kov_stop_probe_create(const char16_t* plugin,
                                                                            const _GUID* type) {
  gan::Gan_base* object = nullptr;
  nev::Nev_status status;
  kov::kov_plugin_create_instance(plugin, *type, 0, 0, object, status);
  if (!status.ok() || object == nullptr) return 1;
  kov::Kov_plugin_deallocator().deallocate(object);
  return 0;
}
