// Word-array arithmetic for the large extended numbers: carries, products
// (schoolbook, Karatsuba, Toom-3, low halves) and division (schoolbook and
// the recursive split). See word_ops.h for the contracts.
#include "ext_number/word_ops.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kov::detail {

namespace {

unsigned char* as_bytes(Word* w) noexcept { return reinterpret_cast<unsigned char*>(w); }
const unsigned char* as_bytes(const Word* w) noexcept { return reinterpret_cast<const unsigned char*>(w); }

void copy_words(Word* r, const Word* a, std::size_t n) noexcept {
  if (n != 0) std::memcpy(r, a, n * sizeof(Word));
}

void zero_words(Word* r, std::size_t n) noexcept {
  if (n != 0) std::memset(r, 0, n * sizeof(Word));
}

// -1, 0 or 1 as a[0, n) is less than, equal to or greater than b[0, n).
int compare_words(const Word* a, const Word* b, std::size_t n) noexcept {
  while (n != 0) {
    --n;
    if (a[n] != b[n]) return a[n] < b[n] ? -1 : 1;
  }
  return 0;
}

// r[0, an + bn) = a * b, schoolbook: one multiply-add row per word of b.
void multiply_rows(Word* r, const Word* a, std::size_t an, const Word* b, std::size_t bn) noexcept {
  zero_words(r, an);
  for (std::size_t i = 0; i < bn; ++i) r[an + i] = addmul_row(as_bytes(r + i), as_bytes(a), an, b[i]);
}

// d[0, l) = |a0 - a1| for a0 of l words and a1 of h <= l words; returns
// true when a1 is the greater.
bool difference(Word* d, const Word* a0, std::size_t l, const Word* a1, std::size_t h) noexcept {
  const bool a1_greater = std::all_of(a0 + h, a0 + l, [](Word w) { return w == 0; }) &&
                          compare_words(a0, a1, h) < 0;
  if (a1_greater) {  // then a0's words past h are 0
    copy_words(d, a1, h);
    zero_words(d + h, l - h);
    sub_words(d, a0, h);
  } else {
    copy_words(d, a0, l);
    sub_word(d + h, l - h, sub_words(d, a1, h));
  }
  return a1_greater;
}

void multiply_balanced(Word* r, const Word* a, const Word* b, std::size_t n, Word* scratch) noexcept;

// Adds the middle term lo + hi -/+ t at B^l into r[0, 2n), which holds lo =
// L1 B^l + L0 in its first 2l words and hi = H1 B^l + H0 above (L0, L1, H0
// of l words, H1 of 2h - l). With what r holds, the words from l up become
// (L0 + S) + (S + H1) B^l + H1 B^2l -/+ t, S = L1 + H0: S is formed once, in
// H0's place, and a copy of it takes L0. About six passes of l words where
// copying the middle term out and adding it back took eight.
void karatsuba_middle(Word* r, std::size_t n, std::size_t l, const Word* t, bool negative) noexcept {
  const std::size_t top = 2 * (n - l) - l;  // H1's words
  Word* low = r + l;
  Word* mid = r + 2 * l;
  const Word s_carry = add_words(mid, low, l);  // S, its carry due at 2l and at 3l
  copy_words(low, mid, l);
  const Word low_carry = add_words(low, r, l) + s_carry;  // due at 2l
  // S + H1: H1 is read from above the words being written, so in place.
  Word high = s_carry + add_word(mid + top, l - top, add_words(mid, mid + l, top));
  high += add_word(mid, l, low_carry);
  if (negative) {
    high += add_words(low, t, 2 * l);
  } else {
    high -= sub_words(low, t, 2 * l);
  }
  // `high` is never negative here: the product's words from 3l up hold
  // floor(a b / B^3l), at least H1 = floor(a1 b1 / B^l), which they hold now.
  add_word(r + 3 * l, top, high);
}

// Karatsuba: with a = a1 B^l + a0 and b likewise, a * b = a1 b1 B^2l +
// (a0 b0 + a1 b1 - (a0 - a1)(b0 - b1)) B^l + a0 b0, three half-size products.
void multiply_karatsuba(Word* r, const Word* a, const Word* b, std::size_t n, Word* s) noexcept {
  const std::size_t l = (n + 1) / 2, h = n - l;
  Word* da = s;
  Word* db = s + l;
  Word* t = s + 2 * l;
  Word* rest = s + 4 * l;
  const bool negative = difference(da, a, l, a + l, h) != difference(db, b, l, b + l, h);
  multiply_balanced(t, da, db, l, rest);
  multiply_balanced(r, a, b, l, rest);
  multiply_balanced(r + 2 * l, a + l, b + l, h, rest);
  karatsuba_middle(r, n, l, t, negative);
}

// Bit and digit helpers of the three-way split; all in place on w[0, n).
void shift_right_1(Word* w, std::size_t n) noexcept {
  for (std::size_t i = 0; i + 1 < n; ++i) w[i] = (w[i] >> 1) | (w[i + 1] << 63);
  w[n - 1] >>= 1;
}

// r[0, n) += x[0, n) * 2^shift, or -= with Subtract, shift from 1 to 63,
// in one pass; returns the word due at r[n] (to add, or to take): the bits
// shifted out of x and the carry or borrow.
template <bool Subtract>
Word shifted_pass(Word* r, const Word* x, std::size_t n, unsigned shift) noexcept {
  Word out = 0;
  unsigned char carry = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const Word w = (x[i] << shift) | out;
    out = x[i] >> (WORD_BITS - shift);
    if constexpr (Subtract) {
      carry = sub_with_borrow(carry, r[i], w, r[i]);
    } else {
      carry = add_with_carry(carry, r[i], w, r[i]);
    }
  }
  return out + carry;
}

