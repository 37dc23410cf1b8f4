// Demo section: diagnostics through the global diagnostic object.
//
// The service "KovDemo" has its diagnostic parameters in the registry: the
// folder, a file name with a running number, and trace level 3. Initialising
// the global object from the service applies them. The traced functions
// below open nested scopes of levels 1, 2 and 5: the first two are written,
// the third is above the level and costs nothing. The file is UTF-16 text;
// the demo reads it back and prints it.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "demo.h"
#include "kov/diag.h"
#include "nev/strings.h"

namespace demo {

namespace {

namespace fs = std::filesystem;

void weigh_parcels(kov::Kov_diag_main& diag) {
  kov::Kov_diag_trace scope(u"weigh_parcels", 2, diag);
  scope.trace(u"parcel %d of %d weighs %d g", 1, 2, 750);
  const std::uint8_t label[] = {'O', 'R', 'D', 'E', 'R', '-', '4', '7', '1', '1', 0x00, 0x1F, 0x7F, 0xC3, 0xA9, 'L',
                                'i', 's', 'b', 'o', 'a', 0x0D, 0x0A};
  scope.trace(u"label of parcel 1", label, static_cast<std::uint16_t>(sizeof label));
}

void explain_everything(kov::Kov_diag_main& diag) {
  kov::Kov_diag_trace scope(u"explain_everything", 5, diag);
  scope.trace(u"never written: level 5 is above the service's level 3");
}

void deliver_order(kov::Kov_diag_main& diag) {
  kov::Kov_diag_trace scope(u"deliver_order", 1, diag);
  scope.trace(u"order %s goes to %s", u"4711", u"Lisboa");
  weigh_parcels(diag);
  explain_everything(diag);
}

// The first diagnostic file in the work folder (earlier ones were removed).
fs::path find_diagnostic_file() {
  for (const fs::directory_entry& entry : fs::directory_iterator(WORK_DIR)) {
    if (entry.path().extension() == ".dgn") return entry.path();
  }
  return {};
}

// Prints a UTF-16LE file with CR LF line ends as UTF-8 lines.
void print_utf16_file(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::u16string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    text += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
  }
  std::size_t start = 0;
  for (std::size_t end = text.find(u"\r\n"); end != std::u16string::npos; end = text.find(u"\r\n", start)) {
    std::printf("  | %s\n", nev::nev_to_utf8(text.substr(start, end - start)).c_str());
    start = end + 2;
  }
}

}  // namespace

void demo_diagnostics() {
  title("Diagnostics");
  explain("The global diagnostic object takes the service's registry parameters. Trace\n"
          "scopes write entry (>) and exit (<) lines, messages and hex dumps, indented by\n"
          "depth; a scope above the trace level writes nothing.");
  kov::Kov_diag_global::initialise(SERVICE);
  kov::Kov_diag_main& diag = kov::Kov_diag_global::global();
  say("folder", diag.path());
  say("file name template", diag.name());
  say("trace level", nev::nev_from_utf8(std::to_string(diag.level())));

  deliver_order(diag);
  diag.close();  // ends the file, so all of it can be read back

  const fs::path file = find_diagnostic_file();
  std::printf("\nThe file %s, read back as text:\n", file.filename().string().c_str());
  print_utf16_file(file);
  std::printf("  (explain_everything, a scope of level 5, left no line: the service traces at\n"
              "  level 3.)\n");
}

}  // namespace demo
