// Kov_property: construction, readers, writers, copies, comparison, and its
// stored and display text.
#include "kov/property.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>
#include <vector>

#include "expect_message.h"
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
Nev_date_and_time moment(int day, int hour) { return local(day, 7, 1999, hour, 4, 9, 250); }
Nev_time_period days(int count) { return Nev_time_period(count, 0, 0, 0, 0); }

// Readers refuse every type but their own (here a neighbouring one); copies
// never share a value object.
TEST(PropertyValue, ReadersAndDeepCopies) {
  const Kov_property none, text(u"s", u"x"), when(u"d", moment(1, 1)), span(u"t", days(1));
  EXPECT_EQ(none.int_value(), 0);
  EXPECT_TRUE(none.name().empty());
  EXPECT_EQ(text.string_value(), u"x");  // a literal must not become a bool
  expect_message([&] { none.string_value(); }, "Kov_property::string_value() called when type not STRING");
  expect_message([&] { text.int_value(); }, "Kov_property::int_value() called when type not INTEGER");
  expect_message([&] { none.bool_value(); }, "Kov_property::bool_value() called when type not BOOLEAN");
  expect_message([&] { span.date_and_time_value(); },
                 "Kov_property::date_and_time_value() called when type not DATE_AND_TIME");
  expect_message([&] { when.time_period_value(); },
                 "Kov_property::time_period_value() called when type not TIME_PERIOD");

  Kov_property text_copy(text), when_copy(when), span_copy(span);
  text_copy.value(u"y");
  when_copy.value(moment(2, 2));
  span_copy.value(days(2));
  EXPECT_EQ(text.string_value(), u"x");
  EXPECT_EQ(when.date_and_time_value(), moment(1, 1));
  EXPECT_EQ(span.time_period_value(), days(1));
}

// Writers and assignment change the type; where the type stays, references
// from the readers stay good and see the new value.
TEST(PropertyValue, WritersAndAssignmentKeepTheValueObject) {
  Kov_property p(u"p", u"text");
  const std::u16string& text = p.string_value();
  p.value(std::u16string(u"other"));
  EXPECT_EQ(text, u"other");
  p.value(p.string_value());  // from its own value object
  EXPECT_EQ(p.string_value(), u"other");
  p.value(5);
  EXPECT_EQ(p.int_value(), 5);
  p.value(moment(5, 13));
  const Nev_date_and_time& when = p.date_and_time_value();
  p.value(moment(6, 14));
  EXPECT_EQ(when, moment(6, 14));

  p = Kov_property(u"Span", days(3));
  EXPECT_EQ(p.name(), u"Span");
  EXPECT_EQ(p.time_period_value(), days(3));
  const Nev_time_period& span = p.time_period_value();
  p.value(days(4));
  EXPECT_EQ(span, days(4));
  p = Kov_property(u"Span", days(5));
  EXPECT_EQ(span, days(5));
  Kov_property& self = p;
  p = self;
  EXPECT_EQ(p.time_period_value(), days(5));
}

// Equality ignores the case of names and text; order needs one type and one
// exact name, and raises otherwise.
TEST(PropertyValue, Comparisons) {
  enum Order { LESS, NEITHER, GREATER, REFUSED };
  struct Case {
    Kov_property a, b;
    bool equal;
    Order order;
  };
  const Case cases[] = {
      {Kov_property(u"n", -5), Kov_property(u"n", 3), false, LESS},
      {Kov_property(u"n", 3), Kov_property(u"n", 3), true, NEITHER},
      {Kov_property(u"n", u"Abc"), Kov_property(u"n", u"abc"), true, LESS},  // case counts in order only
      {Kov_property(u"n", u"ab"), Kov_property(u"n", u"abc"), false, LESS},  // prefix first
      {Kov_property(u"n", std::u16string(1, char16_t(0xE9))), Kov_property(u"n", u"z"), false, GREATER},
      {Kov_property(u"n", false), Kov_property(u"n", true), false, LESS},
      {Kov_property(u"n", true), Kov_property(u"n", true), true, NEITHER},
      {Kov_property(u"n", moment(1, 1)), Kov_property(u"n", moment(2, 1)), false, LESS},
      {Kov_property(u"n", days(2)), Kov_property(u"n", days(1)), false, GREATER},
      {Kov_property(u"n", days(2)), Kov_property(u"n", days(2)), true, NEITHER},
      {Kov_property(u"Size", 1), Kov_property(u"size", 1), true, REFUSED},
      {Kov_property(u"n", 1), Kov_property(u"n", u"1"), false, REFUSED},
  };
  for (const Case& c : cases) {
    Kov_property a = c.a;
    EXPECT_EQ(a == c.b, c.equal);
    if (c.order == REFUSED) {
      expect_message([&] { (void)(a < c.b); }, "Kov_property::operator<() called with incompatible type/name");
      expect_message([&] { (void)(a > c.b); }, "Kov_property::operator>() called with incompatible type/name");
    } else {
      EXPECT_EQ(a < c.b, c.order == LESS);
      EXPECT_EQ(a > c.b, c.order == GREATER);
    }
  }
}

