// A plain reference for the extended-number tests where GMP is not at hand
// (the Windows build): signed integers of any size, a sign and a magnitude
// of 32-bit limbs (least significant first, no zero limb on top), with the
// textbook algorithms only. It offers what the tests ask of an integer and
// is written for clarity over speed; on Linux the same tests also run with
// it, so that it is itself checked against the library and GMP's results.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <type_traits>
#include <vector>

class Plain_big {
 public:
  using Limbs = std::vector<std::uint32_t>;

  Plain_big() = default;
  template <class T, class = std::enable_if_t<std::is_integral_v<T>>>
  Plain_big(T value) {  // NOLINT: converts like an integer
    unsigned long long magnitude = static_cast<unsigned long long>(value);
    if constexpr (std::is_signed_v<T>) {
      m_negative = value < 0;
      if (m_negative) magnitude = 0ull - magnitude;
    }
    for (; magnitude != 0; magnitude >>= 32) m_limbs.push_back(static_cast<std::uint32_t>(magnitude));
  }

  // The non-negative number whose little-endian bytes are [bytes, bytes + size).
  static Plain_big from_bytes(const unsigned char* bytes, std::size_t size) {
    Plain_big z;
    z.m_limbs.assign((size + 3) / 4, 0);
    for (std::size_t i = 0; i < size; ++i) z.m_limbs[i / 4] |= std::uint32_t{bytes[i]} << (8 * (i % 4));
    trim(z.m_limbs);
    return z;
  }

  // The number of bits of the magnitude; 0 for 0.
  unsigned bit_length() const {
    if (m_limbs.empty()) return 0;
    return static_cast<unsigned>(32 * m_limbs.size() - static_cast<std::size_t>(std::countl_zero(m_limbs.back())));
  }

  friend Plain_big operator-(Plain_big z) {
    if (!z.m_limbs.empty()) z.m_negative = !z.m_negative;
    return z;
  }
  friend Plain_big operator+(const Plain_big& a, const Plain_big& b) {
    if (a.m_negative == b.m_negative) return make(add(a.m_limbs, b.m_limbs), a.m_negative);
    if (compare_limbs(a.m_limbs, b.m_limbs) >= 0) return make(sub(a.m_limbs, b.m_limbs), a.m_negative);
    return make(sub(b.m_limbs, a.m_limbs), b.m_negative);
  }
  friend Plain_big operator-(const Plain_big& a, const Plain_big& b) { return a + -b; }
  friend Plain_big operator*(const Plain_big& a, const Plain_big& b) {
    return make(multiply(a.m_limbs, b.m_limbs), a.m_negative != b.m_negative);
  }
  // The quotient rounded toward zero.
  friend Plain_big operator/(const Plain_big& a, const Plain_big& b) {
    if (b.m_limbs.empty()) throw std::domain_error("division by zero");
    return make(divide(a.m_limbs, b.m_limbs), a.m_negative != b.m_negative);
  }
  friend Plain_big operator<<(const Plain_big& a, unsigned long bits) {
    if (a.m_limbs.empty()) return a;
    Limbs r(a.m_limbs.size() + bits / 32 + 1, 0);
    const unsigned s = bits % 32;
    for (std::size_t i = 0; i < a.m_limbs.size(); ++i) {
      const std::uint64_t moved = std::uint64_t{a.m_limbs[i]} << s;
      r[i + bits / 32] |= static_cast<std::uint32_t>(moved);
      r[i + bits / 32 + 1] |= static_cast<std::uint32_t>(moved >> 32);
    }
    return make(std::move(r), a.m_negative);
  }
  // Bitwise and in two's complement; `mask` must not be negative.
  friend Plain_big operator&(const Plain_big& a, const Plain_big& mask) {
    if (mask.m_negative) throw std::domain_error("negative mask");
    Limbs r(mask.m_limbs.size(), 0);
    std::uint64_t carry = 1;  // -m is ~m + 1
    for (std::size_t i = 0; i < r.size(); ++i) {
      std::uint32_t limb = i < a.m_limbs.size() ? a.m_limbs[i] : 0;
      if (a.m_negative) {
        const std::uint64_t sum = std::uint64_t{static_cast<std::uint32_t>(~limb)} + carry;
        limb = static_cast<std::uint32_t>(sum);
        carry = sum >> 32;
      }
      r[i] = limb & mask.m_limbs[i];
    }
    return make(std::move(r), false);
  }

  friend int cmp(const Plain_big& a, const Plain_big& b) {
    if (a.m_negative != b.m_negative) return a.m_negative ? -1 : 1;
    const int order = compare_limbs(a.m_limbs, b.m_limbs);
    return a.m_negative ? -order : order;
  }
  friend bool operator==(const Plain_big& a, const Plain_big& b) { return cmp(a, b) == 0; }
  friend bool operator!=(const Plain_big& a, const Plain_big& b) { return cmp(a, b) != 0; }

  // Hexadecimal, for failure messages.
  friend std::ostream& operator<<(std::ostream& out, const Plain_big& z) {
    if (z.m_limbs.empty()) return out << "0x0";
    out << (z.m_negative ? "-0x" : "0x");
    static const char digits[] = "0123456789abcdef";
    bool leading = true;
    for (std::size_t i = z.m_limbs.size(); i-- > 0;) {
      for (int shift = 28; shift >= 0; shift -= 4) {
        const unsigned digit = (z.m_limbs[i] >> shift) & 0xF;
        if (leading && digit == 0) continue;
        leading = false;
        out << digits[digit];
      }
    }
    return out;
  }

