// kovprop: writes and reads persistent strings, for people who put typed
// settings into the registry by hand.
//
//   kovprop encode --string T | --int N | --bool B
//                | --date-time "YYYY-MM-DD hh:mm:ss[.uuuuuu]"
//                | --period "D hh:mm:ss[.uuuuuu]"
//   kovprop decode TEXT
//
// encode prints the persistent string of the value. decode prints the type,
// the display text and the persistent text built anew from the value; a text
// that does not convert prints the conversion's message and exits with 1.
// Bad arguments print the usage and exit with 2. Text on the command line
// and on the terminal is UTF-8.
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "kov/property.h"
#include "nev/strings.h"
#include "nev/time.h"
#include "nev/system.h"

namespace {

constexpr int EXIT_CONVERSION_FAILED = 1;
constexpr int EXIT_USAGE = 2;

const char USAGE[] =
    "usage: kovprop encode --string TEXT\n"
    "       kovprop encode --int NUMBER\n"
    "       kovprop encode --bool true|false\n"
    "       kovprop encode --date-time \"YYYY-MM-DD hh:mm:ss[.uuuuuu]\"\n"
    "       kovprop encode --period \"DAYS hh:mm:ss[.uuuuuu]\"\n"
    "       kovprop decode PERSISTENT-STRING\n";

int usage_error(const char* why) {
  std::fprintf(stderr, "kovprop: %s\n%s", why, USAGE);
  return EXIT_USAGE;
}

void print_line(const std::u16string& text) { std::printf("%s\n", nev::nev_to_utf8(text).c_str()); }

// Reads exactly `count` decimal digits at `pos` of `text`, moving `pos` on.
std::optional<int> read_digits(std::string_view text, std::size_t& pos, std::size_t count) {
  if (pos + count > text.size()) return std::nullopt;
  int value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const char c = text[pos + i];
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
  }
  pos += count;
  return value;
}

bool read_char(std::string_view text, std::size_t& pos, char expected) {
  if (pos >= text.size() || text[pos] != expected) return false;
  ++pos;
  return true;
}

struct Clock_time {
  int hours;
  int minutes;
  int seconds;
  int microseconds;
};

// "hh:mm:ss" with an optional fraction of one to six digits, to the end of
// the text, and a valid time of day.
std::optional<Clock_time> read_clock_time(std::string_view text, std::size_t pos) {
  Clock_time time{};
  auto hours = read_digits(text, pos, 2);
  if (!hours || !read_char(text, pos, ':')) return std::nullopt;
  auto minutes = read_digits(text, pos, 2);
  if (!minutes || !read_char(text, pos, ':')) return std::nullopt;
  auto seconds = read_digits(text, pos, 2);
  if (!seconds) return std::nullopt;
  time.hours = *hours;
  time.minutes = *minutes;
  time.seconds = *seconds;
  if (read_char(text, pos, '.')) {
    const std::size_t digits = text.size() - pos;
    if (digits == 0 || digits > 6) return std::nullopt;
    auto fraction = read_digits(text, pos, digits);
    if (!fraction) return std::nullopt;
    time.microseconds = *fraction;
    for (std::size_t i = digits; i < 6; ++i) time.microseconds *= 10;
  }
  if (pos != text.size()) return std::nullopt;
  if (!nev::Nev_time::valid_hour(time.hours) || !nev::Nev_time::valid_minute(time.minutes) ||
      !nev::Nev_time::valid_second(time.seconds)) {
    return std::nullopt;
  }
  return time;
}

std::optional<nev::Nev_date_and_time> parse_date_time(std::string_view text) {
  std::size_t pos = 0;
  auto year = read_digits(text, pos, 4);
  if (!year || !read_char(text, pos, '-')) return std::nullopt;
  auto month = read_digits(text, pos, 2);
  if (!month || !read_char(text, pos, '-')) return std::nullopt;
  auto day = read_digits(text, pos, 2);
  if (!day || !read_char(text, pos, ' ')) return std::nullopt;
  auto time = read_clock_time(text, pos);
  if (!time || !nev::Nev_date::is_year(*year) || !nev::Nev_date::is_month(*month) ||
      !nev::Nev_date::is_day_in_month(*day, *month, *year)) {
    return std::nullopt;
  }
  return nev::Nev_date_and_time(nev::Nev_date(*day, *month, *year),
                                nev::Nev_time(time->hours, time->minutes, time->seconds, time->microseconds),
                                nev::Nev_time_zone::local());
}

