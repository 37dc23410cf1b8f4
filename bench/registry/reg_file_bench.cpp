// What reading a .reg file costs: a binary value whose hex data runs over
// state.range(0) continuation lines. The work must grow linearly with the
// number of lines (copying all the text before each line took 28 s for
// 20,000 lines).
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "reg_file.h"

namespace {

std::u16string long_hex_value(std::int64_t lines) {
  std::u16string text = u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Big]\r\n\"v\"=hex:\\\r\n";
  for (std::int64_t i = 0; i < lines; ++i) {
    text += u"  ";
    for (int k = 0; k < 25; ++k) text += u"ab,";
    text += u"\\\r\n";
  }
  return text + u"  cd\r\n";
}

void BM_reg_hex_continuation(benchmark::State& state) {
  const std::u16string text = long_hex_value(state.range(0));
  for (auto _ : state) {
    std::vector<kovreg::File_change> changes;
    kovreg::File_error error;
    if (!kovreg::parse_file(text, changes, error)) state.SkipWithError("the file was refused");
    benchmark::DoNotOptimize(changes.data());
  }
  state.SetComplexityN(state.range(0));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}
BENCHMARK(BM_reg_hex_continuation)->RangeMultiplier(4)->Range(256, 65536)->Complexity(benchmark::oN);

}  // namespace

BENCHMARK_MAIN();
