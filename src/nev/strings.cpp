// Text helpers: letter case, numbers to and from text, 8-bit conversion.
// The formatter lives in format.cpp, UTF-8 in utf8.cpp.
#include "nev/strings.h"

#include <cstdint>
#include <limits>
#include <string>

namespace nev {

namespace {

// Pairs laid out upper, lower, upper, lower... from an even (or odd) start.
char16_t upper_of_pair(char16_t unit, char16_t first, char16_t last, bool upper_is_even) {
  if (unit < first || unit > last) return 0;
  const bool even = (unit & 1) == 0;
  if (even == upper_is_even) return unit;  // already upper case
  return static_cast<char16_t>(unit - 1);
}

char16_t upper_latin(char16_t unit) {
  if (unit >= u'a' && unit <= u'z') return static_cast<char16_t>(unit - 0x20);
  if (unit < 0x80) return unit;
  if (unit == 0xB5) return 0x039C;  // micro sign: Greek capital mu
  if ((unit >= 0xE0 && unit <= 0xFE) && unit != 0xF7) return static_cast<char16_t>(unit - 0x20);
  if (unit == 0xFF) return 0x0178;
  if (unit == 0x0131) return u'I';  // dotless i
  if (unit == 0x017F) return u'S';  // long s
  if (char16_t up = upper_of_pair(unit, 0x0100, 0x012F, true)) return up;
  if (char16_t up = upper_of_pair(unit, 0x0132, 0x0137, true)) return up;
  if (char16_t up = upper_of_pair(unit, 0x0139, 0x0148, false)) return up;
  if (char16_t up = upper_of_pair(unit, 0x014A, 0x0177, true)) return up;
  if (char16_t up = upper_of_pair(unit, 0x0179, 0x017E, false)) return up;
  return unit;
}

char16_t upper_greek(char16_t unit) {
  if (unit >= 0x03B1 && unit <= 0x03CB) {
    if (unit == 0x03C2) return 0x03A3;  // final sigma
    return static_cast<char16_t>(unit - 0x20);
  }
  switch (unit) {
    case 0x0371: case 0x0373: case 0x0377: return static_cast<char16_t>(unit - 1);
    case 0x037B: case 0x037C: case 0x037D: return static_cast<char16_t>(unit + 0x82);
    case 0x03AC: return 0x0386;
    case 0x03AD: case 0x03AE: case 0x03AF: return static_cast<char16_t>(unit - 0x25);
    case 0x03CC: return 0x038C;
    case 0x03CD: case 0x03CE: return static_cast<char16_t>(unit - 0x3F);
    case 0x03D0: return 0x0392;
    case 0x03D1: return 0x0398;
    case 0x03D5: return 0x03A6;
    case 0x03D6: return 0x03A0;
    case 0x03D7: return 0x03CF;
    case 0x03F0: return 0x039A;
    case 0x03F1: return 0x03A1;
    case 0x03F2: return 0x03F9;
    case 0x03F3: return 0x037F;
    case 0x03F5: return 0x0395;
    case 0x03F8: return 0x03F7;
    case 0x03FB: return 0x03FA;
    default: break;
  }
  if (char16_t up = upper_of_pair(unit, 0x03D8, 0x03EF, true)) return up;
  return unit;
}

char16_t upper_cyrillic(char16_t unit) {
  if (unit >= 0x0430 && unit <= 0x044F) return static_cast<char16_t>(unit - 0x20);
  if (unit >= 0x0450 && unit <= 0x045F) return static_cast<char16_t>(unit - 0x50);
  if (unit == 0x04CF) return 0x04C0;
  if (char16_t up = upper_of_pair(unit, 0x0460, 0x0481, true)) return up;
  if (char16_t up = upper_of_pair(unit, 0x048A, 0x04BF, true)) return up;
  if (char16_t up = upper_of_pair(unit, 0x04C1, 0x04CE, false)) return up;
  if (char16_t up = upper_of_pair(unit, 0x04D0, 0x052F, true)) return up;
  return unit;
}

bool is_blank(char16_t unit) { return unit == u' ' || (unit >= u'\t' && unit <= u'\r'); }

// An optional sign and the decimal digits behind it. The magnitude stops
// growing once it is past every 32-bit value, so it never overflows.
struct Decimal {
  bool negative = false;
  std::int64_t magnitude = 0;
  std::size_t digits = 0;
};

constexpr std::int64_t INT32_MAGNITUDE_CAP = static_cast<std::int64_t>(std::numeric_limits<std::int32_t>::max()) + 1;

// Reads a Decimal from [p, end); `p` is left at the first unit not read.
Decimal read_decimal(const char16_t*& p, const char16_t* end) {
  Decimal number;
  if (p != end && (*p == u'+' || *p == u'-')) {
    number.negative = *p == u'-';
    ++p;
  }
  for (; p != end && nev_iswdigit(*p); ++p, ++number.digits) {
    if (number.magnitude <= INT32_MAGNITUDE_CAP) number.magnitude = number.magnitude * 10 + (*p - u'0');
  }
  return number;
}

std::int32_t saturated(const Decimal& number) {
  if (number.negative) {
    return number.magnitude >= INT32_MAGNITUDE_CAP ? std::numeric_limits<std::int32_t>::min()
                                                   : static_cast<std::int32_t>(-number.magnitude);
  }
  return number.magnitude >= INT32_MAGNITUDE_CAP ? std::numeric_limits<std::int32_t>::max()
                                                 : static_cast<std::int32_t>(number.magnitude);
}

std::int32_t read_leading_number(const char16_t* p, const char16_t* end) {
  while (p != end && is_blank(*p)) ++p;
  return saturated(read_decimal(p, end));
}

}  // namespace

char16_t nev_to_upper(char16_t unit) noexcept {
  if (unit < 0x0180) return upper_latin(unit);
  if (unit >= 0x0370 && unit <= 0x03FF) return upper_greek(unit);
  if (unit >= 0x0400 && unit <= 0x052F) return upper_cyrillic(unit);
  return unit;
}

bool nev_string_equal_nc(const std::u16string& a, const std::u16string& b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i] && nev_to_upper(a[i]) != nev_to_upper(b[i])) return false;
  }
  return true;
}

