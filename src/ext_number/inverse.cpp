// Kov_ext_number::partial_inverse: floor((W - 1) / d) by word-wide long
// division.
//
// The quotient is the one that binary long division of W - 1 by d gives, bit
// by bit from the top; here it comes a 64-bit digit at a time, and for long
// divisors through the recursive division of word_ops.h.
//
// All working state (remainder, normalised divisor, quotient) lives in one
// buffer allocated for the call; small sizes use a buffer on the stack.
#include <algorithm>
#include <iterator>
#include <memory>

#include "ext_number/word_ops.h"
#include "kov/ext_number.h"

namespace kov {

using detail::Wide;
using detail::Word;
using detail::WORD_BITS;
using detail::WORD_BYTES;

namespace {

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

// How many words the working buffer holds for a number of `size` bytes:
// numerator and remainder (nw + 1), divisor (nw), quotient (nw + 1), and the
// division's scratch.
std::size_t working_words(std::size_t size) noexcept {
  const std::size_t words = (size + WORD_BYTES - 1) / WORD_BYTES;
  return 3 * words + 2 + detail::divide_scratch(words);
}

// Numbers up to this many bytes divide in a buffer on the stack.
constexpr std::size_t LOCAL_BYTES = 128;

// floor((256^size - 1) / d) for the non-zero `size`-byte number d of
// `d_bits` bits, as ceil(size / 8) + 1 words placed in `work` (which holds
// working_words(size) words); returns where they are.
Word* reciprocal_words(const unsigned char* d, std::size_t size, std::uint64_t d_bits, Word* work) noexcept {
  const std::size_t nw = (size + WORD_BYTES - 1) / WORD_BYTES;
  const std::size_t dn = (d_bits + WORD_BITS - 1) / WORD_BITS;
  Word* u = work;
  Word* v = u + nw + 1;
  Word* q = v + nw;
  Word* scratch = q + nw + 1;

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
    detail::divide_by_word(u, nw, v[0], q);
  } else {
    detail::divide(q, u, nw, v, dn, scratch);
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

  Word local[3 * LOCAL_BYTES / WORD_BYTES + 2];
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
