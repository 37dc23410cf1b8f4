// Kov_health and Kov_monitor, with the foundation's clock replaced so that
// time moves only when a test says so.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "kov/health.h"
#include "nev/time.h"

namespace {

using kov::Kov_health;
using kov::Kov_monitor;

// Microseconds the test clock shows; 2024-01-15 12:00 UTC to begin with.
std::atomic<std::int64_t> clock_now{1705320000000000};
std::atomic<bool> clock_fails{false};

std::int64_t test_clock() {
  if (clock_fails.load()) throw std::runtime_error("clock failure");
  return clock_now.load();
}

// Each reading of this clock is one microsecond later than the one before.
std::int64_t moving_clock() { return clock_now.fetch_add(1) + 1; }

class MonitorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    clock_fails = false;
    nev::nev_set_clock(test_clock);
  }
  void TearDown() override { nev::nev_set_clock(nullptr); }

  static void advance(std::int64_t microseconds) { clock_now += microseconds; }
  static void set_back(std::int64_t microseconds) { clock_now -= microseconds; }
};

// True when `operation` finishes on another thread: the object's mutex is
// free (it is recursive, so the owning thread could always take it again).
template <class Operation>
bool completes_elsewhere(Operation operation) {
  auto done = std::async(std::launch::async, operation);
  return done.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
}

TEST(HealthTest, CountsAndResets) {
  Kov_health health;
  EXPECT_EQ(health.num_exceptions(), 0u);
  EXPECT_EQ(health.num_threads(), 0u);
  health.exception_caught();
  health.exception_caught();
  health.thread_killed();
  EXPECT_EQ(health.num_exceptions(), 2u);
  EXPECT_EQ(health.num_threads(), 1u);
  health.reset();
  EXPECT_EQ(health.num_exceptions(), 0u);
  EXPECT_EQ(health.num_threads(), 0u);
}

TEST(HealthTest, CountsEveryCallFromManyThreads) {
  Kov_health health;
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
}

TEST_F(MonitorTest, AnswersWhetherATickMovedTimeOn) {
  Kov_monitor monitor;
  EXPECT_FALSE(monitor.working());  // both readings of the constructor equal
  advance(1000);
  monitor.tick();
  EXPECT_TRUE(monitor.working());
  EXPECT_FALSE(monitor.working());  // no tick since the last question
  advance(1000);
  EXPECT_FALSE(monitor.working());  // time alone counts for nothing

  for (int i = 0; i < 10; ++i) {
    advance(10);
    monitor.tick();
  }
  EXPECT_TRUE(monitor.working());
  EXPECT_FALSE(monitor.working());

  monitor.tick();  // a tick on the clock reading already seen
  EXPECT_FALSE(monitor.working());
  advance(5000);
  monitor.tick();
  EXPECT_TRUE(monitor.working());
}

TEST_F(MonitorTest, FirstQuestionSeesTheConstructorsTwoReadings) {
  nev::nev_set_clock(moving_clock);
  Kov_monitor moved;
  EXPECT_TRUE(moved.working());
  EXPECT_FALSE(moved.working());
  moved.reset();
  EXPECT_TRUE(moved.working());
}

TEST_F(MonitorTest, ResetBeginsANewWatch) {
  Kov_monitor monitor;
  advance(100000000);
  monitor.tick();
  EXPECT_TRUE(monitor.working());  // the baseline is now 100 seconds
  monitor.reset();
  EXPECT_FALSE(monitor.working());
  monitor.reset();
  advance(1);
  monitor.tick();
  EXPECT_TRUE(monitor.working());  // 1 microsecond against zero, not against 100 seconds
}

TEST_F(MonitorTest, ClockSetBackGivesFalseAndTheSmallerBaseline) {
  Kov_monitor monitor;
  advance(100);
  monitor.tick();
  EXPECT_TRUE(monitor.working());  // baseline 100
  set_back(50);
  monitor.tick();
  EXPECT_FALSE(monitor.working());  // 50 is not greater than 100, although a tick came
  advance(20);
  monitor.tick();
  EXPECT_TRUE(monitor.working());  // 70 is greater than the baseline of 50
}

TEST_F(MonitorTest, AFailingClockLeavesTheMutexFreeAndTheWatchUnchanged) {
  Kov_monitor monitor;
  advance(10);
  monitor.tick();
  EXPECT_TRUE(monitor.working());  // baseline 10

  clock_fails = true;
  EXPECT_THROW(monitor.tick(), std::runtime_error);
  EXPECT_THROW(monitor.reset(), std::runtime_error);
  EXPECT_THROW(Kov_monitor(), std::runtime_error);
  bool answer = true;
  EXPECT_TRUE(completes_elsewhere([&] { answer = monitor.working(); }));
  EXPECT_FALSE(answer);  // neither the tick nor the reset took effect
  clock_fails = false;
  EXPECT_TRUE(completes_elsewhere([&] { monitor.tick(); }));
  advance(1);
  monitor.tick();
  EXPECT_TRUE(monitor.working());
}

}  // namespace
