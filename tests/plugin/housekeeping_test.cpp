// Tidying the library cache and listing the plug-ins of a type.
#include <cstdlib>

#include "kov/codes.h"
#include "kov/wstring.h"
#include "nev/codes.h"
#include "nev/registry.h"
#include "plugin_test_support.h"
#include "sample_types.h"

namespace {

using namespace plugin_test;
using kovsample::TALLY_TYPE;

using Housekeeping = Sample_hive;

TEST_F(Housekeeping, TidyAsksEveryLibraryInPathOrderAndUnloadsThoseThatMayGo) {
  EXPECT_EQ(tidy().code(), 0u);  // empty cache
  create(u"TallyC", TALLY_TYPE);
  create(u"TallyA", TALLY_TYPE);
  gan::Gan_base* held = nullptr;
  nev::Nev_status status;
  kov::kov_plugin_create_instance(u"TallyB", TALLY_TYPE, 0x20001, 0x10000, held, status);
  ASSERT_NE(held, nullptr);
  // While its object lives a library refuses to go.
  EXPECT_EQ(tidy().code(), 0u);
  EXPECT_EQ(events("ask"), (std::vector<std::string>{"ask-yes tally_a", "ask-no tally_b", "ask-yes tally_c"}));
  EXPECT_EQ(count_events("unload tally_a") + count_events("unload tally_c"), 2);
  // Ending the object leaves the library loaded until the next tidying.
  kov::Kov_plugin_deallocator().deallocate(held);
  EXPECT_EQ(count_events("unload tally_b"), 0);
  EXPECT_EQ(tidy().code(), 0u);
  EXPECT_EQ(events("ask").size(), 4u);
  EXPECT_EQ(events("ask").back(), "ask-yes tally_b");
  EXPECT_EQ(count_events("unload tally_b"), 1);
}

TEST_F(Housekeeping, LibraryToldToStayIsKeptWithoutObjects) {
  ::setenv("KOVSAMPLE_REFUSE_UNLOAD", "tally_b", 1);
  create(u"TallyA", TALLY_TYPE);
  create(u"TallyB", TALLY_TYPE);
  tidy();
  EXPECT_EQ(tidy().code(), 0u);
  EXPECT_EQ(events("ask"), (std::vector<std::string>{"ask-yes tally_a", "ask-no tally_b", "ask-no tally_b"}));
  // Still cached: a new object loads nothing.
  EXPECT_TRUE(create(u"TallyB", TALLY_TYPE).created);
  EXPECT_EQ(count_events("load tally_b"), 1);
}

TEST_F(Housekeeping, LibraryWithoutTheUnloadEntryEndsTheWalk) {
  // Path order: no_factory, no_unload, shapes.
  create(u"Shapes", kovsample::CIRCLE_TYPE);
  create(u"NoUnload", kovsample::INCOMPLETE_TYPE);
  create(u"NoFactory", kovsample::INCOMPLETE_TYPE);  // fails, but stays cached
  expect_stack(tidy(), {{kov::KOV_E_TIDY_LIBRARY, {wide(NO_UNLOAD_PATH)}},
                        {nev::NEV_E_FUNCTION_NOT_FOUND, {u"gan_can_unload_now", u"*"}}});
  // The failing entry stays and fails again; shapes is never reached.
  EXPECT_EQ(tidy().code(), kov::KOV_E_TIDY_LIBRARY);
  EXPECT_EQ(events("ask"), std::vector<std::string>{"ask-yes no_factory"});
  EXPECT_EQ(count_events("unload no_factory"), 1);
  EXPECT_EQ(count_events("load no_unload"), 1);
  EXPECT_EQ(count_events("unload shapes"), 0);
}

TEST_F(Housekeeping, EnumerateListsThePlugInsOfferingAType) {
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_object_vector<std::u16string> display_names;
  nev::Nev_status status;
  // Both lists as "name=display name" lines; they must be of one length.
  auto list = [&](const _GUID& type) {
    names.push_back(new std::u16string(u"old"));
    kov::kov_plugin_enumerate(type, names, display_names, status);
    std::vector<std::u16string> result;
    EXPECT_EQ(names.size(), display_names.size());
    for (std::size_t i = 0; i < names.size() && i < display_names.size(); ++i)
      result.push_back(names[i] + u"=" + display_names[i]);
    return result;
  };
  using Lines = std::vector<std::u16string>;
  EXPECT_EQ(list(TALLY_TYPE), (Lines{u"TallyA=Sample tally a", u"TallyB=Sample tally b", u"TallyC=Sample tally c"}));
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(list(kovsample::SQUARE_TYPE), Lines{u"Shapes=Sample square"});
  EXPECT_EQ(list(kov::Kov_wstring::TYPE), Lines{});  // nobody offers it
  EXPECT_EQ(status.code(), 0u);
  // Type keys match without regard to case.
  std::u16string lower = type_text(kovsample::CIRCLE_TYPE);
  for (char16_t& unit : lower)
    if (unit >= u'A' && unit <= u'F') unit = static_cast<char16_t>(unit - u'A' + u'a');
  set_string(kov::PLUGIN_ROOT_KEY + (u"\\Rings\\" + lower), u"DisplayName", u"Lower-case rings");
  EXPECT_EQ(list(kovsample::CIRCLE_TYPE), (Lines{u"Rings=Lower-case rings", u"Shapes=Sample circle"}));
  EXPECT_EQ(status.code(), 0u);
  EXPECT_TRUE(events().empty());  // nothing was loaded
  // A missing display name ends the listing ("Abacus" comes first).
  set_string(plugin_key(u"Abacus", TALLY_TYPE), u"ImagePath", wide(TALLY_A_PATH));
  EXPECT_EQ(list(TALLY_TYPE), Lines{u"Abacus="});
  EXPECT_EQ(status.code(), nev::NEV_E_REG_VALUE_NOT_FOUND);
  // Without the plug-in root: a failure and empty lists.
  nev::nev_delete_reg_tree(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, status);
  ASSERT_TRUE(status.ok());
  EXPECT_EQ(list(TALLY_TYPE), Lines{});
  EXPECT_FALSE(status.ok());
}

}  // namespace
