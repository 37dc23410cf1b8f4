// UTF-8 and UTF-16 conversion. The input read as UTF-8 is checked against a
// strict reference decoder (each malformed sequence one U+FFFD is not
// asserted unit by unit, but well-formed input must decode exactly and
// re-encode to the same bytes); the input read as UTF-16LE must survive
// to_utf8 and back unchanged except for lone surrogates, which become U+FFFD.
#include "fuzz_support.h"
#include "nev/strings.h"

namespace {

// Decodes well-formed UTF-8 (no overlong forms, no surrogates, nothing
// above U+10FFFF); false at the first malformed sequence.
bool strict_decode(const std::string& bytes, std::u16string& out) {
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const int length = lead < 0x80 ? 1 : lead >= 0xC2 && lead <= 0xDF ? 2 : lead >= 0xE0 && lead <= 0xEF ? 3
                                           : lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
    if (length == 0 || i + static_cast<std::size_t>(length) > bytes.size()) return false;
    char32_t point = length == 1 ? lead : lead & (0x7F >> length);
    for (int k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + static_cast<std::size_t>(k)]);
      if ((next & 0xC0) != 0x80) return false;
      point = point << 6 | (next & 0x3F);
    }
    const char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (point < least[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) return false;
    if (point >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(point);
    }
    i += static_cast<std::size_t>(length);
  }
  return true;
}

// `text` with each lone surrogate replaced by U+FFFD.
std::u16string without_lone_surrogates(const std::u16string& text) {
  std::u16string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    const bool high = unit >= 0xD800 && unit <= 0xDBFF;
    if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      out += unit;
      out += text[++i];
    } else {
      out += unit >= 0xD800 && unit <= 0xDFFF ? char16_t{0xFFFD} : unit;
    }
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);

  const std::u16string decoded = nev::nev_from_utf8(bytes);
  std::u16string strict;
  if (strict_decode(bytes, strict)) {
    FUZZ_CHECK(decoded == strict);
    FUZZ_CHECK(nev::nev_to_utf8(decoded) == bytes);
  } else {
    FUZZ_CHECK(decoded.find(u'\uFFFD') != std::u16string::npos);
  }
  // Whatever came out is well-formed: it converts back and forth unchanged.
  FUZZ_CHECK(without_lone_surrogates(decoded) == decoded);
  const std::string encoded = nev::nev_to_utf8(decoded);
  std::u16string check;
  FUZZ_CHECK(strict_decode(encoded, check) && check == decoded);

  std::u16string units;
  for (std::size_t i = 0; i + 1 < size; i += 2) units += static_cast<char16_t>(data[i] | data[i + 1] << 8);
  const std::string utf8 = nev::nev_to_utf8(units);
  std::u16string back;
  FUZZ_CHECK(strict_decode(utf8, back));
  FUZZ_CHECK(back == without_lone_surrogates(units));
  FUZZ_CHECK(nev::nev_from_utf8(utf8) == back);

  // The 8-bit forms: bytes to units one by one and back.
  FUZZ_CHECK(nev::nev_wtos(nev::nev_stow(bytes)) == bytes);
  return 0;
}
