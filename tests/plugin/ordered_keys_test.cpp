// Ordered registry keys and registry paths.
#include "kov/ordered_keys.h"
#include "nev/registry.h"
#include "nev/strings.h"
#include "plugin_test_support.h"

namespace {

using namespace plugin_test;
const nev::Nev_hkey HKLM = nev::NEV_HKEY_LOCAL_MACHINE;
const std::u16string PARENT = u"SOFTWARE\\Order\\Parent";

std::vector<std::u16string> texts(const nev::Nev_object_vector<std::u16string>& keys) {
  std::vector<std::u16string> result;
  for (const std::u16string* key : keys) result.push_back(*key);
  return result;
}

nev::Nev_object_vector<std::u16string> vector_of(const std::vector<std::u16string>& names) {
  nev::Nev_object_vector<std::u16string> result;
  for (const std::u16string& name : names) result.push_back(new std::u16string(name));
  return result;
}

class Ordered_keys : public Fresh_hive {
 protected:
  void SetUp() override {
    Fresh_hive::SetUp();
    nev::Nev_status status;
    for (const char16_t* name : {u"c", u"a", u"b"}) {
      nev::nev_create_reg_key(HKLM, PARENT + u"\\" + name, status);
      ASSERT_TRUE(status.ok());
    }
  }
  static void write_order(const std::u16string& text) {
    nev::Nev_status status;
    nev::nev_set_reg_string_value(HKLM, PARENT, u"", kov::kov_order_value_name(), text, status);
    ASSERT_TRUE(status.ok());
  }
  static std::vector<std::u16string> read(nev::Nev_status& status) {
    auto keys = vector_of({u"left over"});
    kov::kov_enum_reg_keys_in_order(HKLM, PARENT, keys, status);
    return texts(keys);
  }
};

TEST(Paths, ArePlainConcatenationWithBackslashes) {
  struct Case {
    const char16_t* first;
    const char16_t* second;
    const char16_t* third;
    const char16_t* path;
  };
  const Case cases[] = {
      {u"a", u"b", u"", u"a\\b"},       {u"a", u"b", u"c", u"a\\b\\c"},      {u"a", u"", u"c", u"a\\\\c"},
      {u"", u"", u"", u"\\"},           {u"a\\", u"b", u"", u"a\\\\b"},      {u"", u"b", u"c", u"\\b\\c"},
      {u"a", u"b\\", u"c\\", u"a\\b\\\\c\\"},
  };
  for (const Case& c : cases) EXPECT_EQ(kov::kov_make_path(c.first, c.second, c.third), c.path);
  EXPECT_EQ(kov::kov_order_value_name(), u"{d768ad40-092e-11d3-9977-0090271916d9}");
  EXPECT_EQ(&kov::kov_order_value_name(), &kov::kov_order_value_name());
}

TEST_F(Ordered_keys, WithoutAnOrderValueAllSubkeysComeInRegistryOrder) {
  nev::Nev_status status;
  EXPECT_EQ(read(status), (std::vector<std::u16string>{u"a", u"b", u"c"}));
  EXPECT_EQ(status.code(), 0u);
  // A key that does not exist: the plain enumeration's failure, and the old
  // content is gone.
  auto keys = vector_of({u"left over"});
  kov::kov_enum_reg_keys_in_order(HKLM, u"SOFTWARE\\Order\\Missing", keys, status);
  EXPECT_FALSE(status.ok());
  EXPECT_TRUE(keys.empty());
}

TEST_F(Ordered_keys, TheOrderValueIsTheWholeList) {
  struct Case {
    const char16_t* stored;
    std::vector<std::u16string> expected;
  };
  const Case cases[] = {
      {u"b;a", {u"b", u"a"}},                   // c is not named, so not returned
      {u"a;gone;b", {u"a", u"b"}},              // a vanished subkey is dropped
      {u"gone;lost;c;x;y", {u"c"}},              // neighbours that are both gone
      {u"gone;lost", {}},                        // nothing left, still no fallback
      {u"", {}},                                 // an empty value is a list too
      {u"a;b;a", {u"a", u"b", u"a"}},            // a name twice comes twice
      {u"C;A", {u"C", u"A"}},                    // names kept as stored
  };
  for (const Case& c : cases) {
    write_order(c.stored);
    nev::Nev_status status;
    EXPECT_EQ(read(status), c.expected) << nev::nev_to_utf8(c.stored);
    EXPECT_EQ(status.code(), 0u);
  }
}

TEST_F(Ordered_keys, WritingJoinsTheNamesAsGiven) {
  struct Case {
    std::vector<std::u16string> names;
    const char16_t* stored;
  };
  const Case cases[] = {
      {{u"c", u"a"}, u"c;a"},           {{}, u""},  {{u"", u"a"}, u"a"}, {{u"a", u"", u"b"}, u"a;;b"},
      {{u"gone", u"a"}, u"gone;a"},
  };
  for (const Case& c : cases) {
    nev::Nev_status status;
    kov::kov_set_reg_keys_order(HKLM, PARENT, vector_of(c.names), status);
    ASSERT_TRUE(status.ok());
    std::u16string stored = u"unset";
    nev::nev_get_reg_string_value(HKLM, PARENT, u"", kov::kov_order_value_name(), stored, status);
    EXPECT_TRUE(status.ok());
    EXPECT_EQ(stored, c.stored);
  }
  // The last order written is what a reader gets.
  nev::Nev_status status;
  EXPECT_EQ(read(status), std::vector<std::u16string>{u"a"});
}

}  // namespace
