// kovreg: edits the registry from the command line.
//
//   kovreg [--machine NAME | --hive PATH] COMMAND ...
//   query  KEY [/v NAME | /ve] [/s]
//   add    KEY [/v NAME | /ve] [/t TYPE] [/d DATA] [/f]
//   delete KEY [/v NAME | /ve | /va] [/f]
//   import FILE
//   export KEY FILE [--utf8 | --regedit4] [/y]
//
// KEY begins with its root, long or short: HKLM\Software or
// HKEY_LOCAL_MACHINE\Software. --machine works on a named machine's hive,
// --hive on the hive file PATH instead of this machine's. Exit code 0 on
// success, 1 on failure, 2 for a command line that is not understood.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "nev/system.h"
#include "reg_file.h"

using namespace nev;

namespace {

const char* const USAGE =
    "usage: kovreg [--machine NAME | --hive PATH] COMMAND ...\n"
    "  query  KEY [/v NAME | /ve] [/s]\n"
    "  add    KEY [/v NAME | /ve] [/t TYPE] [/d DATA] [/f]\n"
    "  delete KEY [/v NAME | /ve | /va] [/f]\n"
    "  import FILE\n"
    "  export KEY FILE [--utf8 | --regedit4] [/y]\n"
    "KEY begins with its root: HKLM, HKCU, HKCR, HKU, HKCC or the long names.\n"
    "TYPE: REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ (DATA parts separated by \\0),\n"
    "      REG_DWORD, REG_QWORD (decimal or 0x...), REG_BINARY, REG_NONE (hex digits).\n";

// A command line that is not understood.
struct Usage_error {
  std::string reason;
};

struct Options {
  std::string command;
  std::vector<std::string> operands;
  std::string machine;
  std::string hive;
  bool has_value_name = false;
  std::string value_name;
  bool default_value = false;  // /ve
  bool all_values = false;     // /va
  bool recursive = false;      // /s
  bool force = false;          // /f
  std::string type = "REG_SZ";
  bool has_data = false;
  std::string data;
  bool utf8 = false;
  bool regedit4 = false;
};

bool is_switch(const std::string& text, const char* name) {
  if (text.size() != std::strlen(name) || (text[0] != '/' && text[0] != '-')) return false;
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != name[i]) return false;
  }
  return true;
}

Options parse_options(int argc, char** argv) {
  Options options;
  auto next = [&](int& i, const char* what) -> std::string {
    if (i + 1 >= argc) throw Usage_error{std::string(what) + " needs a value"};
    return argv[++i];
  };
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--machine") {
      options.machine = next(i, "--machine");
    } else if (argument == "--hive") {
      options.hive = next(i, "--hive");
    } else if (argument == "--utf8") {
      options.utf8 = true;
    } else if (argument == "--regedit4") {
      options.regedit4 = true;
    } else if (argument == "--help" || argument == "/?") {
      throw Usage_error{""};
    } else if (is_switch(argument, "/v")) {
      options.has_value_name = true;
      options.value_name = next(i, "/v");
    } else if (is_switch(argument, "/ve")) {
      options.default_value = true;
    } else if (is_switch(argument, "/va")) {
      options.all_values = true;
    } else if (is_switch(argument, "/s")) {
      options.recursive = true;
    } else if (is_switch(argument, "/f") || is_switch(argument, "/y")) {
      options.force = true;
    } else if (is_switch(argument, "/t")) {
      options.type = next(i, "/t");
    } else if (is_switch(argument, "/d")) {
      options.has_data = true;
      options.data = next(i, "/d");
    } else if (argument.size() > 1 && argument[0] == '/' && argument.size() <= 3) {
      throw Usage_error{"unknown switch " + argument};
    } else if (argument.rfind("--", 0) == 0) {
      throw Usage_error{"unknown option " + argument};
    } else if (options.command.empty()) {
      options.command = argument;
    } else {
      options.operands.push_back(argument);
    }
  }
  if (options.command.empty()) throw Usage_error{"no command given"};
  if (!options.machine.empty() && !options.hive.empty()) throw Usage_error{"--machine and --hive exclude each other"};
  if (options.has_value_name + options.default_value + options.all_values > 1) {
    throw Usage_error{"/v, /ve and /va exclude each other"};
  }
  return options;
}

