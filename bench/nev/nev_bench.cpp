// Costs of the foundation's most frequent calls.
//
// A clear status must cost nothing (ok() is one compare); a status with one
// argument costs one heap block. The 16-bit formatter is set beside glibc's
// swprintf on the same diagnostic line format, its natural floor.
#include <benchmark/benchmark.h>

#include <cwchar>
#include <string>

#include "nev/codes.h"
#include "nev/messages.h"
#include "nev/status.h"
#include "nev/strings.h"

namespace {

void status_clear_ok(benchmark::State& state) {
  for (auto _ : state) {
    nev::Nev_status status;
    benchmark::DoNotOptimize(status);
    benchmark::DoNotOptimize(status.ok());
  }
}
BENCHMARK(status_clear_ok);

void status_assign_with_argument(benchmark::State& state) {
  const std::u16string path = u"/usr/lib/kov/plugins/libsample.so";
  for (auto _ : state) {
    nev::Nev_status status;
    status.assign(nev::NEV_E_LIBRARY_LOAD, nev::Nev_wstring_status_arg(path));
    benchmark::DoNotOptimize(status);
  }
}
BENCHMARK(status_assign_with_argument);

void status_text(benchmark::State& state) {
  nev::Nev_status status;
  status.assign(nev::NEV_E_LIBRARY_LOAD, nev::Nev_wstring_status_arg(u"/p/libx.so"),
                nev::Nev_wstring_status_arg(u"no such file"));
  status.push(0xC2010905, nev::Nev_wstring_status_arg(u"Sample"));
  for (auto _ : state) benchmark::DoNotOptimize(nev::nev_status_text(status));
}
BENCHMARK(status_text);

void format_line_nev(benchmark::State& state) {
  char16_t buffer[256];
  for (auto _ : state) {
    benchmark::DoNotOptimize(nev::nev_swprintf(buffer, 256, u"%02d:%02d:%02d.%06d [%5u] %s: %0*d %.4x", 13, 4, 9,
                                               123456, 4242u, u"component", 5, 42, 0xBEEF));
  }
}
BENCHMARK(format_line_nev);

void format_line_glibc_swprintf(benchmark::State& state) {
  wchar_t buffer[256];
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::swprintf(buffer, 256, L"%02d:%02d:%02d.%06d [%5u] %ls: %0*d %.4x", 13, 4, 9,
                                           123456, 4242u, L"component", 5, 42, 0xBEEF));
  }
}
BENCHMARK(format_line_glibc_swprintf);

void parse_int32(benchmark::State& state) {
  const std::u16string text = u"-0002147483";
  for (auto _ : state) {
    benchmark::DoNotOptimize(nev::nev_is_int32(text));
    benchmark::DoNotOptimize(nev::nev_wtoi32(text));
  }
}
BENCHMARK(parse_int32);

void utf8_round_trip(benchmark::State& state) {
  std::u16string text;
  for (int i = 0; i < 64; ++i) text += u"plain text, \u00E9t\u00E9, \u4E2D\u6587, \U0001F600 ";
  for (auto _ : state) benchmark::DoNotOptimize(nev::nev_from_utf8(nev::nev_to_utf8(text)));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}
BENCHMARK(utf8_round_trip);

}  // namespace

BENCHMARK_MAIN();
