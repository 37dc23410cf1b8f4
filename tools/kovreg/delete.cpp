// kovreg delete: removes a value, all values of a key, or a key with its subkeys.
#include <iostream>
#include <vector>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "tool.h"

using namespace nev;

namespace kovreg {

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

}  // namespace kovreg
