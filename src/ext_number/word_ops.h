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
// bench/ext_number/ext_number_tune.cpp (a build with KOV_EXT_NUMBER_TUNE,
// where they are variables), on the release preset: each is the smallest
// size where the split form beat the one below it in three runs in a row.
#pragma once

#include <cstddef>

#include "ext_number/words.h"

namespace kov::detail {

#if defined(KOV_EXT_NUMBER_TUNE)
#  define KOV_EXT_NUMBER_THRESHOLD inline std::size_t
#else
#  define KOV_EXT_NUMBER_THRESHOLD inline constexpr std::size_t
#endif

// Full products of n by n words use Karatsuba's split from this size on,
// schoolbook rows below it.
KOV_EXT_NUMBER_THRESHOLD KARATSUBA_THRESHOLD = 24;
// ... and the three-way split (Toom-3) from this size on.
KOV_EXT_NUMBER_THRESHOLD TOOM3_THRESHOLD = 100;
// Low halves of products (the n words of a * b mod B^n) split into one full
// product and two low halves from this size on.
KOV_EXT_NUMBER_THRESHOLD MULLO_THRESHOLD = 32;
// Division of 2n by n words splits into two halves from this n on.
KOV_EXT_NUMBER_THRESHOLD DIVIDE_THRESHOLD = 40;

#undef KOV_EXT_NUMBER_THRESHOLD

// Products of numbers longer than this many words are combined from products
// of blocks of this size (see product.cpp), so that their working space is
// bounded and can live on the stack.
inline constexpr std::size_t PRODUCT_BLOCK_WORDS = 1024;

// r[0, n) += a[0, n); returns the carry out.
Word add_words(Word* r, const Word* a, std::size_t n) noexcept;
// r[0, n) -= a[0, n); returns the borrow out.
Word sub_words(Word* r, const Word* a, std::size_t n) noexcept;
// r[0, n) += c (any word); returns the carry out.
Word add_word(Word* r, std::size_t n, Word c) noexcept;
// r[0, n) -= c (any word); returns the borrow out.
Word sub_word(Word* r, std::size_t n, Word c) noexcept;

// Words of scratch that multiply needs for operands of at most n words.
std::size_t multiply_scratch(std::size_t n) noexcept;
// r[0, an + bn) = a[0, an) * b[0, bn), for an, bn >= 1. `r` overlaps
// neither operand.
void multiply(Word* r, const Word* a, std::size_t an, const Word* b, std::size_t bn, Word* scratch) noexcept;

// Words of scratch that multiply_low needs for n words.
std::size_t multiply_low_scratch(std::size_t n) noexcept;
// r[0, n) = a[0, n) * b[0, n) mod 2^(64 n); `r` overlaps neither operand.
void multiply_low(Word* r, const Word* a, const Word* b, std::size_t n, Word* scratch) noexcept;

// Words of scratch that divide needs for a divisor of dn words.
std::size_t divide_scratch(std::size_t dn) noexcept;
// q[0, un - dn + 1) = floor(u / d) for u[0, un + 1) and the normalised d[0, dn)
// (top bit set, dn >= 2), where u[un] < d[dn - 1]. The remainder is left in
// u[0, dn).
void divide(Word* q, Word* u, std::size_t un, const Word* d, std::size_t dn, Word* scratch) noexcept;

// q[0, un] = floor(u / d) for u[0, un] and one normalised word d, u[un] < d.
void divide_by_word(const Word* u, std::size_t un, Word d, Word* q) noexcept;

}  // namespace kov::detail
