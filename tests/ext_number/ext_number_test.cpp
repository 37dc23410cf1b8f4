// Kov_ext_number side by side with GMP on random operands of 1 to 130 bytes
// (mixed sizes, any alignment, runs of 0x00 and 0xFF bytes that make carries
// travel, fixed seed), and the text form and its reading rules case by case.
#include <gmp.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "kov/ext_number.h"

namespace {

using kov::Kov_ext_number;
using Bytes = std::vector<unsigned char>;
using Owned_ptr = std::unique_ptr<class Owned>;

constexpr int ROUNDS = 2500;

// A number over a heap buffer that ends where the number ends, so that
// AddressSanitizer sees any access past it; `offset` sets its alignment.
class Owned {
 public:
  explicit Owned(unsigned size, unsigned offset = 0)
      : m_storage(new unsigned char[size + offset]()), m_bytes_p(m_storage.get() + offset), m_size(size),
        m_number(size, m_bytes_p) {}
  Kov_ext_number& operator*() { return m_number; }
  Kov_ext_number* operator->() { return &m_number; }
  unsigned char* bytes() { return m_bytes_p; }
  Bytes value() const { return Bytes(m_bytes_p, m_bytes_p + size()); }
  unsigned size() const { return m_size; }
  std::string text() const {
    std::u16string wide;
    m_number.get_value_str(wide);
    return std::string(wide.begin(), wide.end());
  }

 private:
  std::unique_ptr<unsigned char[]> m_storage;
  unsigned char* m_bytes_p;
  unsigned m_size;
  Kov_ext_number m_number;
};

// An owned GMP integer.
struct Big {
  Big() { mpz_init(z); }
  Big(const Big&) = delete;
  ~Big() { mpz_clear(z); }
  mpz_ptr operator*() { return z; }
  mpz_t z;
};

void to_big(const Owned& n, mpz_ptr z) { mpz_import(z, n.size(), -1, 1, 0, 0, n.value().data()); }

// The bytes of z modulo 256^size, least significant first.
Bytes bytes_of(mpz_srcptr z, unsigned size) {
  Big reduced;
  mpz_fdiv_r_2exp(*reduced, z, 8ul * size);
  Bytes out(size + 8, 0);
  mpz_export(out.data(), nullptr, -1, 1, 0, 0, *reduced);
  out.resize(size);
  return out;
}

void set_int64(mpz_ptr z, std::int64_t value) {
  const std::uint64_t magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : value;
  mpz_import(z, 1, -1, sizeof magnitude, 0, 0, &magnitude);
  if (value < 0) mpz_neg(z, z);
}

// 2^bits - 1.
void set_all_ones(mpz_ptr z, unsigned long bits) {
  mpz_set_ui(z, 1);
  mpz_mul_2exp(z, z, bits);
  mpz_sub_ui(z, z, 1);
}

int sign(int value) { return (value > 0) - (value < 0); }

class Random {
 public:
  unsigned below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(m_engine); }
  std::uint64_t word() { return m_engine(); }

  // A number of `size` bytes (random when 0) whose bytes follow one of
  // several shapes; its high bytes are zero at times.
  Owned_ptr number(unsigned size = 0) {
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
      n->bytes()[i] = byte;
    }
    return n;
  }

 private:
  std::mt19937_64 m_engine{20240611};
};

TEST(ExtNumberGmp, ArithmeticMatches) {
  Random random;
  Big x, y, expected, tmp;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number(), b = random.number(), c = random.number();
    to_big(*a, *x);
    to_big(*b, *y);
    to_big(*c, *tmp);
    const auto small = static_cast<int>(random.word());
    const auto wide = static_cast<std::int64_t>(random.word()) >> random.below(64);
    switch (round % 8) {
      case 0: (*a)->add(**b), mpz_add(*expected, *x, *y); break;
      case 1: (*a)->sub(**b), mpz_sub(*expected, *x, *y); break;
      case 2: (*a)->add(small), set_int64(*expected, small), mpz_add(*expected, *expected, *x); break;
      case 3: (*a)->negate(), mpz_neg(*expected, *x); break;
      case 4: (*a)->set_product(**b, **c), mpz_mul(*expected, *y, *tmp); break;
      case 5: (*a)->add_product(**b, **c), mpz_mul(*expected, *y, *tmp), mpz_add(*expected, *expected, *x); break;
      case 6: (*a)->set_value(**b), mpz_set(*expected, *y); break;
      default: (*a)->set_value(wide), set_int64(*expected, wide); break;
    }
    ASSERT_EQ(a->value(), bytes_of(*expected, a->size())) << "round " << round;
  }
  // A number as its own operand: every word is read before it is written.
  Owned n(11);
  *n = std::int64_t{-3};
  *n += *n;
  EXPECT_EQ(n.text(), "FF,FF,FF,FF,FF,FF,FF,FF,FF,FF,FA");
  *n -= *n;
  EXPECT_EQ(n.text(), "00,00,00,00,00,00,00,00,00,00,00");
}

