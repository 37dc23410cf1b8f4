// Hostile input must cost work in proportion to its size: a .reg value of
// many continuation lines, a template of many tokens, a list extraction that
// moves every entry. Each case runs at a size where work growing with the
// square of the input runs for seconds, and asserts on the bytes copied and
// allocated, which a linear algorithm keeps to a small multiple of the
// input. And an extraction whose allocations fail one after the other must
// neither lose nor double an entry.
#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "copy_counter.h"
#include "kov/property_list.h"
#include "kov/tokens.h"
#include "nev/status.h"
#include "nev/strings.h"
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

// Every entry of a long list moved in the list's order: each one taken from
// the front and the rest closed up behind it would copy the pointers of the
// whole rest each time, 1.6 GB here.
TEST(Work, ExtractingEveryEntryCopiesInLinearWork) {
  if (!work::copies_are_counted()) {
    GTEST_SKIP() << "this build's copies cannot be counted";
  }
  const unsigned count = 20000;
  kov::Kov_property_list source(true), destination(true);
  nev::Nev_object_vector<std::u16string> names;
  for (unsigned i = 0; i < count; ++i) {
    std::u16string digits;
    nev::nev_itow(i, digits, 10, false);
    source.add(u"Entry" + digits, static_cast<int>(i));
    names.push_back(new std::u16string(u"ENTRY" + digits));
  }
  const work::Counts before = work::counts();
  kov::kov_extract_list(source, destination, names);
  const work::Counts done = work::counts() - before;
  ASSERT_EQ(destination.size(), count);
  EXPECT_EQ(source.size(), 0u);
  EXPECT_EQ(destination[count - 1]->int_value(), static_cast<int>(count - 1));
  const std::size_t per_entry = 256;  // the new entry, its name, its slot
  EXPECT_LT(done.copied, per_entry * count);
  EXPECT_LT(done.allocated, per_entry * count);
}

// The values of a list's entries, in order.
std::vector<int> values_of(const kov::Kov_property_list& list) {
  std::vector<int> values;
  for (const kov::Kov_property* entry : list) values.push_back(entry->int_value());
  return values;
}

// An extraction in which the first, the second, ... allocation fails: after
// each failure the entries added so far are gone from the source and every
// other entry is still there, in order, once.
TEST(Work, ExtractionThatFailsPartWayLosesNoEntry) {
  {
    kov::Kov_property_list probe(true);
    work::fail_allocation_after(0);
    bool failed = false;
    try {
      probe.add(u"probe", 1);
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    work::stop_failing();
    if (!failed) GTEST_SKIP() << "the libraries' allocations do not reach this program's operator new";
  }
  const std::vector<int> all = {1, 2, 3, 4, 5, 6};
  const std::vector<int> moved_order = {3, 6, 1, 4, 5};  // by name b, a, c
  int failures_between_adds = 0;
  for (long allowed = 0;; ++allowed) {
    kov::Kov_property_list source(true), destination(true);
    for (const char16_t* name : {u"a", u"keep", u"b", u"A", u"c", u"B"}) source.add(name, static_cast<int>(source.size()) + 1);
    nev::Nev_object_vector<std::u16string> names;
    for (const char16_t* name : {u"b", u"a", u"c"}) names.push_back(new std::u16string(name));
    bool failed = false;
    work::fail_allocation_after(allowed);
    try {
      kov::kov_extract_list(source, destination, names);
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    work::stop_failing();
    const std::vector<int> added = values_of(destination);
    ASSERT_LE(added.size(), moved_order.size());
    EXPECT_TRUE(std::equal(added.begin(), added.end(), moved_order.begin())) << allowed;
    std::vector<int> left;
    for (int value : all) {
      if (std::find(added.begin(), added.end(), value) == added.end()) left.push_back(value);
    }
    EXPECT_EQ(values_of(source), left) << allowed;
    if (!failed) {
      EXPECT_EQ(added, moved_order);
      break;
    }
    if (!added.empty()) ++failures_between_adds;
  }
  EXPECT_GE(failures_between_adds, 4);  // a failure after each add but the last
}

}  // namespace
