// Shared set-up of the plug-in hosting tests: a fresh hive and event log per
// test with the sample plug-ins registered as a user would register them,
// and checks of whole status stacks.
#pragma once

#include <gtest/gtest.h>
#include "portable.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kov/plugin.h"
#include "nev/platform.h"
#include "nev/registry.h"
#include "nev/strings.h"

namespace plugin_test {

// A u16 string from 8-bit text (paths and the like).
inline std::u16string wide(const std::string& text) { return nev::nev_from_utf8(text); }

// One code of a status stack with the texts of its arguments.
struct Frame {
  std::uint32_t code;
  std::vector<std::u16string> arguments;
};

// Checks that `status` holds exactly `frames`, outermost first. An argument
// text "*" matches any text (the platform's reasons).
inline void expect_stack(const nev::Nev_status& status, const std::vector<Frame>& frames) {
  ASSERT_EQ(status.depth(), frames.size()) << nev::nev_to_utf8(nev::nev_status_text(status));
  for (unsigned level = 0; level < frames.size(); ++level) {
    const Frame& frame = frames[level];
    EXPECT_EQ(status.code(level), frame.code) << "level " << level << std::hex << ": 0x" << status.code(level);
    EXPECT_EQ(status.argument_count(level), frame.arguments.size()) << "level " << level;
    for (unsigned i = 0; i < frame.arguments.size(); ++i) {
      if (frame.arguments[i] == u"*") continue;
      EXPECT_EQ(nev::nev_to_utf8(status.argument(level, i)), nev::nev_to_utf8(frame.arguments[i]))
          << "level " << level << ", argument " << i;
    }
  }
}

// Runs a command line through the shell; gives its exit code and output.
using kov_test::run_command;

// Each test gets its own hive, holding the sample plug-ins (imported with
// kovreg), and its own event log; no library is told to refuse unloading.
// The tests count library loads, and the library cache lives as long as the
// process: each test ends by tidying, so that the next one in the same
// process starts with no library loaded. A test that leaves a library that
// tidying cannot unload (one without the unload entry, or one dropped from
// the cache while loaded) belongs to a suite whose name ends in "Alone":
// such suites run only in processes of their own.
class Sample_hive : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    m_work_dir = std::string(TEST_WORK_DIR) + "/" + info->test_suite_name() + "." + info->name();
    std::filesystem::remove_all(m_work_dir);
    std::filesystem::create_directories(m_work_dir);
    kov_test::set_env("NEV_REGISTRY", (m_work_dir + "/hive.db").c_str());
    nev::platform::reset_hive_locations();
    kov_test::fresh_registry();
    kov_test::set_env("KOVSAMPLE_LOG", (m_work_dir + "/events.log").c_str());
    kov_test::unset_env("KOVSAMPLE_REFUSE_UNLOAD");
    for (const char* file : {"shapes.reg", "tally.reg", "incomplete.reg"}) {
      std::string output;
      const int code = run_command(std::string(KOVREG_PATH) + " import " + SAMPLE_REG_DIR + "/" + file, &output);
      ASSERT_EQ(code, 0) << file << ": " << output;
    }
  }
  void TearDown() override {
    kov_test::unset_env("KOVSAMPLE_REFUSE_UNLOAD");
    nev::Nev_status status;
    kov::kov_plugin_tidy_libraries(status);
  }
  // A folder of this test's own, created empty.
  const std::string& work_dir() const { return m_work_dir; }

 private:
  std::string m_work_dir;
};

// The lines the sample plug-ins have logged so far in this test that start
// with `prefix`.
inline std::vector<std::string> events(const std::string& prefix = "") {
  std::vector<std::string> lines;
  std::ifstream in(std::getenv("KOVSAMPLE_LOG"));
  for (std::string line; std::getline(in, line);)
    if (line.rfind(prefix, 0) == 0) lines.push_back(line);
  return lines;
}

// How many logged lines equal `line`.
inline int count_events(const std::string& line) {
  int count = 0;
  for (const std::string& event : events(line)) count += event == line ? 1 : 0;
  return count;
}

// Write or delete a value of the key `key` below HKEY_LOCAL_MACHINE.
inline void set_string(const std::u16string& key, const std::u16string& name, const std::u16string& value) {
  nev::Nev_status status;
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", name, value, status);
  ASSERT_TRUE(status.ok());
}

inline void set_uint(const std::u16string& key, const std::u16string& name, std::uint32_t value) {
  nev::Nev_status status;
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", name, value, status);
  ASSERT_TRUE(status.ok());
}

inline void delete_value(const std::u16string& key, const std::u16string& name) {
  nev::Nev_status status;
  nev::nev_delete_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, key, name, status);
  ASSERT_TRUE(status.ok());
}

// The text form of a type, as it stands in key paths.
inline std::u16string type_text(const _GUID& type) {
  std::u16string text;
  kov::kov_type_to_string(type, text);
  return text;
}

// The type key of `type` under the plug-in `plugin`.
inline std::u16string plugin_key(const std::u16string& plugin, const _GUID& type) {
  return kov::PLUGIN_ROOT_KEY + (u"\\" + plugin + u"\\" + type_text(type));
}

// The outcome of one creation; the object, if any, is ended at once.
struct Outcome {
  bool created = false;
  std::u16string description;
  nev::Nev_status status;
};

inline Outcome create(const std::u16string& plugin, const _GUID& type, std::uint32_t interface_version = 0,
                      std::uint32_t implementation_version = 0) {
  Outcome outcome;
  gan::Gan_base* object = reinterpret_cast<gan::Gan_base*>(0x1);  // must be reset
  kov::kov_plugin_create_instance(plugin, type, interface_version, implementation_version, object, outcome.status);
  if (object != nullptr) {
    outcome.created = true;
    outcome.description = object->description();
    kov::Kov_plugin_deallocator().deallocate(object);
  }
  return outcome;
}

// One run of kov_plugin_tidy_libraries.
inline nev::Nev_status tidy() {
  nev::Nev_status status;
  kov::kov_plugin_tidy_libraries(status);
  return status;
}

}  // namespace plugin_test
