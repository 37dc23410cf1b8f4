// kovreg: edits the registry from the command line.
//
//   kovreg [--machine NAME | --hive PATH] COMMAND ...
//   query  KEY [/v NAME | /ve] [/s]
//   add    KEY [/v NAME | /ve] [/t TYPE] [/d DATA] [/f]
//   delete KEY [/v NAME | /ve | /va] [/f]
//   import FILE
//   export KEY FILE [--utf8 | --regedit4] [/y]
//
// KEY begins with its root, long or short: HKLM\Software or
// HKEY_LOCAL_MACHINE\Software. --machine works on a named machine's hive,
// --hive on the hive file PATH instead of this machine's. Exit code 0 on
// success, 1 on failure, 2 for a command line that is not understood.
// Each command lives in a file of its own; options.cpp reads the line.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "nev/system.h"
#include "tool.h"

namespace {

using kovreg::Options;
using kovreg::Usage_error;

int run(const Options& options) {
  if (!options.hive.empty()) {
    // putenv keeps the text it is given, and exists wherever the tool builds.
    static std::string assignment;
    assignment = "NEV_REGISTRY=" + options.hive;
    ::putenv(assignment.data());
  }
  kovreg::Registry registry(options.machine);
  const std::string& command = options.command;
  if (command == "query") return kovreg::query(registry, options);
  if (command == "add") return kovreg::add(registry, options);
  if (command == "delete") return kovreg::remove(registry, options);
  if (command == "import") return kovreg::import(registry, options);
  if (command == "export") return kovreg::export_key(registry, options);
  throw Usage_error{"unknown command " + command};
}

}  // namespace

int main(int argc, char** argv) {
  nev::Nev_utf8_arguments arguments(argc, argv);  // every character, on Windows too
  argc = arguments.count();
  argv = arguments.argv();
  try {
    return run(kovreg::parse_options(argc, argv));
  } catch (const Usage_error& error) {
    if (!error.reason.empty()) std::cerr << "kovreg: " << error.reason << "\n";
    std::cerr << kovreg::USAGE;
    return error.reason.empty() ? 0 : 2;
  } catch (const std::exception& error) {
    std::cerr << "kovreg: " << error.what() << "\n";
    return 1;
  }
}
