// Creating plug-in objects (the registry reads, the version tests in their
// order, the library cache, every failure with its status stack), tidying
// the cache and listing the plug-ins of a type.
#include "portable.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include "test_platform.h"
#include "kov/codes.h"
#include "kov/wstring.h"
#include "nev/codes.h"
#include "nev/library.h"
#include "nev/registry.h"
#include "plugin_test_support.h"
#include "sample_types.h"

namespace {

using namespace plugin_test;
using namespace kovsample;
const std::u16string SHAPES = wide(SHAPES_PATH);
const Frame TOP{kov::KOV_E_CREATE_INSTANCE, {u"Shapes"}};

using Creation = Sample_hive;

TEST_F(Creation, CacheIsKeyedByThePathTextExactly) {
  // Two types of one library, and a second plug-in name with the identical
  // path, share one entry. Being cached, the library is neither tested nor
  // loaded again: "Circles" has no library version.
  set_string(plugin_key(u"Circles", CIRCLE_TYPE), u"ImagePath", SHAPES);
  const Outcome circle = create(u"Shapes", CIRCLE_TYPE, 0x10000, 0x10002);
  EXPECT_TRUE(circle.status.ok());
  EXPECT_EQ(circle.description, u"a circle");
  EXPECT_EQ(create(u"Shapes", SQUARE_TYPE).description, u"a square");
  EXPECT_EQ(create(u"Circles", CIRCLE_TYPE).description, u"a circle");
  EXPECT_EQ(count_events("load shapes"), 1);
  EXPECT_EQ(count_events("create shapes"), 3);
  // The same file name in another case is another path: a copy of the
  // library, loaded on its own.
#ifdef _WIN32
  GTEST_SKIP() << "the rest needs two files whose names differ in case only, which Windows takes for one";
#endif
  for (const auto& [plugin, name] : {std::pair{u"Lower", "shapes.so"}, std::pair{u"Upper", "SHAPES.so"}}) {
    std::filesystem::copy_file(SHAPES_PATH, work_dir() + "/" + name);
    set_string(plugin_key(plugin, SQUARE_TYPE), u"ImagePath", wide(work_dir() + "/" + name));
    set_uint(plugin_key(plugin, SQUARE_TYPE), u"LibraryVersion", 0x40000);
  }
  for (const char16_t* plugin : {u"Lower", u"Upper", u"Lower"}) EXPECT_TRUE(create(plugin, SQUARE_TYPE).created);
  EXPECT_EQ(count_events("load shapes"), 3);
  // Three entries: each is asked and unloaded once, and then they are gone.
  EXPECT_TRUE(tidy().ok());
  EXPECT_TRUE(tidy().ok());
  EXPECT_EQ(events("ask"), std::vector<std::string>(3, "ask-yes shapes"));
  EXPECT_EQ(count_events("unload shapes"), 3);
  // After an unload the library version is read again.
  expect_stack(create(u"Circles", CIRCLE_TYPE).status, {{kov::KOV_E_CREATE_INSTANCE, {u"Circles"}},
                                                        {nev::NEV_E_REG_VALUE_NOT_FOUND, {u"*", u"LibraryVersion"}}});
  EXPECT_TRUE(create(u"Shapes", CIRCLE_TYPE).created);
  EXPECT_EQ(count_events("load shapes"), 4);
}

TEST_F(Creation, VersionRuleIsAppliedInterfaceThenImplementationThenLibrary) {
  struct Case {
    std::uint32_t interface_version, implementation_version, library_version;  // the last one registered
    const char16_t* requested;  // major halves named by the failure; null when created
    const char16_t* registered;
  };
  const Case cases[] = {
      {0x10000, 0x10002, 0x40000, nullptr, nullptr},  // all equal
      {0x10005, 0x10002, 0x40000, nullptr, nullptr},  // minor halves differ
      {0x10000, 0x10009, 0x40000, nullptr, nullptr},
      {0x10000, 0x10002, 0x40007, nullptr, nullptr},
      {0x20000, 0x90000, 0x10000, u"2", u"1"},  // the interface fails first
      {0x10000, 0x00002, 0x10000, u"0", u"1"},  // then the implementation
      {0, 0, 0x30000, u"4", u"3"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    set_uint(plugin_key(u"Shapes", CIRCLE_TYPE), u"LibraryVersion", c.library_version);
    const Outcome outcome = create(u"Shapes", CIRCLE_TYPE, c.interface_version, c.implementation_version);
    EXPECT_EQ(outcome.created, c.requested == nullptr);
    if (c.requested == nullptr) {
      EXPECT_TRUE(outcome.status.ok());
      EXPECT_TRUE(tidy().ok());  // so that the next case tests the library version anew
    } else {
      expect_stack(outcome.status, {TOP, {kov::KOV_E_MAJOR_VERSION, {u"Shapes", c.requested, c.registered}}});
    }
  }
  // Nothing was loaded for the failed cases.
  EXPECT_EQ(count_events("load shapes"), 4);
  // Versions of 0 read no version values; asking for one reads it.
  set_uint(plugin_key(u"Shapes", CIRCLE_TYPE), u"LibraryVersion", 0x40000);
  delete_value(plugin_key(u"Shapes", CIRCLE_TYPE), u"InterfaceVersion");
  delete_value(plugin_key(u"Shapes", CIRCLE_TYPE), u"ImplementationVersion");
  EXPECT_TRUE(create(u"Shapes", CIRCLE_TYPE).created);
  expect_stack(create(u"Shapes", CIRCLE_TYPE, 0, 0x10002).status,
               {TOP, {nev::NEV_E_REG_VALUE_NOT_FOUND, {u"*", u"ImplementationVersion"}}});
}

TEST_F(Creation, FailuresStandBelowTheCreationCode) {
  const std::string missing = work_dir() + "/missing.so";
  const std::string text_file = work_dir() + "/not-a-library.so";
  std::ofstream(text_file) << "plain text, no library\n";
  for (const auto& [plugin, path] : {std::pair{u"Missing", missing}, std::pair{u"Text", text_file}}) {
    set_string(plugin_key(plugin, CIRCLE_TYPE), u"ImagePath", wide(path));
    set_uint(plugin_key(plugin, CIRCLE_TYPE), u"LibraryVersion", 0x40000);
  }
  set_string(plugin_key(u"Pathless", CIRCLE_TYPE), u"DisplayName", u"no image path");
  _GUID unparsed{};  // a type text that did not parse is the all-zero identifier
  kov::kov_string_to_type(u"circle", unparsed);
  auto absent = [](const char16_t* plugin, const _GUID& type) {
    return Frame{nev::NEV_E_REG_KEY_NOT_FOUND, {u"HKEY_LOCAL_MACHINE\\Software\\Quorvane\\Plugins\\" +
                                                std::u16string(plugin) + u"\\" + type_text(type)}};
  };
  struct Case {
    const char16_t* plugin;
    _GUID type;
    Frame cause;
  };
  const Case cases[] = {
      {u"Nobody", CIRCLE_TYPE, absent(u"Nobody", CIRCLE_TYPE)},
      {u"Shapes", INCOMPLETE_TYPE, absent(u"Shapes", INCOMPLETE_TYPE)},
      {u"Shapes", unparsed, absent(u"Shapes", unparsed)},
      {u"Pathless", CIRCLE_TYPE, {nev::NEV_E_REG_VALUE_NOT_FOUND, {u"*", u"ImagePath"}}},
      {u"Missing", CIRCLE_TYPE, {nev::NEV_E_LIBRARY_LOAD, {wide(missing), u"*"}}},
      {u"Text", CIRCLE_TYPE, {nev::NEV_E_LIBRARY_LOAD, {wide(text_file), u"*"}}},
      {u"NoFactory", INCOMPLETE_TYPE, {nev::NEV_E_FUNCTION_NOT_FOUND, {u"gan_get_factory", u"*"}}},
      {u"Shapes", TRIANGLE_TYPE, {kov::KOV_E_NO_FACTORY, {u"Shapes", SHAPES}}},  // no factory for the type
      {u"Shapes", BLANK_TYPE, {kov::KOV_E_NO_INSTANCE, {}}},                   // the factory makes nothing
  };
  for (const Case& c : cases) {
    const Outcome outcome = create(c.plugin, c.type);
    EXPECT_FALSE(outcome.created);
    expect_stack(outcome.status, {{kov::KOV_E_CREATE_INSTANCE, {c.plugin}}, c.cause});
  }
  // Libraries that loaded stay cached after a later failure; those that did
  // not load were not cached, so tidying asks only the two that did.
  EXPECT_TRUE(create(u"Shapes", CIRCLE_TYPE).created);
  EXPECT_EQ(count_events("load shapes"), 1);
  EXPECT_TRUE(tidy().ok());
  EXPECT_EQ(events("ask"), (std::vector<std::string>{"ask-yes no_factory", "ask-yes shapes"}));
  EXPECT_EQ(events("unload"), (std::vector<std::string>{"unload no_factory", "unload shapes"}));
}

// Tidying the library cache and listing the plug-ins of a type.
using Housekeeping = Sample_hive;
using HousekeepingAlone = Sample_hive;

TEST_F(Housekeeping, TidyAsksEveryLibraryInPathOrderAndUnloadsThoseThatMayGo) {
  EXPECT_EQ(tidy().code(), 0u);  // empty cache
  kov_test::set_env("KOVSAMPLE_REFUSE_UNLOAD", "tally_a");
  create(u"TallyC", TALLY_TYPE);
  create(u"TallyA", TALLY_TYPE);
  gan::Gan_base* held = nullptr;
  nev::Nev_status status;
  kov::kov_plugin_create_instance(u"TallyB", TALLY_TYPE, 0x20001, 0x10000, held, status);
  ASSERT_NE(held, nullptr);
  // While its object lives a library refuses to go; tally_a always does.
  EXPECT_EQ(tidy().code(), 0u);
  EXPECT_EQ(events("ask"), (std::vector<std::string>{"ask-no tally_a", "ask-no tally_b", "ask-yes tally_c"}));
  EXPECT_EQ(events("unload"), std::vector<std::string>{"unload tally_c"});
  // Ending the object leaves the library loaded until the next tidying.
  kov::Kov_plugin_deallocator().deallocate(held);
  EXPECT_EQ(count_events("unload tally_b"), 0);
  EXPECT_EQ(tidy().code(), 0u);
  EXPECT_EQ(events("ask").size(), 5u);
  EXPECT_EQ(events("ask").back(), "ask-yes tally_b");
  EXPECT_EQ(events("unload"), (std::vector<std::string>{"unload tally_c", "unload tally_b"}));
  // A library that refused is still cached: a new object loads nothing.
  EXPECT_TRUE(create(u"TallyA", TALLY_TYPE).created);
  EXPECT_EQ(count_events("load tally_a"), 1);
}

// Leaves a library that never unloads.
TEST_F(HousekeepingAlone, LibraryWithoutTheUnloadEntryEndsTheWalk) {
  // Path order: no_factory, no_unload, shapes.
  create(u"Shapes", CIRCLE_TYPE);
  create(u"NoUnload", INCOMPLETE_TYPE);
  create(u"NoFactory", INCOMPLETE_TYPE);  // fails, but stays cached
  expect_stack(tidy(), {{kov::KOV_E_TIDY_LIBRARY, {wide(NO_UNLOAD_PATH)}},
                        {nev::NEV_E_FUNCTION_NOT_FOUND, {u"gan_can_unload_now", u"*"}}});
  // The failing entry stays and fails again; shapes is never reached.
  EXPECT_EQ(tidy().code(), kov::KOV_E_TIDY_LIBRARY);
  EXPECT_EQ(events("ask"), std::vector<std::string>{"ask-yes no_factory"});
  EXPECT_EQ(events("unload"), std::vector<std::string>{"unload no_factory"});
}

// The handle of tally_b, whose unload the hook below refuses; the others
// are unloaded for real.
void* refused_library = nullptr;
bool unload_all_but_refused(nev::Nev_library library, std::u16string& reason) {
  if (library == refused_library) {
    reason = u"refused by the test";
    return false;
  }
  return kov_test::unload_library(library);
}

// Leaves a library loaded that the cache no longer holds.
TEST_F(HousekeepingAlone, FailedUnloadForgetsTheEntryAndEndsTheWalk) {
  // Path order: tally_a, tally_b, tally_c.
  for (const char16_t* plugin : {u"TallyC", u"TallyB", u"TallyA"}) ASSERT_TRUE(create(plugin, TALLY_TYPE).created);
  refused_library = kov_test::loaded_library(TALLY_B_PATH);  // the handle the cache holds
  ASSERT_NE(refused_library, nullptr);
  auto platform = std::make_unique<Test_platform>();
  platform->unload = unload_all_but_refused;
  expect_stack(tidy(), {{kov::KOV_E_TIDY_LIBRARY, {wide(TALLY_B_PATH)}},
                        {nev::NEV_E_LIBRARY_UNLOAD, {u"refused by the test"}}});
  platform.reset();
  // tally_a went, tally_c was not reached; tally_b left the cache although
  // it stays loaded, so the next walk asks tally_c alone.
  EXPECT_EQ(events("unload"), std::vector<std::string>{"unload tally_a"});
  EXPECT_EQ(tidy().code(), 0u);
  EXPECT_EQ(events("ask"), (std::vector<std::string>{"ask-yes tally_a", "ask-yes tally_b", "ask-yes tally_c"}));
  EXPECT_EQ(events("unload"), (std::vector<std::string>{"unload tally_a", "unload tally_c"}));
}

TEST_F(Housekeeping, EnumerateListsThePlugInsOfferingAType) {
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_object_vector<std::u16string> display_names;
  // Both lists as "name=display name" lines; they must be of one length.
  auto list = [&](const _GUID& type, std::uint32_t code = 0) {
    nev::Nev_status status;
    names.push_back(new std::u16string(u"old"));
    kov::kov_plugin_enumerate(type, names, display_names, status);
    EXPECT_EQ(status.code(), code);
    std::vector<std::u16string> result;
    EXPECT_EQ(names.size(), display_names.size());
    for (std::size_t i = 0; i < names.size() && i < display_names.size(); ++i)
      result.push_back(names[i] + u"=" + display_names[i]);
    return result;
  };
  using Lines = std::vector<std::u16string>;
  EXPECT_EQ(list(TALLY_TYPE), (Lines{u"TallyA=Sample tally a", u"TallyB=Sample tally b", u"TallyC=Sample tally c"}));
  EXPECT_EQ(list(SQUARE_TYPE), Lines{u"Shapes=Sample square"});
  EXPECT_EQ(list(kov::Kov_wstring::TYPE), Lines{});  // nobody offers it
  // Type keys match without regard to case.
  set_string(kov::PLUGIN_ROOT_KEY + std::u16string(u"\\Rings\\{6f1c2a10-3b4d-4e5f-8a9b-0c1d2e3f4a01}"),
             u"DisplayName", u"Lower-case rings");
  EXPECT_EQ(list(CIRCLE_TYPE), (Lines{u"Rings=Lower-case rings", u"Shapes=Sample circle"}));
  EXPECT_TRUE(events().empty());  // nothing was loaded
  // A missing display name ends the listing ("Abacus" comes first).
  set_string(plugin_key(u"Abacus", TALLY_TYPE), u"ImagePath", wide(TALLY_A_PATH));
  EXPECT_EQ(list(TALLY_TYPE, nev::NEV_E_REG_VALUE_NOT_FOUND), Lines{u"Abacus="});
  // Without the plug-in root: a failure and empty lists.
  nev::Nev_status status;
  nev::nev_delete_reg_tree(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, status);
  ASSERT_TRUE(status.ok());
  EXPECT_EQ(list(TALLY_TYPE, nev::NEV_E_REG_KEY_NOT_FOUND), Lines{});
}

}  // namespace
