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
  const int code = kov_test::run_program(KOVPLUG_PATH, kov_test::shell_words(arguments), "", &output);
  return {code, output};
}

using Kovplug = Sample_hive;

TEST_F(Kovplug, RegistersListsCreatesAndUnregisters) {
  using Result = std::pair<int, std::string>;
  EXPECT_EQ(kovplug("register Rings " + CIRCLE + " " + SHAPES_PATH +
                    " --display-name 'Ring maker' --interface 1.0 --implementation 1.2"),
            (Result{0, ""}));
  const std::pair<const char16_t*, std::uint32_t> written[] = {
      {u"InterfaceVersion", 0x10000}, {u"ImplementationVersion", 0x10002}, {u"LibraryVersion", 0x40000}};
  for (const auto& [name, expected] : written) {
    std::uint32_t value = 0;
    nev::Nev_status status;
    nev::nev_get_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, u"Rings\\" + wide(CIRCLE), name,
                                value, status);
    EXPECT_EQ(value, expected) << nev::nev_to_utf8(name);
  }
  EXPECT_EQ(kovplug("list " + CIRCLE), (Result{0, "Rings   Ring maker\nShapes  Sample circle\n"}));
  EXPECT_EQ(kovplug("create Rings " + CIRCLE + " --interface 1.0 --implementation 1.2"),
            (Result{0, "Created a circle (type " + CIRCLE +
                           ", interface 1.0, implementation 1.2) from the plug-in Rings.\n"}));
  // A wrong major version is told in words, naming plug-in and versions.
  EXPECT_EQ(kovplug("create Rings " + CIRCLE + " --interface 3.0"),
            (Result{1, "The plug-in Rings could not create an object.\n"
                       "The plug-in Rings was asked for major version 3, but major version 1 is registered.\n"}));
  EXPECT_EQ(kovplug("unregister Rings " + CIRCLE), (Result{0, ""}));
  EXPECT_EQ(kovplug("list " + CIRCLE), (Result{0, "Shapes  Sample circle\n"}));
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
    EXPECT_NE(out.find("usage"), std::string::npos) << arguments;
  }
}

// A plug-in name is one key below the plug-in root: an empty one would
// address every plug-in, and one holding "\\" another plug-in's keys.
TEST_F(Kovplug, RefusesPluginNamesThatAreNoSingleKey) {
  const std::string bad[] = {"unregister ''", "unregister '' " + CIRCLE, "unregister 'Shapes\\x'",
                             "unregister '\\Shapes'", "register '' " + CIRCLE + " lib.so",
                             "register 'A\\B' " + CIRCLE + " lib.so", "create '' " + CIRCLE};
  for (const std::string& arguments : bad) {
    const auto [code, out] = kovplug(arguments);
    EXPECT_EQ(code, 2) << arguments << ": " << out;
    EXPECT_NE(out.find("plug-in name"), std::string::npos) << arguments << ": " << out;
  }
  EXPECT_EQ(kovplug("list " + CIRCLE), (std::pair<int, std::string>{0, "Shapes  Sample circle\n"}));
  EXPECT_TRUE(nev::nev_reg_key_exists(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, u"Shapes"));
}

}  // namespace
