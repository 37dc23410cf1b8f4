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

void explain(const char* text) { std::printf("%s\n", text); }

void say(const std::u16string& text) { std::printf("  %s\n", nev::nev_to_utf8(text).c_str()); }

void say(const char* label, const std::u16string& value) {
  std::printf("  %-28s %s\n", label, nev::nev_to_utf8(value).c_str());
}

std::u16string status_text(const nev::Nev_status& status) {
  std::u16string text = nev::nev_status_text(status);
  for (std::size_t at = text.find(u'\n'); at != std::u16string::npos; at = text.find(u'\n', at + 1)) {
    text.insert(at + 1, u"    ");
  }
  return text;
}

}  // namespace demo

int main() {
  try {
    demo::demo_registry();
    demo::demo_properties();
    demo::demo_bootstrap();
    demo::demo_diagnostics();
    demo::demo_plugins();
    demo::demo_messages();
    demo::demo_health();
    demo::demo_network();
    demo::demo_ext_numbers();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "kov_demo: unexpected failure: %s\n", failure.what());
    return 1;
  }
  std::printf("\nDone: every section ran. The hive and the diagnostic file stay in\n%s for a closer look.\n",
              demo::WORK_DIR);
  return 0;
}
