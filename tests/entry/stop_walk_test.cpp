// When libkov is unloaded, every library left in its plug-in cache is
// unloaded first, without asking the library whether it may go.
#include <gtest/gtest.h>
#include "portable.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "nev/registry.h"
#include "nev/strings.h"
#include "sample_types.h"

namespace {

// What the sample plug-in has logged so far.
std::string events() {
  std::ifstream in("stop-walk/events.log");
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(LibraryStop, UnloadsEveryCachedPluginLibraryUnasked) {
  std::filesystem::remove_all("stop-walk");
  std::filesystem::create_directory("stop-walk");
  kov_test::set_env("NEV_REGISTRY", "stop-walk/hive.db");
  kov_test::set_env("KOVSAMPLE_LOG", "stop-walk/events.log");
  // Asked, the library would refuse to go; the stop does not ask.
  kov_test::set_env("KOVSAMPLE_REFUSE_UNLOAD", "tally_a");
  nev::Nev_status status;
  const std::u16string key = u"Software\\Quorvane\\Plugins\\Tally\\{7A2B3C4D-5E6F-4071-8293-A4B5C6D7E801}";
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"ImagePath",
                                nev::nev_from_utf8(KOV_SAMPLE_TALLY), status);
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"LibraryVersion", 0x40000, status);
  ASSERT_TRUE(status.ok());

  void* probe = kov_test::load_library(KOV_STOP_PROBE);
  ASSERT_NE(probe, nullptr) << kov_test::library_error();
  auto create = reinterpret_cast<int (*)(const char16_t*, const _GUID*)>(
      kov_test::library_symbol(probe, "kov_stop_probe_create"));
  ASSERT_NE(create, nullptr);
  ASSERT_EQ(create(u"Tally", &kovsample::TALLY_TYPE), 0);
  EXPECT_EQ(events(), "load tally_a\ncreate tally_a\n");

  // The probe was libkov's only user: unloading it unloads libkov, whose stop
  // unloads the cached plug-in library without asking it (no "ask-" line).
  ASSERT_TRUE(kov_test::unload_library(probe));
  EXPECT_EQ(events(), "load tally_a\ncreate tally_a\nunload tally_a\n");
}

}  // namespace
