// kovreg's command line: the switches and operands of one run.
//
//   kovreg [--machine NAME | --hive PATH] COMMAND ...
//
// Single-threaded: parsed once at the start of a run.
#pragma once

#include <string>
#include <vector>

namespace kovreg {

// What --help prints; also printed after a command line that is not understood.
extern const char* const USAGE;

// A command line that is not understood; an empty reason asks for the help.
struct Usage_error {
  std::string reason;
};

struct Options {
  std::string command;
  std::vector<std::string> operands;
  std::string machine;
  std::string hive;
  bool has_value_name = false;
  std::string value_name;
  bool default_value = false;  // /ve
  bool all_values = false;     // /va
  bool recursive = false;      // /s
  bool force = false;          // /f
  std::string type = "REG_SZ";
  bool has_data = false;
  std::string data;
  bool utf8 = false;
  bool regedit4 = false;
};

// The options of argv; throws Usage_error for a line that is not understood.
Options parse_options(int argc, char** argv);

}  // namespace kovreg