// ---- output -----------------------------------------------------------------------

void print(const std::u16string& text) { std::cout << nev_to_utf8(text); }

// A failure for people: every code of the status as its message.
int report(const Nev_status& status) {
  std::cerr << "kovreg: " << nev_to_utf8(nev_status_text(status)) << "\n";
  return 1;
}

std::u16string type_name(std::uint32_t type) {
  switch (type) {
    case NEV_REG_NONE: return u"REG_NONE";
    case NEV_REG_SZ: return u"REG_SZ";
    case NEV_REG_EXPAND_SZ: return u"REG_EXPAND_SZ";
    case NEV_REG_BINARY: return u"REG_BINARY";
    case NEV_REG_DWORD: return u"REG_DWORD";
    case NEV_REG_MULTI_SZ: return u"REG_MULTI_SZ";
    case NEV_REG_QWORD: return u"REG_QWORD";
    default: {
      std::u16string number;
      nev_itow(type, number, 16, false);
      return u"REG_0x" + number;
    }
  }
}

std::u16string units_of(const std::vector<std::uint8_t>& data) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < data.size(); i += 2) text += static_cast<char16_t>(data[i] | (data[i + 1] << 8));
  return text;
}

std::u16string data_text(const Nev_reg_value& value) {
  std::u16string text;
  if ((value.type == NEV_REG_SZ || value.type == NEV_REG_EXPAND_SZ) && value.data.size() % 2 == 0) {
    text = units_of(value.data);
    return text.substr(0, text.find(u'\0'));
  }
  if (value.type == NEV_REG_MULTI_SZ && value.data.size() % 2 == 0) {
    for (const char16_t unit : units_of(value.data)) text += unit == u'\0' ? std::u16string(u"\\0") : std::u16string(1, unit);
    while (text.size() >= 2 && text.compare(text.size() - 2, 2, u"\\0") == 0) text.resize(text.size() - 2);
    return text;
  }
  if ((value.type == NEV_REG_DWORD && value.data.size() == 4) || (value.type == NEV_REG_QWORD && value.data.size() == 8)) {
    std::uint64_t number = 0;
    for (std::size_t i = value.data.size(); i-- > 0;) number = number << 8 | value.data[i];
    static const char16_t lower_digits[] = u"0123456789abcdef";
    do {
      text.insert(text.begin(), lower_digits[number & 0xF]);
      number >>= 4;
    } while (number != 0);
    return u"0x" + text;
  }
  static const char16_t digits[] = u"0123456789ABCDEF";
  for (const std::uint8_t byte : value.data) {
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
  }
  return text;
}

void print_value(const Nev_reg_value& value) {
  print(u"    " + (value.name.empty() ? std::u16string(u"(Default)") : value.name) + u"    " + type_name(value.type) +
        u"    " + data_text(value) + u"\n");
}

bool confirm(const std::string& question) {
  std::cout << question << " (Yes/No)? " << std::flush;
  std::string answer;
  if (!std::getline(std::cin, answer)) return false;
  return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES";
}

// ---- keys and roots ------------------------------------------------------------------

