// The registry functions on Windows: each one a few calls of the system's
// registry (Reg*W), with the statuses the registry reports on every
// platform. Subkeys are sorted here, case-insensitively, as the interface
// promises; values come in the order the system enumerates them.
#include <algorithm>
#include <cstring>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/registry_names.h"
#include "nev/strings.h"
#include "nev/win32/registry_win32.h"

namespace nev {

namespace {

using detail::Open_key;
using detail::Win32_target;

void wrong_type(const Win32_target& target, const std::u16string& path, const Nev_reg_value& value,
                std::uint32_t wanted, Nev_status& status) {
  status.assign(NEV_E_REG_WRONG_TYPE, Nev_wstring_status_arg(target.name_of(path)),
                Nev_wstring_status_arg(value.name), Nev_uint_status_arg(value.type, true),
                Nev_uint_status_arg(wanted, true));
}

// Reads the value `name` of root\path; false with the reason in `status`.
bool read_value(Nev_hkey root, const std::u16string& path, const std::u16string& name, Nev_reg_value& value,
                Win32_target& target, Nev_status& status) {
  if (!detail::win32_prepare(root, path, &name, target, status)) return false;
  Open_key key;
  LSTATUS result = key.open(target.key, path, KEY_QUERY_VALUE);
  if (result != ERROR_SUCCESS) {
    detail::win32_fail(target, path, result, status);
    return false;
  }
  result = detail::win32_read_value(key.get(), name, value);
  if (result == ERROR_FILE_NOT_FOUND) {
    status.assign(NEV_E_REG_VALUE_NOT_FOUND, Nev_wstring_status_arg(target.name_of(path)),
                  Nev_wstring_status_arg(name));
    return false;
  }
  if (result != ERROR_SUCCESS) detail::win32_fail(target, path, result, status);
  return result == ERROR_SUCCESS;
}

// The machine's name as RegConnectRegistryW takes it: "\\host".
std::u16string unc_name(const std::u16string& machine) { return u"\\\\" + machine; }

}  // namespace

// ---- connection ------------------------------------------------------------------

Nev_hkey nev_connect_reg_root(const std::u16string& machine, Nev_hkey root, Nev_status& status) {
  status.clear();
  const int index = detail::reg_root_index(root);
  if (index < 0) {
    status.assign(NEV_E_REG_BAD_ROOT, Nev_wstring_status_arg(detail::reg_handle_text(root)));
    return nullptr;
  }
  std::u16string name = machine;
  while (!name.empty() && name.front() == u'\\') name.erase(0, 1);  // "\\host" names the host
  if (name.empty()) return root;
  HKEY connected = nullptr;
  const LSTATUS result =
      RegConnectRegistryW(platform::wide(unc_name(name)), reinterpret_cast<HKEY>(root), &connected);
  if (result != ERROR_SUCCESS) {
    status.assign(NEV_E_REG_NO_MACHINE, Nev_wstring_status_arg(machine),
                  Nev_wstring_status_arg(platform::error_text(static_cast<DWORD>(result))));
    return nullptr;
  }
  const auto handle = reinterpret_cast<Nev_hkey>(connected);
  detail::win32_remember(handle, false, index, name, u"");
  return handle;
}

void nev_disconnect_reg_root(Nev_hkey root, Nev_status& status) {
  status.clear();
  if (detail::reg_root_index(root) >= 0) return;
  if (!detail::win32_forget(root, false)) {
    status.assign(NEV_E_REG_BAD_ROOT, Nev_wstring_status_arg(detail::reg_handle_text(root)));
    return;
  }
  RegCloseKey(reinterpret_cast<HKEY>(root));
}

// ---- keys -------------------------------------------------------------------------

bool nev_reg_key_exists(Nev_hkey root, const std::u16string& key, const std::u16string& subkey) {
  try {
    const std::u16string path = detail::reg_join_path(key, subkey);
    Win32_target target;
    Nev_status status;
    if (!detail::win32_prepare(root, path, nullptr, target, status)) return false;
    Open_key opened;
    return opened.open(target.key, path, KEY_QUERY_VALUE) == ERROR_SUCCESS;
  } catch (...) {
    return false;
  }
}

void nev_enum_reg_keys(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                       Nev_object_vector<std::u16string>& keys, Nev_status& status) {
  const std::u16string path = detail::reg_join_path(key, subkey);
  Win32_target target;
  if (!detail::win32_prepare(root, path, nullptr, target, status)) return;
  Open_key opened;
  LSTATUS result = opened.open(target.key, path, KEY_ENUMERATE_SUB_KEYS);
  std::vector<std::u16string> names;
  if (result == ERROR_SUCCESS) result = detail::win32_read_subkeys(opened.get(), names);
  if (result != ERROR_SUCCESS) return detail::win32_fail(target, path, result, status);
  std::vector<std::pair<std::u16string, std::u16string>> sorted;
  sorted.reserve(names.size());
  for (std::u16string& name : names) sorted.emplace_back(detail::reg_fold(name), std::move(name));
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  keys.reserve(keys.size() + static_cast<unsigned>(sorted.size()));
  for (auto& entry : sorted) keys.push_back(new std::u16string(std::move(entry.second)));
}

void nev_create_reg_key(Nev_hkey root, const std::u16string& key, Nev_status& status) {
  Win32_target target;
  if (!detail::win32_prepare(root, key, nullptr, target, status)) return;
  Open_key created;
  const LSTATUS result = created.create(target.key, key, KEY_QUERY_VALUE);
  if (result == ERROR_KEY_DELETED) return detail::win32_fail(target, key, result, status);
  if (result != ERROR_SUCCESS) {
    const std::u16string reason = platform::error_text(static_cast<DWORD>(result));
    status.assign(NEV_E_REG_HIVE, Nev_wstring_status_arg(target.name_of(key)), Nev_wstring_status_arg(reason));
    status.push(NEV_E_REG_KEY_CREATE, Nev_wstring_status_arg(target.name_of(key)), Nev_wstring_status_arg(reason));
  }
}

void nev_delete_reg_tree(Nev_hkey root, const std::u16string& key, Nev_status& status) {
  Win32_target target;
  if (!detail::win32_prepare(root, key, nullptr, target, status)) return;
  const std::u16string path = detail::win32_clean_path(key);
  if (path.empty()) {
    status.assign(NEV_E_INVALID_ARGUMENT, Nev_wstring_status_arg(u"nev_delete_reg_tree"));
    return;
  }
  const LSTATUS result = RegDeleteTreeW(target.key, platform::wide(path));
  if (result != ERROR_SUCCESS) detail::win32_fail(target, key, result, status);
}

// ---- values -------------------------------------------------------------------------

void nev_get_reg_string_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                              const std::u16string& value_name, std::u16string& value, Nev_status& status) {
  const std::u16string path = detail::reg_join_path(key, subkey);
  Nev_reg_value held;
  Win32_target target;
  if (!read_value(root, path, value_name, held, target, status)) return;
  if (held.type != NEV_REG_SZ && held.type != NEV_REG_EXPAND_SZ) {
    return wrong_type(target, path, held, NEV_REG_SZ, status);
  }
  value = nev_from_utf16le(held.data.data(), held.data.size(), true);
}

