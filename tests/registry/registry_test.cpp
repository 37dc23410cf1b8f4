// The registry's contract as its callers rely on it: Windows semantics for
// names, order and types, the failure paths, and the value enumeration with
// caller-sized buffers.
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include "hive_fixture.h"
#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/strings.h"

using namespace nev;

namespace {

using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::u16string>;

Names subkeys(Nev_hkey root, const std::u16string& key) {
  Nev_object_vector<std::u16string> names;
  Nev_status status;
  nev_enum_reg_keys(root, key, u"", names, status);
  EXPECT_STATUS_OK(status);
  Names result;
  for (const std::u16string* name : names) result.push_back(*name);
  return result;
}

Names value_names(Nev_hkey root, const std::u16string& key) {
  std::vector<Nev_reg_value> values;
  Nev_status status;
  nev_enum_reg_values(root, key, values, status);
  EXPECT_STATUS_OK(status);
  Names names;
  for (const Nev_reg_value& value : values) names.push_back(value.name);
  return names;
}

void set(const std::u16string& key, const std::u16string& name, std::uint32_t type, const Bytes& data) {
  Nev_status status;
  nev_set_reg_value(NEV_HKEY_LOCAL_MACHINE, key, name, type, data, status);
  ASSERT_STATUS_OK(status);
}

}  // namespace

TEST(Registry_roots, HaveTheSignExtendedWindowsValues) {
  const std::pair<Nev_hkey, std::uintptr_t> roots[] = {
      {NEV_HKEY_CLASSES_ROOT, 0xFFFFFFFF80000000u},  {NEV_HKEY_CURRENT_USER, 0xFFFFFFFF80000001u},
      {NEV_HKEY_LOCAL_MACHINE, 0xFFFFFFFF80000002u}, {NEV_HKEY_USERS, 0xFFFFFFFF80000003u},
      {NEV_HKEY_CURRENT_CONFIG, 0xFFFFFFFF80000005u}};
  for (const auto& [root, bits] : roots) EXPECT_EQ(reinterpret_cast<std::uintptr_t>(root), bits);
}

TEST_F(Hive_test, NamesFoldCaseAndEnumerateInWindowsOrder) {
  Nev_status status;
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Software\\MyCo", u"", u"Colour", u"red", status);
  ASSERT_STATUS_OK(status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"SOFTWARE\\myco", u"", u"COLOUR", u"blue", status);
  ASSERT_STATUS_OK(status);
  nev_create_reg_key(NEV_HKEY_LOCAL_MACHINE, u"software\\MYCO\\Sub", status);
  ASSERT_STATUS_OK(status);
  // Every name matches in any case and keeps the spelling it was created with.
  EXPECT_EQ(text_of(NEV_HKEY_LOCAL_MACHINE, u"sOfTwArE\\mYcO", u"colour"), u"blue");
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u""), Names{u"Software"});
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"SOFTWARE"), Names{u"MyCo"});
  EXPECT_EQ(value_names(NEV_HKEY_LOCAL_MACHINE, u"software\\myco"), Names{u"Colour"});
  // Letters beyond ASCII fold too; the roots are separate trees.
  nev_create_reg_key(NEV_HKEY_LOCAL_MACHINE, u"Software\\\u00e9t\u00e9", status);
  EXPECT_TRUE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"SOFTWARE", u"\u00c9T\u00c9"));
  EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_CURRENT_USER, u"Software", u""));

  for (const char16_t* name : {u"beta", u"_under", u"Zeta", u"alpha2", u"Alpha", u"[", u"Gamma"}) {
    nev_create_reg_key(NEV_HKEY_CURRENT_USER, std::u16string(u"Order\\") + name, status);
    ASSERT_STATUS_OK(status);
  }
  // Upper-cased units compared as numbers, a prefix first: "_" and "[" sort
  // after "Z", and "beta" among the capitals.
  EXPECT_EQ(subkeys(NEV_HKEY_CURRENT_USER, u"Order"),
            (Names{u"Alpha", u"alpha2", u"beta", u"Gamma", u"Zeta", u"[", u"_under"}));

  // Values in creation order: rewriting keeps the place and the spelling,
  // deleting and writing again moves the value last.
  for (const char16_t* name : {u"c", u"a", u"B"}) set(u"Values", name, NEV_REG_DWORD, {1, 0, 0, 0});
  set(u"Values", u"A", NEV_REG_DWORD, {2, 0, 0, 0});
  EXPECT_EQ(value_names(NEV_HKEY_LOCAL_MACHINE, u"Values"), (Names{u"c", u"a", u"B"}));
  nev_delete_reg_value(NEV_HKEY_LOCAL_MACHINE, u"Values", u"A", status);
  ASSERT_STATUS_OK(status);
  set(u"Values", u"a", NEV_REG_DWORD, {3, 0, 0, 0});
  EXPECT_EQ(value_names(NEV_HKEY_LOCAL_MACHINE, u"Values"), (Names{u"c", u"B", u"a"}));
}

