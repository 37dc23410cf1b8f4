// Kov_ext_number: the rules of each operation, case by case (text form and
// its reading, mixed sizes, wrapping, the shift family, partial_inverse).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ext_number/ext_number_support.h"
#include "kov/ext_number.h"

namespace {

using kov::Kov_ext_number;
using kov::test::Owned_number;

std::string repeat(const std::string& pair, unsigned count) {
  std::string out;
  for (unsigned i = 0; i < count; ++i) out += (i ? "," : "") + pair;
  return out;
}

TEST(ExtNumberText, WritesTwoDigitsPerByteMostSignificantFirst) {
  struct Case {
    unsigned size;
    std::int64_t value;
    std::string text;
  };
  const std::vector<Case> cases = {
      {3, -2, "FF,FF,FE"},
      {10, -1, repeat("FF", 10)},
      {4, 0x0123456789ABCDEF, "89,AB,CD,EF"},
      {3, 0x0102FF, "01,02,FF"},
      {1, 0x5A, "5A"},
      {9, 1, repeat("00", 8) + ",01"},
      {9, -256, repeat("FF", 8) + ",00"},
      {12, 0x7FFFFFFFFFFFFFFF, "00,00,00,00,7F,FF,FF,FF,FF,FF,FF,FF"},
      {0, 77, ""},
  };
  for (const Case& c : cases) {
    Owned_number n(c.size, 0xA5A5A5A5A5A5A5A5);
    n->set_value(c.value);
    EXPECT_EQ(n.text(), c.text) << "size " << c.size << " value " << c.value;
  }
  // The output is replaced, and its length is always get_value_str_len.
  for (unsigned size = 0; size <= 20; ++size) {
    Owned_number n(size, 0x1234);
    std::u16string out = u"left over";
    n->get_value_str(out);
    EXPECT_EQ(out.size(), n->get_value_str_len()) << size;
    EXPECT_EQ(n->get_value_str_len(), size == 0 ? 0u : 3 * size - 1);
  }
}

TEST(ExtNumberText, ReadsPairsFromTheRightWithoutValidating) {
  struct Case {
    unsigned size;
    std::u16string text;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {2, u"AB,CD", "AB,CD"},
      {2, u"ab cd", "AB,CD"},
      {2, u"ABCD,", "AB,CD"},
      {2, u"\tAB , CD\t", "AB,CD"},
      {1, u"AB,CD", "CD"},
      {4, u"AB,CD", "00,00,AB,CD"},
      {3, u"01,02,03,04", "02,03,04"},
      {2, u"", "00,00"},
      {2, u" , ", "00,00"},
      {1, u"G1", "F1"},   // a bad high digit gives 0xF0 plus the low digit
      {1, u"1G", "0F"},   // a bad low digit gives 16 times the high digit minus 1
      {1, u"GG", "EF"},
      {2, u"A,B", "0A,FB"},  // no separator is looked for inside a pair
      {2, u"ABC", "0A,BC"},  // a lone digit at the left end reads as 0X
      {2, u",AB", "00,AB"},  // a separator at the left end reads nothing
      {3, u"F", "00,00,0F"},
  };
  for (const Case& c : cases) {
    Owned_number n(c.size, 0xFFFFFFFFFFFFFFFF);
    n->set_value(c.text);
    EXPECT_EQ(n.text(), c.expected) << std::string(c.text.begin(), c.text.end());
  }
}

TEST(ExtNumberText, StringLengthCountsThePairsThatMatter) {
  struct Case {
    std::u16string text;
    unsigned expected;
  };
  const std::vector<Case> cases = {
      {u"00,01,FF", 2}, {u"00,00", 0}, {u"AB,CD", 2}, {u"", 0}, {u" ,\t", 0},
      {u"0A", 1},       {u"1", 1},     {u"100", 2},   {u"00,00,00,80", 1},
      {u"01,00,00", 3}, {u"FF,FF,FF,FF,FF,FF,FF,FF,FF,FF", 10},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(kov::kov_ext_num_str_len(c.text), c.expected) << std::string(c.text.begin(), c.text.end());
  }
}

TEST(ExtNumberAssign, CopiesUnsignedValueModuloTheReceiver) {
  Owned_number small(1, 0xFF), wide(2, 0xABCD);
  *wide = *small;
  EXPECT_EQ(wide.low(), 0x00FFu);  // never sign-extended
  Owned_number word(2, 0x1234), byte(1);
  *byte = *word;
  EXPECT_EQ(byte.low(), 0x34u);
  Owned_number three(3, 0x0102FF);
  *three = *three;  // assignment to itself keeps the value
  EXPECT_EQ(three.low(), 0x0102FFu);
  // Copying the object is a second view of the same bytes.
  Kov_ext_number view = *three;
  view = std::int64_t{5};
  EXPECT_EQ(three.low(), 5u);
}

TEST(ExtNumberArithmetic, WrapsModuloTheWidth) {
  Owned_number a(2, 0x0100);
  a->negate();
  EXPECT_EQ(a.low(), 0xFF00u);
  Owned_number zero(6, 0);
  zero->negate();
  EXPECT_EQ(zero.text(), repeat("00", 6));
  Owned_number one(9, 1);
  one->negate();
  EXPECT_EQ(one.text(), repeat("FF", 9));

  Owned_number full(1, 0xFF);
  full->add(1);
  EXPECT_EQ(full.low(), 0u);

  // A shorter operand holding 0xFF adds 255, not -1.
  Owned_number sum(2, 0x0001), ff(1, 0xFF);
  *sum += *ff;
  EXPECT_EQ(sum.low(), 0x0100u);
  // A longer operand: its bytes past the receiver's size fall out.
  Owned_number narrow(2, 0x0001), long_operand(5, 0x99000000FFFF);
  narrow->add(*long_operand);
  EXPECT_EQ(narrow.low(), 0x0000u);

  // Adding a number to itself doubles it.
  Owned_number twice(11, 0x8000000000000001);
  *twice += *twice;
  EXPECT_EQ(twice.text(), "00,00,01,00,00,00,00,00,00,00,02");
  *twice -= *twice;
  EXPECT_EQ(twice.text(), repeat("00", 11));
}

TEST(ExtNumberArithmetic, DecrementBorrowsThroughEveryByte) {
  struct Case {
    unsigned size;
    std::uint64_t start;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {5, 0x0100, "00,00,00,00,FF"},
      {3, 0, "FF,FF,FF"},
      {10, 0, repeat("FF", 10)},
      {9, 0x0000000000000000, repeat("FF", 9)},
      {12, 0x1000000000000000, "00,00,00,00,0F,FF,FF,FF,FF,FF,FF,FF"},
  };
  for (const Case& c : cases) {
    Owned_number by_operator(c.size, c.start), by_sub(c.size, c.start), one(1, 1);
    (*by_operator)--;
    *by_sub -= *one;
    EXPECT_EQ(by_operator.text(), c.expected);
    EXPECT_EQ(by_sub.text(), c.expected);
    (*by_operator)++;
    Owned_number start(c.size, c.start);
    EXPECT_TRUE(*by_operator == *start);
  }
  // add of an int: a negative one is its two's complement over the width.
  Owned_number n(12, 5);
  n->add(-7);
  EXPECT_EQ(n.text(), repeat("FF", 11) + ",FE");
  n->add(3);
  EXPECT_EQ(n.text(), repeat("00", 11) + ",01");
  *n += -2147483647 - 1;
  EXPECT_EQ(n.text(), repeat("FF", 8) + ",80,00,00,01");
}

TEST(ExtNumberCompare, ComparesUnsignedValuesAcrossSizes) {
  struct Case {
    unsigned size_a;
    std::uint64_t a;
    unsigned size_b;
    std::uint64_t b;
    int expected;
  };
  const std::vector<Case> cases = {
      {2, 1, 4, 1, 0},
      {2, 1, 4, 0x00010001, -1},
      {1, 0xFF, 1, 1, 1},
      {0, 0, 3, 0, 0},
      {0, 0, 3, 0x10000, -1},
      {9, 0, 9, 0, 0},
      {9, 0x8000000000000000, 8, 0x7FFFFFFFFFFFFFFF, 1},
      {13, 42, 1, 42, 0},
  };
  for (const Case& c : cases) {
    Owned_number a(c.size_a, c.a), b(c.size_b, c.b);
    EXPECT_EQ(a->compare(*b), c.expected) << c.a << " vs " << c.b;
    EXPECT_EQ(b->compare(*a), -c.expected);
    EXPECT_EQ(*a < *b, c.expected < 0);
    EXPECT_EQ(*a <= *b, c.expected <= 0);
    EXPECT_EQ(*a == *b, c.expected == 0);
    EXPECT_EQ(*a != *b, c.expected != 0);
    EXPECT_EQ(*a >= *b, c.expected >= 0);
    EXPECT_EQ(*a > *b, c.expected > 0);
  }
  // The two's complement of 1 is the largest value, not a negative one.
  Owned_number minus_one(4), one(4, 1);
  *minus_one = -1;
  EXPECT_GT(minus_one->compare(*one), 0);
  Owned_number odd(3, 0x010203), even(3, 0x010204);
  EXPECT_TRUE(odd->is_odd());
  EXPECT_FALSE(even->is_odd());
}

TEST(ExtNumberShift, CompareAndAddTestSeeTheFullShiftedValue) {
  Owned_number n(2, 0x0100), one(1, 1);
  EXPECT_EQ(n->shift_compare(8, *one), 0);
  EXPECT_EQ(n->shift_compare(7, *one), 1);
  EXPECT_EQ(n->shift_compare(9, *one), -1);
  EXPECT_EQ(n->shift_compare(16, *one), -1);  // past the top
  Owned_number zero(3, 0);
  EXPECT_EQ(n->shift_compare(4000000000u, *zero), 1);

  Owned_number f0(1, 0xF0), three(1, 3);
  EXPECT_TRUE(f0->shift_add_test(2, *three));   // 0xFC
  EXPECT_FALSE(f0->shift_add_test(3, *three));  // 0x108
  // A sum of exactly all ones fits; one more does not.
  Owned_number low(3, 0x00FFFF), high(2, 0xFF);
  EXPECT_TRUE(low->shift_add_test(16, *high));
  low->add(1);
  EXPECT_FALSE(low->shift_add_test(16, *high));
  EXPECT_TRUE(low->shift_add_test(4000000000u, *zero));
}

TEST(ExtNumberShift, AddBitAndAddWrapAtTheTop) {
  Owned_number n(3, 0x00FF00);
  n->shift_add_bit(24);  // 8 * size: nothing
  n->shift_add_bit(1000);
  EXPECT_EQ(n.low(), 0x00FF00u);
  n->shift_add_bit(8);  // carries through the 0xFF byte
  EXPECT_EQ(n.low(), 0x010000u);
  Owned_number top(10, 0);
  top->set_value(-1);
  top->shift_add_bit(3);  // runs through every byte above and is dropped at the top
  EXPECT_EQ(top.text(), repeat("00", 9) + ",07");

  Owned_number sum(4, 0x000000FF), operand(2, 0x8181);
  sum->shift_add(4, *operand);  // 0xFF + 0x81810
  EXPECT_EQ(sum.low(), 0x0818FFu + 0x10u);
  sum->shift_add(32, *operand);  // past the top: nothing
  EXPECT_EQ(sum.low(), 0x08190Fu);
  sum->shift_add(20, *operand);  // the high bits of the operand fall out
  EXPECT_EQ(sum.low(), (0x08190Fu + (0x8181u << 20)) & 0xFFFFFFFFu);
}

TEST(ExtNumberShift, MaximizeSetsTheTopBitOfTheFirstBytes) {
  struct Case {
    unsigned size;
    std::uint64_t value;
    unsigned k;
    unsigned shift;
    std::uint64_t result;
  };
  const std::vector<Case> cases = {
      {2, 0x0012, 2, 11, 0x9000},
      {2, 0x0000, 2, 16, 0x0000},
      {1, 0x80, 1, 0, 0x80},
      {1, 0x01, 1, 7, 0x80},
      {3, 0x010012, 1, 3, 0x080090},  // the bytes above k move and wrap as well
      {3, 0xFF0000, 2, 16, 0x000000},
      {9, 0x01, 9, 71, 0},  // checked through the top byte below
  };
  for (const Case& c : cases) {
    Owned_number n(c.size, c.value);
    EXPECT_EQ(n->shift_maximize(c.k), c.shift) << c.value;
    EXPECT_EQ(n.low(), c.result) << c.value;
  }
  Owned_number nine(9, 1);
  nine->shift_maximize(9);
  EXPECT_EQ(nine.text(), "80," + repeat("00", 8));
}

TEST(ExtNumberInverse, GivesTheScaledReciprocalRoundedDown) {
  struct Case {
    unsigned size;
    std::uint64_t divisor;
    std::uint64_t first;
    std::uint64_t second;
  };
  const std::vector<Case> cases = {
      {1, 3, 0x55, 0xC0},     {1, 10, 25, 0xA0},        {1, 16, 15, 0x80},
      {1, 1, 255, 0x80},      {1, 0xFF, 1, 0xFF},       {1, 0, 0xFF, 0},
      {2, 7, 0x2492, 0xE000}, {2, 0, 0xFFFF, 0},        {3, 0x10000, 0xFF, 0x800000},
      {8, 3, 0x5555555555555555, 0xC000000000000000},   {5, 0xFFFFFFFFFF, 1, 0xFFFFFFFFFF},
  };
  for (const Case& c : cases) {
    Owned_number d(c.size, c.divisor), first(c.size, 0x5A5A5A5A5A5A5A5A), second(c.size, 0x5A5A5A5A5A5A5A5A);
    d->partial_inverse(*first, *second);
    EXPECT_EQ(first.low(), c.first) << "size " << c.size << " d " << c.divisor;
    EXPECT_EQ(second.low(), c.second) << "size " << c.size << " d " << c.divisor;
    EXPECT_EQ(d.low(), c.divisor);
  }
  Owned_number zero(17, 0), first(17), second(17, 9);
  zero->partial_inverse(*first, *second);
  EXPECT_EQ(first.text(), repeat("FF", 17));
  EXPECT_EQ(second.text(), repeat("00", 17));
}

}  // namespace
