// kovreg query: prints keys and values.
#include <vector>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "tool.h"

using namespace nev;

namespace kovreg {

namespace {

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

}  // namespace

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

}  // namespace kovreg
