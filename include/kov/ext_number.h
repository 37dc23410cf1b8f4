// Kov_ext_number: unsigned integers of any byte width over a caller's buffer.
//
// A number is a view of `size` bytes that the caller owns, least significant
// byte first. Its value is the sum of byte i times 256 to the power i, so it
// always lies between 0 and W - 1 with W = 256^size. Every operation that
// changes a number works modulo its own W: overflow wraps without a report,
// and negative quantities appear as their two's complement. Comparisons treat
// both sides as unsigned.
//
//   std::uint8_t a_bytes[16], b_bytes[4];
//   kov::Kov_ext_number a(16, a_bytes), b(4, b_bytes);
//   a = -1;                      // sixteen bytes of 0xFF
//   b = 7;
//   a += b;                      // wraps to 6
//   std::u16string text;
//   a.get_value_str(text);       // u"00,00,...,00,06"
//
// Operands may have any sizes: an operand is taken as its unsigned value
// (never sign-extended), and the bytes it holds beyond the receiving number's
// size fall out of the modulo.
//
// The object stores the size and the pointer and nothing else; it neither
// owns nor frees the buffer, which must outlive it. Copying the object gives
// a second view of the same bytes; the assignment operators copy the value.
// Only partial_inverse may allocate: one working buffer for the call, taken
// from the heap for numbers of more than 128 bytes. set_product and
// add_product of large numbers (factors of 320 bytes and more into a
// receiver of 1280 bytes and more) use about 112 KiB of stack instead, and
// up to 156 KiB when the receiver and both factors have one size of at most
// 16 KiB.
//
// Caller's limits: is_odd, shift_maximize and partial_inverse need a size of
// at least 1; the first and second numbers of partial_inverse have this
// number's size; the receiver of set_product, add_product, shift_add and
// partial_inverse shares no buffer with an operand (add and sub may take the
// receiver itself as operand). The class takes no lock.
//
// add and sub of two numbers of 8 or 16 bytes each run inline from this
// header, so that the call into the library does not cost more than the
// arithmetic; every other case goes to the library. Both give the same
// result, and the library exports add and sub as well.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "kov/export.h"

namespace kov {

class KOV_EXPORT Kov_ext_number {
 public:
  // A number of `size` bytes over `bytes`; no byte is touched, so the value is
  // whatever the buffer holds. The changing operations write through the
  // pointer: over truly constant bytes only the const operations may be used.
  Kov_ext_number(unsigned size, const unsigned char* bytes) noexcept;
  // A second view of the same buffer.
  Kov_ext_number(const Kov_ext_number& other) noexcept = default;

  // All bytes 0.
  void set_zero() noexcept;
  // `value` modulo W, sign-extended: a negative value fills the bytes above
  // its own eight with 0xFF.
  void set_value(std::int64_t value) noexcept;
  // The value of `other` modulo W: its bytes copied, the rest set to 0.
  void set_value(const Kov_ext_number& other) noexcept;
  // The number written in `text`: hexadecimal digit pairs read from the right
  // end, with commas, spaces and tabs allowed before each pair. Not validated:
  // a digit outside 0-9, A-F, a-f counts as 0xFFFF in (16 * high + low) mod 256.
  // Surplus pairs on the left are lost; missing ones leave high bytes 0. A
  // lone digit at the left end reads as if a "0" stood before it.
  void set_value(const std::u16string& text) noexcept;

  // Length of the text form: 3 * size - 1, or 0 for size 0.
  unsigned get_value_str_len() const noexcept;
  // Replaces `out` with the text form: two upper-case hexadecimal digits per
  // byte, most significant first, one comma between bytes ("01,02,FF").
  void get_value_str(std::u16string& out) const;

  // this = (W - this) mod W.
  void negate() noexcept;
  // this = (this + other) mod W.
  KOV_EXPORT_INLINE void add(const Kov_ext_number& other) noexcept {
    if (is_small_pair(other)) {
      add_small(other.m_bytes_p);
    } else {
      add_any(other);
    }
  }
  // this = (this + value) mod W, with a negative `value` as its two's
  // complement over the full width.
  void add(int value) noexcept;
  // this = (this - other) mod W.
  KOV_EXPORT_INLINE void sub(const Kov_ext_number& other) noexcept {
    if (is_small_pair(other)) {
      sub_small(other.m_bytes_p);
    } else {
      sub_any(other);
    }
  }
  // this = (a * b) mod W.
  void set_product(const Kov_ext_number& a, const Kov_ext_number& b) noexcept;
  // this = (this + a * b) mod W.
  void add_product(const Kov_ext_number& a, const Kov_ext_number& b) noexcept;

