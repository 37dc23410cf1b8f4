// Dates, times of day, spans of time and zones, with microsecond precision.
//
// Nev_date is a calendar day from 1 January 1 to 31 December 9999 (proleptic
// Gregorian). Nev_time is a time of day. Nev_time_period is a signed span,
// wide enough for 2^31 days and more. Nev_date_and_time joins a date, a time
// and a zone; comparisons and subtraction work on the instant it denotes.
//
// Text formats are the foundation's own and do not depend on the locale:
//   %A  full weekday name (Monday)        %a  short weekday name (Mon)
//   %B  full month name (July)            %b  short month name (Jul)
//   %d  day of the month, two digits      %m  month, two digits
//   %Y  year, four digits (more if larger)
//   %H  hour, two digits  %M  minute, two digits  %S  second, two digits
//   %f  microseconds, six digits
//   %c  date and time: "Mon 05 Jul 1999 13:04:09"
//   %P  a period: "3 days 02:01:00.500000" ("1 day ..." for one day; a
//       negative period shows "-" before the form of its magnitude)
//   %%  one "%"
// Any other text is copied, CR LF included; an unknown conversion is copied
// as it stands. Each class expands the conversions that fit it.
//
// The clock and the local zone are the platform's (tests replace them through
// the foundation's platform object). All classes are plain values; the static
// functions may be called from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "nev/export.h"

namespace nev {

// A signed span of time. Kept as whole days (rounded down) and the
// microseconds of the day that remain (0 to 86,399,999,999), so that a span
// of 2^31 days is exact.
class NEV_EXPORT Nev_time_period {
 public:
  // The zero span.
  Nev_time_period() noexcept = default;
  // The sum of the five parts, each of which may be negative or beyond its
  // usual range.
  Nev_time_period(int days, int hours, int minutes, int seconds, int microseconds) noexcept;
  // A span of `microseconds`.
  static Nev_time_period from_microseconds(std::int64_t microseconds) noexcept;

  // The zero span.
  static const Nev_time_period ZERO;

  // Whole days, rounded towards minus infinity.
  std::int64_t days() const noexcept { return m_days; }
  // Parts of the remainder below one day (always 0 or more).
  int hours() const noexcept;
  int minutes() const noexcept;
  int seconds() const noexcept;
  int microseconds() const noexcept;
  // Microseconds of the remainder below one day.
  std::int64_t day_microseconds() const noexcept { return m_micros; }
  // True when the span is below zero.
  bool negative() const noexcept { return m_days < 0; }

  bool operator==(const Nev_time_period& other) const noexcept;
  bool operator!=(const Nev_time_period& other) const noexcept;
  bool operator<(const Nev_time_period& other) const noexcept;
  bool operator>(const Nev_time_period& other) const noexcept;
  bool operator<=(const Nev_time_period& other) const noexcept;
  bool operator>=(const Nev_time_period& other) const noexcept;
  Nev_time_period operator+(const Nev_time_period& other) const noexcept;
  Nev_time_period operator-(const Nev_time_period& other) const noexcept;
  Nev_time_period operator-() const noexcept;

  // Replaces `out` with `format` expanded (%P, %H, %M, %S, %f, and %D for
  // the days).
  void to_string(const std::u16string& format, std::u16string& out) const;

 private:
  std::int64_t m_days = 0;
  std::int64_t m_micros = 0;
};

// A time of day.
class NEV_EXPORT Nev_time {
 public:
  // Midnight.
  Nev_time() noexcept = default;
  // The parts as given; callers check them with the valid_ functions first.
  Nev_time(int hours, int minutes, int seconds, int microseconds) noexcept;
  // The part of `period` below one day.
  explicit Nev_time(const Nev_time_period& period) noexcept;

  // The local time of day now.
  static Nev_time now();

  int hours() const noexcept { return m_hours; }
  int minutes() const noexcept { return m_minutes; }
  int seconds() const noexcept { return m_seconds; }
  int microseconds() const noexcept { return m_microseconds; }

  static bool valid_hour(int hour) noexcept;                // 0 to 23
  static bool valid_minute(int minute) noexcept;            // 0 to 59
  static bool valid_second(int second) noexcept;            // 0 to 59
  static bool valid_microsecond(int microsecond) noexcept;  // 0 to 999999

