// Lines per second into a file and the cost of a disabled scope.
//
// Every file benchmark writes lines of the same length in characters: a
// 13-character time stamp, 4 characters of indentation and prefix, a
// 63-character message and the line end. The library writes UTF-16 (two
// bytes a character), spdlog UTF-8 (a second spdlog run writes lines of the
// library's byte length); each line reaches the file within the call in
// both (spdlog is flushed after every line). The floor is one write(2) per
// line of the library's byte length under a mutex: what the disk path
// allows.
//
// Files go to $KOV_BENCH_DIR, else the system's temporary directory, and
// are removed at the end. Run with --benchmark_repetitions and compare the
// medians.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "kov/diag.h"

#if defined(KOV_BENCH_SPDLOG)
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

const char16_t* const MESSAGE16 = u"payload of a typical diagnostic message: sixty-three characters";
const char* const MESSAGE8 = "payload of a typical diagnostic message: sixty-three characters";
constexpr std::size_t LINE_CHARACTERS = 13 + 4 + 63 + 2;

std::filesystem::path bench_dir() {
  static const std::filesystem::path dir = [] {
    const char* chosen = std::getenv("KOV_BENCH_DIR");
    std::filesystem::path path = chosen ? std::filesystem::path(chosen)
                                        : std::filesystem::temp_directory_path() / "kov-bench-diag";
    std::filesystem::create_directories(path);
    return path;
  }();
  return dir;
}

std::u16string widen(const std::string& text) { return std::u16string(text.begin(), text.end()); }

// ---- the library -------------------------------------------------------------

kov::Kov_diag_main& enabled_diag() {
  static kov::Kov_diag_main* diag = [] {
    auto* made = new kov::Kov_diag_main();
    std::filesystem::remove(bench_dir() / "kov.dgn");
    made->reset(widen(bench_dir().string()), u"kov.dgn", 1);
    return made;
  }();
  return *diag;
}

void BM_kov_trace_file(benchmark::State& state) {
  kov::Kov_diag_main& diag = enabled_diag();
  kov::Kov_diag_trace scope(u"bench", 1, diag);
  for (auto _ : state) scope.trace(u"%s", MESSAGE16);
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * LINE_CHARACTERS * 2);
}
BENCHMARK(BM_kov_trace_file)->Threads(1)->Threads(2)->UseRealTime();

// Lines whose message is 16 B, 1 KiB or 2 KiB of UTF-16 (8, 512 or 1,024
// characters: a message is cut at Kov_diag_trace::MESSAGE_LIMIT units),
// beside one write(2) of the same line length: the cost should grow with
// the bytes as the write's does. More data goes out as a dump, over lines
// of its own: BM_kov_dump writes 16 B, 1 KiB and 64 KiB (the most a dump
// takes), and should grow linearly with them.
void BM_kov_trace_size(benchmark::State& state) {
  kov::Kov_diag_main& diag = enabled_diag();
  kov::Kov_diag_trace scope(u"bench", 1, diag);
  const std::u16string message(static_cast<std::size_t>(state.range(0)) / 2, u'm');
  for (auto _ : state) scope.trace(u"%s", message.c_str());
  state.SetBytesProcessed(state.iterations() * (state.range(0) + (LINE_CHARACTERS - 63) * 2));
}
BENCHMARK(BM_kov_trace_size)->Arg(16)->Arg(1024)->Arg(2 * kov::Kov_diag_trace::MESSAGE_LIMIT);

void BM_raw_write_size(benchmark::State& state) {
  static const int fd = [] {
    const auto path = bench_dir() / "raw-size.dgn";
    std::filesystem::remove(path);
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  }();
  const std::string line(static_cast<std::size_t>(state.range(0)) + (LINE_CHARACTERS - 63) * 2, 'x');
  for (auto _ : state) benchmark::DoNotOptimize(::write(fd, line.data(), line.size()));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(line.size()));
}
BENCHMARK(BM_raw_write_size)->Arg(16)->Arg(1024)->Arg(2 * kov::Kov_diag_trace::MESSAGE_LIMIT);

