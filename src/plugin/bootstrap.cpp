// Plug-in bootstrap information: reading the entries of a program's or a
// service's bootstrap area, and listing a program's groups.
//
// The values of an entry key are read one by one with fixed buffers (1024
// units of name, 1024 bytes of data), so that an oversized value ends the
// reading where it stands instead of costing an allocation per value.
#include "kov/bootstrap.h"

#include <cstdint>

#include "entry/statics.h"
#include "kov/ordered_keys.h"
#include "kov/property.h"
#include "nev/registry.h"
#include "nev/strings.h"

namespace kov {
namespace {

constexpr std::uint32_t NAME_CAPACITY = 1024;  // units, the NUL included
constexpr std::uint32_t DATA_CAPACITY = 1024;  // bytes

std::u16string program_path(const std::u16string& vendor_name, const std::u16string& product_name,
                            const std::u16string& entry) {
  return u"SOFTWARE\\" + vendor_name + u"\\" + product_name + u"\\plugins" + u"\\" + entry;
}

std::u16string service_path(const std::u16string& service_name, const std::u16string& entry) {
  return nev::NEV_REG_SERVICES_KEY + (u"\\" + service_name) + u"\\plugins" + u"\\" + entry;
}

// Closes a key opened by nev_reg_open_key on every way out.
class Open_key {
 public:
  explicit Open_key(nev::Nev_hkey key) : m_key(key) {}
  ~Open_key() { nev::nev_reg_close_key(m_key); }
  Open_key(const Open_key&) = delete;
  Open_key& operator=(const Open_key&) = delete;
  nev::Nev_hkey get() const { return m_key; }

 private:
  nev::Nev_hkey m_key;
};

// The text of REG_SZ data: up to its first NUL, or the whole data.
std::u16string text_of(const std::uint8_t* data, std::uint32_t size) { return nev::nev_from_utf16le(data, size, true); }

// Adds one value to `properties` when its type makes it a setting.
void add_setting(const std::u16string& name, std::uint32_t type, const std::uint8_t* data, std::uint32_t size,
                 Kov_property_list& properties) {
  if (type == nev::NEV_REG_DWORD) {
    std::uint32_t bits = 0;  // little-endian, as the registry stores it
    for (std::uint32_t i = 0; i < size && i < 4; ++i) bits |= static_cast<std::uint32_t>(data[i]) << (8 * i);
    properties.add(name, static_cast<int>(bits));
  } else if (type == nev::NEV_REG_SZ) {
    Kov_property setting(name, text_of(data, size));
    setting.convert_from_persistent_string();  // raises for text in no stored form
    properties.add(setting);
  }
}

// Fills `properties` from the values of the key at `path`, in enumeration
// order, until the first value that cannot be read.
void read_settings(const std::u16string& path, bool skip_order_value, Kov_property_list& properties) {
  nev::Nev_hkey raw_key = nullptr;
  if (nev::nev_reg_open_key(nev::NEV_HKEY_LOCAL_MACHINE, path, 0, nev::NEV_KEY_QUERY_VALUE, &raw_key) != 0) return;
  const Open_key key(raw_key);
  char16_t name[NAME_CAPACITY];
  std::uint8_t data[DATA_CAPACITY];
  for (std::uint32_t index = 0;; ++index) {
    std::uint32_t name_count = NAME_CAPACITY;
    std::uint32_t data_count = DATA_CAPACITY;
    std::uint32_t type = 0;
    if (nev::nev_reg_enum_value(key.get(), index, name, &name_count, nullptr, &type, data, &data_count) != 0) break;
    if (name_count == 0) continue;  // the default value is the bootstrap value
    const std::u16string value_name(name, nev::nev_wcslen(name));
    if (skip_order_value && !nev::nev_string_unequal_nc(value_name, detail::order_value_name)) continue;
    add_setting(value_name, type, data, data_count, properties);
  }
}

// The common work of the two entry readers.
void read_entry(const std::u16string& path, bool skip_order_value, std::u16string& bootstrap_value,
                Kov_property_list& properties, nev::Nev_status& status) {
  nev::nev_get_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, path, u"", u"", bootstrap_value, status);
  if (!status.ok()) return;
  properties.clear();
  read_settings(path, skip_order_value, properties);
}

}  // namespace

void kov_get_plugin_bootstrap_info(const std::u16string& vendor_name, const std::u16string& product_name,
                                   const std::u16string& bootstrap_name, std::u16string& bootstrap_value,
                                   Kov_property_list& properties, nev::Nev_status& status) {
  read_entry(program_path(vendor_name, product_name, bootstrap_name), true, bootstrap_value, properties, status);
}

void kov_get_service_plugin_bootstrap_info(const std::u16string& service_name, const std::u16string& bootstrap_name,
                                           std::u16string& bootstrap_value, Kov_property_list& properties,
                                           nev::Nev_status& status) {
  read_entry(service_path(service_name, bootstrap_name), false, bootstrap_value, properties, status);
}

void kov_enum_plugin_bootstrap_group(const std::u16string& vendor_name, const std::u16string& product_name,
                                     const std::u16string& group_name, nev::Nev_object_vector<std::u16string>& names,
                                     nev::Nev_status& status) {
  kov_enum_reg_keys_in_order(nev::NEV_HKEY_LOCAL_MACHINE, program_path(vendor_name, product_name, group_name), names,
                             status);
}

}  // namespace kov
