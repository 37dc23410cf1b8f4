// Counts the bytes this process copies with memcpy and memmove and the bytes
// it allocates with operator new, so that a test can tell linear work from
// quadratic work by the amount done rather than by the time taken. It can
// also make one allocation fail, to show what a failure part way leaves.
//
// The counters are process-wide atomics; a test reads them before and after
// the call it measures, on one thread.
#pragma once

#include <cstddef>

namespace work {

struct Counts {
  std::size_t copied = 0;     // bytes through memcpy and memmove
  std::size_t allocated = 0;  // bytes asked of operator new
};

Counts counts();

// The work done between two readings.
inline Counts operator-(const Counts& after, const Counts& before) {
  return {after.copied - before.copied, after.allocated - before.allocated};
}

// Lets the next `allowed` allocations through and makes the one after them
// throw std::bad_alloc; later ones succeed again.
void fail_allocation_after(long allowed);
// Lets every allocation through again.
void stop_failing();

// True when copies made by the libraries reach the counter (false where a
// sanitizer or the compiler routes them elsewhere; tests of copies then
// have nothing to count).
bool copies_are_counted();

}  // namespace work
