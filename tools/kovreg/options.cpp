// Parsing kovreg's command line; see options.h.
#include "options.h"

#include <cctype>
#include <cstring>

namespace kovreg {

const char* const USAGE =
    "usage: kovreg [--machine NAME | --hive PATH] COMMAND ...\n"
    "  query  KEY [/v NAME | /ve] [/s]\n"
    "  add    KEY [/v NAME | /ve] [/t TYPE] [/d DATA] [/f]\n"
    "  delete KEY [/v NAME | /ve | /va] [/f]\n"
    "  import FILE\n"
    "  export KEY FILE [--utf8 | --regedit4] [/y]\n"
    "KEY begins with its root: HKLM, HKCU, HKCR, HKU, HKCC or the long names.\n"
    "TYPE: REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ (DATA parts separated by \\0),\n"
    "      REG_DWORD, REG_QWORD (decimal or 0x...), REG_BINARY, REG_NONE (hex digits).\n"
    "export writes UTF-16 (version 5), which the Windows registry editor reads.\n"
    "  --utf8      version 5 in UTF-8, for other tools: the Windows registry editor\n"
    "              reads such a file in its ANSI code page and silently corrupts\n"
    "              every non-ASCII character.\n"
    "  --regedit4  version 4 in Windows-1252: REG_SZ text outside it goes out as\n"
    "              hex(1); a name or hex(2)/hex(7) text outside it stops the export.\n";

namespace {

bool is_switch(const std::string& text, const char* name) {
  if (text.size() != std::strlen(name) || (text[0] != '/' && text[0] != '-')) return false;
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != name[i]) return false;
  }
  return true;
}

}  // namespace

Options parse_options(int argc, char** argv) {
  Options options;
  auto next = [&](int& i, const char* what) -> std::string {
    if (i + 1 >= argc) throw Usage_error{std::string(what) + " needs a value"};
    return argv[++i];
  };
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--machine") {
      options.machine = next(i, "--machine");
    } else if (argument == "--hive") {
      options.hive = next(i, "--hive");
    } else if (argument == "--utf8") {
      options.utf8 = true;
    } else if (argument == "--regedit4") {
      options.regedit4 = true;
    } else if (argument == "--help" || argument == "/?") {
      throw Usage_error{""};
    } else if (is_switch(argument, "/v")) {
      options.has_value_name = true;
      options.value_name = next(i, "/v");
    } else if (is_switch(argument, "/ve")) {
      options.default_value = true;
    } else if (is_switch(argument, "/va")) {
      options.all_values = true;
    } else if (is_switch(argument, "/s")) {
      options.recursive = true;
    } else if (is_switch(argument, "/f") || is_switch(argument, "/y")) {
      options.force = true;
    } else if (is_switch(argument, "/t")) {
      options.type = next(i, "/t");
    } else if (is_switch(argument, "/d")) {
      options.has_data = true;
      options.data = next(i, "/d");
    } else if (argument.size() > 1 && argument[0] == '/' && argument.size() <= 3) {
      throw Usage_error{"unknown switch " + argument};
    } else if (argument.rfind("--", 0) == 0) {
      throw Usage_error{"unknown option " + argument};
    } else if (options.command.empty()) {
      options.command = argument;
    } else {
      options.operands.push_back(argument);
    }
  }
  if (options.command.empty()) throw Usage_error{"no command given"};
  if (!options.machine.empty() && !options.hive.empty()) throw Usage_error{"--machine and --hive exclude each other"};
  if (options.has_value_name + options.default_value + options.all_values > 1) {
    throw Usage_error{"/v, /ve and /va exclude each other"};
  }
  return options;
}

}  // namespace kovreg
