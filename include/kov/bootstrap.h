// Plug-in bootstrap information of programs and services.
//
// A program keeps its bootstrap entries under
//   HKEY_LOCAL_MACHINE\SOFTWARE\<vendor>\<product>\plugins\<entry>
// and a service under
//   HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\<service>\plugins\<entry>.
// An entry's default value is its bootstrap value; each other value is a
// setting: a REG_DWORD becomes an integer property, a REG_SZ holds a
// persistent string ("$S...", "$I..." and so on) that becomes a property of
// its type, any other type is ignored. An entry name may span key levels
// (group\entry); kov_enum_plugin_bootstrap_group lists a group's entries in
// their stated order (see ordered_keys.h).
//
//   std::u16string value;
//   kov::Kov_property_list settings;
//   nev::Nev_status status;
//   kov::kov_get_plugin_bootstrap_info(u"Vendor", u"Product", u"Reader", value, settings, status);
//
// One value is read with a name of at most 1023 units and data of at most
// 1024 bytes; a larger value ends the reading there, silently. A REG_SZ
// setting that is no persistent string raises std::runtime_error from the
// conversion. The functions keep no state; any thread may call them.
#pragma once

#include <string>

#include "kov/export.h"
#include "kov/property_list.h"
#include "nev/status.h"
#include "nev/vector.h"

namespace kov {

// Reads a program's entry: its default value into `bootstrap_value`, its
// settings into `properties` (emptied first). Without the entry or its
// default value `status` fails and `properties` is left alone. The order
// value of the key is not a setting.
KOV_EXPORT void kov_get_plugin_bootstrap_info(const std::u16string& vendor_name, const std::u16string& product_name,
                                              const std::u16string& bootstrap_name, std::u16string& bootstrap_value,
                                              Kov_property_list& properties, nev::Nev_status& status);

// The same for a service's entry; here a value named like the order value is
// a setting like any other.
KOV_EXPORT void kov_get_service_plugin_bootstrap_info(const std::u16string& service_name,
                                                      const std::u16string& bootstrap_name,
                                                      std::u16string& bootstrap_value, Kov_property_list& properties,
                                                      nev::Nev_status& status);

// Replaces `names` with the entries of a program's group in their stated
// order (kov_enum_reg_keys_in_order). Clears `status` first.
KOV_EXPORT void kov_enum_plugin_bootstrap_group(const std::u16string& vendor_name, const std::u16string& product_name,
                                                const std::u16string& group_name,
                                                nev::Nev_object_vector<std::u16string>& names,
                                                nev::Nev_status& status);

}  // namespace kov
