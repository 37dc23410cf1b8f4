// Kov_property as a value: construction, readers, writers, copies and
// comparison.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "kov/property.h"

namespace {

using kov::Kov_property;
using nev::Nev_date;
using nev::Nev_date_and_time;
using nev::Nev_time;
using nev::Nev_time_period;
using nev::Nev_time_zone;

Nev_date_and_time moment(int day, int hour) {
  return Nev_date_and_time(Nev_date(day, 7, 1999), Nev_time(hour, 4, 9, 250), Nev_time_zone::utc());
}

// Expects `call` to raise std::runtime_error with exactly `text`.
void expect_runtime_error(const std::function<void()>& call, const std::string& text) {
  try {
    call();
    ADD_FAILURE() << "no exception, expected: " << text;
  } catch (const std::runtime_error& failure) {
    EXPECT_EQ(failure.what(), text);
  }
}

TEST(PropertyValue, ConstructorsGiveTypeAndValue) {
  const Kov_property none;
  EXPECT_EQ(none.type(), Kov_property::INTEGER);
  EXPECT_EQ(none.int_value(), 0);
  EXPECT_TRUE(none.name().empty());

  EXPECT_EQ(Kov_property(u"a", std::u16string(u"x")).string_value(), u"x");
  const Kov_property literal(u"a", u"text");  // a literal must not become a bool
  EXPECT_EQ(literal.type(), Kov_property::STRING);
  EXPECT_EQ(literal.string_value(), u"text");
  EXPECT_EQ(Kov_property(u"a", -7).int_value(), -7);
  EXPECT_TRUE(Kov_property(u"a", true).bool_value());
  EXPECT_EQ(Kov_property(u"a", moment(5, 13)).date_and_time_value(), moment(5, 13));
  EXPECT_EQ(Kov_property(u"a", Nev_time_period(3, 2, 1, 0, 5)).time_period_value(), Nev_time_period(3, 2, 1, 0, 5));
  EXPECT_EQ(Kov_property(u"Name", 1).name(), u"Name");
}

TEST(PropertyValue, ReadersRaiseOnWrongType) {
  const Kov_property props[] = {Kov_property(u"s", u"x"), Kov_property(u"i", 1), Kov_property(u"b", false),
                                Kov_property(u"d", moment(1, 1)), Kov_property(u"t", Nev_time_period::ZERO)};
  for (const Kov_property& p : props) {
    SCOPED_TRACE(p.type());
    if (p.type() != Kov_property::STRING) {
      expect_runtime_error([&] { p.string_value(); }, "Kov_property::string_value() called when type not STRING");
    }
    if (p.type() != Kov_property::INTEGER) {
      expect_runtime_error([&] { p.int_value(); }, "Kov_property::int_value() called when type not INTEGER");
    }
    if (p.type() != Kov_property::BOOLEAN) {
      expect_runtime_error([&] { p.bool_value(); }, "Kov_property::bool_value() called when type not BOOLEAN");
    }
    if (p.type() != Kov_property::DATE_AND_TIME) {
      expect_runtime_error([&] { p.date_and_time_value(); },
                           "Kov_property::date_and_time_value() called when type not DATE_AND_TIME");
    }
    if (p.type() != Kov_property::TIME_PERIOD) {
      expect_runtime_error([&] { p.time_period_value(); },
                           "Kov_property::time_period_value() called when type not TIME_PERIOD");
    }
  }
}

TEST(PropertyValue, WritersChangeTypeAndKeepTheValueObject) {
  Kov_property p(u"p", u"text");
  const std::u16string& text = p.string_value();
  p.value(std::u16string(u"other"));
  EXPECT_EQ(text, u"other");  // same object, new value
  p.value(p.string_value());  // its own value: no change
  EXPECT_EQ(p.string_value(), u"other");

  p.value(5);
  EXPECT_EQ(p.type(), Kov_property::INTEGER);
  EXPECT_EQ(p.int_value(), 5);
  EXPECT_THROW(p.string_value(), std::runtime_error);

  p.value(moment(5, 13));
  const Nev_date_and_time& when = p.date_and_time_value();
  p.value(moment(6, 14));
  EXPECT_EQ(when, moment(6, 14));

  p.value(Nev_time_period(1, 0, 0, 0, 0));
  const Nev_time_period& span = p.time_period_value();
  p.value(Nev_time_period(2, 0, 0, 0, 0));
  EXPECT_EQ(span, Nev_time_period(2, 0, 0, 0, 0));

  p.value(true);
  EXPECT_TRUE(p.bool_value());
  p.name(u"renamed");
  EXPECT_EQ(p.name(), u"renamed");
  EXPECT_TRUE(p.bool_value());
}

TEST(PropertyValue, CopiesAreDeepAndAssignmentTakesEverything) {
  const Kov_property text(u"s", u"x");
  const Kov_property when(u"d", moment(1, 1));
  const Kov_property span(u"t", Nev_time_period(1, 0, 0, 0, 0));
  Kov_property text_copy(text), when_copy(when), span_copy(span);
  text_copy.value(u"y");
  when_copy.value(moment(2, 2));
  span_copy.value(Nev_time_period(2, 0, 0, 0, 0));
  EXPECT_EQ(text.string_value(), u"x");
  EXPECT_EQ(when.date_and_time_value(), moment(1, 1));
  EXPECT_EQ(span.time_period_value(), Nev_time_period(1, 0, 0, 0, 0));

  Kov_property target(u"target", u"old text");
  target = Kov_property(u"Span", Nev_time_period(3, 0, 0, 0, 0));
  EXPECT_EQ(target.name(), u"Span");
  EXPECT_EQ(target.type(), Kov_property::TIME_PERIOD);
  EXPECT_EQ(target.time_period_value(), Nev_time_period(3, 0, 0, 0, 0));

  const Nev_time_period& kept = target.time_period_value();
  target = Kov_property(u"Span", Nev_time_period(4, 0, 0, 0, 0));
  EXPECT_EQ(kept, Nev_time_period(4, 0, 0, 0, 0));  // same type: same value object

  Kov_property& self = target;
  target = self;
  EXPECT_EQ(target.time_period_value(), Nev_time_period(4, 0, 0, 0, 0));
  EXPECT_TRUE(target == self);
  EXPECT_FALSE(target < self);
  EXPECT_FALSE(target > self);
}

TEST(PropertyValue, EqualityIgnoresCaseOfNamesAndTexts) {
  struct Case {
    Kov_property a, b;
    bool equal;
  };
  const Case cases[] = {
      {Kov_property(u"Size", 1), Kov_property(u"SIZE", 1), true},
      {Kov_property(u"Size", 1), Kov_property(u"Size", 2), false},
      {Kov_property(u"n", u"Hello"), Kov_property(u"N", u"hELLO"), true},
      {Kov_property(u"n", u"Hello"), Kov_property(u"n", u"Hello!"), false},
      {Kov_property(u"n", 1), Kov_property(u"n", true), false},
      {Kov_property(u"n", true), Kov_property(u"n", true), true},
      {Kov_property(u"n", moment(1, 1)), Kov_property(u"n", moment(1, 1)), true},
      {Kov_property(u"n", moment(1, 1)), Kov_property(u"n", moment(1, 2)), false},
      {Kov_property(u"n", Nev_time_period(1, 0, 0, 0, 0)), Kov_property(u"n", Nev_time_period(1, 0, 0, 0, 0)), true},
  };
  for (const Case& c : cases) {
    Kov_property a = c.a;
    EXPECT_EQ(a == c.b, c.equal) << int(c.a.type());
  }
}

TEST(PropertyValue, OrderingNeedsOneTypeAndOneExactName) {
  struct Case {
    Kov_property a, b;
    bool less, greater;
  };
  const Case cases[] = {
      {Kov_property(u"n", -5), Kov_property(u"n", 3), true, false},
      {Kov_property(u"n", 3), Kov_property(u"n", 3), false, false},
      {Kov_property(u"n", u"Abc"), Kov_property(u"n", u"abc"), true, false},  // case counts
      {Kov_property(u"n", u"ab"), Kov_property(u"n", u"abc"), true, false},   // prefix first
      {Kov_property(u"n", std::u16string(1, char16_t(0xE9))), Kov_property(u"n", u"z"), false, true},  // unsigned
      {Kov_property(u"n", false), Kov_property(u"n", true), true, false},
      {Kov_property(u"n", true), Kov_property(u"n", true), false, false},
      {Kov_property(u"n", moment(1, 1)), Kov_property(u"n", moment(2, 1)), true, false},
      {Kov_property(u"n", Nev_time_period(2, 0, 0, 0, 0)), Kov_property(u"n", Nev_time_period(1, 0, 0, 0, 0)), false,
       true},
  };
  for (const Case& c : cases) {
    Kov_property a = c.a;
    EXPECT_EQ(a < c.b, c.less);
    EXPECT_EQ(a > c.b, c.greater);
  }

  const Kov_property pairs[][2] = {{Kov_property(u"Size", 1), Kov_property(u"size", 1)},
                                   {Kov_property(u"n", 1), Kov_property(u"n", u"1")}};
  for (const auto& pair : pairs) {
    Kov_property a = pair[0];
    expect_runtime_error([&] { (void)(a < pair[1]); }, "Kov_property::operator<() called with incompatible type/name");
    expect_runtime_error([&] { (void)(a > pair[1]); }, "Kov_property::operator>() called with incompatible type/name");
  }
}

}  // namespace