void nev_get_reg_uint_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                            const std::u16string& value_name, std::uint32_t& value, Nev_status& status) {
  const std::u16string path = detail::reg_join_path(key, subkey);
  Nev_reg_value held;
  Win32_target target;
  if (!read_value(root, path, value_name, held, target, status)) return;
  if (held.type != NEV_REG_DWORD || held.data.size() != 4) {
    return wrong_type(target, path, held, NEV_REG_DWORD, status);
  }
  value = static_cast<std::uint32_t>(held.data[0]) | static_cast<std::uint32_t>(held.data[1]) << 8 |
          static_cast<std::uint32_t>(held.data[2]) << 16 | static_cast<std::uint32_t>(held.data[3]) << 24;
}

void nev_set_reg_string_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                              const std::u16string& value_name, const std::u16string& value, Nev_status& status) {
  nev_set_reg_value(root, detail::reg_join_path(key, subkey), value_name, NEV_REG_SZ, nev_to_utf16le(value, true), status);
}

void nev_set_reg_uint_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                            const std::u16string& value_name, std::uint32_t value, Nev_status& status) {
  const std::vector<std::uint8_t> bytes = {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
                                           static_cast<std::uint8_t>(value >> 16),
                                           static_cast<std::uint8_t>(value >> 24)};
  nev_set_reg_value(root, detail::reg_join_path(key, subkey), value_name, NEV_REG_DWORD, bytes, status);
}

void nev_set_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                       std::uint32_t type, const std::vector<std::uint8_t>& data, Nev_status& status) {
  Win32_target target;
  if (!detail::win32_prepare(root, key, &value_name, target, status)) return;
  Open_key opened;
  LSTATUS result = opened.create(target.key, key, KEY_SET_VALUE);
  if (result == ERROR_SUCCESS) {
    result = detail::win32_write_value(opened.get(), Nev_reg_value{value_name, type, data});
  }
  if (result != ERROR_SUCCESS) detail::win32_fail(target, key, result, status);
}

