// The system clock and the local zone of the C library.
#include <atomic>
#include <ctime>
#include <mutex>

#include "nev/posix/posix_platform.h"

namespace nev::platform {

namespace {

// tzset looks at TZ and the zone file again, which costs a file status call
// each time when TZ is unset: several microseconds per diagnostic line. So it
// runs at most once a second; a changed zone setting counts within a second,
// and at once for a caller that calls tzset itself.
void refresh_zone_rules() {
  static std::atomic<std::int64_t> next_refresh{0};
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  const std::int64_t second = now.tv_sec;
  std::int64_t due = next_refresh.load(std::memory_order_relaxed);
  if (second >= due && next_refresh.compare_exchange_strong(due, second + 1, std::memory_order_relaxed)) {
    tzset();
  }
}

// What tzset left in the C library's globals, which is what local time is
// made from: another zone setting gives other names, offsets or daylight
// flag. The names are the library's own copies, kept for the process, so
// their addresses tell one from another.
struct Zone_identity {
  std::atomic<const char*> standard_name{nullptr};
  std::atomic<const char*> daylight_name{nullptr};
  std::atomic<long> offset{0};
  std::atomic<int> daylight_flag{0};

  bool is_current() const noexcept {
    return standard_name.load(std::memory_order_relaxed) == tzname[0] &&
           daylight_name.load(std::memory_order_relaxed) == tzname[1] &&
           offset.load(std::memory_order_relaxed) == timezone && daylight_flag.load(std::memory_order_relaxed) == daylight;
  }
  void take_current() noexcept {
    standard_name.store(tzname[0], std::memory_order_relaxed);
    daylight_name.store(tzname[1], std::memory_order_relaxed);
    offset.store(timezone, std::memory_order_relaxed);
    daylight_flag.store(daylight, std::memory_order_relaxed);
  }
};

bool offset_at(time_t instant, std::int64_t& offset) {
  tm local{};
  if (localtime_r(&instant, &local) == nullptr) return false;
  offset = local.tm_gmtoff;
  return true;
}

}  // namespace

std::uint64_t Posix_platform::zone_generation() {
  // The identity last seen and the count of changes seen. The check reads
  // four globals; the lock is taken only when they changed. A check that
  // overlaps an update may count one change twice, never miss one.
  static std::mutex mutex;
  static Zone_identity seen;
  static std::atomic<std::uint64_t> generation{1};
  refresh_zone_rules();
  if (!seen.is_current()) {
    std::lock_guard<std::mutex> lock(mutex);
    if (!seen.is_current()) {
      generation.fetch_add(1, std::memory_order_acq_rel);
      seen.take_current();
    }
  }
  return generation.load(std::memory_order_acquire);
}

std::int64_t Posix_platform::clock_microseconds() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
}

std::int64_t Posix_platform::local_offset_at_utc(std::int64_t utc_seconds) {
  refresh_zone_rules();
  std::int64_t offset = 0;
  return offset_at(static_cast<time_t>(utc_seconds), offset) ? offset : 0;
}

std::int64_t Posix_platform::local_offset_at_local(std::int64_t local_seconds) {
  // The offset in force at the reading, found from the UTC side: take the
  // offset at the reading as if it were UTC, then the offset at the instant
  // that this guess gives. Both agree except near a change of offset, where
  // the second is the one in force. (mktime would do the same, but it looks
  // at the zone file again on every call.)
  refresh_zone_rules();
  std::int64_t guess = 0;
  if (!offset_at(static_cast<time_t>(local_seconds), guess)) return 0;
  std::int64_t offset = guess;
  if (!offset_at(static_cast<time_t>(local_seconds - guess), offset)) return guess;
  return offset;
}

}  // namespace nev::platform
