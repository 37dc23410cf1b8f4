// The two text forms of a Kov_property and the conversion from stored text.
//
// A persistent string is "$", one descriptor letter and the value text. The
// numeric forms are fixed-width elements joined by ":", smallest unit first:
//   $D000250:09:04:13:05:07:1999   (microseconds ... year)
//   $T500000:00:01:02:0000000003   (microseconds ... days)
// The widths come from the two exported tables below, for writing and for
// reading alike.
#include <cstdint>
#include <stdexcept>

#include "entry/statics.h"
#include "kov/property.h"
#include "nev/status.h"
#include "nev/strings.h"

namespace kov {

const unsigned int DATE_TIME_ELEMENT_LENGTH[7] = {6, 2, 2, 2, 2, 2, 4};
const unsigned int TIME_PERIOD_ELEMENT_LENGTH[5] = {6, 2, 2, 2, 10};

namespace {

constexpr unsigned DATE_TIME_ELEMENTS = sizeof DATE_TIME_ELEMENT_LENGTH / sizeof DATE_TIME_ELEMENT_LENGTH[0];
constexpr unsigned TIME_PERIOD_ELEMENTS =
    sizeof TIME_PERIOD_ELEMENT_LENGTH / sizeof TIME_PERIOD_ELEMENT_LENGTH[0];

// Positions of the elements in both stored forms.
enum Element { MICROSECOND = 0, SECOND = 1, MINUTE = 2, HOUR = 3, DAY = 4, MONTH = 5, YEAR = 6 };

// Appends `value` in plain decimal, filled with "0" on the left up to
// `width`. A longer text is appended whole; a minus sign counts as a unit of
// the text, so the fill goes in front of it.
void append_element(std::u16string& out, std::int64_t value, unsigned width) {
  std::u16string digits;
  nev::nev_itow(value, digits, 10, false);
  if (digits.size() < width) out.append(width - digits.size(), u'0');
  out += digits;
}

// True when `text` is exactly what append_element writes for a 32-bit
// number at `width`, with `number` set to it. This is how a negative days
// element reads back: the fill stands in front of its sign ("00000000-1"),
// and a number longer than the width ("-2147483648") stands whole. Any
// other text (a sign after digits, a zero after the sign, a second sign) is
// not the writer's and is refused.
bool written_element(const std::u16string& text, unsigned width, int& number) {
  const std::size_t start = text.find_first_not_of(u'0');
  if (start == std::u16string::npos || text[start] != u'-') return false;
  const std::u16string digits = text.substr(start);
  if (!nev::nev_is_int32(digits)) return false;
  number = nev::nev_wtoi32(digits);
  std::u16string again;
  append_element(again, number, width);
  return again == text;
}

// Reads `count` fixed-width numeric elements separated by single ":" from
// `text` into `elements`. Every element must have exactly its width and be a
// 32-bit signed number, every separator must be there, and nothing may
// follow the last element; with `signed_last` the last element may instead
// be the writer's form of a negative number (see written_element). Never
// reads beyond the end of `text`.
bool read_elements(const std::u16string& text, const unsigned int* widths, unsigned count, int* elements,
                   bool signed_last = false) {
  std::u16string buffer;
  unsigned index = 0;
  bool good = true;
  std::size_t cursor = 0;
  while (cursor != text.size()) {
    if (!good) return false;
    if (index == count) break;
    if (signed_last && index + 1 == count && buffer.empty() &&
        written_element(text.substr(cursor), widths[index], elements[index])) {
      return true;
    }
    buffer.push_back(text[cursor]);
    ++cursor;
    if (buffer.size() != widths[index]) continue;
    if (!nev::nev_is_int32(buffer)) {
      good = false;
      continue;
    }
    elements[index] = nev::nev_wtoi32(buffer);
    buffer.clear();
    if (index + 1 != count && cursor != text.size()) {
      if (text[cursor] == u':') {
        ++cursor;
      } else {
        good = false;
      }
    }
    ++index;
  }
  return good && index == count && cursor == text.size();
}

bool valid_time_elements(const int* elements) {
  return nev::Nev_time::valid_microsecond(elements[MICROSECOND]) && nev::Nev_time::valid_second(elements[SECOND]) &&
         nev::Nev_time::valid_minute(elements[MINUTE]) && nev::Nev_time::valid_hour(elements[HOUR]);
}

nev::Nev_time time_from_elements(const int* elements) {
  return nev::Nev_time(elements[HOUR], elements[MINUTE], elements[SECOND], elements[MICROSECOND]);
}

void append_time_elements(std::u16string& out, const nev::Nev_time& time) {
  append_element(out, time.microseconds(), DATE_TIME_ELEMENT_LENGTH[MICROSECOND]);
  out += u':';
  append_element(out, time.seconds(), DATE_TIME_ELEMENT_LENGTH[SECOND]);
  out += u':';
  append_element(out, time.minutes(), DATE_TIME_ELEMENT_LENGTH[MINUTE]);
  out += u':';
  append_element(out, time.hours(), DATE_TIME_ELEMENT_LENGTH[HOUR]);
}

std::u16string date_time_text(const nev::Nev_date_and_time& value) {
  std::u16string out;
  append_time_elements(out, value.time());
  const nev::Nev_date& date = value.date();
  out += u':';
  append_element(out, date.day(), DATE_TIME_ELEMENT_LENGTH[DAY]);
  out += u':';
  append_element(out, date.month(), DATE_TIME_ELEMENT_LENGTH[MONTH]);
  out += u':';
  append_element(out, date.year(), DATE_TIME_ELEMENT_LENGTH[YEAR]);
  return out;
}

std::u16string time_period_text(const nev::Nev_time_period& value) {
  std::u16string out;
  append_time_elements(out, nev::Nev_time(value));
  out += u':';
  // The element holds 32 bits: the low half of the day count, as signed.
  const auto days = static_cast<std::int32_t>(static_cast<std::uint32_t>(value.days()));
  append_element(out, days, TIME_PERIOD_ELEMENT_LENGTH[DAY]);
  return out;
}

}  // namespace

std::u16string Kov_property::get_persistent_string() const {
  std::u16string out = u"$";
  switch (m_type) {
    case STRING:
      out += u'S';
      out += *m_value.m_string_p;
      break;
    case INTEGER: {
      out += u'I';
      std::u16string digits;
      nev::nev_itow(m_value.m_int, digits, 10, false);
      out += digits;
      break;
    }
    case BOOLEAN:
      out += u'B';
      out += m_value.m_bool ? detail::true_text : detail::false_text;
      break;
    case DATE_AND_TIME:
      out += u'D';
      out += date_time_text(*m_value.m_date_and_time_p);
      break;
    case TIME_PERIOD:
      out += u'T';
      out += time_period_text(*m_value.m_time_period_p);
      break;
  }
  return out;
}

std::u16string Kov_property::get_display_string() const {
  std::u16string out;
  switch (m_type) {
    case STRING:
      out = *m_value.m_string_p;
      break;
    case INTEGER:
      nev::nev_itow(m_value.m_int, out, 10, true);
      break;
    case BOOLEAN:
      nev::Nev_bool_status_arg(m_value.m_bool).to_string(out);
      break;
    case DATE_AND_TIME:
      m_value.m_date_and_time_p->to_string(u"%c", out);
      break;
    case TIME_PERIOD:
      m_value.m_time_period_p->to_string(u"%P", out);
      break;
  }
  return out;
}

Kov_property::Type Kov_property::convert_from_persistent_string() {
  if (m_type != STRING) throw std::runtime_error("Cannot convert from type other than string");
  const std::u16string& text = *m_value.m_string_p;
  if (text.size() < 2 || text[0] != u'$') throw std::runtime_error("Not a valid property value");

  const char16_t descriptor = text[1];
  // The value text ends at the first NUL, if there is one. From here on
  // every failure leaves the property a STRING holding the value text.
  std::size_t end = text.find(u'\0', 2);
  if (end == std::u16string::npos) end = text.size();
  *m_value.m_string_p = text.substr(2, end - 2);

  switch (descriptor) {
    case u'B':
      if (!string_to_bool()) throw std::runtime_error("Not a valid boolean symbol");
      break;
    case u'D':
      if (!string_to_date_time()) throw std::runtime_error("Not a valid date and time");
      break;
    case u'I':
      if (!string_to_integer()) throw std::runtime_error("Not a valid integer");
      break;
    case u'S':
      break;
    case u'T':
      if (!string_to_time_period()) throw std::runtime_error("Not a valid time period");
      break;
    default:
      throw std::runtime_error("Not a valid type descriptor");
  }
  return m_type;
}

bool Kov_property::string_to_bool() {
  if (m_type != STRING) return false;
  const std::u16string& text = *m_value.m_string_p;
  if (nev::nev_string_equal_nc(text, detail::true_text)) {
    value(true);
    return true;
  }
  if (nev::nev_string_equal_nc(text, detail::false_text)) {
    value(false);
    return true;
  }
  return false;
}

bool Kov_property::string_to_integer() {
  if (m_type != STRING) return false;
  const std::u16string& text = *m_value.m_string_p;
  if (text.empty() || !nev::nev_is_int32(text)) return false;
  value(static_cast<int>(nev::nev_wtoi32(text)));
  return true;
}

bool Kov_property::string_to_date_time() {
  if (m_type != STRING) return false;
  int elements[DATE_TIME_ELEMENTS] = {};
  if (!read_elements(*m_value.m_string_p, DATE_TIME_ELEMENT_LENGTH, DATE_TIME_ELEMENTS, elements)) return false;
  if (!valid_time_elements(elements) || !nev::Nev_date::is_month(elements[MONTH]) ||
      !nev::Nev_date::is_year(elements[YEAR]) ||
      !nev::Nev_date::is_day_in_month(elements[DAY], elements[MONTH], elements[YEAR])) {
    return false;
  }
  const nev::Nev_date date(elements[DAY], elements[MONTH], elements[YEAR]);
  value(nev::Nev_date_and_time(date, time_from_elements(elements), nev::Nev_time_zone::local()));
  return true;
}

bool Kov_property::string_to_time_period() {
  if (m_type != STRING) return false;
  int elements[TIME_PERIOD_ELEMENTS] = {};
  if (!read_elements(*m_value.m_string_p, TIME_PERIOD_ELEMENT_LENGTH, TIME_PERIOD_ELEMENTS, elements, true)) {
    return false;
  }
  if (!valid_time_elements(elements)) return false;
  value(nev::Nev_time_period(elements[DAY], elements[HOUR], elements[MINUTE], elements[SECOND],
                             elements[MICROSECOND]));
  return true;
}

}  // namespace kov