// Each value gives its exact stored text (and display text where given); the
// stored text restores an equal property of the same type, which writes the
// same text again. The last rows are written whole but do not read back.
TEST(PropertyText, StoredAndDisplayTextRoundTrip) {
  struct Case {
    Kov_property property;
    std::u16string stored;
    const char16_t* display = nullptr;
    bool reads_back = true;
  };
  const Case cases[] = {
      {Kov_property(u"n", u"retry later"), u"$Sretry later"},
      {Kov_property(u"n", u""), u"$S"},
      {Kov_property(u"n", u"$5 %x%"), u"$S$5 %x%", u"$5 %x%"},  // read back, one marker comes off
      {Kov_property(u"n", 0), u"$I0", u"0"},
      {Kov_property(u"n", 42), u"$I42", u"42"},
      {Kov_property(u"n", INT_MIN), u"$I-2147483648", u"-2,147,483,648"},
      {Kov_property(u"n", INT_MAX), u"$I2147483647", u"2,147,483,647"},
      {Kov_property(u"n", true), u"$Btrue", u"true"},
      {Kov_property(u"n", false), u"$Bfalse", u"false"},
      {Kov_property(u"n", moment(5, 13)), u"$D000250:09:04:13:05:07:1999", u"Mon 05 Jul 1999 13:04:09"},
      {Kov_property(u"n", local(1, 1, 1, 0, 0, 0, 0)), u"$D000000:00:00:00:01:01:0001"},
      {Kov_property(u"n", local(31, 12, 9999, 23, 59, 59, 999999)), u"$D999999:59:59:23:31:12:9999"},
      {Kov_property(u"n", local(29, 2, 2000, 12, 0, 0, 1)), u"$D000001:00:00:12:29:02:2000"},
      {Kov_property(u"n", Nev_time_period(3, 2, 1, 0, 500000)), u"$T500000:00:01:02:0000000003",
       u"3 days 02:01:00.500000"},
      {Kov_property(u"n", Nev_time_period::ZERO), u"$T000000:00:00:00:0000000000"},
      {Kov_property(u"n", Nev_time_period(INT_MAX, 23, 59, 59, 999999)), u"$T999999:59:59:23:2147483647"},
      {Kov_property(u"n", local(1, 1, 10000, 0, 0, 0, 0)), u"$D000000:00:00:00:01:01:10000", nullptr, false},
      {Kov_property(u"n", std::u16string(u"a\0b", 3)), std::u16string(u"$Sa\0b", 5), nullptr, false},
  };
  for (const Case& c : cases) {
    const std::string row = nev::nev_to_utf8(c.stored);
    EXPECT_EQ(c.property.get_persistent_string(), c.stored) << row;
    if (c.display != nullptr) {
      EXPECT_EQ(c.property.get_display_string(), c.display) << row;
    }
    if (!c.reads_back) continue;
    Kov_property restored(u"N", c.stored);
    EXPECT_EQ(restored.convert_from_persistent_string(), c.property.type()) << row;
    EXPECT_TRUE(restored == c.property) << row;
    EXPECT_EQ(restored.get_persistent_string(), c.stored) << row;
  }

  // Text that converts, though it is not what would be written.
  const std::pair<std::u16string, std::u16string> odd[] = {
      {u"$BTRUE", u"$Btrue"},
      {u"$BFalse", u"$Bfalse"},
      {u"$I0042", u"$I42"},
      {std::u16string(u"$Sab\0cd", 7), u"$Sab"},  // ends at the NUL
  };
  for (const auto& [stored, rewritten] : odd) {
    Kov_property p(u"n", stored);
    p.convert_from_persistent_string();
    EXPECT_EQ(p.get_persistent_string(), rewritten);
  }

  // No zone is stored: a value reads back in the local zone, whatever it had.
  const Nev_date_and_time far(Nev_date(5, 7, 1999), Nev_time(13, 4, 9, 250), Nev_time_zone::fixed(-600));
  Kov_property when(u"When", Kov_property(u"When", far).get_persistent_string());
  when.convert_from_persistent_string();
  EXPECT_TRUE(when.date_and_time_value().zone().is_local());
  EXPECT_EQ(when.date_and_time_value().date(), far.date());
  EXPECT_EQ(when.date_and_time_value().time(), far.time());
}

