// Creating plug-in objects: the registry reads, the version tests in their
// order, the library cache, and every failure with its status stack.
#include <filesystem>
#include <fstream>

#include "kov/codes.h"
#include "kov/plugin.h"
#include "nev/codes.h"
#include "plugin_test_support.h"
#include "sample_types.h"

namespace {

using namespace plugin_test;
using kovsample::BLANK_TYPE;
using kovsample::CIRCLE_TYPE;
using kovsample::INCOMPLETE_TYPE;
using kovsample::SQUARE_TYPE;
using kovsample::TRIANGLE_TYPE;

// The outcome of one creation; the object, if any, is ended at once.
struct Outcome {
  bool created = false;
  std::u16string description;
  nev::Nev_status status;
};

Outcome create(const std::u16string& plugin, const _GUID& type, std::uint32_t interface_version = 0,
               std::uint32_t implementation_version = 0) {
  Outcome outcome;
  gan::Gan_base* object = reinterpret_cast<gan::Gan_base*>(0x1);  // must be reset
  kov::kov_plugin_create_instance(plugin, type, interface_version, implementation_version, object,
                                  outcome.status);
  if (object != nullptr) {
    outcome.created = true;
    outcome.description = object->description();
    kov::Kov_plugin_deallocator().deallocate(object);
  }
  return outcome;
}

std::u16string shapes_key(const _GUID& type) { return u"Shapes\\" + type_text(type); }
const std::u16string SHAPES = wide(SHAPES_PATH);

using Creation = Sample_hive;

TEST_F(Creation, EachTypeOfOneLibraryLoadsItOnce) {
  const Outcome circle = create(u"Shapes", CIRCLE_TYPE, 0x10000, 0x10002);
  EXPECT_TRUE(circle.created);
  EXPECT_EQ(circle.status.code(), 0u);
  EXPECT_EQ(circle.description, u"a circle");
  const Outcome square = create(u"Shapes", SQUARE_TYPE);
  EXPECT_TRUE(square.created);
  EXPECT_EQ(square.description, u"a square");
  EXPECT_EQ(count_events("load shapes"), 1);
  EXPECT_EQ(count_events("create shapes"), 2);
}

TEST_F(Creation, ZeroVersionsReadNoVersionValues) {
  delete_plugin_value(shapes_key(CIRCLE_TYPE), u"InterfaceVersion");
  delete_plugin_value(shapes_key(CIRCLE_TYPE), u"ImplementationVersion");
  EXPECT_TRUE(create(u"Shapes", CIRCLE_TYPE).created);
  // Asking for a version now reads the missing value and fails before any load.
  const Outcome asked = create(u"Shapes", SQUARE_TYPE, 0, 0x10002);
  EXPECT_TRUE(asked.created);
  const Outcome missing = create(u"Shapes", CIRCLE_TYPE, 0, 0x10002);
  EXPECT_FALSE(missing.created);
  expect_stack(missing.status, {{kov::KOV_E_CREATE_INSTANCE, {u"Shapes"}},
                                {nev::NEV_E_REG_VALUE_NOT_FOUND, {u"*", u"ImplementationVersion"}}});
}

TEST_F(Creation, VersionRuleIsAppliedInterfaceThenImplementationThenLibrary) {
  struct Case {
    const char* what;
    std::uint32_t interface_version;
    std::uint32_t implementation_version;
    std::uint32_t library_version;  // registered
    bool created;
    std::vector<Frame> stack;  // empty when created
  };
  const Frame top{kov::KOV_E_CREATE_INSTANCE, {u"Shapes"}};
  auto major = [](const char16_t* requested, const char16_t* registered) {
    return Frame{kov::KOV_E_MAJOR_VERSION, {u"Shapes", requested, registered}};
  };
  const Case cases[] = {
      {"all equal", 0x10000, 0x10002, 0x40000, true, {}},
      {"interface minor differs", 0x10005, 0x10002, 0x40000, true, {}},
      {"implementation minor differs", 0x10000, 0x10009, 0x40000, true, {}},
      {"library minor differs", 0x10000, 0x10002, 0x40007, true, {}},
      // The implementation (0x90000) and library (0x10000) would fail too.
      {"interface major differs", 0x20000, 0x90000, 0x10000, false, {top, major(u"2", u"1")}},
      {"both halves differ", 0x30004, 0, 0x40000, false, {top, major(u"3", u"1")}},
      {"implementation major differs", 0x10000, 0x00002, 0x10000, false, {top, major(u"0", u"1")}},
      {"library major differs", 0, 0, 0x30000, false, {top, major(u"4", u"3")}},
  };

  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    set_plugin_uint(shapes_key(CIRCLE_TYPE), u"LibraryVersion", c.library_version);
    const Outcome outcome = create(u"Shapes", CIRCLE_TYPE, c.interface_version, c.implementation_version);
    EXPECT_EQ(outcome.created, c.created);
    if (c.created) {
      EXPECT_TRUE(outcome.status.ok());
      // Unload again, so that the next case tests the library version anew.
      nev::Nev_status tidy;
      kov::kov_plugin_tidy_libraries(tidy);
      EXPECT_TRUE(tidy.ok());
    } else {
      expect_stack(outcome.status, c.stack);
    }
  }
  // Nothing was loaded for the failed cases: one load per successful case.
  EXPECT_EQ(count_events("load shapes"), 4);
}

