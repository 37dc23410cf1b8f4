// Kov_property: construction, copying, typed access, changing the value and
// comparison. The text forms live in property_text.cpp.
#include "kov/property.h"

#include <stdexcept>

#include "nev/strings.h"

namespace kov {

namespace {

[[noreturn]] void raise_wrong_type(const char* text) { throw std::runtime_error(text); }

// Deletes the value object that `value` holds for `type`, if the type has
// one, and leaves no stale pointer behind. A free function rather than a
// member, so that it stays out of the library's export list.
template <class Value_union>
void release_value(Kov_property::Type type, Value_union& value) noexcept {
  switch (type) {
    case Kov_property::STRING:
      delete value.m_string_p;
      break;
    case Kov_property::DATE_AND_TIME:
      delete value.m_date_and_time_p;
      break;
    case Kov_property::TIME_PERIOD:
      delete value.m_time_period_p;
      break;
    case Kov_property::INTEGER:
    case Kov_property::BOOLEAN:
      break;
  }
  value.m_int = 0;
}

}  // namespace

Kov_property::Kov_property() : m_type(INTEGER) { m_value.m_int = 0; }

Kov_property::Kov_property(const std::u16string& name, const std::u16string& value)
    : m_name(name), m_type(STRING) {
  m_value.m_string_p = new std::u16string(value);
}

Kov_property::Kov_property(const std::u16string& name, const char16_t* value)
    : Kov_property(name, value != nullptr ? std::u16string(value) : std::u16string()) {}

Kov_property::Kov_property(const std::u16string& name, int value) : m_name(name), m_type(INTEGER) {
  m_value.m_int = value;
}

Kov_property::Kov_property(const std::u16string& name, bool value) : m_name(name), m_type(BOOLEAN) {
  m_value.m_bool = value;
}

Kov_property::Kov_property(const std::u16string& name, const nev::Nev_date_and_time& value)
    : m_name(name), m_type(DATE_AND_TIME) {
  m_value.m_date_and_time_p = new nev::Nev_date_and_time(value);
}

Kov_property::Kov_property(const std::u16string& name, const nev::Nev_time_period& value)
    : m_name(name), m_type(TIME_PERIOD) {
  m_value.m_time_period_p = new nev::Nev_time_period(value);
}

Kov_property::Kov_property(const Kov_property& other) : m_name(other.m_name), m_type(other.m_type) {
  switch (other.m_type) {
    case STRING:
      m_value.m_string_p = new std::u16string(*other.m_value.m_string_p);
      break;
    case DATE_AND_TIME:
      m_value.m_date_and_time_p = new nev::Nev_date_and_time(*other.m_value.m_date_and_time_p);
      break;
    case TIME_PERIOD:
      m_value.m_time_period_p = new nev::Nev_time_period(*other.m_value.m_time_period_p);
      break;
    case INTEGER:
    case BOOLEAN:
      m_value = other.m_value;
      break;
  }
}

Kov_property::~Kov_property() { release_value(m_type, m_value); }

Kov_property& Kov_property::operator=(const Kov_property& other) {
  if (this == &other) return *this;
  m_name = other.m_name;
  // Through the writers, so that a target of the same type keeps its value
  // object and one of another type drops the old one.
  switch (other.m_type) {
    case STRING:
      value(*other.m_value.m_string_p);
      break;
    case INTEGER:
      value(other.m_value.m_int);
      break;
    case BOOLEAN:
      value(other.m_value.m_bool);
      break;
    case DATE_AND_TIME:
      value(*other.m_value.m_date_and_time_p);
      break;
    case TIME_PERIOD:
      value(*other.m_value.m_time_period_p);
      break;
  }
  return *this;
}

const std::u16string& Kov_property::name() const { return m_name; }

Kov_property::Type Kov_property::type() const { return m_type; }

const std::u16string& Kov_property::string_value() const {
  if (m_type != STRING) raise_wrong_type("Kov_property::string_value() called when type not STRING");
  return *m_value.m_string_p;
}

int Kov_property::int_value() const {
  if (m_type != INTEGER) raise_wrong_type("Kov_property::int_value() called when type not INTEGER");
  return m_value.m_int;
}

bool Kov_property::bool_value() const {
  if (m_type != BOOLEAN) raise_wrong_type("Kov_property::bool_value() called when type not BOOLEAN");
  return m_value.m_bool;
}

const nev::Nev_date_and_time& Kov_property::date_and_time_value() const {
  if (m_type != DATE_AND_TIME) {
    raise_wrong_type("Kov_property::date_and_time_value() called when type not DATE_AND_TIME");
  }
  return *m_value.m_date_and_time_p;
}

const nev::Nev_time_period& Kov_property::time_period_value() const {
  if (m_type != TIME_PERIOD) {
    raise_wrong_type("Kov_property::time_period_value() called when type not TIME_PERIOD");
  }
  return *m_value.m_time_period_p;
}

void Kov_property::name(const std::u16string& name) { m_name = name; }

// Each writer with a value object assigns into the object it already has
// when the type stays; otherwise the new object is made before the old one
// goes, so that a failed allocation leaves the property as it was.
void Kov_property::value(const std::u16string& value) {
  if (m_type == STRING) {
    *m_value.m_string_p = value;
    return;
  }
  auto* fresh = new std::u16string(value);
  release_value(m_type, m_value);
  m_value.m_string_p = fresh;
  m_type = STRING;
}

void Kov_property::value(const char16_t* value) {
  // Copied first: the text may lie inside this property's own string.
  this->value(value != nullptr ? std::u16string(value) : std::u16string());
}

void Kov_property::value(int value) {
  release_value(m_type, m_value);
  m_value.m_int = value;
  m_type = INTEGER;
}

void Kov_property::value(bool value) {
  release_value(m_type, m_value);
  m_value.m_bool = value;
  m_type = BOOLEAN;
}

void Kov_property::value(const nev::Nev_date_and_time& value) {
  if (m_type == DATE_AND_TIME) {
    *m_value.m_date_and_time_p = value;
    return;
  }
  auto* fresh = new nev::Nev_date_and_time(value);
  release_value(m_type, m_value);
  m_value.m_date_and_time_p = fresh;
  m_type = DATE_AND_TIME;
}

void Kov_property::value(const nev::Nev_time_period& value) {
  if (m_type == TIME_PERIOD) {
    *m_value.m_time_period_p = value;
    return;
  }
  auto* fresh = new nev::Nev_time_period(value);
  release_value(m_type, m_value);
  m_value.m_time_period_p = fresh;
  m_type = TIME_PERIOD;
}

bool Kov_property::operator==(const Kov_property& other) {
  if (m_type != other.m_type) return false;
  if (!nev::nev_string_equal_nc(m_name, other.m_name)) return false;
  switch (m_type) {
    case STRING:
      return nev::nev_string_equal_nc(*m_value.m_string_p, *other.m_value.m_string_p);
    case INTEGER:
      return m_value.m_int == other.m_value.m_int;
    case BOOLEAN:
      return m_value.m_bool == other.m_value.m_bool;
    case DATE_AND_TIME:
      return *m_value.m_date_and_time_p == *other.m_value.m_date_and_time_p;
    case TIME_PERIOD:
      return *m_value.m_time_period_p == *other.m_value.m_time_period_p;
  }
  return false;
}

// Ordering needs one type and one exact name; unlike equality, letter case
// in the name counts. std::u16string compares its units as unsigned 16-bit
// numbers, a prefix first, which is the order wanted for STRING values.
bool Kov_property::operator<(const Kov_property& other) {
  if (m_type != other.m_type || m_name != other.m_name) {
    throw std::runtime_error("Kov_property::operator<() called with incompatible type/name");
  }
  switch (m_type) {
    case STRING:
      return *m_value.m_string_p < *other.m_value.m_string_p;
    case INTEGER:
      return m_value.m_int < other.m_value.m_int;
    case BOOLEAN:
      return !m_value.m_bool && other.m_value.m_bool;
    case DATE_AND_TIME:
      return *m_value.m_date_and_time_p < *other.m_value.m_date_and_time_p;
    case TIME_PERIOD:
      return *m_value.m_time_period_p < *other.m_value.m_time_period_p;
  }
  return false;
}

bool Kov_property::operator>(const Kov_property& other) {
  if (m_type != other.m_type || m_name != other.m_name) {
    throw std::runtime_error("Kov_property::operator>() called with incompatible type/name");
  }
  switch (m_type) {
    case STRING:
      return *m_value.m_string_p > *other.m_value.m_string_p;
    case INTEGER:
      return m_value.m_int > other.m_value.m_int;
    case BOOLEAN:
      return m_value.m_bool && !other.m_value.m_bool;
    case DATE_AND_TIME:
      return *m_value.m_date_and_time_p > *other.m_value.m_date_and_time_p;
    case TIME_PERIOD:
      return *m_value.m_time_period_p > *other.m_value.m_time_period_p;
  }
  return false;
}

}  // namespace kov
