// Demo section: typed properties.
#include <cstdio>
#include <stdexcept>

#include "demo.h"
#include "kov/property.h"
#include "kov/property_list.h"
#include "kov/tokens.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "nev/time.h"

namespace demo {

namespace {

const char* type_word(kov::Kov_property::Type type) {
  switch (type) {
    case kov::Kov_property::STRING:
      return "text";
    case kov::Kov_property::INTEGER:
      return "whole number";
    case kov::Kov_property::BOOLEAN:
      return "yes/no flag";
    case kov::Kov_property::DATE_AND_TIME:
      return "date and time";
    case kov::Kov_property::TIME_PERIOD:
      return "period of time";
  }
  return "?";
}

void show(const kov::Kov_property& property) {
  std::printf("  %s (%s)\n", nev::nev_to_utf8(property.name()).c_str(), type_word(property.type()));
  say("    shown to people as", property.get_display_string());
  say("    stored as", property.get_persistent_string());
}

kov::Kov_property_list service_settings() {
  kov::Kov_property_list settings;
  settings.add(u"ServiceName", u"Order intake");
  settings.add(u"MaxConnections", 1250000);
  settings.add(u"Secure", true);
  settings.add(u"Installed", nev::Nev_date_and_time(nev::Nev_date(5, 7, 1999), nev::Nev_time(13, 4, 9, 250),
                                                    nev::Nev_time_zone::local()));
  settings.add(u"KeepAlive", nev::Nev_time_period(3, 2, 1, 0, 500000));
  return settings;
}

void show_settings(const kov::Kov_property_list& settings) {
  std::printf("A service keeps five settings, each with its own type:\n");
  for (const kov::Kov_property* property : settings) show(*property);
}

void restore_from_stored_text() {
  const std::u16string stored = u"$T500000:00:01:02:0000000003";
  std::printf("\nRestoring a setting from the text a store kept:\n");
  say("stored text", stored);
  kov::Kov_property restored(u"KeepAlive", stored);
  restored.convert_from_persistent_string();
  std::printf("  becomes a %s: %s\n", type_word(restored.type()),
              nev::nev_to_utf8(restored.get_display_string()).c_str());
}

void show_failed_conversion() {
  const std::u16string stored = u"$D000250:09:04:13:31:02:1999";
  std::printf("\nStored text that cannot be right (the 31st of February):\n");
  say("stored text", stored);
  kov::Kov_property broken(u"Installed", stored);
  try {
    broken.convert_from_persistent_string();
  } catch (const std::runtime_error& failure) {
    std::printf("  refused with: %s\n", failure.what());
    say("the property keeps the text", broken.string_value());
  }
}

void fill_template(const kov::Kov_property_list& settings) {
  const std::u16string text =
      u"%ServiceName% accepts up to %maxconnections% connections (secure: %Secure%), "
      u"installed %Installed%, keep-alive %KeepAlive%.%Unknown%";
  std::u16string filled;
  nev::Nev_status status;
  kov::kov_replace_tokens(text, settings, filled, status);
  std::printf("\nFilling a message template from the settings (names match in any case,\n"
              "unknown names vanish):\n");
  say(text);
  std::printf("  becomes\n");
  say(filled);
}

}  // namespace

void demo_properties() {
  title("Typed properties");
  const kov::Kov_property_list settings = service_settings();
  show_settings(settings);
  restore_from_stored_text();
  show_failed_conversion();
  fill_template(settings);
}

}  // namespace demo
