// Kov_ext_number side by side with a reference (GMP, or the plain one of
// plain_big.h where GMP is not at hand) on random operands of 1 to 130 bytes
// (mixed sizes, any alignment, runs of 0x00 and 0xFF bytes that make carries
// travel, fixed seed), on products and divisions at the sizes around each
// threshold where the algorithm changes, and the text form and its reading
// rules case by case.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ext_number/word_ops.h"
#include "kov/ext_number.h"

#ifdef KOV_PLAIN_REFERENCE
#include "plain_big.h"
using Big = Plain_big;
Big from_bytes(const unsigned char* bytes, unsigned size) { return Plain_big::from_bytes(bytes, size); }
unsigned bit_length(const Big& z) { return z.bit_length(); }
#else
#include <gmpxx.h>
using Big = mpz_class;
Big from_bytes(const unsigned char* bytes, unsigned size) {
  mpz_class z;
  mpz_import(z.get_mpz_t(), size, -1, 1, 0, 0, bytes);
  return z;
}
// The bit length of z >= 0; 0 for 0.
unsigned bit_length(const Big& z) {
  return z == 0 ? 0 : static_cast<unsigned>(mpz_sizeinbase(z.get_mpz_t(), 2));
}
#endif

namespace {

constexpr int ROUNDS = 6000;

// A number over a heap buffer that ends where the number ends, so that
// AddressSanitizer sees any access past it; `offset` sets its alignment.
struct Owned {
  explicit Owned(unsigned bytes_size, unsigned offset = 0)
      : storage(new unsigned char[bytes_size + offset]()), bytes(storage.get() + offset), size(bytes_size),
        number(bytes_size, bytes) {}
  // The value, as the reference holds it.
  Big big() const { return from_bytes(bytes, size); }
  std::string text() const {
    std::u16string wide;
    number.get_value_str(wide);
    return std::string(wide.begin(), wide.end());
  }

  std::unique_ptr<unsigned char[]> storage;
  unsigned char* bytes;
  unsigned size;
  kov::Kov_ext_number number;
};

// z modulo 2^bits, never negative: what a number of bits / 8 bytes holds.
Big low_bits(const Big& z, unsigned long bits) { return z & ((Big(1) << bits) - 1); }

int sign(int value) { return (value > 0) - (value < 0); }

class Random {
 public:
  unsigned below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(m_engine); }
  std::uint64_t word() { return m_engine(); }

  // A number of `size` bytes (random when 0) whose bytes follow one of
  // several shapes; its high bytes are zero at times.
  std::unique_ptr<Owned> number(unsigned size = 0) {
    if (size == 0) size = 1 + below(130);
    auto n = std::make_unique<Owned>(size, below(8));
    const unsigned used = below(4) == 0 ? below(size + 1) : size;
    const unsigned shape = below(6);
    for (unsigned i = 0; i < used; ++i) {
      auto byte = static_cast<unsigned char>(m_engine());
      if (shape == 1) byte = 0xFF;
      if (shape == 2 && below(8) != 0) byte = 0;
      if (shape == 3 && below(8) != 0) byte = 0xFF;
      if (shape == 4) byte = i + 1 == used ? 1 : 0;
      n->bytes[i] = byte;
    }
    return n;
  }

 private:
  std::mt19937_64 m_engine{20240611};
};

