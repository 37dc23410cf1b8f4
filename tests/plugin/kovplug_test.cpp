// The kovplug tool, run as a user runs it.
#include "kov/plugin.h"
#include "nev/registry.h"
#include "nev/strings.h"
#include "plugin_test_support.h"
#include "sample_types.h"

namespace {

using namespace plugin_test;

std::string kovplug(const std::string& arguments, int* code = nullptr) {
  std::string output;
  const int exit_code = run_command(std::string(KOVPLUG_PATH) + " " + arguments, &output);
  if (code != nullptr) *code = exit_code;
  return output;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

using Kovplug = Fresh_hive;

TEST_F(Kovplug, RegistersListsCreatesAndUnregisters) {
  const std::string circle = "{6F1C2A10-3B4D-4E5F-8A9B-0C1D2E3F4A01}";
  int code = -1;
  kovplug("register Rings " + circle + " " + SHAPES_PATH +
              " --display-name 'Ring maker' --interface 1.0 --implementation 1.2",
          &code);
  ASSERT_EQ(code, 0);
  const std::pair<const char16_t*, std::uint32_t> written[] = {
      {u"InterfaceVersion", 0x10000}, {u"ImplementationVersion", 0x10002}, {u"LibraryVersion", 0x40000}};
  for (const auto& [name, expected] : written) {
    std::uint32_t value = 0;
    nev::Nev_status status;
    nev::nev_get_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, u"Rings\\" + wide(circle), name,
                                value, status);
    EXPECT_EQ(value, expected) << nev::nev_to_utf8(name);
  }
  std::string out = kovplug("list " + circle, &code);
  EXPECT_EQ(code, 0);
  EXPECT_TRUE(contains(out, "Rings")) << out;
  EXPECT_TRUE(contains(out, "Ring maker")) << out;

  out = kovplug("create Rings " + circle + " --interface 1.0 --implementation 1.2", &code);
  EXPECT_EQ(code, 0) << out;
  EXPECT_TRUE(contains(out, "a circle")) << out;
  EXPECT_TRUE(contains(out, "interface 1.0, implementation 1.2")) << out;

  // A wrong major version is told in words, naming plug-in and versions.
  out = kovplug("create Rings " + circle + " --interface 3.0", &code);
  EXPECT_EQ(code, 1);
  EXPECT_TRUE(contains(out, "Rings")) << out;
  EXPECT_TRUE(contains(out, "3")) << out;
  EXPECT_FALSE(contains(out, "0xC2010905")) << out;

  kovplug("unregister Rings " + circle, &code);
  EXPECT_EQ(code, 0);
  out = kovplug("list " + circle, &code);
  EXPECT_FALSE(contains(out, "Rings")) << out;
  out = kovplug("create Rings " + circle, &code);
  EXPECT_EQ(code, 1);
}

TEST_F(Kovplug, RefusesBadArguments) {
  const char* bad[] = {"", "frobnicate", "list", "list not-a-type", "create Rings {1-2-3-4-5}",
                       "register A {6F1C2A10-3B4D-4E5F-8A9B-0C1D2E3F4A01} lib.so --interface 1.x",
                       "register A {6F1C2A10-3B4D-4E5F-8A9B-0C1D2E3F4A01} lib.so --interface 70000.0",
                       "create A {6F1C2A10-3B4D-4E5F-8A9B-0C1D2E3F4A01} --colour red"};
  for (const char* arguments : bad) {
    int code = -1;
    const std::string out = kovplug(arguments, &code);
    EXPECT_EQ(code, 2) << arguments << ": " << out;
    EXPECT_TRUE(contains(out, "usage")) << arguments;
  }
}

}  // namespace
