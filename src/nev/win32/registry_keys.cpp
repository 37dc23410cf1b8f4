// The Win32 registry layer's handles and the wrappers of the Reg*W calls.
// A Nev_hkey is the system's HKEY itself: the predefined roots have the same
// numbers, and a connected root or an open key is the handle the system
// gave. The foundation keeps, per handle it gave out, the root, machine and
// path that name it in messages.
#include <algorithm>
#include <map>
#include <mutex>

#include "nev/codes.h"
#include "nev/registry_names.h"
#include "nev/win32/registry_win32.h"

namespace nev::detail {

namespace {

struct Handle_info {
  bool is_key = false;  // an open key, else a connected root
  int root_index = 0;
  std::u16string machine;
  std::u16string path;
};

struct Handle_table {
  std::mutex mutex;
  std::map<Nev_hkey, Handle_info> live;
};

Handle_table& handles() {
  static Handle_table* table = new Handle_table;  // outlives every static user
  return *table;
}

}  // namespace

void win32_remember(Nev_hkey handle, bool is_key, int root_index, const std::u16string& machine,
                    const std::u16string& path) {
  Handle_table& table = handles();
  std::lock_guard<std::mutex> lock(table.mutex);
  table.live[handle] = Handle_info{is_key, root_index, machine, path};
}

bool win32_forget(Nev_hkey handle, bool is_key) {
  Handle_table& table = handles();
  std::lock_guard<std::mutex> lock(table.mutex);
  const auto found = table.live.find(handle);
  if (found == table.live.end() || found->second.is_key != is_key) return false;
  table.live.erase(found);
  return true;
}

std::u16string Win32_target::name_of(const std::u16string& below) const {
  std::u16string text = machine.empty() ? std::u16string() : u"\\\\" + machine + u"\\";
  text += reg_root_name(root_index);
  if (!path.empty()) text += u"\\" + path;
  if (!below.empty()) text += u"\\" + below;
  return text;
}

bool win32_resolve(Nev_hkey handle, Win32_target& target) {
  const int index = reg_root_index(handle);
  if (index >= 0) {
    target = Win32_target{};
    target.key = reinterpret_cast<HKEY>(handle);
    target.root_index = index;
    return true;
  }
  if (handle == nullptr || reg_is_predefined(handle)) return false;
  Handle_table& table = handles();
  std::lock_guard<std::mutex> lock(table.mutex);
  const auto found = table.live.find(handle);
  if (found == table.live.end()) return false;
  target.key = reinterpret_cast<HKEY>(handle);
  target.root_index = found->second.root_index;
  target.machine = found->second.machine;
  target.path = found->second.path;
  return true;
}

bool win32_prepare(Nev_hkey root, const std::u16string& path, const std::u16string* value_name,
                   Win32_target& target, Nev_status& status) {
  status.clear();
  if (!win32_resolve(root, target)) {
    status.assign(NEV_E_REG_BAD_ROOT, Nev_wstring_status_arg(reg_handle_text(root)));
    return false;
  }
  // Below an open key the levels of its own path count as well.
  const std::u16string full = target.path.empty() ? path : reg_join_path(target.path, path);
  if (!reg_check_key_path(full, status)) return false;
  return value_name == nullptr || reg_check_value_name(*value_name, status);
}

std::u16string win32_clean_path(const std::u16string& path) {
  std::u16string clean;
  for (const std::u16string& name : reg_split_path(path)) {
    if (!clean.empty()) clean += u'\\';
    clean += name;
  }
  return clean;
}

void win32_fail(const Win32_target& target, const std::u16string& path, LSTATUS error, Nev_status& status) {
  if (error == ERROR_FILE_NOT_FOUND) {
    status.assign(NEV_E_REG_KEY_NOT_FOUND, Nev_wstring_status_arg(target.name_of(path)));
  } else if (error == ERROR_KEY_DELETED) {
    // The open key the call went through is gone (the system keeps such a
    // handle dead even when a key of that name is created again).
    status.assign(NEV_E_REG_KEY_DELETED, Nev_wstring_status_arg(target.name_of(u"")));
  } else {
    status.assign(NEV_E_REG_HIVE, Nev_wstring_status_arg(target.name_of(path)),
                  Nev_wstring_status_arg(platform::error_text(static_cast<DWORD>(error))));
  }
}

// ---- the calls ---------------------------------------------------------------------

LSTATUS Open_key::open(HKEY base, const std::u16string& path, REGSAM access) {
  close();
  return RegOpenKeyExW(base, platform::wide(win32_clean_path(path)), 0, access, &m_key);
}

LSTATUS Open_key::create(HKEY base, const std::u16string& path, REGSAM access, bool* created) {
  close();
  DWORD disposition = 0;
  const LSTATUS result = RegCreateKeyExW(base, platform::wide(win32_clean_path(path)), 0, nullptr,
                                         REG_OPTION_NON_VOLATILE, access, nullptr, &m_key, &disposition);
  if (created != nullptr) *created = result == ERROR_SUCCESS && disposition == REG_CREATED_NEW_KEY;
  return result;
}

void Open_key::close() noexcept {
  if (m_key != nullptr) RegCloseKey(m_key);
  m_key = nullptr;
}

LSTATUS win32_read_value(HKEY key, const std::u16string& name, Nev_reg_value& value) {
  DWORD type = 0;
  DWORD size = 0;
  LSTATUS result = RegQueryValueExW(key, platform::wide(name), nullptr, &type, nullptr, &size);
  std::vector<std::uint8_t> data;
  // The value may grow between the two calls; ask again until it fits.
  while (result == ERROR_SUCCESS || result == ERROR_MORE_DATA) {
    data.resize(size);
    result = RegQueryValueExW(key, platform::wide(name), nullptr, &type, data.data(), &size);
    if (result == ERROR_SUCCESS) {
      data.resize(size);
      value.name = name;
      value.type = type;
      value.data = std::move(data);
      return ERROR_SUCCESS;
    }
  }
  return result;
}

LSTATUS win32_write_value(HKEY key, const Nev_reg_value& value) {
  return RegSetValueExW(key, platform::wide(value.name), 0, value.type, value.data.data(),
                        static_cast<DWORD>(value.data.size()));
}

LSTATUS win32_read_values(HKEY key, std::vector<Nev_reg_value>& values) {
  DWORD longest_name = 0;
  DWORD largest_data = 0;
  LSTATUS result = RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    &longest_name, &largest_data, nullptr, nullptr);
  if (result != ERROR_SUCCESS) return result;
  std::vector<wchar_t> name(longest_name + 1);
  std::vector<std::uint8_t> data(largest_data);
  values.clear();
  for (DWORD index = 0;; ++index) {
    auto name_size = static_cast<DWORD>(name.size());
    auto data_size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    result = RegEnumValueW(key, index, name.data(), &name_size, nullptr, &type, data.data(), &data_size);
    if (result == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (result == ERROR_MORE_DATA) {  // a value grew meanwhile
      name.resize(std::max<std::size_t>(name.size() * 2, NEV_REG_MAX_VALUE_NAME + 1));
      data.resize(std::max<std::size_t>(data.size() * 2, data_size));
      --index;
      continue;
    }
    if (result != ERROR_SUCCESS) return result;
    Nev_reg_value value;
    value.name = platform::from_wide(name.data(), name_size);
    value.type = type;
    value.data.assign(data.begin(), data.begin() + data_size);
    values.push_back(std::move(value));
  }
}

LSTATUS win32_read_indexed_value(HKEY key, std::uint32_t index, Nev_reg_value& value) {
  DWORD longest_name = 0;
  DWORD largest_data = 0;
  LSTATUS result = RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    &longest_name, &largest_data, nullptr, nullptr);
  if (result != ERROR_SUCCESS) return result;
  std::vector<wchar_t> name(longest_name + 1);
  std::vector<std::uint8_t> data(largest_data);
  for (int attempt = 0; attempt < 8; ++attempt) {
    auto name_size = static_cast<DWORD>(name.size());
    auto data_size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    result = RegEnumValueW(key, index, name.data(), &name_size, nullptr, &type, data.data(), &data_size);
    if (result == ERROR_MORE_DATA) {  // the value grew meanwhile
      name.resize(std::max<std::size_t>(name.size() * 2, NEV_REG_MAX_VALUE_NAME + 1));
      data.resize(std::max<std::size_t>(data.size() * 2, data_size));
      continue;
    }
    if (result != ERROR_SUCCESS) return result;
    value.name = platform::from_wide(name.data(), name_size);
    value.type = type;
    value.data.assign(data.begin(), data.begin() + data_size);
    return ERROR_SUCCESS;
  }
  return result;
}

LSTATUS win32_read_subkeys(HKEY key, std::vector<std::u16string>& names) {
  names.clear();
  std::vector<wchar_t> name(NEV_REG_MAX_KEY_NAME + 2);
  for (DWORD index = 0;; ++index) {
    auto size = static_cast<DWORD>(name.size());
    const LSTATUS result = RegEnumKeyExW(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    if (result == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (result != ERROR_SUCCESS) return result;
    names.push_back(platform::from_wide(name.data(), size));
  }
}

}  // namespace nev::detail
