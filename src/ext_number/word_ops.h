// Arithmetic on arrays of machine words for the large extended numbers.
//
// The operations here take aligned arrays of 64-bit words, least significant
// first, and the caller's scratch space: they never allocate. Products above
// a threshold size go through Karatsuba's and Toom's splits, and the division
// behind partial_inverse through a recursive split that leans on them. The
// byte-level operations of Kov_ext_number copy operands into word arrays for
// these and back.
//
// The thresholds are counts of words. They were measured with
// bench/ext_number/ext_number_tune.cpp (built with KOV_EXT_NUMBER_TUNE, where
// they are variables) on the release preset: for each size the operation is
// timed with the split form doing the top level and with the form below it
// doing it, as the minimum thread CPU time over 40 batches, and the
// threshold is the size from which the split form stayed ahead. The machine
// (2-core AMD EPYC, Zen 3, virtual) was shared with other builds, so the
// crossovers are known to within about a tenth of their value; around them
// the two forms differ by a few percent only.
#pragma once

#include <algorithm>
#include <cstddef>

#include "ext_number/words.h"

namespace kov::detail {

#if defined(KOV_EXT_NUMBER_TUNE)
#  define KOV_EXT_NUMBER_THRESHOLD inline std::size_t
#  define KOV_EXT_NUMBER_SIZE_FUNCTION inline std::size_t
#else
#  define KOV_EXT_NUMBER_THRESHOLD inline constexpr std::size_t
#  define KOV_EXT_NUMBER_SIZE_FUNCTION constexpr std::size_t
#endif

// Full products of n by n words use Karatsuba's split from this size on,
// schoolbook rows below it (the split won from 32 to 48 words, unevenly).
KOV_EXT_NUMBER_THRESHOLD KARATSUBA_THRESHOLD = 40;
// ... and the three-way split (Toom-3) from this size on (break-even from
// about 140 to 320 words, ahead from 380).
KOV_EXT_NUMBER_THRESHOLD TOOM3_THRESHOLD = 400;
// ... and the four-way split (Toom-4) from this size on (ahead of Toom-3
// by 5 to 9 percent from 700 to 900 words, level from 300 to 600).
KOV_EXT_NUMBER_THRESHOLD TOOM4_THRESHOLD = 700;
// Low halves of products (the n words of a * b mod B^n) split into one full
// product and two low halves from this size on; below it they are the
// triangle of schoolbook rows, which is half a full product.
KOV_EXT_NUMBER_THRESHOLD MULLO_THRESHOLD = 160;
// The split of a low half of n words: a full product of its low n - h words
// and two low halves of h = n * MULLO_SPLIT_PERCENT / 100 words. Halving
// (50) makes the low half cost as much as a full product under Karatsuba and
// more under Toom-3; a smaller h moves work into the one full product, whose
// split does it at a lower exponent.
KOV_EXT_NUMBER_THRESHOLD MULLO_SPLIT_PERCENT = 25;
// Division of 2n by n words splits into two halves from this n on (ahead
// from 40 words).
KOV_EXT_NUMBER_THRESHOLD DIVIDE_THRESHOLD = 40;


// Products of numbers longer than this many words are combined from products
// of blocks of this size (see product.cpp), so that their working space is
// bounded and can live on the stack.
inline constexpr std::size_t PRODUCT_BLOCK_WORDS = 1024;
// ... except the low half of a product whose receiver and factors all have
// the same length of up to this many words: that is one multiply_low, since
// blocks would split it at half its length, where it costs more.
inline constexpr std::size_t PRODUCT_LOW_HALF_WORDS = 2 * PRODUCT_BLOCK_WORDS;

// r[0, n) += a[0, n); returns the carry out.
Word add_words(Word* r, const Word* a, std::size_t n) noexcept;
// r[0, n) -= a[0, n); returns the borrow out.
Word sub_words(Word* r, const Word* a, std::size_t n) noexcept;
// r[0, n) += c (any word); returns the carry out.
Word add_word(Word* r, std::size_t n, Word c) noexcept;
// r[0, n) -= c (any word); returns the borrow out.
Word sub_word(Word* r, std::size_t n, Word c) noexcept;

// Words of scratch for a product of two n-word numbers.
KOV_EXT_NUMBER_SIZE_FUNCTION balanced_scratch(std::size_t n) noexcept {
  if (n < KARATSUBA_THRESHOLD) return 0;
  if (n < TOOM3_THRESHOLD) {  // |a0 - a1|, |b0 - b1|, their product, then the halves' or the middle term
    const std::size_t l = (n + 1) / 2;
    return 4 * l + std::max({2 * l, balanced_scratch(l), balanced_scratch(n - l)});
  }
  if (n < TOOM4_THRESHOLD) {  // three values of each factor, four products
    const std::size_t k1 = (n + 2) / 3 + 1;
    return 6 * k1 + 8 * k1 + std::max({balanced_scratch(k1), balanced_scratch(k1 - 1), balanced_scratch(n - 2 * k1 + 2)});
  }
  const std::size_t k1 = (n + 3) / 4 + 1;  // five values of each factor, seven buffers of 2 k1
  return 10 * k1 + 14 * k1 + std::max({balanced_scratch(k1), balanced_scratch(k1 - 1), balanced_scratch(n - 3 * k1 + 3)});
}

// Words of scratch that multiply needs for operands of at most n words.
KOV_EXT_NUMBER_SIZE_FUNCTION multiply_scratch(std::size_t n) noexcept { return 3 * n + balanced_scratch(n); }
// r[0, an + bn) = a[0, an) * b[0, bn), for an, bn >= 1. `r` overlaps
// neither operand.
void multiply(Word* r, const Word* a, std::size_t an, const Word* b, std::size_t bn, Word* scratch) noexcept;

// Words of a low half of n words (n >= MULLO_THRESHOLD) that go to the two
// low halves of its split; the full product takes the other n - h.
KOV_EXT_NUMBER_SIZE_FUNCTION multiply_low_high_part(std::size_t n) noexcept {
  return std::max<std::size_t>(1, n * MULLO_SPLIT_PERCENT / 100);
}

// Words of scratch that multiply_low needs for n words.
KOV_EXT_NUMBER_SIZE_FUNCTION multiply_low_scratch(std::size_t n) noexcept {
  if (n < MULLO_THRESHOLD) return 0;
  const std::size_t h = multiply_low_high_part(n), m = n - h;
  return 2 * m + std::max(balanced_scratch(m), multiply_low_scratch(h));
}
// r[0, n) = a[0, n) * b[0, n) mod 2^(64 n); `r` overlaps neither operand.
void multiply_low(Word* r, const Word* a, const Word* b, std::size_t n, Word* scratch) noexcept;

// Words of scratch for the recursive division of 2n by n words.
KOV_EXT_NUMBER_SIZE_FUNCTION divide_halves_scratch(std::size_t n) noexcept {
  if (n < DIVIDE_THRESHOLD) return 0;
  const std::size_t hi = n - n / 2;
  return n + std::max(multiply_scratch(hi), divide_halves_scratch(hi));
}

// Words of scratch that divide needs for a divisor of dn words.
KOV_EXT_NUMBER_SIZE_FUNCTION divide_scratch(std::size_t dn) noexcept {
  if (dn < DIVIDE_THRESHOLD) return 0;
  return dn + std::max(multiply_scratch(dn), divide_halves_scratch(dn));
}
// q[0, un - dn + 1) = floor(u / d) for u[0, un + 1) and the normalised d[0, dn)
// (top bit set, dn >= 2), where u[un] < d[dn - 1]. The remainder is left in
// u[0, dn).
void divide(Word* q, Word* u, std::size_t un, const Word* d, std::size_t dn, Word* scratch) noexcept;

// q[0, un] = floor(u / d) for u[0, un] and one normalised word d, u[un] < d.
void divide_by_word(const Word* u, std::size_t un, Word d, Word* q) noexcept;

#undef KOV_EXT_NUMBER_THRESHOLD
#undef KOV_EXT_NUMBER_SIZE_FUNCTION

}  // namespace kov::detail
