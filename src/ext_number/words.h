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

// On x86-64 the carry chains use the processor's add-with-carry: through the
// compiler's intrinsics, and for blocks of words through inline assembly where
// the compiler accepts GNU syntax. Defining KOV_EXT_NUMBER_PORTABLE builds the
// plain C++ paths instead, so that they can be tested on x86-64 too.
#if (defined(__x86_64__) || defined(_M_X64)) && !defined(KOV_EXT_NUMBER_PORTABLE)
#  include <immintrin.h>
#  define KOV_EXT_NUMBER_CARRY_INTRINSICS 1
#  if defined(__GNUC__)
#    include <cpuid.h>
#    define KOV_EXT_NUMBER_CARRY_ASSEMBLY 1
#  endif
#endif

namespace kov::detail {

static_assert(std::endian::native == std::endian::little,
              "extended numbers map bytes to words in little-endian order");

// unsigned long long rather than std::uint64_t: it is the type the carry
// intrinsics write through, on every platform.
using Word = unsigned long long;
static_assert(sizeof(Word) == 8);
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

// a + b + carry_in (0 or 1) into `sum`; returns the carry out. On x86-64 the
// compiler's carry intrinsic, so that a chain of these becomes add-with-carry
// instructions.
inline unsigned char add_with_carry(unsigned char carry_in, Word a, Word b, Word& sum) noexcept {
#if defined(KOV_EXT_NUMBER_CARRY_INTRINSICS)
  return _addcarry_u64(carry_in, a, b, &sum);
#else
  const Word partial = a + b;
  sum = partial + carry_in;
  return static_cast<unsigned char>((partial < a) | (sum < partial));
#endif
}

// a - b - borrow_in (0 or 1) into `difference`; returns the borrow out.
inline unsigned char sub_with_borrow(unsigned char borrow_in, Word a, Word b, Word& difference) noexcept {
#if defined(KOV_EXT_NUMBER_CARRY_INTRINSICS)
  return _subborrow_u64(borrow_in, a, b, &difference);
#else
  const Word partial = a - b;
  difference = partial - borrow_in;
  return static_cast<unsigned char>((a < b) | (partial < borrow_in));
#endif
}

// r[0, 32 * blocks) += a[0, 32 * blocks) plus `carry` (0 or 1), four words a
// step; returns the carry out. `blocks` is at least 1. On x86-64 one chain of
// add-with-carry instructions whose carry never leaves the flags: the
// compilers we build with spill the intrinsic's result through memory.
inline unsigned char add_blocks(unsigned char* r, const unsigned char* a, std::size_t blocks,
                                unsigned char carry) noexcept {
#if defined(KOV_EXT_NUMBER_CARRY_ASSEMBLY)
  __asm__ volatile(
      "negb %[c]\n\t"  // CF = carry
      "1:\n\t"
      "movq (%[r]), %%r8\n\t"
      "movq 8(%[r]), %%r9\n\t"
      "movq 16(%[r]), %%r10\n\t"
      "movq 24(%[r]), %%r11\n\t"
      "adcq (%[a]), %%r8\n\t"
      "adcq 8(%[a]), %%r9\n\t"
      "adcq 16(%[a]), %%r10\n\t"
      "adcq 24(%[a]), %%r11\n\t"
      "movq %%r8, (%[r])\n\t"
      "movq %%r9, 8(%[r])\n\t"
      "movq %%r10, 16(%[r])\n\t"
      "movq %%r11, 24(%[r])\n\t"
      "leaq 32(%[r]), %[r]\n\t"  // lea and dec leave CF alone
      "leaq 32(%[a]), %[a]\n\t"
      "decq %[n]\n\t"
      "jnz 1b\n\t"
      "setc %[c]"
      : [r] "+r"(r), [a] "+r"(a), [n] "+r"(blocks), [c] "+q"(carry)
      :
      : "r8", "r9", "r10", "r11", "cc", "memory");
  return carry;
#else
  for (; blocks != 0; --blocks, r += 4 * WORD_BYTES, a += 4 * WORD_BYTES) {
    for (std::size_t k = 0; k < 4 * WORD_BYTES; k += WORD_BYTES) {
      Word sum;
      carry = add_with_carry(carry, load_word(r + k), load_word(a + k), sum);
      store_word(r + k, sum);
    }
  }
  return carry;
#endif
}

// r[0, 32 * blocks) -= a[0, 32 * blocks) and `borrow` (0 or 1); returns the
// borrow out. `blocks` is at least 1.
inline unsigned char sub_blocks(unsigned char* r, const unsigned char* a, std::size_t blocks,
                                unsigned char borrow) noexcept {
#if defined(KOV_EXT_NUMBER_CARRY_ASSEMBLY)
  __asm__ volatile(
      "negb %[c]\n\t"  // CF = borrow
      "1:\n\t"
      "movq (%[r]), %%r8\n\t"
      "movq 8(%[r]), %%r9\n\t"
      "movq 16(%[r]), %%r10\n\t"
      "movq 24(%[r]), %%r11\n\t"
      "sbbq (%[a]), %%r8\n\t"
      "sbbq 8(%[a]), %%r9\n\t"
      "sbbq 16(%[a]), %%r10\n\t"
      "sbbq 24(%[a]), %%r11\n\t"
      "movq %%r8, (%[r])\n\t"
      "movq %%r9, 8(%[r])\n\t"
      "movq %%r10, 16(%[r])\n\t"
      "movq %%r11, 24(%[r])\n\t"
      "leaq 32(%[r]), %[r]\n\t"
      "leaq 32(%[a]), %[a]\n\t"
      "decq %[n]\n\t"
      "jnz 1b\n\t"
      "setc %[c]"
      : [r] "+r"(r), [a] "+r"(a), [n] "+r"(blocks), [c] "+q"(borrow)
      :
      : "r8", "r9", "r10", "r11", "cc", "memory");
  return borrow;
#else
  for (; blocks != 0; --blocks, r += 4 * WORD_BYTES, a += 4 * WORD_BYTES) {
    for (std::size_t k = 0; k < 4 * WORD_BYTES; k += WORD_BYTES) {
      Word difference;
      borrow = sub_with_borrow(borrow, load_word(r + k), load_word(a + k), difference);
      store_word(r + k, difference);
    }
  }
  return borrow;
#endif
}

#if defined(KOV_EXT_NUMBER_CARRY_ASSEMBLY)
// True when the processor has the flag-free multiply (BMI2) and the two
// independent carry chains (ADX) that the multiply-add rows use. A fixed fact
// of the machine, asked of the processor once.
inline bool has_multiply_carry_chains() noexcept {
  static const bool has = [] {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) == 0) return false;
    return (ebx & (1u << 8)) != 0 && (ebx & (1u << 19)) != 0;  // BMI2, ADX
  }();
  return has;
}

