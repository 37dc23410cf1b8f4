// Kov_ext_number side by side with GMP: random operands of random byte sizes
// from 1 to 130 (mixed within one operation, at any alignment, with runs of
// zero and 0xFF bytes that make carries travel), from a fixed seed.
#include <gmp.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ext_number/ext_number_support.h"
#include "kov/ext_number.h"

namespace {

using kov::test::Owned_number;

constexpr int ROUNDS = 2500;
constexpr unsigned MAX_SIZE = 130;

// An owned GMP integer.
class Big {
 public:
  Big() { mpz_init(m_z); }
  Big(const Big&) = delete;
  Big& operator=(const Big&) = delete;
  ~Big() { mpz_clear(m_z); }
  mpz_ptr operator*() { return m_z; }

 private:
  mpz_t m_z;
};

class Random_numbers {
 public:
  unsigned size() { return std::uniform_int_distribution<unsigned>(1, MAX_SIZE)(m_engine); }
  unsigned below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(m_engine); }
  std::uint64_t word() { return m_engine(); }

  // A number of `size` bytes whose bytes follow one of several shapes.
  std::unique_ptr<Owned_number> number(unsigned size) {
    auto n = std::make_unique<Owned_number>(size, 0, below(8));
    unsigned char* bytes = n->bytes();
    const unsigned used = below(4) == 0 ? below(size + 1) : size;  // high bytes zero at times
    const unsigned shape = below(6);
    for (unsigned i = 0; i < size; ++i) {
      unsigned char byte = static_cast<unsigned char>(m_engine());
      if (shape == 1) byte = 0xFF;
      if (shape == 2) byte = below(8) == 0 ? byte : 0;
      if (shape == 3) byte = below(8) == 0 ? byte : 0xFF;
      if (shape == 4) byte = i + 1 == used ? 1 : 0;
      bytes[i] = i < used ? byte : 0;
    }
    return n;
  }

 private:
  std::mt19937_64 m_engine{20240611};
};

void to_big(Owned_number& n, mpz_ptr z) { mpz_import(z, n.size(), -1, 1, 0, 0, n.bytes()); }

// The bytes of z modulo 256^size, least significant first.
std::vector<unsigned char> bytes_of(mpz_srcptr z, unsigned size) {
  Big reduced;
  mpz_fdiv_r_2exp(*reduced, z, 8ul * size);
  std::vector<unsigned char> out(size + 8, 0);
  std::size_t count = 0;
  mpz_export(out.data(), &count, -1, 1, 0, 0, *reduced);
  out.resize(size);
  return out;
}

std::vector<unsigned char> bytes_of(Owned_number& n) { return {n.bytes(), n.bytes() + n.size()}; }

void set_int64(mpz_ptr z, std::int64_t value) {
  const std::uint64_t magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : value;
  mpz_import(z, 1, -1, sizeof magnitude, 0, 0, &magnitude);
  if (value < 0) mpz_neg(z, z);
}

int sign(int value) { return (value > 0) - (value < 0); }

TEST(ExtNumberGmp, ArithmeticMatches) {
  Random_numbers random;
  Big x, y, expected, tmp;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number(random.size());
    auto b = random.number(random.size());
    auto c = random.number(random.size());
    to_big(*a, *x);
    to_big(*b, *y);
    const unsigned size = a->size();
    const int operation = round % 8;
    const auto small = static_cast<int>(random.word());
    const auto wide = static_cast<std::int64_t>(random.word()) >> random.below(64);
    switch (operation) {
      case 0: (*a)->add(**b); mpz_add(*expected, *x, *y); break;
      case 1: (*a)->sub(**b); mpz_sub(*expected, *x, *y); break;
      case 2:
        (*a)->add(small);
        set_int64(*tmp, small);
        mpz_add(*expected, *x, *tmp);
        break;
      case 3: (*a)->negate(); mpz_neg(*expected, *x); break;
      case 4:
        (*a)->set_product(**b, **c);
        to_big(*c, *tmp);
        mpz_mul(*expected, *y, *tmp);
        break;
      case 5:
        (*a)->add_product(**b, **c);
        to_big(*c, *tmp);
        mpz_mul(*expected, *y, *tmp);
        mpz_add(*expected, *expected, *x);
        break;
      case 6: (*a)->set_value(**b); mpz_set(*expected, *y); break;
      default: (*a)->set_value(wide); set_int64(*expected, wide); break;
    }
    ASSERT_EQ(bytes_of(*a), bytes_of(*expected, size))
        << "operation " << operation << " round " << round << " sizes " << size << ", " << b->size();
  }
}

