// Text helpers: numbers to and from text, letter case, 8-bit and UTF-8; the
// bounded 16-bit formatter; the tokeniser.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "nev/strings.h"
#include "nev/tokeniser.h"

namespace nev {
namespace {

using namespace std::string_literals;

std::string show(const std::u16string& text) { return nev_to_utf8(text); }

TEST(Strings, IsInt32AcceptsOnlySigned32BitDecimals) {
  struct Case { std::u16string text; bool accepted; };
  const Case cases[] = {
      {u"", false},           {u"-", false},           {u"+", false},          {u"2147483648", false},
      {u"-2147483649", false}, {u"12a", false},         {u" 1", false},         {u"1 ", false},
      {u"1\0"s "2"s, false},   {u"99999999999999999999", false},                  {u"+-1", false},
      {u"--1", false},        {u"0x10", false},        {u"1.0", false},        {u"\uFF11", false},
      {u"000250", true},      {u"-0", true},           {u"+7", true},          {u"0000000003", true},
      {u"-2147483648", true},  {u"2147483647", true},   {u"+2147483647", true}, {u"00000000002147483647", true},
      {u"0", true},           {u"-000000000000000000001", true},
  };
  for (const Case& c : cases) EXPECT_EQ(nev_is_int32(c.text), c.accepted) << show(c.text);
}

TEST(Strings, Wtoi32ReadsTheLeadingNumberAndSaturates) {
  struct Case { std::u16string text; std::int32_t value; };
  constexpr std::int32_t MAX = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t MIN = std::numeric_limits<std::int32_t>::min();
  const Case cases[] = {
      {u"09", 9},        {u"000250", 250},     {u"-0", 0},         {u"+7", 7},          {u"  \t-12abc", -12},
      {u"", 0},          {u"abc", 0},          {u"-", 0},          {u"- 5", 0},         {u"1\0"s "2"s, 1},
      {u"2147483647", MAX}, {u"2147483648", MAX}, {u"-2147483648", MIN}, {u"-2147483649", MIN},
      {u"123456789012345678901234567890", MAX},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(nev_wtoi32(c.text), c.value) << show(c.text);
    EXPECT_EQ(nev_wtoi(c.text.c_str()), c.value) << show(c.text);
  }
  EXPECT_EQ(nev_wtoi(nullptr), 0);
}

TEST(Strings, ItowBasesSignsAndGrouping) {
  struct Case { std::int64_t value; unsigned base; bool group; std::u16string text; };
  constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();
  const Case cases[] = {
      {0, 10, true, u"0"},           {999, 10, true, u"999"},        {1000, 10, true, u"1,000"},
      {-1234, 10, true, u"-1,234"},  {-123, 10, true, u"-123"},      {1234567, 10, true, u"1,234,567"},
      {1234567, 10, false, u"1234567"},
      {MIN, 10, false, u"-9223372036854775808"},
      {MIN, 10, true, u"-9,223,372,036,854,775,808"},
      {MIN, 16, false, u"-8000000000000000"},
      {std::numeric_limits<std::int64_t>::max(), 2, false, std::u16string(63, u'1')},
      {MIN, 2, false, u"-1" + std::u16string(63, u'0')},
      {255, 16, false, u"FF"},       {65535, 16, true, u"FFFF"},     {-5, 2, false, u"-101"},
      {35, 36, false, u"Z"},         {36, 36, false, u"10"},         {1, 1, false, u""},
      {1, 37, false, u""},
  };
  std::u16string out = u"old";
  for (const Case& c : cases) {
    nev_itow(c.value, out, c.base, c.group);
    EXPECT_EQ(out, c.text) << c.value << " base " << c.base;
  }
}

TEST(Strings, UpperCaseTable) {
  const std::pair<char16_t, char16_t> cases[] = {
      {u'a', u'A'},     {u'z', u'Z'},     {u'{', u'{'},     {u'`', u'`'},     {0x00E9, 0x00C9}, {0x00F7, 0x00F7},
      {0x00DF, 0x00DF}, {0x00FF, 0x0178}, {0x00B5, 0x039C}, {0x0101, 0x0100}, {0x0131, u'I'},   {0x0138, 0x0138},
      {0x013A, 0x0139}, {0x0149, 0x0149}, {0x014B, 0x014A}, {0x017E, 0x017D}, {0x017F, u'S'},   {0x03C9, 0x03A9},
      {0x03C2, 0x03A3}, {0x03AC, 0x0386}, {0x03AF, 0x038A}, {0x03CE, 0x038F}, {0x0390, 0x0390}, {0x03E3, 0x03E2},
      {0x0430, 0x0410}, {0x0451, 0x0401}, {0x0461, 0x0460}, {0x04C2, 0x04C1}, {0x04CF, 0x04C0}, {0x0511, 0x0510},
      {0x4E2D, 0x4E2D}, {0xFF41, 0xFF41},
  };
  for (const auto& [unit, upper] : cases) EXPECT_EQ(nev_to_upper(unit), upper) << std::hex << unsigned(unit);
  // An upper-case unit stays as it is.
  for (char32_t unit = 0; unit <= 0xFFFF; ++unit) {
    const char16_t upper = nev_to_upper(static_cast<char16_t>(unit));
    ASSERT_EQ(nev_to_upper(upper), upper) << std::hex << unsigned(unit);
  }
}

TEST(Strings, CaseInsensitiveComparison) {
  struct Case { std::u16string a; std::u16string b; int order; };
  const Case cases[] = {
      {u"", u"", 0},          {u"Name", u"nAME", 0},  {u"\u00C9t\u00E9", u"\u00E9T\u00C9", 0},
      {u"\u041C\u0438\u0440", u"\u043C\u0418\u0420", 0},
      {u"abc", u"abd", -1},   {u"ab", u"abc", -1},    {u"abc", u"AB", 1},
      {u"a", u"_", -1},  // "A" (0x41) sorts before "_" (0x5F)
      {u"\u00E9", u"z", 1},   {u"x\0y"s, u"x\0Y"s, 0}, {u"x\0y"s, u"x", 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(nev_string_equal_nc(c.a, c.b), c.order == 0) << show(c.a) << " / " << show(c.b);
    EXPECT_EQ(nev_string_unequal_nc(c.a, c.b), c.order != 0);
    const int order = nev_compare_nc(c.a, c.b);
    EXPECT_EQ((order > 0) - (order < 0), c.order) << show(c.a) << " / " << show(c.b);
    const int reverse = nev_compare_nc(c.b, c.a);
    EXPECT_EQ((reverse > 0) - (reverse < 0), -c.order);
  }
}

TEST(Strings, EightBitConversionAndSmallHelpers) {
  EXPECT_EQ(nev_wtos(u"A\u00E9\u4E2D\0z"s), "A\xE9?\0z"s);
  std::string all_bytes;
  for (int byte = 0; byte < 256; ++byte) all_bytes += static_cast<char>(byte);
  const std::u16string wide = nev_stow(all_bytes);
  ASSERT_EQ(wide.size(), 256u);
  for (int byte = 0; byte < 256; ++byte) EXPECT_EQ(wide[byte], byte);
  EXPECT_EQ(nev_wtos(wide), all_bytes);

  EXPECT_EQ(nev_wcslen(u""), 0u);
  EXPECT_EQ(nev_wcslen(nullptr), 0u);
  EXPECT_EQ(nev_wcslen(u"abc\0def"), 3u);
  for (char16_t unit : {u'0', u'5', u'9'}) EXPECT_TRUE(nev_iswdigit(unit));
  for (char16_t unit : {u'/', u':', u'a', char16_t(0x0660), char16_t(0xFF10)}) EXPECT_FALSE(nev_iswdigit(unit));
}

TEST(Strings, Utf8BothWaysNeverFails) {
  struct Case { std::u16string utf16; std::string utf8; };
  const Case valid[] = {
      {u"", ""},  {u"plain\0nul"s, "plain\0nul"s},  {u"\u00E9", "\xC3\xA9"},
      {u"\u07FF\u0800", "\xDF\xBF\xE0\xA0\x80"},  {u"\u4E2D\uFFFF", "\xE4\xB8\xAD\xEF\xBF\xBF"},
      {u"\U0001F600", "\xF0\x9F\x98\x80"},  {u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
  };
  for (const Case& c : valid) {
    EXPECT_EQ(nev_to_utf8(c.utf16), c.utf8);
    EXPECT_EQ(nev_from_utf8(c.utf8), c.utf16) << c.utf8;
  }

  const std::string fffd = "\xEF\xBF\xBD";
  const std::pair<std::u16string, std::string> bad_utf16[] = {
      {u"a\xD800", "a" + fffd},  {u"\xDC00z", fffd + "z"},
      {u"\xD800\xD800\xDC00", fffd + "\xF0\x90\x80\x80"},  {u"\xDBFF" "a", fffd + "a"},
  };
  for (const auto& [text, expected] : bad_utf16) EXPECT_EQ(nev_to_utf8(text), expected);

  const std::pair<std::string, std::u16string> bad_utf8[] = {
      {"\x80", u"\uFFFD"},  {"a\xBF" "b", u"a\uFFFDb"},  {"\xC1\xBF", u"\uFFFD\uFFFD"},
      {"\xC0\x80", u"\uFFFD\uFFFD"},              // over-long NUL
      {"\xE0\x80\x80", u"\uFFFD\uFFFD\uFFFD"},    // over-long three-byte form
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},    // an encoded surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
      {"\xF5\x80", u"\uFFFD\uFFFD"},  {"\xFF", u"\uFFFD"},
      {"\xE4\xB8", u"\uFFFD"},                    // cut at the end
      {"\xE4\xB8" "A", u"\uFFFDA"},  {"\xF0\x9F\x98", u"\uFFFD"},  {"\xC3", u"\uFFFD"},
      {"\xC3\xC3\xA9", u"\uFFFD\u00E9"},
  };
  for (const auto& [text, expected] : bad_utf8) EXPECT_EQ(nev_from_utf8(text), expected) << text.size();

  // Every unit outside the surrogates, and a pair for each plane, survive a
  // round trip.
  std::u16string all;
  for (char32_t unit = 1; unit <= 0xFFFF; ++unit) {
    if (unit < 0xD800 || unit > 0xDFFF) all += static_cast<char16_t>(unit);
  }
  for (char16_t high = 0xD800; high <= 0xDBFF; high += 0x40) {
    all += high;
    all += char16_t(0xDC00 + (high & 0x3FF));
  }
  EXPECT_EQ(nev_from_utf8(nev_to_utf8(all)), all);

  // Random bytes: whatever is decoded encodes to UTF-8 that decodes to the
  // same units again (the sanitizer build watches every read).
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes(random() % 12, '\0');
    for (char& byte : bytes) byte = static_cast<char>(0x7F + random() % 0x81);
    const std::u16string decoded = nev_from_utf8(bytes);
    ASSERT_EQ(nev_from_utf8(nev_to_utf8(decoded)), decoded);
  }
}

// The text and result of one formatting into a roomy buffer.
struct Formatted { std::u16string text; int result; };

Formatted format(const char16_t* pattern, ...) {
  char16_t buffer[256];
  std::va_list args;
  va_start(args, pattern);
  const int result = nev_vswprintf(buffer, 256, pattern, args);
  va_end(args);
  return {buffer, result};
}

TEST(Format, ConversionsMatchTheCLibrary) {
  const char16_t sixteen_bit[] = u"h\u00E9llo \u4E2D";
  int value = 0;
  char pointer_text[64];
  std::snprintf(pointer_text, sizeof(pointer_text), "%p", static_cast<void*>(&value));
  struct Case { Formatted actual; std::u16string expected; };
  const Case cases[] = {
      {format(u"%5d|%-5d|%05.1f", 42, 42, 3.14159), u"   42|42   |003.1"},
      {format(u"%x %X %llX %.4x", 255, 255u, 0xABCDEF0123ULL, 0x1f), u"ff FF ABCDEF0123 001f"},
      {format(u"%s|%ls|%S", sixteen_bit, u"l", u"S"), sixteen_bit + u"|l|S"s},
      {format(u"%0*d|%*d|%.*s|%.*d", 5, 42, -4, 1, 3, u"abcdef", -1, 5), u"00042|1   |abc|5"},
      {format(u"%10s|%-4s|%c%c%3c", u"ab", u"cd", 0x00E9, u'x', u'y'), u"        ab|cd  |\u00E9x  y"},
      {format(u"%s", static_cast<const char16_t*>(nullptr)), u"(null)"},
      {format(u"%+d % d %+d %#o %#x", 5, 5, -5, 8, 255), u"+5  5 -5 010 0xff"},
      {format(u"%e %G %a %Lf", 12345.678, 0.0001, 1.0, 1.5L), u"1.234568e+04 0.0001 0x1p+0 1.500000"},
      {format(u"%hhd %hd %lld", 257, 65537, LLONG_MIN), u"1 1 -9223372036854775808"},
      {format(u"%ld %lu", LONG_MIN, ULONG_MAX), nev_stow(std::to_string(LONG_MIN) + " " + std::to_string(ULONG_MAX))},
      {format(u"%zu %jd %td", std::size_t{123}, std::intmax_t{-1}, std::ptrdiff_t{-7}), u"123 -1 -7"},
      {format(u"%i %u", -3, 4294967295u), u"-3 4294967295"},
      {format(u"%p", static_cast<void*>(&value)), nev_stow(pointer_text)},
      {format(u"[%s] %d%% \u00E9", u"id", 50), u"[id] 50% \u00E9"},
      {format(u""), u""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.actual.text, c.expected) << nev_to_utf8(c.expected);
    EXPECT_EQ(c.actual.result, static_cast<int>(c.expected.size())) << nev_to_utf8(c.expected);
  }
}

TEST(Format, StaysWithinTheBufferAndAlwaysTerminates) {
  struct Case { std::size_t count; const char16_t* pattern; int argument; int result; std::u16string text; };
  const Case cases[] = {
      {6, u"%d", 12345, 5, u"12345"},         // exact fit
      {5, u"%d", 12345, -1, u"1234"},         // one short: cut, NUL kept
      {1, u"%d", 7, -1, u""},                 // room for the NUL only
      {1, u"", 0, 0, u""},  {4, u"ab%dcd", 5, -1, u"ab5"},  {4, u"%8d", 5, -1, u"   "},
      {10, u"%1000000d", 5, -1, std::u16string(9, u' ')},  {10, u"%-1000000d", 5, -1, u"5" + std::u16string(8, u' ')},
      {10, u"%2147483647d", 5, -1, std::u16string(9, u' ')},  {10, u"%+.2147483647d", 5, -1, u"+00000000"},
  };
  for (const Case& c : cases) {
    char16_t buffer[16];
    std::fill(std::begin(buffer), std::end(buffer), u'#');
    const int result = nev_swprintf(buffer, c.count, c.pattern, c.argument);
    EXPECT_EQ(result, c.result) << nev_to_utf8(c.pattern);
    EXPECT_EQ(std::u16string(buffer), c.text) << nev_to_utf8(c.pattern);
    for (std::size_t i = c.count; i < 16; ++i) ASSERT_EQ(buffer[i], u'#') << "written past the end at " << i;
  }

  // A huge padded text into a small buffer ends quickly and stays bounded.
  char16_t small[8];
  EXPECT_EQ(nev_swprintf(small, 8, u"%*s", INT_MAX, u"x"), -1);
  EXPECT_EQ(std::u16string(small), std::u16string(7, u' '));

  // Absurd precisions too: the visible start is the C library's own.
  struct Huge { std::size_t count; const char16_t* pattern; double value; std::u16string text; };
  const Huge huge[] = {
      {10, u"%.2000000000f", 0.5, u"0.5000000"},
      {12, u"%2000000010.2000000000f", 0.5, u"        0.5"},
      {12, u"%-2000000010.2000000000e", 0.5, u"5.000000000"},
      {20, u"%.2000000000g", 0.1, u"0.10000000000000000"},
      {20, u"%2000000000.2000000000g", 0.1, std::u16string(19, u' ')},
  };
  for (const Huge& c : huge) {
    char16_t buffer[32];
    EXPECT_EQ(nev_swprintf(buffer, c.count, c.pattern, c.value), -1) << nev_to_utf8(c.pattern);
    EXPECT_EQ(std::u16string(buffer), c.text) << nev_to_utf8(c.pattern);
  }

  // No room at all: nothing is written, not even a NUL.
  char16_t untouched = u'#';
  EXPECT_EQ(nev_swprintf(&untouched, 0, u"x"), -1);
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
    EXPECT_EQ(result.result, -1) << nev_to_utf8(pattern);
    EXPECT_EQ(result.text, u"ab") << nev_to_utf8(pattern);
    EXPECT_EQ(target, 0);
  }
  char16_t buffer[4] = {u'#', u'#', u'#', u'#'};
  EXPECT_EQ(nev_swprintf(buffer, 4, nullptr), -1);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(nev_swprintf(nullptr, 4, u"x"), -1);
}

using Pieces = std::vector<std::u16string>;

struct Settings { std::u16string separators; std::u16string quotes; std::u16string terminators; std::u16string escapes; bool keep_empty; bool trim; };

// The pieces of `text`; tokenise appends behind a piece that is already there.
Pieces split(const Settings& s, const std::u16string& text) {
  Nev_tokeniser tokeniser(s.separators, s.quotes, s.terminators, s.escapes, s.keep_empty, s.trim);
  Nev_object_vector<std::u16string> pieces;
  pieces.push_back(new std::u16string(u"before"));
  tokeniser.tokenise(text, pieces);
  EXPECT_EQ(pieces[0], u"before");
  Pieces out;
  for (unsigned i = 1; i < pieces.size(); ++i) out.push_back(pieces[i]);
  return out;
}

TEST(Tokeniser, SplitsAsConfigured) {
  const Settings keys{u";", u"", u"\n", u"", false, false};       // ordered registry keys
  const Settings messages{u";", u"", u"", u"", false, false};     // service message files
  const Settings kept{u";,", u"", u"", u"", true, false};
  const Settings trimmed{u";", u"", u"", u"", false, true};
  const Settings quoted{u";", u"\"'", u"#", u"\\", false, true};
  struct Case { const Settings& settings; std::u16string text; Pieces expected; };
  const Case cases[] = {
      {keys, u"a;b;;c", {u"a", u"b", u"c"}},  {keys, u";a;", {u"a"}},  {keys, u"", {}},  {keys, u";;;", {}},
      {keys, u"one;two\nthree;four", {u"one", u"two"}},  {keys, u"\nignored", {}},
      {keys, u" a ; b ", {u" a ", u" b "}},
      {messages, u"c:\\m\\one.msg;two.msg\n", {u"c:\\m\\one.msg", u"two.msg\n"}},
      {kept, u"a;b;;c", {u"a", u"b", u"", u"c"}},  {kept, u";a,", {u"", u"a", u""}},
      {kept, u"", {u""}},  {kept, u"x\0y"s, {u"x\0y"s}},
      {trimmed, u" \ta b\t ; ;c", {u"a b", u"c"}},
      {quoted, u"\"a;b\";c", {u"a;b", u"c"}},  {quoted, u"  ' x ' ; y", {u" x ", u"y"}},
      {quoted, u"\"a#b\"c;d#e;f", {u"a#bc", u"d"}},
      {quoted, u"a\"b;c\"", {u"a\"b", u"c\""}},   // a quote inside a piece is plain
      {quoted, u"\"open;to the end", {u"open;to the end"}},  {quoted, u"\"\";x", {u"x"}},
      {quoted, u"a\\;b;c\\", {u"a;b", u"c\\"}},  {quoted, u"\"q\\\"q\"", {u"q\"q"}},
      {quoted, u"\\ x\\ ", {u" x "}},              // escaped blanks are not trimmed
      {quoted, u"\\#a#b", {u"#a"}},
  };
  for (const Case& c : cases) EXPECT_EQ(split(c.settings, c.text), c.expected) << show(c.text);
}

}  // namespace
}  // namespace nev
