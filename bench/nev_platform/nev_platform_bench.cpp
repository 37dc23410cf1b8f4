// Costs of the time, file and stream calls that run once per diagnostic line
// or once per compared byte.
//
// now() is a clock read plus a local-zone conversion; the text forms should
// stay well below the cost of the write they accompany. A one-byte read_at
// of a file stream is one pread, of a memory stream a bounds check and a copy.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "nev/file.h"
#include "nev/stream.h"
#include "nev/strings.h"
#include "nev/time.h"

namespace {

std::filesystem::path scratch_file(const char* name) {
  return std::filesystem::temp_directory_path() / name;
}

void date_and_time_now(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(nev::Nev_date_and_time::now());
}
BENCHMARK(date_and_time_now);

void local_to_utc(benchmark::State& state) {
  const nev::Nev_date_and_time when(nev::Nev_date(5, 7, 1999), nev::Nev_time(13, 4, 9, 250000),
                                    nev::Nev_time_zone::local());
  for (auto _ : state) benchmark::DoNotOptimize(when.utc_microseconds());
}
BENCHMARK(local_to_utc);

void time_stamp_of_a_line(benchmark::State& state) {
  const nev::Nev_time time(13, 4, 9, 250000);
  const std::u16string format = u"[%H:%M:%S:";
  std::u16string out;
  for (auto _ : state) {
    time.to_string(format, out);
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(time_stamp_of_a_line);

void date_and_time_c_format(benchmark::State& state) {
  const nev::Nev_date_and_time when(nev::Nev_date(5, 7, 1999), nev::Nev_time(13, 4, 9, 250000),
                                    nev::Nev_time_zone::utc());
  const std::u16string format = u"%c";
  std::u16string out;
  for (auto _ : state) {
    when.to_string(format, out);
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(date_and_time_c_format);

void period_p_format(benchmark::State& state) {
  const nev::Nev_time_period period(3, 2, 1, 0, 500000);
  const std::u16string format = u"%P";
  std::u16string out;
  for (auto _ : state) {
    period.to_string(format, out);
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(period_p_format);

void memory_stream_read_one_byte(benchmark::State& state) {
  const std::string bytes(4096, 'x');
  nev::Nev_memory_istream stream(bytes.data(), bytes.size());
  nev::Nev_status status;
  std::uint64_t offset = 0;
  unsigned char byte = 0;
  for (auto _ : state) {
    stream.read_at(offset++ & 4095, 1, &byte, status);
    benchmark::DoNotOptimize(byte);
  }
}
BENCHMARK(memory_stream_read_one_byte);

void file_stream_read_one_byte(benchmark::State& state) {
  const std::filesystem::path path = scratch_file("nev-bench-stream.bin");
  std::ofstream(path, std::ios::binary) << std::string(4096, 'x');
  nev::Nev_file_istream stream;
  nev::Nev_status status;
  stream.open(nev::nev_from_utf8(path.string()), status);
  std::uint64_t offset = 0;
  unsigned char byte = 0;
  for (auto _ : state) {
    stream.read_at(offset++ & 4095, 1, &byte, status);
    benchmark::DoNotOptimize(byte);
  }
  std::filesystem::remove(path);
}
BENCHMARK(file_stream_read_one_byte);

void file_append_line(benchmark::State& state) {
  const std::filesystem::path path = scratch_file("nev-bench-append.dgn");
  std::filesystem::remove(path);
  nev::Nev_file file;
  nev::Nev_status status;
  file.open(nev::nev_from_utf8(path.string()), nev::NEV_FILE_OPEN_ALWAYS, nev::NEV_FILE_WRITE, 0,
            nev::NEV_FILE_SHARE_NONE, status);
  const std::u16string line = u"[13:04:09:250000] Kov_plugin_create_instance: plug-in Sample created\r\n";
  const auto bytes = static_cast<std::uint32_t>(line.size() * sizeof(char16_t));
  for (auto _ : state) benchmark::DoNotOptimize(file.write(line.data(), bytes, status));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * bytes);
  file.close();
  std::filesystem::remove(path);
}
BENCHMARK(file_append_line);

}  // namespace

BENCHMARK_MAIN();