void nev_get_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                       Nev_reg_value& value, Nev_status& status) {
  Nev_reg_value found;
  Win32_target target;
  if (read_value(root, key, value_name, found, target, status)) value = std::move(found);
}

void nev_enum_reg_values(Nev_hkey root, const std::u16string& key, std::vector<Nev_reg_value>& values,
                         Nev_status& status) {
  Win32_target target;
  if (!detail::win32_prepare(root, key, nullptr, target, status)) return;
  Open_key opened;
  LSTATUS result = opened.open(target.key, key, KEY_QUERY_VALUE);
  std::vector<Nev_reg_value> found;
  if (result == ERROR_SUCCESS) result = detail::win32_read_values(opened.get(), found);
  if (result != ERROR_SUCCESS) return detail::win32_fail(target, key, result, status);
  values = std::move(found);
}

void nev_delete_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                          Nev_status& status) {
  Win32_target target;
  if (!detail::win32_prepare(root, key, &value_name, target, status)) return;
  Open_key opened;
  LSTATUS result = opened.open(target.key, key, KEY_SET_VALUE);
  if (result != ERROR_SUCCESS) return detail::win32_fail(target, key, result, status);
  result = RegDeleteValueW(opened.get(), platform::wide(value_name));
  if (result == ERROR_FILE_NOT_FOUND) {
    status.assign(NEV_E_REG_VALUE_NOT_FOUND, Nev_wstring_status_arg(target.name_of(key)),
                  Nev_wstring_status_arg(value_name));
  } else if (result != ERROR_SUCCESS) {
    detail::win32_fail(target, key, result, status);
  }
}

// ---- reading all values of a key with caller-sized buffers -------------------------

long nev_reg_open_key(Nev_hkey root, const std::u16string& path, std::uint32_t options, std::uint32_t access,
                      Nev_hkey* key) {
  if (key == nullptr) return NEV_ERROR_INVALID_PARAMETER;
  try {
    Win32_target target;
    Nev_status status;
    if (!detail::win32_resolve(root, target)) return NEV_ERROR_INVALID_HANDLE;
    const std::u16string whole = target.path.empty() ? path : detail::reg_join_path(target.path, path);
    if (!detail::reg_check_key_path(whole, status)) return NEV_ERROR_FILE_NOT_FOUND;
    HKEY opened = nullptr;
    const LSTATUS result =
        RegOpenKeyExW(target.key, platform::wide(detail::win32_clean_path(path)), options, access, &opened);
    if (result != ERROR_SUCCESS) return result;
    const std::u16string full = target.path.empty() ? path : detail::reg_join_path(target.path, path);
    *key = reinterpret_cast<Nev_hkey>(opened);
    detail::win32_remember(*key, true, target.root_index, target.machine, full);
    return NEV_ERROR_SUCCESS;
  } catch (...) {
    return NEV_ERROR_ACCESS_DENIED;
  }
}

long nev_reg_enum_value(Nev_hkey key, std::uint32_t index, char16_t* name, std::uint32_t* name_count,
                        std::uint32_t* reserved, std::uint32_t* type, std::uint8_t* data,
                        std::uint32_t* data_count) {
  Win32_target target;
  if (!detail::win32_resolve(key, target)) return NEV_ERROR_INVALID_HANDLE;
  if (name == nullptr || name_count == nullptr || reserved != nullptr || (data != nullptr && data_count == nullptr)) {
    return NEV_ERROR_INVALID_PARAMETER;
  }
  // The value is read whole and the buffer table applied here: the
  // system's own answers for short buffers differ between versions (and
  // under Wine), the interface's do not.
  Nev_reg_value value;
  const LSTATUS result = detail::win32_read_indexed_value(target.key, index, value);
  if (result != ERROR_SUCCESS) return result;  // NO_MORE_ITEMS, KEY_DELETED, ...
  return detail::reg_fill_enumerated_value(value, name, name_count, type, data, data_count);
}

long nev_reg_close_key(Nev_hkey key) {
  if (detail::reg_root_index(key) >= 0) return NEV_ERROR_SUCCESS;
  if (key == nullptr || detail::reg_is_predefined(key)) return NEV_ERROR_INVALID_HANDLE;
  if (!detail::win32_forget(key, true) && !detail::win32_forget(key, false)) return NEV_ERROR_INVALID_HANDLE;
  return RegCloseKey(reinterpret_cast<HKEY>(key));
}

}  // namespace nev
