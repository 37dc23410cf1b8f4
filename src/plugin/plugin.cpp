// Plug-in objects: creation through the registry and the library cache,
// ending them, tidying the cache, and listing the plug-ins of a type.
//
// The cache (path to handle) and its lock are process-wide objects of
// entry/statics.cpp. Creation and tidying run wholly under the lock, calls
// into the plug-in libraries included; the lock is recursive, so a factory
// may itself create a plug-in object.
#include "kov/plugin.h"

#include <memory>
#include <mutex>

#include "entry/statics.h"
#include "kov/codes.h"
#include "nev/library.h"
#include "nev/registry.h"
#include "nev/strings.h"

namespace kov {

const char16_t* const PLUGIN_ROOT_KEY = u"Software\\Quorvane\\Plugins";

namespace {

constexpr const char* GET_FACTORY_ENTRY = "gan_get_factory";
constexpr const char* CAN_UNLOAD_NOW_ENTRY = "gan_can_unload_now";

// The type key of one plug-in and type, below PLUGIN_ROOT_KEY.
std::u16string type_key(const std::u16string& plugin_name, const _GUID& type) {
  std::u16string text;
  kov_type_to_string(type, text);
  return plugin_name + u'\\' + text;
}

// Reads the version value `value_name` of the type key and applies the
// version rule to it, when `requested` asks for a test and `status` is ok.
void check_registered_version(const std::u16string& plugin_name, const std::u16string& subkey,
                              const char16_t* value_name, std::uint32_t requested, nev::Nev_status& status) {
  if (!status.ok() || requested == 0) return;
  std::uint32_t registered = 0;
  nev::nev_get_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, PLUGIN_ROOT_KEY, subkey, value_name, registered, status);
  if (status.ok()) kov_plugin_check_version(plugin_name, requested, registered, status);
}

// The cached handle of `path`, or a new one after the library version test
// and a load, entered in the cache. Null when `status` fails. Call with the
// cache lock held.
nev::Nev_library cached_library(const std::u16string& plugin_name, const std::u16string& subkey,
                                const std::u16string& path, nev::Nev_status& status) {
  const auto found = detail::library_cache.find(path);
  if (found != detail::library_cache.end()) return found->second;
  std::uint32_t library_version = 0;
  nev::nev_get_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, PLUGIN_ROOT_KEY, subkey, u"LibraryVersion",
                              library_version, status);
  if (!status.ok()) return nullptr;
  kov_plugin_check_version(plugin_name, PLUGIN_LIBRARY_VERSION, library_version, status);
  if (!status.ok()) return nullptr;
  // Only an absolute path to a library that nobody else can change is loaded.
  nev::nev_check_library(path, status);
  if (!status.ok()) return nullptr;
  nev::Nev_library library = nev::nev_load_library(path, status);
  if (!status.ok()) return nullptr;
  detail::library_cache.emplace(path, library);
  return library;
}

// Asks the library for a factory of `type` and the factory for an object.
gan::Gan_base* make_object(nev::Nev_library library, const std::u16string& plugin_name, const _GUID& type,
                           const std::u16string& path, nev::Nev_status& status) {
  void* entry = nev::nev_lookup_function(library, GET_FACTORY_ENTRY, status);
  if (!status.ok()) return nullptr;
  const auto get_factory = reinterpret_cast<Gan_get_factory_fn>(entry);
  gan::Gan_factory* factory = get_factory(plugin_name.c_str(), type);
  if (factory == nullptr) {
    status.assign(KOV_E_NO_FACTORY, nev::Nev_wstring_status_arg(plugin_name), nev::Nev_wstring_status_arg(path));
    return nullptr;
  }
  gan::Gan_base* object = factory->create_instance();
  if (object == nullptr) status = KOV_E_NO_INSTANCE;
  return object;
}