TEST(ExtNumberGmp, ComparisonsMatch) {
  Random random;
  Big x, y, shifted, sum;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number(), b = random.number();
    if (round % 4 == 0) {  // the same value at another size, or one above it
      b = std::make_unique<Owned>(a->size() + random.below(3), random.below(8));
      **b = **a;
      if (round % 8 == 0) (**b)++;
    }
    to_big(*a, *x);
    to_big(*b, *y);
    const int order = sign(mpz_cmp(*x, *y));
    EXPECT_EQ((*a)->compare(**b), order) << "round " << round;
    EXPECT_EQ(std::vector<bool>({**a < **b, **a <= **b, **a == **b, **a != **b, **a >= **b, **a > **b}),
              std::vector<bool>({order < 0, order <= 0, order == 0, order != 0, order >= 0, order > 0}));

    // Shifts around the point where b * 2^shift passes the top of a.
    const std::uint64_t top = 8ull * a->size();
    const std::uint64_t b_bits = mpz_sizeinbase(*y, 2);
    std::uint32_t shift = random.below(static_cast<unsigned>(top) + 16);
    if (round % 3 == 0 && top > b_bits) shift = static_cast<std::uint32_t>(top - b_bits) - random.below(2);
    if (round % 97 == 0) shift = 0xFFFFFFF0u;
    mpz_mul_2exp(*shifted, *y, shift < 4096 ? shift : 4096);  // 4096 lies past every top
    EXPECT_EQ((*a)->shift_compare(shift, **b), sign(mpz_cmp(*x, *shifted))) << "round " << round;
    mpz_add(*sum, *x, *shifted);
    EXPECT_EQ((*a)->shift_add_test(shift, **b), mpz_sizeinbase(*sum, 2) <= top) << "round " << round;
  }
}

TEST(ExtNumberGmp, ShiftingOperationsMatch) {
  Random random;
  Big x, y, expected, low;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number(), b = random.number();
    to_big(*a, *x);
    to_big(*b, *y);
    const unsigned size = a->size();
    const std::uint32_t shift = random.below(8 * size + 24);
    if (round % 3 == 0) {
      (*a)->shift_add_bit(shift);
      mpz_set_ui(*expected, shift < 8 * size ? 1 : 0);
      mpz_mul_2exp(*expected, *expected, shift);
      mpz_add(*expected, *expected, *x);
    } else if (round % 3 == 1) {
      (*a)->shift_add(shift, **b);
      mpz_mul_2exp(*expected, *y, shift);
      mpz_add(*expected, *expected, *x);
    } else {
      const unsigned k = 1 + random.below(size);
      mpz_fdiv_r_2exp(*low, *x, 8ul * k);
      const unsigned lift = 8 * k - (mpz_sgn(*low) == 0 ? 0 : static_cast<unsigned>(mpz_sizeinbase(*low, 2)));
      EXPECT_EQ((*a)->shift_maximize(k), lift) << "round " << round;
      mpz_mul_2exp(*expected, *x, lift);
    }
    ASSERT_EQ(a->value(), bytes_of(*expected, size)) << "round " << round << " shift " << shift;
  }
}