// r[0, 8 * n) += factor * a[0, 8 * n); returns the carry word. Two carry
// chains run side by side: the overflow flag adds each product's high word
// to the next low word, the carry flag adds the result to r. The n % 4
// single words come first, then blocks of four, all in one pass of the
// flags. `n` is at least 1; only for processors that
// has_multiply_carry_chains() accepts.
inline Word addmul_chains(unsigned char* r, const unsigned char* a, std::size_t n, Word factor) noexcept {
  Word low, high, carry = 0;
  std::size_t count = n % 4;
  __asm__ volatile(
      "xorl %k[lo], %k[lo]\n\t"  // CF = OF = 0
      "jrcxz 3f\n\t"
      "4:\n\t"  // single words
      "mulx (%[a]), %[lo], %[hi]\n\t"
      "adox %[c], %[lo]\n\t"
      "adcx (%[r]), %[lo]\n\t"
      "movq %[lo], (%[r])\n\t"
      "movq %[hi], %[c]\n\t"
      "leaq 8(%[a]), %[a]\n\t"  // lea and mov leave both flags alone; dec would not
      "leaq 8(%[r]), %[r]\n\t"
      "leaq -1(%[n]), %[n]\n\t"
      "jrcxz 3f\n\t"
      "jmp 4b\n\t"
      "3:\n\t"
      "movq %[blocks], %[n]\n\t"
      "jrcxz 2f\n\t"
      "1:\n\t"  // blocks of four words
      "mulx (%[a]), %[lo], %[hi]\n\t"
      "adox %[c], %[lo]\n\t"
      "adcx (%[r]), %[lo]\n\t"
      "movq %[lo], (%[r])\n\t"
      "mulx 8(%[a]), %[lo], %[c]\n\t"
      "adox %[hi], %[lo]\n\t"
      "adcx 8(%[r]), %[lo]\n\t"
      "movq %[lo], 8(%[r])\n\t"
      "mulx 16(%[a]), %[lo], %[hi]\n\t"
      "adox %[c], %[lo]\n\t"
      "adcx 16(%[r]), %[lo]\n\t"
      "movq %[lo], 16(%[r])\n\t"
      "mulx 24(%[a]), %[lo], %[c]\n\t"
      "adox %[hi], %[lo]\n\t"
      "adcx 24(%[r]), %[lo]\n\t"
      "movq %[lo], 24(%[r])\n\t"
      "leaq 32(%[a]), %[a]\n\t"
      "leaq 32(%[r]), %[r]\n\t"
      "leaq -1(%[n]), %[n]\n\t"
      "jrcxz 2f\n\t"
      "jmp 1b\n\t"
      "2:\n\t"
      "movl $0, %k[lo]\n\t"
      "adox %[lo], %[c]\n\t"
      "adcx %[lo], %[c]"
      : [r] "+r"(r), [a] "+r"(a), [n] "+c"(count), [c] "+r"(carry), [lo] "=&r"(low), [hi] "=&r"(high)
      : "d"(factor), [blocks] "r"(n / 4)
      : "cc", "memory");
  return carry;
}