TEST(ExtNumberReference, ArithmeticAndShiftsMatch) {
  Random random;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number(), b = random.number(), c = random.number();
    const Big x = a->big(), y = b->big(), z = c->big();
    const auto small = static_cast<int>(random.word());
    const auto wide = static_cast<std::int64_t>(random.word()) >> random.below(64);
    const unsigned size = a->size, k = 1 + random.below(size);
    const std::uint32_t shift = random.below(8 * size + 24);
    Big expected;
    switch (round % 11) {
      case 0: a->number.add(b->number), expected = x + y; break;
      case 1: a->number.sub(b->number), expected = x - y; break;
      case 2: a->number.add(small), expected = x + small; break;
      case 3: a->number.negate(), expected = -x; break;
      case 4: a->number.set_product(b->number, c->number), expected = y * z; break;
      case 5: a->number.add_product(b->number, c->number), expected = x + y * z; break;
      case 6: a->number.set_value(b->number), expected = y; break;
      case 7: a->number.set_value(wide), expected = wide; break;
      case 8: a->number.shift_add_bit(shift), expected = x + (Big(shift < 8 * size ? 1 : 0) << shift); break;
      case 9: a->number.shift_add(shift, b->number), expected = x + (y << shift); break;
      default: {
        const unsigned lift = 8 * k - bit_length(low_bits(x, 8ul * k));
        EXPECT_EQ(a->number.shift_maximize(k), lift) << "round " << round;
        expected = x << lift;
      }
    }
    ASSERT_EQ(a->big(), low_bits(expected, 8ul * size)) << "round " << round << " shift " << shift;
  }
  // A number as its own operand: every word is read before it is written.
  Owned n(11);
  n.number = std::int64_t{-3};
  n.number += n.number;
  EXPECT_EQ(n.text(), "FF,FF,FF,FF,FF,FF,FF,FF,FF,FF,FA");
  n.number -= n.number;
  EXPECT_EQ(n.text(), "00,00,00,00,00,00,00,00,00,00,00");
}

TEST(ExtNumberReference, ComparisonsMatch) {
  Random random;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number(), b = random.number();
    if (round % 4 == 0) {  // the same value at another size, or one above it
      b = std::make_unique<Owned>(a->size + random.below(3), random.below(8));
      b->number = a->number;
      if (round % 8 == 0) b->number++;
    }
    const Big x = a->big(), y = b->big();
    const int order = sign(cmp(x, y));
    const kov::Kov_ext_number &l = a->number, &r = b->number;
    EXPECT_EQ(l.compare(r), order) << "round " << round;
    EXPECT_EQ(std::vector<bool>({l < r, l <= r, l == r, l != r, l >= r, l > r}),
              std::vector<bool>({order < 0, order <= 0, order == 0, order != 0, order >= 0, order > 0}));

    // Shifts around the point where b * 2^shift passes the top of a.
    const unsigned top = 8 * a->size;
    std::uint32_t shift = random.below(top + 16);
    if (round % 3 == 0 && top > bit_length(y)) shift = top - bit_length(y) - random.below(2);
    if (round % 97 == 0) shift = 0xFFFFFFF0u;
    const Big shifted = y << (shift < 4096 ? shift : 4096);  // 4096 lies past every top
    EXPECT_EQ(l.shift_compare(shift, r), sign(cmp(x, shifted))) << "round " << round;
    EXPECT_EQ(l.shift_add_test(shift, r), bit_length(x + shifted) <= top) << "round " << round;
  }
}

// first = floor((W - 1) / d), all ones for d = 0; second = d shifted up to
// the top bit. The fixed divisors reach the division's rare paths: a digit
// estimated one too large (the divisor is added back, and later digits depend
// on it) and a remainder whose top word equals the divisor's.
TEST(ExtNumberReference, PartialInverseIsTheScaledReciprocal) {
  Random random;
  const std::vector<std::pair<unsigned, std::vector<std::uint64_t>>> rare = {
      {40, {0x8000000000000001, 0x8000000000000000, 0x8000000000000000}},
      {40, {0xFFFFFFFFFFFFFFFF, 0x8000000000000000, 0x8000000000000000}},
      {32, {0xFFFFFFFFFFFFFFFF, 0xC000000000000000, 0xC000000000000000}},
      {32, {0xFFFFFFFF00000000, 0x00000000FFFFFFFF, 0x0000000000000001}},
      {32, {0x8000000000000000, 0x00000000FFFFFFFF, 0x00000000FFFFFFFF}},
  };
  for (int round = 0; round < ROUNDS + static_cast<int>(rare.size()); ++round) {
    std::unique_ptr<Owned> divisor;
    if (round < static_cast<int>(rare.size())) {
      divisor = std::make_unique<Owned>(rare[round].first);
      std::memcpy(divisor->bytes, rare[round].second.data(), 24);
    } else {
      divisor = random.number();
      if (round % 5 == 0) {  // short divisors: long quotients
        for (unsigned i = 1 + random.below(16); i < divisor->size; ++i) divisor->bytes[i] = 0;
      }
    }
    const unsigned size = divisor->size;
    auto first = random.number(size), second = random.number(size);
    const Big d = divisor->big(), all_ones = (Big(1) << 8 * size) - 1;
    divisor->number.partial_inverse(first->number, second->number);
    ASSERT_EQ(first->big(), d == 0 ? all_ones : Big(all_ones / d)) << "round " << round;
    ASSERT_EQ(second->big(), d == 0 ? d : Big(d << (8 * size - bit_length(d)))) << "round " << round;
  }
}

