// The registry functions on Linux: handles and hive locations, and each
// operation as one read or one write of a hive (see registry_hive.h).
//
// Where the hives lie:
//   this machine:    NEV_REGISTRY, else $XDG_DATA_HOME/kov/registry.db, else
//                    $HOME/.local/share/kov/registry.db;
//   a named machine: NEV_REGISTRY_MACHINES/<machine>.db, else
//                    $XDG_DATA_HOME/kov/machines/<machine>.db, else
//                    $HOME/.local/share/kov/machines/<machine>.db.
// The variables are read at every call that uses a predefined root, so a
// process (a test, say) may point itself at another hive at any time; a
// handle from nev_connect_reg_root or nev_reg_open_key stays with the hive
// it was made for.
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_set>

#include "nev/codes.h"
#include "nev/posix/registry_hive.h"
#include "nev/registry.h"
#include "nev/registry_names.h"
#include "nev/strings.h"

namespace nev {

namespace {

using detail::Hive;
using detail::Key_id;
using detail::NO_KEY;
using detail::Value_list;

// ---- hive locations -----------------------------------------------------------

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// The folder for a user's data files, as the XDG conventions place it.
std::string data_home() {
  const std::string xdg = environment("XDG_DATA_HOME");
  if (!xdg.empty() && xdg.front() == '/') return xdg;
  std::string home = environment("HOME");
  if (home.empty()) {
    passwd entry {};
    passwd* found = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr) {
      home = found->pw_dir;
    }
  }
  if (home.empty()) home = "/tmp";
  return home + "/.local/share";
}

std::string machines_folder() {
  const std::string folder = environment("NEV_REGISTRY_MACHINES");
  return !folder.empty() ? folder : data_home() + "/kov/machines";
}

// The hive of this machine, as the environment names it now.
Hive& local_hive() {
  thread_local std::string last_path;
  thread_local std::shared_ptr<Hive> last_hive;
  const char* named = std::getenv("NEV_REGISTRY");
  if (named != nullptr && *named != '\0') {
    if (last_hive && last_path == named) return *last_hive;
    last_path = named;
  } else {
    std::string path = data_home() + "/kov/registry.db";
    if (last_hive && last_path == path) return *last_hive;
    last_path = std::move(path);
  }
  last_hive = Hive::at(last_path);
  return *last_hive;
}

// ---- handles ---------------------------------------------------------------------

// What a handle from nev_connect_reg_root or nev_reg_open_key stands for.
struct Handle_object {
  bool is_key = false;     // an open key, else a root of a named machine
  Hive* hive = nullptr;    // hives live until the process ends
  Key_id key = NO_KEY;
  int root_index = 0;
  std::u16string machine;  // empty for this machine
  std::u16string path;     // below the root, for an open key
  std::uint32_t access = 0;
};

struct Handle_table {
  std::mutex mutex;
  std::unordered_set<const Handle_object*> live;
};

Handle_table& handles() {
  static Handle_table* table = new Handle_table;  // outlives every static user
  return *table;
}

Nev_hkey make_handle(Handle_object* object) {
  Handle_table& table = handles();
  std::lock_guard<std::mutex> lock(table.mutex);
  table.live.insert(object);
  return reinterpret_cast<Nev_hkey>(object);
}

// Removes a handle of the given kind; false when there is no such handle.
bool drop_handle(Nev_hkey handle, bool is_key) {
  auto* object = reinterpret_cast<Handle_object*>(handle);
  Handle_table& table = handles();
  {
    std::lock_guard<std::mutex> lock(table.mutex);
    const auto found = table.live.find(object);
    if (found == table.live.end() || (*found)->is_key != is_key) return false;
    table.live.erase(found);
  }
  delete object;
  return true;
}

// Where an operation on a handle takes place.
struct Target {
  Hive* hive = nullptr;
  Key_id base = NO_KEY;
  int root_index = 0;
  bool may_query = true;
  std::u16string machine;
  std::u16string path;

