// The handle table of the registry on a hive.
#include "nev/posix/registry_handles.h"

#include <mutex>
#include <unordered_set>

#include "nev/codes.h"
#include "nev/posix/hive_location.h"
#include "nev/registry_names.h"

namespace nev::detail {

namespace {

struct Handle_table {
  std::mutex mutex;
  std::unordered_set<const Handle_object*> live;
};

Handle_table& handles() {
  static auto* table = new Handle_table;  // outlives every static user
  return *table;
}

void bad_root(Nev_hkey handle, Nev_status& status) {
  status.assign(NEV_E_REG_BAD_ROOT, Nev_wstring_status_arg(reg_handle_text(handle)));
}

}  // namespace

std::u16string Target::name_of(const std::u16string& below) const {
  std::u16string text = machine.empty() ? std::u16string() : u"\\\\" + machine + u"\\";
  text += reg_root_name(root_index);
  if (!path.empty()) text += u"\\" + path;
  if (!below.empty()) text += u"\\" + below;
  return text;
}

Nev_hkey make_handle(Handle_object* object) {
  Handle_table& table = handles();
  std::lock_guard<std::mutex> lock(table.mutex);
  table.live.insert(object);
  return reinterpret_cast<Nev_hkey>(object);
}

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

bool resolve(Nev_hkey handle, Target& target, Nev_status& status) {
  const int index = reg_root_index(handle);
  if (index >= 0) {
    target.hive = local_hive(status);
    target.base = root_key_id(index);
    target.root_index = index;
    return target.hive != nullptr;
  }
  if (handle == nullptr || reg_is_predefined(handle)) {
    bad_root(handle, status);
    return false;
  }
  const auto* object = reinterpret_cast<const Handle_object*>(handle);
  Handle_table& table = handles();
  std::lock_guard<std::mutex> lock(table.mutex);
  if (table.live.count(object) == 0) {
    bad_root(handle, status);
    return false;
  }
  target.hive = object->hive;
  target.base = object->key;
  target.root_index = object->root_index;
  target.may_query = !object->is_key || (object->access & NEV_KEY_QUERY_VALUE) != 0;
  target.is_open_key = object->is_key;
  target.machine = object->machine;
  target.path = object->path;
  return true;
}

}  // namespace nev::detail
