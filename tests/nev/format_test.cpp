// The bounded 16-bit formatter: conversions, bounds, malformed formats.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>

#include "nev/strings.h"

namespace {

// The text and result of one formatting into a roomy buffer.
struct Formatted {
  std::u16string text;
  int result;
};

Formatted format(const char16_t* pattern, ...) {
  char16_t buffer[256];
  std::va_list args;
  va_start(args, pattern);
  const int result = nev::nev_vswprintf(buffer, 256, pattern, args);
  va_end(args);
  return {buffer, result};
}

std::u16string widen(const char* text) { return nev::nev_stow(text); }

TEST(Format, ConversionsMatchTheCLibrary) {
  const char16_t sixteen_bit[] = u"h\u00E9llo \u4E2D";
  int value = 0;
  char pointer_text[64];
  std::snprintf(pointer_text, sizeof(pointer_text), "%p", static_cast<void*>(&value));
  struct Case {
    Formatted actual;
    std::u16string expected;
  };
  const Case cases[] = {
      {format(u"%5d", 42), u"   42"},
      {format(u"%-5d|", 42), u"42   |"},
      {format(u"%05.1f", 3.14159), u"003.1"},
      {format(u"%x", 255), u"ff"},
      {format(u"%X", 255u), u"FF"},
      {format(u"%llX", 0xABCDEF0123ULL), u"ABCDEF0123"},
      {format(u"%s", sixteen_bit), sixteen_bit},
      {format(u"%ls|%S", u"l", u"S"), u"l|S"},
      {format(u"%%"), u"%"},
      {format(u"%02d]", 7), u"07]"},
      {format(u"%02x ", 10), u"0a "},
      {format(u"%0*d", 5, 42), u"00042"},
      {format(u"%.4x", 0x1f), u"001f"},
      {format(u"%*d|", -4, 1), u"1   |"},
      {format(u"%.*s", 3, u"abcdef"), u"abc"},
      {format(u"%.*d", -1, 5), u"5"},
      {format(u"%10s|%-4s|", u"ab", u"cd"), u"        ab|cd  |"},
      {format(u"%c%c%3c", 0x00E9, u'x', u'y'), u"\u00E9x  y"},
      {format(u"%s", static_cast<const char16_t*>(nullptr)), u"(null)"},
      {format(u"%+d % d %+d", 5, 5, -5), u"+5  5 -5"},
      {format(u"%#o %#x", 8, 255), u"010 0xff"},
      {format(u"%e", 12345.678), u"1.234568e+04"},
      {format(u"%G", 0.0001), u"0.0001"},
      {format(u"%a", 1.0), u"0x1p+0"},
      {format(u"%hhd %hd", 257, 65537), u"1 1"},
      {format(u"%ld %lu", LONG_MIN, ULONG_MAX), widen(std::to_string(LONG_MIN).c_str()) + u" " +
                                                    widen(std::to_string(ULONG_MAX).c_str())},
      {format(u"%lld", LLONG_MIN), u"-9223372036854775808"},
      {format(u"%zu %jd %td", std::size_t{123}, std::intmax_t{-1}, std::ptrdiff_t{-7}), u"123 -1 -7"},
      {format(u"%Lf", 1.5L), u"1.500000"},
      {format(u"%i %u", -3, 4294967295u), u"-3 4294967295"},
      {format(u"%p", static_cast<void*>(&value)), widen(pointer_text)},
      {format(u"[%s] %d%% \u00E9", u"id", 50), u"[id] 50% \u00E9"},
      {format(u""), u""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.actual.text, c.expected) << nev::nev_to_utf8(c.expected);
    EXPECT_EQ(c.actual.result, static_cast<int>(c.expected.size())) << nev::nev_to_utf8(c.expected);
  }
}

TEST(Format, StaysWithinTheBufferAndAlwaysTerminates) {
  struct Case {
    std::size_t count;
    const char16_t* pattern;
    int argument;
    int result;
    std::u16string text;
  };
  const Case cases[] = {
      {6, u"%d", 12345, 5, u"12345"},         // exact fit
      {5, u"%d", 12345, -1, u"1234"},         // one short: cut, NUL kept
      {1, u"%d", 7, -1, u""},                 // room for the NUL only
      {1, u"", 0, 0, u""},
      {4, u"ab%dcd", 5, -1, u"ab5"},
      {4, u"%8d", 5, -1, u"   "},
      {10, u"%1000000d", 5, -1, std::u16string(9, u' ')},
      {10, u"%-1000000d", 5, -1, u"5" + std::u16string(8, u' ')},
      {10, u"%2147483647d", 5, -1, std::u16string(9, u' ')},
  };
  for (const Case& c : cases) {
    char16_t buffer[16];
    std::fill(std::begin(buffer), std::end(buffer), u'#');
    const int result = nev::nev_swprintf(buffer, c.count, c.pattern, c.argument);
    EXPECT_EQ(result, c.result) << nev::nev_to_utf8(c.pattern);
    EXPECT_EQ(std::u16string(buffer), c.text) << nev::nev_to_utf8(c.pattern);
    for (std::size_t i = c.count; i < 16; ++i) ASSERT_EQ(buffer[i], u'#') << "written past the end at " << i;
  }

  // A huge padded text into a small buffer ends quickly and stays bounded.
  char16_t small[8];
  EXPECT_EQ(nev::nev_swprintf(small, 8, u"%*s", INT_MAX, u"x"), -1);
  EXPECT_EQ(std::u16string(small), std::u16string(7, u' '));

  // Absurd precisions too: the visible start is the C library's own.
  struct Huge {
    std::size_t count;
    const char16_t* pattern;
    double value;
    std::u16string text;
  };
  const Huge huge[] = {
      {10, u"%.2000000000f", 0.5, u"0.5000000"},
      {12, u"%2000000010.2000000000f", 0.5, u"        0.5"},
      {12, u"%-2000000010.2000000000e", 0.5, u"5.000000000"},
      {20, u"%.2000000000g", 0.1, u"0.10000000000000000"},
      {20, u"%2000000000.2000000000g", 0.1, std::u16string(19, u' ')},
  };
  for (const Huge& c : huge) {
    char16_t buffer[32];
    EXPECT_EQ(nev::nev_swprintf(buffer, c.count, c.pattern, c.value), -1) << nev::nev_to_utf8(c.pattern);
    EXPECT_EQ(std::u16string(buffer), c.text) << nev::nev_to_utf8(c.pattern);
  }
  char16_t digits[10];
  EXPECT_EQ(nev::nev_swprintf(digits, 10, u"%+.2147483647d", 5), -1);
  EXPECT_EQ(std::u16string(digits), u"+00000000");

  // No room at all: nothing is written, not even a NUL.
  char16_t untouched = u'#';
  EXPECT_EQ(nev::nev_swprintf(&untouched, 0, u"x"), -1);
  EXPECT_EQ(untouched, u'#');

  // A precision keeps the formatter from reading text past that many units.
  const char16_t unterminated[3] = {u'a', u'b', u'c'};
  EXPECT_EQ(format(u"%.3s", unterminated).text, u"abc");
}

TEST(Format, MalformedFormatsStopWithMinusOne) {
  const char16_t* patterns[] = {u"ab%", u"ab%q", u"ab%n", u"ab%hs", u"ab%Ld", u"ab%lp",
                                u"ab%hc", u"ab%99999999999d", u"ab%.99999999999f", u"ab%ll"};
  for (const char16_t* pattern : patterns) {
    int target = 0;
    const Formatted result = format(pattern, &target, 1.0);
    EXPECT_EQ(result.result, -1) << nev::nev_to_utf8(pattern);
    EXPECT_EQ(result.text, u"ab") << nev::nev_to_utf8(pattern);
    EXPECT_EQ(target, 0);
  }
  char16_t buffer[4] = {u'#', u'#', u'#', u'#'};
  EXPECT_EQ(nev::nev_swprintf(buffer, 4, nullptr), -1);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(nev::nev_swprintf(nullptr, 4, u"x"), -1);
}

}  // namespace