// first = floor((W - 1) / d), all ones for d = 0; second = d shifted up to
// the top bit. The fixed divisors reach the division's rare paths: a digit
// estimated one too large (the divisor is added back, and later digits depend
// on it) and a remainder whose top word equals the divisor's.
TEST(ExtNumberGmp, PartialInverseIsTheScaledReciprocal) {
  Random random;
  const std::vector<std::pair<unsigned, std::vector<std::uint64_t>>> rare = {
      {40, {0x8000000000000001, 0x8000000000000000, 0x8000000000000000}},
      {40, {0xFFFFFFFFFFFFFFFF, 0x8000000000000000, 0x8000000000000000}},
      {32, {0xFFFFFFFFFFFFFFFF, 0xC000000000000000, 0xC000000000000000}},
      {32, {0xFFFFFFFF00000000, 0x00000000FFFFFFFF, 0x0000000000000001}},
      {32, {0x8000000000000000, 0x00000000FFFFFFFF, 0x00000000FFFFFFFF}},
  };
  Big d, quotient, normalised;
  for (int round = 0; round < ROUNDS + static_cast<int>(rare.size()); ++round) {
    Owned_ptr divisor;
    if (round < static_cast<int>(rare.size())) {
      divisor = std::make_unique<Owned>(rare[round].first);
      std::memcpy(divisor->bytes(), rare[round].second.data(), 24);
    } else {
      divisor = random.number();
      if (round % 5 == 0) {  // short divisors: long quotients
        for (unsigned i = 1 + random.below(16); i < divisor->size(); ++i) divisor->bytes()[i] = 0;
      }
    }
    const unsigned size = divisor->size();
    auto first = random.number(size), second = random.number(size);
    to_big(*divisor, *d);
    (*divisor)->partial_inverse(**first, **second);
    set_all_ones(*quotient, 8ul * size);
    mpz_set_ui(*normalised, 0);
    if (mpz_sgn(*d) != 0) {
      mpz_fdiv_q(*quotient, *quotient, *d);
      mpz_mul_2exp(*normalised, *d, 8 * size - mpz_sizeinbase(*d, 2));
    }
    ASSERT_EQ(first->value(), bytes_of(*quotient, size)) << "round " << round;
    ASSERT_EQ(second->value(), bytes_of(*normalised, size)) << "round " << round;
  }
}

TEST(ExtNumberGmp, TextReadsBackAtEverySize) {
  Random random;
  Big x;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number();
    to_big(*a, *x);
    std::u16string text, spaced;
    (*a)->get_value_str(text);
    EXPECT_EQ(text.size(), (*a)->get_value_str_len());
    const unsigned needed = mpz_sgn(*x) == 0 ? 0 : static_cast<unsigned>((mpz_sizeinbase(*x, 2) + 7) / 8);
    EXPECT_EQ(kov::kov_ext_num_str_len(text), needed) << "round " << round;
    // Separators added between pairs and behind the last change nothing.
    for (char16_t unit : text) spaced += unit == u',' && random.below(2) ? u"\t , " : std::u16string(1, unit);
    spaced += random.below(2) ? u", " : u"";
    auto b = random.number();
    (*b)->set_value(random.below(2) ? spaced : text);
    ASSERT_EQ(b->value(), bytes_of(*x, b->size())) << "round " << round;
  }
}

TEST(ExtNumberText, WritesAndReadsThePairs) {
  const std::string ten_ff = "FF,FF,FF,FF,FF,FF,FF,FF,FF,FF";
  const std::vector<std::tuple<unsigned, std::int64_t, std::string>> written = {
      {3, -2, "FF,FF,FE"}, {10, -1, ten_ff}, {4, 0x0123456789ABCDEF, "89,AB,CD,EF"}, {0, 5, ""}};
  for (const auto& [size, value, text] : written) {
    Owned n(size);
    *n = value;
    EXPECT_EQ(n.text(), text);
  }
  const std::vector<std::tuple<unsigned, std::u16string, std::string>> read = {
      {2, u"AB,CD", "AB,CD"},  {2, u"ab cd", "AB,CD"}, {2, u"ABCD,", "AB,CD"},  {1, u"AB,CD", "CD"},
      {4, u"AB,CD", "00,00,AB,CD"}, {2, u"", "00,00"}, {1, u"G1", "F1"},     {1, u"1G", "0F"},
      {1, u"GG", "EF"},        {2, u"A,B", "0A,FB"},  // no separator is looked for inside a pair
      {2, u"ABC", "0A,BC"},    {2, u",AB", "00,AB"},  // a lone digit or separator at the left end
  };
  for (const auto& [size, text, expected] : read) {
    Owned n(size);
    *n = -1;
    n->set_value(text);
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
    *n = start;
    (*n)--;
    EXPECT_EQ(n.text(), expected);
  }
  Owned byte(1), word(2);
  *byte = 0xFF;
  *word = *byte;
  EXPECT_EQ(word.text(), "00,FF");  // never sign-extended
  Kov_ext_number view = *word;      // a copied object views the same bytes
  view++;
  EXPECT_EQ(word.text(), "01,00");
}

}  // namespace
