// What the plug-in hosting reads from the registry besides plug-ins:
// bootstrap information of programs and services, ordered keys and paths,
// and a service's own message files.
#include <fstream>
#include <stdexcept>

#include "hive_faults.h"
#include "kov/ordered_keys.h"
#include "kov/property_list.h"
#include "nev/codes.h"
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

using Bootstrap = Sample_hive;

TEST_F(Bootstrap, AnEntryThatVanishesAfterItsDefaultValueGivesTheValueAndNoSettings) {
#ifdef _WIN32
  GTEST_SKIP() << "the fault is injected through a hive, and Windows uses the system's registry";
#endif
  const std::u16string entry = PROGRAM_ROOT + u"\\Reader";
  set_string(entry, u"", u"reader.so");
  set_uint(entry, u"Retries", 3);
  Faulty_hive_platform platform;
  ASSERT_EQ(read(u"Reader").settings, Texts{u"Retries=$I3"});  // through the wrapped hive
  ASSERT_EQ(platform.hives.size(), 1u);
  platform.hives.begin()->second->lose_keys_after_value_read = true;
  const Reading reading = read(u"Reader");
  EXPECT_TRUE(reading.status.ok());
  EXPECT_EQ(reading.value, u"reader.so");
  EXPECT_TRUE(reading.settings.empty());  // the stale setting went, none came
}

TEST_F(Bootstrap, ReadsTheDefaultValueAndTypedSettingsInOrder) {
  KOV_SKIP_ON_WINDOWS("asserts values in creation order, which the Windows registry does not promise "
                      "(Wine enumerates them alphabetically)");
  const std::u16string entry = PROGRAM_ROOT + u"\\Reader";
  nev::Nev_status status;
  set_string(entry, u"", u"reader.so");
  set_uint(entry, u"Retries", 3);
  set_uint(entry, u"Minus", 0xFFFFFFFF);
  nev::nev_set_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, entry, u"Blob", nev::NEV_REG_BINARY, {1, 2, 3}, status);
  nev::nev_set_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, entry, u"Many", nev::NEV_REG_MULTI_SZ, {'a', 0, 0, 0, 0, 0},
                         status);
  ASSERT_TRUE(status.ok());
  set_string(entry, u"{D768AD40-092E-11D3-9977-0090271916D9}", u"$Sskipped");  // order value, any case
  set_string(entry, u"Label", u"$Snorth door");  // read after the values skipped before it
  Reading reading = read(u"Reader");
  EXPECT_EQ(reading.status.code(), 0u);
  EXPECT_EQ(reading.value, u"reader.so");
  EXPECT_EQ(reading.settings, (Texts{u"Retries=$I3", u"Minus=$I-1", u"Label=$Snorth door"}));
  // A service entry reads the order value like any other.
  const std::u16string service_entry = u"SYSTEM\\CurrentControlSet\\Services\\Svc\\plugins\\Reader";
  set_string(service_entry, u"", u"svc-reader");
  set_string(service_entry, kov::kov_order_value_name(), u"$I12");
  reading = read(u"Reader", true);
  EXPECT_EQ(reading.status.code(), 0u);
  EXPECT_EQ(reading.value, u"svc-reader");
  EXPECT_EQ(reading.settings, Texts{kov::kov_order_value_name() + u"=$I12"});
  // Without its default value an entry fails and leaves the list alone.
  set_uint(PROGRAM_ROOT + u"\\Headless", u"Retries", 3);
  reading = read(u"Headless");
  EXPECT_FALSE(reading.status.ok());
  EXPECT_EQ(reading.settings, Texts{u"Stale=$I1"});
  // A setting in plain text raises, after the settings before it are read.
  const std::u16string member = PROGRAM_ROOT + u"\\Group\\Member";
  set_string(member, u"", u"member");
  set_uint(member, u"First", 1);
  set_string(member, u"Plain", u"no marker");
  set_uint(member, u"Third", 3);
  reading = read(u"Group\\Member");
  EXPECT_TRUE(reading.raised);
  EXPECT_EQ(reading.value, u"member");
  EXPECT_EQ(reading.settings, Texts{u"First=$I1"});
}

TEST_F(Bootstrap, AValueBeyondTheBuffersEndsTheReading) {
  KOV_SKIP_ON_WINDOWS("asserts values in creation order, which the Windows registry does not promise "
                      "(Wine enumerates them alphabetically)");
  struct Case {
    std::u16string name;
    std::u16string text;
    bool read;  // the value, and the one after it, are read
  };
  const Case cases[] = {
      {u"Big", u"$S" + std::u16string(509, u'x'), true},   // 511 units of data fit
      {u"Big", u"$S" + std::u16string(510, u'x'), false},  // 512 do not
      {std::u16string(1023, u'n'), u"$Sv", true},          // a name of 1023 units fits
      {std::u16string(1024, u'n'), u"$Sv", false},         // 1024 do not
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
    EXPECT_EQ(reading.settings,
              (c.read ? Texts{u"Before=$I1", c.name + u"=" + c.text, u"After=$I2"} : Texts{u"Before=$I1"}));
  }
}

// Ordered registry keys, a program's bootstrap group among them, and
// registry paths.
using Ordered_keys = Sample_hive;
const std::u16string GROUP = PROGRAM_ROOT + u"\\Group";

