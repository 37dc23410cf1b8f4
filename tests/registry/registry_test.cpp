// The registry's contract as its callers rely on it: Windows semantics for
// names, order and types, the failure paths, and the value enumeration with
// caller-sized buffers.
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "hive_fixture.h"
#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/strings.h"

using namespace nev;

namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<std::u16string> subkeys(Nev_hkey root, const std::u16string& key) {
  Nev_object_vector<std::u16string> names;
  Nev_status status;
  nev_enum_reg_keys(root, key, u"", names, status);
  EXPECT_STATUS_OK(status);
  std::vector<std::u16string> result;
  for (const std::u16string* name : names) result.push_back(*name);
  return result;
}

std::vector<std::u16string> value_names(Nev_hkey root, const std::u16string& key) {
  std::vector<Nev_reg_value> values;
  Nev_status status;
  nev_enum_reg_values(root, key, values, status);
  EXPECT_STATUS_OK(status);
  std::vector<std::u16string> names;
  for (const Nev_reg_value& value : values) names.push_back(value.name);
  return names;
}

void set(const std::u16string& key, const std::u16string& name, std::uint32_t type, const Bytes& data) {
  Nev_status status;
  nev_set_reg_value(NEV_HKEY_LOCAL_MACHINE, key, name, type, data, status);
  ASSERT_STATUS_OK(status);
}

bool file_exists(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0;
}

}  // namespace

TEST(Registry_roots, HaveTheSignExtendedWindowsValues) {
  const struct {
    Nev_hkey root;
    std::uintptr_t bits;
  } roots[] = {{NEV_HKEY_CLASSES_ROOT, 0xFFFFFFFF80000000u},  {NEV_HKEY_CURRENT_USER, 0xFFFFFFFF80000001u},
               {NEV_HKEY_LOCAL_MACHINE, 0xFFFFFFFF80000002u}, {NEV_HKEY_USERS, 0xFFFFFFFF80000003u},
               {NEV_HKEY_CURRENT_CONFIG, 0xFFFFFFFF80000005u}};
  for (const auto& row : roots) EXPECT_EQ(reinterpret_cast<std::uintptr_t>(row.root), row.bits);
}

TEST_F(Hive_test, NamesAreCaseInsensitiveAndKeepTheirFirstSpelling) {
  Nev_status status;
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Software\\MyCo", u"", u"Colour", u"red", status);
  ASSERT_STATUS_OK(status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"SOFTWARE\\myco", u"", u"COLOUR", u"blue", status);
  ASSERT_STATUS_OK(status);
  nev_create_reg_key(NEV_HKEY_LOCAL_MACHINE, u"software\\MYCO\\Sub", status);
  ASSERT_STATUS_OK(status);

  std::u16string text;
  nev_get_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"sOfTwArE", u"mYcO", u"colour", text, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(text, u"blue");
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u""), std::vector<std::u16string>{u"Software"});
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"SOFTWARE"), std::vector<std::u16string>{u"MyCo"});
  EXPECT_EQ(value_names(NEV_HKEY_LOCAL_MACHINE, u"software\\myco"), std::vector<std::u16string>{u"Colour"});
  // Letters beyond ASCII fold too.
  nev_create_reg_key(NEV_HKEY_LOCAL_MACHINE, u"Software\\\u00e9t\u00e9", status);
  EXPECT_TRUE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"SOFTWARE", u"\u00c9T\u00c9"));
  // The roots are separate trees.
  EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_CURRENT_USER, u"Software", u""));
}

TEST_F(Hive_test, SubkeysComeInCaseInsensitiveOrderValuesInCreationOrder) {
  Nev_status status;
  for (const char16_t* name : {u"beta", u"_under", u"Zeta", u"alpha2", u"Alpha", u"[", u"Gamma"}) {
    nev_create_reg_key(NEV_HKEY_CURRENT_USER, std::u16string(u"Order\\") + name, status);
    ASSERT_STATUS_OK(status);
  }
  // Upper-cased units compared as numbers, a prefix first: "_" and "[" sort
  // after "Z", and "beta" among the capitals.
  const std::vector<std::u16string> expected = {u"Alpha", u"alpha2", u"beta", u"Gamma", u"Zeta", u"[", u"_under"};
  EXPECT_EQ(subkeys(NEV_HKEY_CURRENT_USER, u"Order"), expected);

  for (const char16_t* name : {u"c", u"a", u"B"}) set(u"Values", name, NEV_REG_DWORD, {1, 0, 0, 0});
  set(u"Values", u"A", NEV_REG_DWORD, {2, 0, 0, 0});  // rewriting keeps the place and the spelling
  EXPECT_EQ(value_names(NEV_HKEY_LOCAL_MACHINE, u"Values"), (std::vector<std::u16string>{u"c", u"a", u"B"}));
  nev_delete_reg_value(NEV_HKEY_LOCAL_MACHINE, u"Values", u"A", status);
  ASSERT_STATUS_OK(status);
  set(u"Values", u"a", NEV_REG_DWORD, {3, 0, 0, 0});
  EXPECT_EQ(value_names(NEV_HKEY_LOCAL_MACHINE, u"Values"), (std::vector<std::u16string>{u"c", u"B", u"a"}));
}

