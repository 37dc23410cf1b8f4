// The system clock and the local zone of the C library.
#include <ctime>

#include "nev/platform.h"

namespace nev::platform {

std::int64_t clock_microseconds() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
}

std::int64_t local_offset_at_utc(std::int64_t utc_seconds) {
  // localtime_r need not look at TZ again by itself; tzset makes a changed
  // zone setting count from the next conversion on.
  tzset();
  const time_t instant = static_cast<time_t>(utc_seconds);
  tm local{};
  if (localtime_r(&instant, &local) == nullptr) return 0;
  return local.tm_gmtoff;
}

std::int64_t local_offset_at_local(std::int64_t local_seconds) {
  const time_t reading = static_cast<time_t>(local_seconds);
  tm fields{};
  if (gmtime_r(&reading, &fields) == nullptr) return 0;
  fields.tm_isdst = -1;  // let the zone rules decide whether daylight time applies
  fields.tm_wday = -1;   // mktime sets it only on success, so -1 marks failure
  const time_t instant = mktime(&fields);
  if (fields.tm_wday == -1) return 0;
  return local_seconds - static_cast<std::int64_t>(instant);
}

}  // namespace nev::platform