TEST_F(Hive_test, ValuesKeepWindowsTypesAndEncodings) {
  Nev_status status;
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Types", u"", u"Text", u"h\u00e9\u20ac", status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Types", u"", u"Empty", u"", status);
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Types", u"", u"Number", 0x12345678u, status);
  ASSERT_STATUS_OK(status);
  // The typed setters store UTF-16LE with its NUL and 4 little-endian bytes;
  // raw values of every type, known or not, come back byte for byte.
  const struct {
    const char16_t* name;
    std::uint32_t type;
    Bytes data;
    bool raw;
  } rows[] = {
      {u"Text", NEV_REG_SZ, {'h', 0, 0xE9, 0, 0xAC, 0x20, 0, 0}, false},
      {u"Empty", NEV_REG_SZ, {0, 0}, false},
      {u"Number", NEV_REG_DWORD, {0x78, 0x56, 0x34, 0x12}, false},
      {u"None", NEV_REG_NONE, {}, true},
      {u"Expand", NEV_REG_EXPAND_SZ, {'%', 0, 'X', 0, '%', 0, 0, 0}, true},
      {u"Binary", NEV_REG_BINARY, {0, 0xFF, 0x10}, true},
      {u"Multi", NEV_REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}, true},
      {u"Quad", NEV_REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}, true},
      {u"Other", 0x4242, {9}, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(nev_to_utf8(row.name));
    if (row.raw) set(u"Types", row.name, row.type, row.data);
    Nev_reg_value value;
    nev_get_reg_value(NEV_HKEY_LOCAL_MACHINE, u"Types", row.name, value, status);
    ASSERT_STATUS_OK(status);
    EXPECT_EQ(value.name, row.name);
    EXPECT_EQ(value.type, row.type);
    EXPECT_EQ(value.data, row.data);
  }
  // An expandable string reads as a string, unexpanded; text ends at its first NUL.
  EXPECT_EQ(text_of(NEV_HKEY_LOCAL_MACHINE, u"Types", u"Expand"), u"%X%");
  set(u"Types", u"Cut", NEV_REG_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0});
  EXPECT_EQ(text_of(NEV_HKEY_LOCAL_MACHINE, u"Types", u"Cut"), u"a");
}

TEST_F(Hive_test, TheEmptyNameIsTheDefaultValueAndSubkeysJoinWithABackslash) {
  Nev_status status;
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"A", u"B\\C", u"", u"default", status);
  ASSERT_STATUS_OK(status);
  EXPECT_EQ(text_of(NEV_HKEY_LOCAL_MACHINE, u"A\\B\\C", u""), u"default");
  EXPECT_TRUE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"A\\B", u"C"));
  EXPECT_TRUE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"A\\B\\C", u""));
  EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"A\\B", u"C\\D"));
  EXPECT_EQ(value_names(NEV_HKEY_LOCAL_MACHINE, u"A\\B\\C"), Names{u""});

  // A service's parameters live under its Parameters key.
  const std::u16string service = u"SYSTEM\\CurrentControlSet\\Services\\svc";
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, service, u"Parameters", u"Level", 7, status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, service, u"Parameters", u"Messages", u"a.msg", status);
  std::uint32_t level = 0;
  nev_get_reg_uint_parameter(u"svc", u"Level", level, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(level, 7u);
  std::u16string text;
  nev_get_reg_string_parameter(u"svc", u"Messages", text, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(text, u"a.msg");
}

TEST_F(Hive_test, NameLimitsAreThoseOfWindows) {
  const std::u16string key_255(255, u'k');
  const std::u16string value_16383(16383, u'v');
  const struct {
    std::u16string key, value_name;
    unsigned length, limit;  // a length of 0: accepted
  } rows[] = {{u"Limits\\" + key_255, u"v", 0, 0},
              {u"Limits\\" + key_255 + u"k", u"v", 256, 255},
              {u"Limits", value_16383, 0, 0},
              {u"Limits", value_16383 + u"v", 16384, 16383}};
  for (const auto& row : rows) {
    Nev_status status;
    nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, row.key, u"", row.value_name, 1, status);
    std::uint32_t number = 9;
    if (row.length == 0) {
      EXPECT_STATUS_OK(status);
      nev_get_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, row.key, u"", row.value_name, number, status);
      EXPECT_EQ(number, 1u);
      continue;
    }
    EXPECT_EQ(status.code(), NEV_E_REG_NAME_TOO_LONG);
    EXPECT_EQ(status.argument(0, 1), nev_from_utf8(std::to_string(row.length)));
    EXPECT_EQ(status.argument(0, 2), nev_from_utf8(std::to_string(row.limit)));
    nev_get_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, row.key, u"", row.value_name, number, status);
    EXPECT_EQ(status.code(), NEV_E_REG_NAME_TOO_LONG);
    EXPECT_EQ(number, 9u);
  }
  EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"Limits", key_255 + u"k"));
}

