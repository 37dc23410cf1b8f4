// Sections of the demo and the few helpers they share for printing.
#pragma once

#include <string>

namespace demo {

// Prints a section title with an underline.
void title(const char* text);
// Prints one line of 16-bit text as UTF-8, after an indent.
void say(const std::u16string& text);
// Prints a label and a value on one line.
void say(const char* label, const std::u16string& value);

// Typed properties: values, their two text forms, restoring from stored
// text, a failed conversion and a filled template.
void demo_properties();

}  // namespace demo
