// The stored text form of properties: any text through
// convert_from_persistent_string, and every value that converts written
// back with get_persistent_string and read again to the same type and text.
// A second mode builds integer, text and period values from the input and
// checks the same round trip from the value side.
#include <cstdlib>
#include <stdexcept>

#include "fuzz_support.h"
#include "kov/property.h"
#include "nev/time.h"

using kov::Kov_property;

namespace {

// Writes `property` and reads the text back: same type, same text, equal.
void check_round_trip(Kov_property& property) {
  const std::u16string stored = property.get_persistent_string();
  (void)property.get_display_string();
  Kov_property again(property.name(), stored);
  Kov_property::Type type = Kov_property::STRING;
  try {
    type = again.convert_from_persistent_string();
  } catch (const std::runtime_error&) {
    FUZZ_CHECK(!"a written persistent string does not read back");
  }
  FUZZ_CHECK(type == property.type());
  FUZZ_CHECK(again.get_persistent_string() == stored);
  FUZZ_CHECK(again.operator==(property));
}

void from_text(const std::u16string& text) {
  Kov_property property(u"n", text);
  try {
    property.convert_from_persistent_string();
  } catch (const std::runtime_error&) {
    FUZZ_CHECK(property.type() == Kov_property::STRING);
    return;
  }
  check_round_trip(property);
}

void from_values(fuzz::Reader& input) {
  const auto number = static_cast<int>(input.u32());
  Kov_property integer(u"i", number);
  check_round_trip(integer);
  Kov_property flag(u"b", (number & 1) != 0);
  check_round_trip(flag);
  const nev::Nev_time_period period(static_cast<int>(input.u32() % 100000), static_cast<int>(input.u32() % 100),
                                    static_cast<int>(input.u32() % 100), static_cast<int>(input.u32() % 100),
                                    static_cast<int>(input.u32() % 2000000));
  Kov_property span(u"t", period);
  check_round_trip(span);
  std::u16string text = fuzz::text_of(input.rest());
  // The stored form ends at the first NUL; text values carry none.
  text = text.substr(0, text.find(u'\0'));
  Kov_property words(u"s", text);
  check_round_trip(words);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Dates are read in the local zone: a zone without daylight saving keeps
  // every written time readable.
  setenv("TZ", "UTC", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Reader input(data, size);
  if (size > 0 && data[0] == 0xFE) {
    input.byte();
    from_values(input);
  } else {
    from_text(fuzz::text_of(input.rest()));
  }
  return 0;
}