Word add_shifted(Word* r, const Word* x, std::size_t n, unsigned shift) noexcept {
  return shifted_pass<false>(r, x, n, shift);
}

Word sub_shifted(Word* r, const Word* x, std::size_t n, unsigned shift) noexcept {
  return shifted_pass<true>(r, x, n, shift);
}

// The inverse of the odd word d modulo 2^64 (Newton's iteration, each step
// doubling the bits that are right; d itself is right to three).
constexpr Word inverse_of(Word d) noexcept {
  Word inverse = d;
  for (int step = 0; step < 5; ++step) inverse *= 2 - d * inverse;
  return inverse;
}

// w /= d for a multiple of the odd d: a word at a time through the inverse
// of d modulo 2^64, the borrow running upward. Taken modulo B^n, it divides
// a negative multiple in two's complement as well.
template <Word D>
void divide_exactly(Word* w, std::size_t n) noexcept {
  constexpr Word INVERSE = inverse_of(D);
  static_assert(D * INVERSE == 1);
  Word borrow = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const Word x = w[i] - borrow;
    const Word under = w[i] < borrow;
    const Word q = x * INVERSE;  // D q = x + high(D q) * 2^64
    w[i] = q;
    borrow = static_cast<Word>((static_cast<Wide>(q) * D) >> 64) + under;
  }
}

// d[0, n) = |x - y| for x, y of n words (d may be x); returns true when y
// is the greater.
bool absolute_difference(Word* d, const Word* x, const Word* y, std::size_t n) noexcept {
  const bool y_greater = compare_words(x, y, n) < 0;
  if (y_greater) std::swap(x, y);
  unsigned char borrow = 0;
  for (std::size_t i = 0; i < n; ++i) borrow = sub_with_borrow(borrow, x[i], y[i], d[i]);
  return y_greater;
}

// The values of a0 + a1 X + a2 X^2 (parts of k, k and r words) at X = 1,
// -1 (as magnitude and sign) and 2, each in k + 1 words.
struct Toom3_values {
  Word* at_1;
  Word* at_minus_1;
  Word* at_2;
  bool minus_1_negative;
};