TEST_F(Creation, CachedLibraryIsNotTestedOrLoadedAgain) {
  ASSERT_TRUE(create(u"Shapes", CIRCLE_TYPE).created);
  delete_plugin_value(shapes_key(SQUARE_TYPE), u"LibraryVersion");
  EXPECT_TRUE(create(u"Shapes", SQUARE_TYPE).created);
  EXPECT_EQ(count_events("load shapes"), 1);

  // After an unload the library version is read again: its absence now fails.
  nev::Nev_status tidy;
  kov::kov_plugin_tidy_libraries(tidy);
  ASSERT_TRUE(tidy.ok());
  EXPECT_EQ(count_events("unload shapes"), 1);
  const Outcome missing = create(u"Shapes", SQUARE_TYPE);
  expect_stack(missing.status, {{kov::KOV_E_CREATE_INSTANCE, {u"Shapes"}},
                                {nev::NEV_E_REG_VALUE_NOT_FOUND, {u"*", u"LibraryVersion"}}});
  set_plugin_uint(shapes_key(SQUARE_TYPE), u"LibraryVersion", 0x40000);
  EXPECT_TRUE(create(u"Shapes", SQUARE_TYPE).created);
  EXPECT_EQ(count_events("load shapes"), 2);
}

TEST_F(Creation, CacheIsKeyedByThePathTextExactly) {
  // A second plug-in name with the identical path shares the entry.
  set_plugin_string(u"Circles\\" + type_text(CIRCLE_TYPE), u"ImagePath", SHAPES);
  set_plugin_uint(u"Circles\\" + type_text(CIRCLE_TYPE), u"LibraryVersion", 0x40000);
  // The same file name in another case is another path: a copy of the
  // library, loaded on its own.
  const std::string lower = work_dir() + "/shapes.so";
  const std::string upper = work_dir() + "/SHAPES.so";
  std::filesystem::copy_file(SHAPES_PATH, lower);
  std::filesystem::copy_file(SHAPES_PATH, upper);
  for (const auto& [plugin, path] : {std::pair{u"Lower", lower}, std::pair{u"Upper", upper}}) {
    const std::u16string key = std::u16string(plugin) + u"\\" + type_text(SQUARE_TYPE);
    set_plugin_string(key, u"ImagePath", wide(path));
    set_plugin_uint(key, u"LibraryVersion", 0x40000);
  }
  for (const char16_t* plugin : {u"Shapes", u"Circles", u"Shapes", u"Circles"})
    EXPECT_TRUE(create(plugin, CIRCLE_TYPE).created);
  EXPECT_EQ(count_events("load shapes"), 1);
  EXPECT_TRUE(create(u"Lower", SQUARE_TYPE).created);
  EXPECT_TRUE(create(u"Upper", SQUARE_TYPE).created);
  EXPECT_TRUE(create(u"Lower", SQUARE_TYPE).created);
  EXPECT_EQ(count_events("load shapes"), 3);
  // Three entries: each is asked once.
  nev::Nev_status tidy;
  kov::kov_plugin_tidy_libraries(tidy);
  EXPECT_TRUE(tidy.ok());
  EXPECT_EQ(count_events("ask-yes shapes"), 3);
  EXPECT_EQ(count_events("unload shapes"), 3);
}

TEST_F(Creation, RegistryFailuresStandBelowTheCreationCode) {
  // No such plug-in, no such type, and a type text that did not parse (the
  // all-zero identifier): all fail at "ImagePath".
  _GUID unparsed{};
  kov::kov_string_to_type(u"circle", unparsed);
  const std::pair<const char16_t*, _GUID> absent[] = {
      {u"Nobody", CIRCLE_TYPE}, {u"Shapes", INCOMPLETE_TYPE}, {u"Shapes", unparsed}};
  for (const auto& [plugin, type] : absent) {
    const Outcome outcome = create(plugin, type);
    EXPECT_FALSE(outcome.created);
    const std::u16string key = u"HKEY_LOCAL_MACHINE\\Software\\Quorvane\\Plugins\\" + std::u16string(plugin) +
                               u"\\" + type_text(type);
    expect_stack(outcome.status, {{kov::KOV_E_CREATE_INSTANCE, {plugin}}, {nev::NEV_E_REG_KEY_NOT_FOUND, {key}}});
  }
  // A type key without "ImagePath".
  delete_plugin_value(shapes_key(CIRCLE_TYPE), u"ImagePath");
  expect_stack(create(u"Shapes", CIRCLE_TYPE, 0x10000).status,
               {{kov::KOV_E_CREATE_INSTANCE, {u"Shapes"}},
                {nev::NEV_E_REG_VALUE_NOT_FOUND, {u"*", u"ImagePath"}}});
  EXPECT_EQ(count_events("load shapes"), 0);
}

