// Demo section: a program's bootstrap entries.
//
// The program "Order desk" of "Quorvane Demo" keeps a group "Readers" of
// entries; the group's order value says in which order to take them. Each
// entry names a plug-in (its default value) and carries typed settings.
#include <cstdio>
#include <stdexcept>

#include "demo.h"
#include "kov/bootstrap.h"
#include "kov/property_list.h"
#include "kov/tokens.h"
#include "nev/strings.h"

namespace demo {

namespace {

constexpr const char16_t* VENDOR = u"Quorvane Demo";
constexpr const char16_t* PRODUCT = u"Order desk";
constexpr const char16_t* GROUP = u"Readers";

// Reads the entry `name` of the group; throws when it cannot be read.
void read_entry(const std::u16string& name, std::u16string& plugin, kov::Kov_property_list& settings) {
  nev::Nev_status status;
  kov::kov_get_plugin_bootstrap_info(VENDOR, PRODUCT, GROUP + (u"\\" + name), plugin, settings, status);
  if (!status.ok()) throw std::runtime_error(nev::nev_to_utf8(nev::nev_status_text(status)));
}

void list_group() {
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_status status;
  kov::kov_enum_plugin_bootstrap_group(VENDOR, PRODUCT, GROUP, names, status);
  if (!status.ok()) throw std::runtime_error(nev::nev_to_utf8(nev::nev_status_text(status)));
  std::printf("The group \"Readers\" in its stated order (Mailbox;Spreadsheet;Archive),\n"
              "not the alphabetical order of its keys:\n");
  for (const std::u16string* name : names) {
    std::u16string plugin;
    kov::Kov_property_list settings;
    read_entry(*name, plugin, settings);
    std::printf("  %-12s loads plug-in %-8s with %u settings\n", nev::nev_to_utf8(*name).c_str(),
                nev::nev_to_utf8(plugin).c_str(), settings.size());
  }
}

void show_settings(const kov::Kov_property_list& settings) {
  std::printf("\nThe settings of \"Mailbox\", each restored to its own type:\n");
  static const char* const TYPE_WORDS[] = {"text", "whole number", "yes/no flag", "date and time", "period"};
  for (const kov::Kov_property* setting : settings) {
    std::printf("  %-10s %-14s %s\n", nev::nev_to_utf8(setting->name()).c_str(), TYPE_WORDS[setting->type()],
                nev::nev_to_utf8(setting->get_display_string()).c_str());
  }
}

// Fills a template from the entry's settings, then from a second list that
// holds what the entry does not: its own name and plug-in.
void fill_template(const kov::Kov_property_list& settings, const std::u16string& plugin) {
  kov::Kov_property_list about;
  about.add(u"Entry", u"Mailbox");
  about.add(u"Plugin", plugin);
  const std::u16string text =
      u"%Entry% (plug-in %Plugin%) takes %BatchSize% orders at a time from %Folder%, "
      u"looks every %Polling% and tries %Retries% times; enabled: %Enabled%, since %Since%.";
  std::u16string filled;
  nev::Nev_status status;
  kov::kov_replace_tokens(text, settings, about, filled, status);
  std::printf("\nA text template filled from the settings with kov_replace_tokens:\n");
  say(text);
  std::printf("  becomes\n");
  say(filled);
}

}  // namespace

void demo_bootstrap() {
  title("Bootstrap entries of a program");
  explain("A program finds its plug-ins and their settings under\n"
          "HKLM\\SOFTWARE\\<vendor>\\<product>\\plugins. Settings are stored as typed\n"
          "text (\"$I3\", \"$Btrue\", ...) or as numbers, and come back as typed properties.");
  list_group();
  std::u16string plugin;
  kov::Kov_property_list settings;
  read_entry(u"Mailbox", plugin, settings);
  show_settings(settings);
  fill_template(settings, plugin);
}

}  // namespace demo
