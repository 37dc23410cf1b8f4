// Dates, times, periods and zones through their public interface; the clock
// is replaced through nev_set_clock and the local zone through TZ.
#include "nev/time.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>

namespace nev {
namespace {

constexpr std::int64_t SECOND = 1'000'000;
constexpr std::int64_t DAY = 86'400 * SECOND;

// 5 July 1999 11:04:09.250000 UTC.
constexpr std::int64_t JULY_1999_UTC = 931'172'649 * SECOND + 250'000;

std::u16string format(const Nev_date& date, const std::u16string& pattern) {
  std::u16string out = u"old";
  date.to_string(pattern, out);
  return out;
}
std::u16string format(const Nev_time_period& period, const std::u16string& pattern = u"%P") {
  std::u16string out = u"old";
  period.to_string(pattern, out);
  return out;
}
std::u16string format(const Nev_date_and_time& when, const std::u16string& pattern = u"%c") {
  std::u16string out = u"old";
  when.to_string(pattern, out);
  return out;
}

// Sets TZ for one test and puts the old setting back afterwards.
class Zone_setting {
 public:
  explicit Zone_setting(const char* zone) {
    if (const char* old = std::getenv("TZ")) m_old = old, m_had_old = true;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~Zone_setting() {
    if (m_had_old) setenv("TZ", m_old.c_str(), 1);
    else unsetenv("TZ");
    tzset();
  }

 private:
  std::string m_old;
  bool m_had_old = false;
};

// Central European time with its daylight rule, spelt out so that no zone
// database is needed.
constexpr const char* CENTRAL_EUROPE = "CET-1CEST,M3.5.0,M10.5.0/3";

std::int64_t g_fake_now = 0;
std::int64_t fake_clock() { return g_fake_now; }
std::int64_t failing_clock() { throw std::runtime_error("clock failed"); }

class Clock_override {
 public:
  explicit Clock_override(Nev_clock_fn clock) { nev_set_clock(clock); }
  ~Clock_override() { nev_set_clock(nullptr); }
};

TEST(NevDate, ValidityFollowsTheGregorianCalendar) {
  struct Case {
    int day, month, year;
    bool exists;
  };
  const Case cases[] = {
      {29, 2, 2000, true},  {29, 2, 1900, false}, {29, 2, 2024, true},  {29, 2, 2023, false},
      {28, 2, 2023, true},  {0, 1, 2023, false},  {32, 1, 2023, false}, {31, 1, 2023, true},
      {31, 4, 2023, false}, {30, 4, 2023, true},  {31, 12, 9999, true}, {1, 13, 2023, false},
      {1, 0, 2023, false},  {29, 2, 1600, true},  {31, 2, 1999, false}, {-1, 3, 2023, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Nev_date::is_day_in_month(c.day, c.month, c.year), c.exists)
        << c.day << "." << c.month << "." << c.year;
  }
  EXPECT_FALSE(Nev_date::is_year(0));
  EXPECT_TRUE(Nev_date::is_year(1));
  EXPECT_TRUE(Nev_date::is_year(9999));
  EXPECT_FALSE(Nev_date::is_year(10000));
  EXPECT_FALSE(Nev_date::is_month(0));
  EXPECT_TRUE(Nev_date::is_month(12));
  EXPECT_FALSE(Nev_date::is_month(13));
}

TEST(NevTime, ValidRangesOfTheParts) {
  EXPECT_TRUE(Nev_time::valid_hour(0));
  EXPECT_TRUE(Nev_time::valid_hour(23));
  EXPECT_FALSE(Nev_time::valid_hour(24));
  EXPECT_FALSE(Nev_time::valid_hour(-1));
  EXPECT_TRUE(Nev_time::valid_minute(59));
  EXPECT_FALSE(Nev_time::valid_minute(60));
  EXPECT_TRUE(Nev_time::valid_second(59));
  EXPECT_FALSE(Nev_time::valid_second(60));
  EXPECT_TRUE(Nev_time::valid_microsecond(999999));
  EXPECT_FALSE(Nev_time::valid_microsecond(1000000));
  EXPECT_FALSE(Nev_time::valid_microsecond(-1));
}

TEST(NevDate, WeekdaysAndTextForms) {
  struct Case {
    Nev_date date;
    int weekday;
  };
  const Case cases[] = {
      {Nev_date(1, 1, 1), 1},      {Nev_date(1, 1, 1970), 4},  {Nev_date(29, 2, 2000), 2},
      {Nev_date(5, 7, 1999), 1},   {Nev_date(31, 12, 9999), 5}, {Nev_date(1, 3, 1900), 4},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.date.day_of_week(), c.weekday) << c.date.day() << "." << c.date.month() << "." << c.date.year();
  }