TEST_F(Hive_test, ValuesKeepWindowsTypesAndEncodings) {
  Nev_status status;
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Types", u"", u"Text", u"h\u00e9\u20ac", status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Types", u"", u"Empty", u"", status);
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Types", u"", u"Number", 0x12345678u, status);
  ASSERT_STATUS_OK(status);
  const struct {
    const char16_t* name;
    std::uint32_t type;
    Bytes data;
  } stored[] = {
      {u"Text", NEV_REG_SZ, {'h', 0, 0xE9, 0, 0xAC, 0x20, 0, 0}},
      {u"Empty", NEV_REG_SZ, {0, 0}},
      {u"Number", NEV_REG_DWORD, {0x78, 0x56, 0x34, 0x12}},
  };
  for (const auto& row : stored) {
    Nev_reg_value value;
    nev_get_reg_value(NEV_HKEY_LOCAL_MACHINE, u"Types", row.name, value, status);
    ASSERT_STATUS_OK(status);
    EXPECT_EQ(value.type, row.type) << nev_to_utf8(row.name);
    EXPECT_EQ(value.data, row.data) << nev_to_utf8(row.name);
  }

  // Raw values of every type come back byte for byte.
  const struct {
    std::uint32_t type;
    Bytes data;
  } raw[] = {{NEV_REG_NONE, {}},
             {NEV_REG_EXPAND_SZ, {'%', 0, 'X', 0, '%', 0, 0, 0}},
             {NEV_REG_BINARY, {0, 0xFF, 0x10}},
             {NEV_REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
             {NEV_REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}},
             {0x4242, {9}}};
  for (const auto& row : raw) {
    const std::u16string name = u"raw" + std::u16string(1, static_cast<char16_t>(u'A' + row.type % 26));
    set(u"Raw", name, row.type, row.data);
    Nev_reg_value value;
    nev_get_reg_value(NEV_HKEY_LOCAL_MACHINE, u"Raw", name, value, status);
    ASSERT_STATUS_OK(status);
    EXPECT_EQ(value.name, name);
    EXPECT_EQ(value.type, row.type);
    EXPECT_EQ(value.data, row.data);
  }

  // An expandable string reads as a string, unexpanded; text ends at its first NUL.
  std::u16string text;
  nev_get_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Raw", u"", u"rawC", text, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(text, u"%X%");
  set(u"Raw", u"Cut", NEV_REG_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0});
  nev_get_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Raw", u"", u"Cut", text, status);
  EXPECT_EQ(text, u"a");
}

TEST_F(Hive_test, TheEmptyNameIsTheDefaultValueAndSubkeysJoinWithABackslash) {
  Nev_status status;
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"A", u"B\\C", u"", u"default", status);
  ASSERT_STATUS_OK(status);
  std::u16string text;
  nev_get_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"A\\B\\C", u"", u"", text, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(text, u"default");
  EXPECT_TRUE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"A\\B", u"C"));
  EXPECT_TRUE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"A\\B\\C", u""));
  EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"A\\B", u"C\\D"));
  EXPECT_EQ(value_names(NEV_HKEY_LOCAL_MACHINE, u"A\\B\\C"), std::vector<std::u16string>{u""});

  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"SYSTEM\\CurrentControlSet\\Services\\svc", u"Parameters",
                         u"Level", 7, status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"SYSTEM\\CurrentControlSet\\Services\\svc", u"Parameters",
                           u"Messages", u"a.msg", status);
  std::uint32_t level = 0;
  nev_get_reg_uint_parameter(u"svc", u"Level", level, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(level, 7u);
  nev_get_reg_string_parameter(u"svc", u"Messages", text, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(text, u"a.msg");
}

TEST_F(Hive_test, NameLimitsAreThoseOfWindows) {
  const std::u16string key_255(255, u'k');
  const std::u16string value_16383(16383, u'v');
  const struct {
    std::u16string key;
    std::u16string value_name;
    bool accepted;
    unsigned length;
    unsigned limit;
  } rows[] = {{u"Limits\\" + key_255, u"v", true, 0, 0},
              {u"Limits\\" + key_255 + u"k", u"v", false, 256, 255},
              {u"Limits", value_16383, true, 0, 0},
              {u"Limits", value_16383 + u"v", false, 16384, 16383}};
  for (const auto& row : rows) {
    Nev_status status;
    nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, row.key, u"", row.value_name, 1, status);
    if (row.accepted) {
      EXPECT_STATUS_OK(status);
      std::uint32_t number = 0;
      nev_get_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, row.key, u"", row.value_name, number, status);
      EXPECT_EQ(number, 1u);
      continue;
    }
    EXPECT_EQ(status.code(), NEV_E_REG_NAME_TOO_LONG);
    EXPECT_EQ(status.argument(0, 1), nev_from_utf8(std::to_string(row.length)));
    EXPECT_EQ(status.argument(0, 2), nev_from_utf8(std::to_string(row.limit)));
    std::uint32_t untouched = 9;
    nev_get_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, row.key, u"", row.value_name, untouched, status);
    EXPECT_EQ(status.code(), NEV_E_REG_NAME_TOO_LONG);
    EXPECT_EQ(untouched, 9u);
  }
  EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"Limits", key_255 + u"k"));
}

