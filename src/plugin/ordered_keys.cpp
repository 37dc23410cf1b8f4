// Ordered registry keys: reading and writing the order value of a key, and
// building registry paths.
#include "kov/ordered_keys.h"

#include "entry/statics.h"
#include "nev/tokeniser.h"

namespace kov {

const std::u16string& kov_order_value_name() noexcept { return detail::order_value_name; }

namespace {

// Drops, in place, every name of `keys` that has no subkey of root\key. An
// erased element's successor moves into its place and is examined next.
void drop_missing_keys(nev::Nev_hkey root, const std::u16string& key, nev::Nev_object_vector<std::u16string>& keys) {
  unsigned index = 0;
  while (index < keys.size()) {
    if (nev::nev_reg_key_exists(root, key, keys[index])) {
      ++index;
    } else {
      keys.erase(index);
    }
  }
}

}  // namespace

void kov_enum_reg_keys_in_order(nev::Nev_hkey root, const std::u16string& key,
                                nev::Nev_object_vector<std::u16string>& keys, nev::Nev_status& status) {
  status.clear();
  keys.clear();
  std::u16string order;
  nev::nev_get_reg_string_value(root, key, u"", detail::order_value_name, order, status);
  if (!status.ok()) {
    // No stated order: the registry's own order is the answer.
    nev::nev_enum_reg_keys(root, key, u"", keys, status);
    return;
  }
  const nev::Nev_tokeniser split(u";", u"", u"\n", u"", false, false);
  split.tokenise(order, keys);
  drop_missing_keys(root, key, keys);
  status.clear();
}

void kov_set_reg_keys_order(nev::Nev_hkey root, const std::u16string& key,
                            const nev::Nev_object_vector<std::u16string>& keys, nev::Nev_status& status) {
  std::u16string order;
  for (const std::u16string* name : keys) {
    if (!order.empty()) order += u';';
    order += *name;
  }
  nev::nev_set_reg_string_value(root, key, u"", detail::order_value_name, order, status);
}

std::u16string kov_make_path(const std::u16string& first, const std::u16string& second, const std::u16string& third) {
  std::u16string path;
  path.reserve(first.size() + second.size() + third.size() + 2);
  path += first;
  path += u'\\';
  path += second;
  if (!third.empty()) {
    path += u'\\';
    path += third;
  }
  return path;
}

}  // namespace kov