bool nev_string_unequal_nc(const std::u16string& a, const std::u16string& b) noexcept {
  return !nev_string_equal_nc(a, b);
}

int nev_compare_nc(const std::u16string& a, const std::u16string& b) noexcept {
  const std::size_t common = a.size() < b.size() ? a.size() : b.size();
  for (std::size_t i = 0; i < common; ++i) {
    const char16_t x = nev_to_upper(a[i]);
    const char16_t y = nev_to_upper(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

void nev_itow(std::int64_t value, std::u16string& out, unsigned base, bool group) {
  out.clear();
  if (base < 2 || base > 36) return;
  static const char16_t digits[] = u"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const bool negative = value < 0;
  // Unsigned negation gives the magnitude of INT64_MIN too.
  std::uint64_t magnitude = negative ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  const bool grouped = group && base == 10;
  char16_t buffer[96];
  char16_t* const end = buffer + sizeof(buffer) / sizeof(buffer[0]);
  char16_t* p = end;
  int count = 0;
  do {
    if (grouped && count != 0 && count % 3 == 0) *--p = u',';
    *--p = digits[magnitude % base];
    magnitude /= base;
    ++count;
  } while (magnitude != 0);
  if (negative) *--p = u'-';
  out.assign(p, end);
}

bool nev_is_int32(const std::u16string& text) noexcept {
  const char16_t* p = text.data();
  const char16_t* const end = p + text.size();
  const Decimal number = read_decimal(p, end);
  if (number.digits == 0 || p != end) return false;
  return number.magnitude <= (number.negative ? INT32_MAGNITUDE_CAP : INT32_MAGNITUDE_CAP - 1);
}

std::int32_t nev_wtoi32(const std::u16string& text) noexcept {
  return read_leading_number(text.data(), text.data() + text.size());
}

int nev_wtoi(const char16_t* text) noexcept {
  if (text == nullptr) return 0;
  return read_leading_number(text, text + nev_wcslen(text));
}

bool nev_iswdigit(char16_t unit) noexcept { return unit >= u'0' && unit <= u'9'; }

std::size_t nev_wcslen(const char16_t* text) noexcept {
  if (text == nullptr) return 0;
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

std::string nev_wtos(const std::u16string& text) {
  std::string out;
  out.reserve(text.size());
  for (char16_t unit : text) out += unit > 0xFF ? '?' : static_cast<char>(static_cast<unsigned char>(unit));
  return out;
}

std::u16string nev_stow(const std::string& text) {
  std::u16string out;
  out.reserve(text.size());
  for (char byte : text) out += static_cast<char16_t>(static_cast<unsigned char>(byte));
  return out;
}

int nev_hex_digit(char16_t unit) noexcept {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
  return -1;
}

void nev_append_hex(std::u16string& out, std::uint64_t value, unsigned width, bool upper) {
  const char16_t* digits = upper ? u"0123456789ABCDEF" : u"0123456789abcdef";
  for (unsigned shift = width * 4; shift != 0;) {
    shift -= 4;
    out += digits[(value >> shift) & 0xF];
  }
}

}  // namespace nev