TEST_F(Hive_test, FailuresLeaveTheOutputsAloneAndSayWhat) {
  Nev_status status;
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Present", u"", u"Number", 5, status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Present", u"", u"Text", u"t", status);
  ASSERT_STATUS_OK(status);

  struct Read {
    std::u16string key;
    std::u16string value_name;
    bool as_text;
    std::uint32_t code;
    std::u16string first_argument;
  };
  const Read reads[] = {
      {u"Missing", u"Text", true, NEV_E_REG_KEY_NOT_FOUND, u"HKEY_LOCAL_MACHINE\\Missing"},
      {u"Present", u"Nothing", true, NEV_E_REG_VALUE_NOT_FOUND, u"HKEY_LOCAL_MACHINE\\Present"},
      {u"Present", u"Number", true, NEV_E_REG_WRONG_TYPE, u"HKEY_LOCAL_MACHINE\\Present"},
      {u"Missing", u"Number", false, NEV_E_REG_KEY_NOT_FOUND, u"HKEY_LOCAL_MACHINE\\Missing"},
      {u"Present", u"", false, NEV_E_REG_VALUE_NOT_FOUND, u"HKEY_LOCAL_MACHINE\\Present"},
      {u"Present", u"Text", false, NEV_E_REG_WRONG_TYPE, u"HKEY_LOCAL_MACHINE\\Present"},
  };
  for (const Read& read : reads) {
    std::u16string text = u"preset";
    std::uint32_t number = 77;
    if (read.as_text) {
      nev_get_reg_string_value(NEV_HKEY_LOCAL_MACHINE, read.key, u"", read.value_name, text, status);
    } else {
      nev_get_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, read.key, u"", read.value_name, number, status);
    }
    EXPECT_EQ(status.code(), read.code) << nev_to_utf8(nev_status_text(status));
    EXPECT_EQ(status.argument(0, 0), read.first_argument);
    EXPECT_EQ(text, u"preset");
    EXPECT_EQ(number, 77u);
    // The text is readable, not a bare number.
    EXPECT_EQ(nev_status_text(status).find(u"0xC2"), std::u16string::npos) << nev_to_utf8(nev_status_text(status));
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
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Tree\\Gone\\Deep\\Deeper", u"", u"v", 1, status);
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Tree\\Gone", u"", u"v", 1, status);
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Tree\\Gone2", u"", u"v", 1, status);
  ASSERT_STATUS_OK(status);
  nev_delete_reg_tree(NEV_HKEY_LOCAL_MACHINE, u"TREE\\gone", status);
  ASSERT_STATUS_OK(status);
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"Tree"), std::vector<std::u16string>{u"Gone2"});
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
  EXPECT_FALSE(file_exists(nested));
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Key", u"", u"Name", u"v", status);
  ASSERT_STATUS_OK(status);
  EXPECT_TRUE(file_exists(nested));

  // Unset, the hive lies in the user's data folder.
  ::unsetenv("NEV_REGISTRY");
  ::setenv("XDG_DATA_HOME", (folder() + "/data").c_str(), 1);
  nev_set_reg_uint_value(NEV_HKEY_CURRENT_USER, u"Key", u"", u"Name", 1, status);
  ASSERT_STATUS_OK(status);
  EXPECT_TRUE(file_exists(folder() + "/data/kov/registry.db"));
  ::unsetenv("XDG_DATA_HOME");
  ::setenv("HOME", (folder() + "/home").c_str(), 1);
  nev_set_reg_uint_value(NEV_HKEY_CURRENT_USER, u"Key", u"", u"Name", 1, status);
  ASSERT_STATUS_OK(status);
  EXPECT_TRUE(file_exists(folder() + "/home/.local/share/kov/registry.db"));
}

