// Calendar arithmetic, periods and the text forms of dates and times. The
// clock and the local zone come from the platform layer; everything else here
// is plain arithmetic on the proleptic Gregorian calendar.
#include "nev/time.h"

#include <array>
#include <string_view>

#include "nev/platform.h"

namespace nev {

namespace {

constexpr std::int64_t MICROS_PER_SECOND = 1'000'000;
constexpr std::int64_t MICROS_PER_MINUTE = 60 * MICROS_PER_SECOND;
constexpr std::int64_t MICROS_PER_HOUR = 60 * MICROS_PER_MINUTE;
constexpr std::int64_t MICROS_PER_DAY = 24 * MICROS_PER_HOUR;

constexpr std::array<const char16_t*, 7> WEEKDAY_NAMES = {
    u"Sunday", u"Monday", u"Tuesday", u"Wednesday", u"Thursday", u"Friday", u"Saturday"};
constexpr std::array<const char16_t*, 12> MONTH_NAMES = {
    u"January", u"February", u"March",     u"April",   u"May",      u"June",
    u"July",    u"August",   u"September", u"October", u"November", u"December"};


// Division rounding towards minus infinity, and its non-negative remainder.
constexpr std::int64_t floor_div(std::int64_t value, std::int64_t divisor) noexcept {
  std::int64_t quotient = value / divisor;
  if (value % divisor < 0) --quotient;
  return quotient;
}
constexpr std::int64_t floor_mod(std::int64_t value, std::int64_t divisor) noexcept {
  return value - floor_div(value, divisor) * divisor;
}

constexpr bool is_leap_year(std::int64_t year) noexcept {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr int days_in_month(int month, std::int64_t year) noexcept {
  constexpr int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && is_leap_year(year) ? 29 : DAYS[month - 1];
}

// Days from 1 January 1970 to the given day. The year is shifted to start in
// March, so that the leap day falls at the end of a shifted year and every
// 400-year era has the same length (146097 days).
constexpr std::int64_t days_from_civil(std::int64_t year, int month, int day) noexcept {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = floor_div(year, 400);
  const std::int64_t year_of_era = year - era * 400;
  const std::int64_t shifted_month = month > 2 ? month - 3 : month + 9;
  const std::int64_t day_of_year = (153 * shifted_month + 2) / 5 + day - 1;
  const std::int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

// The inverse of days_from_civil.
Nev_date civil_from_days(std::int64_t days) noexcept {
  days += 719468;
  const std::int64_t era = floor_div(days, 146097);
  const std::int64_t day_of_era = days - era * 146097;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t shifted_month = (5 * day_of_year + 2) / 153;
  const int day = static_cast<int>(day_of_year - (153 * shifted_month + 2) / 5 + 1);
  const int month = static_cast<int>(shifted_month < 10 ? shifted_month + 3 : shifted_month - 9);
  const std::int64_t year = year_of_era + era * 400 + (month <= 2 ? 1 : 0);
  return Nev_date(day, month, static_cast<int>(year));
}

// Microseconds since 1970 of a wall-clock reading, as if its zone were UTC.
std::int64_t wall_clock_micros(const Nev_date& date, const Nev_time& time) noexcept {
  const std::int64_t days = days_from_civil(date.year(), date.month(), date.day());
  return days * MICROS_PER_DAY + time.hours() * MICROS_PER_HOUR + time.minutes() * MICROS_PER_MINUTE +
         time.seconds() * MICROS_PER_SECOND + time.microseconds();
}

Nev_time time_of_day(std::int64_t micros_of_day) noexcept {
  return Nev_time(static_cast<int>(micros_of_day / MICROS_PER_HOUR),
                  static_cast<int>(micros_of_day / MICROS_PER_MINUTE % 60),
                  static_cast<int>(micros_of_day / MICROS_PER_SECOND % 60),
                  static_cast<int>(micros_of_day % MICROS_PER_SECOND));
}

// ---- text ---------------------------------------------------------------------------

// Appends `value` in decimal, zero-filled on the left to `width` digits; a
// negative value gets its "-" before the fill.
void append_number(std::u16string& out, std::int64_t value, unsigned width) {
  const bool negative = value < 0;
  // The magnitude as unsigned, so that the most negative value is exact.
  std::uint64_t magnitude = negative ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  char16_t digits[24];
  unsigned count = 0;
  do {
    digits[count++] = static_cast<char16_t>(u'0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (negative) out += u'-';
  for (unsigned fill = count; fill < width; ++fill) out += u'0';
  while (count > 0) out += digits[--count];
}

void append_short_name(std::u16string& out, const char16_t* name) { out.append(name, 3); }

// Appends `format` to `text`, handing each "%x" to `convert`, which appends
// its expansion and returns true, or returns false for a conversion it does
// not know; that one is copied as it stands. "%%" is one "%", and a "%" at
// the very end is copied.
template <typename Convert>
void append_expanded(std::u16string_view format, std::u16string& text, const Convert& convert) {
  for (std::size_t i = 0; i < format.size(); ++i) {
    const char16_t unit = format[i];
    if (unit != u'%' || i + 1 == format.size()) {
      text += unit;
      continue;
    }
    const char16_t conversion = format[++i];
    if (conversion == u'%') {
      text += u'%';
    } else if (!convert(conversion, text)) {
      text += u'%';
      text += conversion;
    }
  }
}

// Replaces `out` with `format` expanded; `out` may be `format` itself.
template <typename Convert>
void expand(const std::u16string& format, std::u16string& out, const Convert& convert) {
  std::u16string text;
  text.reserve(format.size() + 16);
  append_expanded(format, text, convert);
  out = std::move(text);
}

bool convert_date(const Nev_date& date, char16_t conversion, std::u16string& out) {
  // A date built unchecked with a month outside 1 to 12 has no month name.
  const bool named_month = Nev_date::is_month(date.month());
  if (!named_month && (conversion == u'B' || conversion == u'b')) return false;
  switch (conversion) {
    case u'A': out += WEEKDAY_NAMES[static_cast<std::size_t>(date.day_of_week())]; return true;
    case u'a': append_short_name(out, WEEKDAY_NAMES[static_cast<std::size_t>(date.day_of_week())]); return true;
    case u'B': out += MONTH_NAMES[static_cast<std::size_t>(date.month() - 1)]; return true;
    case u'b': append_short_name(out, MONTH_NAMES[static_cast<std::size_t>(date.month() - 1)]); return true;
    case u'd': append_number(out, date.day(), 2); return true;
    case u'm': append_number(out, date.month(), 2); return true;
    case u'Y': append_number(out, date.year(), 4); return true;
    default: return false;
  }
}

bool convert_time(int hours, int minutes, int seconds, int microseconds, char16_t conversion,
                  std::u16string& out) {
  switch (conversion) {
    case u'H': append_number(out, hours, 2); return true;
    case u'M': append_number(out, minutes, 2); return true;
    case u'S': append_number(out, seconds, 2); return true;
    case u'f': append_number(out, microseconds, 6); return true;
    default: return false;
  }
}

bool convert_time(const Nev_time& time, char16_t conversion, std::u16string& out) {
  return convert_time(time.hours(), time.minutes(), time.seconds(), time.microseconds(), conversion, out);
}

// "3 days 02:01:00.500000": the days, then the part below one day.
void append_period(std::u16string& out, const Nev_time_period& period) {
  const Nev_time_period magnitude = period.negative() ? -period : period;
  if (period.negative()) out += u'-';
  append_number(out, magnitude.days(), 0);
  out += magnitude.days() == 1 ? u" day " : u" days ";
  append_number(out, magnitude.hours(), 2);
  out += u':';
  append_number(out, magnitude.minutes(), 2);
  out += u':';
  append_number(out, magnitude.seconds(), 2);
  out += u'.';
  append_number(out, magnitude.microseconds(), 6);
}

}  // namespace

// ---- clock ----------------------------------------------------------------------------

std::int64_t nev_local_offset(std::int64_t seconds, bool at_utc) {
  platform::Platform& system = platform::current();
  return at_utc ? system.local_offset_at_utc(seconds) : system.local_offset_at_local(seconds);
}

std::int64_t nev_clock_now() { return platform::current().clock_microseconds(); }

// ---- Nev_time_period ---------------------------------------------------------------

const Nev_time_period Nev_time_period::ZERO;

Nev_time_period::Nev_time_period(int days, int hours, int minutes, int seconds, int microseconds) noexcept {
  // The parts below a day fit 64 bits even at their extremes (about 7.9e18);
  // the days are added separately so that 2^31 days stay exact.
  const std::int64_t below_days = hours * MICROS_PER_HOUR + minutes * MICROS_PER_MINUTE +
                                  seconds * MICROS_PER_SECOND + static_cast<std::int64_t>(microseconds);
  m_days = static_cast<std::int64_t>(days) + floor_div(below_days, MICROS_PER_DAY);
  m_micros = floor_mod(below_days, MICROS_PER_DAY);
}

Nev_time_period Nev_time_period::from_microseconds(std::int64_t microseconds) noexcept {
  Nev_time_period period;
  period.m_days = floor_div(microseconds, MICROS_PER_DAY);
  period.m_micros = floor_mod(microseconds, MICROS_PER_DAY);
  return period;
}

int Nev_time_period::hours() const noexcept { return static_cast<int>(m_micros / MICROS_PER_HOUR); }
int Nev_time_period::minutes() const noexcept { return static_cast<int>(m_micros / MICROS_PER_MINUTE % 60); }
int Nev_time_period::seconds() const noexcept { return static_cast<int>(m_micros / MICROS_PER_SECOND % 60); }
int Nev_time_period::microseconds() const noexcept { return static_cast<int>(m_micros % MICROS_PER_SECOND); }

bool Nev_time_period::operator==(const Nev_time_period& other) const noexcept {
  return m_days == other.m_days && m_micros == other.m_micros;
}
bool Nev_time_period::operator!=(const Nev_time_period& other) const noexcept { return !(*this == other); }
bool Nev_time_period::operator<(const Nev_time_period& other) const noexcept {
  return m_days != other.m_days ? m_days < other.m_days : m_micros < other.m_micros;
}
bool Nev_time_period::operator>(const Nev_time_period& other) const noexcept { return other < *this; }
bool Nev_time_period::operator<=(const Nev_time_period& other) const noexcept { return !(other < *this); }
bool Nev_time_period::operator>=(const Nev_time_period& other) const noexcept { return !(*this < other); }

Nev_time_period Nev_time_period::operator+(const Nev_time_period& other) const noexcept {
  Nev_time_period sum;
  sum.m_days = m_days + other.m_days;
  sum.m_micros = m_micros + other.m_micros;
  if (sum.m_micros >= MICROS_PER_DAY) {
    sum.m_micros -= MICROS_PER_DAY;
    ++sum.m_days;
  }
  return sum;
}

Nev_time_period Nev_time_period::operator-(const Nev_time_period& other) const noexcept {
  return *this + -other;
}

Nev_time_period Nev_time_period::operator-() const noexcept {
  Nev_time_period negated;
  if (m_micros == 0) {
    negated.m_days = -m_days;
  } else {
    negated.m_days = -m_days - 1;
    negated.m_micros = MICROS_PER_DAY - m_micros;
  }
  return negated;
}

void Nev_time_period::to_string(const std::u16string& format, std::u16string& out) const {
  expand(format, out, [this](char16_t conversion, std::u16string& text) {
    if (conversion == u'P') {
      append_period(text, *this);
      return true;
    }
    if (conversion == u'D') {
      append_number(text, m_days, 0);
      return true;
    }
    return convert_time(hours(), minutes(), seconds(), microseconds(), conversion, text);
  });
}

// ---- Nev_time ------------------------------------------------------------------------

Nev_time::Nev_time(int hours, int minutes, int seconds, int microseconds) noexcept
    : m_hours(hours), m_minutes(minutes), m_seconds(seconds), m_microseconds(microseconds) {}

Nev_time::Nev_time(const Nev_time_period& period) noexcept : Nev_time(time_of_day(period.day_microseconds())) {}

Nev_time Nev_time::now() { return Nev_date_and_time::now().time(); }

bool Nev_time::valid_hour(int hour) noexcept { return hour >= 0 && hour <= 23; }
bool Nev_time::valid_minute(int minute) noexcept { return minute >= 0 && minute <= 59; }
bool Nev_time::valid_second(int second) noexcept { return second >= 0 && second <= 59; }
bool Nev_time::valid_microsecond(int microsecond) noexcept { return microsecond >= 0 && microsecond <= 999'999; }

bool Nev_time::operator==(const Nev_time& other) const noexcept {
  return m_hours == other.m_hours && m_minutes == other.m_minutes && m_seconds == other.m_seconds &&
         m_microseconds == other.m_microseconds;
}

bool Nev_time::operator<(const Nev_time& other) const noexcept {
  if (m_hours != other.m_hours) return m_hours < other.m_hours;
  if (m_minutes != other.m_minutes) return m_minutes < other.m_minutes;
  if (m_seconds != other.m_seconds) return m_seconds < other.m_seconds;
  return m_microseconds < other.m_microseconds;
}

void Nev_time::to_string(const std::u16string& format, std::u16string& out) const {
  expand(format, out, [this](char16_t conversion, std::u16string& text) {
    return convert_time(*this, conversion, text);
  });
}

// ---- Nev_date ------------------------------------------------------------------------

Nev_date::Nev_date(int day, int month, int year) noexcept : m_day(day), m_month(month), m_year(year) {}

Nev_date Nev_date::today() { return Nev_date_and_time::now().date(); }

int Nev_date::day_of_week() const noexcept {
  // 1 January 1970 was a Thursday (4).
  return static_cast<int>(floor_mod(days_from_civil(m_year, m_month, m_day) + 4, 7));
}

bool Nev_date::is_year(int year) noexcept { return year >= 1 && year <= 9999; }
bool Nev_date::is_month(int month) noexcept { return month >= 1 && month <= 12; }

bool Nev_date::is_day_in_month(int day, int month, int year) noexcept {
  return is_month(month) && day >= 1 && day <= days_in_month(month, year);
}

bool Nev_date::operator==(const Nev_date& other) const noexcept {
  return m_day == other.m_day && m_month == other.m_month && m_year == other.m_year;
}

bool Nev_date::operator<(const Nev_date& other) const noexcept {
  if (m_year != other.m_year) return m_year < other.m_year;
  if (m_month != other.m_month) return m_month < other.m_month;
  return m_day < other.m_day;
}

void Nev_date::to_string(const std::u16string& format, std::u16string& out) const {
  expand(format, out, [this](char16_t conversion, std::u16string& text) {
    return convert_date(*this, conversion, text);
  });
}

// ---- Nev_time_zone ---------------------------------------------------------------------

Nev_time_zone Nev_time_zone::local() noexcept {
  Nev_time_zone zone;
  zone.m_local = true;
  return zone;
}

Nev_time_zone Nev_time_zone::utc() noexcept { return Nev_time_zone(); }

Nev_time_zone Nev_time_zone::fixed(int offset_minutes) noexcept {
  Nev_time_zone zone;
  zone.m_offset_minutes = offset_minutes;
  return zone;
}

bool Nev_time_zone::operator==(const Nev_time_zone& other) const noexcept {
  return m_local == other.m_local && m_offset_minutes == other.m_offset_minutes;
}

// ---- Nev_date_and_time ---------------------------------------------------------------

Nev_date_and_time::Nev_date_and_time(const Nev_date& date, const Nev_time& time,
                                     const Nev_time_zone& zone) noexcept
    : m_date(date), m_time(time), m_zone(zone) {}

Nev_date_and_time Nev_date_and_time::now() {
  const std::int64_t utc = nev_clock_now();
  const std::int64_t offset = nev_local_offset(floor_div(utc, MICROS_PER_SECOND), true);
  const std::int64_t wall = utc + offset * MICROS_PER_SECOND;
  return Nev_date_and_time(civil_from_days(floor_div(wall, MICROS_PER_DAY)),
                           time_of_day(floor_mod(wall, MICROS_PER_DAY)), Nev_time_zone::local());
}

std::int64_t Nev_date_and_time::utc_microseconds() const {
  const std::int64_t wall = wall_clock_micros(m_date, m_time);
  const std::int64_t offset_seconds = m_zone.is_local()
                                          ? nev_local_offset(floor_div(wall, MICROS_PER_SECOND), false)
                                          : std::int64_t{m_zone.offset_minutes()} * 60;
  return wall - offset_seconds * MICROS_PER_SECOND;
}

Nev_time_period Nev_date_and_time::operator-(const Nev_date_and_time& other) const {
  return Nev_time_period::from_microseconds(utc_microseconds() - other.utc_microseconds());
}

bool Nev_date_and_time::operator==(const Nev_date_and_time& other) const {
  return utc_microseconds() == other.utc_microseconds();
}
bool Nev_date_and_time::operator!=(const Nev_date_and_time& other) const { return !(*this == other); }
bool Nev_date_and_time::operator<(const Nev_date_and_time& other) const {
  return utc_microseconds() < other.utc_microseconds();
}
bool Nev_date_and_time::operator>(const Nev_date_and_time& other) const { return other < *this; }

void Nev_date_and_time::to_string(const std::u16string& format, std::u16string& out) const {
  expand(format, out, [this](char16_t conversion, std::u16string& text) {
    if (conversion == u'c') {
      append_expanded(u"%a %d %b %Y %H:%M:%S", text, [this](char16_t part, std::u16string& part_text) {
        return convert_date(m_date, part, part_text) || convert_time(m_time, part, part_text);
      });
      return true;
    }
    return convert_date(m_date, conversion, text) || convert_time(m_time, conversion, text);
  });
}

}  // namespace nev
