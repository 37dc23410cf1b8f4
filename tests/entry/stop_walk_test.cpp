// When libkov is unloaded, every library left in its plug-in cache is
// unloaded first, without asking the library whether it may go.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "nev/registry.h"
#include "nev/strings.h"
#include "sample_types.h"

namespace {

std::string read_file(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(LibraryStop, UnloadsEveryCachedPluginLibraryUnasked) {
  const std::string dir = "stop-walk-" + std::to_string(::getpid());
  ASSERT_EQ(std::system(("rm -rf " + dir + " && mkdir " + dir).c_str()), 0);
  ::setenv("NEV_REGISTRY", (dir + "/hive.db").c_str(), 1);
  const std::string log = dir + "/events.log";
  ::setenv("KOVSAMPLE_LOG", log.c_str(), 1);
  // Asked, the library would refuse to go; the stop does not ask.
  ::setenv("KOVSAMPLE_REFUSE_UNLOAD", "tally_a", 1);

  nev::Nev_status status;
  const std::u16string key = u"Software\\Quorvane\\Plugins";
  const std::u16string type_key = u"Tally\\{7A2B3C4D-5E6F-4071-8293-A4B5C6D7E801}";
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, key, type_key, u"ImagePath",
                                nev::nev_from_utf8(KOV_SAMPLE_TALLY), status);
  ASSERT_TRUE(status.ok());
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, key, type_key, u"LibraryVersion", 0x40000, status);
  ASSERT_TRUE(status.ok());

  void* probe = ::dlopen(KOV_STOP_PROBE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(probe, nullptr) << ::dlerror();
  using Create = int (*)(const char16_t*, const _GUID*);
  auto create = reinterpret_cast<Create>(::dlsym(probe, "kov_stop_probe_create"));
  ASSERT_NE(create, nullptr);
  ASSERT_EQ(create(u"Tally", &kovsample::TALLY_TYPE), 0);
  EXPECT_EQ(read_file(log), "load tally_a\ncreate tally_a\n");

  // The probe was libkov's only user: unloading it unloads libkov, whose stop
  // unloads the cached plug-in library without asking it (no "ask-" line).
  ASSERT_EQ(::dlclose(probe), 0);
  EXPECT_EQ(read_file(log), "load tally_a\ncreate tally_a\nunload tally_a\n");
  EXPECT_EQ(std::system(("rm -rf " + dir).c_str()), 0);
}

}  // namespace
