// Measures the thresholds of the extended numbers' split algorithms.
//
// Built with KOV_EXT_NUMBER_TUNE, where the thresholds of word_ops.h are
// variables. For each threshold and a range of sizes n it times the
// operation at n twice: with the threshold just above n (the form below the
// threshold does the top level) and at n (the split does the top level, the
// levels below unchanged). The threshold is the smallest n from which the
// split wins at every size measured. Each time is the minimum of many runs,
// which keeps out most of the noise of a shared machine.
//
//   bench_ext_number_tune [karatsuba|toom3|toom4|mullo|mullo_split|divide|sizes]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ext_number/word_ops.h"

namespace {

using kov::detail::Word;

// Minimum time of one call over repeated batches, in nanoseconds.
double min_time(const std::function<void()>& call) {
  // Thread CPU time: on a shared virtual machine, time spent waiting for a
  // processor is not counted.
  auto now = [] {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return 1e9 * static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec);
  };
  double best = 1e30;
  for (int batch = 0; batch < 40; ++batch) {
    int calls = 0;
    const double start = now();
    double end = start;
    do {
      call();
      ++calls;
      end = now();
    } while (end - start < 2e6);
    best = std::min(best, (end - start) / calls);
  }
  return best;
}

std::vector<Word> random_words(std::size_t n, std::mt19937_64& engine) {
  std::vector<Word> w(n);
  for (auto& x : w) x = engine();
  return w;
}

// Times `run` at each size with the threshold `knob` set above and at n.
void sweep(const char* name, std::size_t& knob, std::size_t from, std::size_t to, std::size_t step,
           const std::function<std::function<void()>(std::size_t)>& make) {
  std::printf("%s: n, below (ns), split (ns), split / below\n", name);
  const std::size_t saved = knob;
  for (std::size_t n = from; n <= to; n += step) {
    const auto run = make(n);
    knob = n + 1;
    const double below = min_time(run);
    knob = n;
    const double split = min_time(run);
    std::printf("%s %4zu %10.0f %10.0f %6.3f\n", name, n, below, split, split / below);
    knob = saved;
  }
}

}  // namespace

int main(int argc, char** argv) {
  namespace d = kov::detail;
  const std::string which = argc > 1 ? argv[1] : "all";
  std::mt19937_64 engine(7);
  std::vector<Word> a = random_words(8192, engine), b = random_words(8192, engine), r(16384),
                    scratch(1 << 20), u(16384), q(8192);
  auto product = [&](std::size_t n) {
    return std::function<void()>([&, n] { d::multiply(r.data(), a.data(), n, b.data(), n, scratch.data()); });
  };
  if (which == "all" || which == "karatsuba") sweep("karatsuba", d::KARATSUBA_THRESHOLD, 8, 48, 4, product);
  if (which == "all" || which == "toom3") sweep("toom3", d::TOOM3_THRESHOLD, 80, 680, 60, product);
  if (which == "all" || which == "toom4") sweep("toom4", d::TOOM4_THRESHOLD, 300, 1200, 100, product);
  if (which == "all" || which == "mullo") {
    sweep("mullo", d::MULLO_THRESHOLD, 48, 288, 24, [&](std::size_t n) {
      return std::function<void()>([&, n] { d::multiply_low(r.data(), a.data(), b.data(), n, scratch.data()); });
    });
  }
  if (which == "all" || which == "mullo_split") {  // low halves for each share of their split
    std::printf("mullo_split: n, then ns per share given to the two low halves\n");
    const std::size_t saved = d::MULLO_SPLIT_PERCENT;
    for (std::size_t n : {256, 512, 1024, 2048}) {
      std::printf("mullo_split %4zu", n);
      for (std::size_t percent : {20, 25, 30, 35, 40, 50}) {
        d::MULLO_SPLIT_PERCENT = percent;
        std::printf("  %zu%% %8.0f", percent,
                    min_time([&, n] { d::multiply_low(r.data(), a.data(), b.data(), n, scratch.data()); }));
      }
      std::printf("\n");
    }
    d::MULLO_SPLIT_PERCENT = saved;
  }
  if (which == "sizes") {  // the split forms as they stand, for reference
    for (std::size_t n : {128, 512, 1024, 2048}) {
      std::printf("n %4zu  multiply %10.0f  multiply_low %10.0f ns\n", n, min_time(product(n)),
                  min_time([&, n] { d::multiply_low(r.data(), a.data(), b.data(), n, scratch.data()); }));
    }
  }
  if (which == "all" || which == "divide") {
    std::vector<Word> divisor = a;
    sweep("divide", d::DIVIDE_THRESHOLD, 16, 120, 8, [&](std::size_t n) {
      return std::function<void()>([&, n] {
        divisor[n - 1] |= Word{1} << 63;
        std::memcpy(u.data(), b.data(), 2 * n * sizeof(Word));
        u[2 * n - 1] = 0;  // below the divisor's top word
        d::divide(q.data(), u.data(), 2 * n - 1, divisor.data(), n, scratch.data());
      });
    });
  }
}
