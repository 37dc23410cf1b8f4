// Nev_critical and Nev_mutex: recursion, exclusion between threads, and the
// initially owned mutex.
#include "nev/locks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace {

template <class Lock>
bool free_for_another_thread(Lock& lock) {
  return std::async(std::launch::async, [&lock] {
           const bool taken = lock.try_lock();
           if (taken) lock.unlock();
           return taken;
         }).get();
}

template <class Lock>
void check_recursion_and_exclusion(Lock& lock) {
  lock.lock();
  lock.lock();  // the holder takes it again without blocking
  EXPECT_TRUE(lock.try_lock());
  EXPECT_FALSE(free_for_another_thread(lock));
  lock.unlock();
  lock.unlock();
  EXPECT_FALSE(free_for_another_thread(lock));  // still held once
  lock.unlock();
  EXPECT_TRUE(free_for_another_thread(lock));

  // Increments under the lock are never lost.
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10000; ++i) {
        std::lock_guard<Lock> outer(lock);
        std::lock_guard<Lock> inner(lock);
        ++counter;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, 40000);
}

TEST(Locks, CriticalIsRecursiveAndExclusive) {
  nev::Nev_critical lock(false);
  check_recursion_and_exclusion(lock);
  nev::Nev_critical spinning(true);
  check_recursion_and_exclusion(spinning);
}

TEST(Locks, MutexIsRecursiveAndMayStartOwned) {
  nev::Nev_mutex lock(false, nullptr);
  check_recursion_and_exclusion(lock);

  nev::Nev_mutex owned(true);
  EXPECT_FALSE(free_for_another_thread(owned));
  owned.lock();
  owned.unlock();
  EXPECT_FALSE(free_for_another_thread(owned));
  owned.unlock();
  EXPECT_TRUE(free_for_another_thread(owned));

  int attributes = 0;
  EXPECT_THROW(nev::Nev_mutex(false, &attributes), std::invalid_argument);
}

}  // namespace