// The registry the command works on: this machine's or a named one's.
class Registry {
 public:
  explicit Registry(std::string machine) : m_machine(std::move(machine)) {}
  ~Registry() {
    for (auto& entry : m_connected) {
      Nev_status ignored;
      nev_disconnect_reg_root(entry.second, ignored);
    }
  }
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  // The handle of root `index`; null with the reason in `status`.
  Nev_hkey root(int index, Nev_status& status) {
    static const Nev_hkey roots[] = {NEV_HKEY_CLASSES_ROOT, NEV_HKEY_CURRENT_USER, NEV_HKEY_LOCAL_MACHINE,
                                     NEV_HKEY_USERS, NEV_HKEY_CURRENT_CONFIG};
    status.clear();
    if (m_machine.empty()) return roots[index];
    const auto found = m_connected.find(index);
    if (found != m_connected.end()) return found->second;
    const Nev_hkey handle = nev_connect_reg_root(nev_from_utf8(m_machine), roots[index], status);
    if (handle != nullptr) m_connected[index] = handle;
    return handle;
  }

 private:
  std::string m_machine;
  std::map<int, Nev_hkey> m_connected;
};

// A key named on the command line.
struct Key {
  int root = 0;
  Nev_hkey handle = nullptr;
  std::u16string path;

  std::u16string name() const { return path.empty() ? kovreg::root_name(root) : kovreg::root_name(root) + u"\\" + path; }
};

bool resolve_key(Registry& registry, const std::string& text, Key& key, Nev_status& status) {
  const std::u16string wide = nev_from_utf8(text);
  if (!kovreg::split_key(wide, true, key.root, key.path)) {
    status.assign(NEV_E_REG_BAD_ROOT, Nev_wstring_status_arg(wide.substr(0, wide.find(u'\\'))));
    return false;
  }
  key.handle = registry.root(key.root, status);
  return key.handle != nullptr;
}

std::u16string join(const std::u16string& path, const std::u16string& name) {
  return path.empty() ? name : path + u"\\" + name;
}

// Calls `visit` with each subkey of `key`, in enumeration order, until it
// answers false; false when the enumeration failed or a visit said stop.
template <class Visit>
bool for_each_subkey(const Key& key, Nev_status& status, Visit visit) {
  Nev_object_vector<std::u16string> subkeys;
  nev_enum_reg_keys(key.handle, key.path, u"", subkeys, status);
  if (!status.ok()) return false;
  for (const std::u16string* subkey : subkeys) {
    Key child = key;
    child.path = join(key.path, *subkey);
    if (!visit(child)) return false;
  }
  return true;
}

// ---- query -------------------------------------------------------------------------------

// A key's full name on a line of its own, after a blank line. Built by
// appending: g++ 12 at -O3 warns falsely (-Wrestrict) on literal + string.
void print_key_name(const Key& key) {
  std::u16string line(1, u'\n');
  line += key.name();
  line += u'\n';
  print(line);
}

bool query_tree(const Key& key, const Options& options, const std::u16string& value_name, bool& found,
                Nev_status& status) {
  std::vector<Nev_reg_value> values;
  nev_enum_reg_values(key.handle, key.path, values, status);
  if (!status.ok()) return false;
  const bool one_value = options.has_value_name || options.default_value;
  bool header = false;
  for (const Nev_reg_value& value : values) {
    if (one_value && !nev_string_equal_nc(value.name, value_name)) continue;
    if (!header) print_key_name(key);
    header = true;
    found = true;
    print_value(value);
  }
  return for_each_subkey(key, status, [&](const Key& child) {
    if (options.recursive) return query_tree(child, options, value_name, found, status);
    if (!one_value) print_key_name(child);
    return true;
  });
}

int query(Registry& registry, const Options& options) {
  if (options.operands.size() != 1) throw Usage_error{"query takes one KEY"};
  Nev_status status;
  Key key;
  if (!resolve_key(registry, options.operands[0], key, status)) return report(status);
  const std::u16string value_name = nev_from_utf8(options.value_name);
  if ((options.has_value_name || options.default_value) && !options.recursive) {
    Nev_reg_value value;
    nev_get_reg_value(key.handle, key.path, value_name, value, status);
    if (!status.ok()) return report(status);
    print_key_name(key);
    print_value(value);
    return 0;
  }
  bool found = false;
  if (!query_tree(key, options, value_name, found, status)) return report(status);
  if ((options.has_value_name || options.default_value) && !found) {
    status.assign(NEV_E_REG_VALUE_NOT_FOUND, Nev_wstring_status_arg(key.name()), Nev_wstring_status_arg(value_name));
    return report(status);
  }
  return 0;
}

