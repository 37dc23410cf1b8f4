// The kovplug tool, run as a user runs it.
#include "nev/registry.h"
#include "nev/strings.h"
#include "plugin_test_support.h"

namespace {

using namespace plugin_test;

const std::string CIRCLE = "{6F1C2A10-3B4D-4E5F-8A9B-0C1D2E3F4A01}";

// Runs kovplug; gives its exit code and output.
std::pair<int, std::string> kovplug(const std::string& arguments) {
  std::string output;
  const int code = run_command(std::string(KOVPLUG_PATH) + " " + arguments, &output);
  return {code, output};
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

using Kovplug = Fresh_hive;

TEST_F(Kovplug, RegistersListsCreatesAndUnregisters) {
  auto [code, out] = kovplug("register Rings " + CIRCLE + " " + SHAPES_PATH +
                             " --display-name 'Ring maker' --interface 1.0 --implementation 1.2");
  ASSERT_EQ(code, 0) << out;
  const std::pair<const char16_t*, std::uint32_t> written[] = {
      {u"InterfaceVersion", 0x10000}, {u"ImplementationVersion", 0x10002}, {u"LibraryVersion", 0x40000}};
  for (const auto& [name, expected] : written) {
    std::uint32_t value = 0;
    nev::Nev_status status;
    nev::nev_get_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, u"Rings\\" + wide(CIRCLE), name,
                                value, status);
    EXPECT_EQ(value, expected) << nev::nev_to_utf8(name);
  }
  std::tie(code, out) = kovplug("list " + CIRCLE);
  EXPECT_EQ(code, 0);
  EXPECT_TRUE(contains(out, "Rings") && contains(out, "Ring maker")) << out;

  std::tie(code, out) = kovplug("create Rings " + CIRCLE + " --interface 1.0 --implementation 1.2");
  EXPECT_EQ(code, 0) << out;
  EXPECT_TRUE(contains(out, "a circle") && contains(out, "interface 1.0, implementation 1.2")) << out;

  // A wrong major version is told in words, naming plug-in and versions.
  std::tie(code, out) = kovplug("create Rings " + CIRCLE + " --interface 3.0");
  EXPECT_EQ(code, 1);
  EXPECT_TRUE(contains(out, "Rings") && contains(out, "3") && !contains(out, "0xC2010905")) << out;

  EXPECT_EQ(kovplug("unregister Rings " + CIRCLE).first, 0);
  std::tie(code, out) = kovplug("list " + CIRCLE);
  EXPECT_FALSE(contains(out, "Rings")) << out;
  EXPECT_EQ(kovplug("create Rings " + CIRCLE).first, 1);
}

TEST_F(Kovplug, RefusesBadArguments) {
  const std::string bad[] = {"", "frobnicate", "list", "list not-a-type", "create Rings {1-2-3-4-5}",
                             "register A " + CIRCLE + " lib.so --interface 1.x",
                             "register A " + CIRCLE + " lib.so --interface 70000.0",
                             "create A " + CIRCLE + " --colour red"};
  for (const std::string& arguments : bad) {
    const auto [code, out] = kovplug(arguments);
    EXPECT_EQ(code, 2) << arguments << ": " << out;
    EXPECT_TRUE(contains(out, "usage")) << arguments;
  }
}

}  // namespace
