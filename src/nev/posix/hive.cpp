// What every kind of hive shares: folded names as bytes, the value list.
#include "nev/posix/hive.h"

#include "nev/strings.h"

namespace nev::detail {

std::string folded_bytes(const std::u16string& name) {
  std::string bytes(name.size() * 2, '\0');
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char16_t unit = nev_to_upper(name[i]);
    bytes[2 * i] = static_cast<char>(unit >> 8);
    bytes[2 * i + 1] = static_cast<char>(unit & 0xFF);
  }
  return bytes;
}

const Nev_reg_value* Value_list::find(const std::u16string& fold) const {
  const auto found = by_fold.find(fold);
  return found != by_fold.end() ? &values[found->second] : nullptr;
}

}  // namespace nev::detail
