// The registry functions on a hive: each operation as one read or one write
// of the hive that its handle reaches (see hive.h, hive_location.h and
// registry_handles.h).
#include <cstring>
#include <string>

#include "nev/codes.h"
#include "nev/posix/hive_location.h"
#include "nev/posix/registry_handles.h"
#include "nev/registry.h"
#include "nev/registry_names.h"
#include "nev/strings.h"

namespace nev {

namespace {

using detail::Handle_object;
using detail::Hive;
using detail::Key_id;
using detail::NO_KEY;
using detail::Target;

// Clears `status`, resolves `root` and checks the names and the depth of
// the path below the root (an open key's own path included); false with the
// reason in `status`.
bool prepare(Nev_hkey root, const std::u16string& path, const std::u16string* value_name, Target& target,
             Nev_status& status) {
  status.clear();
  if (!detail::resolve(root, target, status)) return false;
  if (!detail::reg_check_key_path(path, status)) return false;
  if (!target.path.empty() && !detail::reg_check_key_path(detail::reg_join_path(target.path, path), status)) {
    return false;
  }
  return value_name == nullptr || detail::reg_check_value_name(*value_name, status);
}

// Inside a read or write: false, with NEV_E_REG_KEY_DELETED in `status`,
// when `target` is an open key that has been deleted since it was opened.
bool still_there(const Target& target, Nev_status& status) {
  if (!target.is_open_key || target.hive->key_exists(target.base)) return true;
  status.assign(NEV_E_REG_KEY_DELETED, Nev_wstring_status_arg(target.name_of(u"")));
  return false;
}

// Inside a write: false, with NEV_E_REG_VALUE_TOO_LARGE in `status`, when
// the hive cannot hold `value`.
bool fits(const Target& target, const std::u16string& key, const Nev_reg_value& value, Nev_status& status) {
  const std::size_t capacity = target.hive->value_capacity(value.name);
  if (value.data.size() <= capacity) return true;
  status.assign(NEV_E_REG_VALUE_TOO_LARGE, Nev_wstring_status_arg(target.name_of(key)),
                Nev_wstring_status_arg(value.name), Nev_wstring_status_arg(nev_from_utf8(std::to_string(value.data.size()))),
                Nev_wstring_status_arg(nev_from_utf8(std::to_string(capacity))));
  return false;
}

void key_not_found(const Target& target, const std::u16string& path, Nev_status& status) {
  status.assign(NEV_E_REG_KEY_NOT_FOUND, Nev_wstring_status_arg(target.name_of(path)));
}

void value_not_found(const Target& target, const std::u16string& path, const std::u16string& name,
                     Nev_status& status) {
  status.assign(NEV_E_REG_VALUE_NOT_FOUND, Nev_wstring_status_arg(target.name_of(path)),
                Nev_wstring_status_arg(name));
}

void wrong_type(const Target& target, const std::u16string& path, const Nev_reg_value& value,
                std::uint32_t wanted, Nev_status& status) {
  status.assign(NEV_E_REG_WRONG_TYPE, Nev_wstring_status_arg(target.name_of(path)),
                Nev_wstring_status_arg(value.name), Nev_uint_status_arg(value.type, true),
                Nev_uint_status_arg(wanted, true));
}

enum class Access { READ, WRITE };

// The sequence of every operation on an existing key: prepare, then in one
// read or write of the hive find the key at `path` below `root` and hand it
// to `use(target, key)`; a missing key fails. True when the hive ran the body
// and the status is still good.
template <class Use>
bool with_key(Nev_hkey root, const std::u16string& path, const std::u16string* value_name, Access access,
              Nev_status& status, Use&& use) {
  Target target;
  if (!prepare(root, path, value_name, target, status)) return false;
  auto body = [&] {
    if (!still_there(target, status)) return;
    const Key_id key = target.hive->find_key(target.base, path);
    if (key == NO_KEY) return key_not_found(target, path, status);
    use(target, key);
  };
  const bool ran = access == Access::READ ? target.hive->read(body, status) : target.hive->write(body, status);
  return ran && status.ok();
}

// Reads the value `name` of root\path and hands it to `use`, inside the
// hive's read; `use` reports a value it cannot take in `status`.
template <class Use>
void read_value(Nev_hkey root, const std::u16string& path, const std::u16string& name, Nev_status& status,
                Use&& use) {
  with_key(root, path, &name, Access::READ, status, [&](const Target& target, Key_id key) {
    Nev_reg_value value;
    if (!target.hive->find_value(key, name, value)) return value_not_found(target, path, name, status);
    use(value, target);
  });
}

void apply_change(Hive& hive, const Target& target, const Nev_reg_change& change, Nev_status& status) {
  if (!still_there(target, status)) return;
  switch (change.kind) {
    case Nev_reg_change::CREATE_KEY:
      hive.create_key(target.base, change.key);
      return;
    case Nev_reg_change::SET_VALUE:
      if (fits(target, change.key, change.value, status)) {
        hive.put_value(hive.create_key(target.base, change.key), change.value);
      }
      return;
    case Nev_reg_change::DELETE_VALUE: {
      const Key_id key = hive.find_key(target.base, change.key);
      if (key != NO_KEY) hive.remove_value(key, change.value.name);
      return;
    }
    case Nev_reg_change::DELETE_TREE: {
      if (detail::reg_split_path(change.key).empty()) {
        status.assign(NEV_E_INVALID_ARGUMENT, Nev_wstring_status_arg(u"nev_apply_reg_changes"));
        return;
      }
      const Key_id key = hive.find_key(target.base, change.key);
      if (key != NO_KEY) hive.remove_tree(key);
      return;
    }
  }
  status.assign(NEV_E_INVALID_ARGUMENT, Nev_wstring_status_arg(u"nev_apply_reg_changes"));
}

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
  const bool plain_name = name.find_first_of(u"/\\") == std::u16string::npos && name != u"." && name != u"..";
  Hive* hive = nullptr;
  if (!plain_name) {
    status.assign(NEV_E_REG_NO_MACHINE, Nev_wstring_status_arg(machine), Nev_wstring_status_arg(name));
  } else {
    hive = detail::machine_hive(name, status);
  }
  if (hive == nullptr) return nullptr;
  auto* object = new Handle_object;
  object->hive = hive;
  object->key = detail::root_key_id(index);
  object->root_index = index;
  object->machine = name;
  return detail::make_handle(object);
}

void nev_disconnect_reg_root(Nev_hkey root, Nev_status& status) {
  status.clear();
  if (detail::reg_root_index(root) >= 0) return;
  if (!detail::drop_handle(root, false)) {
    status.assign(NEV_E_REG_BAD_ROOT, Nev_wstring_status_arg(detail::reg_handle_text(root)));
  }
}

// ---- keys -------------------------------------------------------------------------

bool nev_reg_key_exists(Nev_hkey root, const std::u16string& key, const std::u16string& subkey) {
  try {
    const std::u16string path = detail::reg_join_path(key, subkey);
    Target target;
    Nev_status status;
    if (!prepare(root, path, nullptr, target, status)) return false;
    bool found = false;
    auto body = [&] { found = still_there(target, status) && target.hive->find_key(target.base, path) != NO_KEY; };
    return target.hive->read(body, status) && found;
  } catch (...) {
    return false;
  }
}

void nev_enum_reg_keys(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                       Nev_object_vector<std::u16string>& keys, Nev_status& status) {
  const std::u16string path = detail::reg_join_path(key, subkey);
  std::vector<std::u16string> names;
  const bool found = with_key(root, path, nullptr, Access::READ, status,
                              [&](const Target& target, Key_id id) { names = target.hive->subkeys(id); });
  if (!found) return;
  keys.reserve(keys.size() + static_cast<unsigned>(names.size()));
  for (std::u16string& name : names) keys.push_back(new std::u16string(std::move(name)));
}

void nev_create_reg_key(Nev_hkey root, const std::u16string& key, Nev_status& status) {
  Target target;
  if (!prepare(root, key, nullptr, target, status)) return;
  auto body = [&] {
    if (still_there(target, status)) target.hive->create_key(target.base, key);
  };
  if (!target.hive->write(body, status)) {
    status.push(NEV_E_REG_KEY_CREATE, Nev_wstring_status_arg(target.name_of(key)),
                Nev_wstring_status_arg(status.argument(0, 1)));
  }
}

void nev_delete_reg_tree(Nev_hkey root, const std::u16string& key, Nev_status& status) {
  if (detail::reg_split_path(key).empty()) {
    Target target;
    if (prepare(root, key, nullptr, target, status)) {
      status.assign(NEV_E_INVALID_ARGUMENT, Nev_wstring_status_arg(u"nev_delete_reg_tree"));
    }
    return;
  }
  with_key(root, key, nullptr, Access::WRITE, status,
           [&](const Target& target, Key_id id) { target.hive->remove_tree(id); });
}

// ---- values -------------------------------------------------------------------------

void nev_get_reg_string_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                              const std::u16string& value_name, std::u16string& value, Nev_status& status) {
  const std::u16string path = detail::reg_join_path(key, subkey);
  std::u16string text;
  read_value(root, path, value_name, status, [&](const Nev_reg_value& held, const Target& target) {
    if (held.type != NEV_REG_SZ && held.type != NEV_REG_EXPAND_SZ) return wrong_type(target, path, held, NEV_REG_SZ, status);
    text = nev_from_utf16le(held.data.data(), held.data.size(), true);
  });
  if (status.ok()) value = std::move(text);
}

