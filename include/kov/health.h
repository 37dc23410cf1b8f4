// Health counters and an activity monitor for a service that watches itself.
//
// Kov_health counts two kinds of mishap: exceptions caught and threads
// killed. Kov_monitor lets a supervisor ask whether a worker is still alive:
// the worker calls tick() as it goes, the supervisor calls working() from
// time to time, and working() answers whether a tick moved time on since the
// previous question. Neither class keeps a thread or a timer of its own.
//
//   kov::Kov_monitor monitor;
//   // worker thread:      monitor.tick();           after each unit of work
//   // supervisor thread:  if (!monitor.working()) restart_worker();
//
// Every operation of both classes may be called from any thread at any time;
// each holds its object's mutex for its whole duration, and releases it on
// every way out.
#pragma once

#include <cstdint>

#include "kov/export.h"
#include "nev/locks.h"
#include "nev/time.h"

namespace kov {

class KOV_EXPORT Kov_health {
 public:
  // Both counters 0.
  Kov_health();
  Kov_health(const Kov_health&) = delete;
  Kov_health& operator=(const Kov_health&) = delete;

  // Adds 1 to the count of caught exceptions (after 0xFFFFFFFF comes 0).
  void exception_caught();
  // Adds 1 to the count of killed threads (after 0xFFFFFFFF comes 0).
  void thread_killed();
  // Sets both counts to 0 in one locked step.
  void reset();
  // Exceptions caught since construction or reset().
  std::uint32_t num_exceptions() const;
  // Threads killed (not threads running) since construction or reset().
  std::uint32_t num_threads() const;

 private:
  // Guards both counters, which are not atomic by themselves.
  mutable nev::Nev_mutex m_mutex;
  std::uint32_t m_exceptions = 0;
  std::uint32_t m_threads = 0;
};

class KOV_EXPORT Kov_monitor {
 public:
  // Begins a watch: the start and the last tick from two readings of the
  // clock, in that order. An exception of the clock passes out.
  Kov_monitor();
  Kov_monitor(const Kov_monitor&) = delete;
  Kov_monitor& operator=(const Kov_monitor&) = delete;

  // Begins a new watch: start and last tick read afresh, the span seen by
  // working() back to zero. An exception of the clock passes out, and the
  // object keeps what it held.
  void reset();
  // Records that the worker is alive: the last tick becomes now. An
  // exception of the clock passes out, and the last tick stays.
  void tick();
  // True when the span from the start to the latest tick is strictly greater
  // than at the previous question (the first question compares with zero);
  // that span becomes the baseline of the next question. Lets no exception
  // out: a question that fails answers true, so a failed check counts as
  // working.
  bool working() const noexcept;

 private:
  // Guards the three time fields.
  mutable nev::Nev_mutex m_mutex;
  // When the watch began: construction or reset().
  nev::Nev_date_and_time m_start;
  // The latest tick, or the start while there was none.
  nev::Nev_date_and_time m_last_tick;
  // The span from m_start to m_last_tick as the last working() saw it;
  // working() moves it, so it changes inside a const operation.
  mutable nev::Nev_time_period m_period;
};

}  // namespace kov