TEST(ExtNumberGmp, ComparisonsMatch) {
  Random_numbers random;
  Big x, y, shifted, sum;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number(random.size());
    // Equal values of other sizes and numbers just above or below are the
    // cases where a comparison has to look at every byte.
    auto b = random.number(random.size());
    if (round % 4 == 0) {
      b = std::make_unique<Owned_number>(a->size() + random.below(3), 0, random.below(8));
      **b = **a;
      if (round % 8 == 0) (**b)++;
    }
    to_big(*a, *x);
    to_big(*b, *y);
    EXPECT_EQ((*a)->compare(**b), sign(mpz_cmp(*x, *y))) << "round " << round;

    // Shifts around the point where b * 2^shift passes the top of a.
    const std::uint64_t top = 8ull * a->size();
    const std::uint64_t b_bits = mpz_sizeinbase(*y, 2);
    std::uint32_t shift = random.below(static_cast<unsigned>(top) + 16);
    if (round % 3 == 0 && top > b_bits) shift = static_cast<std::uint32_t>(top - b_bits) - random.below(2);
    if (round % 97 == 0) shift = 0xFFFFFFF0u;
    mpz_mul_2exp(*shifted, *y, shift % 4096);
    if (shift >= 4096 && mpz_sgn(*y) != 0) mpz_mul_2exp(*shifted, *y, 8 * MAX_SIZE + 8);  // beyond any top
    EXPECT_EQ((*a)->shift_compare(shift, **b), sign(mpz_cmp(*x, *shifted))) << "round " << round;
    mpz_add(*sum, *x, *shifted);
    EXPECT_EQ((*a)->shift_add_test(shift, **b), mpz_sizeinbase(*sum, 2) <= top || mpz_sgn(*sum) == 0)
        << "round " << round << " shift " << shift;
  }
}

TEST(ExtNumberGmp, ShiftingOperationsMatch) {
  Random_numbers random;
  Big x, y, expected;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number(random.size());
    auto b = random.number(random.size());
    to_big(*a, *x);
    to_big(*b, *y);
    const unsigned size = a->size();
    const std::uint32_t shift = random.below(8 * size + 24);
    switch (round % 3) {
      case 0:
        (*a)->shift_add_bit(shift);
        mpz_set_ui(*expected, 1);
        mpz_mul_2exp(*expected, *expected, shift);
        if (shift >= 8 * size) mpz_set_ui(*expected, 0);
        mpz_add(*expected, *expected, *x);
        break;
      case 1:
        (*a)->shift_add(shift, **b);
        mpz_mul_2exp(*expected, *y, shift);
        mpz_add(*expected, *expected, *x);
        break;
      default: {
        const unsigned k = 1 + random.below(size);
        Big low;
        mpz_fdiv_r_2exp(*low, *x, 8ul * k);
        const unsigned low_bits = mpz_sgn(*low) == 0 ? 0 : static_cast<unsigned>(mpz_sizeinbase(*low, 2));
        EXPECT_EQ((*a)->shift_maximize(k), 8 * k - low_bits) << "round " << round;
        mpz_mul_2exp(*expected, *x, 8 * k - low_bits);
        break;
      }
    }
    ASSERT_EQ(bytes_of(*a), bytes_of(*expected, size)) << "round " << round << " shift " << shift;
  }
}