TEST_F(Hive_test, NamedMachinesHaveHivesOfTheirOwn) {
  Nev_status status;
  Nev_hkey root = nev_connect_reg_root(u"", NEV_HKEY_LOCAL_MACHINE, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(root, NEV_HKEY_LOCAL_MACHINE);

  root = nev_connect_reg_root(u"far", NEV_HKEY_LOCAL_MACHINE, status);
  EXPECT_EQ(root, nullptr);
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

  root = nev_connect_reg_root(u"\\\\far", NEV_HKEY_LOCAL_MACHINE, status);
  ASSERT_STATUS_OK(status);
  std::u16string text;
  nev_get_reg_string_value(root, u"Where", u"", u"", text, status);
  EXPECT_EQ(text, u"far");
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

  nev_disconnect_reg_root(root, status);
  EXPECT_STATUS_OK(status);
  nev_get_reg_string_value(root, u"Where", u"", u"", text, status);
  EXPECT_EQ(status.code(), NEV_E_REG_BAD_ROOT);
  nev_disconnect_reg_root(root, status);
  EXPECT_EQ(status.code(), NEV_E_REG_BAD_ROOT);
}

TEST_F(Hive_test, ABatchIsAllOrNothing) {
  Nev_status status;
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Batch\\Old", u"", u"v", 1, status);
  auto change = [](Nev_reg_change::Kind kind, const std::u16string& key, const std::u16string& name) {
    Nev_reg_change result;
    result.kind = kind;
    result.root = NEV_HKEY_LOCAL_MACHINE;
    result.key = key;
    result.value.name = name;
    result.value.type = NEV_REG_BINARY;
    result.value.data = {1};
    return result;
  };
  std::vector<Nev_reg_change> changes = {change(Nev_reg_change::DELETE_TREE, u"Batch\\Old", u""),
                                         change(Nev_reg_change::SET_VALUE, u"Batch\\New", u"v"),
                                         change(Nev_reg_change::DELETE_VALUE, u"Batch\\Nowhere", u"v"),
                                         change(Nev_reg_change::SET_VALUE, u"Batch\\New", std::u16string(16384, u'x'))};
  nev_apply_reg_changes(changes, status);
  EXPECT_EQ(status.code(), NEV_E_REG_NAME_TOO_LONG);
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"Batch"), std::vector<std::u16string>{u"Old"});

  changes.back() = change(Nev_reg_change::DELETE_TREE, u"", u"");  // fails inside the transaction
  nev_apply_reg_changes(changes, status);
  EXPECT_EQ(status.code(), NEV_E_INVALID_ARGUMENT);
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"Batch"), std::vector<std::u16string>{u"Old"});

  changes.pop_back();
  nev_apply_reg_changes(changes, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(subkeys(NEV_HKEY_LOCAL_MACHINE, u"Batch"), std::vector<std::u16string>{u"New"});
}

// ---- the value enumeration with caller-sized buffers -----------------------------