  const Nev_date july(5, 7, 1999);
  EXPECT_EQ(format(july, u"**** Diagnostic file created: %A %d %B %Y ****\r\n"),
            u"**** Diagnostic file created: Monday 05 July 1999 ****\r\n");
  EXPECT_EQ(format(july, u"%a %b %m"), u"Mon Jul 07");
  EXPECT_EQ(format(Nev_date(9, 2, 12), u"%d.%m.%Y %B"), u"09.02.0012 February");
  // Unknown conversions, "%%" and a "%" at the end.
  EXPECT_EQ(format(july, u"%q %H 100%% %"), u"%q %H 100% %");
  EXPECT_EQ(format(july, u""), u"");
  // The output may be the format itself.
  std::u16string same = u"%Y";
  july.to_string(same, same);
  EXPECT_EQ(same, u"1999");
}

TEST(NevDate, Ordering) {
  EXPECT_TRUE(Nev_date(31, 12, 1998) < Nev_date(1, 1, 1999));
  EXPECT_TRUE(Nev_date(30, 1, 1999) < Nev_date(1, 2, 1999));
  EXPECT_FALSE(Nev_date(1, 2, 1999) < Nev_date(1, 2, 1999));
  EXPECT_TRUE(Nev_date(1, 2, 1999) == Nev_date(1, 2, 1999));
  EXPECT_EQ(Nev_date(), Nev_date(1, 1, 1));
}

TEST(NevTimePeriod, NormalisesItsParts) {
  struct Case {
    Nev_time_period period;
    std::int64_t days;
    std::int64_t day_micros;
  };
  const Case cases[] = {
      {Nev_time_period(3, 2, 1, 0, 500000), 3, 7'260 * SECOND + 500'000},
      {Nev_time_period(0, 25, 0, 0, 0), 1, 3'600 * SECOND},
      {Nev_time_period(0, 0, 0, 0, -1), -1, DAY - 1},
      {Nev_time_period(1, -24, 0, 0, 0), 0, 0},
      {Nev_time_period(0, 0, 0, 86'400, 0), 1, 0},
      {Nev_time_period(INT_MAX, 0, 0, 0, 0), INT_MAX, 0},
      {Nev_time_period(INT_MIN, 0, 0, 0, 0), INT_MIN, 0},
      {Nev_time_period(INT_MAX, 23, 59, 59, 999999), INT_MAX, DAY - 1},
      {Nev_time_period(INT_MIN, 0, 0, 0, -1), std::int64_t{INT_MIN} - 1, DAY - 1},
      // Every part at its extreme still sums exactly.
      {Nev_time_period(0, INT_MAX, 0, 0, 0), 89'478'485, 7 * 3'600 * SECOND},
      {Nev_time_period::from_microseconds(-DAY - 1), -2, DAY - 1},
      {Nev_time_period::from_microseconds(DAY * 2 + 5), 2, 5},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.period.days(), c.days);
    EXPECT_EQ(c.period.day_microseconds(), c.day_micros);
  }
  const Nev_time_period sample(3, 2, 1, 0, 500000);
  EXPECT_EQ(sample.hours(), 2);
  EXPECT_EQ(sample.minutes(), 1);
  EXPECT_EQ(sample.seconds(), 0);
  EXPECT_EQ(sample.microseconds(), 500000);
}

TEST(NevTimePeriod, ComparisonsAndArithmetic) {
  EXPECT_EQ(Nev_time_period(), Nev_time_period::ZERO);
  EXPECT_FALSE(Nev_time_period() > Nev_time_period::ZERO);
  EXPECT_FALSE(Nev_time_period() < Nev_time_period::ZERO);

  const Nev_time_period minus_one = Nev_time_period::from_microseconds(-1);
  const Nev_time_period plus_one = Nev_time_period::from_microseconds(1);
  const Nev_time_period one_day(1, 0, 0, 0, 0);
  EXPECT_TRUE(minus_one < Nev_time_period::ZERO);
  EXPECT_TRUE(minus_one.negative());
  EXPECT_FALSE(Nev_time_period::ZERO.negative());
  EXPECT_TRUE(plus_one > Nev_time_period::ZERO);
  EXPECT_TRUE(one_day > Nev_time_period(0, 23, 59, 59, 999999));
  EXPECT_TRUE(one_day >= one_day);
  EXPECT_TRUE(one_day <= one_day);
  EXPECT_TRUE(one_day != plus_one);

  EXPECT_EQ(minus_one + plus_one, Nev_time_period::ZERO);
  EXPECT_EQ(-minus_one, plus_one);
  EXPECT_EQ(-Nev_time_period::ZERO, Nev_time_period::ZERO);
  EXPECT_EQ(one_day - plus_one, Nev_time_period(0, 23, 59, 59, 999999));
  EXPECT_EQ(plus_one - one_day, -(Nev_time_period(0, 23, 59, 59, 999999)));
  EXPECT_EQ(Nev_time_period(0, 12, 0, 0, 0) + Nev_time_period(0, 12, 0, 0, 0), one_day);
  const Nev_time_period most(INT_MAX, 0, 0, 0, 0);
  EXPECT_EQ((-most).days(), -std::int64_t{INT_MAX});
  EXPECT_EQ(-(-most), most);
}

TEST(NevTimePeriod, TextForms) {
  struct Case {
    Nev_time_period period;
    std::u16string text;
  };
  const Case cases[] = {
      {Nev_time_period(3, 2, 1, 0, 500000), u"3 days 02:01:00.500000"},
      {Nev_time_period(1, 0, 0, 0, 0), u"1 day 00:00:00.000000"},
      {Nev_time_period(), u"0 days 00:00:00.000000"},
      {Nev_time_period(-1, 0, 0, 0, 0), u"-1 day 00:00:00.000000"},
      {Nev_time_period(0, 0, 0, 0, -500000), u"-0 days 00:00:00.500000"},
      {Nev_time_period(-3, -2, -1, 0, -500000), u"-3 days 02:01:00.500000"},
      {Nev_time_period(INT_MAX, 23, 59, 59, 999999), u"2147483647 days 23:59:59.999999"},
      {Nev_time_period(INT_MIN, 0, 0, 0, 0), u"-2147483648 days 00:00:00.000000"},
  };
  for (const Case& c : cases) EXPECT_EQ(format(c.period), c.text);
  EXPECT_EQ(format(Nev_time_period(0, 0, 0, 0, -1), u"%D|%H:%M:%S.%f|%%|%x"), u"-1|23:59:59.999999|%|%x");
}

TEST(NevTime, PartBelowOneDayOfAPeriod) {
  const Nev_time from_period(Nev_time_period(3, 2, 1, 0, 500000));
  EXPECT_EQ(from_period, Nev_time(2, 1, 0, 500000));
  EXPECT_EQ(Nev_time(Nev_time_period::from_microseconds(-1)), Nev_time(23, 59, 59, 999999));
  EXPECT_EQ(Nev_time(Nev_time_period(INT_MIN, 0, 0, 0, 0)), Nev_time());

  std::u16string out;
  Nev_time(9, 8, 7, 654321).to_string(u"[%H:%M:%S:", out);
  EXPECT_EQ(out, u"[09:08:07:");
  Nev_time(9, 8, 7, 42).to_string(u"%f", out);
  EXPECT_EQ(out, u"000042");
  EXPECT_TRUE(Nev_time(9, 8, 7, 1) < Nev_time(9, 8, 7, 2));
  EXPECT_TRUE(Nev_time(8, 59, 59, 999999) < Nev_time(9, 0, 0, 0));
  EXPECT_FALSE(Nev_time(9, 0, 0, 0) < Nev_time(9, 0, 0, 0));
}

TEST(NevDateAndTime, InstantsAcrossFixedZones) {
  const Nev_date date(5, 7, 1999);
  const Nev_date_and_time utc(date, Nev_time(11, 4, 9, 250000), Nev_time_zone::utc());
  const Nev_date_and_time east(date, Nev_time(13, 4, 9, 250000), Nev_time_zone::fixed(120));
  const Nev_date_and_time west(Nev_date(4, 7, 1999), Nev_time(23, 4, 9, 250000), Nev_time_zone::fixed(-720));

  EXPECT_EQ(utc.utc_microseconds(), JULY_1999_UTC);
  EXPECT_TRUE(utc == east);
  EXPECT_TRUE(utc == west);
  EXPECT_FALSE(utc != east);
  EXPECT_EQ(east - west, Nev_time_period::ZERO);

  const Nev_date_and_time later(date, Nev_time(11, 4, 10, 0), Nev_time_zone::utc());
  EXPECT_TRUE(later > east);
  EXPECT_TRUE(east < later);
  EXPECT_EQ(later - east, Nev_time_period::from_microseconds(750000));
  EXPECT_EQ(east - later, Nev_time_period::from_microseconds(-750000));

  // Whole calendar range.
  const Nev_date_and_time first;
  const Nev_date_and_time last(Nev_date(31, 12, 9999), Nev_time(23, 59, 59, 999999), Nev_time_zone::utc());
  EXPECT_EQ((last - first).days(), 3'652'058);
  EXPECT_EQ(Nev_date_and_time(Nev_date(1, 1, 1970), Nev_time(), Nev_time_zone::utc()).utc_microseconds(), 0);

  EXPECT_EQ(format(east), u"Mon 05 Jul 1999 13:04:09");
  EXPECT_EQ(format(east, u"%A %d.%m.%Y %H:%M:%S.%f %%c"), u"Monday 05.07.1999 13:04:09.250000 %c");
  EXPECT_TRUE(Nev_time_zone::fixed(60) == Nev_time_zone::fixed(60));
  EXPECT_FALSE(Nev_time_zone::local() == Nev_time_zone::utc());
  EXPECT_TRUE(Nev_time_zone() == Nev_time_zone::utc());
}

TEST(NevDateAndTime, LocalZoneFollowsDaylightSavingTime) {
  Zone_setting zone(CENTRAL_EUROPE);
  const Nev_date_and_time summer(Nev_date(5, 7, 1999), Nev_time(13, 4, 9, 250000), Nev_time_zone::local());
  EXPECT_EQ(summer.utc_microseconds(), JULY_1999_UTC);
  const Nev_date_and_time winter(Nev_date(5, 1, 1999), Nev_time(13, 0, 0, 0), Nev_time_zone::local());
  EXPECT_EQ(winter, Nev_date_and_time(Nev_date(5, 1, 1999), Nev_time(12, 0, 0, 0), Nev_time_zone::utc()));

  // 28 March 1999: the clocks went from 02:00 to 03:00, so one local hour
  // from 01:30 to 03:30 is one real hour.
  const Nev_date_and_time before(Nev_date(28, 3, 1999), Nev_time(1, 30, 0, 0), Nev_time_zone::local());
  const Nev_date_and_time after(Nev_date(28, 3, 1999), Nev_time(3, 30, 0, 0), Nev_time_zone::local());
  EXPECT_EQ(after - before, Nev_time_period(0, 1, 0, 0, 0));
}

TEST(NevDateAndTime, NowReadsTheClockInForceInTheLocalZone) {
  Zone_setting zone(CENTRAL_EUROPE);
  Clock_override clock(&fake_clock);
  g_fake_now = JULY_1999_UTC;

  const Nev_date_and_time now = Nev_date_and_time::now();
  EXPECT_TRUE(now.zone().is_local());
  EXPECT_EQ(now.date(), Nev_date(5, 7, 1999));
  EXPECT_EQ(now.time(), Nev_time(13, 4, 9, 250000));
  EXPECT_EQ(now.utc_microseconds(), JULY_1999_UTC);
  EXPECT_EQ(format(now), u"Mon 05 Jul 1999 13:04:09");
  EXPECT_EQ(Nev_date::today(), Nev_date(5, 7, 1999));
  EXPECT_EQ(Nev_time::now(), Nev_time(13, 4, 9, 250000));

  // Just before midnight UTC it is already the next day here.
  g_fake_now = JULY_1999_UTC + 12 * 3'600 * SECOND;
  EXPECT_EQ(Nev_date::today(), Nev_date(6, 7, 1999));

  // A later reading minus an earlier one is a span that grows with it.
  g_fake_now = JULY_1999_UTC;
  const Nev_date_and_time start = Nev_date_and_time::now();
  g_fake_now += 1;
  const Nev_time_period first = Nev_date_and_time::now() - start;
  g_fake_now += 5 * SECOND;
  const Nev_time_period second = Nev_date_and_time::now() - start;
  EXPECT_EQ(first, Nev_time_period::from_microseconds(1));
  EXPECT_TRUE(first > Nev_time_period::ZERO);
  EXPECT_TRUE(second > first);
}

TEST(NevDateAndTime, ClockFailuresAndTheSystemClock) {
  {
    Clock_override clock(&failing_clock);
    EXPECT_THROW(Nev_date_and_time::now(), std::runtime_error);
    EXPECT_THROW(Nev_date::today(), std::runtime_error);
    EXPECT_THROW(Nev_time::now(), std::runtime_error);
  }
  // With the system clock back, now() lies in this century and moves on.
  const Nev_date_and_time first = Nev_date_and_time::now();
  EXPECT_GE(first.date().year(), 2024);
  EXPECT_LE(first.date().year(), 2200);
  const Nev_date_and_time second = Nev_date_and_time::now();
  EXPECT_FALSE(second < first);
  const std::int64_t reading = nev_clock_now();
  EXPECT_LE(first.utc_microseconds(), reading);
}

}  // namespace
}  // namespace nev
