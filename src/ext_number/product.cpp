// Kov_ext_number: multiplication.
//
// Schoolbook multiplication a word of `a` at a time, added straight into the
// receiving number and truncated at its top: products whose position lies at
// or past the top word are never formed, so the work is about half of a full
// product of equal sizes. The top word of the receiver may be partial; the
// value modulo 2^64 of everything added there is kept and its low bytes are
// stored, which is the arithmetic modulo W.
#include <algorithm>

#include "ext_number/words.h"
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

// r[offset, offset + count) += factor * b[0, count), all full words; returns
// the carry word.
Word add_row(unsigned char* r, const unsigned char* b, std::size_t count, Word factor) noexcept {
  Word carry = 0;
  std::size_t j = 0;
  for (; j + 2 <= count; j += 2) {
    const Wide t0 = static_cast<Wide>(factor) * load_word(b + WORD_BYTES * j) + load_word(r + WORD_BYTES * j) + carry;
    const Wide t1 = static_cast<Wide>(factor) * load_word(b + WORD_BYTES * (j + 1)) +
                    load_word(r + WORD_BYTES * (j + 1)) + static_cast<Word>(t0 >> 64);
    store_word(r + WORD_BYTES * j, static_cast<Word>(t0));
    store_word(r + WORD_BYTES * (j + 1), static_cast<Word>(t1));
    carry = static_cast<Word>(t1 >> 64);
  }
  if (j < count) {
    const Wide t = static_cast<Wide>(factor) * load_word(b + WORD_BYTES * j) + load_word(r + WORD_BYTES * j) + carry;
    store_word(r + WORD_BYTES * j, static_cast<Word>(t));
    carry = static_cast<Word>(t >> 64);
  }
  return carry;
}

// r += factor * b * 2^(64 * row), truncated at the top of r.
void add_shifted_row(const Word_writer& r, const Word_reader& b, std::size_t row, Word factor) noexcept {
  // Positions where r and b both have full words: the fast loop.
  const std::size_t fast = r.full() > row ? std::min(b.full(), r.full() - row) : 0;
  Word carry = add_row(r.bytes() + WORD_BYTES * row, b.bytes(), fast, factor);
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

}  // namespace

void Kov_ext_number::add_product(const Kov_ext_number& a, const Kov_ext_number& b) noexcept {
  // Bytes of an operand at or past this number's size fall out of the modulo.
  const Word_writer r(m_bytes_p, m_size);
  const Word_reader x(a.m_bytes_p, std::min(a.m_size, m_size));
  const Word_reader y(b.m_bytes_p, std::min(b.m_size, m_size));
  for (std::size_t row = 0; row < x.words(); ++row) {
    const Word factor = x[row];
    if (factor != 0) add_shifted_row(r, y, row, factor);
  }
}

void Kov_ext_number::set_product(const Kov_ext_number& a, const Kov_ext_number& b) noexcept {
  set_zero();
  add_product(a, b);
}

}  // namespace kov
