// Kov_property: a named, typed value.
//
// A property joins a wide-string name to one value of five kinds: text, a
// signed 32-bit integer, a flag, a date and time, or a period of time. It is a
// deep-copying value type: copies never share a value.
//
//   kov::Kov_property retries(u"Retries", 3);
//   retries.int_value();                     // 3
//   retries.string_value();                  // throws std::runtime_error
//   retries.get_persistent_string();         // u"$I3"
//
// Each property has two text forms, both computed from the current value:
// the persistent string ("$", a type letter, the value text) restores type
// and value through convert_from_persistent_string; the display string is
// for people.
//
// Readers used on the wrong type, the ordering operators used across types
// or names, and failed conversions raise std::runtime_error with a fixed
// text. The class takes no lock: a caller that shares one guards it.
#pragma once

#include <string>

#include "kov/export.h"
#include "nev/time.h"

namespace kov {

// Widths of the seven elements of a stored date and time, smallest unit
// first: microseconds, seconds, minutes, hours, day, month, year.
KOV_EXPORT extern const unsigned int DATE_TIME_ELEMENT_LENGTH[7];
// Widths of the five elements of a stored period: microseconds, seconds,
// minutes, hours, days.
KOV_EXPORT extern const unsigned int TIME_PERIOD_ELEMENT_LENGTH[5];

class KOV_EXPORT Kov_property {
 public:
  // The kinds of value; the numbers are fixed.
  enum Type { STRING = 0, INTEGER = 1, BOOLEAN = 2, DATE_AND_TIME = 3, TIME_PERIOD = 4 };

  // An INTEGER 0 with an empty name.
  Kov_property();
  // A STRING holding a copy of `value`.
  Kov_property(const std::u16string& name, const std::u16string& value);
  // The same as the wide-string form; without it a literal would choose the
  // bool constructor. A null pointer counts as the empty text.
  Kov_property(const std::u16string& name, const char16_t* value);
  // An INTEGER.
  Kov_property(const std::u16string& name, int value);
  // A BOOLEAN.
  Kov_property(const std::u16string& name, bool value);
  // A DATE_AND_TIME holding a copy of `value`.
  Kov_property(const std::u16string& name, const nev::Nev_date_and_time& value);
  // A TIME_PERIOD holding a copy of `value`.
  Kov_property(const std::u16string& name, const nev::Nev_time_period& value);
  // A deep copy: a new value object for STRING, DATE_AND_TIME, TIME_PERIOD.
  Kov_property(const Kov_property& other);
  // Releases the value object, if the type has one.
  ~Kov_property();

  // Copies name, type and value; a target of the same type keeps its value
  // object, so references from its readers stay good.
  Kov_property& operator=(const Kov_property& other);

  // The name; may be empty.
  const std::u16string& name() const;
  // Which kind of value the property holds.
  Type type() const;
  // Readers, one per type; each raises std::runtime_error unless type()
  // matches, and none converts. The reference readers give the value object
  // itself.
  const std::u16string& string_value() const;
  int int_value() const;
  bool bool_value() const;
  const nev::Nev_date_and_time& date_and_time_value() const;
  const nev::Nev_time_period& time_period_value() const;

  // Replaces the name; the value stays.
  void name(const std::u16string& name);
  // Writers: the property takes the argument's type and value. Where the
  // type stays the value object stays too.
  void value(const std::u16string& value);
  void value(const char16_t* value);
  void value(int value);
  void value(bool value);
  void value(const nev::Nev_date_and_time& value);
  void value(const nev::Nev_time_period& value);

  // Equal types, names equal without regard to case, equal values (STRING
  // values compared without regard to case).
  bool operator==(const Kov_property& other);
  // Order of two values of one type and one exact name; raise
  // std::runtime_error for different types or names.
  bool operator<(const Kov_property& other);
  bool operator>(const Kov_property& other);

  // The stored text form: "$", the type letter (S, I, B, D, T), the value.
  std::u16string get_persistent_string() const;
  // The text form for people.
  std::u16string get_display_string() const;
  // Turns a STRING property that holds a persistent string into the stored
  // type and value; returns the type afterwards. Every failure raises
  // std::runtime_error with a fixed text.
  Type convert_from_persistent_string();

 private:
  // Conversions of the present STRING value (the value text without marker
  // and descriptor); each gives false, changing nothing, when the text does
  // not fit, and true after storing the new type and value.
  bool string_to_bool();
  bool string_to_integer();
  bool string_to_date_time();
  bool string_to_time_period();

  std::u16string m_name;
  Type m_type;
  // The member of the union in force is the one m_type names; the pointers
  // are value objects this property alone owns.
  union {
    std::u16string* m_string_p;
    int m_int;
    bool m_bool;
    nev::Nev_date_and_time* m_date_and_time_p;
    nev::Nev_time_period* m_time_period_p;
  } m_value;
};

}  // namespace kov