void nev_get_reg_uint_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                            const std::u16string& value_name, std::uint32_t& value, Nev_status& status) {
  const std::u16string path = detail::reg_join_path(key, subkey);
  std::uint32_t number = 0;
  read_value(root, path, value_name, status, [&](const Nev_reg_value& held, const Target& target) {
    if (held.type != NEV_REG_DWORD || held.data.size() != 4) return wrong_type(target, path, held, NEV_REG_DWORD, status);
    number = static_cast<std::uint32_t>(held.data[0]) | static_cast<std::uint32_t>(held.data[1]) << 8 |
             static_cast<std::uint32_t>(held.data[2]) << 16 | static_cast<std::uint32_t>(held.data[3]) << 24;
  });
  if (status.ok()) value = number;
}

void nev_set_reg_string_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                              const std::u16string& value_name, const std::u16string& value, Nev_status& status) {
  nev_set_reg_value(root, detail::reg_join_path(key, subkey), value_name, NEV_REG_SZ, nev_to_utf16le(value, true),
                    status);
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
  Target target;
  if (!prepare(root, key, &value_name, target, status)) return;
  Nev_reg_value value;
  value.name = value_name;
  value.type = type;
  value.data = data;
  auto body = [&] {
    if (still_there(target, status) && fits(target, key, value, status)) {
      target.hive->put_value(target.hive->create_key(target.base, key), value);
    }
  };
  target.hive->write(body, status);
}

