// Type identifiers: any text through kov_string_to_type, compared for plain
// ASCII text with the C library's own wide scanf of the documented format;
// every identifier read written back and read again to the same 16 bytes.
#include <cwchar>

#include "fuzz_support.h"
#include "kov/type_id.h"

namespace {

// What the C library's scanf makes of `text`, as the documented contract
// describes it: all zeros unless all eleven numbers were read.
_GUID library_reading(const std::u16string& text) {
  std::wstring wide;
  for (const char16_t unit : text) {
    if (unit == u'\0') break;
    wide += static_cast<wchar_t>(unit);
  }
  unsigned n[11] = {};
  const int count = std::swscanf(wide.c_str(), L"{%8X-%4X-%4X-%2X%2X-%2X%2X%2X%2X%2X%2X}", &n[0], &n[1], &n[2],
                                 &n[3], &n[4], &n[5], &n[6], &n[7], &n[8], &n[9], &n[10]);
  _GUID type{};
  if (count == 11) {
    type.Data1 = n[0];
    type.Data2 = static_cast<std::uint16_t>(n[1]);
    type.Data3 = static_cast<std::uint16_t>(n[2]);
    for (int i = 0; i < 8; ++i) type.Data4[i] = static_cast<std::uint8_t>(n[3 + i]);
  }
  return type;
}

bool ascii(const std::u16string& text) {
  for (const char16_t unit : text) {
    if (unit >= 0x80) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string text = fuzz::text_of(std::string(reinterpret_cast<const char*>(data), size));
  _GUID type{};
  kov::kov_string_to_type(text, type);
  // Outside ASCII the C library's idea of white space depends on the
  // locale; the comparison keeps to the text where both agree.
  if (ascii(text)) {
    const _GUID expected = library_reading(text);
    FUZZ_CHECK(kov::kov_is_equal_type(type, expected));
  }
  std::u16string written;
  kov::kov_type_to_string(type, written);
  FUZZ_CHECK(written.size() == 38);
  for (const char16_t unit : written) FUZZ_CHECK(unit < u'a' || unit > u'z');
  _GUID again{};
  kov::kov_string_to_type(written, again);
  FUZZ_CHECK(kov::kov_is_equal_type(type, again));
  return 0;
}
