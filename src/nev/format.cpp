// The bounded printf-style formatter for 16-bit text.
//
// The format is parsed here, one conversion at a time. Text conversions
// ("%s", "%c") and integer conversions ("%d", "%i", "%u", "%o", "%x", "%X")
// are done here on 16-bit units, by C's rules. Integers are the common case
// of diagnostic lines, and a call into snprintf for each one cost as much
// as the rest of such a line. Floating-point conversions and "%p" are
// rebuilt as a narrow conversion directive of their own, with "*" already
// resolved to numbers, and handed to the C library's snprintf together with
// the one argument they take; the narrow result (plain ASCII in the C
// locale) is widened unit by unit. So rounding, "%a" and the spelling of
// pointers are exactly the C library's.
//
// A malformed conversion (an unknown conversion letter, a length modifier
// that does not fit the conversion, "%n", a "%" at the end, a width or
// precision beyond INT_MAX) stops formatting there: what was written so far
// stays, NUL-terminated, and the result is -1.
#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <type_traits>

#include "nev/strings.h"

namespace nev {

namespace {

// Writes into the caller's buffer, keeping one unit for the NUL, and
// remembers whether anything had to be cut.
class Output {
 public:
  Output(char16_t* buffer, std::size_t count) : m_buffer(buffer), m_limit(count == 0 ? 0 : count - 1) {}

  void put(char16_t unit) {
    if (m_written < m_limit) {
      m_buffer[m_written++] = unit;
    } else {
      m_cut = true;
    }
  }
  void put(char16_t unit, std::size_t times) {
    for (std::size_t i = 0; i < times && !m_cut; ++i) put(unit);
  }
  // `size` units at `units`, as many as fit (the same as putting them one by
  // one, in one copy).
  void put(const char16_t* units, std::size_t size) {
    if (m_cut) return;
    const std::size_t fitting = std::min(size, room());
    std::copy_n(units, fitting, m_buffer + m_written);
    m_written += fitting;
    if (fitting < size) m_cut = true;
  }
  std::size_t room() const { return m_limit - m_written; }
  bool cut() const { return m_cut; }
  void mark_cut() { m_cut = true; }
  std::size_t written() const { return m_written; }

 private:
  char16_t* m_buffer;
  std::size_t m_limit;
  std::size_t m_written = 0;
  bool m_cut = false;
};

enum class Length { NONE, HH, H, L, LL, J, Z, T, BIG_L };

// One parsed conversion directive.
struct Directive {
  // The flags "-+ #0", each at most once (a repeated flag means nothing more).
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zero = false;
  int width = -1;      // -1: none
  int precision = -1;  // -1: none
  Length length = Length::NONE;
  char16_t conversion = 0;
};

// Reads a decimal number; false when it does not fit an int.
bool read_number(const char16_t*& p, int& value) {
  std::int64_t number = 0;
  while (nev_iswdigit(*p)) {
    number = number * 10 + (*p - u'0');
    if (number > std::numeric_limits<int>::max()) return false;
    ++p;
  }
  value = static_cast<int>(number);
  return true;
}

Length read_length(const char16_t*& p) {
  switch (*p) {
    case u'h':
      ++p;
      if (*p == u'h') {
        ++p;
        return Length::HH;
      }
      return Length::H;
    case u'l':
      ++p;
      if (*p == u'l') {
        ++p;
        return Length::LL;
      }
      return Length::L;
    case u'j': ++p; return Length::J;
    case u'z': ++p; return Length::Z;
    case u't': ++p; return Length::T;
    case u'L': ++p; return Length::BIG_L;
    default: return Length::NONE;
  }
}

const char* length_text(Length length) {
  switch (length) {
    case Length::HH: return "hh";
    case Length::H: return "h";
    case Length::L: return "l";
    case Length::LL: return "ll";
    case Length::J: return "j";
    case Length::Z: return "z";
    case Length::T: return "t";
    case Length::BIG_L: return "L";
    case Length::NONE: break;
  }
  return "";
}

// Parses the directive behind a "%" (p points behind it), resolving "*" from
// `args`. False for a malformed directive.
bool parse_directive(const char16_t*& p, std::va_list& args, Directive& directive) {
  for (;; ++p) {
    if (*p == u'-') directive.left = true;
    else if (*p == u'+') directive.plus = true;
    else if (*p == u' ') directive.space = true;
    else if (*p == u'#') directive.alternate = true;
    else if (*p == u'0') directive.zero = true;
    else break;
  }
  if (*p == u'*') {
    ++p;
    const int width = va_arg(args, int);
    if (width < 0) {
      if (width == std::numeric_limits<int>::min()) return false;
      directive.left = true;
      directive.width = -width;
    } else {
      directive.width = width;
    }
  } else if (nev_iswdigit(*p)) {
    if (!read_number(p, directive.width)) return false;
  }
  if (*p == u'.') {
    ++p;
    if (*p == u'*') {
      ++p;
      const int precision = va_arg(args, int);
      directive.precision = precision < 0 ? -1 : precision;  // negative: as if none was given
    } else {
      directive.precision = 0;
      if (!read_number(p, directive.precision)) return false;
    }
  }
  directive.length = read_length(p);
  directive.conversion = *p;
  if (directive.conversion == 0) return false;
  ++p;
  return true;
}

void pad_and_put(Output& out, const Directive& directive, const char16_t* text, std::size_t size) {
  const std::size_t width = directive.width > 0 ? static_cast<std::size_t>(directive.width) : 0;
  const std::size_t padding = width > size ? width - size : 0;
  if (!directive.left) out.put(u' ', padding);
  out.put(text, size);
  if (directive.left) out.put(u' ', padding);
}

void put_text(Output& out, const Directive& directive, const char16_t* text) {
  if (text == nullptr) text = u"(null)";
  // With a precision, never look beyond the units that may be printed: the
  // text need not be NUL-terminated within them.
  std::size_t size = 0;
  if (directive.precision >= 0) {
    const auto limit = static_cast<std::size_t>(directive.precision);
    while (size < limit && text[size] != 0) ++size;
  } else {
    size = std::char_traits<char16_t>::length(text);
  }
  pad_and_put(out, directive, text, size);
}

// The narrow conversion directive for snprintf, with "*" resolved.
struct Narrow_directive {
  // "%", five flags, two numbers of up to ten digits, ".", two length
  // letters, the conversion and the NUL.
  char text[40];

