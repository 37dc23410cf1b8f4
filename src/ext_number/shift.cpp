// Kov_ext_number: the operations on another number shifted left.
//
// The shifted operand is never stored: each word of it is cut from the
// operand's bytes on the fly (bit_window in words.h). Comparisons run from the
// top down and leave at the first word that decides. The top of a number is
// handled as one chunk of size % 8 bytes, then whole words below it.
#include <algorithm>

#include "ext_number/words.h"
#include "kov/ext_number.h"

namespace kov {

using detail::bit_window;
using detail::byte_mask;
using detail::load_bytes;
using detail::store_bytes;
using detail::Wide;
using detail::Word;
using detail::WORD_BYTES;

namespace {

// Visits the chunks of a `length`-byte number from the top down: first the
// partial top of length % 8 bytes (if any), then whole words. `visit(at, n)`
// gets the byte offset and byte count of a chunk and returns false to stop.
template <class Visit>
void for_chunks_downward(std::size_t length, Visit visit) {
  std::size_t end = length;
  const std::size_t top = length % WORD_BYTES;
  if (top != 0) {
    if (!visit(end - top, top)) return;
    end -= top;
  }
  while (end != 0) {
    end -= WORD_BYTES;
    if (!visit(end, WORD_BYTES)) return;
  }
}

// The chunk of `other` * 2^shift that lies at bytes [at, at + n).
Word shifted_chunk(const unsigned char* other, std::size_t other_length, std::uint32_t shift, std::size_t at,
                   std::size_t n) noexcept {
  const std::int64_t bit = 8 * static_cast<std::int64_t>(at) - shift;
  return bit_window(other, other_length, bit) & byte_mask(n);
}

}  // namespace

int Kov_ext_number::shift_compare(std::uint32_t shift, const Kov_ext_number& other) const noexcept {
  const std::uint64_t other_bits = detail::bit_length(other.m_bytes_p, other.m_size);
  if (other_bits == 0) return detail::all_zero(m_bytes_p, 0, m_size) ? 0 : 1;
  // A shifted operand that reaches past the top is at least W.
  if (other_bits + shift > 8 * static_cast<std::uint64_t>(m_size)) return -1;
  int result = 0;
  for_chunks_downward(m_size, [&](std::size_t at, std::size_t n) {
    const Word mine = load_bytes(m_bytes_p + at, n);
    const Word theirs = shifted_chunk(other.m_bytes_p, other.m_size, shift, at, n);
    if (mine != theirs) result = mine < theirs ? -1 : 1;
    return result == 0;
  });
  return result;
}

bool Kov_ext_number::shift_add_test(std::uint32_t shift, const Kov_ext_number& other) const noexcept {
  const std::uint64_t other_bits = detail::bit_length(other.m_bytes_p, other.m_size);
  if (other_bits == 0) return true;
  if (other_bits + shift > 8 * static_cast<std::uint64_t>(m_size)) return false;
  // this + s < W exactly when s <= W - 1 - this, the complement of this.
  bool fits = true;
  for_chunks_downward(m_size, [&](std::size_t at, std::size_t n) {
    const Word room = ~load_bytes(m_bytes_p + at, n) & byte_mask(n);
    const Word theirs = shifted_chunk(other.m_bytes_p, other.m_size, shift, at, n);
    if (room == theirs) return true;
    fits = theirs < room;
    return false;
  });
  return fits;
}

unsigned Kov_ext_number::shift_maximize(unsigned k) noexcept {
  if (m_size == 0) return 0;
  k = std::clamp<unsigned>(k, 1, m_size);
  const auto shift = static_cast<std::uint32_t>(8 * static_cast<std::uint64_t>(k) - detail::bit_length(m_bytes_p, k));
  if (shift == 0) return 0;
  // In place from the top down: each chunk is made from bytes at or below
  // its own, which are not yet overwritten.
  for_chunks_downward(m_size, [&](std::size_t at, std::size_t n) {
    store_bytes(m_bytes_p + at, n, shifted_chunk(m_bytes_p, m_size, shift, at, n));
    return true;
  });
  return shift;
}

void Kov_ext_number::shift_add_bit(std::uint32_t shift) noexcept {
  if (shift >= 8 * static_cast<std::uint64_t>(m_size)) return;
  const std::size_t at = shift / 8;
  const std::size_t n = std::min<std::size_t>(WORD_BYTES, m_size - at);
  const Word bit = Word{1} << (shift % 8);
  const Word w = load_bytes(m_bytes_p + at, n) + bit;
  store_bytes(m_bytes_p + at, n, w);
  detail::propagate_carry(m_bytes_p, m_size, at + n, n == WORD_BYTES && w < bit);
}

void Kov_ext_number::shift_add(std::uint32_t shift, const Kov_ext_number& other) noexcept {
  const std::uint64_t other_end = 8 * static_cast<std::uint64_t>(other.m_size) + shift;  // first bit past it
  Word carry = 0;
  std::size_t at = shift / 8;
  for (; at < m_size; at += WORD_BYTES) {
    if (8 * static_cast<std::uint64_t>(at) >= other_end) break;
    const std::size_t n = std::min<std::size_t>(WORD_BYTES, m_size - at);
    const Wide s = static_cast<Wide>(load_bytes(m_bytes_p + at, n)) +
                   shifted_chunk(other.m_bytes_p, other.m_size, shift, at, WORD_BYTES) + carry;
    store_bytes(m_bytes_p + at, n, static_cast<Word>(s));
    carry = static_cast<Word>(s >> 64);
  }
  detail::propagate_carry(m_bytes_p, m_size, at, carry);
}

}  // namespace kov