  // The scaled reciprocal of this number d: `first` receives floor((W - 1) / d),
  // or all bits set for d = 0; `second` receives d shifted left until its top
  // bit is set (0 for d = 0).
  void partial_inverse(Kov_ext_number& first, Kov_ext_number& second) const;

  // -1, 0 or 1 as this is less than, equal to or greater than
  // other * 2^shift, the shifted value taken at full width.
  int shift_compare(std::uint32_t shift, const Kov_ext_number& other) const noexcept;
  // True when this + other * 2^shift is less than W.
  bool shift_add_test(std::uint32_t shift, const Kov_ext_number& other) const noexcept;
  // Shifts this left (modulo W) until the top bit of its first `k` bytes is
  // set, and returns the shift: 8 * k minus the bit length of those bytes'
  // value (8 * k when they are all 0). `k` lies between 1 and size.
  unsigned shift_maximize(unsigned k) noexcept;
  // this = (this + 2^shift) mod W; a shift of 8 * size or more changes nothing.
  void shift_add_bit(std::uint32_t shift) noexcept;
  // this = (this + other * 2^shift) mod W.
  void shift_add(std::uint32_t shift, const Kov_ext_number& other) noexcept;

  // -1, 0 or 1 as this is less than, equal to or greater than other, by
  // value: numbers of different sizes with equal values compare equal.
  int compare(const Kov_ext_number& other) const noexcept;
  // The lowest bit.
  bool is_odd() const noexcept;

  // set_value.
  Kov_ext_number& operator=(std::int64_t value) noexcept;
  Kov_ext_number& operator=(const Kov_ext_number& other) noexcept;
  // add.
  Kov_ext_number& operator+=(const Kov_ext_number& other) noexcept;
  Kov_ext_number& operator+=(int value) noexcept;
  // sub.
  Kov_ext_number& operator-=(const Kov_ext_number& other) noexcept;
  // add(1) and add(-1); they return nothing.
  void operator++(int) noexcept;
  void operator--(int) noexcept;
  // compare, tested against 0.
  bool operator<(const Kov_ext_number& other) const noexcept;
  bool operator<=(const Kov_ext_number& other) const noexcept;
  bool operator==(const Kov_ext_number& other) const noexcept;
  bool operator!=(const Kov_ext_number& other) const noexcept;
  bool operator>=(const Kov_ext_number& other) const noexcept;
  bool operator>(const Kov_ext_number& other) const noexcept;

 private:
  // True when this and `other` have the same size of 8 or 16 bytes: one or
  // two whole words, added inline.
  bool is_small_pair(const Kov_ext_number& other) const noexcept {
    return std::endian::native == std::endian::little && m_size == other.m_size &&
           (m_size == 8 || m_size == 16);
  }
  // this += / -= the 8 or 16 bytes at `a`. Every word of both sides is
  // read before any is written, so `a` may be this number's own buffer.
  void add_small(const unsigned char* a) noexcept {
    std::uint64_t x0, y0;
    std::memcpy(&x0, m_bytes_p, 8);
    std::memcpy(&y0, a, 8);
    const std::uint64_t low = x0 + y0;
    if (m_size == 16) {
      std::uint64_t x1, y1;
      std::memcpy(&x1, m_bytes_p + 8, 8);
      std::memcpy(&y1, a + 8, 8);
      const std::uint64_t high = x1 + y1 + (low < x0 ? 1 : 0);
      std::memcpy(m_bytes_p + 8, &high, 8);
    }
    std::memcpy(m_bytes_p, &low, 8);
  }
  void sub_small(const unsigned char* a) noexcept {
    std::uint64_t x0, y0;
    std::memcpy(&x0, m_bytes_p, 8);
    std::memcpy(&y0, a, 8);
    const std::uint64_t low = x0 - y0;
    if (m_size == 16) {
      std::uint64_t x1, y1;
      std::memcpy(&x1, m_bytes_p + 8, 8);
      std::memcpy(&y1, a + 8, 8);
      const std::uint64_t high = x1 - y1 - (x0 < y0 ? 1 : 0);
      std::memcpy(m_bytes_p + 8, &high, 8);
    }
    std::memcpy(m_bytes_p, &low, 8);
  }
  // add and sub for every size, in the library.
  void add_any(const Kov_ext_number& other) noexcept;
  void sub_any(const Kov_ext_number& other) noexcept;

  // Bytes of the number, fixed for the object's life.
  std::uint32_t m_size;
  // The caller's buffer of m_size bytes, least significant first.
  unsigned char* m_bytes_p;
};

// How many bytes the number written in `text` needs: the digit pairs left
// after leading zeros, with separators skipped. 0 for zeros only and for the
// empty text.
KOV_EXPORT unsigned kov_ext_num_str_len(const std::u16string& text) noexcept;

}  // namespace kov
