// Machine-word access to the byte buffers of extended numbers.
//
// A number is a little-endian byte string of any length and alignment. The
// arithmetic works on it 64 bits at a time: a word is loaded from eight bytes
// with memcpy (one unaligned move on the targets), and the bytes at the top
// that do not fill a word are loaded into, and stored from, the low end of a
// word. Word k of a number starts at byte 8 * k.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kov::detail {

static_assert(std::endian::native == std::endian::little,
              "extended numbers map bytes to words in little-endian order");

using Word = std::uint64_t;
// Double word for products and carries.
__extension__ typedef unsigned __int128 Wide;

constexpr std::size_t WORD_BYTES = 8;
constexpr unsigned WORD_BITS = 64;

// Eight bytes at `p` as a word.
inline Word load_word(const unsigned char* p) noexcept {
  Word w;
  std::memcpy(&w, p, WORD_BYTES);
  return w;
}

inline void store_word(unsigned char* p, Word w) noexcept { std::memcpy(p, &w, WORD_BYTES); }

// `n` bytes (0 to 8) at `p` as the low end of a word; the rest is 0.
inline Word load_bytes(const unsigned char* p, std::size_t n) noexcept {
  Word w = 0;
  if (n != 0) std::memcpy(&w, p, n);
  return w;
}

// The low `n` bytes (0 to 8) of `w` to `p`.
inline void store_bytes(unsigned char* p, std::size_t n, Word w) noexcept {
  if (n != 0) std::memcpy(p, &w, n);
}

// Up to eight bytes of a `length`-byte buffer from byte `at` on, with the
// bytes past its end taken as 0.
inline Word load_clipped(const unsigned char* p, std::size_t length, std::size_t at) noexcept {
  if (at >= length) return 0;
  if (length - at >= WORD_BYTES) return load_word(p + at);
  return load_bytes(p + at, length - at);
}

// A word with the low `n` bytes (0 to 8) set.
inline Word byte_mask(std::size_t n) noexcept {
  return n >= WORD_BYTES ? ~Word{0} : (Word{1} << (8 * n)) - 1;
}

// Bits [bit, bit + 64) of the `length`-byte number at `p`, where bits below 0
// and at or past 8 * length count as 0. This is a word of the number shifted
// left by -bit bits, made without storing the shifted number.
inline Word bit_window(const unsigned char* p, std::size_t length, std::int64_t bit) noexcept {
  if (bit <= -static_cast<std::int64_t>(WORD_BITS)) return 0;
  if (bit < 0) return bit_window(p, length, 0) << static_cast<unsigned>(-bit);
  const auto at = static_cast<std::uint64_t>(bit) >> 3;
  if (at >= length) return 0;
  const unsigned offset = static_cast<unsigned>(bit) & 7u;
  const Word low = load_clipped(p, length, at);
  if (offset == 0) return low;
  const Word high = at + WORD_BYTES < length ? p[at + WORD_BYTES] : 0;
  return (low >> offset) | (high << (WORD_BITS - offset));
}

// Bit length of the `length`-byte number at `p`: 0 for zero.
inline std::uint64_t bit_length(const unsigned char* p, std::size_t length) noexcept {
  std::size_t end = length;
  while (end >= WORD_BYTES) {
    const Word w = load_word(p + end - WORD_BYTES);
    if (w != 0) return 8 * (end - WORD_BYTES) + WORD_BITS - std::countl_zero(w);
    end -= WORD_BYTES;
  }
  const Word w = load_bytes(p, end);
  return w == 0 ? 0 : WORD_BITS - std::countl_zero(w);
}

// True when bytes [from, to) of `p` are all 0.
inline bool all_zero(const unsigned char* p, std::size_t from, std::size_t to) noexcept {
  std::size_t i = from;
  for (; i + WORD_BYTES <= to; i += WORD_BYTES) {
    if (load_word(p + i) != 0) return false;
  }
  return load_bytes(p + i, to - i) == 0;
}

// Adds `carry` (0 or 1) into bytes [from, length) of `p`, word by word, until
// it is absorbed; a carry out of the top is dropped.
inline void propagate_carry(unsigned char* p, std::size_t length, std::size_t from, Word carry) noexcept {
  for (std::size_t i = from; carry != 0 && i < length; i += WORD_BYTES) {
    const std::size_t n = std::min(WORD_BYTES, length - i);
    const Word w = load_bytes(p + i, n) + 1;
    store_bytes(p + i, n, w);
    carry = n == WORD_BYTES && w == 0;
  }
}

// Subtracts `borrow` (0 or 1) from bytes [from, length) of `p` until it is
// absorbed; a borrow out of the top is dropped.
inline void propagate_borrow(unsigned char* p, std::size_t length, std::size_t from, Word borrow) noexcept {
  for (std::size_t i = from; borrow != 0 && i < length; i += WORD_BYTES) {
    const std::size_t n = std::min(WORD_BYTES, length - i);
    const Word w = load_bytes(p + i, n);
    store_bytes(p + i, n, w - 1);
    borrow = w == 0;
  }
}

}  // namespace kov::detail