 private:
  static Plain_big make(Limbs limbs, bool negative) {
    Plain_big z;
    trim(limbs);
    z.m_limbs = std::move(limbs);
    z.m_negative = negative && !z.m_limbs.empty();
    return z;
  }
  static void trim(Limbs& limbs) {
    while (!limbs.empty() && limbs.back() == 0) limbs.pop_back();
  }
  static int compare_limbs(const Limbs& a, const Limbs& b) {
    if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
    for (std::size_t i = a.size(); i-- > 0;) {
      if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    }
    return 0;
  }
  static Limbs add(const Limbs& a, const Limbs& b) {
    Limbs r(std::max(a.size(), b.size()) + 1, 0);
    std::uint64_t carry = 0;
    for (std::size_t i = 0; i + 1 < r.size(); ++i) {
      const std::uint64_t sum = carry + (i < a.size() ? a[i] : 0) + (i < b.size() ? b[i] : 0);
      r[i] = static_cast<std::uint32_t>(sum);
      carry = sum >> 32;
    }
    r.back() = static_cast<std::uint32_t>(carry);
    return r;
  }
  // a - b for a >= b.
  static Limbs sub(const Limbs& a, const Limbs& b) {
    Limbs r(a.size(), 0);
    std::int64_t borrow = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      std::int64_t difference = std::int64_t{a[i]} - (i < b.size() ? b[i] : 0) - borrow;
      borrow = difference < 0;
      if (difference < 0) difference += std::int64_t{1} << 32;
      r[i] = static_cast<std::uint32_t>(difference);
    }
    return r;
  }
  static Limbs multiply(const Limbs& a, const Limbs& b) {
    Limbs r(a.size() + b.size(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
      std::uint64_t carry = 0;
      for (std::size_t j = 0; j < b.size(); ++j) {
        const std::uint64_t t = std::uint64_t{a[i]} * b[j] + r[i + j] + carry;
        r[i + j] = static_cast<std::uint32_t>(t);
        carry = t >> 32;
      }
      r[i + b.size()] = static_cast<std::uint32_t>(carry);
    }
    return r;
  }
  // floor(u / v) of magnitudes, v not 0: long division, one 32-bit digit of
  // the quotient per step, each estimated from the top two limbs of the
  // remainder over the top limb of the divisor shifted to its top bit, then
  // corrected (at most twice down before the subtraction, once up after).
  static Limbs divide(Limbs u, Limbs v) {
    trim(u);
    trim(v);
    if (compare_limbs(u, v) < 0) return {};
    const std::size_t n = v.size(), m = u.size() - n;
    Limbs q(m + 1, 0);
    if (n == 1) {
      std::uint64_t rest = 0;
      for (std::size_t i = u.size(); i-- > 0;) {
        const std::uint64_t current = rest << 32 | u[i];
        q[i] = static_cast<std::uint32_t>(current / v[0]);
        rest = current % v[0];
      }
      return q;
    }
    const int s = std::countl_zero(v.back());
    Limbs vn(n), un(u.size() + 1);
    for (std::size_t i = n; i-- > 0;) {
      vn[i] = v[i] << s | (s != 0 && i > 0 ? v[i - 1] >> (32 - s) : 0);
    }
    un[u.size()] = s == 0 ? 0 : u.back() >> (32 - s);
    for (std::size_t i = u.size(); i-- > 0;) {
      un[i] = u[i] << s | (s != 0 && i > 0 ? u[i - 1] >> (32 - s) : 0);
    }
    constexpr std::uint64_t BASE = std::uint64_t{1} << 32;
    for (std::size_t j = m + 1; j-- > 0;) {
      const std::uint64_t top = std::uint64_t{un[j + n]} << 32 | un[j + n - 1];
      std::uint64_t qhat = top / vn[n - 1], rhat = top % vn[n - 1];
      while (qhat >= BASE || qhat * vn[n - 2] > (rhat << 32 | un[j + n - 2])) {
        --qhat;
        rhat += vn[n - 1];
        if (rhat >= BASE) break;
      }
      std::int64_t borrow = 0, t = 0;
      for (std::size_t i = 0; i < n; ++i) {
        const std::uint64_t p = qhat * vn[i];
        t = std::int64_t{un[i + j]} - borrow - static_cast<std::int64_t>(p & 0xFFFFFFFFu);
        un[i + j] = static_cast<std::uint32_t>(t);
        borrow = static_cast<std::int64_t>(p >> 32) - (t >> 32);
      }
      t = std::int64_t{un[j + n]} - borrow;
      un[j + n] = static_cast<std::uint32_t>(t);
      q[j] = static_cast<std::uint32_t>(qhat);
      if (t < 0) {  // one too many: add the divisor back
        --q[j];
        std::uint64_t carry = 0;
        for (std::size_t i = 0; i < n; ++i) {
          const std::uint64_t sum = std::uint64_t{un[i + j]} + vn[i] + carry;
          un[i + j] = static_cast<std::uint32_t>(sum);
          carry = sum >> 32;
        }
        un[j + n] += static_cast<std::uint32_t>(carry);
      }
    }
    return q;
  }

  Limbs m_limbs;
  bool m_negative = false;
};
