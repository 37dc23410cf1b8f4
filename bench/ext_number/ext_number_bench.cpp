// Kov_ext_number against GMP's low-level mpn_ functions, on the same random
// operands (fixed seed) at 16 bytes, 1, 4 and 16 KiB.
//
// Each operation has a kov_ and a gmp_ benchmark with the same argument, the
// size in bytes:
//   add, sub          in place, a += b / a -= b    vs mpn_add_n / mpn_sub_n
//   set_product       r = a * b modulo W (the low half only)
//                                                   vs mpn_mul_n (full product)
//   compare           equal operands, so every word is read
//                                                   vs mpn_cmp
//   partial_inverse   floor((W - 1) / d), d of half the size
//                                                   vs mpn_tdiv_qr of W - 1 by d
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "kov/ext_number.h"

namespace {

// Operands of `bytes` bytes, held both as bytes and as GMP limbs.
struct Operands {
  explicit Operands(std::size_t bytes) : size(bytes), limbs(bytes / sizeof(mp_limb_t)) {
    std::mt19937_64 engine(bytes);
    auto fill = [&](std::vector<mp_limb_t>& v) {
      v.resize(limbs);
      for (auto& limb : v) limb = engine();
    };
    fill(a);
    fill(b);
    // The divisor: half the size, its top limb non-zero.
    divisor.assign(limbs, 0);
    divisor_limbs = limbs / 2 == 0 ? 1 : limbs / 2;
    for (std::size_t i = 0; i < divisor_limbs; ++i) divisor[i] = engine();
    divisor[divisor_limbs - 1] |= mp_limb_t{1} << 40;
    all_ones.assign(limbs, ~mp_limb_t{0});
    result.assign(2 * limbs + 2, 0);
    remainder.assign(limbs, 0);
  }

  unsigned char* bytes(std::vector<mp_limb_t>& v) { return reinterpret_cast<unsigned char*>(v.data()); }

  std::size_t size;
  std::size_t limbs;
  std::vector<mp_limb_t> a, b, divisor, all_ones, result, remainder;
  std::size_t divisor_limbs = 0;
};

void kov_add(benchmark::State& state) {
  Operands op(state.range(0));
  kov::Kov_ext_number a(op.size, op.bytes(op.a)), b(op.size, op.bytes(op.b));
  for (auto _ : state) {
    a.add(b);
    benchmark::ClobberMemory();
  }
}

void gmp_add(benchmark::State& state) {
  Operands op(state.range(0));
  for (auto _ : state) {
    mpn_add_n(op.a.data(), op.a.data(), op.b.data(), op.limbs);
    benchmark::ClobberMemory();
  }
}

void kov_sub(benchmark::State& state) {
  Operands op(state.range(0));
  kov::Kov_ext_number a(op.size, op.bytes(op.a)), b(op.size, op.bytes(op.b));
  for (auto _ : state) {
    a.sub(b);
    benchmark::ClobberMemory();
  }
}

void gmp_sub(benchmark::State& state) {
  Operands op(state.range(0));
  for (auto _ : state) {
    mpn_sub_n(op.a.data(), op.a.data(), op.b.data(), op.limbs);
    benchmark::ClobberMemory();
  }
}

void kov_set_product(benchmark::State& state) {
  Operands op(state.range(0));
  kov::Kov_ext_number a(op.size, op.bytes(op.a)), b(op.size, op.bytes(op.b)), r(op.size, op.bytes(op.result));
  for (auto _ : state) {
    r.set_product(a, b);
    benchmark::ClobberMemory();
  }
}

void gmp_set_product(benchmark::State& state) {
  Operands op(state.range(0));
  for (auto _ : state) {
    mpn_mul_n(op.result.data(), op.a.data(), op.b.data(), op.limbs);
    benchmark::ClobberMemory();
  }
}

void kov_compare(benchmark::State& state) {
  Operands op(state.range(0));
  kov::Kov_ext_number a(op.size, op.bytes(op.a)), b(op.size, op.bytes(op.b));
  b = a;
  for (auto _ : state) benchmark::DoNotOptimize(a.compare(b));
}

void gmp_compare(benchmark::State& state) {
  Operands op(state.range(0));
  op.b = op.a;
  for (auto _ : state) benchmark::DoNotOptimize(mpn_cmp(op.a.data(), op.b.data(), op.limbs));
}

void kov_partial_inverse(benchmark::State& state) {
  Operands op(state.range(0));
  std::vector<mp_limb_t> second(op.limbs);
  kov::Kov_ext_number d(op.size, op.bytes(op.divisor)), first(op.size, op.bytes(op.result)),
      normalised(op.size, op.bytes(second));
  for (auto _ : state) {
    d.partial_inverse(first, normalised);
    benchmark::ClobberMemory();
  }
}

void gmp_partial_inverse(benchmark::State& state) {
  Operands op(state.range(0));
  for (auto _ : state) {
    mpn_tdiv_qr(op.result.data(), op.remainder.data(), 0, op.all_ones.data(), op.limbs, op.divisor.data(),
                op.divisor_limbs);
    benchmark::ClobberMemory();
  }
}

// kov and GMP side by side at each size; run with
// --benchmark_enable_random_interleaving=true so that a busy moment of the
// machine does not fall on one side only.
#define KOV_BENCH_PAIR(name)                                              \
  BENCHMARK(kov_##name)->Arg(16)->Arg(1024)->Arg(4096)->Arg(16384);       \
  BENCHMARK(gmp_##name)->Arg(16)->Arg(1024)->Arg(4096)->Arg(16384)

KOV_BENCH_PAIR(add);
KOV_BENCH_PAIR(sub);
KOV_BENCH_PAIR(set_product);
KOV_BENCH_PAIR(compare);
KOV_BENCH_PAIR(partial_inverse);

}  // namespace
BENCHMARK_MAIN();
