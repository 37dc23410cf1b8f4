// Kov_ext_number: assignment, addition, subtraction, negation, comparison
// and the operators.
//
// Every loop runs a machine word at a time over the little-endian bytes (see
// words.h); the bytes at the top that do not fill a word are one partial word.
// A carry out of the top byte is dropped, which is the arithmetic modulo W.
#include "kov/ext_number.h"

#include <algorithm>
#include <cstring>

#include "ext_number/words.h"

namespace kov {

using detail::load_bytes;
using detail::load_word;
using detail::store_bytes;
using detail::store_word;
using detail::Wide;
using detail::Word;
using detail::WORD_BYTES;

namespace {

// add and sub are defined inline in the header; these references make the
// library emit and export them too, for programs that call them out of line.
using Number_step = void (Kov_ext_number::*)(const Kov_ext_number&) noexcept;
[[gnu::used]] constexpr Number_step EXPORTED_STEPS[] = {&Kov_ext_number::add, &Kov_ext_number::sub};

// r[0, n) += a[0, m) modulo 256^n, with m <= n. Each word of `a` is read
// before the same word of `r` is written, so `a` may be `r` itself.
void add_bytes(unsigned char* r, std::size_t n, const unsigned char* a, std::size_t m) noexcept {
  unsigned char carry = 0;
  std::size_t i = 0;
  if (m >= 4 * WORD_BYTES) {
    const std::size_t blocks = m / (4 * WORD_BYTES);
    carry = detail::add_blocks(r, a, blocks, carry);
    i = 4 * WORD_BYTES * blocks;
  }
  for (; i + WORD_BYTES <= m; i += WORD_BYTES) {
    Word s;
    carry = detail::add_with_carry(carry, load_word(r + i), load_word(a + i), s);
    store_word(r + i, s);
  }
  if (i < m) {  // the operand's partial top word
    const std::size_t nr = std::min(WORD_BYTES, n - i);
    Word s;
    carry = detail::add_with_carry(carry, load_bytes(r + i, nr), load_bytes(a + i, m - i), s);
    store_bytes(r + i, nr, s);
    i += nr;
  }
  detail::propagate_carry(r, n, i, carry);
}

// r[0, n) -= a[0, m) modulo 256^n, with m <= n; `a` may be `r` itself.
void sub_bytes(unsigned char* r, std::size_t n, const unsigned char* a, std::size_t m) noexcept {
  unsigned char borrow = 0;
  std::size_t i = 0;
  if (m >= 4 * WORD_BYTES) {
    const std::size_t blocks = m / (4 * WORD_BYTES);
    borrow = detail::sub_blocks(r, a, blocks, borrow);
    i = 4 * WORD_BYTES * blocks;
  }
  for (; i + WORD_BYTES <= m; i += WORD_BYTES) {
    Word d;
    borrow = detail::sub_with_borrow(borrow, load_word(r + i), load_word(a + i), d);
    store_word(r + i, d);
  }
  if (i < m) {  // the operand's partial top word
    const std::size_t nr = std::min(WORD_BYTES, n - i);
    Word d;
    borrow = detail::sub_with_borrow(borrow, load_bytes(r + i, nr), load_bytes(a + i, m - i), d);
    store_bytes(r + i, nr, d);
    i += nr;
  }
  detail::propagate_borrow(r, n, i, borrow);
}

// Three-way comparison of two byte strings of the same length `n`.
int compare_equal_length(const unsigned char* a, const unsigned char* b, std::size_t n) noexcept {
  std::size_t end = n;
  const std::size_t top = n % WORD_BYTES;
  if (top != 0) {
    const Word x = load_bytes(a + n - top, top);
    const Word y = load_bytes(b + n - top, top);
    if (x != y) return x < y ? -1 : 1;
    end -= top;
  }
  while (end != 0) {
    end -= WORD_BYTES;
    const Word x = load_word(a + end);
    const Word y = load_word(b + end);
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

// Value of one hexadecimal digit; 0xFFFF for any other unit.
unsigned digit_value(char16_t unit) noexcept {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  return 0xFFFF;
}

bool is_separator(char16_t unit) noexcept { return unit == u',' || unit == u' ' || unit == u'\t'; }

}  // namespace

Kov_ext_number::Kov_ext_number(unsigned size, const unsigned char* bytes) noexcept
    : m_size(size), m_bytes_p(const_cast<unsigned char*>(bytes)) {}

void Kov_ext_number::set_zero() noexcept {
  if (m_size != 0) std::memset(m_bytes_p, 0, m_size);
}

void Kov_ext_number::set_value(std::int64_t value) noexcept {
  const std::size_t low = std::min<std::size_t>(WORD_BYTES, m_size);
  store_bytes(m_bytes_p, low, static_cast<Word>(value));
  if (m_size > low) std::memset(m_bytes_p + low, value < 0 ? 0xFF : 0, m_size - low);
}

void Kov_ext_number::set_value(const Kov_ext_number& other) noexcept {
  const std::size_t copied = std::min(m_size, other.m_size);
  if (copied != 0 && m_bytes_p != other.m_bytes_p) std::memmove(m_bytes_p, other.m_bytes_p, copied);
  if (m_size > copied) std::memset(m_bytes_p + copied, 0, m_size - copied);
}

void Kov_ext_number::set_value(const std::u16string& text) noexcept {
  set_zero();
  std::size_t end = text.size();  // units [0, end) are still unread
  for (std::uint32_t index = 0; index < m_size && end != 0; ++index) {
    while (end != 0 && is_separator(text[end - 1])) --end;
    if (end == 0) break;
    const unsigned low = digit_value(text[end - 1]);
    const unsigned high = end >= 2 ? digit_value(text[end - 2]) : 0;
    m_bytes_p[index] = static_cast<unsigned char>((16 * high + low) & 0xFF);
    end = end >= 2 ? end - 2 : 0;
  }
}

unsigned Kov_ext_number::get_value_str_len() const noexcept { return m_size == 0 ? 0 : 3 * m_size - 1; }

void Kov_ext_number::get_value_str(std::u16string& out) const {
  static constexpr char16_t DIGITS[] = u"0123456789ABCDEF";
  out.clear();
  out.reserve(get_value_str_len());
  for (std::uint32_t i = m_size; i != 0; --i) {
    const unsigned char byte = m_bytes_p[i - 1];
    out.push_back(DIGITS[byte >> 4]);
    out.push_back(DIGITS[byte & 0xF]);
    if (i != 1) out.push_back(u',');
  }
}

void Kov_ext_number::negate() noexcept {
  // W - x: the complement of every byte plus one, the carry running up.
  Word carry = 1;
  for (std::size_t i = 0; i < m_size; i += WORD_BYTES) {
    const std::size_t n = std::min<std::size_t>(WORD_BYTES, m_size - i);
    const Wide s = static_cast<Wide>(~load_bytes(m_bytes_p + i, n)) + carry;
    store_bytes(m_bytes_p + i, n, static_cast<Word>(s));
    carry = static_cast<Word>(s >> 64);
  }
}

void Kov_ext_number::add_any(const Kov_ext_number& other) noexcept {
  add_bytes(m_bytes_p, m_size, other.m_bytes_p, std::min(m_size, other.m_size));
}

void Kov_ext_number::add(int value) noexcept {
  // The value sign-extended over the full width: its own word, then words
  // of all zeros or all ones. Past the first word a zero extension with no
  // carry, or an all-ones extension with a carry, leaves the bytes as they are.
  const Word extension = value < 0 ? ~Word{0} : 0;
  Word operand = static_cast<Word>(static_cast<std::int64_t>(value));
  Word carry = 0;
  for (std::size_t i = 0; i < m_size; i += WORD_BYTES) {
    const std::size_t n = std::min<std::size_t>(WORD_BYTES, m_size - i);
    const Wide s = static_cast<Wide>(load_bytes(m_bytes_p + i, n)) + operand + carry;
    store_bytes(m_bytes_p + i, n, static_cast<Word>(s));
    carry = static_cast<Word>(s >> 64);
    operand = extension;
    if ((extension == 0) == (carry == 0)) break;
  }
}

void Kov_ext_number::sub_any(const Kov_ext_number& other) noexcept {
  sub_bytes(m_bytes_p, m_size, other.m_bytes_p, std::min(m_size, other.m_size));
}

int Kov_ext_number::compare(const Kov_ext_number& other) const noexcept {
  const std::size_t common = std::min(m_size, other.m_size);
  if (m_size > common && !detail::all_zero(m_bytes_p, common, m_size)) return 1;
  if (other.m_size > common && !detail::all_zero(other.m_bytes_p, common, other.m_size)) return -1;
  return compare_equal_length(m_bytes_p, other.m_bytes_p, common);
}

bool Kov_ext_number::is_odd() const noexcept { return m_size != 0 && (m_bytes_p[0] & 1) != 0; }

unsigned kov_ext_num_str_len(const std::u16string& text) noexcept {
  unsigned count = 0;
  std::size_t i = 0;
  while (i < text.size()) {
    const char16_t unit = text[i];
    if (is_separator(unit) || (unit == u'0' && count == 0)) {
      ++i;
    } else {
      ++count;
      i += 2;
    }
  }
  return count;
}

// ---- operators: each calls the operation it stands for ----------------------

Kov_ext_number& Kov_ext_number::operator=(std::int64_t value) noexcept {
  set_value(value);
  return *this;
}

Kov_ext_number& Kov_ext_number::operator=(const Kov_ext_number& other) noexcept {
  set_value(other);
  return *this;
}

Kov_ext_number& Kov_ext_number::operator+=(const Kov_ext_number& other) noexcept {
  add(other);
  return *this;
}

Kov_ext_number& Kov_ext_number::operator+=(int value) noexcept {
  add(value);
  return *this;
}

Kov_ext_number& Kov_ext_number::operator-=(const Kov_ext_number& other) noexcept {
  sub(other);
  return *this;
}

void Kov_ext_number::operator++(int) noexcept { add(1); }
void Kov_ext_number::operator--(int) noexcept { add(-1); }

bool Kov_ext_number::operator<(const Kov_ext_number& other) const noexcept { return compare(other) < 0; }
bool Kov_ext_number::operator<=(const Kov_ext_number& other) const noexcept { return compare(other) <= 0; }
bool Kov_ext_number::operator==(const Kov_ext_number& other) const noexcept { return compare(other) == 0; }
bool Kov_ext_number::operator!=(const Kov_ext_number& other) const noexcept { return compare(other) != 0; }
bool Kov_ext_number::operator>=(const Kov_ext_number& other) const noexcept { return compare(other) >= 0; }
bool Kov_ext_number::operator>(const Kov_ext_number& other) const noexcept { return compare(other) > 0; }

}  // namespace kov