nev::Nev_object_vector<std::u16string> vector_of(const Texts& names) {
  nev::Nev_object_vector<std::u16string> result;
  for (const std::u16string& name : names) result.push_back(new std::u16string(name));
  return result;
}

Texts texts_of(const nev::Nev_object_vector<std::u16string>& names) {
  Texts result;
  for (const std::u16string* name : names) result.push_back(*name);
  return result;
}

// The subkeys of a group in order; the list starts with a left-over name,
// which the reading must replace.
Texts keys_in_order(nev::Nev_status& status, const std::u16string& group = u"Group") {
  auto keys = vector_of({u"left over"});
  kov::kov_enum_reg_keys_in_order(nev::NEV_HKEY_LOCAL_MACHINE, PROGRAM_ROOT + u"\\" + group, keys, status);
  return texts_of(keys);
}

TEST(Paths, ArePlainConcatenationWithBackslashes) {
  const char16_t* const cases[][4] = {
      {u"a", u"b", u"", u"a\\b"},   {u"a", u"b", u"c", u"a\\b\\c"}, {u"a", u"", u"c", u"a\\\\c"},
      {u"", u"", u"", u"\\"},       {u"a\\", u"b", u"", u"a\\\\b"}, {u"", u"b", u"c", u"\\b\\c"},
      {u"a", u"b\\", u"c\\", u"a\\b\\\\c\\"},
  };
  for (const auto& c : cases) EXPECT_EQ(kov::kov_make_path(c[0], c[1], c[2]), c[3]);
  EXPECT_EQ(&kov::kov_order_value_name(), &kov::kov_order_value_name());  // one object, not a new text
}

TEST_F(Ordered_keys, TheOrderValueOnceWrittenIsTheWholeList) {
  for (const char16_t* name : {u"c", u"a", u"b"}) set_string(GROUP + u"\\" + name, u"", name);
  nev::Nev_status status;
  // Without an order value all subkeys come in registry order.
  EXPECT_EQ(keys_in_order(status), (Texts{u"a", u"b", u"c"}));
  EXPECT_EQ(status.code(), 0u);
  // A key that does not exist: the plain enumeration's failure, and the old
  // content is gone.
  EXPECT_EQ(keys_in_order(status, u"Missing"), Texts{});
  EXPECT_FALSE(status.ok());
  const std::pair<const char16_t*, Texts> cases[] = {
      {u"b;a", {u"b", u"a"}},          // c is not named, so not returned
      {u"a;gone;b", {u"a", u"b"}},     // a vanished subkey is dropped
      {u"gone;lost;c;x;y", {u"c"}},    // neighbours that are both gone
      {u"gone;lost", {}},              // nothing left, still no fallback
      {u"", {}},                       // an empty value is a list too
      {u"a;b;a", {u"a", u"b", u"a"}},  // a name twice comes twice
      {u"C;A", {u"C", u"A"}},          // names kept as stored
  };
  for (const auto& [stored, expected] : cases) {
    set_string(GROUP, kov::kov_order_value_name(), stored);
    EXPECT_EQ(keys_in_order(status), expected) << nev::nev_to_utf8(stored);
    EXPECT_EQ(status.code(), 0u);
  }
  // A program's bootstrap group is read the same way.
  nev::Nev_object_vector<std::u16string> entries;
  kov::kov_enum_plugin_bootstrap_group(u"Vendor", u"Product", u"Group", entries, status);
  EXPECT_EQ(texts_of(entries), (Texts{u"C", u"A"}));  // as the last case stored
}

TEST_F(Ordered_keys, WritingJoinsTheNamesAsGiven) {
  set_string(GROUP + u"\\a", u"", u"a");
  const std::pair<Texts, const char16_t*> cases[] = {
      {{u"c", u"a"}, u"c;a"}, {{}, u""}, {{u"", u"a"}, u"a"}, {{u"a", u"", u"b"}, u"a;;b"}, {{u"gone", u"a"}, u"gone;a"},
  };
  nev::Nev_status status;
  for (const auto& [names, expected] : cases) {
    status.assign(nev::NEV_E_REG_HIVE);  // a failure held on entry does not survive a successful write
    kov::kov_set_reg_keys_order(nev::NEV_HKEY_LOCAL_MACHINE, GROUP, vector_of(names), status);
    ASSERT_TRUE(status.ok());
    std::u16string stored = u"unset";
    nev::nev_get_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, GROUP, u"", kov::kov_order_value_name(), stored, status);
    EXPECT_EQ(stored, expected);
  }
  // The last order written is what a reader gets.
  EXPECT_EQ(keys_in_order(status), Texts{u"a"});
}

// A service's own message files, loaded from its "Messages" parameter.
using Service_messages = Sample_hive;

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
  EXPECT_NE(text.find("missing-one.msg"), std::string::npos) << text;
  std::u16string found;
  for (std::uint32_t code : {0xE0FF0001u, 0xE0FF0002u})
    EXPECT_TRUE(nev::Nev_messages_list::m_global_messages.lookup(code, found)) << std::hex << code;

  set_string(parameters, u"Messages", wide(good));
  kov::kov_load_service_messages(u"Loud", status);
  EXPECT_EQ(status.code(), 0u);
}

}  // namespace
