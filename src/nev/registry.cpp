// The platform-neutral part of the registry: the predefined roots, paths,
// name limits and the service parameters, which every platform's registry
// layer shares.
#include "nev/registry.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "nev/codes.h"
#include "nev/strings.h"
#include "nev/registry_names.h"

namespace nev {

namespace {

// A predefined root is its Windows number sign-extended to pointer width,
// exactly as the Windows headers define HKEY_LOCAL_MACHINE and the others.
Nev_hkey predefined(std::uint32_t number) {
  return reinterpret_cast<Nev_hkey>(static_cast<std::intptr_t>(static_cast<std::int32_t>(number)));
}

constexpr std::array<std::uint32_t, detail::REG_ROOT_COUNT> root_numbers = {
    0x80000000u, 0x80000001u, 0x80000002u, 0x80000003u, 0x80000005u};

std::uint32_t low_bits(Nev_hkey root) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(root));
}

}  // namespace

const Nev_hkey NEV_HKEY_CLASSES_ROOT = predefined(0x80000000u);
const Nev_hkey NEV_HKEY_CURRENT_USER = predefined(0x80000001u);
const Nev_hkey NEV_HKEY_LOCAL_MACHINE = predefined(0x80000002u);
const Nev_hkey NEV_HKEY_USERS = predefined(0x80000003u);
const Nev_hkey NEV_HKEY_CURRENT_CONFIG = predefined(0x80000005u);

std::u16string nev_reg_service_parameters_key(const std::u16string& service) {
  return NEV_REG_SERVICES_KEY + (u"\\" + service) + u"\\Parameters";
}

std::u16string nev_reg_root_name(Nev_hkey root) {
  const int index = detail::reg_root_index(root);
  return index >= 0 ? detail::reg_root_name(index) : std::u16string();
}

Nev_hkey nev_reg_root_by_name(const std::u16string& name) {
  static const char16_t* const short_names[detail::REG_ROOT_COUNT] = {u"HKCR", u"HKCU", u"HKLM", u"HKU", u"HKCC"};
  for (int index = 0; index < detail::REG_ROOT_COUNT; ++index) {
    if (nev_string_equal_nc(name, detail::reg_root_name(index)) || nev_string_equal_nc(name, short_names[index])) {
      return detail::reg_root_handle(index);
    }
  }
  return nullptr;
}

Nev_reg_connection::Nev_reg_connection(const std::u16string& machine, Nev_hkey root, Nev_status& status)
    : m_root(root), m_connected(false) {
  status.clear();
  if (machine.empty()) return;
  m_root = nev_connect_reg_root(machine, root, status);
  m_connected = m_root != nullptr;
}

Nev_reg_connection::~Nev_reg_connection() {
  if (!m_connected) return;
  Nev_status ignored;
  nev_disconnect_reg_root(m_root, ignored);
}

namespace detail {

int reg_root_index(Nev_hkey root) noexcept {
  if (!reg_is_predefined(root)) return -1;
  const std::uint32_t number = low_bits(root);
  for (int index = 0; index < REG_ROOT_COUNT; ++index) {
    if (root_numbers[static_cast<std::size_t>(index)] == number) return index;
  }
  return -1;
}

Nev_hkey reg_root_handle(int index) noexcept {
  return predefined(root_numbers[static_cast<std::size_t>(index)]);
}

const std::u16string& reg_root_name(int index) {
  static const std::array<std::u16string, REG_ROOT_COUNT> names = {
      u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER", u"HKEY_LOCAL_MACHINE", u"HKEY_USERS",
      u"HKEY_CURRENT_CONFIG"};
  return names[static_cast<std::size_t>(index)];
}

bool reg_is_predefined(Nev_hkey root) noexcept {
  const auto bits = static_cast<std::intptr_t>(reinterpret_cast<std::uintptr_t>(root));
  return bits >= static_cast<std::intptr_t>(static_cast<std::int32_t>(0x80000000u)) &&
         bits <= static_cast<std::intptr_t>(static_cast<std::int32_t>(0x800000FFu));
}

std::u16string reg_handle_text(Nev_hkey root) {
  std::u16string text = u"0x";
  nev_append_hex(text, low_bits(root), 8, true);
  return text;
}

std::u16string reg_join_path(const std::u16string& key, const std::u16string& subkey) {
  if (subkey.empty()) return key;
  std::u16string path;
  path.reserve(key.size() + 1 + subkey.size());
  path += key;
  path += u'\\';
  path += subkey;
  return path;
}

std::vector<std::u16string> reg_split_path(const std::u16string& path) {
  std::vector<std::u16string> names;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find(u'\\', start);
    if (end == std::u16string::npos) end = path.size();
    if (end > start) names.emplace_back(path, start, end - start);
    start = end + 1;
  }
  return names;
}

std::u16string reg_fold(const std::u16string& text) {
  std::u16string folded(text.size(), u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) folded[i] = nev_to_upper(text[i]);
  return folded;
}

namespace {

bool check_length(const std::u16string& name, std::size_t limit, Nev_status& status) {
  if (name.size() <= limit) return true;
  status.assign(NEV_E_REG_NAME_TOO_LONG, Nev_wstring_status_arg(name),
                Nev_uint_status_arg(static_cast<unsigned>(name.size()), true),
                Nev_uint_status_arg(static_cast<unsigned>(limit), true));
  return false;
}

}  // namespace

bool reg_check_key_path(const std::u16string& path, Nev_status& status) {
  status.clear();
  std::size_t levels = 0;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find(u'\\', start);
    if (end == std::u16string::npos) end = path.size();
    if (end - start > NEV_REG_MAX_KEY_NAME) return check_length(path.substr(start, end - start), NEV_REG_MAX_KEY_NAME, status);
    if (end > start) ++levels;
    start = end + 1;
  }
  if (levels <= REG_MAX_DEPTH) return true;
  // The message shows the start of the path: the whole may be very long.
  constexpr std::size_t SHOWN = 200;
  const std::u16string shown = path.size() <= SHOWN ? path : path.substr(0, SHOWN) + u"...";
  status.assign(NEV_E_REG_PATH_TOO_DEEP, Nev_wstring_status_arg(shown),
                Nev_uint_status_arg(static_cast<unsigned>(std::min<std::size_t>(levels, UINT32_MAX)), true),
                Nev_uint_status_arg(static_cast<unsigned>(REG_MAX_DEPTH), true));
  return false;
}

bool reg_check_value_name(const std::u16string& name, Nev_status& status) {
  status.clear();
  return check_length(name, NEV_REG_MAX_VALUE_NAME, status);
}

long reg_fill_enumerated_value(const Nev_reg_value& value, char16_t* name, std::uint32_t* name_count,
                               std::uint32_t* type, std::uint8_t* data, std::uint32_t* data_count) {
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


}  // namespace detail

// A service's parameters live in the "Parameters" subkey of its service key,
// beside the diagnostic settings that other parts of the toolbox keep there.
void nev_get_reg_string_parameter(const std::u16string& service, const std::u16string& value_name,
                                  std::u16string& value, Nev_status& status) {
  nev_get_reg_string_value(NEV_HKEY_LOCAL_MACHINE, nev_reg_service_parameters_key(service), u"", value_name,
                           value, status);
}

void nev_get_reg_uint_parameter(const std::u16string& service, const std::u16string& value_name,
                                std::uint32_t& value, Nev_status& status) {
  nev_get_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, nev_reg_service_parameters_key(service), u"", value_name,
                         value, status);
}

}  // namespace nev