TEST_F(Hive_test, FailuresLeaveTheOutputsAloneAndSayWhat) {
  Nev_status status;
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Present", u"", u"Number", 5, status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Present", u"", u"Text", u"t", status);
  ASSERT_STATUS_OK(status);
  const struct {
    std::u16string key, value_name;
    bool as_text;
    std::uint32_t code;
  } reads[] = {
      {u"Missing", u"Text", true, NEV_E_REG_KEY_NOT_FOUND},    {u"Present", u"Nothing", true, NEV_E_REG_VALUE_NOT_FOUND},
      {u"Present", u"Number", true, NEV_E_REG_WRONG_TYPE},     {u"Missing", u"Number", false, NEV_E_REG_KEY_NOT_FOUND},
      {u"Present", u"", false, NEV_E_REG_VALUE_NOT_FOUND},     {u"Present", u"Text", false, NEV_E_REG_WRONG_TYPE},
  };
  for (const auto& read : reads) {
    std::u16string text = u"preset";
    std::uint32_t number = 77;
    if (read.as_text) {
      nev_get_reg_string_value(NEV_HKEY_LOCAL_MACHINE, read.key, u"", read.value_name, text, status);
    } else {
      nev_get_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, read.key, u"", read.value_name, number, status);
    }
    const std::u16string message = nev_status_text(status);
    EXPECT_EQ(status.code(), read.code) << nev_to_utf8(message);
    EXPECT_EQ(status.argument(0, 0), u"HKEY_LOCAL_MACHINE\\" + read.key);
    EXPECT_EQ(text, u"preset");
    EXPECT_EQ(number, 77u);
    // The text is readable, not a bare number.
    EXPECT_EQ(message.find(u"0xC2"), std::u16string::npos) << nev_to_utf8(message);
  }

  // Enumerating appends, and the status holds this enumeration's outcome alone.
  Nev_object_vector<std::u16string> keys;
  keys.push_back(new std::u16string(u"earlier"));
  nev_enum_reg_keys(NEV_HKEY_LOCAL_MACHINE, u"Missing", u"", keys, status);
  EXPECT_EQ(status.code(), NEV_E_REG_KEY_NOT_FOUND);
  EXPECT_EQ(keys.size(), 1u);
  nev_create_reg_key(NEV_HKEY_LOCAL_MACHINE, u"Present\\Child", status);
  nev_enum_reg_keys(NEV_HKEY_LOCAL_MACHINE, u"Present", u"", keys, status);  // status held a failure before
  EXPECT_STATUS_OK(status);
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(keys[0], u"earlier");
  EXPECT_EQ(keys[1], u"Child");

  // Deleting what is not there fails; a root that this registry does not hold too.
  nev_delete_reg_tree(NEV_HKEY_LOCAL_MACHINE, u"Missing", status);
  EXPECT_EQ(status.code(), NEV_E_REG_KEY_NOT_FOUND);
  nev_delete_reg_value(NEV_HKEY_LOCAL_MACHINE, u"Present", u"Nothing", status);
  EXPECT_EQ(status.code(), NEV_E_REG_VALUE_NOT_FOUND);
  const auto performance_data = reinterpret_cast<Nev_hkey>(static_cast<std::intptr_t>(static_cast<std::int32_t>(0x80000004u)));
  nev_set_reg_uint_value(performance_data, u"X", u"", u"Y", 1, status);
  EXPECT_EQ(status.code(), NEV_E_REG_BAD_ROOT);
  EXPECT_EQ(status.argument(0, 0), u"0x80000004");
  EXPECT_FALSE(nev_reg_key_exists(performance_data, u"", u""));
  EXPECT_FALSE(nev_reg_key_exists(nullptr, u"Present", u""));
}