TEST_F(Creation, LibrariesThatCannotBeLoadedAreNotCached) {
  const std::string missing = work_dir() + "/missing.so";
  const std::string text_file = work_dir() + "/not-a-library.so";
  std::ofstream(text_file) << "plain text, no library\n";
  for (const std::string& path : {missing, text_file}) {
    const std::u16string key = u"Broken\\" + type_text(CIRCLE_TYPE);
    set_plugin_string(key, u"ImagePath", wide(path));
    set_plugin_uint(key, u"LibraryVersion", 0x40000);
    const Outcome outcome = create(u"Broken", CIRCLE_TYPE);
    EXPECT_FALSE(outcome.created);
    expect_stack(outcome.status,
                 {{kov::KOV_E_CREATE_INSTANCE, {u"Broken"}}, {nev::NEV_E_LIBRARY_LOAD, {wide(path), u"*"}}});
  }
  // The cache stayed empty: tidying asks nobody.
  nev::Nev_status tidy;
  kov::kov_plugin_tidy_libraries(tidy);
  EXPECT_EQ(tidy.code(), 0u);
  EXPECT_TRUE(events().empty());
}

TEST_F(Creation, FailuresAfterTheLoadLeaveTheLibraryCached) {
  // No "gan_get_factory" in the library.
  const Outcome no_entry = create(u"NoFactory", INCOMPLETE_TYPE);
  EXPECT_FALSE(no_entry.created);
  expect_stack(no_entry.status, {{kov::KOV_E_CREATE_INSTANCE, {u"NoFactory"}},
                                 {nev::NEV_E_FUNCTION_NOT_FOUND, {u"gan_get_factory", u"*"}}});
  // The library offers no factory for the type.
  const Outcome no_factory = create(u"Shapes", TRIANGLE_TYPE);
  EXPECT_FALSE(no_factory.created);
  expect_stack(no_factory.status,
               {{kov::KOV_E_CREATE_INSTANCE, {u"Shapes"}}, {kov::KOV_E_NO_FACTORY, {u"Shapes", SHAPES}}});
  // The factory makes no object.
  const Outcome no_object = create(u"Shapes", BLANK_TYPE);
  EXPECT_FALSE(no_object.created);
  expect_stack(no_object.status, {{kov::KOV_E_CREATE_INSTANCE, {u"Shapes"}}, {kov::KOV_E_NO_INSTANCE, {}}});
  // Both libraries were loaded once and stay until tidied.
  EXPECT_TRUE(create(u"Shapes", CIRCLE_TYPE).created);
  EXPECT_EQ(count_events("load shapes"), 1);
  EXPECT_EQ(count_events("load no_factory"), 1);
  nev::Nev_status tidy;
  kov::kov_plugin_tidy_libraries(tidy);
  EXPECT_TRUE(tidy.ok());
  EXPECT_EQ(count_events("unload no_factory"), 1);
  EXPECT_EQ(count_events("unload shapes"), 1);
}

TEST_F(Creation, DeallocatorEndsTheObjectAndKeepsTheLibrary) {
  gan::Gan_base* object = nullptr;
  nev::Nev_status status;
  kov::kov_plugin_create_instance(u"TallyA", kovsample::TALLY_TYPE, 0x20001, 0x10000, object, status);
  ASSERT_NE(object, nullptr);
  // While the object lives its library refuses to go.
  nev::Nev_status tidy;
  kov::kov_plugin_tidy_libraries(tidy);
  EXPECT_EQ(count_events("ask-no tally_a"), 1);
  const kov::Kov_plugin_deallocator deallocator;
  kov::Kov_plugin_deallocator copy = deallocator;
  copy.deallocate(object);
  EXPECT_EQ(count_events("unload tally_a"), 0);
  kov::kov_plugin_tidy_libraries(tidy);
  EXPECT_EQ(count_events("ask-yes tally_a"), 1);
  EXPECT_EQ(count_events("unload tally_a"), 1);
}

}  // namespace
