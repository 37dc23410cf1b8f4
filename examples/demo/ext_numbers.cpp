// Demo section: extended numbers.
//
// Kov_ext_number is an unsigned integer of any byte width over the caller's
// buffer. partial_inverse gives a scaled reciprocal of a divisor d: the
// largest q with q * d below W = 256^size, and d shifted left until its top
// bit is set. The product of q and d then lies just below W, less than d
// away from it, which the demo shows with set_product.
#include <cstdint>
#include <cstdio>

#include "demo.h"
#include "kov/ext_number.h"

namespace demo {

namespace {

constexpr unsigned SIZE = 12;  // 96-bit numbers

void show(const char* label, const kov::Kov_ext_number& number) {
  std::u16string text;
  number.get_value_str(text);
  say(label, text);
}

}  // namespace

void demo_ext_numbers() {
  title("Extended numbers");
  explain("Numbers of 12 bytes (96 bits), written as hexadecimal bytes, most significant\n"
          "first. A reciprocal of a divisor d, then the product of the two.");
  std::uint8_t d_bytes[SIZE];
  std::uint8_t q_bytes[SIZE];
  std::uint8_t shifted_bytes[SIZE];
  std::uint8_t product_bytes[SIZE];
  kov::Kov_ext_number d(SIZE, d_bytes);
  kov::Kov_ext_number q(SIZE, q_bytes);
  kov::Kov_ext_number shifted(SIZE, shifted_bytes);
  kov::Kov_ext_number product(SIZE, product_bytes);

  d = 1000000007;  // a prime, 0x3B9ACA07
  d.partial_inverse(q, shifted);
  show("divisor d (1000000007)", d);
  show("q = floor((W - 1) / d)", q);
  show("d shifted to the top bit", shifted);

  product.set_product(q, d);
  show("q * d", product);
  std::uint8_t gap_bytes[SIZE];
  kov::Kov_ext_number gap(SIZE, gap_bytes);
  gap = product;
  gap.negate();  // W - q * d
  gap.add(-1);
  show("W - 1 - q * d (below d)", gap);
  std::printf("  the remainder is below d: %s\n", gap < d ? "yes" : "no");
}

}  // namespace demo
