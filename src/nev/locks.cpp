// Nev_critical and Nev_mutex: recursive locks within one process.
//
// Both stand for objects that are recursive by nature (a thread may take
// what it already holds), so both sit on std::recursive_mutex. A lock must be
// released as often as it was taken before it is destroyed.
#include "nev/locks.h"

#include <mutex>
#include <stdexcept>

namespace nev {

struct Nev_critical::State {
  std::recursive_mutex mutex;
};

struct Nev_mutex::State {
  std::recursive_mutex mutex;
};

Nev_critical::Nev_critical(bool /*spin*/) : m_state(new State) {}

Nev_critical::~Nev_critical() { delete m_state; }

void Nev_critical::lock() { m_state->mutex.lock(); }

bool Nev_critical::try_lock() { return m_state->mutex.try_lock(); }

void Nev_critical::unlock() { m_state->mutex.unlock(); }

Nev_mutex::Nev_mutex(bool initially_owned, const void* security) {
  // Access rules for a lock only mean something for locks shared between
  // processes, which this one is not.
  if (security != nullptr) throw std::invalid_argument("Nev_mutex: security attributes are not supported");
  m_state = new State;
  if (initially_owned) m_state->mutex.lock();
}

Nev_mutex::~Nev_mutex() { delete m_state; }

void Nev_mutex::lock() { m_state->mutex.lock(); }

bool Nev_mutex::try_lock() { return m_state->mutex.try_lock(); }

void Nev_mutex::unlock() { m_state->mutex.unlock(); }

}  // namespace nev
