// Dates, times, periods and zones; the clock is replaced through
// a replaced clock and the local zone through TZ.
#include "test_platform.h"
#include "nev/time.h"

#include <gtest/gtest.h>
#include "portable.h"

#include <climits>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <stdexcept>

namespace nev {
namespace {

constexpr std::int64_t SECOND = 1'000'000;
constexpr std::int64_t DAY = 86'400 * SECOND;
constexpr std::int64_t JULY_1999_UTC = 931'172'649 * SECOND + 250'000;  // 5 Jul 1999 11:04:09.25 UTC

template <typename Value>
std::u16string text(const Value& value, const std::u16string& format) {
  std::u16string out = u"old";
  value.to_string(format, out);
  return out;
}

// Sets TZ for one test (each test runs in a process of its own).
void set_zone(const char* zone) {
  kov_test::set_env("TZ", zone);
  tzset();
}

std::int64_t g_fake_now = 0;
std::int64_t fake_clock() { return g_fake_now; }
std::int64_t failing_clock() { throw std::runtime_error("clock failed"); }

Nev_date_and_time at(const Nev_date& date, const Nev_time& time, const Nev_time_zone& zone) {
  return Nev_date_and_time(date, time, zone);
}

TEST(NevDate, ValidityFollowsTheGregorianCalendar) {
  struct Case { int day, month, year; bool exists; };
  const Case cases[] = {{29, 2, 2000, true}, {29, 2, 1900, false}, {29, 2, 2024, true}, {29, 2, 2023, false},
                        {0, 1, 2023, false}, {32, 1, 2023, false}, {31, 4, 2023, false}, {30, 4, 2023, true},
                        {31, 12, 9999, true}, {1, 13, 2023, false}, {1, 0, 2023, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(Nev_date::is_day_in_month(c.day, c.month, c.year), c.exists) << c.day << "." << c.month << "." << c.year;
  }
  EXPECT_FALSE(Nev_date::is_year(0) || Nev_date::is_year(10000) || Nev_date::is_month(13));
  EXPECT_TRUE(Nev_date::is_year(1) && Nev_date::is_year(9999) && Nev_date::is_month(12));
  EXPECT_FALSE(Nev_time::valid_hour(24) || Nev_time::valid_second(60) || Nev_time::valid_microsecond(1000000));
}

TEST(NevDate, WeekdaysAndTextForms) {
  const std::pair<Nev_date, int> weekdays[] = {{Nev_date(1, 1, 1), 1},     {Nev_date(1, 1, 1970), 4},
                                               {Nev_date(29, 2, 2000), 2}, {Nev_date(31, 12, 9999), 5},
                                               {Nev_date(1, 3, 1900), 4}};
  for (const auto& [date, weekday] : weekdays) EXPECT_EQ(date.day_of_week(), weekday) << date.year();

  const Nev_date july(5, 7, 1999);
  EXPECT_EQ(text(july, u"**** Diagnostic file created: %A %d %B %Y ****\r\n"),
            u"**** Diagnostic file created: Monday 05 July 1999 ****\r\n");
  EXPECT_EQ(text(july, u"%a %b %m|%q %H 100%% %"), u"Mon Jul 07|%q %H 100% %");
  EXPECT_EQ(text(Nev_date(9, 2, 12), u"%d.%m.%Y"), u"09.02.0012");
  EXPECT_EQ(text(Nev_time(9, 8, 7, 42), u"[%H:%M:%S:%f"), u"[09:08:07:000042");
}

TEST(NevTimePeriod, NormalisesItsParts) {
  struct Case { Nev_time_period period; std::int64_t days, day_micros; };
  const Case cases[] = {
      {Nev_time_period(3, 2, 1, 0, 500000), 3, 7'260 * SECOND + 500'000},
      {Nev_time_period(0, 0, 0, 0, -1), -1, DAY - 1},
      {Nev_time_period(1, -24, 0, 0, 0), 0, 0},
      {Nev_time_period(INT_MAX, 23, 59, 59, 999999), INT_MAX, DAY - 1},
      {Nev_time_period(INT_MIN, 0, 0, 0, -1), std::int64_t{INT_MIN} - 1, DAY - 1},
      {Nev_time_period(0, INT_MAX, INT_MAX, INT_MAX, INT_MAX), 90'994'648, 46'614 * SECOND + 483'647},
      {Nev_time_period::from_microseconds(-DAY - 1), -2, DAY - 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.period.days(), c.days);
    EXPECT_EQ(c.period.day_microseconds(), c.day_micros);
  }
  // The part below one day, for the time-of-day fields of a stored period.
  EXPECT_EQ(Nev_time(Nev_time_period(3, 2, 1, 0, 500000)), Nev_time(2, 1, 0, 500000));
  EXPECT_EQ(Nev_time(Nev_time_period::from_microseconds(-1)), Nev_time(23, 59, 59, 999999));
}

TEST(NevTimePeriod, ComparisonsArithmeticAndText) {
  const Nev_time_period minus_one = Nev_time_period::from_microseconds(-1);
  const Nev_time_period one_day(1, 0, 0, 0, 0);
  EXPECT_TRUE(Nev_time_period() == Nev_time_period::ZERO && !(Nev_time_period() > Nev_time_period::ZERO));
  EXPECT_TRUE(minus_one < Nev_time_period::ZERO && minus_one.negative());
  EXPECT_TRUE(one_day > Nev_time_period(0, 23, 59, 59, 999999));
  EXPECT_EQ(one_day + minus_one, Nev_time_period(0, 23, 59, 59, 999999));
  EXPECT_EQ(-minus_one - one_day, -(Nev_time_period(0, 23, 59, 59, 999999)));
  EXPECT_EQ(-(-Nev_time_period(INT_MIN, 0, 0, 0, 0)), Nev_time_period(INT_MIN, 0, 0, 0, 0));

  const std::pair<Nev_time_period, std::u16string> texts[] = {
      {Nev_time_period(3, 2, 1, 0, 500000), u"3 days 02:01:00.500000"},
      {one_day, u"1 day 00:00:00.000000"},
      {Nev_time_period(), u"0 days 00:00:00.000000"},
      {-one_day, u"-1 day 00:00:00.000000"},
      {Nev_time_period(0, 0, 0, 0, -500000), u"-0 days 00:00:00.500000"},
      {Nev_time_period(INT_MIN, 0, 0, 0, 0), u"-2147483648 days 00:00:00.000000"},
  };
  for (const auto& [period, expected] : texts) EXPECT_EQ(text(period, u"%P"), expected);
  EXPECT_EQ(text(minus_one, u"%D|%H:%M:%S.%f"), u"-1|23:59:59.999999");
}

TEST(NevDateAndTime, InstantsAcrossZones) {
  const Nev_date july(5, 7, 1999);
  const Nev_date_and_time utc = at(july, Nev_time(11, 4, 9, 250000), Nev_time_zone::utc());
  const Nev_date_and_time east = at(july, Nev_time(13, 4, 9, 250000), Nev_time_zone::fixed(120));
  const Nev_date_and_time west = at(Nev_date(4, 7, 1999), Nev_time(23, 4, 9, 250000), Nev_time_zone::fixed(-720));
  EXPECT_EQ(utc.utc_microseconds(), JULY_1999_UTC);
  EXPECT_TRUE(utc == east && utc == west && !(east < west) && !(east > west));
  const Nev_date_and_time later = at(july, Nev_time(11, 4, 10, 0), Nev_time_zone::utc());
  EXPECT_TRUE(later > east && east < later);
  EXPECT_EQ(later - east, Nev_time_period::from_microseconds(750000));
  EXPECT_EQ(east - later, Nev_time_period::from_microseconds(-750000));
  EXPECT_EQ((at(Nev_date(31, 12, 9999), Nev_time(), Nev_time_zone::utc()) - Nev_date_and_time()).days(), 3'652'058);
  EXPECT_EQ(text(east, u"%c|%A %f"), u"Mon 05 Jul 1999 13:04:09|Monday 250000");

  KOV_SKIP_ON_WINDOWS("the local zone is the system's time-zone setting, which TZ does not change");
  set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(at(july, Nev_time(13, 4, 9, 250000), Nev_time_zone::local()), utc);
  EXPECT_EQ(at(Nev_date(5, 1, 1999), Nev_time(13, 0, 0, 0), Nev_time_zone::local()).utc_microseconds() % DAY,
            12 * 3'600 * SECOND);
  // 28 March 1999 the clocks went from 02:00 to 03:00: 01:30 to 03:30 is an hour.
  const Nev_date march(28, 3, 1999);
  EXPECT_EQ(at(march, Nev_time(3, 30, 0, 0), Nev_time_zone::local()) -
                at(march, Nev_time(1, 30, 0, 0), Nev_time_zone::local()),
            Nev_time_period(0, 1, 0, 0, 0));

  // West of UTC: 14 March 2021, 02:00 EST became 03:00 EDT.
  set_zone("EST5EDT,M3.2.0,M11.1.0");
  const Nev_date spring(14, 3, 2021);
  EXPECT_EQ(at(spring, Nev_time(1, 30, 0, 0), Nev_time_zone::local()), at(spring, Nev_time(6, 30, 0, 0), {}));
  EXPECT_EQ(at(spring, Nev_time(3, 30, 0, 0), Nev_time_zone::local()), at(spring, Nev_time(7, 30, 0, 0), {}));
}

TEST(NevDateAndTime, NowReadsTheClockInForceInTheLocalZone) {
  KOV_SKIP_ON_WINDOWS("the local zone is the system's time-zone setting, which TZ does not change");
  set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  auto platform = std::make_unique<Test_platform>();
  platform->clock = fake_clock;
  g_fake_now = JULY_1999_UTC;
  const Nev_date_and_time now = Nev_date_and_time::now();
  EXPECT_TRUE(now.zone().is_local());
  EXPECT_EQ(text(now, u"%c.%f"), u"Mon 05 Jul 1999 13:04:09.250000");
  EXPECT_EQ(now.utc_microseconds(), JULY_1999_UTC);
  EXPECT_EQ(Nev_time::now(), Nev_time(13, 4, 9, 250000));
  g_fake_now += 12 * 3'600 * SECOND;  // 23:04 UTC is already the next day here
  EXPECT_EQ(Nev_date::today(), Nev_date(6, 7, 1999));

  // A later reading minus an earlier one is a span that grows with it.
  g_fake_now += 1;
  const Nev_time_period first = Nev_date_and_time::now() - now;
  g_fake_now += 1;
  EXPECT_TRUE(first > Nev_time_period::ZERO && Nev_date_and_time::now() - now > first);

  platform->clock = failing_clock;
  EXPECT_THROW(Nev_date_and_time::now(), std::runtime_error);
  EXPECT_THROW(Nev_date::today(), std::runtime_error);
  platform.reset();
  EXPECT_GE(Nev_date::today().year(), 2024);
  // The real clock, read back through the local zone (the real-time clock
  // may be stepped, so the two readings are only compared roughly).
  const std::int64_t apart = Nev_date_and_time::now().utc_microseconds() - nev_clock_now();
  EXPECT_LT(apart < 0 ? -apart : apart, 60 * SECOND);
}

}  // namespace
}  // namespace nev
