// Kov_ext_number: multiplication.
//
// Schoolbook multiplication a word of `a` at a time, added straight into the
// receiving number and truncated at its top: products whose position lies at
// or past the top word are never formed, so the work is about half of a full
// product of equal sizes. The top word of the receiver may be partial; the
// value modulo 2^64 of everything added there is kept and its low bytes are
// stored, which is the arithmetic modulo W.
#include <algorithm>
#include <cstring>

#include "ext_number/word_ops.h"
#include "kov/ext_number.h"

namespace kov {

using detail::load_bytes;
using detail::load_word;
using detail::store_bytes;
using detail::store_word;
using detail::Wide;
using detail::Word;
using detail::WORD_BYTES;

namespace {

// The words of a byte string, the top one possibly partial.
class Word_reader {
 public:
  Word_reader(const unsigned char* bytes, std::size_t length) noexcept
      : m_bytes_p(bytes), m_full(length / WORD_BYTES), m_words((length + WORD_BYTES - 1) / WORD_BYTES),
        m_top(load_bytes(bytes + WORD_BYTES * m_full, length % WORD_BYTES)) {}

  std::size_t full() const noexcept { return m_full; }
  std::size_t words() const noexcept { return m_words; }
  const unsigned char* bytes() const noexcept { return m_bytes_p; }
  Word operator[](std::size_t k) const noexcept { return k < m_full ? load_word(m_bytes_p + WORD_BYTES * k) : m_top; }

 private:
  const unsigned char* m_bytes_p;
  std::size_t m_full;   // words of eight bytes
  std::size_t m_words;  // words in all, the partial one included
  Word m_top;           // the partial word, 0 when there is none
};

// The receiving number as words; its partial top word is read and written
// through its low bytes only.
class Word_writer {
 public:
  Word_writer(unsigned char* bytes, std::size_t length) noexcept
      : m_bytes_p(bytes), m_length(length), m_full(length / WORD_BYTES),
        m_words((length + WORD_BYTES - 1) / WORD_BYTES) {}

  std::size_t full() const noexcept { return m_full; }
  std::size_t words() const noexcept { return m_words; }
  unsigned char* bytes() const noexcept { return m_bytes_p; }
  Word get(std::size_t k) const noexcept {
    return k < m_full ? load_word(m_bytes_p + WORD_BYTES * k) : load_bytes(m_bytes_p + WORD_BYTES * k, m_length % WORD_BYTES);
  }
  void set(std::size_t k, Word w) const noexcept {
    if (k < m_full) {
      store_word(m_bytes_p + WORD_BYTES * k, w);
    } else {
      store_bytes(m_bytes_p + WORD_BYTES * k, m_length % WORD_BYTES, w);
    }
  }

