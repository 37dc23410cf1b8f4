// Demo section: plug-ins.
//
// The hive registers the sample libraries "Shapes" (circles and squares) and
// "TallyA", "TallyB" (counters). The demo lists the plug-ins of a type,
// creates objects, asks for a version that does not match, and tidies the
// libraries: a library goes only when it says none of its objects is alive.
// The sample libraries log what happens to them into the file named by
// KOVSAMPLE_LOG, which the demo prints at the end.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "demo.h"
#include "kov/plugin.h"
#include "nev/strings.h"
#include "nev/system.h"
#include "sample_types.h"

namespace demo {

namespace {

namespace fs = std::filesystem;

const fs::path& event_log() {
  static const fs::path path = fs::path(WORK_DIR) / "plugin-events.log";
  return path;
}

void list_plugins(const char* what, const _GUID& type) {
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_object_vector<std::u16string> display_names;
  nev::Nev_status status;
  kov::kov_plugin_enumerate(type, names, display_names, status);
  std::printf("  plug-ins offering %s:\n", what);
  for (unsigned i = 0; i < names.size(); ++i) {
    std::printf("    %-8s \"%s\"\n", nev::nev_to_utf8(*names.at(i)).c_str(),
                nev::nev_to_utf8(*display_names.at(i)).c_str());
  }
}

// Creates an object, prints the outcome in words; null on failure.
gan::Gan_base* create(const char16_t* plugin, const _GUID& type, std::uint32_t interface_version) {
  gan::Gan_base* object = nullptr;
  nev::Nev_status status;
  kov::kov_plugin_create_instance(plugin, type, interface_version, 0, object, status);
  std::printf("  %s, interface %u.%u: ", nev::nev_to_utf8(plugin).c_str(), interface_version >> 16,
              interface_version & 0xFFFFu);
  if (object != nullptr) {
    std::printf("made \"%s\" (version %u.%u)\n", nev::nev_to_utf8(object->description()).c_str(),
                object->interface_version() >> 16, object->interface_version() & 0xFFFFu);
  } else {
    std::printf("refused\n");
  }
  if (status.code() != 0) say(u"  " + status_text(status));
  return object;
}

// The version rule by itself: a different minor half is only a notice.
void show_minor_mismatch() {
  nev::Nev_status notice;
  kov::kov_plugin_check_version(u"TallyA", 0x20000, 0x20001, notice);
  std::printf("\nThe version rule by itself: asking for 2.0 where 2.1 is registered is a notice:\n");
  say(u"  " + status_text(notice));
  std::printf("    work goes on: %s\n", notice.ok() ? "yes" : "no");
}

void tidy(const char* when) {
  nev::Nev_status status;
  kov::kov_plugin_tidy_libraries(status);
  std::printf("  tidying libraries %s: %s\n", when, status.ok() ? "done" : "failed");
  if (!status.ok()) say(status_text(status));
}

void print_event_log() {
  std::printf("\nWhat the libraries logged (load, create, their answer to \"may I go?\", unload):\n");
  std::ifstream in(event_log());
  for (std::string line; std::getline(in, line);) std::printf("    %s\n", line.c_str());
}

}  // namespace

void demo_plugins() {
  title("Plug-ins");
  explain("Plug-ins are libraries registered under HKLM\\Software\\Quorvane\\Plugins. A host\n"
          "lists them by type, creates objects through them with a version check, and\n"
          "unloads the libraries that have no live objects left.");
  fs::remove(event_log());
  nev::nev_setenv(u"KOVSAMPLE_LOG", nev::nev_from_utf8(event_log().string()));

  list_plugins("counters", kovsample::TALLY_TYPE);
  list_plugins("circles", kovsample::CIRCLE_TYPE);

  std::printf("\nCreating objects (requested interface version, then what came back):\n");
  const kov::Kov_plugin_deallocator deallocator;
  gan::Gan_base* circle = create(u"Shapes", kovsample::CIRCLE_TYPE, 0x10000);
  gan::Gan_base* square = create(u"Shapes", kovsample::SQUARE_TYPE, 0x10000);
  gan::Gan_base* tally = create(u"TallyA", kovsample::TALLY_TYPE, 0x20000);
  create(u"TallyB", kovsample::TALLY_TYPE, 0x10000);  // major 1 asked, 2 registered: refused
  show_minor_mismatch();

  std::printf("\nEnding the shapes and tidying while the tally is still alive:\n");
  for (gan::Gan_base* shape : {circle, square}) {
    if (shape != nullptr) deallocator.deallocate(shape);
  }
  tidy("with one tally alive");
  if (tally != nullptr) deallocator.deallocate(tally);
  tidy("after ending the tally");
  print_event_log();
}

}  // namespace demo
