// kov_check_for_pattern.
#include "kov/pattern.h"

#include "kov/codes.h"
#include "nev/codes.h"

namespace kov {

bool kov_check_for_pattern(nev::Nev_istream& stream, std::uint64_t offset, const unsigned char* pattern,
                           std::uint32_t length, nev::Nev_status& status) {
  status.clear();
  bool answer = true;
  for (std::uint32_t index = 0; index < length && answer; ++index) {
    unsigned char byte = 0;
    stream.read_at(offset + index, 1, &byte, status);
    if (!status.ok() || byte != pattern[index]) answer = false;
  }
  if (status == nev::NEV_END_OF_STREAM) {
    answer = false;
    status.clear();
  }
  if (!status.ok()) {
    status.push(KOV_E_PATTERN_READ);
    return false;
  }
  return answer;
}

}  // namespace kov