  // The full name of `below` under this target, for messages.
  std::u16string name_of(const std::u16string& below) const {
    std::u16string text = machine.empty() ? std::u16string() : u"\\\\" + machine + u"\\";
    text += detail::reg_root_name(root_index);
    if (!path.empty()) text += u"\\" + path;
    if (!below.empty()) text += u"\\" + below;
    return text;
  }
};

bool resolve(Nev_hkey handle, Target& target) {
  const int index = detail::reg_root_index(handle);
  if (index >= 0) {
    target.hive = &local_hive();
    target.base = detail::root_key_id(index);
    target.root_index = index;
    return true;
  }
  if (handle == nullptr || detail::reg_is_predefined(handle)) return false;
  const auto* object = reinterpret_cast<const Handle_object*>(handle);
  Handle_table& table = handles();
  std::lock_guard<std::mutex> lock(table.mutex);
  if (table.live.count(object) == 0) return false;
  target.hive = object->hive;
  target.base = object->key;
  target.root_index = object->root_index;
  target.may_query = !object->is_key || (object->access & NEV_KEY_QUERY_VALUE) != 0;
  target.machine = object->machine;
  target.path = object->path;
  return true;
}

// Clears `status`, resolves `root` and checks the names; false with the
// reason in `status`.
bool prepare(Nev_hkey root, const std::u16string& path, const std::u16string* value_name, Target& target,
             Nev_status& status) {
  status.clear();
  if (!resolve(root, target)) {
    status.assign(NEV_E_REG_BAD_ROOT, Nev_wstring_status_arg(detail::reg_handle_text(root)));
    return false;
  }
  if (!detail::reg_check_key_path(path, status)) return false;
  return value_name == nullptr || detail::reg_check_value_name(*value_name, status);
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

// Reads the value `name` of root\path and hands it to `use`, under the hive's
// lock; `use` reports a value it cannot take in `status`.
template <class Use>
void read_value(Nev_hkey root, const std::u16string& path, const std::u16string& name, Nev_status& status,
                Use&& use) {
  Target target;
  if (!prepare(root, path, &name, target, status)) return;
  auto body = [&] {
    const Key_id key = target.hive->find_key(target.base, path);
    if (key == NO_KEY) return key_not_found(target, path, status);
    const Nev_reg_value* value = target.hive->values(key).find(detail::reg_fold(name));
    if (value == nullptr) return value_not_found(target, path, name, status);
    use(*value, target, status);
  };
  target.hive->read(body, status);
}

std::vector<std::uint8_t> string_bytes(const std::u16string& text) {
  std::vector<std::uint8_t> bytes((text.size() + 1) * 2, 0);
  for (std::size_t i = 0; i < text.size(); ++i) {
    bytes[2 * i] = static_cast<std::uint8_t>(text[i] & 0xFF);
    bytes[2 * i + 1] = static_cast<std::uint8_t>(text[i] >> 8);
  }
  return bytes;
}

// The text of string data: UTF-16LE up to the first NUL.
std::u16string string_of(const std::vector<std::uint8_t>& data) {
  std::u16string text;
  text.reserve(data.size() / 2);
  for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
    const auto unit = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    if (unit == u'\0') break;
    text += unit;
  }
  return text;
}

bool same_machine(const Target& a, const Target& b) { return a.hive == b.hive; }

void apply_change(Hive& hive, const Target& target, const Nev_reg_change& change, Nev_status& status) {
  switch (change.kind) {
    case Nev_reg_change::CREATE_KEY:
      hive.create_key(target.base, change.key);
      return;
    case Nev_reg_change::SET_VALUE:
      hive.put_value(hive.create_key(target.base, change.key), change.value);
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
  const std::string path = machines_folder() + "/" + nev_to_utf8(name) + ".db";
  struct stat info {};
  const bool plain_name = name.find_first_of(u"/\\") == std::u16string::npos && name != u"." && name != u"..";
  if (!plain_name || ::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
    status.assign(NEV_E_REG_NO_MACHINE, Nev_wstring_status_arg(machine), Nev_wstring_status_arg(nev_from_utf8(path)));
    return nullptr;
  }
  auto* object = new Handle_object;
  object->hive = Hive::at(path).get();
  object->key = detail::root_key_id(index);
  object->root_index = index;
  object->machine = name;
  return make_handle(object);
}

void nev_disconnect_reg_root(Nev_hkey root, Nev_status& status) {
  status.clear();
  if (detail::reg_root_index(root) >= 0) return;
  if (!drop_handle(root, false)) {
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
    auto body = [&] { found = target.hive->find_key(target.base, path) != NO_KEY; };
    return target.hive->read(body, status) && found;
  } catch (...) {
    return false;
  }
}

void nev_enum_reg_keys(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                       Nev_object_vector<std::u16string>& keys, Nev_status& status) {
  const std::u16string path = detail::reg_join_path(key, subkey);
  Target target;
  if (!prepare(root, path, nullptr, target, status)) return;
  std::vector<std::u16string> names;
  auto body = [&] {
    const Key_id id = target.hive->find_key(target.base, path);
    if (id == NO_KEY) return key_not_found(target, path, status);
    names = target.hive->subkeys(id);
  };
  if (!target.hive->read(body, status) || !status.ok()) return;
  keys.reserve(keys.size() + static_cast<unsigned>(names.size()));
  for (std::u16string& name : names) keys.push_back(new std::u16string(std::move(name)));
}

void nev_create_reg_key(Nev_hkey root, const std::u16string& key, Nev_status& status) {
  Target target;
  if (!prepare(root, key, nullptr, target, status)) return;
  auto body = [&] { target.hive->create_key(target.base, key); };
  if (!target.hive->write(body, status)) {
    status.push(NEV_E_REG_KEY_CREATE, Nev_wstring_status_arg(target.name_of(key)),
                Nev_wstring_status_arg(status.argument(0, 1)));
  }
}

void nev_delete_reg_tree(Nev_hkey root, const std::u16string& key, Nev_status& status) {
  Target target;
  if (!prepare(root, key, nullptr, target, status)) return;
  if (detail::reg_split_path(key).empty()) {
    status.assign(NEV_E_INVALID_ARGUMENT, Nev_wstring_status_arg(u"nev_delete_reg_tree"));
    return;
  }
  auto body = [&] {
    const Key_id id = target.hive->find_key(target.base, key);
    if (id == NO_KEY) return key_not_found(target, key, status);
    target.hive->remove_tree(id);
  };
  target.hive->write(body, status);
}

// ---- values -------------------------------------------------------------------------

void nev_get_reg_string_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                              const std::u16string& value_name, std::u16string& value, Nev_status& status) {
  const std::u16string path = detail::reg_join_path(key, subkey);
  std::u16string text;
  read_value(root, path, value_name, status, [&](const Nev_reg_value& held, const Target& target, Nev_status& out) {
    if (held.type != NEV_REG_SZ && held.type != NEV_REG_EXPAND_SZ) return wrong_type(target, path, held, NEV_REG_SZ, out);
    text = string_of(held.data);
  });
  if (status.ok()) value = std::move(text);
}

void nev_get_reg_uint_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                            const std::u16string& value_name, std::uint32_t& value, Nev_status& status) {
  const std::u16string path = detail::reg_join_path(key, subkey);
  std::uint32_t number = 0;
  read_value(root, path, value_name, status, [&](const Nev_reg_value& held, const Target& target, Nev_status& out) {
    if (held.type != NEV_REG_DWORD || held.data.size() != 4) return wrong_type(target, path, held, NEV_REG_DWORD, out);
    number = static_cast<std::uint32_t>(held.data[0]) | static_cast<std::uint32_t>(held.data[1]) << 8 |
             static_cast<std::uint32_t>(held.data[2]) << 16 | static_cast<std::uint32_t>(held.data[3]) << 24;
  });
  if (status.ok()) value = number;
}

