// Kov_property as a value: construction, readers, writers, copies and
// comparison.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "expect_message.h"
#include "kov/property.h"

namespace {

using kov::Kov_property;
using nev::Nev_date;
using nev::Nev_date_and_time;
using nev::Nev_time;
using nev::Nev_time_period;

Nev_date_and_time moment(int day, int hour) {
  return Nev_date_and_time(Nev_date(day, 7, 1999), Nev_time(hour, 4, 9, 250), nev::Nev_time_zone::utc());
}

Nev_time_period days(int count) { return Nev_time_period(count, 0, 0, 0, 0); }

TEST(PropertyValue, ConstructorsAndReaders) {
  const Kov_property none;
  EXPECT_EQ(none.type(), Kov_property::INTEGER);
  EXPECT_EQ(none.int_value(), 0);
  EXPECT_TRUE(none.name().empty());
  const Kov_property literal(u"Name", u"text");  // a literal must not become a bool
  EXPECT_EQ(literal.type(), Kov_property::STRING);
  EXPECT_EQ(literal.string_value(), u"text");
  EXPECT_EQ(literal.name(), u"Name");

  struct Case {
    Kov_property property;
    std::function<void(const Kov_property&)> reader;
    const char* text;
  };
  const Case cases[] = {
      {none, &Kov_property::string_value, "Kov_property::string_value() called when type not STRING"},
      {literal, &Kov_property::int_value, "Kov_property::int_value() called when type not INTEGER"},
      {none, &Kov_property::bool_value, "Kov_property::bool_value() called when type not BOOLEAN"},
      {Kov_property(u"t", days(1)), &Kov_property::date_and_time_value,
       "Kov_property::date_and_time_value() called when type not DATE_AND_TIME"},
      {Kov_property(u"d", moment(1, 1)), &Kov_property::time_period_value,
       "Kov_property::time_period_value() called when type not TIME_PERIOD"},
  };
  for (const Case& c : cases) expect_message<std::runtime_error>([&] { c.reader(c.property); }, c.text);
}

TEST(PropertyValue, WritersChangeTypeAndKeepTheValueObject) {
  Kov_property p(u"p", u"text");
  const std::u16string& text = p.string_value();
  p.value(std::u16string(u"other"));
  EXPECT_EQ(text, u"other");  // same object, new value
  p.value(p.string_value());
  EXPECT_EQ(p.string_value(), u"other");

  p.value(5);
  EXPECT_EQ(p.type(), Kov_property::INTEGER);
  EXPECT_EQ(p.int_value(), 5);
  EXPECT_THROW(p.string_value(), std::runtime_error);

  p.value(moment(5, 13));
  const Nev_date_and_time& when = p.date_and_time_value();
  p.value(moment(6, 14));
  EXPECT_EQ(when, moment(6, 14));

  p.value(days(1));
  const Nev_time_period& span = p.time_period_value();
  p.value(days(2));
  EXPECT_EQ(span, days(2));

  p.value(true);
  p.name(u"renamed");
  EXPECT_EQ(p.name(), u"renamed");
  EXPECT_TRUE(p.bool_value());
}

TEST(PropertyValue, CopiesAreDeepAndAssignmentTakesEverything) {
  const Kov_property text(u"s", u"x"), when(u"d", moment(1, 1)), span(u"t", days(1));
  Kov_property text_copy(text), when_copy(when), span_copy(span);
  text_copy.value(u"y");
  when_copy.value(moment(2, 2));
  span_copy.value(days(2));
  EXPECT_EQ(text.string_value(), u"x");
  EXPECT_EQ(when.date_and_time_value(), moment(1, 1));
  EXPECT_EQ(span.time_period_value(), days(1));

  Kov_property target(u"target", u"old text");
  target = Kov_property(u"Span", days(3));
  EXPECT_EQ(target.name(), u"Span");
  EXPECT_EQ(target.time_period_value(), days(3));
  const Nev_time_period& kept = target.time_period_value();
  target = Kov_property(u"Span", days(4));
  EXPECT_EQ(kept, days(4));  // same type: same value object

  Kov_property& self = target;
  target = self;
  EXPECT_EQ(target.time_period_value(), days(4));
  EXPECT_TRUE(target == self);
  EXPECT_FALSE(target < self);
  EXPECT_FALSE(target > self);
}

TEST(PropertyValue, Comparisons) {
  struct Case {
    Kov_property a, b;
    bool equal, less, greater;
  };
  const Case cases[] = {
      {Kov_property(u"n", -5), Kov_property(u"n", 3), false, true, false},
      {Kov_property(u"n", 3), Kov_property(u"n", 3), true, false, false},
      {Kov_property(u"n", u"Abc"), Kov_property(u"n", u"abc"), true, true, false},  // case counts in order only
      {Kov_property(u"n", u"ab"), Kov_property(u"n", u"abc"), false, true, false},   // prefix first
      {Kov_property(u"n", std::u16string(1, char16_t(0xE9))), Kov_property(u"n", u"z"), false, false, true},
      {Kov_property(u"n", false), Kov_property(u"n", true), false, true, false},
      {Kov_property(u"n", true), Kov_property(u"n", true), true, false, false},
      {Kov_property(u"n", moment(1, 1)), Kov_property(u"n", moment(2, 1)), false, true, false},
      {Kov_property(u"n", days(2)), Kov_property(u"n", days(1)), false, false, true},
      {Kov_property(u"n", days(2)), Kov_property(u"n", days(2)), true, false, false},
  };
  for (const Case& c : cases) {
    Kov_property a = c.a;
    EXPECT_EQ(a == c.b, c.equal);
    EXPECT_EQ(a < c.b, c.less);
    EXPECT_EQ(a > c.b, c.greater);
  }

  // Names equal but for case: equal, yet not ordered. Different types: not
  // equal and not ordered, even with one name.
  const Kov_property pairs[][2] = {{Kov_property(u"Size", 1), Kov_property(u"size", 1)},
                                   {Kov_property(u"n", 1), Kov_property(u"n", u"1")}};
  for (const auto& pair : pairs) {
    Kov_property a = pair[0];
    EXPECT_EQ(a == pair[1], a.type() == pair[1].type());
    expect_message<std::runtime_error>([&] { (void)(a < pair[1]); },
                                       "Kov_property::operator<() called with incompatible type/name");
    expect_message<std::runtime_error>([&] { (void)(a > pair[1]); },
                                       "Kov_property::operator>() called with incompatible type/name");
  }
}

}  // namespace