TEST_F(Hive_test, DeletingATreeTakesEverythingBelowAndNothingBeside) {
  Nev_status status;
  for (const char16_t* key : {u"Tree\\Gone\\Deep\\Deeper", u"Tree\\Gone", u"Tree\\Gone2"}) {
    nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, key, u"", u"v", 1, status);
    ASSERT_STATUS_OK(status);
  }
  nev_delete_reg_tree(NEV_HKEY_LOCAL_MACHINE, u"TREE\\gone", status);
  ASSERT_STATUS_OK(status);
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"Tree"), Names{u"Gone2"});
  // Re-creating the key finds no trace of the old subtree.
  nev_create_reg_key(NEV_HKEY_LOCAL_MACHINE, u"Tree\\Gone", status);
  EXPECT_TRUE(subkeys(NEV_HKEY_LOCAL_MACHINE, u"Tree\\Gone").empty());
  EXPECT_TRUE(value_names(NEV_HKEY_LOCAL_MACHINE, u"Tree\\Gone").empty());
  nev_delete_reg_tree(NEV_HKEY_LOCAL_MACHINE, u"", status);
  EXPECT_EQ(status.code(), NEV_E_INVALID_ARGUMENT);
}

TEST_F(Hive_test, AHiveIsCreatedOnFirstWriteOnly) {
  const std::string nested = folder() + "/a/b/hive.db";
  ::setenv("NEV_REGISTRY", nested.c_str(), 1);
  Nev_status status;
  std::u16string text = u"preset";
  nev_get_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Key", u"", u"Name", text, status);
  EXPECT_EQ(status.code(), NEV_E_REG_KEY_NOT_FOUND);
  EXPECT_TRUE(subkeys(NEV_HKEY_LOCAL_MACHINE, u"").empty());
  EXPECT_FALSE(std::filesystem::exists(nested));
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Key", u"", u"Name", u"v", status);
  ASSERT_STATUS_OK(status);
  EXPECT_TRUE(std::filesystem::exists(nested));

  // Unset, the hive lies in the user's data folder: XDG_DATA_HOME, else ~/.local/share.
  ::unsetenv("NEV_REGISTRY");
  ::setenv("XDG_DATA_HOME", (folder() + "/data").c_str(), 1);
  nev_set_reg_uint_value(NEV_HKEY_CURRENT_USER, u"Key", u"", u"Name", 1, status);
  ASSERT_STATUS_OK(status);
  EXPECT_TRUE(std::filesystem::exists(folder() + "/data/kov/registry.db"));
  ::unsetenv("XDG_DATA_HOME");
  ::setenv("HOME", (folder() + "/home").c_str(), 1);
  nev_set_reg_uint_value(NEV_HKEY_CURRENT_USER, u"Key", u"", u"Name", 1, status);
  ASSERT_STATUS_OK(status);
  EXPECT_TRUE(std::filesystem::exists(folder() + "/home/.local/share/kov/registry.db"));
}