void toom3_evaluate(const Word* a, std::size_t k, std::size_t r, const Toom3_values& v) noexcept {
  const Word* a1 = a + k;
  const Word* a2 = a + 2 * k;
  // a0 + a2 in at_minus_1 for now.
  copy_words(v.at_minus_1, a, k);
  v.at_minus_1[k] = add_word(v.at_minus_1 + r, k - r, add_words(v.at_minus_1, a2, r));
  copy_words(v.at_1, v.at_minus_1, k + 1);
  v.at_1[k] += add_words(v.at_1, a1, k);
  // a0 + 2 a1 + 4 a2
  copy_words(v.at_2, a, k);
  v.at_2[k] = add_shifted(v.at_2, a1, k, 1);
  add_word(v.at_2 + r, k + 1 - r, add_shifted(v.at_2, a2, r, 2));
}

// r += w[0, n) * 2^(64 * at), within r[0, top); the sum fits.
void add_at(Word* r, std::size_t top, std::size_t at, const Word* w, std::size_t n) noexcept {
  const std::size_t m = std::min(n, top - at);
  add_word(r + at + m, top - at - m, add_words(r + at, w, m));
}

// The products of multiply_toom3 at 1, -1 (its magnitude, and whether it
// is negative) and 2, each of 2k + 2 words, and a spare buffer as large.
struct Toom3_products {
  Word* w1;
  Word* wm1;
  Word* w2;
  Word* spare;
};

// e = (w + v) / 2 and w = (w - v) / 2^shift, v taken with its sign,
// both exact and not negative.
void sum_and_difference(Word* e, Word* w, const Word* v, bool v_negative, std::size_t l, unsigned shift) noexcept {
  copy_words(e, w, l);
  if (v_negative) {
    sub_words(e, v, l);
    add_words(w, v, l);
  } else {
    add_words(e, v, l);
    sub_words(w, v, l);
  }
  shift_right_1(e, l);
  for (unsigned i = 0; i < shift; ++i) shift_right_1(w, l);
}

// Solves for the middle coefficients c1, c2, c3 from the products at 1, -1
// and 2 and c0, c4 already in r; adds them into r at k, 2k and 3k.
void toom3_interpolate(Word* r, std::size_t n, std::size_t k, Toom3_products p, bool minus_1_negative) noexcept {
  const std::size_t rest = n - 2 * k, l = 2 * k + 2;
  const Word* c0 = r;
  const Word* c4 = r + 4 * k;
  // t1 = (w(1) + w(-1)) / 2 = c0 + c2 + c4; t2 = (w(1) - w(-1)) / 2 = c1 + c3.
  Word* c2 = p.spare;
  Word* t2 = p.w1;
  sum_and_difference(c2, t2, p.wm1, minus_1_negative, l, 1);
  sub_word(c2 + 2 * k, l - 2 * k, sub_words(c2, c0, 2 * k));
  sub_word(c2 + 2 * rest, l - 2 * rest, sub_words(c2, c4, 2 * rest));
  // c3 = ((w(2) - c0 - 4 (c2 + 4 c4)) / 2 - t2) / 3, from w(2) = c0 + 2 c1 +
  // 4 c2 + 8 c3 + 16 c4.
  // The differences below are taken modulo B^l: the value they reach,
  // 2 c1 + 8 c3, is not negative and fits.
  Word* c3 = p.w2;
  sub_word(c3 + 2 * k, l - 2 * k, sub_words(c3, c0, 2 * k));
  sub_shifted(c3, c2, l, 2);
  sub_word(c3 + 2 * rest, l - 2 * rest, sub_shifted(c3, c4, 2 * rest, 4));
  shift_right_1(c3, l);
  sub_words(c3, t2, l);
  divide_exactly<3>(c3, l);
  Word* c1 = t2;
  sub_words(c1, c3, l);

  // c2 takes the free words between c0 and c4, its last two added to c4.
  copy_words(r + 2 * k, c2, 2 * k);
  add_at(r, 2 * n, 4 * k, c2 + 2 * k, l - 2 * k);
  add_at(r, 2 * n, k, c1, l);
  add_at(r, 2 * n, 3 * k, c3, l);
}

