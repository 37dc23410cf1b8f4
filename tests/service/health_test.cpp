// Kov_health and Kov_monitor, with the foundation's clock replaced so that
// time moves only when a test says so.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "test_platform.h"
#include "kov/health.h"
#include "nev/time.h"

namespace {

// Microseconds the test clock shows; it throws while `clock_fails` is set.
std::atomic<std::int64_t> clock_now{1705320000000000};
std::atomic<bool> clock_fails{false};
std::int64_t test_clock() {
  if (clock_fails) throw std::runtime_error("clock failure");
  return clock_now;
}
// Each reading one microsecond later than the one before.
std::int64_t moving_clock() { return ++clock_now; }

class MonitorTest : public ::testing::Test {
 protected:
  void SetUp() override { platform.clock = test_clock; }
  void TearDown() override { clock_fails = false; }

  Test_platform platform;
};

// True when `operation` finishes on another thread, i.e. the object's mutex
// is free (it is recursive, so the owning thread could always take it again).
template <class Operation>
bool completes_elsewhere(Operation operation) {
  return std::async(std::launch::async, operation).wait_for(std::chrono::seconds(10)) == std::future_status::ready;
}

TEST(HealthTest, CountsFromManyThreadsAndResets) {
  kov::Kov_health health;
  EXPECT_EQ(health.num_exceptions() + health.num_threads(), 0u);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&health] {
      for (int i = 0; i < 20000; ++i) {
        health.exception_caught();
        if (i % 2 == 0) health.thread_killed();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(health.num_exceptions(), 80000u);
  EXPECT_EQ(health.num_threads(), 40000u);
  health.reset();
  EXPECT_EQ(health.num_exceptions() + health.num_threads(), 0u);
}

// Scripts of steps: "+n" and "-n" move the clock by n microseconds, "t"
// ticks, "r" resets, "Y" and "N" ask working() and expect true or false.
TEST_F(MonitorTest, AnswersWhetherATickMovedTimeOn) {
  const std::vector<std::string> scripts = {
      "N +1000 t Y N +1000 N",                    // time alone counts for nothing
      "+10 t +10 t +10 t +10 t +10 t +10 t +10 t +10 t +10 t +10 t Y N",
      "+5 t Y t N +5 t Y",                        // a tick on the reading already seen
      "+100000000 t Y r +1 t Y r N",              // after reset 1 us counts against zero
      "+100 t Y -50 t N +20 t Y",                 // set back: false, and the smaller baseline
  };
  for (const std::string& script : scripts) {
    kov::Kov_monitor monitor;
    std::istringstream steps(script);
    std::string step;
    for (int index = 0; steps >> step; ++index) {
      if (step[0] == '+' || step[0] == '-') clock_now += std::stoll(step);
      if (step == "t") monitor.tick();
      if (step == "r") monitor.reset();
      if (step == "Y" || step == "N") {
        EXPECT_EQ(monitor.working(), step == "Y") << script << ", step " << index;
      }
    }
  }
  platform.clock = moving_clock;  // the constructor's two readings differ
  kov::Kov_monitor moved;
  EXPECT_TRUE(moved.working());
  EXPECT_FALSE(moved.working());
}

// A local zone whose offset cannot be found: comparing or subtracting local
// date-times then throws.
std::int64_t failing_zone(std::int64_t, bool) { throw std::runtime_error("zone failure"); }

TEST_F(MonitorTest, FailuresLeaveTheMutexFreeAndTheWatchUnchanged) {
  kov::Kov_monitor monitor;
  clock_now += 10;
  monitor.tick();
  EXPECT_TRUE(monitor.working());  // baseline 10
  clock_fails = true;
  EXPECT_THROW(monitor.tick(), std::runtime_error);
  EXPECT_THROW(monitor.reset(), std::runtime_error);
  EXPECT_THROW(kov::Kov_monitor(), std::runtime_error);
  bool answer = true;
  EXPECT_TRUE(completes_elsewhere([&] { answer = monitor.working(); }));
  EXPECT_FALSE(answer);  // neither the tick nor the reset took effect
  clock_fails = false;

  // working() lets no exception out and counts a failed check as working.
  platform.set_zone(failing_zone);
  EXPECT_TRUE(completes_elsewhere([&] { answer = monitor.working(); }));
  EXPECT_TRUE(answer);  // the check failed before its comparison
  EXPECT_TRUE(completes_elsewhere([&] { monitor.tick(); }));
  platform.set_zone(nullptr);
  clock_now += 1;
  monitor.tick();
  EXPECT_TRUE(monitor.working());
  EXPECT_FALSE(monitor.working());
}

}  // namespace
