// Ordered registry keys: a stated order for the subkeys of a key, and
// registry paths built from parts.
//
// The order lives in a string value of the parent key, named by
// kov_order_value_name(), holding the subkey names joined by ";". Once the
// value exists it is the whole list: names whose subkey is gone are dropped,
// subkeys it does not name are not returned. A key without the value gives
// its subkeys in the registry's own order.
//
//   nev::Nev_object_vector<std::u16string> keys;
//   nev::Nev_status status;
//   kov::kov_enum_reg_keys_in_order(nev::NEV_HKEY_LOCAL_MACHINE, u"SOFTWARE\\Vendor\\Product\\plugins\\Group",
//                                   keys, status);
//
// The functions keep no state and take no lock; any thread may call them.
#pragma once

#include <string>

#include "kov/export.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/vector.h"

namespace kov {

// The name of the value that orders the subkeys of a key:
// "{d768ad40-092e-11d3-9977-0090271916d9}".
KOV_EXPORT const std::u16string& kov_order_value_name() noexcept;

// Replaces `keys` with the subkeys of root\key in their stated order, or in
// the registry's order when the key has no readable order value. `keys` is
// emptied first, whatever happens later. Clears `status` first.
KOV_EXPORT void kov_enum_reg_keys_in_order(nev::Nev_hkey root, const std::u16string& key,
                                           nev::Nev_object_vector<std::u16string>& keys, nev::Nev_status& status);

// Writes the order value of root\key from `keys`, joined by ";", without
// testing the names. `status` ends as the write's outcome: a failure held in
// it on entry does not survive a successful write.
KOV_EXPORT void kov_set_reg_keys_order(nev::Nev_hkey root, const std::u16string& key,
                                       const nev::Nev_object_vector<std::u16string>& keys, nev::Nev_status& status);

// `first` + "\" + `second`, then "\" + `third` when `third` is not empty.
// Nothing is normalised.
KOV_EXPORT std::u16string kov_make_path(const std::u16string& first, const std::u16string& second,
                                        const std::u16string& third);

}  // namespace kov
