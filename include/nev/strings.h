// Text helpers of the foundation: comparison without regard to letter case,
// numbers to and from text, 8-bit and UTF-8 conversion, and a bounded
// printf-style formatter for 16-bit text.
//
// All functions are pure and may be called from any thread. None of them
// reads past the end of its input or writes past the buffer it is given.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nev/export.h"

namespace nev {

// Upper-case form of one code unit (ASCII, Latin-1, Latin Extended-A, Greek
// and Cyrillic letters); any other unit is returned unchanged.
NEV_EXPORT char16_t nev_to_upper(char16_t unit) noexcept;

// True when `a` and `b` are equal without regard to letter case.
NEV_EXPORT bool nev_string_equal_nc(const std::u16string& a, const std::u16string& b) noexcept;
// The negation of nev_string_equal_nc.
NEV_EXPORT bool nev_string_unequal_nc(const std::u16string& a, const std::u16string& b) noexcept;
// Three-way order without regard to letter case: units compared after
// nev_to_upper as unsigned numbers, a prefix first. Negative, 0 or positive.
NEV_EXPORT int nev_compare_nc(const std::u16string& a, const std::u16string& b) noexcept;

// Replaces `out` with the digits of `value` in `base` (2 to 36; digits above 9
// are upper-case letters). A negative value gets a leading "-". With `group`
// true and base 10 the digits are grouped in threes with "," (display text,
// "1,234,567"); with `group` false the text is plain and reads back through
// nev_wtoi32/nev_is_int32 when the value fits 32 bits. A base outside 2 to 36
// gives the empty text.
NEV_EXPORT void nev_itow(std::int64_t value, std::u16string& out, unsigned base, bool group);

// True when `text` is a signed 32-bit number in decimal: an optional "+" or
// "-", then one or more digits (leading zeros allowed), nothing else, and a
// value from -2147483648 to 2147483647.
NEV_EXPORT bool nev_is_int32(const std::u16string& text) noexcept;
// The decimal number at the start of `text` ("09" is 9): optional blanks, an
// optional sign, then digits up to the first non-digit. No digits gives 0;
// a value beyond 32 bits saturates at INT32_MIN or INT32_MAX.
NEV_EXPORT std::int32_t nev_wtoi32(const std::u16string& text) noexcept;
// The same reading for NUL-terminated wide text, as the C runtime's _wtoi
// does it; a null pointer gives 0.
NEV_EXPORT int nev_wtoi(const char16_t* text) noexcept;
// True for the code units "0" to "9".
NEV_EXPORT bool nev_iswdigit(char16_t unit) noexcept;
// Length of NUL-terminated wide text, in code units; 0 for a null pointer.
NEV_EXPORT std::size_t nev_wcslen(const char16_t* text) noexcept;

// 16-bit text to 8-bit text unit by unit; a unit above 0xFF becomes "?".
NEV_EXPORT std::string nev_wtos(const std::u16string& text);
// 8-bit text to 16-bit text byte by byte (each byte one unit, 0 to 255).
NEV_EXPORT std::u16string nev_stow(const std::string& text);

// UTF-16 to UTF-8. A lone surrogate becomes U+FFFD; nothing is dropped.
NEV_EXPORT std::string nev_to_utf8(const std::u16string& text);
// UTF-8 to UTF-16. Each malformed sequence becomes U+FFFD.
NEV_EXPORT std::u16string nev_from_utf8(const std::string& text);

// The value of the hexadecimal digit `unit` (either case), or -1.
NEV_EXPORT int nev_hex_digit(char16_t unit) noexcept;
// Appends the low `width` hexadecimal digits of `value` (1 to 16), upper or
// lower case, with leading zeros: nev_append_hex(s, 0x2A, 4, true) adds "002A".
NEV_EXPORT void nev_append_hex(std::u16string& out, std::uint64_t value, unsigned width, bool upper);

// 16-bit text as UTF-16LE bytes, the form of string data in the registry and
// in files; with `terminate` a NUL unit follows.
NEV_EXPORT std::vector<std::uint8_t> nev_to_utf16le(const std::u16string& text, bool terminate);
// UTF-16LE bytes as 16-bit text: `size` bytes at `data`, a last odd byte
// ignored; with `stop_at_nul` the text ends before the first NUL unit.
NEV_EXPORT std::u16string nev_from_utf16le(const void* data, std::size_t size, bool stop_at_nul);

// printf-style formatting into a buffer of `count` 16-bit units, always
// NUL-terminated when `count` is not 0. The format is 16-bit text. "%s",
// "%ls" and "%S" take NUL-terminated 16-bit text (a null pointer prints
// "(null)"); "%c" takes one 16-bit unit (promoted to int); the numeric
// conversions (d i u o x X e E f F g G a A p) with their flags, width,
// precision (also "*") and length modifiers (hh h l ll j z t L) behave as the
// C library's; "%%" is one "%". Text that does not fit is cut at the end of
// the buffer. Returns the number of units written without the NUL, or -1
// when the text was cut or the format was malformed.
NEV_EXPORT int nev_swprintf(char16_t* buffer, std::size_t count, const char16_t* format, ...);
NEV_EXPORT int nev_vswprintf(char16_t* buffer, std::size_t count, const char16_t* format, std::va_list args);

}  // namespace nev
