// Locks. Both are recursive: the thread that holds one may take it again and
// must release it as often as it took it. They meet the standard Lockable
// requirements, so std::lock_guard and std::unique_lock work with them.
//
//   nev::Nev_critical lock(false);
//   { std::lock_guard<nev::Nev_critical> hold(lock); ... }
#pragma once

#include "nev/export.h"

namespace nev {

// A lock within one process.
class NEV_EXPORT Nev_critical {
 public:
  // `spin` is accepted for source compatibility and changes nothing.
  explicit Nev_critical(bool spin = false);
  ~Nev_critical();
  Nev_critical(const Nev_critical&) = delete;
  Nev_critical& operator=(const Nev_critical&) = delete;

  void lock();
  bool try_lock();
  void unlock();

 private:
  // The lock itself, kept out of the class so that its layout does not
  // depend on the standard library's.
  struct State;
  State* m_state;
};

// A lock that may start owned by the thread that makes it.
class NEV_EXPORT Nev_mutex {
 public:
  // With `initially_owned` true the constructing thread holds the lock once.
  // `security` is accepted for source compatibility and must be null.
  explicit Nev_mutex(bool initially_owned = false, const void* security = nullptr);
  ~Nev_mutex();
  Nev_mutex(const Nev_mutex&) = delete;
  Nev_mutex& operator=(const Nev_mutex&) = delete;

  void lock();
  bool try_lock();
  void unlock();

 private:
  struct State;  // as for Nev_critical
  State* m_state;
};

}  // namespace nev