// Toom-3: a and b as polynomials of three parts in X = B^k, their product
// from five products of k + 1 words (at 0, 1, -1, 2 and infinity) and an
// exact interpolation.
void multiply_toom3(Word* r, const Word* a, const Word* b, std::size_t n, Word* s) noexcept {
  const std::size_t k = (n + 2) / 3, rest = n - 2 * k, k1 = k + 1, l = 2 * k1;
  Word* pa = s;       // a's values: 3 (k + 1) words
  Word* pb = s + 3 * k1;
  Word* w1 = s + 6 * k1;  // products at 1, -1, 2, and a spare: 4 (2k + 2) words
  Word* wm1 = w1 + l;
  Word* w2 = wm1 + l;
  Word* spare = w2 + l;
  Word* next = spare + l;
  Toom3_values va{pa, pa + k1, pa + 2 * k1, false}, vb{pb, pb + k1, pb + 2 * k1, false};
  toom3_evaluate(a, k, rest, va);
  toom3_evaluate(b, k, rest, vb);
  // a0 + a2 - a1, from a0 + a2 held in at_minus_1.
  copy_words(spare, a + k, k);
  spare[k] = 0;
  va.minus_1_negative = absolute_difference(va.at_minus_1, va.at_minus_1, spare, k1);
  copy_words(spare, b + k, k);
  vb.minus_1_negative = absolute_difference(vb.at_minus_1, vb.at_minus_1, spare, k1);
  const bool minus_1_negative = va.minus_1_negative != vb.minus_1_negative;

  multiply_balanced(w1, va.at_1, vb.at_1, k1, next);
  multiply_balanced(wm1, va.at_minus_1, vb.at_minus_1, k1, next);
  multiply_balanced(w2, va.at_2, vb.at_2, k1, next);
  multiply_balanced(r, a, b, k, next);                                // c0
  multiply_balanced(r + 4 * k, a + 2 * k, b + 2 * k, rest, next);     // c4

  toom3_interpolate(r, n, k, {w1, wm1, w2, spare}, minus_1_negative);
}

// The values of a0 + a1 X + a2 X^2 + a3 X^3 (parts of k, k, k and r
// words) at 1, -1, 2, -2 and 8 times its value at 1/2, each in k + 1 words;
// at -1 and -2 the magnitude, with its sign.
struct Toom4_values {
  Word* at_1;
  Word* at_minus_1;
  Word* at_2;
  Word* at_minus_2;
  Word* at_half;
  bool minus_1_negative;
  bool minus_2_negative;
};

// v's values from a; `t` is 2 (k + 1) words of scratch.
void toom4_evaluate(const Word* a, std::size_t k, std::size_t r, Toom4_values& v, Word* t) noexcept {
  const std::size_t k1 = k + 1;
  const Word* a1 = a + k;
  const Word* a2 = a + 2 * k;
  const Word* a3 = a + 3 * k;
  Word* even = t;
  Word* odd = t + k1;
  copy_words(even, a, k);  // a0 + a2, a1 + a3
  even[k] = add_words(even, a2, k);
  copy_words(odd, a1, k);
  odd[k] = add_word(odd + r, k - r, add_words(odd, a3, r));
  copy_words(v.at_1, even, k1);
  add_words(v.at_1, odd, k1);
  v.minus_1_negative = absolute_difference(v.at_minus_1, even, odd, k1);
  copy_words(even, a, k);  // a0 + 4 a2, 2 a1 + 8 a3
  even[k] = add_shifted(even, a2, k, 2);
  zero_words(odd, k1);
  odd[k] = add_shifted(odd, a1, k, 1);
  add_word(odd + r, k1 - r, add_shifted(odd, a3, r, 3));
  copy_words(v.at_2, even, k1);
  add_words(v.at_2, odd, k1);
  v.minus_2_negative = absolute_difference(v.at_minus_2, even, odd, k1);
  copy_words(v.at_half, a3, r);  // 8 a0 + 4 a1 + 2 a2 + a3
  zero_words(v.at_half + r, k1 - r);
  v.at_half[k] += add_shifted(v.at_half, a2, k, 1);
  v.at_half[k] += add_shifted(v.at_half, a1, k, 2);
  v.at_half[k] += add_shifted(v.at_half, a, k, 3);
}