void nev_get_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                       Nev_reg_value& value, Nev_status& status) {
  Nev_reg_value found;
  read_value(root, key, value_name, status, [&](Nev_reg_value& held, const Target&) { found = std::move(held); });
  if (status.ok()) value = std::move(found);
}

void nev_enum_reg_values(Nev_hkey root, const std::u16string& key, std::vector<Nev_reg_value>& values,
                         Nev_status& status) {
  std::vector<Nev_reg_value> found;
  if (with_key(root, key, nullptr, Access::READ, status,
               [&](const Target& target, Key_id id) { found = target.hive->values(id).values; })) {
    values = std::move(found);
  }
}

void nev_delete_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                          Nev_status& status) {
  with_key(root, key, &value_name, Access::WRITE, status, [&](const Target& target, Key_id id) {
    if (!target.hive->remove_value(id, value_name)) value_not_found(target, key, value_name, status);
  });
}

void nev_apply_reg_changes(const std::vector<Nev_reg_change>& changes, Nev_status& status) {
  status.clear();
  if (changes.empty()) return;
  std::vector<Target> targets(changes.size());
  for (std::size_t i = 0; i < changes.size(); ++i) {
    const Nev_reg_change& change = changes[i];
    const bool named = change.kind == Nev_reg_change::SET_VALUE || change.kind == Nev_reg_change::DELETE_VALUE;
    if (!prepare(change.root, change.key, named ? &change.value.name : nullptr, targets[i], status)) return;
    if (targets[i].hive != targets[0].hive) {
      status.assign(NEV_E_INVALID_ARGUMENT, Nev_wstring_status_arg(u"nev_apply_reg_changes"));
      return;
    }
  }
  Hive& hive = *targets[0].hive;
  auto body = [&] {
    for (std::size_t i = 0; i < changes.size() && status.ok(); ++i) apply_change(hive, targets[i], changes[i], status);
  };
  hive.write(body, status);
}