// Operand shapes for the sizes around the thresholds: random words, all
// ones (the largest carries), a top word with only its top bit over all ones
// below (the largest quotient-digit corrections), a single top bit, and
// alternating bits (0xAA bytes; 0x55 in the second factor), whose halves
// and thirds are equal, so the differences of the splits are 0.
enum class Shape { random, ones, top_bit_over_ones, top_bit_only, alternating };

void fill(Owned& n, unsigned used, Shape shape, Random& random) {
  std::memset(n.bytes, 0, n.size);
  for (unsigned i = 0; i < used; ++i) {
    switch (shape) {
      case Shape::random: n.bytes[i] = static_cast<unsigned char>(random.word()); break;
      case Shape::ones: n.bytes[i] = 0xFF; break;
      case Shape::top_bit_over_ones: n.bytes[i] = i + 1 == used ? 0x80 : 0xFF; break;
      case Shape::top_bit_only: n.bytes[i] = i + 1 == used ? 0x80 : 0; break;
      case Shape::alternating: n.bytes[i] = 0xAA; break;
    }
  }
}

constexpr Shape SHAPES[] = {Shape::random, Shape::ones, Shape::top_bit_over_ones, Shape::top_bit_only,
                            Shape::alternating};

// Word counts just below, at and above `threshold`, and around twice it,
// where the halves of a split (a low half splits into full products of
// half its size) cross it.
std::vector<unsigned> around(std::size_t threshold) {
  const auto t = static_cast<unsigned>(threshold);
  return {t - 1, t, t + 1, 2 * t - 3, 2 * t - 2, 2 * t - 1, 2 * t, 2 * t + 1};
}

// Word counts of low halves whose split puts a part next to the threshold
// that decides the part's form: the two low halves (h words) around
// MULLO_THRESHOLD, the full product (n - h words) around Toom-3's and
// Toom-4's. The first count for each part length.
std::vector<unsigned> low_half_split_sizes() {
  using namespace kov::detail;
  std::vector<unsigned> words;
  auto add_first = [&](std::size_t (*part_of)(std::size_t), std::size_t threshold) {
    for (std::size_t target = threshold - 1; target <= threshold + 1; ++target) {
      for (std::size_t n = MULLO_THRESHOLD; n <= PRODUCT_LOW_HALF_WORDS; ++n) {
        if (part_of(n) == target) {
          words.push_back(static_cast<unsigned>(n));
          break;
        }
      }
    }
  };
  add_first([](std::size_t n) { return multiply_low_high_part(n); }, MULLO_THRESHOLD);
  for (std::size_t t : {TOOM3_THRESHOLD, TOOM4_THRESHOLD}) {
    add_first([](std::size_t n) { return n - multiply_low_high_part(n); }, t);
  }
  return words;
}

