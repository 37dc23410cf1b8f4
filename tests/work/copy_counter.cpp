// The counting memcpy, memmove and operator new; see copy_counter.h.
//
// memcpy and memmove defined here come before the C library's for every
// shared library of the process; they count and hand on to the next
// definition, found with dlsym. Until it is found (while the process starts)
// they copy byte by byte through volatile pointers, which the compiler
// cannot turn back into a call of themselves.
//
// Windows binds each DLL to the functions it imports when it is built, so
// there no definition of the program reaches the DLLs: copies are not
// counted at all, and allocations only where the program's own code (the
// templates it instantiates, the static libraries it links) makes them.
#include "copy_counter.h"

#ifndef _WIN32
#include <dlfcn.h>
#endif

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

namespace {

std::atomic<std::size_t> g_copied{0};
std::atomic<std::size_t> g_allocated{0};
// Allocations still let through before one fails; negative: none fails.
std::atomic<long> g_fail_countdown{-1};

void* counted_new(std::size_t size) {
  if (g_fail_countdown.load(std::memory_order_relaxed) >= 0 && g_fail_countdown.fetch_sub(1) == 0) {
    throw std::bad_alloc();
  }
  g_allocated += size;
  if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}

#ifndef _WIN32
using Copy = void* (*)(void*, const void*, std::size_t);

std::atomic<Copy> g_memcpy{nullptr};
std::atomic<Copy> g_memmove{nullptr};

void* copy_bytes(void* to, const void* from, std::size_t size) {
  volatile unsigned char* target = static_cast<unsigned char*>(to);
  const volatile unsigned char* source = static_cast<const unsigned char*>(from);
  if (target < source) {
    for (std::size_t i = 0; i < size; ++i) target[i] = source[i];
  } else {
    for (std::size_t i = size; i-- > 0;) target[i] = source[i];
  }
  return to;
}

__attribute__((constructor)) void find_copies() {
  g_memcpy = reinterpret_cast<Copy>(::dlsym(RTLD_NEXT, "memcpy"));
  g_memmove = reinterpret_cast<Copy>(::dlsym(RTLD_NEXT, "memmove"));
}

#endif

}  // namespace

#ifndef _WIN32

extern "C" void* memcpy(void* to, const void* from, std::size_t size) {
  g_copied += size;
  const Copy next = g_memcpy.load(std::memory_order_relaxed);
  return next != nullptr ? next(to, from, size) : copy_bytes(to, from, size);
}

extern "C" void* memmove(void* to, const void* from, std::size_t size) {
  g_copied += size;
  const Copy next = g_memmove.load(std::memory_order_relaxed);
  return next != nullptr ? next(to, from, size) : copy_bytes(to, from, size);
}
#endif

void* operator new(std::size_t size) { return counted_new(size); }
void* operator new[](std::size_t size) { return counted_new(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace work {

Counts counts() { return {g_copied.load(), g_allocated.load()}; }

void fail_allocation_after(long allowed) { g_fail_countdown = allowed; }

void stop_failing() { g_fail_countdown = -1; }

// A string long enough to leave the small-string buffer, copied by the
// standard library (a shared library): its bytes must show in the count.
bool copies_are_counted() {
  static const std::string text(4096, 'x');
  const std::size_t before = g_copied.load();
  volatile std::size_t kept = 0;
  {
    const std::string copy = text;
    kept = copy.size();
  }
  return kept == text.size() && g_copied.load() - before >= text.size();
}

}  // namespace work
