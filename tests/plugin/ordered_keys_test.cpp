// Ordered registry keys and registry paths.
#include "kov/ordered_keys.h"
#include "nev/registry.h"
#include "nev/strings.h"
#include "plugin_test_support.h"

namespace {

using namespace plugin_test;
using Texts = std::vector<std::u16string>;
const nev::Nev_hkey HKLM = nev::NEV_HKEY_LOCAL_MACHINE;
const std::u16string PARENT = u"SOFTWARE\\Order\\Parent";

nev::Nev_object_vector<std::u16string> vector_of(const Texts& names) {
  nev::Nev_object_vector<std::u16string> result;
  for (const std::u16string& name : names) result.push_back(new std::u16string(name));
  return result;
}

// The keys below `parent` in order; the list starts with a left-over name,
// which the reading must replace.
Texts read(nev::Nev_status& status, const std::u16string& parent = PARENT) {
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
}

TEST_F(Ordered_keys, WithoutAnOrderValueAllSubkeysComeInRegistryOrder) {
  nev::Nev_status status;
  EXPECT_EQ(read(status), (Texts{u"a", u"b", u"c"}));
  EXPECT_EQ(status.code(), 0u);
  // A key that does not exist: the plain enumeration's failure, and the old
  // content is gone.
  EXPECT_EQ(read(status, u"SOFTWARE\\Order\\Missing"), Texts{});
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
    EXPECT_EQ(read(status), expected) << nev::nev_to_utf8(stored);
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
  EXPECT_EQ(read(status), Texts{u"a"});
}

}  // namespace
