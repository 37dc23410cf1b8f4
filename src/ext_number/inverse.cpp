// Kov_ext_number::partial_inverse: floor((W - 1) / d) by word-wide long
// division.
//
// The quotient is the one that binary long division of W - 1 by d gives, bit
// by bit from the top; here it comes a 64-bit digit at a time (long division
// with normalised divisor, each digit estimated from the top two words of the
// remainder and the top word of the divisor, then corrected). The 2-by-1 word
// divisions use a reciprocal of the divisor's top word computed once, so the
// only hardware-sized division is that one.
//
// All working state (remainder, normalised divisor, quotient) lives in one
// buffer allocated for the call; small sizes use a buffer on the stack.
#include <algorithm>
#include <iterator>
#include <memory>

#include "ext_number/words.h"
#include "kov/ext_number.h"

namespace kov {

using detail::Wide;
using detail::Word;
using detail::WORD_BITS;
using detail::WORD_BYTES;

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

// Shifts w[0, n) left by `bits` (0 to 63), the bits out of the top going
// into w[n].
void shift_words_left(Word* w, std::size_t n, unsigned bits) noexcept {
  if (bits == 0) {
    w[n] = 0;
    return;
  }
  w[n] = w[n - 1] >> (WORD_BITS - bits);
  for (std::size_t i = n - 1; i != 0; --i) w[i] = (w[i] << bits) | (w[i - 1] >> (WORD_BITS - bits));
  w[0] <<= bits;
}

// q[0, un - vn] = floor(u / v) for the normalised divisor v[0, vn) (vn >= 2,
// top bit set) and u[0, un] with u[un] < v[vn - 1]. The remainder is left in u.
void divide_words(Word* u, std::size_t un, const Word* v, std::size_t vn, Word* q) noexcept {
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

// q[0, un] = floor(u / d) for one normalised word d; u[un] < d.
void divide_by_word(const Word* u, std::size_t un, Word d, Word* q) noexcept {
  const Word_divisor divisor(d);
  Word rest = u[un];
  q[un] = 0;
  for (std::size_t j = un; j-- != 0;) q[j] = divisor.divide(rest, u[j], rest);
}

// How many words the working buffer holds for a number of `size` bytes:
// numerator and remainder (nw + 1), divisor (nw), quotient (nw + 1).
constexpr std::size_t working_words(std::size_t size) noexcept {
  const std::size_t words = (size + WORD_BYTES - 1) / WORD_BYTES;
  return 3 * words + 2;
}

// floor((256^size - 1) / d) for the non-zero `size`-byte number d of
// `d_bits` bits, as ceil(size / 8) + 1 words placed in `work` (which holds
// working_words(size) words); returns where they are.
Word* reciprocal_words(const unsigned char* d, std::size_t size, std::uint64_t d_bits, Word* work) noexcept {
  const std::size_t nw = (size + WORD_BYTES - 1) / WORD_BYTES;
  const std::size_t dn = (d_bits + WORD_BITS - 1) / WORD_BITS;
  Word* u = work;
  Word* v = u + nw + 1;
  Word* q = v + nw;

  // The divisor, normalised so that its top word has its top bit set, and
  // W - 1 shifted by the same amount.
  const auto norm = static_cast<unsigned>(WORD_BITS * dn - d_bits);
  for (std::size_t k = 0; k < nw; ++k) v[k] = detail::load_clipped(d, size, WORD_BYTES * k);
  if (norm != 0) {
    for (std::size_t k = dn - 1; k != 0; --k) v[k] = (v[k] << norm) | (v[k - 1] >> (WORD_BITS - norm));
    v[0] <<= norm;
  }
  std::fill(u, u + nw, ~Word{0});
  u[nw - 1] = detail::byte_mask(size - WORD_BYTES * (nw - 1));
  shift_words_left(u, nw, norm);

  std::fill(q, q + nw + 1, Word{0});
  if (dn == 1) {
    divide_by_word(u, nw, v[0], q);
  } else {
    divide_words(u, nw, v, dn, q);
  }
  return q;
}

}  // namespace

void Kov_ext_number::partial_inverse(Kov_ext_number& first, Kov_ext_number& second) const {
  if (m_size == 0) return;
  const std::uint64_t d_bits = detail::bit_length(m_bytes_p, m_size);
  if (d_bits == 0) {
    // d = 0: every trial addition of zero fits, so first gets all bits set.
    second.set_zero();
    first.set_value(std::int64_t{-1});
    return;
  }

  Word local[working_words(16 * WORD_BYTES)];  // numbers up to 128 bytes
  std::unique_ptr<Word[]> heap;
  Word* work = local;
  if (working_words(m_size) > std::size(local)) {
    heap.reset(new Word[working_words(m_size)]);
    work = heap.get();
  }
  const Word* q = reciprocal_words(m_bytes_p, m_size, d_bits, work);

  // second: d shifted left until its top bit is set, as the bit-wise division
  // leaves it. Written before first, while this number is still intact.
  second.set_zero();
  second.shift_add(static_cast<std::uint32_t>(8 * static_cast<std::uint64_t>(m_size) - d_bits), *this);

  // first: the quotient, which is below W, modulo first's width.
  const std::size_t q_bytes = WORD_BYTES * ((m_size + WORD_BYTES - 1) / WORD_BYTES + 1);
  const std::size_t first_bytes = std::min<std::size_t>(first.m_size, q_bytes);
  for (std::size_t k = 0; WORD_BYTES * k < first_bytes; ++k) {
    detail::store_bytes(first.m_bytes_p + WORD_BYTES * k, std::min(WORD_BYTES, first_bytes - WORD_BYTES * k), q[k]);
  }
  if (first.m_size > first_bytes) std::fill(first.m_bytes_p + first_bytes, first.m_bytes_p + first.m_size, 0);
}

}  // namespace kov
