// Several threads tracing through one object: every line reaches the file
// once and whole, behind the marker of the thread that wrote it.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <regex>
#include <set>
#include <thread>

#include "diag_test_support.h"
#include "kov/diag.h"
#include "nev/system.h"

namespace {

using diag_test::header_line;
using diag_test::read_lines;
using diag_test::Scratch_dir;

TEST(DiagLoad, FourThreadsOfTenThousandLines) {
  constexpr int THREADS = 4;
  constexpr int LINES = 10000;
  Scratch_dir dir;
  kov::Kov_diag_main diag;
  diag.reset(dir.wpath(), u"load.dgn", 2);

  std::atomic<int> ready{0};
  std::vector<std::uint32_t> ids(THREADS);
  std::vector<std::thread> threads;
  for (int t = 0; t < THREADS; ++t) {
    threads.emplace_back([&, t] {
      ids[t] = nev::nev_current_thread_id();
      ++ready;
      while (ready.load() < THREADS) std::this_thread::yield();
      kov::Kov_diag_trace scope(u"worker", 1, diag);
      for (int i = 0; i < LINES; ++i) scope.trace(u"thread %d line %05d %s", t, i, u"payload-payload-payload");
    });
  }
  for (auto& thread : threads) thread.join();

  std::map<std::string, int> thread_of_marker;
  for (int t = 0; t < THREADS; ++t) thread_of_marker[diag_test::marker_line(ids[t])] = t;
  ASSERT_EQ(thread_of_marker.size(), static_cast<std::size_t>(THREADS)) << "thread ids must differ";

  const auto lines = read_lines(dir.file("load.dgn"));
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], header_line());
  const std::regex message(R"(\[\d\d:\d\d:[0-5]\d:\d\d\]    thread (\d) line (\d{5}) payload-payload-payload)");
  const std::regex scope_line(R"(\[\d\d:\d\d:[0-5]\d:\d\d\]  [<>] worker)");
  std::vector<int> next(THREADS, 0);
  int writer = -1;
  int switches = 0;
  int scope_lines = 0;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const auto marker = thread_of_marker.find(lines[i]);
    if (marker != thread_of_marker.end()) {
      EXPECT_NE(marker->second, writer) << "a marker without a change of writer, line " << i;
      writer = marker->second;
      ++switches;
      continue;
    }
    std::smatch match;
    if (std::regex_match(lines[i], scope_line)) {
      ++scope_lines;
      continue;
    }
    ASSERT_TRUE(std::regex_match(lines[i], match, message)) << "line " << i << ": " << lines[i];
    const int t = std::stoi(match[1]);
    ASSERT_EQ(t, writer) << "line " << i << " stands under another thread's marker";
    ASSERT_EQ(std::stoi(match[2]), next[t]) << "line " << i << " lost, doubled or out of order";
    ++next[t];
  }
  for (int t = 0; t < THREADS; ++t) EXPECT_EQ(next[t], LINES) << "thread " << t;
  EXPECT_EQ(scope_lines, 2 * THREADS);
  EXPECT_GE(switches, THREADS);
}

}  // namespace