// Negative, zero and extreme periods: the written text reads back to the
// same period, also when the days are negative (the fill then stands in
// front of the sign) or need more than the element's 10 units.
TEST(PropertyText, TimePeriodsRoundTrip) {
  const std::pair<Nev_time_period, const char16_t*> cases[] = {
      {Nev_time_period::ZERO, u"$T000000:00:00:00:0000000000"},
      {Nev_time_period::from_microseconds(1), u"$T000001:00:00:00:0000000000"},
      {Nev_time_period::from_microseconds(-1), u"$T999999:59:59:23:00000000-1"},
      {days(-1), u"$T000000:00:00:00:00000000-1"},
      {Nev_time_period::from_microseconds(-86400000001LL), u"$T999999:59:59:23:00000000-2"},
      {Nev_time_period(-3, 2, 1, 0, 500000), u"$T500000:00:01:02:00000000-3"},
      {days(-999999999), u"$T000000:00:00:00:-999999999"},
      {days(-1000000000), u"$T000000:00:00:00:-1000000000"},
      {days(INT_MIN), u"$T000000:00:00:00:-2147483648"},
      {Nev_time_period(INT_MIN, 23, 59, 59, 999999), u"$T999999:59:59:23:-2147483648"},
      {Nev_time_period(INT_MAX, 23, 59, 59, 999999), u"$T999999:59:59:23:2147483647"},
      {days(INT_MAX), u"$T000000:00:00:00:2147483647"},
  };
  for (const auto& [period, stored] : cases) {
    SCOPED_TRACE(nev::nev_to_utf8(stored));
    const Kov_property property(u"n", period);
    EXPECT_EQ(property.get_persistent_string(), stored);
    Kov_property restored(u"n", property.get_persistent_string());
    ASSERT_EQ(restored.convert_from_persistent_string(), Kov_property::TIME_PERIOD);
    EXPECT_EQ(restored.time_period_value(), period);
    EXPECT_EQ(restored.get_persistent_string(), stored);
  }
  // The sign-first form of the full width reads too, and is written anew
  // in the writer's form.
  Kov_property signed_first(u"n", u"$T999999:59:59:23:-000000001");
  ASSERT_EQ(signed_first.convert_from_persistent_string(), Kov_property::TIME_PERIOD);
  EXPECT_EQ(signed_first.time_period_value(), Nev_time_period::from_microseconds(-1));
  EXPECT_EQ(signed_first.get_persistent_string(), u"$T999999:59:59:23:00000000-1");
}

// Every failure leaves a STRING holding the value text (the whole text when
// there is no marker and descriptor) under the same name.
TEST(PropertyText, EveryFailureHasItsMessageAndLeavesItsState) {
  struct Case {
    std::string message;
    std::u16string prefix;             // marker and descriptor, taken off by the failure
    std::vector<std::u16string> left;  // what follows the prefix, and stays
  };
  const Case cases[] = {
      {"Not a valid property value", u"", {u"", u"$", u"S", u"I$12"}},
      {"Not a valid type descriptor", u"$X", {u"12"}},
      {"Not a valid type descriptor", u"$i", {u"12"}},
      {"Not a valid boolean symbol", u"$B", {u"maybe", u"", u"true "}},
      {"Not a valid integer", u"$I", {u"abc", u"", u"12a", u"2147483648"}},
      // The fields of 000250:09:04:13:05:07:1999 one by one out of range or
      // of the wrong width, and the text too short or too long.
      {"Not a valid date and time",
       u"$D",
       {u"000250:09:04:13:31:02:1999", u"000250:09:04:13:29:02:1999", u"000250:09:04:13:05:07:1999:",
        u"000250:09:04:13:05:07", u"00025:09:04:13:05:07:1999", u"000250:09:04:13:05:07:19990",
        u"-00001:09:04:13:05:07:1999", u"000250:60:04:13:05:07:1999", u"000250:09:60:13:05:07:1999",
        u"000250:09:04:24:05:07:1999", u"000250:09:04:13:00:07:1999", u"000250:09:04:13:05:13:1999",
        u"000250:09:04:13:05:07:0000", u""}},
      {"Not a valid time period",
       u"$T",
       {u"500000:00:01:02:3", u"000000:00:00:00:9999999999", u"000000:00:00:24:0000000000",
        u"000000:00:00:00:0000000000:", u"", u"000000:00:00:00:000000-001", u"000000:00:00:00:0000000--1",
        u"000000:00:00:00:00000000-0", u"000000:00:00:00:000000001-", u"000000:00:00:00:-1",
        u"000000:00:00:00:0-2147483648", u"000000:00:00:00:-2147483649", u"000000:00:00:00:00000000-1:",
        u"000000:00:00:00:0000-00001", u"000000:00:00:00:00000000+1"}},
  };
  for (const Case& c : cases) {
    for (const std::u16string& left : c.left) {
      SCOPED_TRACE(nev::nev_to_utf8(c.prefix + left));
      Kov_property p(u"Name", c.prefix + left);
      expect_message([&] { p.convert_from_persistent_string(); }, c.message);
      EXPECT_EQ(p.type(), Kov_property::STRING);
      EXPECT_EQ(p.string_value(), left);
      EXPECT_EQ(p.name(), u"Name");
    }
  }

  Kov_property again(u"n", u"$Iabc");
  expect_message([&] { again.convert_from_persistent_string(); }, "Not a valid integer");
  expect_message([&] { again.convert_from_persistent_string(); },  // "abc" has no marker
                 "Not a valid property value");
  Kov_property number(u"n", 7);
  expect_message([&] { number.convert_from_persistent_string(); }, "Cannot convert from type other than string");
  EXPECT_EQ(number.int_value(), 7);
}

}  // namespace
