// kovreg query: prints keys and values.
#include <cstdint>
#include <vector>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "tool.h"
#include "tree_walk.h"

using namespace nev;

namespace kovreg {

namespace {

// A key's full name on a line of its own, after a blank line. Built by
// appending: g++ 12 at -O3 warns falsely (-Wrestrict) on literal + string.
void print_key_name(const std::u16string& name) {
  std::u16string line(1, u'\n');
  line += name;
  line += u'\n';
  print(line);
}

// Prints the values of `key` (the one asked for, or all) and, with /s, of
// every key below it; without /s the names of its subkeys follow.
bool query_tree(const Key& key, const Options& options, const std::u16string& value_name, bool& found,
                Nev_status& status) {
  const bool one_value = options.has_value_name || options.default_value;
  const std::size_t depth = options.recursive ? SIZE_MAX : 1;
  return walk_tree(key.handle, key.path, key.name(), depth, status, [&](const Walked_key& walked) {
    if (!options.recursive && walked.depth == 1) {
      if (!one_value) print_key_name(walked.name);
      return true;
    }
    std::vector<Nev_reg_value> values;
    nev_enum_reg_values(walked.handle, u"", values, status);
    if (!status.ok()) return false;
    bool header = false;
    for (const Nev_reg_value& value : values) {
      if (one_value && !nev_string_equal_nc(value.name, value_name)) continue;
      if (!header) print_key_name(walked.name);
      header = true;
      found = true;
      print_value(value);
    }
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
    print_key_name(key.name());
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
