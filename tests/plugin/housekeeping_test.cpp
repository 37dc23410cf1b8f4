// Tidying the library cache and listing the plug-ins of a type.
#include <cstdlib>

#include "kov/codes.h"
#include "kov/plugin.h"
#include "kov/wstring.h"
#include "nev/codes.h"
#include "nev/registry.h"
#include "plugin_test_support.h"
#include "sample_types.h"

namespace {

using namespace plugin_test;
using kovsample::TALLY_TYPE;

class Housekeeping : public Sample_hive {
 protected:
  // Creates an object; the caller ends it.
  static gan::Gan_base* make(const std::u16string& plugin, const _GUID& type) {
    gan::Gan_base* object = nullptr;
    nev::Nev_status status;
    kov::kov_plugin_create_instance(plugin, type, 0, 0, object, status);
    return object;
  }
  // Loads the plug-in's library and ends the object at once.
  static void load(const std::u16string& plugin, const _GUID& type) {
    if (gan::Gan_base* object = make(plugin, type)) kov::Kov_plugin_deallocator().deallocate(object);
  }
  // The "ask" events in the order they happened.
  static std::vector<std::string> asks() {
    std::vector<std::string> result;
    for (const std::string& event : events())
      if (event.rfind("ask", 0) == 0) result.push_back(event);
    return result;
  }
};

TEST_F(Housekeeping, TidyAsksEveryLibraryInPathOrderAndUnloadsThoseThatMayGo) {
  nev::Nev_status status;
  kov::kov_plugin_tidy_libraries(status);  // empty cache
  EXPECT_EQ(status.code(), 0u);

  load(u"TallyC", TALLY_TYPE);
  load(u"TallyA", TALLY_TYPE);
  gan::Gan_base* held = make(u"TallyB", TALLY_TYPE);
  ASSERT_NE(held, nullptr);
  kov::kov_plugin_tidy_libraries(status);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(asks(), (std::vector<std::string>{"ask-yes tally_a", "ask-no tally_b", "ask-yes tally_c"}));
  EXPECT_EQ(count_events("unload tally_a"), 1);
  EXPECT_EQ(count_events("unload tally_b"), 0);
  EXPECT_EQ(count_events("unload tally_c"), 1);

  // Only b is left; once its object has ended it goes too.
  kov::Kov_plugin_deallocator().deallocate(held);
  kov::kov_plugin_tidy_libraries(status);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(asks().size(), 4u);
  EXPECT_EQ(asks().back(), "ask-yes tally_b");
  EXPECT_EQ(count_events("unload tally_b"), 1);
}

TEST_F(Housekeeping, LibraryToldToStayIsKeptWithoutObjects) {
  ::setenv("KOVSAMPLE_REFUSE_UNLOAD", "tally_b", 1);
  load(u"TallyA", TALLY_TYPE);
  load(u"TallyB", TALLY_TYPE);
  nev::Nev_status status;
  kov::kov_plugin_tidy_libraries(status);
  kov::kov_plugin_tidy_libraries(status);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(asks(), (std::vector<std::string>{"ask-yes tally_a", "ask-no tally_b", "ask-no tally_b"}));
  // Still cached: a new object loads nothing.
  load(u"TallyB", TALLY_TYPE);
  EXPECT_EQ(count_events("load tally_b"), 1);
}

TEST_F(Housekeeping, LibraryOfSeveralTypeKeysIsUnloadedOnce) {
  load(u"Shapes", kovsample::CIRCLE_TYPE);
  load(u"Shapes", kovsample::SQUARE_TYPE);
  nev::Nev_status status;
  kov::kov_plugin_tidy_libraries(status);
  kov::kov_plugin_tidy_libraries(status);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(asks(), std::vector<std::string>{"ask-yes shapes"});
  EXPECT_EQ(count_events("unload shapes"), 1);
}

TEST_F(Housekeeping, LibraryWithoutTheUnloadEntryEndsTheWalk) {
  // Path order: no_factory, no_unload, shapes.
  load(u"Shapes", kovsample::CIRCLE_TYPE);
  load(u"NoUnload", kovsample::INCOMPLETE_TYPE);
  load(u"NoFactory", kovsample::INCOMPLETE_TYPE);  // fails, but stays cached
  nev::Nev_status status;
  kov::kov_plugin_tidy_libraries(status);
  expect_stack(status, {{kov::KOV_E_TIDY_LIBRARY, {wide(NO_UNLOAD_PATH)}},
                        {nev::NEV_E_FUNCTION_NOT_FOUND, {u"gan_can_unload_now", u"*"}}});
  EXPECT_EQ(asks(), std::vector<std::string>{"ask-yes no_factory"});
  EXPECT_EQ(count_events("unload no_factory"), 1);
  EXPECT_EQ(count_events("unload shapes"), 0);
  // The failing entry stays and fails again; shapes is never reached.
  kov::kov_plugin_tidy_libraries(status);
  EXPECT_EQ(status.code(), kov::KOV_E_TIDY_LIBRARY);
  EXPECT_EQ(count_events("load no_unload"), 1);
  EXPECT_EQ(asks().size(), 1u);
}

TEST_F(Housekeeping, EnumerateListsThePlugInsOfferingAType) {
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_object_vector<std::u16string> display_names;
  names.push_back(new std::u16string(u"old"));
  nev::Nev_status status;
  kov::kov_plugin_enumerate(TALLY_TYPE, names, display_names, status);
  EXPECT_EQ(status.code(), 0u);
  ASSERT_EQ(names.size(), 3u);
  ASSERT_EQ(display_names.size(), 3u);
  const char16_t* expected_names[] = {u"TallyA", u"TallyB", u"TallyC"};
  const char16_t* expected_display[] = {u"Sample tally a", u"Sample tally b", u"Sample tally c"};
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_EQ(names[i], expected_names[i]);
    EXPECT_EQ(display_names[i], expected_display[i]);
  }
  kov::kov_plugin_enumerate(kovsample::SQUARE_TYPE, names, display_names, status);
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0], u"Shapes");
  EXPECT_EQ(display_names[0], u"Sample square");
  // Nobody offers this one.
  kov::kov_plugin_enumerate(kov::Kov_wstring::TYPE, names, display_names, status);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_TRUE(names.empty());
  EXPECT_TRUE(display_names.empty());
  // Nothing was loaded.
  EXPECT_TRUE(events().empty());
}