void nev_set_reg_string_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                              const std::u16string& value_name, const std::u16string& value, Nev_status& status) {
  nev_set_reg_value(root, detail::reg_join_path(key, subkey), value_name, NEV_REG_SZ, string_bytes(value), status);
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
  auto body = [&] { target.hive->put_value(target.hive->create_key(target.base, key), value); };
  target.hive->write(body, status);
}

void nev_get_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                       Nev_reg_value& value, Nev_status& status) {
  Nev_reg_value found;
  read_value(root, key, value_name, status,
             [&](const Nev_reg_value& held, const Target&, Nev_status&) { found = held; });
  if (status.ok()) value = std::move(found);
}

void nev_enum_reg_values(Nev_hkey root, const std::u16string& key, std::vector<Nev_reg_value>& values,
                         Nev_status& status) {
  Target target;
  if (!prepare(root, key, nullptr, target, status)) return;
  std::vector<Nev_reg_value> found;
  auto body = [&] {
    const Key_id id = target.hive->find_key(target.base, key);
    if (id == NO_KEY) return key_not_found(target, key, status);
    found = target.hive->values(id).values;
  };
  if (target.hive->read(body, status) && status.ok()) values = std::move(found);
}

void nev_delete_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                          Nev_status& status) {
  Target target;
  if (!prepare(root, key, &value_name, target, status)) return;
  auto body = [&] {
    const Key_id id = target.hive->find_key(target.base, key);
    if (id == NO_KEY) return key_not_found(target, key, status);
    if (!target.hive->remove_value(id, value_name)) value_not_found(target, key, value_name, status);
  };
  target.hive->write(body, status);
}

