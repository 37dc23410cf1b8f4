// Hostile input must cost work in proportion to its size: a .reg value of
// many continuation lines, and a template of many tokens. Each case runs at
// a size where work growing with the square of the input runs for seconds,
// and asserts on the bytes copied and allocated, which a linear algorithm
// keeps to a small multiple of the input.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "copy_counter.h"
#include "kov/property_list.h"
#include "kov/tokens.h"
#include "nev/status.h"
#include "reg_file.h"

namespace {

// A version 5 file with one binary value of `lines` continuation lines of
// 25 bytes each, then a last line of one byte.
std::u16string long_hex_value(std::size_t lines) {
  std::u16string text = u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Big]\r\n\"v\"=hex:\\\r\n";
  for (std::size_t i = 0; i < lines; ++i) {
    text += u"  ";
    for (int k = 0; k < 25; ++k) text += u"ab,";
    text += u"\\\r\n";
  }
  return text + u"  cd\r\n";
}

TEST(Work, RegHexContinuationLinesAreReadInLinearWork) {
  const std::size_t lines = 6000;  // about 2 s when each line copies all before it
  const std::u16string text = long_hex_value(lines);
  const std::size_t input_bytes = text.size() * sizeof(char16_t);
  std::vector<kovreg::File_change> changes;
  kovreg::File_error error;
  const work::Counts before = work::counts();
  ASSERT_TRUE(kovreg::parse_file(text, changes, error)) << error.line;
  const work::Counts done = work::counts() - before;
  ASSERT_EQ(changes.size(), 2u);
  EXPECT_EQ(changes[1].value.data.size(), lines * 25 + 1);
  EXPECT_EQ(changes[1].value.data.back(), 0xCD);
  // The lines, the joined text and the bytes each take a few times the input
  // (and the value's bytes alone show that the reader's allocations count).
  EXPECT_GE(done.allocated, lines * 25);
  EXPECT_LT(done.allocated, 16 * input_bytes);
  if (work::copies_are_counted()) {
    EXPECT_LT(done.copied, 16 * input_bytes);
  }
}

TEST(Work, TokenReplacementCopiesInLinearWork) {
  if (!work::copies_are_counted()) {
    GTEST_SKIP() << "this build's copies cannot be counted (a sanitizer takes them over, or, on Windows, the "
                    "DLLs' copies never reach the program's own functions)";
  }
  kov::Kov_property_list list(false);
  list.add(kov::Kov_property(u"v", u"value"));
  // 320,000 units, a token in every four, each replaced by a longer value.
  std::u16string input;
  for (int i = 0; i < 80000; ++i) input += u"%v% ";
  input += u"end";
  std::u16string output;
  nev::Nev_status status;
  const work::Counts before = work::counts();
  kov::kov_replace_tokens(input, list, output, status);
  const work::Counts done = work::counts() - before;
  ASSERT_EQ(output.size(), 80000u * 6 + 3);
  EXPECT_EQ(output.compare(0, 12, u"value value "), 0);
  const std::size_t bytes = (input.size() + output.size()) * sizeof(char16_t);
  EXPECT_LT(done.copied, 8 * bytes);
  EXPECT_LT(done.allocated, 8 * bytes);
}

}  // namespace