// r[0, 32 * blocks) -= factor * a[0, 32 * blocks) + borrow; returns the
// borrow word. Done as r = ~(~r + factor * a): the complement turns the
// subtraction into the multiply-add of addmul_chains, whose carry out is
// then the borrow. Same conditions as addmul_chains.
inline Word submul_blocks(unsigned char* r, const unsigned char* a, std::size_t blocks, Word factor,
                          Word borrow) noexcept {
  Word low, high, word;
  __asm__ volatile(
      "xorl %k[lo], %k[lo]\n\t"  // CF = OF = 0
      "1:\n\t"
      "mulx (%[a]), %[lo], %[hi]\n\t"
      "movq (%[r]), %[w]\n\t"
      "notq %[w]\n\t"  // not leaves the flags alone
      "adox %[c], %[lo]\n\t"
      "adcx %[w], %[lo]\n\t"
      "notq %[lo]\n\t"
      "movq %[lo], (%[r])\n\t"
      "mulx 8(%[a]), %[lo], %[c]\n\t"
      "movq 8(%[r]), %[w]\n\t"
      "notq %[w]\n\t"
      "adox %[hi], %[lo]\n\t"
      "adcx %[w], %[lo]\n\t"
      "notq %[lo]\n\t"
      "movq %[lo], 8(%[r])\n\t"
      "mulx 16(%[a]), %[lo], %[hi]\n\t"
      "movq 16(%[r]), %[w]\n\t"
      "notq %[w]\n\t"
      "adox %[c], %[lo]\n\t"
      "adcx %[w], %[lo]\n\t"
      "notq %[lo]\n\t"
      "movq %[lo], 16(%[r])\n\t"
      "mulx 24(%[a]), %[lo], %[c]\n\t"
      "movq 24(%[r]), %[w]\n\t"
      "notq %[w]\n\t"
      "adox %[hi], %[lo]\n\t"
      "adcx %[w], %[lo]\n\t"
      "notq %[lo]\n\t"
      "movq %[lo], 24(%[r])\n\t"
      "leaq 32(%[a]), %[a]\n\t"
      "leaq 32(%[r]), %[r]\n\t"
      "leaq -1(%[n]), %[n]\n\t"
      "jrcxz 2f\n\t"
      "jmp 1b\n\t"
      "2:\n\t"
      "movl $0, %k[lo]\n\t"
      "adox %[lo], %[c]\n\t"
      "adcx %[lo], %[c]"
      : [r] "+r"(r), [a] "+r"(a), [n] "+c"(blocks), [c] "+r"(borrow), [lo] "=&r"(low), [hi] "=&r"(high),
        [w] "=&r"(word)
      : "d"(factor)
      : "cc", "memory");
  return borrow;
}
#endif

// r[0, 8 * n) -= factor * a[0, 8 * n), full words at any alignment; returns
// the borrow word.
inline Word submul_row(unsigned char* r, const unsigned char* a, std::size_t n, Word factor) noexcept {
  Word borrow = 0;
  std::size_t j = 0;
#if defined(KOV_EXT_NUMBER_CARRY_ASSEMBLY)
  const bool blocks = n >= 4 && has_multiply_carry_chains();
  const std::size_t head = blocks ? n % 4 : n;
#else
  const std::size_t head = n;
#endif
  for (; j < head; ++j) {
    const Wide product = static_cast<Wide>(factor) * load_word(a + WORD_BYTES * j) + borrow;
    const auto low = static_cast<Word>(product);
    const Word before = load_word(r + WORD_BYTES * j);
    store_word(r + WORD_BYTES * j, before - low);
    borrow = static_cast<Word>(product >> 64) + (before < low);
  }
#if defined(KOV_EXT_NUMBER_CARRY_ASSEMBLY)
  if (blocks) borrow = submul_blocks(r + WORD_BYTES * j, a + WORD_BYTES * j, n / 4, factor, borrow);
#endif
  return borrow;
}

// r[0, 8 * n) += factor * a[0, 8 * n), full words at any alignment; returns
// the carry word. The two buffers do not overlap unless they are the same.
inline Word addmul_row(unsigned char* r, const unsigned char* a, std::size_t n, Word factor) noexcept {
  Word carry = 0;
  std::size_t j = 0;
#if defined(KOV_EXT_NUMBER_CARRY_ASSEMBLY)
  if (n != 0 && has_multiply_carry_chains()) return addmul_chains(r, a, n, factor);
#endif
  for (; j + 2 <= n; j += 2) {
    const Wide t0 = static_cast<Wide>(factor) * load_word(a + WORD_BYTES * j) + load_word(r + WORD_BYTES * j) + carry;
    const Wide t1 = static_cast<Wide>(factor) * load_word(a + WORD_BYTES * (j + 1)) +
                    load_word(r + WORD_BYTES * (j + 1)) + static_cast<Word>(t0 >> 64);
    store_word(r + WORD_BYTES * j, static_cast<Word>(t0));
    store_word(r + WORD_BYTES * (j + 1), static_cast<Word>(t1));
    carry = static_cast<Word>(t1 >> 64);
  }
  if (j < n) {
    const Wide t = static_cast<Wide>(factor) * load_word(a + WORD_BYTES * j) + load_word(r + WORD_BYTES * j) + carry;
    store_word(r + WORD_BYTES * j, static_cast<Word>(t));
    carry = static_cast<Word>(t >> 64);
  }
  return carry;
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
