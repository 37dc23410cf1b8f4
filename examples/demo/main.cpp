// kov_demo: shows the toolbox at work, one titled section after another.
#include <cstdio>
#include <exception>

#include "demo.h"
#include "nev/strings.h"

namespace demo {

void title(const char* text) {
  std::string underline(std::string(text).size(), '=');
  std::printf("\n%s\n%s\n", text, underline.c_str());
}

void say(const std::u16string& text) { std::printf("  %s\n", nev::nev_to_utf8(text).c_str()); }

void say(const char* label, const std::u16string& value) {
  std::printf("  %-28s %s\n", label, nev::nev_to_utf8(value).c_str());
}

}  // namespace demo

int main() {
  try {
    demo::demo_properties();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "kov_demo: unexpected failure: %s\n", failure.what());
    return 1;
  }
  std::printf("\nDone.\n");
  return 0;
}