void BM_kov_dump(benchmark::State& state) {
  kov::Kov_diag_main& diag = enabled_diag();
  kov::Kov_diag_trace scope(u"bench", 1, diag);
  std::vector<std::uint8_t> data(static_cast<std::size_t>(state.range(0)));
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i);
  for (auto _ : state) scope.trace(u"data", data.data(), static_cast<std::uint16_t>(data.size()));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_kov_dump)->Arg(16)->Arg(1024);
BENCHMARK(BM_kov_dump)->Arg(65535)->Iterations(500);

// ---- the floor: one write(2) per line under a mutex -----------------------------

void BM_raw_write_floor(benchmark::State& state) {
  static std::mutex lock;
  static const int fd = [] {
    const auto path = bench_dir() / "raw.dgn";
    std::filesystem::remove(path);
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  }();
  const std::string line(LINE_CHARACTERS * 2, 'x');
  for (auto _ : state) {
    std::lock_guard<std::mutex> hold(lock);
    benchmark::DoNotOptimize(::write(fd, line.data(), line.size()));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_raw_write_floor)->Threads(1)->Threads(2)->UseRealTime();

// ---- spdlog ------------------------------------------------------------------------

#if defined(KOV_BENCH_SPDLOG)
spdlog::logger& spdlog_file_logger() {
  static std::shared_ptr<spdlog::logger> logger = [] {
    const auto path = bench_dir() / "spdlog.log";
    std::filesystem::remove(path);
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path.string(), false);
    auto made = std::make_shared<spdlog::logger>("bench-file", sink);
    // "[hh:mm:ss:mmm]" and three spaces: 17 characters, as the library's
    // stamp, indentation and prefix.
    made->set_pattern("[%H:%M:%S:%e]   %v");
    made->set_level(spdlog::level::trace);
    made->flush_on(spdlog::level::trace);
    return made;
  }();
  return *logger;
}

void BM_spdlog_file_flushed(benchmark::State& state) {
  spdlog::logger& logger = spdlog_file_logger();
  for (auto _ : state) logger.info("{}", MESSAGE8);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_spdlog_file_flushed)->Threads(1)->Threads(2)->UseRealTime();

// The same with as many bytes per line as the library writes (UTF-16 takes
// two bytes a character): 17 + 146 + "\n" = 164 bytes.
void BM_spdlog_file_flushed_same_bytes(benchmark::State& state) {
  spdlog::logger& logger = spdlog_file_logger();
  const std::string message = std::string(MESSAGE8) + std::string(146 - 63, '-');
  for (auto _ : state) logger.info("{}", message);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_spdlog_file_flushed_same_bytes)->Threads(1)->Threads(2)->UseRealTime();
#endif

// ---- disabled scopes ---------------------------------------------------------------

kov::Kov_diag_main& quiet_diag() {
  static kov::Kov_diag_main* diag = [] {
    auto* made = new kov::Kov_diag_main();
    made->reset(widen(bench_dir().string()), u"never.dgn", 1);
    return made;
  }();
  return *diag;
}

void BM_kov_disabled_scope(benchmark::State& state) {
  kov::Kov_diag_main& diag = quiet_diag();
  int i = 0;
  for (auto _ : state) {
    kov::Kov_diag_trace scope(u"quiet", 2, diag);
    scope.trace(u"value %d", ++i);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_kov_disabled_scope);

void BM_bare_level_test(benchmark::State& state) {
  kov::Kov_diag_main& diag = quiet_diag();
  int i = 0;
  for (auto _ : state) {
    if (kov::Kov_diag_trace::is_enabled(diag.level(), 2)) benchmark::DoNotOptimize(++i);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_bare_level_test);

#if defined(KOV_BENCH_SPDLOG)
void BM_spdlog_disabled_call(benchmark::State& state) {
  static std::shared_ptr<spdlog::logger> logger = [] {
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>((bench_dir() / "never.log").string(), false);
    auto made = std::make_shared<spdlog::logger>("bench-quiet", sink);
    made->set_level(spdlog::level::info);
    return made;
  }();
  int i = 0;
  for (auto _ : state) {
    logger->debug("value {}", ++i);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_spdlog_disabled_call);
#endif

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ignored;
  std::filesystem::remove_all(bench_dir(), ignored);
  return 0;
}