 private:
  unsigned char* m_bytes_p;
  std::size_t m_length;
  std::size_t m_full;
  std::size_t m_words;
};

// r += factor * b * 2^(64 * row), truncated at the top of r.
void add_shifted_row(const Word_writer& r, const Word_reader& b, std::size_t row, Word factor) noexcept {
  // Positions where r and b both have full words: the fast loop.
  const std::size_t fast = r.full() > row ? std::min(b.full(), r.full() - row) : 0;
  Word carry = detail::addmul_row(r.bytes() + WORD_BYTES * row, b.bytes(), fast, factor);
  // At most two positions remain where a partial word takes part.
  std::size_t j = fast;
  for (; j < b.words() && row + j < r.words(); ++j) {
    const Wide t = static_cast<Wide>(factor) * b[j] + r.get(row + j) + carry;
    r.set(row + j, static_cast<Word>(t));
    carry = static_cast<Word>(t >> 64);
  }
  // The carry runs up until it is absorbed or reaches the top.
  for (std::size_t k = row + j; carry != 0 && k < r.words(); ++k) {
    const Word w = r.get(k) + carry;
    r.set(k, w);
    carry = w < carry;
  }
}

// Large products go block by block: blocks of this many words of each
// factor, multiplied with the split forms of word_ops.h into buffers on the
// stack (about 112 KiB), so that no product allocates whatever the size.
// Below the block size the split is the whole product; above it the blocks
// are combined like schoolbook digits.
constexpr std::size_t BLOCK_WORDS = detail::PRODUCT_BLOCK_WORDS;
constexpr std::size_t BLOCK_SCRATCH_WORDS =
    std::max(detail::multiply_scratch(BLOCK_WORDS), detail::multiply_low_scratch(BLOCK_WORDS));

// r += p[0, count) * 2^(64 * at), truncated at the top of r.
void add_words_at(const Word_writer& r, std::size_t at, const Word* p, std::size_t count) noexcept {
  std::size_t k = 0;
  Word carry = 0;
  if (at < r.full()) {  // the fast part: full words of r
    const std::size_t n = std::min(count, r.full() - at);
    unsigned char c = 0;
    auto* dst = r.bytes() + WORD_BYTES * at;
    const auto* src = reinterpret_cast<const unsigned char*>(p);
    if (n >= 4) c = detail::add_blocks(dst, src, n / 4, c);
    for (k = n / 4 * 4; k < n; ++k) {
      Word w;
      c = detail::add_with_carry(c, load_word(dst + WORD_BYTES * k), p[k], w);
      store_word(dst + WORD_BYTES * k, w);
    }
    carry = c;
  }
  for (; k < count && at + k < r.words(); ++k) {  // the partial top word
    const Wide t = static_cast<Wide>(r.get(at + k)) + p[k] + carry;
    r.set(at + k, static_cast<Word>(t));
    carry = static_cast<Word>(t >> 64);
  }
  for (std::size_t i = at + k; carry != 0 && i < r.words(); ++i) {
    const Word w = r.get(i) + carry;
    r.set(i, w);
    carry = w < carry;
  }
}

// words [from, from + n) of a factor into `out`.
void load_block(const Word_reader& x, std::size_t from, std::size_t n, Word* out) noexcept {
  for (std::size_t k = 0; k < n; ++k) out[k] = x[from + k];
}

// r += x * y, truncated at the top of r, through the split products.
[[gnu::noinline]] void add_product_blocks(const Word_writer& r, const Word_reader& x, const Word_reader& y) noexcept {
  Word xa[BLOCK_WORDS], yb[BLOCK_WORDS], product[2 * BLOCK_WORDS], scratch[BLOCK_SCRATCH_WORDS];
  for (std::size_t i = 0; i < x.words() && i < r.words(); i += BLOCK_WORDS) {
    const std::size_t xn = std::min(BLOCK_WORDS, x.words() - i);
    load_block(x, i, xn, xa);
    for (std::size_t j = 0; j < y.words() && i + j < r.words(); j += BLOCK_WORDS) {
      const std::size_t yn = std::min(BLOCK_WORDS, y.words() - j);
      load_block(y, j, yn, yb);
      const std::size_t keep = std::min(xn + yn, r.words() - i - j);
      if (keep <= std::min(xn, yn)) {
        detail::multiply_low(product, xa, yb, keep, scratch);
      } else {
        detail::multiply(product, xa, xn, yb, yn, scratch);
      }
      add_words_at(r, i + j, product, keep);
    }
  }
}

// Receivers of up to this many words whose factors fill them take their
// product as one low half rather than blocks (about 156 KiB of stack).
constexpr std::size_t LOW_HALF_WORDS = detail::PRODUCT_LOW_HALF_WORDS;
constexpr std::size_t LOW_HALF_SCRATCH_WORDS = detail::multiply_low_scratch(LOW_HALF_WORDS);

// True when r = x * y mod B^n is one low half: x, y and r all of n words,
// n from MULLO_THRESHOLD to LOW_HALF_WORDS.
bool is_one_low_half(const Word_writer& r, const Word_reader& x, const Word_reader& y) noexcept {
  return x.words() == r.words() && y.words() == r.words() && r.words() >= detail::MULLO_THRESHOLD &&
         r.words() <= LOW_HALF_WORDS;
}

// product[0, n) = x * y mod B^n for x and y of n words.
[[gnu::noinline]] void low_half_product(const Word_reader& x, const Word_reader& y, std::size_t n,
                                        Word* product) noexcept {
  Word xa[LOW_HALF_WORDS], yb[LOW_HALF_WORDS], scratch[LOW_HALF_SCRATCH_WORDS];
  load_block(x, 0, n, xa);
  load_block(y, 0, n, yb);
  detail::multiply_low(product, xa, yb, n, scratch);
}

// r = x * y mod B^n, or r += that when `accumulate`, for the sizes that
// is_one_low_half accepts.
[[gnu::noinline]] void low_half(const Word_writer& r, const Word_reader& x, const Word_reader& y,
                                bool accumulate) noexcept {
  Word product[LOW_HALF_WORDS];
  const std::size_t n = r.words();
  low_half_product(x, y, n, product);
  if (accumulate) {
    add_words_at(r, 0, product, n);
  } else {
    std::memcpy(r.bytes(), product, WORD_BYTES * r.full());
    if (n > r.full()) r.set(r.full(), product[r.full()]);
  }
}

}  // namespace

void Kov_ext_number::add_product(const Kov_ext_number& a, const Kov_ext_number& b) noexcept {
  // Bytes of an operand at or past this number's size fall out of the modulo.
  const Word_writer r(m_bytes_p, m_size);
  const Word_reader x(a.m_bytes_p, std::min(a.m_size, m_size));
  const Word_reader y(b.m_bytes_p, std::min(b.m_size, m_size));
  if (std::min(x.words(), y.words()) >= detail::KARATSUBA_THRESHOLD &&
      r.words() >= detail::MULLO_THRESHOLD) {
    if (is_one_low_half(r, x, y)) {
      low_half(r, x, y, true);
    } else {
      add_product_blocks(r, x, y);
    }
    return;
  }
  for (std::size_t row = 0; row < x.words(); ++row) {
    const Word factor = x[row];
    if (factor != 0) add_shifted_row(r, y, row, factor);
  }
}

void Kov_ext_number::set_product(const Kov_ext_number& a, const Kov_ext_number& b) noexcept {
  const Word_writer r(m_bytes_p, m_size);
  const Word_reader x(a.m_bytes_p, std::min(a.m_size, m_size));
  const Word_reader y(b.m_bytes_p, std::min(b.m_size, m_size));
  if (is_one_low_half(r, x, y)) {  // stored, without clearing this number first
    low_half(r, x, y, false);
    return;
  }
  set_zero();
  add_product(a, b);
}

}  // namespace kov
