// IPv4 text: any text through ip_string_to_num; every address read written
// back in dotted decimal and read again to the same number, its bytes put
// together again from ip_byte, and its hexadecimal form eight digits.
#include "fuzz_support.h"
#include "kov/ip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string text = fuzz::text_of(std::string(reinterpret_cast<const char*>(data), size));
  std::uint32_t number = 1;
  // A success leaves the status as it came: it starts out holding a code.
  nev::Nev_status status;
  status = 0xC0000001u;
  kov::ip_string_to_num(text, number, status);
  if (status.code() != 0xC0000001u) {
    FUZZ_CHECK(number == 0);
    return 0;
  }
  FUZZ_CHECK(number != 0xFFFFFFFFu);
  std::u16string dotted;
  kov::ip_num_to_string(number, dotted, 10, u'.');
  std::uint32_t again = 0;
  nev::Nev_status second;
  kov::ip_string_to_num(dotted, again, second);
  FUZZ_CHECK(second.ok() && again == number);
  std::uint32_t joined = 0;
  for (std::uint16_t byte = 0; byte < 4; ++byte) joined |= std::uint32_t{kov::ip_byte(byte, number)} << (8 * byte);
  FUZZ_CHECK(joined == number);
  std::u16string hex;
  kov::ip_num_to_string(number, hex, 16, 0);
  FUZZ_CHECK(hex.size() == 8);
  return 0;
}