TEST(ExtNumberGmp, PartialInverseIsTheScaledReciprocal) {
  Random_numbers random;
  Big d, all_ones, quotient, normalised;
  for (int round = 0; round < ROUNDS; ++round) {
    const unsigned size = random.size();
    auto divisor = random.number(size);
    if (round % 5 == 0) {  // short divisors: long quotients
      const unsigned keep = 1 + random.below(size < 16 ? size : 16);
      for (unsigned i = keep; i < size; ++i) divisor->bytes()[i] = 0;
    }
    auto first = random.number(size);
    auto second = random.number(size);
    to_big(*divisor, *d);
    (*divisor)->partial_inverse(**first, **second);

    mpz_set_ui(*all_ones, 1);
    mpz_mul_2exp(*all_ones, *all_ones, 8ul * size);
    mpz_sub_ui(*all_ones, *all_ones, 1);
    if (mpz_sgn(*d) == 0) {
      mpz_set(*quotient, *all_ones);
      mpz_set_ui(*normalised, 0);
    } else {
      mpz_fdiv_q(*quotient, *all_ones, *d);
      mpz_mul_2exp(*normalised, *d, 8 * size - mpz_sizeinbase(*d, 2));
    }
    ASSERT_EQ(bytes_of(*first), bytes_of(*quotient, size)) << "round " << round << " size " << size;
    ASSERT_EQ(bytes_of(*second), bytes_of(*normalised, size)) << "round " << round;
  }
}

// Divisors for which the division meets its rare paths: a quotient digit
// that comes out one too large from the top words alone (the divisor is added
// back, and later digits depend on the corrected remainder), and a remainder
// whose top word equals the divisor's top word.
TEST(ExtNumberGmp, PartialInverseOnTheDivisionsRarePaths) {
  struct Case {
    unsigned size;
    std::vector<std::uint64_t> words;
  };
  const std::vector<Case> cases = {
      {40, {0x8000000000000001, 0x8000000000000000, 0x8000000000000000}},
      {40, {0xFFFFFFFFFFFFFFFF, 0x8000000000000000, 0x8000000000000000}},
      {32, {0xFFFFFFFFFFFFFFFF, 0xC000000000000000, 0xC000000000000000}},
      {32, {0xFFFFFFFF00000000, 0x00000000FFFFFFFF, 0x0000000000000001}},
      {32, {0x8000000000000000, 0x00000000FFFFFFFF, 0x00000000FFFFFFFF}},
  };
  Big d, quotient;
  for (const Case& c : cases) {
    Owned_number divisor(c.size), first(c.size), second(c.size);
    std::memcpy(divisor.bytes(), c.words.data(), 8 * c.words.size());
    to_big(divisor, *d);
    divisor->partial_inverse(*first, *second);
    mpz_set_ui(*quotient, 1);
    mpz_mul_2exp(*quotient, *quotient, 8ul * c.size);
    mpz_sub_ui(*quotient, *quotient, 1);
    mpz_fdiv_q(*quotient, *quotient, *d);
    EXPECT_EQ(bytes_of(first), bytes_of(*quotient, c.size)) << std::hex << c.words[0];
  }
}

TEST(ExtNumberGmp, TextReadsBackAtEverySize) {
  Random_numbers random;
  Big x;
  for (int round = 0; round < ROUNDS; ++round) {
    auto a = random.number(random.size());
    to_big(*a, *x);
    std::u16string text;
    (*a)->get_value_str(text);
    const unsigned needed = mpz_sgn(*x) == 0 ? 0 : static_cast<unsigned>((mpz_sizeinbase(*x, 2) + 7) / 8);
    EXPECT_EQ(kov::kov_ext_num_str_len(text), needed) << "round " << round;

    // Separators added between pairs and behind the last change nothing.
    std::u16string spaced;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == u',' && random.below(2) == 0) spaced += random.below(2) ? u"\t " : u" , ";
      spaced += text[i];
    }
    if (random.below(2)) spaced += u", ";
    auto b = random.number(random.size());
    (*b)->set_value(random.below(2) ? spaced : text);
    ASSERT_EQ(bytes_of(*b), bytes_of(*x, b->size())) << "round " << round;
  }
}

}  // namespace
