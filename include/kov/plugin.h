// Plug-in hosting: creating objects from plug-in libraries found through the
// registry, ending them, unloading libraries that say they may go, listing
// the plug-ins of a type, the version rule, and loading a service's message
// files.
//
// A plug-in is registered under
//   HKEY_LOCAL_MACHINE\Software\Quorvane\Plugins\<plug-in name>\<type text>
// with the values "ImagePath" (the library), "InterfaceVersion",
// "ImplementationVersion", "LibraryVersion" (numbers, major in the high 16
// bits) and "DisplayName". Creating an object:
//
//   gan::Gan_base* object = nullptr;
//   nev::Nev_status status;
//   kov::kov_plugin_create_instance(u"Shapes", circle_type, 0x10000, 0, object, status);
//   if (status.ok()) { ...; kov::Kov_plugin_deallocator().deallocate(object); }
//
// Each library is loaded once per process and kept in a process-wide cache
// until kov_plugin_tidy_libraries finds that it may go, or the process ends.
// Creation and tidying hold one process-wide lock (calls into the plug-in
// included), so they may be called from any thread. This header also brings
// in the type identifiers, ordered keys and bootstrap information.
#pragma once

#include <cstdint>
#include <string>

#include "gan/plugin.h"
#include "kov/bootstrap.h"
#include "kov/export.h"
#include "kov/ordered_keys.h"
#include "kov/type_id.h"
#include "nev/status.h"
#include "nev/types.h"
#include "nev/vector.h"

namespace kov {

// The registry key, under HKEY_LOCAL_MACHINE, that holds every plug-in.
KOV_EXPORT extern const char16_t* const PLUGIN_ROOT_KEY;
// The library version every plug-in library must be registered with (4.0).
constexpr std::uint32_t PLUGIN_LIBRARY_VERSION = 0x40000;

// Ends objects made by kov_plugin_create_instance.
class KOV_EXPORT Kov_plugin_deallocator {
 public:
  // Calls `object`'s own deallocate; `object` must not be null. The library
  // stays loaded.
  void deallocate(gan::Gan_base* object) const;
};

// Creates an object of `type` from the plug-in `plugin_name`. Versions of 0
// are not tested. On success `instance` holds the new object, which the
// caller owns; on failure it is null and `status` holds the failure with
// 0xC2010905 (naming the plug-in) on top. Clears `status` first.
KOV_EXPORT void kov_plugin_create_instance(const std::u16string& plugin_name, const _GUID& type,
                                           std::uint32_t interface_version, std::uint32_t implementation_version,
                                           gan::Gan_base*& instance, nev::Nev_status& status);

// Unloads, in path order, every cached library whose "gan_can_unload_now"
// answers true. A failed lookup or unload ends the walk with 0xC2010906 and
// the library's path on top. Clears `status` first.
//
// A thread ending a library's last object still runs that library's code
// until its deallocate returns, while the library may already answer true.
// A program that tidies while other threads end objects must keep the two
// apart itself, for instance with a reader-writer lock that endings share
// and the tidy holds alone.
KOV_EXPORT void kov_plugin_tidy_libraries(nev::Nev_status& status);

// Replaces `names` and `display_names` with the plug-ins that offer `type`
// and their display names, element by element. The first registry failure
// ends the work and stays in `status`. Loads nothing.
KOV_EXPORT void kov_plugin_enumerate(_GUID type, nev::Nev_object_vector<std::u16string>& names,
                                     nev::Nev_object_vector<std::u16string>& display_names, nev::Nev_status& status);

// The version rule: major halves must be equal (else 0xC2010902, an error),
// then minor halves (else 0x42010903, informational: ok() stays true). The
// arguments are the plug-in's name, the requested and the registered half.
// Clears `status` first.
KOV_EXPORT void kov_plugin_check_version(const std::u16string& plugin_name, std::uint32_t requested,
                                         std::uint32_t registered, nev::Nev_status& status);

// Adds each message file named in the "Messages" parameter of
// `service_name` (names joined by ";") to the global message list. A missing
// parameter is no failure; of failing files the first is reported, and every
// file is tried.
KOV_EXPORT void kov_load_service_messages(const std::u16string& service_name, nev::Nev_status& status);

}  // namespace kov
