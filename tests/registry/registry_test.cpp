// The registry's contract as its callers rely on it: Windows semantics for
// names, order and types, the failure paths, and the value enumeration with
// caller-sized buffers.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include "hive_fixture.h"
#include "nev/platform.h"
#include "nev/codes.h"

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

Names value_names(const std::u16string& key) {
  std::vector<Nev_reg_value> values;
  Nev_status status;
  nev_enum_reg_values(HKLM, key, values, status);
  EXPECT_STATUS_OK(status);
  Names names;
  for (const Nev_reg_value& value : values) names.push_back(value.name);
  return names;
}

// The hive keeps creation order; the system's registry is only held to the
// same names, and its order is printed for the record.
void expect_value_order(const Names& found, const Names& created) {
  if (!kov_test::system_registry()) {
    EXPECT_EQ(found, created);
    return;
  }
  std::string order;
  for (const std::u16string& name : found) order += " " + nev_to_utf8(name);
  std::printf("[ SYSTEM   ] values enumerate as:%s\n", order.c_str());
  Names sorted_found = found, sorted_created = created;
  std::sort(sorted_found.begin(), sorted_found.end());
  std::sort(sorted_created.begin(), sorted_created.end());
  EXPECT_EQ(sorted_found, sorted_created);
}

void create(Nev_hkey root, const std::u16string& key) {
  Nev_status status;
  nev_create_reg_key(root, key, status);
  EXPECT_STATUS_OK(status);
}

void set(const std::u16string& key, const std::u16string& name, std::uint32_t type, const Bytes& data) {
  Nev_status status;
  nev_set_reg_value(HKLM, key, name, type, data, status);
  EXPECT_STATUS_OK(status);
}

}  // namespace

TEST_F(Hive_test, NamesFoldCaseAndEnumerateInWindowsOrder) {
  put(u"Software\\MyCo", u"Colour", u"red");
  put(u"SOFTWARE\\myco", u"COLOUR", u"blue");
  create(HKLM, u"software\\MYCO\\Sub");
  // Every name matches in any case and keeps the spelling it was created with.
  EXPECT_EQ(text_of(HKLM, u"sOfTwArE\\mYcO", u"colour"), u"blue");
  EXPECT_EQ(subkeys(HKLM, u""), Names{u"Software"});
  EXPECT_EQ(subkeys(HKLM, u"SOFTWARE"), Names{u"MyCo"});
  EXPECT_EQ(value_names(u"software\\myco"), Names{u"Colour"});
  // Letters beyond ASCII fold too; the roots are separate trees.
  create(HKLM, u"Software\\\u00e9t\u00e9");
  EXPECT_TRUE(nev_reg_key_exists(HKLM, u"SOFTWARE", u"\u00c9T\u00c9"));
  EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_CURRENT_USER, u"Software", u""));

  for (const char16_t* name : {u"beta", u"_under", u"Zeta", u"alpha2", u"Alpha", u"[", u"Gamma"}) {
    create(NEV_HKEY_CURRENT_USER, std::u16string(u"Order\\") + name);
  }
  // Upper-cased units compared as numbers, a prefix first: "_" and "[" sort
  // after "Z", and "beta" among the capitals.
  EXPECT_EQ(subkeys(NEV_HKEY_CURRENT_USER, u"Order"),
            (Names{u"Alpha", u"alpha2", u"beta", u"Gamma", u"Zeta", u"[", u"_under"}));

  // Values in creation order: rewriting keeps the place and the spelling,
  // deleting and writing again moves the value last. The Windows registry
  // promises no order: there the names are checked, and the order the
  // system gave is reported.
  for (const char16_t* name : {u"c", u"a", u"B"}) put(u"Values", name, 1u);
  put(u"Values", u"A", 2u);
  expect_value_order(value_names(u"Values"), {u"c", u"a", u"B"});
  Nev_status status;
  nev_delete_reg_value(HKLM, u"Values", u"A", status);
  EXPECT_STATUS_OK(status);
  put(u"Values", u"a", 3u);
  expect_value_order(value_names(u"Values"), {u"c", u"B", u"a"});
}