// Products whose receiver and factors have word counts around the
// thresholds of the split products and of the blocks: equal sizes (low
// halves), a factor of a third of the receiver (unbalanced products), and
// receivers with a partial top word.
TEST(ExtNumberReference, SplitProductsMatchAroundThresholds) {
  using namespace kov::detail;
  Random random;
  std::vector<unsigned> words;
  for (std::size_t t : {KARATSUBA_THRESHOLD, TOOM3_THRESHOLD, MULLO_THRESHOLD}) {
    for (unsigned w : around(t)) words.push_back(w);
  }
  // Toom-4's parts are a quarter long: twice its threshold crosses nothing.
  for (std::size_t w : {TOOM4_THRESHOLD - 1, TOOM4_THRESHOLD, TOOM4_THRESHOLD + 1}) {
    words.push_back(static_cast<unsigned>(w));
  }
  for (unsigned w : low_half_split_sizes()) words.push_back(w);
  for (std::size_t w : {PRODUCT_BLOCK_WORDS - 1, PRODUCT_BLOCK_WORDS, PRODUCT_BLOCK_WORDS + 1,
                        2 * PRODUCT_BLOCK_WORDS + 3, PRODUCT_LOW_HALF_WORDS, PRODUCT_LOW_HALF_WORDS + 1}) {
    words.push_back(static_cast<unsigned>(w));
  }
  for (unsigned w : words) {
    for (Shape shape : SHAPES) {
      for (const auto& [size, factor_size] : {std::pair{8 * w, 8 * w}, std::pair{8 * w - 3, 8 * w - 3},
                                             std::pair{8 * w, 8 * w / 3 + 8}}) {
        Owned r(size, 1), a(factor_size, 3), b(size);
        fill(a, factor_size, shape, random);
        fill(b, size, shape == Shape::random || shape == Shape::alternating ? shape : Shape::ones, random);
        if (shape == Shape::alternating) std::memset(b.bytes, 0x55, size);  // a's bits complemented
        fill(r, size, Shape::random, random);
        const Big before = r.big();
        r.number.add_product(a.number, b.number);
        ASSERT_EQ(r.big(), low_bits(before + a.big() * b.big(), 8ul * size))
            << "add_product, " << size << " bytes, factor " << factor_size << ", shape " << static_cast<int>(shape);
        r.number.set_product(b.number, a.number);
        ASSERT_EQ(r.big(), low_bits(a.big() * b.big(), 8ul * size))
            << "set_product, " << size << " bytes, factor " << factor_size << ", shape " << static_cast<int>(shape);
      }
    }
  }
}

// partial_inverse where the divisor's word count and the quotient's sit
// around the division's thresholds: quotients of one word more than the
// divisor, of a few words, and of several divisor lengths.
TEST(ExtNumberReference, SplitDivisionMatchesAroundThresholds) {
  using namespace kov::detail;
  Random random;
  for (unsigned dn : around(DIVIDE_THRESHOLD)) {
    for (unsigned nw : {2 * dn, dn + 3, dn + static_cast<unsigned>(DIVIDE_THRESHOLD), 3 * dn + 5}) {
      for (Shape shape : SHAPES) {
        const unsigned size = 8 * nw;
        Owned d(size), first(size), second(size);
        fill(d, 8 * dn - random.below(4), shape, random);
        d.number.partial_inverse(first.number, second.number);
        const Big all_ones = (Big(1) << 8 * size) - 1;
        ASSERT_EQ(first.big(), Big(all_ones / d.big()))
            << "divisor words " << dn << ", number words " << nw << ", shape " << static_cast<int>(shape);
      }
    }
  }
}