// Appends a copy of `text` to `names`.
void append_copy(nev::Nev_object_vector<std::u16string>& names, const std::u16string& text) {
  names.push_back(new std::u16string(text));  // owned by the vector, also when it cannot grow
}

}  // namespace

void Kov_plugin_deallocator::deallocate(gan::Gan_base* object) const { object->deallocate(); }

void kov_plugin_create_instance(const std::u16string& plugin_name, const _GUID& type, std::uint32_t interface_version,
                                std::uint32_t implementation_version, gan::Gan_base*& instance,
                                nev::Nev_status& status) {
  const std::lock_guard<nev::Nev_critical> hold(detail::cache_lock);
  status.clear();
  instance = nullptr;
  const std::u16string subkey = type_key(plugin_name, type);
  std::u16string path;
  nev::nev_get_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, PLUGIN_ROOT_KEY, subkey, u"ImagePath", path, status);
  // The order of the tests is fixed: interface, implementation, library;
  // nothing is loaded before every test that applies has passed.
  check_registered_version(plugin_name, subkey, u"InterfaceVersion", interface_version, status);
  check_registered_version(plugin_name, subkey, u"ImplementationVersion", implementation_version, status);
  nev::Nev_library library = nullptr;
  if (status.ok()) library = cached_library(plugin_name, subkey, path, status);
  if (status.ok()) instance = make_object(library, plugin_name, type, path, status);
  if (!status.ok()) status.push(KOV_E_CREATE_INSTANCE, nev::Nev_wstring_status_arg(plugin_name));
}

void kov_plugin_tidy_libraries(nev::Nev_status& status) {
  const std::lock_guard<nev::Nev_critical> hold(detail::cache_lock);
  status.clear();
  auto entry = detail::library_cache.begin();
  std::u16string failed_path;
  while (entry != detail::library_cache.end() && status.ok()) {
    void* address = nev::nev_lookup_function(entry->second, CAN_UNLOAD_NOW_ENTRY, status);
    const bool may_go = status.ok() && reinterpret_cast<Gan_can_unload_now_fn>(address)();
    if (may_go) {
      nev::nev_unload_library(entry->second, status);
      if (!status.ok()) failed_path = entry->first;
      // The entry goes whether the unload worked or not.
      entry = detail::library_cache.erase(entry);
    } else {
      if (!status.ok()) failed_path = entry->first;
      ++entry;
    }
  }
  if (!status.ok()) status.push(KOV_E_TIDY_LIBRARY, nev::Nev_wstring_status_arg(failed_path));
}

void kov_plugin_enumerate(_GUID type, nev::Nev_object_vector<std::u16string>& names,
                          nev::Nev_object_vector<std::u16string>& display_names, nev::Nev_status& status) {
  std::u16string type_text;
  kov_type_to_string(type, type_text);
  names.clear();
  display_names.clear();
  nev::Nev_object_vector<std::u16string> plugins(8);
  nev::nev_enum_reg_keys(nev::NEV_HKEY_LOCAL_MACHINE, PLUGIN_ROOT_KEY, u"", plugins, status);
  for (unsigned i = 0; i < plugins.size() && status.ok(); ++i) {
    const std::u16string& plugin_name = plugins[i];
    nev::Nev_object_vector<std::u16string> types(8);
    nev::nev_enum_reg_keys(nev::NEV_HKEY_LOCAL_MACHINE, PLUGIN_ROOT_KEY, plugin_name, types, status);
    if (!status.ok()) break;
    for (const std::u16string* offered : types) {
      if (!nev::nev_string_equal_nc(*offered, type_text)) continue;
      append_copy(names, plugin_name);
      // The display name goes in whatever the read gives, so that the two
      // lists keep step even when it fails.
      std::u16string display_name;
      nev::nev_get_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, PLUGIN_ROOT_KEY, plugin_name + u'\\' + type_text,
                                    u"DisplayName", display_name, status);
      append_copy(display_names, display_name);
      break;
    }
  }
}

}  // namespace kov