// ---- add ----------------------------------------------------------------------------------

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

std::vector<std::uint8_t> wide_bytes(const std::u16string& text) {
  std::vector<std::uint8_t> bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

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

// ---- delete ---------------------------------------------------------------------------------

int remove(Registry& registry, const Options& options) {
  if (options.operands.size() != 1) throw Usage_error{"delete takes one KEY"};
  Nev_status status;
  Key key;
  if (!resolve_key(registry, options.operands[0], key, status)) return report(status);
  const std::u16string value_name = nev_from_utf8(options.value_name);
  const bool one_value = options.has_value_name || options.default_value;
  if (!one_value && !options.all_values && key.path.empty()) {
    status.assign(NEV_E_INVALID_ARGUMENT, Nev_wstring_status_arg(u"kovreg delete"));
    return report(status);
  }
  const std::string what = one_value ? "the registry value " + nev_to_utf8(value_name.empty() ? u"(Default)" : value_name)
                           : options.all_values ? "all values of the registry key " + nev_to_utf8(key.name())
                                                : "the registry key " + nev_to_utf8(key.name());
  if (!options.force && !confirm("Permanently delete " + what)) {
    std::cout << "The operation was cancelled.\n";
    return 1;
  }
  if (one_value) {
    nev_delete_reg_value(key.handle, key.path, value_name, status);
  } else if (options.all_values) {
    std::vector<Nev_reg_value> values;
    nev_enum_reg_values(key.handle, key.path, values, status);
    std::vector<Nev_reg_change> changes;
    for (const Nev_reg_value& value : values) {
      Nev_reg_change change;
      change.kind = Nev_reg_change::DELETE_VALUE;
      change.root = key.handle;
      change.key = key.path;
      change.value.name = value.name;
      changes.push_back(std::move(change));
    }
    if (status.ok()) nev_apply_reg_changes(changes, status);
  } else {
    nev_delete_reg_tree(key.handle, key.path, status);
  }
  if (!status.ok()) return report(status);
  std::cout << "The operation completed successfully.\n";
  return 0;
}

// ---- import and export ----------------------------------------------------------------------

// A UTF-8 path as the file system takes it (wide on Windows).
std::filesystem::path local_path(const std::string& path) { return std::filesystem::path(nev_from_utf8(path)); }

bool read_file(const std::string& path, std::string& bytes, Nev_status& status) {
  std::ifstream file(local_path(path), std::ios::binary);
  if (!file) {
    status.assign(NEV_E_FILE_OPEN, Nev_wstring_status_arg(nev_from_utf8(path)),
                  Nev_wstring_status_arg(nev_from_utf8(std::strerror(errno))));
    return false;
  }
  bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  if (file.bad()) {
    status.assign(NEV_E_FILE_READ, Nev_wstring_status_arg(nev_from_utf8(path)),
                  Nev_wstring_status_arg(u"the file could not be read to its end"));
    return false;
  }
  return true;
}

int import(Registry& registry, const Options& options) {
  if (options.operands.size() != 1) throw Usage_error{"import takes one FILE"};
  const std::string& path = options.operands[0];
  Nev_status status;
  std::string bytes;
  if (!read_file(path, bytes, status)) return report(status);
  std::vector<kovreg::File_change> parsed;
  kovreg::File_error error;
  if (!kovreg::parse_file(kovreg::decode_file(bytes), parsed, error)) {
    status.assign(NEV_E_REG_FILE_LINE, Nev_wstring_status_arg(nev_from_utf8(path)),
                  Nev_uint_status_arg(static_cast<unsigned>(error.line), true), Nev_wstring_status_arg(error.reason));
    return report(status);
  }
  std::vector<Nev_reg_change> changes;
  for (kovreg::File_change& change : parsed) {
    Nev_reg_change applied;
    applied.kind = change.kind;
    applied.root = registry.root(change.root, status);
    if (!status.ok()) return report(status);
    applied.key = std::move(change.key);
    applied.value = std::move(change.value);
    changes.push_back(std::move(applied));
  }
  nev_apply_reg_changes(changes, status);
  if (!status.ok()) return report(status);
  std::cout << "The operation completed successfully.\n";
  return 0;
}

bool gather(const Key& key, std::vector<kovreg::Export_key>& keys, Nev_status& status) {
  kovreg::Export_key entry;
  entry.name = key.name();
  nev_enum_reg_values(key.handle, key.path, entry.values, status);
  if (!status.ok()) return false;
  keys.push_back(std::move(entry));
  return for_each_subkey(key, status, [&](const Key& child) { return gather(child, keys, status); });
}

int export_key(Registry& registry, const Options& options) {
  if (options.operands.size() != 2) throw Usage_error{"export takes a KEY and a FILE"};
  if (options.utf8 && options.regedit4) throw Usage_error{"--utf8 and --regedit4 exclude each other"};
  Nev_status status;
  Key key;
  if (!resolve_key(registry, options.operands[0], key, status)) return report(status);
  std::vector<kovreg::Export_key> keys;
  if (!gather(key, keys, status)) return report(status);
  const kovreg::Dialect dialect = options.regedit4 ? kovreg::Dialect::version4
                                  : options.utf8   ? kovreg::Dialect::version5_utf8
                                                   : kovreg::Dialect::version5_utf16;
  const std::string bytes = kovreg::encode_file(keys, dialect);
  const std::string& path = options.operands[1];
  if (!options.force && std::ifstream(local_path(path)).good() && !confirm("The file " + path + " exists, overwrite")) {
    std::cout << "The operation was cancelled.\n";
    return 1;
  }
  std::ofstream file(local_path(path), std::ios::binary | std::ios::trunc);
  if (!file) {
    status.assign(NEV_E_FILE_OPEN, Nev_wstring_status_arg(nev_from_utf8(path)),
                  Nev_wstring_status_arg(nev_from_utf8(std::strerror(errno))));
    return report(status);
  }
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    status.assign(NEV_E_FILE_WRITE, Nev_wstring_status_arg(nev_from_utf8(path)),
                  Nev_wstring_status_arg(nev_from_utf8(std::strerror(errno))));
    return report(status);
  }
  std::cout << "The operation completed successfully.\n";
  return 0;
}

int run(const Options& options) {
  if (!options.hive.empty()) {
    // putenv keeps the text it is given, and exists wherever the tool builds.
    static std::string assignment;
    assignment = "NEV_REGISTRY=" + options.hive;
    ::putenv(assignment.data());
  }
  Registry registry(options.machine);
  const std::string& command = options.command;
  if (command == "query") return query(registry, options);
  if (command == "add") return add(registry, options);
  if (command == "delete") return remove(registry, options);
  if (command == "import") return import(registry, options);
  if (command == "export") return export_key(registry, options);
  throw Usage_error{"unknown command " + command};
}

}  // namespace

int main(int argc, char** argv) {
  nev::Nev_utf8_arguments arguments(argc, argv);  // every character, on Windows too
  argc = arguments.count();
  argv = arguments.argv();
  try {
    return run(parse_options(argc, argv));
  } catch (const Usage_error& error) {
    if (!error.reason.empty()) std::cerr << "kovreg: " << error.reason << "\n";
    std::cerr << USAGE;
    return error.reason.empty() ? 0 : 2;
  } catch (const std::exception& error) {
    std::cerr << "kovreg: " << error.what() << "\n";
    return 1;
  }
}