// x[0, l) -= y[0, m) * 2^shift (shift 0 to 63) for m <= l, modulo B^l.
void sub_at_scale(Word* x, std::size_t l, const Word* y, std::size_t m, unsigned shift) noexcept {
  const Word borrow = shift == 0 ? sub_words(x, y, m) : sub_shifted(x, y, m, shift);
  sub_word(x + m, l - m, borrow);
}

// The products of multiply_toom4 at 1, -1, 2, -2 and 1/2 (scaled), each of
// l = 2k + 2 words, and two more buffers as large.
struct Toom4_products {
  Word* w1;
  Word* wm1;
  Word* w2;
  Word* wm2;
  Word* wh;
  Word* e1;
  Word* e2;
};

// Solves for c1 to c5 from the products and c0, c6 already in r, and adds
// them in at k to 5k. Every step is modulo B^l, where each value it reaches
// is not negative and fits.
void toom4_interpolate(Word* r, std::size_t n, std::size_t k, const Toom4_products& p, bool m1_negative,
                       bool m2_negative) noexcept {
  const std::size_t l = 2 * k + 2, c6n = 2 * (n - 3 * k);
  const Word* c0 = r;
  const Word* c6 = r + 6 * k;
  // e1 = c0 + c2 + c4 + c6, w1 = O1 = c1 + c3 + c5; e2 = c0 + 4 c2 + 16 c4
  // + 64 c6, w2 = O2 = c1 + 4 c3 + 16 c5.
  sum_and_difference(p.e1, p.w1, p.wm1, m1_negative, l, 1);
  sum_and_difference(p.e2, p.w2, p.wm2, m2_negative, l, 2);
  // c4 = ((e2 - c0 - 64 c6) / 4 - (e1 - c0 - c6)) / 3 in e2, c2 in e1.
  sub_at_scale(p.e1, l, c0, 2 * k, 0);
  sub_at_scale(p.e1, l, c6, c6n, 0);
  sub_at_scale(p.e2, l, c0, 2 * k, 0);
  sub_at_scale(p.e2, l, c6, c6n, 6);
  shift_right_1(p.e2, l);
  shift_right_1(p.e2, l);
  sub_words(p.e2, p.e1, l);
  divide_exactly<3>(p.e2, l);
  sub_words(p.e1, p.e2, l);
  // wh - 64 c0 - 16 c2 - 4 c4 - c6 = 2 (16 c1 + 4 c3 + c5); less O1 it is
  // 3 P, P = 5 c1 + c3. O2 - O1 = 3 Q, Q = c3 + 5 c5.
  sub_at_scale(p.wh, l, c0, 2 * k, 6);
  sub_at_scale(p.wh, l, p.e1, l, 4);
  sub_at_scale(p.wh, l, p.e2, l, 2);
  sub_at_scale(p.wh, l, c6, c6n, 0);
  shift_right_1(p.wh, l);
  sub_words(p.wh, p.w1, l);
  divide_exactly<3>(p.wh, l);
  sub_words(p.w2, p.w1, l);
  divide_exactly<3>(p.w2, l);
  // c1 = (4 P + Q - 5 O1) / 15 in wm1, c5 = O1 - P + 4 c1 in wm2, c3 = O1 - c1 - c5 in w1.
  copy_words(p.wm1, p.w2, l);
  add_shifted(p.wm1, p.wh, l, 2);
  sub_at_scale(p.wm1, l, p.w1, l, 0);
  sub_at_scale(p.wm1, l, p.w1, l, 2);
  divide_exactly<15>(p.wm1, l);
  copy_words(p.wm2, p.w1, l);
  sub_words(p.wm2, p.wh, l);
  add_shifted(p.wm2, p.wm1, l, 2);
  sub_words(p.w1, p.wm1, l);
  sub_words(p.w1, p.wm2, l);
  // c2 and c4 fill the words between c0 and c6, their top two words added above.
  copy_words(r + 2 * k, p.e1, 2 * k);
  copy_words(r + 4 * k, p.e2, 2 * k);
  add_at(r, 2 * n, 4 * k, p.e1 + 2 * k, 2);
  add_at(r, 2 * n, 6 * k, p.e2 + 2 * k, 2);
  add_at(r, 2 * n, k, p.wm1, l);
  add_at(r, 2 * n, 3 * k, p.w1, l);
  add_at(r, 2 * n, 5 * k, p.wm2, l);
}