  bool operator==(const Nev_time& other) const noexcept;
  bool operator<(const Nev_time& other) const noexcept;

  // Replaces `out` with `format` expanded (%H, %M, %S, %f).
  void to_string(const std::u16string& format, std::u16string& out) const;

 private:
  int m_hours = 0;
  int m_minutes = 0;
  int m_seconds = 0;
  int m_microseconds = 0;
};

// A calendar day.
class NEV_EXPORT Nev_date {
 public:
  // 1 January 1.
  Nev_date() noexcept = default;
  // The parts as given; callers check them with the is_ functions first.
  Nev_date(int day, int month, int year) noexcept;

  // The local date today.
  static Nev_date today();

  int day() const noexcept { return m_day; }
  int month() const noexcept { return m_month; }
  int year() const noexcept { return m_year; }
  // 0 for Sunday to 6 for Saturday.
  int day_of_week() const noexcept;

  static bool is_year(int year) noexcept;    // 1 to 9999
  static bool is_month(int month) noexcept;  // 1 to 12
  // True when `day` exists in that month of that year (leap years counted).
  static bool is_day_in_month(int day, int month, int year) noexcept;

  bool operator==(const Nev_date& other) const noexcept;
  bool operator<(const Nev_date& other) const noexcept;

  // Replaces `out` with `format` expanded (%A, %a, %B, %b, %d, %m, %Y).
  void to_string(const std::u16string& format, std::u16string& out) const;

 private:
  int m_day = 1;
  int m_month = 1;
  int m_year = 1;
};

// A time zone: either the local zone of the C library (whose offset follows
// daylight saving time at each instant) or a fixed offset from UTC.
class NEV_EXPORT Nev_time_zone {
 public:
  // UTC.
  Nev_time_zone() noexcept = default;
  // The local zone.
  static Nev_time_zone local() noexcept;
  // UTC.
  static Nev_time_zone utc() noexcept;
  // A fixed offset east of UTC, in minutes.
  static Nev_time_zone fixed(int offset_minutes) noexcept;

  bool is_local() const noexcept { return m_local; }
  // The fixed offset in minutes (0 for the local zone).
  int offset_minutes() const noexcept { return m_offset_minutes; }

  bool operator==(const Nev_time_zone& other) const noexcept;

 private:
  bool m_local = false;
  int m_offset_minutes = 0;
};

// A date and time of day in a zone.
class NEV_EXPORT Nev_date_and_time {
 public:
  // 1 January 1, midnight, UTC.
  Nev_date_and_time() noexcept = default;
  Nev_date_and_time(const Nev_date& date, const Nev_time& time, const Nev_time_zone& zone) noexcept;

  // The local date and time now, in the local zone.
  static Nev_date_and_time now();

  const Nev_date& date() const noexcept { return m_date; }
  const Nev_time& time() const noexcept { return m_time; }
  const Nev_time_zone& zone() const noexcept { return m_zone; }

  // The instant as microseconds since 1 January 1970 UTC.
  std::int64_t utc_microseconds() const;

  // The span from `other` to this instant.
  Nev_time_period operator-(const Nev_date_and_time& other) const;
  // Comparisons of the instants, whatever the zones.
  bool operator==(const Nev_date_and_time& other) const;
  bool operator!=(const Nev_date_and_time& other) const;
  bool operator<(const Nev_date_and_time& other) const;
  bool operator>(const Nev_date_and_time& other) const;

  // Replaces `out` with `format` expanded (the conversions of Nev_date and
  // Nev_time, and %c).
  void to_string(const std::u16string& format, std::u16string& out) const;

 private:
  Nev_date m_date;
  Nev_time m_time;
  Nev_time_zone m_zone;
};

// The current time: microseconds since 1 January 1970 UTC. A failure of the
// clock passes out as an exception.
NEV_EXPORT std::int64_t nev_clock_now();

// The local zone's offset east of UTC in seconds. With `at_utc` true,
// `seconds` is a UTC instant; with false, a local wall-clock reading (seconds
// since 1 January 1970 counted as if the zone were UTC). A failure passes out
// as an exception of whatever needed the offset (now(), and the comparisons
// and subtraction of local date-times).
NEV_EXPORT std::int64_t nev_local_offset(std::int64_t seconds, bool at_utc);

}  // namespace nev