TEST_F(Housekeeping, EnumerateMatchesTypeKeysWithoutRegardToCase) {
  std::u16string lower = type_text(kovsample::CIRCLE_TYPE);
  for (char16_t& unit : lower)
    if (unit >= u'A' && unit <= u'F') unit = static_cast<char16_t>(unit - u'A' + u'a');
  set_plugin_string(u"Rings\\" + lower, u"DisplayName", u"Lower-case rings");
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_object_vector<std::u16string> display_names;
  nev::Nev_status status;
  kov::kov_plugin_enumerate(kovsample::CIRCLE_TYPE, names, display_names, status);
  EXPECT_EQ(status.code(), 0u);
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], u"Rings");
  EXPECT_EQ(display_names[0], u"Lower-case rings");
  EXPECT_EQ(names[1], u"Shapes");
}

TEST_F(Housekeeping, EnumerateStopsAtAMissingDisplayName) {
  // "Abacus" comes first and has no display name.
  set_plugin_string(u"Abacus\\" + type_text(TALLY_TYPE), u"ImagePath", wide(TALLY_A_PATH));
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_object_vector<std::u16string> display_names;
  nev::Nev_status status;
  kov::kov_plugin_enumerate(TALLY_TYPE, names, display_names, status);
  EXPECT_EQ(status.code(), nev::NEV_E_REG_VALUE_NOT_FOUND);
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0], u"Abacus");
  ASSERT_EQ(display_names.size(), 1u);
  EXPECT_EQ(display_names[0], u"");
}

TEST_F(Housekeeping, EnumerateWithoutThePlugInRootFailsWithEmptyLists) {
  nev::Nev_status status;
  nev::nev_delete_reg_tree(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, status);
  ASSERT_TRUE(status.ok());
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_object_vector<std::u16string> display_names;
  names.push_back(new std::u16string(u"old name"));
  display_names.push_back(new std::u16string(u"old display name"));
  kov::kov_plugin_enumerate(TALLY_TYPE, names, display_names, status);
  EXPECT_FALSE(status.ok());
  EXPECT_TRUE(names.empty());
  EXPECT_TRUE(display_names.empty());
}

}  // namespace