TEST_F(Hive_test, ValuesKeepWindowsTypesAndEncodings) {
  put(u"Types", u"Text", u"h\u00e9\u20ac");
  put(u"Types", u"Empty", u"");
  put(u"Types", u"Number", 0x12345678u);
  // The typed setters store UTF-16LE with its NUL and 4 little-endian bytes;
  // raw values of any type, known or not, come back byte for byte.
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
      {u"Other", 0x4242, {9}, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(nev_to_utf8(row.name));
    if (row.raw) set(u"Types", row.name, row.type, row.data);
    Nev_reg_value value;
    Nev_status status;
    nev_get_reg_value(HKLM, u"Types", row.name, value, status);
    ASSERT_STATUS_OK(status);
    EXPECT_EQ(value.name, row.name);
    EXPECT_EQ(value.type, row.type);
    EXPECT_EQ(value.data, row.data);
  }
  // An expandable string reads as a string, unexpanded; text ends at its first NUL.
  EXPECT_EQ(text_of(HKLM, u"Types", u"Expand"), u"%X%");
  set(u"Types", u"Cut", NEV_REG_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0});
  EXPECT_EQ(text_of(HKLM, u"Types", u"Cut"), u"a");
}

TEST_F(Hive_test, TheEmptyNameIsTheDefaultValueAndSubkeysJoinWithABackslash) {
  Nev_status status;
  nev_set_reg_string_value(HKLM, u"A", u"B\\C", u"", u"default", status);
  ASSERT_STATUS_OK(status);
  EXPECT_EQ(text_of(HKLM, u"A\\B\\C", u""), u"default");
  EXPECT_TRUE(nev_reg_key_exists(HKLM, u"A\\B", u"C"));
  EXPECT_TRUE(nev_reg_key_exists(HKLM, u"A\\B\\C", u""));
  EXPECT_FALSE(nev_reg_key_exists(HKLM, u"A\\B", u"C\\D"));
  EXPECT_EQ(value_names(u"A\\B\\C"), Names{u""});
}

TEST_F(Hive_test, NameLimitsAreThoseOfWindows) {
  const std::u16string key_255 = u"Limits\\" + std::u16string(255, u'k');
  const std::u16string value_16383(16383, u'v');
  const struct {
    std::u16string key, value_name;
    unsigned length, limit;  // a length of 0: accepted
  } rows[] = {{key_255, u"v", 0, 0},
              {key_255 + u"k", u"v", 256, 255},
              {u"Limits", value_16383, 0, 0},
              {u"Limits", value_16383 + u"v", 16384, 16383}};
  for (const auto& row : rows) {
    Nev_status status;
    nev_set_reg_uint_value(HKLM, row.key, u"", row.value_name, 1, status);
    std::uint32_t number = 9;
    if (row.length == 0) {
      EXPECT_STATUS_OK(status);
      EXPECT_EQ(number_of(row.key, row.value_name), 1u);
      continue;
    }
    EXPECT_EQ(status.code(), NEV_E_REG_NAME_TOO_LONG);
    EXPECT_EQ(status.argument(0, 1), nev_from_utf8(std::to_string(row.length)));
    EXPECT_EQ(status.argument(0, 2), nev_from_utf8(std::to_string(row.limit)));
    nev_get_reg_uint_value(HKLM, row.key, u"", row.value_name, number, status);
    EXPECT_EQ(status.code(), NEV_E_REG_NAME_TOO_LONG);
    EXPECT_EQ(number, 9u);
  }
  EXPECT_FALSE(nev_reg_key_exists(HKLM, key_255 + u"k", u""));
}

