// The bounded printf-style formatter for 16-bit text.
//
// The format is parsed here, one conversion at a time. Text conversions
// ("%s", "%c") are done here on 16-bit units. Each numeric conversion is
// rebuilt as a narrow conversion spec of its own, with "*" already resolved
// to numbers, and handed to the C library's snprintf together with the one
// argument it takes; the narrow result (plain ASCII in the C locale) is
// widened unit by unit. So every numeric detail (rounding, "%a", "#", the
// sign flags) is exactly the C library's, and this file only has to get the
// argument types right.
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

// One parsed conversion spec.
struct Spec {
  std::string flags;  // any of "-+ #0", as written
  bool left = false;
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

// Parses the spec behind a "%" (p points behind it), resolving "*" from
// `args`. False for a malformed spec.
bool parse_spec(const char16_t*& p, std::va_list& args, Spec& spec) {
  for (;; ++p) {
    if (*p == u'-') spec.left = true;
    else if (*p != u'+' && *p != u' ' && *p != u'#' && *p != u'0') break;
    spec.flags += static_cast<char>(*p);
  }
  if (*p == u'*') {
    ++p;
    const int width = va_arg(args, int);
    if (width < 0) {
      if (width == std::numeric_limits<int>::min()) return false;
      spec.left = true;
      spec.flags += '-';
      spec.width = -width;
    } else {
      spec.width = width;
    }
  } else if (nev_iswdigit(*p)) {
    if (!read_number(p, spec.width)) return false;
  }
  if (*p == u'.') {
    ++p;
    if (*p == u'*') {
      ++p;
      const int precision = va_arg(args, int);
      spec.precision = precision < 0 ? -1 : precision;  // negative: as if none was given
    } else {
      spec.precision = 0;
      if (!read_number(p, spec.precision)) return false;
    }
  }
  spec.length = read_length(p);
  spec.conversion = *p;
  if (spec.conversion == 0) return false;
  ++p;
  return true;
}

void pad_and_put(Output& out, const Spec& spec, const char16_t* text, std::size_t size) {
  const std::size_t width = spec.width > 0 ? static_cast<std::size_t>(spec.width) : 0;
  const std::size_t padding = width > size ? width - size : 0;
  if (!spec.left) out.put(u' ', padding);
  for (std::size_t i = 0; i < size && !out.cut(); ++i) out.put(text[i]);
  if (spec.left) out.put(u' ', padding);
}

void put_text(Output& out, const Spec& spec, const char16_t* text) {
  if (text == nullptr) text = u"(null)";
  // With a precision, never look beyond the units that may be printed: the
  // text need not be NUL-terminated within them.
  std::size_t size = 0;
  const std::size_t limit = spec.precision >= 0 ? static_cast<std::size_t>(spec.precision) : SIZE_MAX;
  while (size < limit && text[size] != 0) ++size;
  pad_and_put(out, spec, text, size);
}

std::string narrow_spec(const Spec& spec) {
  std::string text = "%" + spec.flags;
  if (spec.width >= 0) text += std::to_string(spec.width);
  if (spec.precision >= 0) text += "." + std::to_string(spec.precision);
  text += length_text(spec.length);
  text += static_cast<char>(spec.conversion);
  return text;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

template <class T>
int narrow_length(const Spec& spec, T value) {
  return std::snprintf(nullptr, 0, narrow_spec(spec).c_str(), value);
}

// The C library produces every unit of a padded or very precise conversion,
// even the ones snprintf then drops, so "%2147483647d" would take seconds.
// Only the first `room` units can reach the caller, so a width or precision
// far beyond that is cut down to one that gives the same first `room` units
// and is still cut:
// - a precision beyond the cap only adds zeros (integers: leading zeros;
//   floating point: digits past the exact binary expansion, which is never
//   longer than 16500 digits), so it shrinks the text by a known amount,
//   and the width shrinks by the same amount to keep the padding;
// - a width that pads more than `room` units is lowered to pad `room` + 1.
template <class T>
bool bound_spec(Spec& spec, std::size_t room, T value) {
  constexpr std::size_t EXACT_DIGITS = 17000;
  const std::size_t budget = std::min<std::size_t>(room, 1u << 28);
  const std::size_t cap = budget + EXACT_DIGITS;
  if (spec.precision >= 0 && static_cast<std::size_t>(spec.precision) > cap) {
    const int removed = spec.precision - static_cast<int>(cap);
    spec.precision = static_cast<int>(cap);
    // "%g" without "#" drops trailing zeros: its text does not shrink.
    const bool strips_zeros = (spec.conversion == u'g' || spec.conversion == u'G') &&
                              spec.flags.find('#') == std::string::npos;
    if (!strips_zeros && spec.width > 0) spec.width = spec.width > removed ? spec.width - removed : 0;
  }
  if (spec.width > 0 && static_cast<std::size_t>(spec.width) > budget) {
    Spec bare = spec;
    bare.width = -1;
    const int body = narrow_length(bare, value);
    if (body < 0) return false;
    const std::size_t widest = static_cast<std::size_t>(body) + budget + 1;
    if (static_cast<std::size_t>(spec.width) > widest) spec.width = static_cast<int>(widest);
  }
  return true;
}

// Formats one value with the C library and widens the result into `out`.
// False when the C library refuses it.
template <class T>
bool put_number(Output& out, Spec spec, T value) {
  if (!bound_spec(spec, out.room(), value)) return false;
  const std::string format = narrow_spec(spec);
  char small[128];
  const int needed = std::snprintf(small, sizeof(small), format.c_str(), value);
  if (needed < 0) return false;
  std::string large;
  const char* text = small;
  if (static_cast<std::size_t>(needed) >= sizeof(small)) {
    // Only what can still reach the caller's buffer is formatted; the rest
    // would be cut anyway.
    const std::size_t keep = std::min(static_cast<std::size_t>(needed), out.room() + 1);
    large.resize(keep + 1);
    std::snprintf(large.data(), large.size(), format.c_str(), value);
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

bool put_signed(Output& out, const Spec& spec, std::va_list& args) {
  switch (spec.length) {
    case Length::NONE:
    case Length::HH:
    case Length::H: return put_number(out, spec, va_arg(args, int));
    case Length::L: return put_number(out, spec, va_arg(args, long));
    case Length::LL: return put_number(out, spec, va_arg(args, long long));
    case Length::J: return put_number(out, spec, va_arg(args, std::intmax_t));
    case Length::Z: return put_number(out, spec, va_arg(args, std::make_signed_t<std::size_t>));
    case Length::T: return put_number(out, spec, va_arg(args, std::ptrdiff_t));
    case Length::BIG_L: break;
  }
  return false;
}

bool put_unsigned(Output& out, const Spec& spec, std::va_list& args) {
  switch (spec.length) {
    case Length::NONE:
    case Length::HH:
    case Length::H: return put_number(out, spec, va_arg(args, unsigned));
    case Length::L: return put_number(out, spec, va_arg(args, unsigned long));
    case Length::LL: return put_number(out, spec, va_arg(args, unsigned long long));
    case Length::J: return put_number(out, spec, va_arg(args, std::uintmax_t));
    case Length::Z: return put_number(out, spec, va_arg(args, std::size_t));
    case Length::T: return put_number(out, spec, va_arg(args, std::make_unsigned_t<std::ptrdiff_t>));
    case Length::BIG_L: break;
  }
  return false;
}

bool put_floating(Output& out, const Spec& spec, std::va_list& args) {
  switch (spec.length) {
    case Length::NONE:
    case Length::L: return put_number(out, spec, va_arg(args, double));
    case Length::BIG_L: return put_number(out, spec, va_arg(args, long double));
    default: return false;
  }
}

// Does one conversion; false when it is malformed.
bool convert(Output& out, const Spec& spec, std::va_list& args) {
  const bool plain_length = spec.length == Length::NONE || spec.length == Length::L;
  switch (spec.conversion) {
    case u'%':
      out.put(u'%');
      return true;
    case u's':
    case u'S':
      if (!plain_length) return false;
      put_text(out, spec, va_arg(args, const char16_t*));
      return true;
    case u'c':
    case u'C': {
      if (!plain_length) return false;
      const auto unit = static_cast<char16_t>(va_arg(args, int));
      pad_and_put(out, spec, &unit, 1);
      return true;
    }
    case u'd':
    case u'i': return put_signed(out, spec, args);
    case u'u':
    case u'o':
    case u'x':
    case u'X': return put_unsigned(out, spec, args);
    case u'e':
    case u'E':
    case u'f':
    case u'F':
    case u'g':
    case u'G':
    case u'a':
    case u'A': return put_floating(out, spec, args);
    case u'p':
      if (spec.length != Length::NONE) return false;
      return put_number(out, spec, va_arg(args, void*));
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
      out.put(*p++);
      continue;
    }
    ++p;
    Spec spec;
    malformed = !parse_spec(p, ap, spec) || !convert(out, spec, ap);
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