// Toom-4: a and b as polynomials of four parts in X = B^k, their product
// from seven products (at 0, 1, -1, 2, -2, 1/2 and infinity), five of them
// of k + 1 words, and an exact interpolation.
void multiply_toom4(Word* r, const Word* a, const Word* b, std::size_t n, Word* s) noexcept {
  const std::size_t k = (n + 3) / 4, rest = n - 3 * k, k1 = k + 1, l = 2 * k1;
  Word* pa = s;  // the values: 5 (k + 1) words for each factor
  Word* pb = pa + 5 * k1;
  Word* w = pb + 5 * k1;  // seven buffers of l words
  const Toom4_products p{w, w + l, w + 2 * l, w + 3 * l, w + 4 * l, w + 5 * l, w + 6 * l};
  Word* next = w + 7 * l;
  Toom4_values va{pa, pa + k1, pa + 2 * k1, pa + 3 * k1, pa + 4 * k1, false, false};
  Toom4_values vb{pb, pb + k1, pb + 2 * k1, pb + 3 * k1, pb + 4 * k1, false, false};
  toom4_evaluate(a, k, rest, va, p.e1);
  toom4_evaluate(b, k, rest, vb, p.e1);
  multiply_balanced(p.w1, va.at_1, vb.at_1, k1, next);
  multiply_balanced(p.wm1, va.at_minus_1, vb.at_minus_1, k1, next);
  multiply_balanced(p.w2, va.at_2, vb.at_2, k1, next);
  multiply_balanced(p.wm2, va.at_minus_2, vb.at_minus_2, k1, next);
  multiply_balanced(p.wh, va.at_half, vb.at_half, k1, next);
  multiply_balanced(r, a, b, k, next);                             // c0
  multiply_balanced(r + 6 * k, a + 3 * k, b + 3 * k, rest, next);  // c6
  toom4_interpolate(r, n, k, p, va.minus_1_negative != vb.minus_1_negative,
                    va.minus_2_negative != vb.minus_2_negative);
}

// r[0, 2n) = a[0, n) * b[0, n).
void multiply_balanced(Word* r, const Word* a, const Word* b, std::size_t n, Word* scratch) noexcept {
  if (n < KARATSUBA_THRESHOLD) {
    multiply_rows(r, a, n, b, n);
  } else if (n < TOOM3_THRESHOLD) {
    multiply_karatsuba(r, a, b, n, scratch);
  } else if (n < TOOM4_THRESHOLD) {
    multiply_toom3(r, a, b, n, scratch);
  } else {
    multiply_toom4(r, a, b, n, scratch);
  }
}

}  // namespace

Word add_words(Word* r, const Word* a, std::size_t n) noexcept {
  unsigned char carry = 0;
  std::size_t i = 0;
  if (n >= 4) {
    carry = add_blocks(as_bytes(r), as_bytes(a), n / 4, carry);
    i = n / 4 * 4;
  }
  for (; i < n; ++i) carry = add_with_carry(carry, r[i], a[i], r[i]);
  return carry;
}

Word sub_words(Word* r, const Word* a, std::size_t n) noexcept {
  unsigned char borrow = 0;
  std::size_t i = 0;
  if (n >= 4) {
    borrow = sub_blocks(as_bytes(r), as_bytes(a), n / 4, borrow);
    i = n / 4 * 4;
  }
  for (; i < n; ++i) borrow = sub_with_borrow(borrow, r[i], a[i], r[i]);
  return borrow;
}

Word add_word(Word* r, std::size_t n, Word c) noexcept {
  for (std::size_t i = 0; c != 0 && i < n; ++i) {
    r[i] += c;
    c = r[i] < c;
  }
  return c;
}

Word sub_word(Word* r, std::size_t n, Word c) noexcept {
  for (std::size_t i = 0; c != 0 && i < n; ++i) {
    const Word before = r[i];
    r[i] = before - c;
    c = before < c;
  }
  return c;
}