void nev_apply_reg_changes(const std::vector<Nev_reg_change>& changes, Nev_status& status) {
  status.clear();
  if (changes.empty()) return;
  std::vector<Target> targets(changes.size());
  for (std::size_t i = 0; i < changes.size(); ++i) {
    const Nev_reg_change& change = changes[i];
    const bool named = change.kind == Nev_reg_change::SET_VALUE || change.kind == Nev_reg_change::DELETE_VALUE;
    if (!prepare(change.root, change.key, named ? &change.value.name : nullptr, targets[i], status)) return;
    if (!same_machine(targets[i], targets[0])) {
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
    if (!resolve(root, target)) return NEV_ERROR_INVALID_HANDLE;
    if (!detail::reg_check_key_path(path, status)) return NEV_ERROR_FILE_NOT_FOUND;
    Key_id id = NO_KEY;
    auto body = [&] { id = target.hive->find_key(target.base, path); };
    if (!target.hive->read(body, status)) return NEV_ERROR_ACCESS_DENIED;
    if (id == NO_KEY) return NEV_ERROR_FILE_NOT_FOUND;
    auto* object = new Handle_object;
    object->is_key = true;
    object->hive = target.hive;
    object->key = id;
    object->root_index = target.root_index;
    object->machine = target.machine;
    object->path = target.path.empty() ? path : detail::reg_join_path(target.path, path);
    object->access = access;
    *key = make_handle(object);
    return NEV_ERROR_SUCCESS;
  } catch (...) {
    return NEV_ERROR_ACCESS_DENIED;
  }
}

long nev_reg_enum_value(Nev_hkey key, std::uint32_t index, char16_t* name, std::uint32_t* name_count,
                        std::uint32_t* reserved, std::uint32_t* type, std::uint8_t* data,
                        std::uint32_t* data_count) {
  Target target;
  if (!resolve(key, target)) return NEV_ERROR_INVALID_HANDLE;
  if (name == nullptr || name_count == nullptr || reserved != nullptr || (data != nullptr && data_count == nullptr)) {
    return NEV_ERROR_INVALID_PARAMETER;
  }
  if (!target.may_query) return NEV_ERROR_ACCESS_DENIED;
  Nev_reg_value value;
  bool found = false;
  try {
    Nev_status status;
    auto body = [&] {
      const std::vector<Nev_reg_value>& values = target.hive->values(target.base).values;
      found = index < values.size();
      if (found) value = values[index];
    };
    if (!target.hive->read(body, status)) return NEV_ERROR_ACCESS_DENIED;
  } catch (...) {
    return NEV_ERROR_ACCESS_DENIED;
  }
  if (!found) return NEV_ERROR_NO_MORE_ITEMS;

  const auto name_length = static_cast<std::uint32_t>(value.name.size());
  const auto data_length = static_cast<std::uint32_t>(value.data.size());
  if (type != nullptr) *type = value.type;
  if (name_length + 1 > *name_count) {
    if (data_count != nullptr) *data_count = data_length;
    return NEV_ERROR_MORE_DATA;
  }
  std::memcpy(name, value.name.data(), name_length * sizeof(char16_t));
  name[name_length] = u'\0';
  *name_count = name_length;
  if (data_count == nullptr) return NEV_ERROR_SUCCESS;
  if (data != nullptr && data_length > *data_count) {
    *data_count = data_length;
    return NEV_ERROR_MORE_DATA;
  }
  if (data != nullptr && data_length != 0) std::memcpy(data, value.data.data(), data_length);
  *data_count = data_length;
  return NEV_ERROR_SUCCESS;
}

long nev_reg_close_key(Nev_hkey key) {
  if (detail::reg_root_index(key) >= 0) return NEV_ERROR_SUCCESS;
  if (key == nullptr || detail::reg_is_predefined(key)) return NEV_ERROR_INVALID_HANDLE;
  return drop_handle(key, true) || drop_handle(key, false) ? NEV_ERROR_SUCCESS : NEV_ERROR_INVALID_HANDLE;
}

}  // namespace nev
