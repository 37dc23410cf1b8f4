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
  // The middle term, lo + hi -/+ t, with its carry word c (never negative at
  // the end, since the middle term is a0 b1 + a1 b0).
  Word* middle = rest;
  copy_words(middle, r, 2 * l);
  Word c = add_words(middle, r + 2 * l, 2 * h);
  c = add_word(middle + 2 * h, 2 * (l - h), c);
  if (negative) {
    c += add_words(middle, t, 2 * l);
  } else {
    c -= sub_words(middle, t, 2 * l);
  }
  c += add_words(r + l, middle, 2 * l);
  add_word(r + 3 * l, 2 * n - 3 * l, c);
}

std::size_t karatsuba_scratch(std::size_t n) noexcept;

std::size_t balanced_scratch(std::size_t n) noexcept {
  if (n < KARATSUBA_THRESHOLD) return 0;
  return karatsuba_scratch(n);
}

std::size_t karatsuba_scratch(std::size_t n) noexcept {
  const std::size_t l = (n + 1) / 2;
  return 4 * l + std::max(2 * l, balanced_scratch(l));
}

// r[0, 2n) = a[0, n) * b[0, n).
void multiply_balanced(Word* r, const Word* a, const Word* b, std::size_t n, Word* scratch) noexcept {
  if (n < KARATSUBA_THRESHOLD) {
    multiply_rows(r, a, n, b, n);
  } else {
    multiply_karatsuba(r, a, b, n, scratch);
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

std::size_t multiply_scratch(std::size_t n) noexcept { return 3 * n + balanced_scratch(n); }

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

std::size_t multiply_low_scratch(std::size_t n) noexcept {
  if (n < MULLO_THRESHOLD) return 0;
  const std::size_t l = (n + 1) / 2;
  return 2 * l + std::max(balanced_scratch(l), multiply_low_scratch(n - l));
}

// With a = a1 B^l + a0 and b likewise, a * b mod B^n is a0 b0 plus the low
// halves of a1 b0 and a0 b1 at B^l: one full product and two low halves.
void multiply_low(Word* r, const Word* a, const Word* b, std::size_t n, Word* scratch) noexcept {
  if (n < MULLO_THRESHOLD) {
    zero_words(r, n);
    for (std::size_t i = 0; i < n; ++i) addmul_row(as_bytes(r + i), as_bytes(b), n - i, a[i]);
    return;
  }
  const std::size_t l = (n + 1) / 2, h = n - l;
  Word* t = scratch;
  Word* rest = scratch + 2 * l;
  multiply_balanced(t, a, b, l, rest);
  copy_words(r, t, n);
  multiply_low(t, a + l, b, h, rest);
  add_words(r + l, t, h);
  multiply_low(t, a, b + l, h, rest);
  add_words(r + l, t, h);
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
  Word borrow = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const Wide product = static_cast<Wide>(q) * v[i] + borrow;
    const auto low = static_cast<Word>(product);
    const Word before = u[i];
    u[i] = before - low;
    borrow = static_cast<Word>(product >> 64) + (before < low);
  }
  return borrow;
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

std::size_t divide_halves_scratch(std::size_t n) noexcept {
  if (n < DIVIDE_THRESHOLD) return 0;
  const std::size_t hi = n - n / 2;
  return n + std::max(multiply_scratch(hi), divide_halves_scratch(hi));
}

}  // namespace

// q[0, un] = floor(u / d) for one normalised word d; u[un] < d.
void divide_by_word(const Word* u, std::size_t un, Word d, Word* q) noexcept {
  const Word_divisor divisor(d);
  Word rest = u[un];
  q[un] = 0;
  for (std::size_t j = un; j-- != 0;) q[j] = divisor.divide(rest, u[j], rest);
}

std::size_t divide_scratch(std::size_t dn) noexcept {
  if (dn < DIVIDE_THRESHOLD) return 0;
  return dn + std::max(multiply_scratch(dn), divide_halves_scratch(dn));
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
