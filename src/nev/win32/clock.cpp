// The system clock and the local zone through the Windows time calls.
#include <atomic>
#include <cstring>
#include <mutex>

#include "nev/win32/win32_platform.h"
#include "nev/win32/win32_text.h"

namespace nev::platform {

namespace {

// 100-nanosecond intervals between 1 January 1601 and 1 January 1970.
constexpr std::int64_t EPOCH_DIFFERENCE = 116444736000000000;

std::int64_t ticks_of(const FILETIME& time) {
  return static_cast<std::int64_t>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime);
}

FILETIME filetime_of(std::int64_t unix_seconds) {
  const auto ticks = static_cast<std::uint64_t>(unix_seconds * 10'000'000 + EPOCH_DIFFERENCE);
  FILETIME time;
  time.dwLowDateTime = static_cast<DWORD>(ticks);
  time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return time;
}

// Converts `seconds` (since 1970) with `convert` from one reading of the
// wall clock to the other; false when Windows cannot (before 1601 and the like).
template <class Convert>
bool convert_seconds(std::int64_t seconds, Convert convert, std::int64_t& converted) {
  // FILETIME counts from 1601 and SYSTEMTIME ends in 30827.
  if (seconds < -11'644'473'600 || seconds > 900'000'000'000) return false;
  const FILETIME in_time = filetime_of(seconds);
  SYSTEMTIME in_system, out_system;
  FILETIME out_time;
  if (!FileTimeToSystemTime(&in_time, &in_system) || !convert(&in_system, &out_system) ||
      !SystemTimeToFileTime(&out_system, &out_time)) {
    return false;
  }
  converted = (ticks_of(out_time) - EPOCH_DIFFERENCE) / 10'000'000;
  return true;
}

// The zone information last seen, compared whole: another zone, other
// rules or another daylight-saving setting all count as a change.
struct Zone_seen {
  std::mutex mutex;
  DYNAMIC_TIME_ZONE_INFORMATION info{};
  bool known = false;
  std::atomic<std::uint64_t> generation{1};
  std::atomic<std::uint64_t> next_check{0};
};

Zone_seen& zone_seen() {
  static Zone_seen* seen = new Zone_seen;  // outlives every static user
  return *seen;
}

// How often the zone information is read again, in milliseconds of the
// tick count: reading it goes to the system's registry, too slow for every
// traced line, so a change is seen within this time.
constexpr std::uint64_t ZONE_CHECK_INTERVAL_MS = 1000;

}  // namespace

std::uint64_t Win32_platform::zone_generation() {
  Zone_seen& seen = zone_seen();
  const std::uint64_t now = GetTickCount64();
  if (now < seen.next_check.load(std::memory_order_acquire)) {
    return seen.generation.load(std::memory_order_acquire);
  }
  std::lock_guard<std::mutex> lock(seen.mutex);
  DYNAMIC_TIME_ZONE_INFORMATION info{};
  if (GetDynamicTimeZoneInformation(&info) != TIME_ZONE_ID_INVALID) {
    if (seen.known && std::memcmp(&info, &seen.info, sizeof info) != 0) {
      seen.generation.fetch_add(1, std::memory_order_acq_rel);
    }
    seen.info = info;
    seen.known = true;
  }
  seen.next_check.store(now + ZONE_CHECK_INTERVAL_MS, std::memory_order_release);
  return seen.generation.load(std::memory_order_acquire);
}

std::int64_t Win32_platform::clock_microseconds() {
  FILETIME now;
  GetSystemTimePreciseAsFileTime(&now);
  return (ticks_of(now) - EPOCH_DIFFERENCE) / 10;
}

std::int64_t Win32_platform::local_offset_at_utc(std::int64_t utc_seconds) {
  std::int64_t local = 0;
  auto convert = [](const SYSTEMTIME* in, SYSTEMTIME* out) {
    return SystemTimeToTzSpecificLocalTime(nullptr, in, out) != FALSE;
  };
  return convert_seconds(utc_seconds, convert, local) ? local - utc_seconds : 0;
}

std::int64_t Win32_platform::local_offset_at_local(std::int64_t local_seconds) {
  std::int64_t utc = 0;
  auto convert = [](const SYSTEMTIME* in, SYSTEMTIME* out) {
    return TzSpecificLocalTimeToSystemTime(nullptr, in, out) != FALSE;
  };
  return convert_seconds(local_seconds, convert, utc) ? local_seconds - utc : 0;
}

}  // namespace nev::platform
