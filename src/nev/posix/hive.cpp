// The value list that every kind of hive fills.
#include "nev/posix/hive.h"

namespace nev::detail {

const Nev_reg_value* Value_list::find(const std::u16string& fold) const {
  const auto found = by_fold.find(fold);
  return found != by_fold.end() ? &values[found->second] : nullptr;
}

}  // namespace nev::detail