TEST_F(Hive_test, NamedMachinesHaveHivesOfTheirOwn) {
  Nev_status status;
  EXPECT_EQ(nev_connect_reg_root(u"", NEV_HKEY_LOCAL_MACHINE, status), NEV_HKEY_LOCAL_MACHINE);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(nev_connect_reg_root(u"far", NEV_HKEY_LOCAL_MACHINE, status), nullptr);
  EXPECT_EQ(status.code(), NEV_E_REG_NO_MACHINE);
  EXPECT_EQ(status.argument(0, 0), u"far");
  EXPECT_EQ(status.argument(0, 1), nev_from_utf8(folder() + "/machines/far.db"));
  nev_connect_reg_root(u"../hive", NEV_HKEY_LOCAL_MACHINE, status);
  EXPECT_EQ(status.code(), NEV_E_REG_NO_MACHINE);

  // Give "far" a hive by writing through it as the local one, then come back.
  ::setenv("NEV_REGISTRY", (folder() + "/machines/far.db").c_str(), 1);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Where", u"", u"", u"far", status);
  ::setenv("NEV_REGISTRY", hive().c_str(), 1);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Where", u"", u"", u"here", status);
  ASSERT_STATUS_OK(status);

  const Nev_hkey root = nev_connect_reg_root(u"\\\\far", NEV_HKEY_LOCAL_MACHINE, status);
  ASSERT_STATUS_OK(status);
  EXPECT_EQ(text_of(root, u"Where", u""), u"far");
  nev_set_reg_uint_value(root, u"Where", u"", u"Count", 3, status);
  EXPECT_STATUS_OK(status);
  std::uint32_t number = 0;
  nev_get_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Where", u"", u"Count", number, status);
  EXPECT_EQ(status.code(), NEV_E_REG_VALUE_NOT_FOUND);
  nev_get_reg_uint_value(root, u"Missing", u"", u"Count", number, status);
  EXPECT_EQ(status.argument(0, 0), u"\\\\far\\HKEY_LOCAL_MACHINE\\Missing");

  // One batch may not span two machines.
  std::vector<Nev_reg_change> changes(2);
  changes[0].root = root;
  changes[1].root = NEV_HKEY_LOCAL_MACHINE;
  changes[0].key = changes[1].key = u"Both";
  nev_apply_reg_changes(changes, status);
  EXPECT_EQ(status.code(), NEV_E_INVALID_ARGUMENT);

  // Once given back, the root is no root at all.
  nev_disconnect_reg_root(root, status);
  EXPECT_STATUS_OK(status);
  std::u16string text;
  nev_get_reg_string_value(root, u"Where", u"", u"", text, status);
  EXPECT_EQ(status.code(), NEV_E_REG_BAD_ROOT);
  nev_disconnect_reg_root(root, status);
  EXPECT_EQ(status.code(), NEV_E_REG_BAD_ROOT);
}

TEST_F(Hive_test, ABatchIsAllOrNothing) {
  Nev_status status;
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Batch\\Old", u"", u"v", 1, status);
  auto change = [](Nev_reg_change::Kind kind, const std::u16string& key, const std::u16string& name) {
    return Nev_reg_change{kind, NEV_HKEY_LOCAL_MACHINE, key, Nev_reg_value{name, NEV_REG_BINARY, {1}}};
  };
  // Missing things to delete are no failure; a failing last change undoes the rest.
  std::vector<Nev_reg_change> changes = {change(Nev_reg_change::DELETE_TREE, u"Batch\\Old", u""),
                                         change(Nev_reg_change::SET_VALUE, u"Batch\\New", u"v"),
                                         change(Nev_reg_change::DELETE_VALUE, u"Batch\\Nowhere", u"v"),
                                         change(Nev_reg_change::SET_VALUE, u"Batch\\New", std::u16string(16384, u'x'))};
  nev_apply_reg_changes(changes, status);
  EXPECT_EQ(status.code(), NEV_E_REG_NAME_TOO_LONG);
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"Batch"), Names{u"Old"});

  changes.back() = change(Nev_reg_change::DELETE_TREE, u"", u"");  // fails inside the transaction
  nev_apply_reg_changes(changes, status);
  EXPECT_EQ(status.code(), NEV_E_INVALID_ARGUMENT);
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"Batch"), Names{u"Old"});

  changes.pop_back();
  nev_apply_reg_changes(changes, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"Batch"), Names{u"New"});
}

// ---- the value enumeration with caller-sized buffers -----------------------------

