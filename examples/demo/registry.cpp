// Demo section: a registry of the demo's own.
//
// Everything the later sections read lives in a registry hive. The demo never
// touches the hive of the person running it: it names a hive file in the
// build tree through NEV_REGISTRY before anything reads the registry, starts
// it empty, and fills it by running the kovreg tool on the demo's .reg file.
// The tool inherits NEV_REGISTRY, so it writes the same hive.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "demo.h"
#include "nev/strings.h"
#include "nev/system.h"

namespace demo {

namespace {

namespace fs = std::filesystem;

// Removes what earlier runs left: the hive (with the side files of its
// database) and the diagnostic files.
void start_afresh(const fs::path& hive) {
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) fs::remove(hive.string() + suffix);
  for (const fs::directory_entry& entry : fs::directory_iterator(WORK_DIR)) {
    if (entry.path().extension() == ".dgn") fs::remove(entry.path());
  }
}

// Runs `kovreg import <file>`; throws when the tool fails.
void import_registry_file() {
  std::string command = std::string("\"") + KOVREG_PROGRAM + "\" import \"" + REG_FILE + "\"";
#ifdef _WIN32
  // cmd.exe drops the first and the last quote of a line that starts with one.
  command = "\"" + command + "\"";
#endif
  std::printf("  running: kovreg import %s\n  kovreg says: ", REG_FILE);
  std::fflush(stdout);  // the tool's answer follows on the same line
  if (std::system(command.c_str()) != 0) throw std::runtime_error("kovreg could not import " + std::string(REG_FILE));
}

}  // namespace

void demo_registry() {
  title("A registry of the demo's own");
  explain("Plug-ins, program settings and service parameters live in a registry hive.\n"
          "The demo points NEV_REGISTRY at a fresh hive in the build tree (your own hive\n"
          "is never touched) and fills it from a .reg file with the kovreg tool.");
  fs::create_directories(WORK_DIR);
  const fs::path hive = fs::path(WORK_DIR) / "demo.hive.db";
  start_afresh(hive);
  if (!nev::nev_setenv(u"NEV_REGISTRY", nev::nev_from_utf8(hive.string()))) {
    throw std::runtime_error("NEV_REGISTRY could not be set");
  }
  say("hive (NEV_REGISTRY)", nev::nev_from_utf8(hive.string()));
  import_registry_file();
  std::printf("  the hive now holds: 4 plug-in registrations, 3 bootstrap entries in a group,\n"
              "  and the parameters of the service \"KovDemo\".\n");
}

}  // namespace demo
