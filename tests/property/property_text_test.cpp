// The stored and display text of Kov_property, and restoring a property
// from stored text.
#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>

#include "kov/property.h"
#include "nev/strings.h"

namespace {

using kov::Kov_property;
using nev::Nev_date;
using nev::Nev_date_and_time;
using nev::Nev_time;
using nev::Nev_time_period;
using nev::Nev_time_zone;

Nev_date_and_time local(int day, int month, int year, int h, int m, int s, int us) {
  return Nev_date_and_time(Nev_date(day, month, year), Nev_time(h, m, s, us), Nev_time_zone::local());
}

// The message of the conversion of `p`, or "" when it succeeds.
std::string convert_message(Kov_property& p) {
  try {
    p.convert_from_persistent_string();
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "";
}

// Each value gives its exact stored text, and that text restores a property
// equal to the original, except where noted.
TEST(PropertyText, StoredTextOfEachTypeRoundTrips) {
  struct Case {
    Kov_property property;
    std::u16string stored;
    bool reads_back = true;
  };
  const Case cases[] = {
      {Kov_property(u"n", u"retry later"), u"$Sretry later"},
      {Kov_property(u"n", u""), u"$S"},
      {Kov_property(u"n", u"$5 %x%"), u"$S$5 %x%"},
      {Kov_property(u"n", 42), u"$I42"},
      {Kov_property(u"n", 0), u"$I0"},
      {Kov_property(u"n", -1234567), u"$I-1234567"},
      {Kov_property(u"n", INT_MIN), u"$I-2147483648"},
      {Kov_property(u"n", INT_MAX), u"$I2147483647"},
      {Kov_property(u"n", true), u"$Btrue"},
      {Kov_property(u"n", false), u"$Bfalse"},
      {Kov_property(u"n", local(5, 7, 1999, 13, 4, 9, 250)), u"$D000250:09:04:13:05:07:1999"},
      {Kov_property(u"n", local(1, 1, 1, 0, 0, 0, 0)), u"$D000000:00:00:00:01:01:0001"},
      {Kov_property(u"n", local(31, 12, 9999, 23, 59, 59, 999999)), u"$D999999:59:59:23:31:12:9999"},
      {Kov_property(u"n", local(29, 2, 2000, 12, 0, 0, 1)), u"$D000001:00:00:12:29:02:2000"},
      {Kov_property(u"n", Nev_time_period(3, 2, 1, 0, 500000)), u"$T500000:00:01:02:0000000003"},
      {Kov_property(u"n", Nev_time_period::ZERO), u"$T000000:00:00:00:0000000000"},
      {Kov_property(u"n", Nev_time_period(INT_MAX, 23, 59, 59, 999999)), u"$T999999:59:59:23:2147483647"},
      // Written whole, but not read back as they were.
      {Kov_property(u"n", local(1, 1, 10000, 0, 0, 0, 0)), u"$D000000:00:00:00:01:01:10000", false},
      {Kov_property(u"n", Nev_time_period(-1, 0, 0, 0, 0)), u"$T000000:00:00:00:00000000-1", false},
      {Kov_property(u"n", std::u16string(u"a\0b", 3)), std::u16string(u"$Sa\0b", 5), false},  // reads back as "a"
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.property.get_persistent_string(), c.stored);
    Kov_property restored(u"N", c.stored);
    bool same = false;
    try {
      restored.convert_from_persistent_string();
      same = restored == c.property;
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(same, c.reads_back) << nev::nev_to_utf8(c.stored);
    if (c.reads_back) {
      EXPECT_EQ(restored.get_persistent_string(), c.stored);
    }
  }
}

TEST(PropertyText, DateAndTimeReadsBackInTheLocalZone) {
  const Nev_date_and_time far(Nev_date(5, 7, 1999), Nev_time(13, 4, 9, 250), Nev_time_zone::fixed(-600));
  Kov_property p(u"When", Kov_property(u"When", far).get_persistent_string());
  p.convert_from_persistent_string();
  const Nev_date_and_time& back = p.date_and_time_value();
  EXPECT_TRUE(back.zone().is_local());
  EXPECT_EQ(back.date(), far.date());
  EXPECT_EQ(back.time(), far.time());
}

TEST(PropertyText, SuccessfulConversionsOfOddText) {
  struct Case {
    std::u16string stored;
    Kov_property::Type type;
    std::u16string persistent_after;
  };
  const Case cases[] = {
      {u"$S", Kov_property::STRING, u"$S"},
      {u"$S$5", Kov_property::STRING, u"$S$5"},  // one marker taken off, no more
      {u"$BTRUE", Kov_property::BOOLEAN, u"$Btrue"},
      {u"$BFalse", Kov_property::BOOLEAN, u"$Bfalse"},
      {u"$I0042", Kov_property::INTEGER, u"$I42"},
      {u"$I-2147483648", Kov_property::INTEGER, u"$I-2147483648"},
      {u"$T000000:00:00:00:2147483647", Kov_property::TIME_PERIOD, u"$T000000:00:00:00:2147483647"},
      {std::u16string(u"$Sab\0cd", 7), Kov_property::STRING, u"$Sab"},  // ends at the NUL
  };
  for (const Case& c : cases) {
    Kov_property p(u"n", c.stored);
    EXPECT_EQ(p.convert_from_persistent_string(), c.type);
    EXPECT_EQ(p.get_persistent_string(), c.persistent_after);
  }
}

TEST(PropertyText, EveryFailureHasItsMessageAndLeavesItsState) {
  struct Case {
    std::u16string stored;
    std::string message;
    std::u16string left;  // the STRING value afterwards
  };
  const Case cases[] = {
      {u"", "Not a valid property value", u""},
      {u"$", "Not a valid property value", u"$"},
      {u"S", "Not a valid property value", u"S"},
      {u"I$12", "Not a valid property value", u"I$12"},
      {u"$X12", "Not a valid type descriptor", u"12"},
      {u"$i12", "Not a valid type descriptor", u"12"},
      {u"$Bmaybe", "Not a valid boolean symbol", u"maybe"},
      {u"$B", "Not a valid boolean symbol", u""},
      {u"$Btrue ", "Not a valid boolean symbol", u"true "},
      {u"$Iabc", "Not a valid integer", u"abc"},
      {u"$I", "Not a valid integer", u""},
      {u"$I12a", "Not a valid integer", u"12a"},
      {u"$I2147483648", "Not a valid integer", u"2147483648"},
      {u"$D000250:09:04:13:31:02:1999", "Not a valid date and time", u"000250:09:04:13:31:02:1999"},
      {u"$D000250:09:04:13:29:02:1999", "Not a valid date and time", u"000250:09:04:13:29:02:1999"},
      {u"$D000250:09:04:13:05:07:1999:", "Not a valid date and time", u"000250:09:04:13:05:07:1999:"},
      {u"$D000250:09:04:13:05:07", "Not a valid date and time", u"000250:09:04:13:05:07"},
      {u"$D00025:09:04:13:05:07:1999", "Not a valid date and time", u"00025:09:04:13:05:07:1999"},
      {u"$D000250:09:04:13:05:07:19990", "Not a valid date and time", u"000250:09:04:13:05:07:19990"},
      {u"$D-00001:09:04:13:05:07:1999", "Not a valid date and time", u"-00001:09:04:13:05:07:1999"},
      {u"$D000250:60:04:13:05:07:1999", "Not a valid date and time", u"000250:60:04:13:05:07:1999"},
      {u"$D000250:09:60:13:05:07:1999", "Not a valid date and time", u"000250:09:60:13:05:07:1999"},
      {u"$D000250:09:04:24:05:07:1999", "Not a valid date and time", u"000250:09:04:24:05:07:1999"},
      {u"$D000250:09:04:13:00:07:1999", "Not a valid date and time", u"000250:09:04:13:00:07:1999"},
      {u"$D000250:09:04:13:05:13:1999", "Not a valid date and time", u"000250:09:04:13:05:13:1999"},
      {u"$D000250:09:04:13:05:07:0000", "Not a valid date and time", u"000250:09:04:13:05:07:0000"},
      {u"$D", "Not a valid date and time", u""},
      {u"$T500000:00:01:02:3", "Not a valid time period", u"500000:00:01:02:3"},
      {u"$T000000:00:00:00:9999999999", "Not a valid time period", u"000000:00:00:00:9999999999"},
      {u"$T000000:00:00:24:0000000000", "Not a valid time period", u"000000:00:00:24:0000000000"},
      {u"$T000000:00:00:00:00000000-1", "Not a valid time period", u"000000:00:00:00:00000000-1"},
      {u"$T000000:00:00:00:0000000000:", "Not a valid time period", u"000000:00:00:00:0000000000:"},
      {u"$T", "Not a valid time period", u""},
  };
  for (const Case& c : cases) {
    Kov_property p(u"Name", c.stored);
    EXPECT_EQ(convert_message(p), c.message) << nev::nev_to_utf8(c.stored);
    EXPECT_EQ(p.type(), Kov_property::STRING);
    EXPECT_EQ(p.string_value(), c.left);
    EXPECT_EQ(p.name(), u"Name");
  }

  Kov_property again(u"n", u"$Iabc");
  EXPECT_EQ(convert_message(again), "Not a valid integer");
  EXPECT_EQ(convert_message(again), "Not a valid property value");  // "abc" has no marker

  Kov_property number(u"n", 7);
  EXPECT_EQ(convert_message(number), "Cannot convert from type other than string");
  EXPECT_EQ(number.int_value(), 7);
}

TEST(PropertyText, DisplayStrings) {
  struct Case {
    Kov_property property;
    std::u16string display;
  };
  const Case cases[] = {
      {Kov_property(u"n", u"$Sraw"), u"$Sraw"},
      {Kov_property(u"n", 1234567), u"1,234,567"},
      {Kov_property(u"n", -1234), u"-1,234"},
      {Kov_property(u"n", 12), u"12"},
      {Kov_property(u"n", true), u"true"},
      {Kov_property(u"n", false), u"false"},
      {Kov_property(u"n", local(5, 7, 1999, 13, 4, 9, 250)), u"Mon 05 Jul 1999 13:04:09"},
      {Kov_property(u"n", Nev_time_period(3, 2, 1, 0, 500000)), u"3 days 02:01:00.500000"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.property.get_display_string(), c.display);
}

}  // namespace