TEST_F(Hive_test, ValueEnumerationFollowsTheBufferTable) {
  Nev_status status;
  // "Name" is written before the key has a default value, so the default
  // value comes second; "Name" has 10 bytes of data, "Long" 1202.
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Enum", u"", u"Name", u"text", status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Enum", u"", u"", u"default", status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Enum", u"", u"Long", std::u16string(600, u'x'), status);
  ASSERT_STATUS_OK(status);
  Nev_hkey key = nullptr;
  ASSERT_EQ(nev_reg_open_key(NEV_HKEY_LOCAL_MACHINE, u"enum", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_SUCCESS);

  constexpr std::uint32_t UNSET = 0xEEEEEEEE;
  const struct {
    const char* what;
    std::uint32_t index, name_capacity, data_capacity;
    bool data_buffer, data_counter;  // whether each is passed
    long result;
    std::uint32_t name_count, data_count, type;
    bool name_written, data_written;
  } rows[] = {
      {"name too small", 0, 4, 64, true, true, NEV_ERROR_MORE_DATA, 4, 10, NEV_REG_SZ, false, false},
      {"data too small", 0, 5, 9, true, true, NEV_ERROR_MORE_DATA, 4, 10, NEV_REG_SZ, true, false},
      {"both fit exactly", 0, 5, 10, true, true, NEV_ERROR_SUCCESS, 4, 10, NEV_REG_SZ, true, true},
      {"no data asked", 0, 64, 0, false, false, NEV_ERROR_SUCCESS, 4, 0, NEV_REG_SZ, true, false},
      {"data size alone", 0, 64, 0, false, true, NEV_ERROR_SUCCESS, 4, 10, NEV_REG_SZ, true, false},
      {"past the end", 3, 64, 64, true, true, NEV_ERROR_NO_MORE_ITEMS, 64, 64, UNSET, false, false},
  };
  const Bytes text_data = {'t', 0, 'e', 0, 'x', 0, 't', 0, 0, 0};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    char16_t name[64];
    std::uint8_t data[64];
    std::fill(std::begin(name), std::end(name), u'#');
    std::fill(std::begin(data), std::end(data), 0xAA);
    std::uint32_t name_count = row.name_capacity;
    std::uint32_t data_count = row.data_capacity;
    std::uint32_t type = UNSET;
    EXPECT_EQ(nev_reg_enum_value(key, row.index, name, &name_count, nullptr, &type, row.data_buffer ? data : nullptr,
                                 row.data_counter ? &data_count : nullptr),
              row.result);
    EXPECT_EQ(name_count, row.name_count);
    EXPECT_EQ(data_count, row.data_count);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(std::u16string(name, row.name_written ? 5 : 1),
              row.name_written ? std::u16string(u"Name\0", 5) : std::u16string(u"#"));
    EXPECT_EQ(Bytes(data, data + 10), row.data_written ? text_data : Bytes(10, 0xAA));
  }

  // Walking with fixed buffers meets every value in creation order.
  std::vector<std::pair<std::u16string, long>> seen;
  for (std::uint32_t index = 0;; ++index) {
    char16_t name[1024];
    std::uint8_t data[1024];
    std::uint32_t name_count = 1024;
    std::uint32_t data_count = 1024;
    const long result = nev_reg_enum_value(key, index, name, &name_count, nullptr, nullptr, data, &data_count);
    if (result == NEV_ERROR_NO_MORE_ITEMS) break;
    seen.emplace_back(std::u16string(name, name_count), result);
    if (result == NEV_ERROR_MORE_DATA) {
      EXPECT_EQ(data_count, 1202u);
    }
  }
  EXPECT_EQ(seen, (std::vector<std::pair<std::u16string, long>>{
                      {u"Name", NEV_ERROR_SUCCESS}, {u"", NEV_ERROR_SUCCESS}, {u"Long", NEV_ERROR_MORE_DATA}}));

  char16_t name[8];
  std::uint32_t name_count = 8;
  EXPECT_EQ(nev_reg_close_key(key), NEV_ERROR_SUCCESS);
  EXPECT_EQ(nev_reg_enum_value(key, 0, name, &name_count, nullptr, nullptr, nullptr, nullptr),
            NEV_ERROR_INVALID_HANDLE);
  EXPECT_EQ(nev_reg_close_key(key), NEV_ERROR_INVALID_HANDLE);
  EXPECT_EQ(nev_reg_open_key(NEV_HKEY_LOCAL_MACHINE, u"Enum\\Missing", 0, NEV_KEY_QUERY_VALUE, &key),
            NEV_ERROR_FILE_NOT_FOUND);
}

TEST_F(Hive_test, AFileThatIsNoHiveFailsWithItsName) {
  std::ofstream(hive(), std::ios::binary) << std::string(8192, 'x');
  Nev_status status;
  std::u16string text = u"preset";
  nev_get_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Key", u"", u"Name", text, status);
  EXPECT_EQ(status.code(), NEV_E_REG_HIVE);
  EXPECT_EQ(status.argument(0, 0), nev_from_utf8(hive()));
  EXPECT_FALSE(status.argument(0, 1).empty());
  EXPECT_EQ(text, u"preset");
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Key", u"", u"Name", 1, status);
  EXPECT_EQ(status.code(), NEV_E_REG_HIVE);
  EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"Key", u""));
  Nev_hkey key = nullptr;
  EXPECT_EQ(nev_reg_open_key(NEV_HKEY_LOCAL_MACHINE, u"Key", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_ACCESS_DENIED);
}
