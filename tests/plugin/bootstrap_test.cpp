// Bootstrap information of programs and services, read from a real hive.
#include <stdexcept>

#include "kov/property_list.h"
#include "nev/registry.h"
#include "plugin_test_support.h"

namespace {

using namespace plugin_test;
using Texts = std::vector<std::u16string>;
const std::u16string PROGRAM_ROOT = u"SOFTWARE\\Vendor\\Product\\plugins";

// What one reading gave. The list starts with a stale setting, which the
// reading must replace, and the value with a text of its own.
struct Reading {
  nev::Nev_status status;
  std::u16string value = u"before";
  Texts settings;  // name=persistent string, in order
  bool raised = false;
};

Reading read(const std::u16string& entry, bool service = false) {
  Reading reading;
  kov::Kov_property_list properties;
  properties.add(u"Stale", 1);
  try {
    if (service)
      kov::kov_get_service_plugin_bootstrap_info(u"Svc", entry, reading.value, properties, reading.status);
    else
      kov::kov_get_plugin_bootstrap_info(u"Vendor", u"Product", entry, reading.value, properties, reading.status);
  } catch (const std::runtime_error&) {
    reading.raised = true;
  }
  for (const kov::Kov_property* property : properties)
    reading.settings.push_back(property->name() + u"=" + property->get_persistent_string());
  return reading;
}

using Bootstrap = Fresh_hive;

TEST_F(Bootstrap, ReadsTheDefaultValueAndTypedSettingsInOrder) {
  const std::u16string entry = PROGRAM_ROOT + u"\\Reader";
  nev::Nev_status status;
  set_string(entry, u"", u"reader.so");
  set_uint(entry, u"Retries", 3);
  set_uint(entry, u"Minus", 0xFFFFFFFF);
  nev::nev_set_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, entry, u"Blob", nev::NEV_REG_BINARY, {1, 2, 3}, status);
  set_string(entry, u"Label", u"$Snorth door");
  nev::nev_set_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, entry, u"Many", nev::NEV_REG_MULTI_SZ, {'a', 0, 0, 0, 0, 0},
                         status);
  ASSERT_TRUE(status.ok());
  set_string(entry, u"Enabled", u"$Btrue");
  set_string(entry, u"{D768AD40-092E-11D3-9977-0090271916D9}", u"$Sskipped");  // order value, any case
  set_uint(entry, u"Last", 7);
  Reading reading = read(u"Reader");
  EXPECT_EQ(reading.status.code(), 0u);
  EXPECT_EQ(reading.value, u"reader.so");
  EXPECT_EQ(reading.settings, (Texts{u"Retries=$I3", u"Minus=$I-1", u"Label=$Snorth door", u"Enabled=$Btrue",
                                     u"Last=$I7"}));
  // A service entry reads the order value like any other.
  const std::u16string service_entry = u"SYSTEM\\CurrentControlSet\\Services\\Svc\\plugins\\Reader";
  set_string(service_entry, u"", u"svc-reader");
  set_string(service_entry, kov::kov_order_value_name(), u"$I12");
  reading = read(u"Reader", true);
  EXPECT_EQ(reading.status.code(), 0u);
  EXPECT_EQ(reading.value, u"svc-reader");
  EXPECT_EQ(reading.settings, Texts{kov::kov_order_value_name() + u"=$I12"});
  // An entry with only its default value has no settings at all.
  set_string(PROGRAM_ROOT + u"\\Plain", u"", u"plain");
  reading = read(u"Plain");
  EXPECT_EQ(reading.status.code(), 0u);
  EXPECT_EQ(reading.value, u"plain");
  EXPECT_EQ(reading.settings, Texts{});
  // Without its default value an entry fails and leaves the list alone.
  set_uint(PROGRAM_ROOT + u"\\Headless", u"Retries", 3);
  for (const char16_t* name : {u"Headless", u"Missing"}) {
    reading = read(name);
    EXPECT_FALSE(reading.status.ok());
    EXPECT_EQ(reading.settings, Texts{u"Stale=$I1"});
  }
  // A setting in plain text raises, after the settings before it are read.
  const std::u16string member = PROGRAM_ROOT + u"\\Group\\Member";
  set_string(member, u"", u"member");
  set_uint(member, u"First", 1);
  set_string(member, u"Plain", u"no marker");
  set_uint(member, u"Third", 3);
  reading = read(u"Group\\Member");
  EXPECT_TRUE(reading.raised);
  EXPECT_EQ(reading.status.code(), 0u);
  EXPECT_EQ(reading.value, u"member");
  EXPECT_EQ(reading.settings, Texts{u"First=$I1"});
}

TEST_F(Bootstrap, AValueBeyondTheBuffersEndsTheReading) {
  struct Case {
    std::u16string name;
    std::u16string text;
    bool read;  // the value, and the one after it, are read
  };
  const Case cases[] = {
      {u"Big", u"$S" + std::u16string(509, u'x'), true},    // 511 units of data fit
      {u"Big", u"$S" + std::u16string(510, u'x'), false},   // 512 do not
      {std::u16string(1023, u'n'), u"$Sv", true},           // a name of 1023 units fits
      {std::u16string(1024, u'n'), u"$Sv", false},          // 1024 do not
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    nev::Nev_status status;
    nev::nev_delete_reg_tree(nev::NEV_HKEY_LOCAL_MACHINE, PROGRAM_ROOT, status);
    const std::u16string entry = PROGRAM_ROOT + u"\\Big";
    set_string(entry, u"", u"big");
    set_uint(entry, u"Before", 1);
    set_string(entry, c.name, c.text);
    set_uint(entry, u"After", 2);
    const Reading reading = read(u"Big");
    EXPECT_EQ(reading.status.code(), 0u);
    EXPECT_EQ(reading.settings, (c.read ? Texts{u"Before=$I1", c.name + u"=" + c.text, u"After=$I2"}
                                        : Texts{u"Before=$I1"}));
  }
}

TEST_F(Bootstrap, GroupEntriesComeInTheirStatedOrder) {
  for (const char16_t* name : {u"one", u"two", u"three"}) set_string(PROGRAM_ROOT + u"\\Group\\" + name, u"", name);
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_status status;
  auto group = [&] {
    kov::kov_enum_plugin_bootstrap_group(u"Vendor", u"Product", u"Group", names, status);
    EXPECT_EQ(status.code(), 0u);
    Texts result;
    for (const std::u16string* name : names) result.push_back(*name);
    return result;
  };
  EXPECT_EQ(group(), (Texts{u"one", u"three", u"two"}));
  set_string(PROGRAM_ROOT + u"\\Group", kov::kov_order_value_name(), u"two;one");
  EXPECT_EQ(group(), (Texts{u"two", u"one"}));
}

}  // namespace
