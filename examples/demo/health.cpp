// Demo section: health counters and the activity monitor.
//
// A service counts its mishaps in a Kov_health, and a supervisor asks a
// Kov_monitor whether a worker has moved on since the last question. Here a
// worker thread ticks while it works; a question after its work answers
// "working", the next question, with no tick in between, "stalled".
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "demo.h"
#include "kov/health.h"

namespace demo {

namespace {

void count_mishaps() {
  kov::Kov_health health;
  for (int order = 1; order <= 3; ++order) {
    try {
      if (order != 2) throw std::runtime_error("bad order");
    } catch (const std::runtime_error&) {
      health.exception_caught();
    }
  }
  health.thread_killed();
  std::printf("  after three orders, two of them failing, and one worker killed:\n"
              "    exceptions caught %u, threads killed %u\n",
              health.num_exceptions(), health.num_threads());
  health.reset();
  std::printf("  after reset: exceptions caught %u, threads killed %u\n", health.num_exceptions(),
              health.num_threads());
}

void watch_a_worker() {
  kov::Kov_monitor monitor;
  std::thread worker([&monitor] {
    for (int step = 0; step < 3; ++step) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      monitor.tick();
    }
  });
  worker.join();
  std::printf("  the worker ticked three times; supervisor asks: %s\n", monitor.working() ? "working" : "stalled");
  std::printf("  no tick since; supervisor asks again:      %s\n", monitor.working() ? "working" : "stalled");
}

}  // namespace

void demo_health() {
  title("Health counters and the activity monitor");
  explain("Kov_health counts caught exceptions and killed threads. Kov_monitor tells a\n"
          "supervisor whether a worker ticked since the previous question.");
  count_mishaps();
  watch_a_worker();
}

}  // namespace demo