TEST_F(Hive_test, ValueEnumerationFollowsTheBufferTableRowByRow) {
  Nev_status status;
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Enum", u"", u"Name", u"text", status);  // data: 10 bytes
  ASSERT_STATUS_OK(status);
  Nev_hkey key = nullptr;
  ASSERT_EQ(nev_reg_open_key(NEV_HKEY_LOCAL_MACHINE, u"enum", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_SUCCESS);

  constexpr std::uint32_t UNSET = 0xEEEEEEEE;
  struct Row {
    const char* what;
    std::uint32_t index;
    std::uint32_t name_capacity;
    std::uint32_t data_capacity;
    bool with_data;
    long result;
    std::uint32_t name_count;
    std::uint32_t data_count;
    std::uint32_t type;
    bool name_written;
    bool data_written;
  };
  const Row rows[] = {
      {"name too small", 0, 4, 64, true, NEV_ERROR_MORE_DATA, 4, 10, NEV_REG_SZ, false, false},
      {"data too small", 0, 5, 9, true, NEV_ERROR_MORE_DATA, 4, 10, NEV_REG_SZ, true, false},
      {"both fit exactly", 0, 5, 10, true, NEV_ERROR_SUCCESS, 4, 10, NEV_REG_SZ, true, true},
      {"no data asked", 0, 64, 0, false, NEV_ERROR_SUCCESS, 4, UNSET, NEV_REG_SZ, true, false},
      {"past the end", 1, 64, 64, true, NEV_ERROR_NO_MORE_ITEMS, 64, 64, UNSET, false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    char16_t name[64];
    std::uint8_t data[64];
    std::fill(std::begin(name), std::end(name), u'#');
    std::fill(std::begin(data), std::end(data), 0xAA);
    std::uint32_t name_count = row.name_capacity;
    std::uint32_t data_count = row.data_capacity;
    std::uint32_t type = UNSET;
    const long result = nev_reg_enum_value(key, row.index, name, &name_count, nullptr, &type,
                                           row.with_data ? data : nullptr, row.with_data ? &data_count : nullptr);
    EXPECT_EQ(result, row.result);
    EXPECT_EQ(name_count, row.name_count);
    if (row.with_data) {
      EXPECT_EQ(data_count, row.data_count);
    }
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(std::u16string(name, row.name_written ? 5 : 1),
              row.name_written ? std::u16string(u"Name\0", 5) : std::u16string(u"#"));
    const Bytes expected_data = {'t', 0, 'e', 0, 'x', 0, 't', 0, 0, 0};
    EXPECT_EQ(Bytes(data, data + 10), row.data_written ? expected_data : Bytes(10, 0xAA));
  }

  // Asking for the size alone: a data count without a buffer.
  char16_t name[8];
  std::uint32_t name_count = 8;
  std::uint32_t data_count = 0;
  EXPECT_EQ(nev_reg_enum_value(key, 0, name, &name_count, nullptr, nullptr, nullptr, &data_count), NEV_ERROR_SUCCESS);
  EXPECT_EQ(data_count, 10u);

  EXPECT_EQ(nev_reg_close_key(key), NEV_ERROR_SUCCESS);
  EXPECT_EQ(nev_reg_enum_value(key, 0, name, &name_count, nullptr, nullptr, nullptr, nullptr),
            NEV_ERROR_INVALID_HANDLE);
  EXPECT_EQ(nev_reg_close_key(key), NEV_ERROR_INVALID_HANDLE);
  EXPECT_EQ(nev_reg_open_key(NEV_HKEY_LOCAL_MACHINE, u"Enum\\Missing", 0, NEV_KEY_QUERY_VALUE, &key),
            NEV_ERROR_FILE_NOT_FOUND);
}

TEST_F(Hive_test, ValueEnumerationWalksEveryValueInCreationOrder) {
  Nev_status status;
  nev_set_reg_uint_value(NEV_HKEY_LOCAL_MACHINE, u"Walk", u"", u"second", 0xFFFFFFFFu, status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Walk", u"", u"", u"default", status);
  nev_set_reg_string_value(NEV_HKEY_LOCAL_MACHINE, u"Walk", u"", u"third", std::u16string(600, u'x'), status);
  ASSERT_STATUS_OK(status);
  // The first value was written before the key had a default value.
  Nev_hkey key = nullptr;
  ASSERT_EQ(nev_reg_open_key(NEV_HKEY_LOCAL_MACHINE, u"Walk", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_SUCCESS);
  std::vector<std::pair<std::u16string, long>> seen;
  for (std::uint32_t index = 0;; ++index) {
    char16_t name[1024];
    std::uint8_t data[1024];
    std::uint32_t name_count = 1024;
    std::uint32_t data_count = 1024;
    std::uint32_t type = 0;
    const long result = nev_reg_enum_value(key, index, name, &name_count, nullptr, &type, data, &data_count);
    if (result == NEV_ERROR_NO_MORE_ITEMS) break;
    seen.emplace_back(std::u16string(name, name_count), result);
    if (result == NEV_ERROR_MORE_DATA) {
      EXPECT_EQ(data_count, 1202u);
    }
  }
  nev_reg_close_key(key);
  const std::vector<std::pair<std::u16string, long>> expected = {
      {u"second", NEV_ERROR_SUCCESS}, {u"", NEV_ERROR_SUCCESS}, {u"third", NEV_ERROR_MORE_DATA}};
  EXPECT_EQ(seen, expected);
}

TEST_F(Hive_test, AFileThatIsNoHiveFailsWithItsName) {
  {
    std::ofstream file(hive(), std::ios::binary);
    file << std::string(8192, 'x');
  }
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
