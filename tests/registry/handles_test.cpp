// Registry handles and paths at the edges every platform shares: a handle
// whose key was deleted stays dead, and paths deeper than the limit are
// refused before anything is written.
#include <functional>
#include <string>
#include <vector>

#include "hive_fixture.h"
#include "nev/codes.h"
#include "nev/registry.h"

using namespace nev;

namespace {

// A path of `levels` keys named "L".
std::u16string deep_path(int levels) {
  std::u16string path = u"L";
  for (int i = 1; i < levels; ++i) path += u"\\L";
  return path;
}


TEST_F(Hive_test, AHandleToADeletedKeyFailsAndNeverReachesAnotherKey) {
  put(u"Software\\A", u"mine", 1u);
  Nev_hkey key = nullptr;
  ASSERT_EQ(nev_reg_open_key(HKLM, u"Software\\A", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_SUCCESS);
  Nev_status status;
  nev_delete_reg_tree(HKLM, u"Software\\A", status);
  ASSERT_STATUS_OK(status);
  put(u"Software\\Secret", u"password", u"hunter2");
  put(u"Software\\A", u"mine", 2u);  // the same name again is another key

  char16_t name[64];
  std::uint32_t name_count = 64;
  std::uint32_t type = 0;
  std::uint8_t data[64];
  std::uint32_t data_count = sizeof data;
  EXPECT_EQ(nev_reg_enum_value(key, 0, name, &name_count, nullptr, &type, data, &data_count), NEV_ERROR_KEY_DELETED);
  Nev_hkey below = nullptr;
  EXPECT_EQ(nev_reg_open_key(key, u"", 0, NEV_KEY_QUERY_VALUE, &below), NEV_ERROR_KEY_DELETED);
  EXPECT_FALSE(nev_reg_key_exists(key, u"", u""));

  std::vector<Nev_reg_value> values;
  std::uint32_t number = 0;
  Nev_object_vector<std::u16string> names;
  const std::vector<std::function<void(Nev_status&)>> calls = {
      [&](Nev_status& s) { nev_enum_reg_values(key, u"", values, s); },
      [&](Nev_status& s) { nev_get_reg_uint_value(key, u"", u"", u"mine", number, s); },
      [&](Nev_status& s) { nev_enum_reg_keys(key, u"", u"", names, s); },
      [&](Nev_status& s) { nev_set_reg_uint_value(key, u"", u"", u"planted", 1, s); },
      [&](Nev_status& s) { nev_create_reg_key(key, u"Sub", s); },
      [&](Nev_status& s) { nev_delete_reg_value(key, u"", u"mine", s); },
      [&](Nev_status& s) {
        Nev_reg_change change = set_change(u"", u"planted", 1);
        change.root = key;
        nev_apply_reg_changes({change}, s);
      },
  };
  for (std::size_t i = 0; i < calls.size(); ++i) {
    calls[i](status);
    EXPECT_EQ(status.code(), NEV_E_REG_KEY_DELETED) << i << ": " << nev_to_utf8(nev_status_text(status));
    EXPECT_EQ(status.argument(0, 0), u"HKEY_LOCAL_MACHINE\\Software\\A") << i;
  }
  EXPECT_EQ(number_of(u"Software\\A", u"mine"), 2u);
  nev_enum_reg_values(HKLM, u"Software\\Secret", values, status);
  EXPECT_EQ(values.size(), 1u);
  EXPECT_EQ(nev_reg_close_key(key), NEV_ERROR_SUCCESS);
}

TEST_F(Hive_test, PathsDeeperThan512LevelsAreRefused) {
  Nev_status status;
  nev_create_reg_key(HKLM, deep_path(512), status);
  ASSERT_STATUS_OK(status);
  Nev_hkey key = nullptr;
  ASSERT_EQ(nev_reg_open_key(HKLM, deep_path(500), 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_SUCCESS);
  const std::vector<std::function<void(Nev_status&)>> calls = {
      [](Nev_status& s) { nev_create_reg_key(HKLM, deep_path(513), s); },
      [](Nev_status& s) { nev_set_reg_uint_value(HKLM, deep_path(600), u"", u"n", 1, s); },
      [&](Nev_status& s) { nev_create_reg_key(key, deep_path(13), s); },
      [](Nev_status& s) { nev_apply_reg_changes({set_change(u"Fine", u"n", 1), set_change(deep_path(513), u"n", 1)}, s); },
      [](Nev_status& s) {
        std::vector<Nev_reg_value> values;
        nev_enum_reg_values(HKLM, deep_path(100000), values, s);
      },
  };
  const std::u16string levels[] = {u"513", u"600", u"513", u"513", u"100000"};
  for (std::size_t i = 0; i < calls.size(); ++i) {
    calls[i](status);
    EXPECT_EQ(status.code(), NEV_E_REG_PATH_TOO_DEEP) << i << ": " << nev_to_utf8(nev_status_text(status));
    EXPECT_EQ(status.argument(0, 1), levels[i]) << i;
    EXPECT_EQ(status.argument(0, 2), u"512") << i;
    EXPECT_LE(status.argument(0, 0).size(), 300u) << i;
  }
  nev_create_reg_key(key, deep_path(12), status);
  EXPECT_STATUS_OK(status);
  EXPECT_FALSE(nev_reg_key_exists(HKLM, u"Fine", u""));
  nev_reg_close_key(key);
}

}  // namespace