// Days from 0 to 2147483647: a negative span has no stored form that reads
// back, so it is refused here rather than written.
std::optional<nev::Nev_time_period> parse_period(std::string_view text) {
  const std::size_t blank = text.find(' ');
  if (blank == std::string_view::npos || blank == 0) return std::nullopt;
  const std::u16string days_text = nev::nev_from_utf8(std::string(text.substr(0, blank)));
  if (!nev::nev_is_int32(days_text) || days_text[0] == u'-') return std::nullopt;
  auto time = read_clock_time(text, blank + 1);
  if (!time) return std::nullopt;
  return nev::Nev_time_period(nev::nev_wtoi32(days_text), time->hours, time->minutes, time->seconds,
                              time->microseconds);
}

int encode(std::string_view option, const std::string& argument) {
  const std::u16string name;
  const std::u16string text = nev::nev_from_utf8(argument);
  if (option == "--string") {
    print_line(kov::Kov_property(name, text).get_persistent_string());
  } else if (option == "--int") {
    if (!nev::nev_is_int32(text)) return usage_error("--int needs a signed 32-bit number");
    print_line(kov::Kov_property(name, static_cast<int>(nev::nev_wtoi32(text))).get_persistent_string());
  } else if (option == "--bool") {
    const bool is_true = nev::nev_string_equal_nc(text, u"true");
    if (!is_true && !nev::nev_string_equal_nc(text, u"false")) return usage_error("--bool needs true or false");
    print_line(kov::Kov_property(name, is_true).get_persistent_string());
  } else if (option == "--date-time") {
    auto value = parse_date_time(argument);
    if (!value) return usage_error("--date-time needs a valid \"YYYY-MM-DD hh:mm:ss.uuuuuu\"");
    print_line(kov::Kov_property(name, *value).get_persistent_string());
  } else if (option == "--period") {
    auto value = parse_period(argument);
    if (!value) return usage_error("--period needs a valid \"D hh:mm:ss.uuuuuu\" with D from 0 to 2147483647");
    print_line(kov::Kov_property(name, *value).get_persistent_string());
  } else {
    return usage_error("unknown encode option");
  }
  return 0;
}

const char* type_name(kov::Kov_property::Type type) {
  switch (type) {
    case kov::Kov_property::STRING:
      return "STRING";
    case kov::Kov_property::INTEGER:
      return "INTEGER";
    case kov::Kov_property::BOOLEAN:
      return "BOOLEAN";
    case kov::Kov_property::DATE_AND_TIME:
      return "DATE_AND_TIME";
    case kov::Kov_property::TIME_PERIOD:
      return "TIME_PERIOD";
  }
  return "?";
}

int decode(const std::string& argument) {
  kov::Kov_property property(u"", nev::nev_from_utf8(argument));
  try {
    property.convert_from_persistent_string();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "kovprop: %s\n", failure.what());
    return EXIT_CONVERSION_FAILED;
  }
  std::printf("type: %s\n", type_name(property.type()));
  std::printf("display: %s\n", nev::nev_to_utf8(property.get_display_string()).c_str());
  std::printf("persistent: %s\n", nev::nev_to_utf8(property.get_persistent_string()).c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  nev::Nev_utf8_arguments arguments(argc, argv);  // every character, on Windows too
  argc = arguments.count();
  argv = arguments.argv();
  if (argc == 2 && (std::string_view(argv[1]) == "--help" || std::string_view(argv[1]) == "-h")) {
    std::fputs(USAGE, stdout);
    return 0;
  }
  if (argc < 2) return usage_error("no command");
  const std::string_view command = argv[1];
  if (command == "encode") {
    if (argc != 4) return usage_error("encode takes one option and its value");
    return encode(argv[2], argv[3]);
  }
  if (command == "decode") {
    if (argc != 3) return usage_error("decode takes one text");
    return decode(argv[2]);
  }
  return usage_error("unknown command");
}
