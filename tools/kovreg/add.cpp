// kovreg add: creates a key or sets a value from /t and /d.
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <utility>
#include <vector>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "tool.h"

using namespace nev;

namespace kovreg {

namespace {

bool parse_number(const std::string& text, std::uint64_t limit, std::uint64_t& number) {
  if (text.empty()) return false;
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string digits = hex ? text.substr(2) : text;
  if (digits.empty() || digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") != std::string::npos) {
    return false;
  }
  errno = 0;
  number = std::strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
  return errno == 0 && number <= limit;
}

std::vector<std::uint8_t> wide_bytes(const std::u16string& text) { return nev_to_utf16le(text, false); }

// The type and bytes that /t and /d describe.
Nev_reg_value value_from_options(const Options& options) {
  Nev_reg_value value;
  value.name = nev_from_utf8(options.value_name);
  const std::u16string type = nev_from_utf8(options.type);
  const std::u16string data = nev_from_utf8(options.data);
  const std::pair<const char16_t*, std::uint32_t> types[] = {
      {u"REG_SZ", NEV_REG_SZ},         {u"REG_EXPAND_SZ", NEV_REG_EXPAND_SZ}, {u"REG_MULTI_SZ", NEV_REG_MULTI_SZ},
      {u"REG_DWORD", NEV_REG_DWORD},   {u"REG_QWORD", NEV_REG_QWORD},         {u"REG_BINARY", NEV_REG_BINARY},
      {u"REG_NONE", NEV_REG_NONE}};
  bool known = false;
  for (const auto& entry : types) {
    if (nev_string_equal_nc(type, entry.first)) {
      value.type = entry.second;
      known = true;
    }
  }
  if (!known) throw Usage_error{"unknown type " + options.type};
  switch (value.type) {
    case NEV_REG_SZ:
    case NEV_REG_EXPAND_SZ:
      value.data = wide_bytes(data + u'\0');
      break;
    case NEV_REG_MULTI_SZ: {
      std::u16string units;
      for (std::size_t start = 0; !data.empty() && start <= data.size();) {
        std::size_t end = data.find(u"\\0", start);
        if (end == std::u16string::npos) end = data.size();
        units += data.substr(start, end - start) + u'\0';
        start = end + 2;
      }
      value.data = wide_bytes(units + u'\0');
      break;
    }
    case NEV_REG_DWORD:
    case NEV_REG_QWORD: {
      const bool dword = value.type == NEV_REG_DWORD;
      std::uint64_t number = 0;
      if (!parse_number(options.has_data ? options.data : "0", dword ? 0xFFFFFFFFull : ~0ull, number)) {
        throw Usage_error{options.data + " is no number for " + options.type};
      }
      for (int i = 0; i < (dword ? 4 : 8); ++i) value.data.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
      break;
    }
    default: {
      if (options.data.size() % 2 != 0 || options.data.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        throw Usage_error{"binary data is an even number of hexadecimal digits"};
      }
      for (std::size_t i = 0; i < options.data.size(); i += 2) {
        value.data.push_back(static_cast<std::uint8_t>(std::stoul(options.data.substr(i, 2), nullptr, 16)));
      }
    }
  }
  return value;
}

}  // namespace

int add(Registry& registry, const Options& options) {
  if (options.operands.size() != 1) throw Usage_error{"add takes one KEY"};
  if (options.all_values) throw Usage_error{"add does not take /va"};
  const bool sets_value = options.has_value_name || options.default_value || options.has_data;
  const Nev_reg_value value = sets_value ? value_from_options(options) : Nev_reg_value();
  Nev_status status;
  Key key;
  if (!resolve_key(registry, options.operands[0], key, status)) return report(status);
  if (!sets_value) {
    nev_create_reg_key(key.handle, key.path, status);
    if (!status.ok()) return report(status);
    std::cout << "The operation completed successfully.\n";
    return 0;
  }
  Nev_reg_value existing;
  nev_get_reg_value(key.handle, key.path, value.name, existing, status);
  if (status.ok() && !options.force &&
      !confirm("The value " + nev_to_utf8(value.name.empty() ? u"(Default)" : value.name) + " exists, overwrite")) {
    std::cout << "The operation was cancelled.\n";
    return 1;
  }
  nev_set_reg_value(key.handle, key.path, value.name, value.type, value.data, status);
  if (!status.ok()) return report(status);
  std::cout << "The operation completed successfully.\n";
  return 0;
}

}  // namespace kovreg