void multiply(Word* r, const Word* a, std::size_t an, const Word* b, std::size_t bn, Word* scratch) noexcept {
  if (an < bn) {
    std::swap(a, b);
    std::swap(an, bn);
  }
  if (bn < KARATSUBA_THRESHOLD) {
    multiply_rows(r, a, an, b, bn);
    return;
  }
  // Balanced products of bn words, one chunk of a at a time; a short last
  // chunk is padded with zeros to bn words.
  multiply_balanced(r, a, b, bn, scratch);
  zero_words(r + 2 * bn, an - bn);
  Word* padded = scratch;
  Word* t = scratch + bn;
  Word* rest = scratch + 3 * bn;
  for (std::size_t at = bn; at < an; at += bn) {
    const std::size_t c = std::min(bn, an - at);
    copy_words(padded, a + at, c);
    zero_words(padded + c, bn - c);
    multiply_balanced(t, padded, b, bn, rest);
    const Word carry = add_words(r + at, t, c + bn);
    add_word(r + at + c + bn, an - at - c, carry);
  }
}

// With a = a1 B^m + a0 (a0 of m words, a1 of h = n - m) and b likewise,
// a * b mod B^n is a0 b0 (2m >= n words, cut at n) plus the low h words of
// a1 b0 and of a0 b1 at B^m: one full product and two low halves.
void multiply_low(Word* r, const Word* a, const Word* b, std::size_t n, Word* scratch) noexcept {
  if (n < MULLO_THRESHOLD) {
    zero_words(r, n);
    for (std::size_t i = 0; i < n; ++i) addmul_row(as_bytes(r + i), as_bytes(b), n - i, a[i]);
    return;
  }
  const std::size_t h = multiply_low_high_part(n), m = n - h;
  Word* t = scratch;
  Word* rest = scratch + 2 * m;
  multiply_balanced(t, a, b, m, rest);
  copy_words(r, t, n);
  multiply_low(t, a + m, b, h, rest);
  add_words(r + m, t, h);
  multiply_low(t, a, b + m, h, rest);
  add_words(r + m, t, h);
}

namespace {

// Division of a two-word number by a normalised word `d` (top bit set),
// through its reciprocal floor((2^128 - 1) / d) - 2^64.
class Word_divisor {
 public:
  explicit Word_divisor(Word d) noexcept
      : m_d(d), m_reciprocal(static_cast<Word>(((static_cast<Wide>(~d) << 64) | ~Word{0}) / d)) {}

  Word value() const noexcept { return m_d; }

  // Quotient of (high, low) by d, with high < d; `remainder` receives the rest.
  Word divide(Word high, Word low, Word& remainder) const noexcept {
    const Wide estimate = static_cast<Wide>(m_reciprocal) * high + ((static_cast<Wide>(high) << 64) | low);
    Word quotient = static_cast<Word>(estimate >> 64) + 1;
    Word rest = low - quotient * m_d;
    if (rest > static_cast<Word>(estimate)) {
      --quotient;
      rest += m_d;
    }
    if (rest >= m_d) {
      ++quotient;
      rest -= m_d;
    }
    remainder = rest;
    return quotient;
  }

 private:
  Word m_d;
  Word m_reciprocal;
};

// u[0, n) -= q * v[0, n); returns the word to take from u[n].
Word multiply_subtract(Word* u, const Word* v, std::size_t n, Word q) noexcept {
  return submul_row(as_bytes(u), as_bytes(v), n, q);
}

// u[0, n] += v[0, n), the carry going into u[n].
void add_back(Word* u, const Word* v, std::size_t n) noexcept {
  Word carry = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const Wide s = static_cast<Wide>(u[i]) + v[i] + carry;
    u[i] = static_cast<Word>(s);
    carry = static_cast<Word>(s >> 64);
  }
  u[n] += carry;
}

