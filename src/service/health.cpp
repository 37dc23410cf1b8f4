// Kov_health and Kov_monitor.
#include "kov/health.h"

#include <mutex>

namespace kov {

using Hold = std::lock_guard<nev::Nev_mutex>;

// ---- Kov_health -------------------------------------------------------------------

Kov_health::Kov_health() : m_mutex(false, nullptr) {}

void Kov_health::exception_caught() {
  Hold hold(m_mutex);
  ++m_exceptions;
}

void Kov_health::thread_killed() {
  Hold hold(m_mutex);
  ++m_threads;
}

void Kov_health::reset() {
  Hold hold(m_mutex);
  m_exceptions = 0;
  m_threads = 0;
}

std::uint32_t Kov_health::num_exceptions() const {
  Hold hold(m_mutex);
  return m_exceptions;
}

std::uint32_t Kov_health::num_threads() const {
  Hold hold(m_mutex);
  return m_threads;
}

// ---- Kov_monitor ------------------------------------------------------------------

Kov_monitor::Kov_monitor()
    : m_mutex(false, nullptr), m_start(nev::Nev_date_and_time::now()), m_last_tick(nev::Nev_date_and_time::now()) {}

void Kov_monitor::reset() {
  Hold hold(m_mutex);
  // Both readings are taken before any field changes, so a clock that fails
  // on either leaves the watch as it was.
  const nev::Nev_date_and_time start = nev::Nev_date_and_time::now();
  const nev::Nev_date_and_time last_tick = nev::Nev_date_and_time::now();
  m_start = start;
  m_last_tick = last_tick;
  m_period = nev::Nev_time_period::ZERO;
}

void Kov_monitor::tick() {
  Hold hold(m_mutex);
  m_last_tick = nev::Nev_date_and_time::now();
}

bool Kov_monitor::working() const noexcept {
  bool answer = true;
  bool locked = false;
  try {
    m_mutex.lock();
    locked = true;
    const nev::Nev_time_period span = m_last_tick - m_start;
    answer = span > m_period;
    m_period = span;
    locked = false;
    m_mutex.unlock();
  } catch (...) {
    // Released only when this call holds it: a lock that itself failed is
    // not held, and releasing it would be an error of its own.
    if (locked) m_mutex.unlock();
  }
  return answer;
}

}  // namespace kov
