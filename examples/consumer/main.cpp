// A program outside the tree that uses an installed copy of the library:
// a typed setting, its stored form, and a status made readable.
#include <iostream>

#include <kov/kov.h>
#include <nev/nev.h>

int main() {
  kov::Kov_property retries(u"Retries", 3);
  std::string stored = nev::nev_to_utf8(retries.get_persistent_string());

  kov::Kov_property restored(u"Retries", retries.get_persistent_string());
  restored.convert_from_persistent_string();

  nev::Nev_status status;
  kov::kov_plugin_check_version(u"sample", 0x40000, 0x50000, status);

  std::cout << "stored form of Retries: " << stored << "\n"
            << "restored value: " << restored.int_value() << "\n"
            << "version check says: " << nev::nev_to_utf8(nev::nev_status_text(status)) << "\n";
  return restored.int_value() == 3 && !status.ok() ? 0 : 1;
}