// ---- reading all values of a key with caller-sized buffers -------------------------

long nev_reg_open_key(Nev_hkey root, const std::u16string& path, std::uint32_t /*options*/, std::uint32_t access,
                      Nev_hkey* key) {
  if (key == nullptr) return NEV_ERROR_INVALID_PARAMETER;
  try {
    Target target;
    Nev_status status;
    if (!detail::resolve(root, target, status)) {
      return status.code() == NEV_E_REG_BAD_ROOT ? NEV_ERROR_INVALID_HANDLE : NEV_ERROR_ACCESS_DENIED;
    }
    if (!detail::reg_check_key_path(path, status)) return NEV_ERROR_FILE_NOT_FOUND;
    Key_id id = NO_KEY;
    bool deleted = false;
    auto body = [&] {
      deleted = !still_there(target, status);
      if (!deleted) id = target.hive->find_key(target.base, path);
    };
    if (!target.hive->read(body, status) && !deleted) return NEV_ERROR_ACCESS_DENIED;
    if (deleted) return NEV_ERROR_KEY_DELETED;
    if (id == NO_KEY) return NEV_ERROR_FILE_NOT_FOUND;
    auto* object = new Handle_object;
    object->is_key = true;
    object->hive = target.hive;
    object->key = id;
    object->root_index = target.root_index;
    object->machine = target.machine;
    object->path = target.path.empty() ? path : detail::reg_join_path(target.path, path);
    object->access = access;
    *key = detail::make_handle(object);
    return NEV_ERROR_SUCCESS;
  } catch (...) {
    return NEV_ERROR_ACCESS_DENIED;
  }
}

long nev_reg_enum_value(Nev_hkey key, std::uint32_t index, char16_t* name, std::uint32_t* name_count,
                        std::uint32_t* reserved, std::uint32_t* type, std::uint8_t* data,
                        std::uint32_t* data_count) {
  Target target;
  Nev_status resolved;
  if (!detail::resolve(key, target, resolved)) {
    return resolved.code() == NEV_E_REG_BAD_ROOT ? NEV_ERROR_INVALID_HANDLE : NEV_ERROR_ACCESS_DENIED;
  }
  if (name == nullptr || name_count == nullptr || reserved != nullptr || (data != nullptr && data_count == nullptr)) {
    return NEV_ERROR_INVALID_PARAMETER;
  }
  if (!target.may_query) return NEV_ERROR_ACCESS_DENIED;
  Nev_reg_value value;
  bool found = false;
  bool deleted = false;
  try {
    Nev_status status;
    auto body = [&] {
      deleted = !still_there(target, status);
      if (deleted) return;
      const std::vector<Nev_reg_value>& values = target.hive->values(target.base).values;
      found = index < values.size();
      if (found) value = values[index];
    };
    if (!target.hive->read(body, status)) return NEV_ERROR_ACCESS_DENIED;
  } catch (...) {
    return NEV_ERROR_ACCESS_DENIED;
  }
  if (deleted) return NEV_ERROR_KEY_DELETED;
  if (!found) return NEV_ERROR_NO_MORE_ITEMS;

  return detail::reg_fill_enumerated_value(value, name, name_count, type, data, data_count);
}

long nev_reg_close_key(Nev_hkey key) {
  if (detail::reg_root_index(key) >= 0) return NEV_ERROR_SUCCESS;
  if (key == nullptr || detail::reg_is_predefined(key)) return NEV_ERROR_INVALID_HANDLE;
  return detail::drop_handle(key, true) || detail::drop_handle(key, false) ? NEV_ERROR_SUCCESS : NEV_ERROR_INVALID_HANDLE;
}

}  // namespace nev
