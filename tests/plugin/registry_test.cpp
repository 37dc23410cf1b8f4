// What the plug-in hosting reads from the registry besides plug-ins:
// bootstrap information of programs and services, ordered keys and paths,
// and a service's own message files.
#include <fstream>
#include <stdexcept>

#include "kov/ordered_keys.h"
#include "kov/property_list.h"
#include "nev/messages.h"
#include "nev/registry.h"
#include "nev/strings.h"
#include "plugin_test_support.h"

namespace {

using namespace plugin_test;
using Texts = std::vector<std::u16string>;

// Bootstrap information of programs and services, read from a real hive.
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


// Ordered registry keys and registry paths.
const nev::Nev_hkey HKLM = nev::NEV_HKEY_LOCAL_MACHINE;
const std::u16string PARENT = u"SOFTWARE\\Order\\Parent";

nev::Nev_object_vector<std::u16string> vector_of(const Texts& names) {
  nev::Nev_object_vector<std::u16string> result;
  for (const std::u16string& name : names) result.push_back(new std::u16string(name));
  return result;
}

// The keys below `parent` in order; the list starts with a left-over name,
// which the reading must replace.
Texts keys_in_order(nev::Nev_status& status, const std::u16string& parent = PARENT) {
  auto keys = vector_of({u"left over"});
  kov::kov_enum_reg_keys_in_order(HKLM, parent, keys, status);
  Texts result;
  for (const std::u16string* key : keys) result.push_back(*key);
  return result;
}

class Ordered_keys : public Fresh_hive {
 protected:
  void SetUp() override {
    Fresh_hive::SetUp();
    nev::Nev_status status;
    for (const char16_t* name : {u"c", u"a", u"b"}) nev::nev_create_reg_key(HKLM, PARENT + u"\\" + name, status);
    ASSERT_TRUE(status.ok());
  }
};

TEST(Paths, ArePlainConcatenationWithBackslashes) {
  const char16_t* const cases[][4] = {
      {u"a", u"b", u"", u"a\\b"},   {u"a", u"b", u"c", u"a\\b\\c"}, {u"a", u"", u"c", u"a\\\\c"},
      {u"", u"", u"", u"\\"},       {u"a\\", u"b", u"", u"a\\\\b"}, {u"", u"b", u"c", u"\\b\\c"},
      {u"a", u"b\\", u"c\\", u"a\\b\\\\c\\"},
  };
  for (const auto& c : cases) EXPECT_EQ(kov::kov_make_path(c[0], c[1], c[2]), c[3]);
  EXPECT_EQ(kov::kov_order_value_name(), u"{d768ad40-092e-11d3-9977-0090271916d9}");
  EXPECT_EQ(&kov::kov_order_value_name(), &kov::kov_order_value_name());  // one object, not a new text
}

TEST_F(Ordered_keys, WithoutAnOrderValueAllSubkeysComeInRegistryOrder) {
  nev::Nev_status status;
  EXPECT_EQ(keys_in_order(status), (Texts{u"a", u"b", u"c"}));
  EXPECT_EQ(status.code(), 0u);
  // A key that does not exist: the plain enumeration's failure, and the old
  // content is gone.
  EXPECT_EQ(keys_in_order(status, u"SOFTWARE\\Order\\Missing"), Texts{});
  EXPECT_FALSE(status.ok());
}

TEST_F(Ordered_keys, TheOrderValueIsTheWholeList) {
  const std::pair<const char16_t*, Texts> cases[] = {
      {u"b;a", {u"b", u"a"}},               // c is not named, so not returned
      {u"a;gone;b", {u"a", u"b"}},          // a vanished subkey is dropped
      {u"gone;lost;c;x;y", {u"c"}},         // neighbours that are both gone
      {u"gone;lost", {}},                   // nothing left, still no fallback
      {u"", {}},                            // an empty value is a list too
      {u"a;b;a", {u"a", u"b", u"a"}},       // a name twice comes twice
      {u"C;A", {u"C", u"A"}},               // names kept as stored
  };
  for (const auto& [stored, expected] : cases) {
    set_string(PARENT, kov::kov_order_value_name(), stored);
    nev::Nev_status status;
    EXPECT_EQ(keys_in_order(status), expected) << nev::nev_to_utf8(stored);
    EXPECT_EQ(status.code(), 0u);
  }
}

TEST_F(Ordered_keys, WritingJoinsTheNamesAsGiven) {
  const std::pair<Texts, const char16_t*> cases[] = {
      {{u"c", u"a"}, u"c;a"}, {{}, u""}, {{u"", u"a"}, u"a"}, {{u"a", u"", u"b"}, u"a;;b"}, {{u"gone", u"a"}, u"gone;a"},
  };
  nev::Nev_status status;
  for (const auto& [names, expected] : cases) {
    kov::kov_set_reg_keys_order(HKLM, PARENT, vector_of(names), status);
    ASSERT_TRUE(status.ok());
    std::u16string stored = u"unset";
    nev::nev_get_reg_string_value(HKLM, PARENT, u"", kov::kov_order_value_name(), stored, status);
    EXPECT_EQ(stored, expected);
  }
  // The last order written is what a reader gets.
  EXPECT_EQ(keys_in_order(status), Texts{u"a"});
}


// A service's own message files, loaded from its "Messages" parameter.
using Service_messages = Fresh_hive;

TEST_F(Service_messages, EveryFileIsTriedAndTheFirstFailureReported) {
  nev::Nev_status status;
  status = 0xC2010905u;  // cleared by a service without the parameter
  kov::kov_load_service_messages(u"Quiet", status);
  EXPECT_EQ(status.code(), 0u);

  const std::string good = work_dir() + "/good.msg";
  const std::string other = work_dir() + "/other.msg";
  std::ofstream(good) << "# sample service messages\n0xE0FF0001 The first sample message.\n";
  std::ofstream(other) << "0xE0FF0002 The second sample message.\n";
  const std::u16string parameters = u"SYSTEM\\CurrentControlSet\\Services\\Loud\\Parameters";
  set_string(parameters, u"Messages", wide(work_dir() + "/missing-one.msg;" + good + ";" + work_dir() +
                                           "/missing-two.msg;" + other));
  kov::kov_load_service_messages(u"Loud", status);
  const std::string text = nev::nev_to_utf8(nev::nev_status_text(status));
  EXPECT_FALSE(status.ok());
  EXPECT_NE(text.find("missing-one.msg"), std::string::npos) << text;
  std::u16string found;
  for (std::uint32_t code : {0xE0FF0001u, 0xE0FF0002u})
    EXPECT_TRUE(nev::Nev_messages_list::m_global_messages.lookup(code, found)) << std::hex << code;

  set_string(parameters, u"Messages", wide(good));
  kov::kov_load_service_messages(u"Loud", status);
  EXPECT_EQ(status.code(), 0u);
}

}  // namespace