// q[0, un - vn] = floor(u / v) for the normalised divisor v[0, vn) (vn >= 2,
// top bit set) and u[0, un] with u[un] < v[vn - 1]. The remainder is left in u.
void divide_rows(Word* u, std::size_t un, const Word* v, std::size_t vn, Word* q) noexcept {
  const Word_divisor top(v[vn - 1]);
  const Word second = v[vn - 2];
  for (std::size_t j = un - vn + 1; j-- != 0;) {
    Word* window = u + j;  // the remainder's words j to j + vn
    Word estimate;
    Wide rest;             // what remains of the top two words; may reach 2^64
    if (window[vn] >= top.value()) {
      estimate = ~Word{0};
      rest = static_cast<Wide>(window[vn - 1]) + top.value();
    } else {
      Word r;
      estimate = top.divide(window[vn], window[vn - 1], r);
      rest = r;
    }
    // At most two corrections bring the estimate within one of the digit.
    while ((rest >> 64) == 0 &&
           static_cast<Wide>(estimate) * second > ((rest << 64) | window[vn - 2])) {
      --estimate;
      rest += top.value();
    }
    const Word borrow = multiply_subtract(window, v, vn, estimate);
    const Word head = window[vn];
    window[vn] = head - borrow;
    if (head < borrow) {
      --estimate;
      add_back(window, v, vn);
    }
    q[j] = estimate;
  }
}

// The quotient of np[0, 2n) by the normalised d[0, n): q[0, n) and a top
// word (0 or 1) returned; the remainder is left in np[0, n). Recursive
// split: the top half of the quotient from the top half of the divisor, then
// the product of that half with the divisor's low half subtracted and the
// estimate corrected (it is never more than a few too large); the same again
// for the low half.
Word divide_halves(Word* q, Word* np, const Word* d, std::size_t n, Word* s) noexcept;

// One half of divide_halves: w[0, n + k) by d[0, n), quotient q[0, k) from
// the top 2k words of w and the top k words of d, then corrected.
Word divide_top(Word* q, Word* w, std::size_t k, const Word* d, std::size_t n, Word* s) noexcept {
  Word qh = divide_halves(q, w + (n - k), d + (n - k), k, s);
  if (n == k) return qh;
  Word* product = s;
  multiply(product, q, k, d, n - k, s + n);
  Word borrow = sub_words(w, product, n);
  if (qh != 0) borrow += sub_words(w + k, d, n - k);
  while (borrow != 0) {
    qh -= sub_word(q, k, 1);
    borrow -= add_words(w, d, n);
  }
  return qh;
}

Word divide_halves(Word* q, Word* np, const Word* d, std::size_t n, Word* s) noexcept {
  if (n < DIVIDE_THRESHOLD) {
    const Word qh = compare_words(np + n, d, n) >= 0;
    if (qh != 0) sub_words(np + n, d, n);
    divide_rows(np, 2 * n - 1, d, n, q);
    return qh;
  }
  const std::size_t lo = n / 2, hi = n - lo;
  const Word qh = divide_top(q + lo, np + lo, hi, d, n, s);
  const Word ql = divide_top(q, np, lo, d, n, s);
  // The low half is below B^lo once corrected: its window's top is a
  // remainder of d.
  static_cast<void>(ql);
  return qh;
}

}  // namespace

// q[0, un] = floor(u / d) for one normalised word d; u[un] < d.
void divide_by_word(const Word* u, std::size_t un, Word d, Word* q) noexcept {
  const Word_divisor divisor(d);
  Word rest = u[un];
  q[un] = 0;
  for (std::size_t j = un; j-- != 0;) q[j] = divisor.divide(rest, u[j], rest);
}

void divide(Word* q, Word* u, std::size_t un, const Word* d, std::size_t dn, Word* scratch) noexcept {
  if (dn < DIVIDE_THRESHOLD) {
    divide_rows(u, un, d, dn, q);
    return;
  }
  // Quotient words in chunks of dn from the top, the first one shorter; each
  // chunk divides a window whose top dn words are below d.
  const std::size_t qn = un - dn + 1;
  std::size_t k = qn % dn == 0 ? dn : qn % dn;
  for (std::size_t j = qn - k;; j -= dn, k = dn) {
    if (k < DIVIDE_THRESHOLD) {
      divide_rows(u + j, dn + k - 1, d, dn, q + j);
    } else {
      divide_top(q + j, u + j, k, d, dn, scratch);
    }
    if (j == 0) break;
  }
}

}  // namespace kov::detail
