// The kovprop tool, run as a program: its output and its exit codes.
#include <gtest/gtest.h>
#include "portable.h"

#include <cstdio>
#include <string>
#include <utility>

#ifdef KOVPROP_PATH

namespace {

// The exit code, and standard output and standard error together.
std::pair<int, std::string> run_kovprop(const std::string& arguments) {
  std::pair<int, std::string> run{-1, ""};
  run.first = kov_test::run_program(KOVPROP_PATH, kov_test::shell_words(arguments), "", &run.second);
  return run;
}

// encode prints the stored text; decode prints type, display text and stored
// text, or the conversion's message with exit code 1; bad arguments print the
// usage and exit with 2.
TEST(Kovprop, ExitCodesAndOutput) {
  const char* const usage = "usage: kovprop";  // expected somewhere in the output
  struct Case {
    const char* arguments;
    int exit_code;
    const char* output;
  };
  const Case cases[] = {
      {"encode --string 'retry later'", 0, "$Sretry later\n"},
      {"encode --string 'Grüße'", 0, "$SGrüße\n"},
      {"encode --int -2147483648", 0, "$I-2147483648\n"},
      {"encode --bool TRUE", 0, "$Btrue\n"},
      {"encode --date-time '1999-07-05 13:04:09.000250'", 0, "$D000250:09:04:13:05:07:1999\n"},
      {"encode --date-time '0001-01-01 00:00:00'", 0, "$D000000:00:00:00:01:01:0001\n"},
      {"encode --date-time '9999-12-31 23:59:59.999999'", 0, "$D999999:59:59:23:31:12:9999\n"},
      {"encode --period '3 02:01:00.5'", 0, "$T500000:00:01:02:0000000003\n"},
      {"encode --period '2147483647 00:00:00.000000'", 0, "$T000000:00:00:00:2147483647\n"},
      {"decode '$I0042'", 0, "type: INTEGER\ndisplay: 42\npersistent: $I42\n"},
      {"decode '$BTRUE'", 0, "type: BOOLEAN\ndisplay: true\npersistent: $Btrue\n"},
      {"decode '$D000250:09:04:13:05:07:1999'", 0,
       "type: DATE_AND_TIME\ndisplay: Mon 05 Jul 1999 13:04:09\npersistent: $D000250:09:04:13:05:07:1999\n"},
      {"decode '$T500000:00:01:02:0000000003'", 0,
       "type: TIME_PERIOD\ndisplay: 3 days 02:01:00.500000\npersistent: $T500000:00:01:02:0000000003\n"},
      {"decode ''", 1, "kovprop: Not a valid property value\n"},
      {"decode '$Iabc'", 1, "kovprop: Not a valid integer\n"},
      {"", 2, usage},
      {"frobnicate", 2, usage},
      {"decode", 2, usage},
      {"encode --int", 2, usage},
      {"encode --int 2147483648", 2, usage},
      {"encode --bool maybe", 2, usage},
      {"encode --colour red", 2, usage},
      {"encode --date-time '1999-02-29 00:00:00'", 2, usage},
      {"encode --date-time '1999-07-05 13:04:09.1234567'", 2, usage},
      {"encode --date-time '1999-07-05'", 2, usage},
      {"encode --period '-1 00:00:00'", 2, usage},
      {"encode --period '3 02:61:00'", 2, usage},
  };
  for (const Case& c : cases) {
    const auto [exit_code, output] = run_kovprop(c.arguments);
    EXPECT_EQ(exit_code, c.exit_code) << c.arguments;
    EXPECT_TRUE(c.output == usage ? output.find(usage) != std::string::npos : output == c.output)
        << c.arguments << " printed: " << output;
  }
}

}  // namespace

#endif  // KOVPROP_PATH