  explicit Narrow_directive(const Directive& directive) {
    char* p = text;
    *p++ = '%';
    if (directive.left) *p++ = '-';
    if (directive.plus) *p++ = '+';
    if (directive.space) *p++ = ' ';
    if (directive.alternate) *p++ = '#';
    if (directive.zero) *p++ = '0';
    if (directive.width >= 0) p = put_decimal(p, directive.width);
    if (directive.precision >= 0) {
      *p++ = '.';
      p = put_decimal(p, directive.precision);
    }
    for (const char* length = length_text(directive.length); *length != 0;) *p++ = *length++;
    *p++ = static_cast<char>(directive.conversion);
    *p = 0;
  }

 private:
  static char* put_decimal(char* p, int value) {
    char digits[12];
    int count = 0;
    do {
      digits[count++] = static_cast<char>('0' + value % 10);
      value /= 10;
    } while (value != 0);
    while (count != 0) *p++ = digits[--count];
    return p;
  }
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

template <class T>
int narrow_length(const Directive& directive, T value) {
  return std::snprintf(nullptr, 0, Narrow_directive(directive).text, value);
}

// The C library produces every unit of a padded or very precise conversion,
// even the ones snprintf then drops, so "%2147483647f" would take seconds.
// Only the first `room` units can reach the caller, so a width or precision
// far beyond that is cut down to one that gives the same first `room` units
// and is still cut:
// - a precision beyond the cap only adds zeros ("%p": leading zeros;
//   floating point: digits past the exact binary expansion, which is never
//   longer than 16500 digits), so it shrinks the text by a known amount,
//   and the width shrinks by the same amount to keep the padding;
// - a width that pads more than `room` units is lowered to pad `room` + 1.
template <class T>
bool bound_directive(Directive& directive, std::size_t room, T value) {
  constexpr std::size_t EXACT_DIGITS = 17000;
  const std::size_t budget = std::min<std::size_t>(room, 1u << 28);
  const std::size_t cap = budget + EXACT_DIGITS;
  if (directive.precision >= 0 && static_cast<std::size_t>(directive.precision) > cap) {
    const int removed = directive.precision - static_cast<int>(cap);
    directive.precision = static_cast<int>(cap);
    // "%g" without "#" drops trailing zeros: its text does not shrink.
    const bool strips_zeros = (directive.conversion == u'g' || directive.conversion == u'G') && !directive.alternate;
    if (!strips_zeros && directive.width > 0) directive.width = directive.width > removed ? directive.width - removed : 0;
  }
  if (directive.width > 0 && static_cast<std::size_t>(directive.width) > budget) {
    Directive bare = directive;
    bare.width = -1;
    const int body = narrow_length(bare, value);
    if (body < 0) return false;
    const std::size_t widest = static_cast<std::size_t>(body) + budget + 1;
    if (static_cast<std::size_t>(directive.width) > widest) directive.width = static_cast<int>(widest);
  }
  return true;
}

// Formats one value with the C library and widens the result into `out`.
// False when the C library refuses it.
template <class T>
bool put_number(Output& out, Directive directive, T value) {
  if (!bound_directive(directive, out.room(), value)) return false;
  const Narrow_directive format(directive);
  char small[128];
  const int needed = std::snprintf(small, sizeof(small), format.text, value);
  if (needed < 0) return false;
  std::string large;
  const char* text = small;
  if (static_cast<std::size_t>(needed) >= sizeof(small)) {
    // Only what can still reach the caller's buffer is formatted; the rest
    // would be cut anyway.
    const std::size_t keep = std::min(static_cast<std::size_t>(needed), out.room() + 1);
    large.resize(keep + 1);
    std::snprintf(large.data(), large.size(), format.text, value);
    text = large.data();
    if (keep < static_cast<std::size_t>(needed)) {
      for (std::size_t i = 0; i < keep; ++i) out.put(static_cast<char16_t>(static_cast<unsigned char>(text[i])));
      out.mark_cut();
      return true;
    }
  }
  for (int i = 0; i < needed && !out.cut(); ++i) out.put(static_cast<char16_t>(static_cast<unsigned char>(text[i])));
  return true;
}

#pragma GCC diagnostic pop

// An integer conversion of a value with sign `negative` and absolute value
// `magnitude`. As in C: the precision is the least number of digits (a zero
// value with precision 0 has none); "#" gives octal a leading 0 and
// non-zero hexadecimal "0x" or "0X"; "+" or " " signs a non-negative value of
// "%d" and "%i"; "0" pads with zeros behind sign and prefix unless "-" or a
// precision is given. Padding and zeros are put one unit at a time and stop
// where the buffer ends, so a huge width or precision costs no more than the
// buffer's length.
void put_integer(Output& out, const Directive& directive, bool negative, std::uintmax_t magnitude) {
  const char16_t conversion = directive.conversion;
  const bool hexadecimal = conversion == u'x' || conversion == u'X';
  // Digits from the lowest up; decimal divides by a constant, the others
  // shift.
  char16_t digits[3 * sizeof(std::uintmax_t)];
  std::size_t digit_count = 0;
  if (conversion == u'o' || hexadecimal) {
    const char16_t* const digit_set = conversion == u'X' ? u"0123456789ABCDEF" : u"0123456789abcdef";
    const unsigned shift = hexadecimal ? 4 : 3;
    const unsigned mask = (1u << shift) - 1;
    for (std::uintmax_t rest = magnitude; rest != 0; rest >>= shift) digits[digit_count++] = digit_set[rest & mask];
  } else {
    for (std::uintmax_t rest = magnitude; rest != 0; rest /= 10) {
      digits[digit_count++] = static_cast<char16_t>(u'0' + rest % 10);
    }
  }
  const std::size_t precision = directive.precision >= 0 ? static_cast<std::size_t>(directive.precision) : 1;
  std::size_t zeros = precision > digit_count ? precision - digit_count : 0;
  // Octal "#" raises the precision just enough for the first digit to be 0.
  if (conversion == u'o' && directive.alternate && zeros == 0) zeros = 1;

  char16_t prefix[2];
  std::size_t prefix_length = 0;
  if (conversion == u'd' || conversion == u'i') {
    if (negative) prefix[prefix_length++] = u'-';
    else if (directive.plus) prefix[prefix_length++] = u'+';
    else if (directive.space) prefix[prefix_length++] = u' ';
  } else if (hexadecimal && directive.alternate && magnitude != 0) {
    prefix[prefix_length++] = u'0';
    prefix[prefix_length++] = conversion;
  }

  const std::size_t body = prefix_length + zeros + digit_count;
  const std::size_t width = directive.width > 0 ? static_cast<std::size_t>(directive.width) : 0;
  const std::size_t padding = width > body ? width - body : 0;
  const bool zero_padding = directive.zero && !directive.left && directive.precision < 0;
  if (!directive.left && !zero_padding) out.put(u' ', padding);
  for (std::size_t i = 0; i < prefix_length; ++i) out.put(prefix[i]);
  out.put(u'0', zeros + (zero_padding ? padding : 0));
  while (digit_count != 0 && !out.cut()) out.put(digits[--digit_count]);
  if (directive.left) out.put(u' ', padding);
}

// "%d" and "%i": the argument of the length modifier, narrowed as "hh" and
// "h" ask.
bool put_signed(Output& out, const Directive& directive, std::va_list& args) {
  std::intmax_t value = 0;
  switch (directive.length) {
    case Length::NONE: value = va_arg(args, int); break;
    case Length::HH: value = static_cast<signed char>(va_arg(args, int)); break;
    case Length::H: value = static_cast<short>(va_arg(args, int)); break;
    case Length::L: value = va_arg(args, long); break;
    case Length::LL: value = va_arg(args, long long); break;
    case Length::J: value = va_arg(args, std::intmax_t); break;
    case Length::Z: value = va_arg(args, std::make_signed_t<std::size_t>); break;
    case Length::T: value = va_arg(args, std::ptrdiff_t); break;
    case Length::BIG_L: return false;
  }
  // The magnitude of the most negative value does not fit the signed type.
  const std::uintmax_t magnitude = value < 0 ? 0 - static_cast<std::uintmax_t>(value) : static_cast<std::uintmax_t>(value);
  put_integer(out, directive, value < 0, magnitude);
  return true;
}

// "%u", "%o", "%x" and "%X".
bool put_unsigned(Output& out, const Directive& directive, std::va_list& args) {
  std::uintmax_t value = 0;
  switch (directive.length) {
    case Length::NONE: value = va_arg(args, unsigned); break;
    case Length::HH: value = static_cast<unsigned char>(va_arg(args, unsigned)); break;
    case Length::H: value = static_cast<unsigned short>(va_arg(args, unsigned)); break;
    case Length::L: value = va_arg(args, unsigned long); break;
    case Length::LL: value = va_arg(args, unsigned long long); break;
    case Length::J: value = va_arg(args, std::uintmax_t); break;
    case Length::Z: value = va_arg(args, std::size_t); break;
    case Length::T: value = va_arg(args, std::make_unsigned_t<std::ptrdiff_t>); break;
    case Length::BIG_L: return false;
  }
  put_integer(out, directive, false, value);
  return true;
}

bool put_floating(Output& out, const Directive& directive, std::va_list& args) {
  switch (directive.length) {
    case Length::NONE:
    case Length::L: return put_number(out, directive, va_arg(args, double));
    case Length::BIG_L: return put_number(out, directive, va_arg(args, long double));
    default: return false;
  }
}

// Does one conversion; false when it is malformed.
bool convert(Output& out, const Directive& directive, std::va_list& args) {
  const bool plain_length = directive.length == Length::NONE || directive.length == Length::L;
  switch (directive.conversion) {
    case u'%':
      out.put(u'%');
      return true;
    case u's':
    case u'S':
      if (!plain_length) return false;
      put_text(out, directive, va_arg(args, const char16_t*));
      return true;
    case u'c':
    case u'C': {
      if (!plain_length) return false;
      const auto unit = static_cast<char16_t>(va_arg(args, int));
      pad_and_put(out, directive, &unit, 1);
      return true;
    }
    case u'd':
    case u'i': return put_signed(out, directive, args);
    case u'u':
    case u'o':
    case u'x':
    case u'X': return put_unsigned(out, directive, args);
    case u'e':
    case u'E':
    case u'f':
    case u'F':
    case u'g':
    case u'G':
    case u'a':
    case u'A': return put_floating(out, directive, args);
    case u'p':
      if (directive.length != Length::NONE) return false;
      return put_number(out, directive, va_arg(args, void*));
    default: return false;  // "%n" included: it would write through an argument
  }
}

}  // namespace

int nev_vswprintf(char16_t* buffer, std::size_t count, const char16_t* format, std::va_list args) {
  if (buffer == nullptr) count = 0;
  Output out(buffer, count);
  bool malformed = format == nullptr;
  std::va_list ap;
  va_copy(ap, args);
  for (const char16_t* p = format; !malformed && *p != 0 && !out.cut();) {
    if (*p != u'%') {
      // A run of plain text goes out in one copy.
      const char16_t* run = p;
      while (*p != 0 && *p != u'%') ++p;
      out.put(run, static_cast<std::size_t>(p - run));
      continue;
    }
    ++p;
    Directive directive;
    malformed = !parse_directive(p, ap, directive) || !convert(out, directive, ap);
  }
  va_end(ap);
  if (count != 0) buffer[out.written()] = 0;
  if (malformed || out.cut() || count == 0) return -1;
  if (out.written() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return -1;
  return static_cast<int>(out.written());
}

int nev_swprintf(char16_t* buffer, std::size_t count, const char16_t* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int result = nev_vswprintf(buffer, count, format, args);
  va_end(args);
  return result;
}

}  // namespace nev
