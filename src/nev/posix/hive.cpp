// The parts of a hive that every kind shares.
#include "nev/posix/hive.h"

#include <cstdint>

namespace nev::detail {

Hive::~Hive() = default;

Hive_counters Hive::counters() const noexcept { return {}; }

std::size_t Hive::value_capacity(const std::u16string& /*name*/) const noexcept { return SIZE_MAX; }

const Nev_reg_value* Value_list::find(const std::u16string& fold) const {
  const auto found = by_fold.find(fold);
  return found != by_fold.end() ? &values[found->second] : nullptr;
}

}  // namespace nev::detail
