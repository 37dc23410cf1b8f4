// Sections of the demo and the few helpers they share for printing.
//
// Each section is one function in a file of its own; main.cpp calls them in
// order. The first, demo_registry, prepares the hive every later section
// reads, so it must run first.
#pragma once

#include <string>

#include "nev/status.h"

namespace demo {

// The demo's working folder in the build tree, and the files it keeps there.
inline constexpr const char* WORK_DIR = KOV_DEMO_WORK_DIR;
inline constexpr const char* REG_FILE = KOV_DEMO_REG_FILE;
inline constexpr const char* KOVREG_PROGRAM = KOV_DEMO_KOVREG;
// The service whose parameters the demo's .reg file holds.
inline constexpr const char16_t* SERVICE = u"KovDemo";

// Prints a section title with an underline.
void title(const char* text);
// Prints a short explanation, as it stands (lines end with "\n").
void explain(const char* text);
// Prints one line of 16-bit text as UTF-8, after an indent.
void say(const std::u16string& text);
// Prints a label and a value on one line.
void say(const char* label, const std::u16string& value);
// The text of every code `status` holds, lines after the first indented.
std::u16string status_text(const nev::Nev_status& status);

// A registry of the demo's own: a fresh hive in the build tree, filled from
// the demo's .reg file by the kovreg tool.
void demo_registry();
// Typed properties: values, their two text forms, restoring from stored
// text, a failed conversion and a filled template.
void demo_properties();
// A program's bootstrap entries: a group in its stated order, one entry's
// typed settings, and a template filled from them.
void demo_bootstrap();
// Diagnostics: nested trace scopes, a message and a hex dump through the
// global diagnostic object, then the diagnostic file shown as text.
void demo_diagnostics();
// Plug-ins: listing, creating, a version mismatch, tidying libraries.
void demo_plugins();
// A service's own message file and a status of its own code as text.
void demo_messages();
// Health counters and the activity monitor.
void demo_health();
// The local host's name and addresses, and an address round trip.
void demo_network();
// Extended numbers: a reciprocal and a product with their text forms.
void demo_ext_numbers();

}  // namespace demo
