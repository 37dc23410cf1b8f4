// Bootstrap information of programs and services, read from a real hive.
#include <stdexcept>

#include "kov/bootstrap.h"
#include "kov/ordered_keys.h"
#include "kov/property_list.h"
#include "nev/registry.h"
#include "nev/strings.h"
#include "plugin_test_support.h"

namespace {

using namespace plugin_test;
const nev::Nev_hkey HKLM = nev::NEV_HKEY_LOCAL_MACHINE;
const std::u16string PROGRAM_ROOT = u"SOFTWARE\\Vendor\\Product\\plugins";
const std::u16string SERVICE_ROOT = u"SYSTEM\\CurrentControlSet\\Services\\Svc\\plugins";

void set_value(const std::u16string& key, const std::u16string& name, std::uint32_t type,
               const std::vector<std::uint8_t>& data) {
  nev::Nev_status status;
  nev::nev_set_reg_value(HKLM, key, name, type, data, status);
  ASSERT_TRUE(status.ok());
}
void set_text(const std::u16string& key, const std::u16string& name, const std::u16string& text) {
  nev::Nev_status status;
  nev::nev_set_reg_string_value(HKLM, key, u"", name, text, status);
  ASSERT_TRUE(status.ok());
}
void set_dword(const std::u16string& key, const std::u16string& name, std::uint32_t value) {
  nev::Nev_status status;
  nev::nev_set_reg_uint_value(HKLM, key, u"", name, value, status);
  ASSERT_TRUE(status.ok());
}

// The names and persistent strings of a list, in order.
std::vector<std::u16string> contents(const kov::Kov_property_list& list) {
  std::vector<std::u16string> result;
  for (const kov::Kov_property* property : list)
    result.push_back(property->name() + u"=" + property->get_persistent_string());
  return result;
}

using Bootstrap = Fresh_hive;

TEST_F(Bootstrap, ReadsTheDefaultValueAndTypedSettingsInOrder) {
  const std::u16string entry = PROGRAM_ROOT + u"\\Reader";
  set_text(entry, u"", u"reader.so");
  set_dword(entry, u"Retries", 3);
  set_dword(entry, u"Minus", 0xFFFFFFFF);
  set_value(entry, u"Blob", nev::NEV_REG_BINARY, {1, 2, 3});
  set_text(entry, u"Label", u"$Snorth door");
  set_value(entry, u"Many", nev::NEV_REG_MULTI_SZ, {'a', 0, 0, 0, 0, 0});
  set_text(entry, u"Enabled", u"$Btrue");
  set_text(entry, u"{D768AD40-092E-11D3-9977-0090271916D9}", u"$Sskipped");  // order value, any case
  set_dword(entry, u"Last", 7);

  std::u16string value;
  kov::Kov_property_list properties;
  properties.add(u"Stale", 1);
  nev::Nev_status status;
  kov::kov_get_plugin_bootstrap_info(u"Vendor", u"Product", u"Reader", value, properties, status);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(value, u"reader.so");
  EXPECT_EQ(contents(properties), (std::vector<std::u16string>{u"Retries=$I3", u"Minus=$I-1", u"Label=$Snorth door",
                                                                u"Enabled=$Btrue", u"Last=$I7"}));
  ASSERT_NE(properties.find(u"minus"), nullptr);
  EXPECT_EQ(properties.find(u"minus")->int_value(), -1);
}

TEST_F(Bootstrap, ServiceEntriesReadTheOrderValueLikeAnyOther) {
  const std::u16string entry = SERVICE_ROOT + u"\\Reader";
  set_text(entry, u"", u"svc-reader");
  set_text(entry, kov::kov_order_value_name(), u"$I12");
  std::u16string value;
  kov::Kov_property_list properties;
  nev::Nev_status status;
  kov::kov_get_service_plugin_bootstrap_info(u"Svc", u"Reader", value, properties, status);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(value, u"svc-reader");
  EXPECT_EQ(contents(properties), std::vector<std::u16string>{kov::kov_order_value_name() + u"=$I12"});
}

TEST_F(Bootstrap, AnEntryWithoutItsDefaultValueFailsAndLeavesThePropertiesAlone) {
  set_dword(PROGRAM_ROOT + u"\\Headless", u"Retries", 3);
  for (const char16_t* entry : {u"Headless", u"Missing"}) {
    std::u16string value = u"before";
    kov::Kov_property_list properties;
    properties.add(u"Kept", 1);
    nev::Nev_status status;
    kov::kov_get_plugin_bootstrap_info(u"Vendor", u"Product", entry, value, properties, status);
    EXPECT_FALSE(status.ok());
    EXPECT_EQ(contents(properties), std::vector<std::u16string>{u"Kept=$I1"});
  }
  // An entry with only its default value: no settings at all.
  set_text(PROGRAM_ROOT + u"\\Plain", u"", u"plain");
  std::u16string value;
  kov::Kov_property_list properties;
  properties.add(u"Stale", 1);
  nev::Nev_status status;
  kov::kov_get_plugin_bootstrap_info(u"Vendor", u"Product", u"Plain", value, properties, status);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(value, u"plain");
  EXPECT_EQ(properties.size(), 0u);
}

TEST_F(Bootstrap, AValueBeyondTheBuffersEndsTheReading) {
  struct Case {
    const char* what;
    std::u16string name;
    std::u16string text;
    bool read;  // the value, and the one after it, are read
  };
  const Case cases[] = {
      {"511 units of data fit", u"Big", u"$S" + std::u16string(509, u'x'), true},
      {"512 units of data do not", u"Big", u"$S" + std::u16string(510, u'x'), false},
      {"a name of 1023 units fits", std::u16string(1023, u'n'), u"$Sv", true},
      {"a name of 1024 units does not", std::u16string(1024, u'n'), u"$Sv", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    nev::Nev_status status;
    nev::nev_delete_reg_tree(HKLM, PROGRAM_ROOT, status);
    const std::u16string entry = PROGRAM_ROOT + u"\\Big";
    set_text(entry, u"", u"big");
    set_dword(entry, u"Before", 1);
    set_text(entry, c.name, c.text);
    set_dword(entry, u"After", 2);
    std::u16string value;
    kov::Kov_property_list properties;
    kov::kov_get_plugin_bootstrap_info(u"Vendor", u"Product", u"Big", value, properties, status);
    EXPECT_EQ(status.code(), 0u);
    EXPECT_EQ(properties.size(), c.read ? 3u : 1u);
    if (c.read) {
      ASSERT_NE(properties.find(c.name), nullptr);
      EXPECT_EQ(u"$S" + properties.find(c.name)->string_value(), c.text);
    }
  }
}

TEST_F(Bootstrap, PlainTextSettingRaisesAfterTheSettingsBeforeIt) {
  const std::u16string entry = PROGRAM_ROOT + u"\\Group\\Member";
  set_text(entry, u"", u"member");
  set_dword(entry, u"First", 1);
  set_text(entry, u"Plain", u"no marker");
  set_dword(entry, u"Third", 3);
  std::u16string value;
  kov::Kov_property_list properties;
  nev::Nev_status status;
  EXPECT_THROW(
      kov::kov_get_plugin_bootstrap_info(u"Vendor", u"Product", u"Group\\Member", value, properties, status),
      std::runtime_error);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(value, u"member");
  EXPECT_EQ(contents(properties), std::vector<std::u16string>{u"First=$I1"});
}

TEST_F(Bootstrap, GroupEntriesComeInTheirStatedOrder) {
  for (const char16_t* name : {u"one", u"two", u"three"}) set_text(PROGRAM_ROOT + u"\\Group\\" + name, u"", name);
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_status status;
  kov::kov_enum_plugin_bootstrap_group(u"Vendor", u"Product", u"Group", names, status);
  EXPECT_EQ(status.code(), 0u);
  ASSERT_EQ(names.size(), 3u);
  EXPECT_EQ(names[0], u"one");
  EXPECT_EQ(names[1], u"three");
  EXPECT_EQ(names[2], u"two");
  set_text(PROGRAM_ROOT + u"\\Group", kov::kov_order_value_name(), u"two;one");
  kov::kov_enum_plugin_bootstrap_group(u"Vendor", u"Product", u"Group", names, status);
  EXPECT_EQ(status.code(), 0u);
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], u"two");
  EXPECT_EQ(names[1], u"one");
}

}  // namespace