TEST_F(Hive_test, FailuresLeaveTheOutputsAloneAndSayWhat) {
  put(u"Present", u"Number", 5u);
  put(u"Present", u"Text", u"t");
  const struct {
    std::u16string key, value_name;
    bool as_text;
    std::uint32_t code;
  } reads[] = {
      {u"Missing", u"Text", true, NEV_E_REG_KEY_NOT_FOUND}, {u"Present", u"Nothing", true, NEV_E_REG_VALUE_NOT_FOUND},
      {u"Present", u"Number", true, NEV_E_REG_WRONG_TYPE},  {u"Missing", u"Number", false, NEV_E_REG_KEY_NOT_FOUND},
      {u"Present", u"", false, NEV_E_REG_VALUE_NOT_FOUND},  {u"Present", u"Text", false, NEV_E_REG_WRONG_TYPE},
  };
  Nev_status status;
  for (const auto& read : reads) {
    std::u16string text = u"preset";
    std::uint32_t number = 77;
    if (read.as_text) {
      nev_get_reg_string_value(HKLM, read.key, u"", read.value_name, text, status);
    } else {
      nev_get_reg_uint_value(HKLM, read.key, u"", read.value_name, number, status);
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
  nev_enum_reg_keys(HKLM, u"Missing", u"", keys, status);
  EXPECT_EQ(status.code(), NEV_E_REG_KEY_NOT_FOUND);
  EXPECT_EQ(keys.size(), 1u);
  create(HKLM, u"Present\\Child");
  nev_enum_reg_keys(HKLM, u"Present", u"", keys, status);  // status held a failure before
  EXPECT_STATUS_OK(status);
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(keys[0], u"earlier");
  EXPECT_EQ(keys[1], u"Child");

  // Deleting what is not there fails; a root that this registry does not hold too.
  nev_delete_reg_tree(HKLM, u"Missing", status);
  EXPECT_EQ(status.code(), NEV_E_REG_KEY_NOT_FOUND);
  nev_delete_reg_value(HKLM, u"Present", u"Nothing", status);
  EXPECT_EQ(status.code(), NEV_E_REG_VALUE_NOT_FOUND);
  const auto performance_data =
      reinterpret_cast<Nev_hkey>(static_cast<std::intptr_t>(static_cast<std::int32_t>(0x80000004u)));
  nev_set_reg_uint_value(performance_data, u"X", u"", u"Y", 1, status);
  EXPECT_EQ(status.code(), NEV_E_REG_BAD_ROOT);
  EXPECT_EQ(status.argument(0, 0), u"0x80000004");
  EXPECT_FALSE(nev_reg_key_exists(performance_data, u"", u""));
  EXPECT_FALSE(nev_reg_key_exists(nullptr, u"Present", u""));
}

TEST_F(Hive_test, DeletingATreeTakesEverythingBelowAndNothingBeside) {
  for (const char16_t* key : {u"Tree\\Gone\\Deep\\Deeper", u"Tree\\Gone", u"Tree\\Gone2"}) put(key, u"v", 1u);
  Nev_status status;
  nev_delete_reg_tree(HKLM, u"TREE\\gone", status);
  ASSERT_STATUS_OK(status);
  EXPECT_EQ(subkeys(HKLM, u"Tree"), Names{u"Gone2"});
  // Re-creating the key finds no trace of the old subtree.
  create(HKLM, u"Tree\\Gone");
  EXPECT_TRUE(subkeys(HKLM, u"Tree\\Gone").empty());
  EXPECT_TRUE(value_names(u"Tree\\Gone").empty());
  nev_delete_reg_tree(HKLM, u"", status);
  EXPECT_EQ(status.code(), NEV_E_INVALID_ARGUMENT);
}

TEST_F(Hive_test, AHiveIsCreatedOnFirstWriteOnlyAndAFileThatIsNoHiveFailsWithItsName) {
  SKIP_UNLESS_FILE_HIVE();
  KOV_SKIP_ON_WINDOWS("hive files and their locations exist only where the registry is a hive (Linux)");
  const std::string nested = folder() + "/a/b/hive.db";
  kov_test::set_env("NEV_REGISTRY", nested.c_str());
  Nev_status status;
  std::u16string text = u"preset";
  nev_get_reg_string_value(HKLM, u"Key", u"", u"Name", text, status);
  EXPECT_EQ(status.code(), NEV_E_REG_KEY_NOT_FOUND);
  EXPECT_TRUE(subkeys(HKLM, u"").empty());
  EXPECT_FALSE(std::filesystem::exists(nested));
  put(u"Key", u"Name", u"v");
  EXPECT_TRUE(std::filesystem::exists(nested));

  // Unset, the hive lies in the user's data folder: XDG_DATA_HOME, else ~/.local/share.
  kov_test::unset_env("NEV_REGISTRY");
  kov_test::set_env("XDG_DATA_HOME", (folder() + "/data").c_str());
  nev_set_reg_uint_value(NEV_HKEY_CURRENT_USER, u"Key", u"", u"Name", 1, status);
  ASSERT_STATUS_OK(status);
  EXPECT_TRUE(std::filesystem::exists(folder() + "/data/kov/registry.db"));
  kov_test::unset_env("XDG_DATA_HOME");
  kov_test::set_env("HOME", (folder() + "/home").c_str());
  nev_set_reg_uint_value(NEV_HKEY_CURRENT_USER, u"Key", u"", u"Name", 1, status);
  ASSERT_STATUS_OK(status);
  EXPECT_TRUE(std::filesystem::exists(folder() + "/home/.local/share/kov/registry.db"));

  // A file that is no hive refuses reads and writes alike.
  kov_test::set_env("NEV_REGISTRY", hive().c_str());
  std::ofstream(hive(), std::ios::binary) << std::string(8192, 'x');
  nev_get_reg_string_value(HKLM, u"Key", u"", u"Name", text, status);
  EXPECT_EQ(status.code(), NEV_E_REG_HIVE);
  EXPECT_EQ(status.argument(0, 0), nev_from_utf8(hive()));
  EXPECT_FALSE(status.argument(0, 1).empty());
  EXPECT_EQ(text, u"preset");
  nev_set_reg_uint_value(HKLM, u"Key", u"", u"Name", 1, status);
  EXPECT_EQ(status.code(), NEV_E_REG_HIVE);
  EXPECT_FALSE(nev_reg_key_exists(HKLM, u"Key", u""));
  Nev_hkey key = nullptr;
  EXPECT_EQ(nev_reg_open_key(HKLM, u"Key", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_ACCESS_DENIED);
}

TEST_F(Hive_test, NamedMachinesHaveHivesOfTheirOwn) {
  KOV_SKIP_ON_WINDOWS("named machines' hive files exist only on Linux; Windows connects through the network");
  Nev_status status;
  EXPECT_EQ(nev_connect_reg_root(u"", HKLM, status), HKLM);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(nev_connect_reg_root(u"far", HKLM, status), nullptr);
  EXPECT_EQ(status.code(), NEV_E_REG_NO_MACHINE);
  EXPECT_EQ(status.argument(0, 0), u"far");
  EXPECT_EQ(status.argument(0, 1), nev_from_utf8(machine_hive("far")));
  nev_connect_reg_root(u"../hive", HKLM, status);
  EXPECT_EQ(status.code(), NEV_E_REG_NO_MACHINE);

  // Give "far" a hive by writing through it as the local one, then come back.
  kov_test::set_env("NEV_REGISTRY", machine_hive("far").c_str());
  put(u"Where", u"", u"far");
  kov_test::set_env("NEV_REGISTRY", hive().c_str());
  put(u"Where", u"", u"here");

  const Nev_hkey root = nev_connect_reg_root(u"\\\\far", HKLM, status);
  ASSERT_STATUS_OK(status);
  EXPECT_EQ(text_of(root, u"Where", u""), u"far");
  nev_set_reg_uint_value(root, u"Where", u"", u"Count", 3, status);
  EXPECT_STATUS_OK(status);
  std::uint32_t number = 0;
  nev_get_reg_uint_value(HKLM, u"Where", u"", u"Count", number, status);
  EXPECT_EQ(status.code(), NEV_E_REG_VALUE_NOT_FOUND);
  nev_get_reg_uint_value(root, u"Missing", u"", u"Count", number, status);
  EXPECT_EQ(status.argument(0, 0), u"\\\\far\\HKEY_LOCAL_MACHINE\\Missing");

  // One batch may not span two machines.
  std::vector<Nev_reg_change> changes(2);
  changes[0].root = root;
  changes[1].root = HKLM;
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
  put(u"Batch\\Old", u"v", 1u);
  auto change = [](Nev_reg_change::Kind kind, const std::u16string& key, const std::u16string& name) {
    return Nev_reg_change{kind, HKLM, key, Nev_reg_value{name, NEV_REG_BINARY, {1}}};
  };
  // Missing things to delete are no failure; a failing last change undoes the rest.
  std::vector<Nev_reg_change> changes = {change(Nev_reg_change::DELETE_TREE, u"Batch\\Old", u""),
                                         change(Nev_reg_change::SET_VALUE, u"Batch\\New", u"v"),
                                         change(Nev_reg_change::DELETE_VALUE, u"Batch\\Nowhere", u"v"),
                                         change(Nev_reg_change::SET_VALUE, u"Batch\\New", std::u16string(16384, u'x'))};
  Nev_status status;
  nev_apply_reg_changes(changes, status);
  EXPECT_EQ(status.code(), NEV_E_REG_NAME_TOO_LONG);
  EXPECT_EQ(subkeys(HKLM, u"Batch"), Names{u"Old"});

  changes.back() = change(Nev_reg_change::DELETE_TREE, u"", u"");  // fails inside the transaction
  nev_apply_reg_changes(changes, status);
  EXPECT_EQ(status.code(), NEV_E_INVALID_ARGUMENT);
  EXPECT_EQ(subkeys(HKLM, u"Batch"), Names{u"Old"});

  changes.pop_back();
  nev_apply_reg_changes(changes, status);
  EXPECT_STATUS_OK(status);
  EXPECT_EQ(subkeys(HKLM, u"Batch"), Names{u"New"});
}

// ---- the value enumeration with caller-sized buffers -----------------------------

TEST_F(Hive_test, ValueEnumerationFollowsTheBufferTable) {
  // "Name" is written before the key has a default value, so the default
  // value comes second; "Name" has 10 bytes of data, the default 16, "Long" 1202.
  put(u"Enum", u"Name", u"text");
  put(u"Enum", u"", u"default");
  put(u"Enum", u"Long", std::u16string(600, u'x'));
  Nev_hkey key = nullptr;
  ASSERT_EQ(nev_reg_open_key(HKLM, u"enum", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_SUCCESS);

  constexpr std::uint32_t UNSET = 0xEEEEEEEE;
  const Bytes untouched(10, 0xAA);
  const Bytes text = {'t', 0, 'e', 0, 'x', 0, 't', 0, 0, 0};
  const struct {
    const char* what;
    std::uint32_t index, name_capacity, data_capacity;
    bool data_buffer, data_counter;  // whether each is passed
    long result;
    std::uint32_t name_count, data_count, type;
    std::u16string name;  // the units written to the name buffer, "#" for none
    Bytes data;           // the first 10 bytes of the data buffer
  } rows[] = {
      {"name too small", 0, 4, 64, true, true, NEV_ERROR_MORE_DATA, 4, 10, NEV_REG_SZ, u"#", untouched},
      {"data too small", 0, 5, 9, true, true, NEV_ERROR_MORE_DATA, 4, 10, NEV_REG_SZ, {u"Name\0", 5}, untouched},
      {"both fit exactly", 0, 5, 10, true, true, NEV_ERROR_SUCCESS, 4, 10, NEV_REG_SZ, {u"Name\0", 5}, text},
      {"no data asked", 0, 64, 0, false, false, NEV_ERROR_SUCCESS, 4, 0, NEV_REG_SZ, {u"Name\0", 5}, untouched},
      {"data size alone", 0, 64, 0, false, true, NEV_ERROR_SUCCESS, 4, 10, NEV_REG_SZ, {u"Name\0", 5}, untouched},
      {"the default second",
       1,
       64,
       64,
       true,
       true,
       NEV_ERROR_SUCCESS,
       0,
       16,
       NEV_REG_SZ,
       {u"\0", 1},
       {'d', 0, 'e', 0, 'f', 0, 'a', 0, 'u', 0}},
      {"long data last", 2, 64, 64, true, true, NEV_ERROR_MORE_DATA, 4, 1202, NEV_REG_SZ, {u"Long\0", 5}, untouched},
      {"past the end", 3, 64, 64, true, true, NEV_ERROR_NO_MORE_ITEMS, 64, 64, UNSET, u"#", untouched},
  };
  // The rows count the values in creation order; the system's registry
  // enumerates in an order of its own (Wine's is alphabetical), so each
  // row's value is looked up by its name first.
  const std::u16string created[] = {u"Name", u"", u"Long"};
  const auto enum_index = [&](std::uint32_t row_index) {
    if (row_index >= std::size(created)) return row_index;
    for (std::uint32_t i = 0;; ++i) {
      char16_t found[64];
      std::uint32_t found_count = 64;
      const long result = nev_reg_enum_value(key, i, found, &found_count, nullptr, nullptr, nullptr, nullptr);
      if (result == NEV_ERROR_NO_MORE_ITEMS) return row_index;
      if (result == NEV_ERROR_SUCCESS && std::u16string(found, found_count) == created[row_index]) return i;
    }
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    char16_t name[64];
    std::uint8_t data[64];
    std::fill(std::begin(name), std::end(name), u'#');
    std::fill(std::begin(data), std::end(data), 0xAA);
    std::uint32_t name_count = row.name_capacity;
    std::uint32_t data_count = row.data_capacity;
    std::uint32_t type = UNSET;
    EXPECT_EQ(nev_reg_enum_value(key, enum_index(row.index), name, &name_count, nullptr, &type, row.data_buffer ? data : nullptr,
                                 row.data_counter ? &data_count : nullptr),
              row.result);
    EXPECT_EQ(name_count, row.name_count);
    EXPECT_EQ(data_count, row.data_count);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(std::u16string(name, row.name.size()), row.name);
    EXPECT_EQ(Bytes(data, data + 10), row.data);
  }

  char16_t name[8];
  std::uint32_t name_count = 8;
  EXPECT_EQ(nev_reg_close_key(key), NEV_ERROR_SUCCESS);
  EXPECT_EQ(nev_reg_enum_value(key, 0, name, &name_count, nullptr, nullptr, nullptr, nullptr),
            NEV_ERROR_INVALID_HANDLE);
  EXPECT_EQ(nev_reg_close_key(key), NEV_ERROR_INVALID_HANDLE);
  EXPECT_EQ(nev_reg_open_key(HKLM, u"Enum\\Missing", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_FILE_NOT_FOUND);
}
