// The formatter's integer conversions are its own code, not the C library's:
// every combination of flags, width, precision, length and conversion must
// still give the C library's text, whole or cut by a small buffer.
#include <gtest/gtest.h>
#include "portable.h"

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

#include "nev/strings.h"

namespace nev {
namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

// One narrow directive and value through both formatters. Values of the
// short lengths travel as int, the others as long long, as printf expects.
void expect_same(const std::string& pattern, bool wide_argument, std::uint64_t value, std::size_t count) {
  SCOPED_TRACE(pattern + " with " + std::to_string(value) + " into " + std::to_string(count));
  char expected[256];
  const int length = wide_argument ? std::snprintf(expected, sizeof expected, pattern.c_str(), static_cast<long long>(value))
                                   : std::snprintf(expected, sizeof expected, pattern.c_str(), static_cast<int>(value));
  ASSERT_GE(length, 0);
  const std::u16string wide_pattern = nev_stow(pattern.c_str());
  char16_t buffer[256];
  const int result = wide_argument ? nev_swprintf(buffer, count, wide_pattern.c_str(), static_cast<long long>(value))
                                   : nev_swprintf(buffer, count, wide_pattern.c_str(), static_cast<int>(value));
  const std::size_t kept = std::min(static_cast<std::size_t>(length), count - 1);
  EXPECT_EQ(result, static_cast<std::size_t>(length) < count ? length : -1);
  EXPECT_EQ(nev_to_utf8(buffer), std::string(expected, kept));
}

#pragma GCC diagnostic pop

TEST(Format, IntegerConversionsAgreeWithTheCLibrary) {
  KOV_SKIP_ON_WINDOWS("MinGW's printf departs from the C standard in flag corners (' ' and '+' with %u, "
                      "'#' with %.0o of 0), so it is no reference");
  const char* const LENGTHS[] = {"", "hh", "h", "l", "ll", "j", "z", "t"};
  const std::string CONVERSIONS = "diuoxX";
  const std::uint64_t EDGES[] = {0,          1,          7,          8,          9,          10,
                                 15,         16,         127,        128,        255,        256,
                                 32767,      32768,      65535,      0x7FFFFFFF, 0x80000000, 0xFFFFFFFF,
                                 0x7FFFFFFFFFFFFFFF, 0x8000000000000000, ~std::uint64_t{0}};
  std::mt19937_64 random(20261123);
  const auto chance = [&](unsigned in) { return random() % in == 0; };
  for (int round = 0; round < 20000; ++round) {
    std::string pattern = "<%";
    for (const char flag : std::string("-+ #0")) {
      if (chance(3)) pattern += flag;
    }
    if (chance(2)) pattern += std::to_string(random() % 30);
    if (chance(2)) pattern += chance(4) ? "." : "." + std::to_string(random() % 30);
    const std::size_t length = random() % std::size(LENGTHS);
    pattern += LENGTHS[length];
    pattern += CONVERSIONS[random() % CONVERSIONS.size()];
    pattern += '>';
    std::uint64_t value = chance(2) ? EDGES[random() % std::size(EDGES)] : random() >> (random() % 64);
    if (chance(2)) value = 0 - value;
    const bool wide_argument = length >= 3;
    expect_same(pattern, wide_argument, value, 256);
    expect_same(pattern, wide_argument, value, 1 + random() % 40);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace nev