// add and sub of 8- and 16-byte numbers run inline from the header; the
// sizes around them, mixed sizes and the number as its own operand go to the
// library. Both must agree with GMP, carries across the word boundary
// included.
TEST(ExtNumberReference, InlineAddAndSubMatchAtSmallSizes) {
  Random random;
  const unsigned sizes[] = {7, 8, 9, 15, 16, 17};
  for (unsigned size : sizes) {
    for (unsigned other_size : {size, 8u, 16u}) {
      for (Shape shape : SHAPES) {
        for (int op = 0; op < 3; ++op) {
          Owned a(size, random.below(8)), b(other_size, random.below(8));
          fill(a, size, shape, random);
          fill(b, other_size, shape == Shape::top_bit_only ? Shape::ones : Shape::random, random);
          const Big x = a.big(), y = b.big();
          Big expected;
          switch (op) {
            case 0: a.number.add(b.number), expected = x + y; break;
            case 1: a.number.sub(b.number), expected = x - y; break;
            default: a.number.add(a.number), expected = 2 * x;
          }
          ASSERT_EQ(a.big(), low_bits(expected, 8ul * size))
              << "op " << op << ", sizes " << size << " and " << other_size << ", shape " << static_cast<int>(shape);
        }
      }
    }
  }
}

TEST(ExtNumberReference, TextReadsBackAtEverySize) {
  Random random;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number();
    const Big x = a->big();
    std::u16string text, spaced;
    a->number.get_value_str(text);
    EXPECT_EQ(text.size(), a->number.get_value_str_len());
    EXPECT_EQ(kov::kov_ext_num_str_len(text), (bit_length(x) + 7) / 8) << "round " << round;
    // Separators added between pairs and behind the last change nothing.
    for (char16_t unit : text) spaced += unit == u',' && random.below(2) ? u"\t , " : std::u16string(1, unit);
    spaced += random.below(2) ? u", " : u"";
    auto b = random.number();
    b->number.set_value(random.below(2) ? spaced : text);
    ASSERT_EQ(b->big(), low_bits(x, 8ul * b->size)) << "round " << round;
  }
}

TEST(ExtNumberText, WritesAndReadsThePairs) {
  // The random rounds and the own-operand case pin values and their text;
  // the text of an empty number is the one form they do not reach.
  Owned empty(0);
  empty.number = 5;
  EXPECT_EQ(empty.text(), "");
  const std::vector<std::tuple<unsigned, std::u16string, std::string>> read = {
      {2, u"AB,CD", "AB,CD"},  {2, u"ab cd", "AB,CD"}, {2, u"ABCD,", "AB,CD"},  {1, u"AB,CD", "CD"},
      {4, u"AB,CD", "00,00,AB,CD"}, {2, u"", "00,00"}, {1, u"G1", "F1"},     {1, u"1G", "0F"},
      {1, u"GG", "EF"},        {2, u"A,B", "0A,FB"},  // no separator is looked for inside a pair
      {2, u"ABC", "0A,BC"},    {2, u",AB", "00,AB"},  // a lone digit or separator at the left end
  };
  for (const auto& [size, text, expected] : read) {
    Owned n(size);
    n.number = -1;
    n.number.set_value(text);
    EXPECT_EQ(n.text(), expected) << std::string(text.begin(), text.end());
  }
  const std::vector<std::pair<std::u16string, unsigned>> lengths = {
      {u"00,01,FF", 2}, {u"00,00", 0}, {u"AB,CD", 2}, {u"", 0}, {u"0A", 1}, {u"100", 2}, {u"01,00,00", 3}};
  for (const auto& [text, expected] : lengths) EXPECT_EQ(kov::kov_ext_num_str_len(text), expected);
}

TEST(ExtNumberOperators, StepOverEveryByteAndCopyValues) {
  const std::vector<std::tuple<unsigned, std::int64_t, std::string>> decremented = {
      {5, 0x0100, "00,00,00,00,FF"}, {10, 0, "FF,FF,FF,FF,FF,FF,FF,FF,FF,FF"}, {3, 0xFFFFFF, "FF,FF,FE"}};
  for (const auto& [size, start, expected] : decremented) {
    Owned n(size);
    n.number = start;
    n.number--;
    EXPECT_EQ(n.text(), expected);
  }
  Owned byte(1), word(2);
  byte.number = 0xFF;
  word.number = byte.number;
  EXPECT_EQ(word.text(), "00,FF");  // never sign-extended
  kov::Kov_ext_number view = word.number;  // a copied object views the same bytes
  view++;
  EXPECT_EQ(word.text(), "01,00");
}

}  // namespace
