// Shared set-up of the plug-in hosting tests: a fresh hive and event log per
// test, the sample plug-ins registered as a user would register them, and
// checks of whole status stacks.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kov/plugin.h"

namespace plugin_test {

// One code of a status stack with the texts of its arguments.
struct Frame {
  std::uint32_t code;
  std::vector<std::u16string> arguments;
};

// Checks that `status` holds exactly `frames`, outermost first. An argument
// text "*" matches any text (the platform's reasons).
void expect_stack(const nev::Nev_status& status, const std::vector<Frame>& frames);

// Each test gets its own hive and event log, and no library is told to
// refuse unloading. The tests count library loads, so each needs a process
// of its own (as ctest runs them): the library cache lives as long as the
// process.
class Fresh_hive : public ::testing::Test {
 protected:
  void SetUp() override;
  // A folder of this test's own, created empty.
  const std::string& work_dir() const { return m_work_dir; }

 private:
  std::string m_work_dir;
};

// A fresh hive holding the sample plug-ins, imported with kovreg.
class Sample_hive : public Fresh_hive {
 protected:
  void SetUp() override;
};

// Runs a command line through the shell; gives its exit code and output.
int run_command(const std::string& command, std::string* output = nullptr);
// The lines the sample plug-ins have logged so far in this test that start
// with `prefix`.
std::vector<std::string> events(const std::string& prefix = "");
// How many logged lines equal `line`.
int count_events(const std::string& line);

// Writes or deletes a value of the key `key` below HKEY_LOCAL_MACHINE.
void set_string(const std::u16string& key, const std::u16string& name, const std::u16string& value);
void set_uint(const std::u16string& key, const std::u16string& name, std::uint32_t value);
void delete_value(const std::u16string& key, const std::u16string& name);
// The type key of `type` under the plug-in `plugin`.
std::u16string plugin_key(const std::u16string& plugin, const _GUID& type);
// The text form of a type, as it stands in key paths.
std::u16string type_text(const _GUID& type);
// A u16 string from 8-bit text (paths and the like).
std::u16string wide(const std::string& text);

// The outcome of one creation; the object, if any, is ended at once.
struct Outcome {
  bool created = false;
  std::u16string description;
  nev::Nev_status status;
};
Outcome create(const std::u16string& plugin, const _GUID& type, std::uint32_t interface_version = 0,
               std::uint32_t implementation_version = 0);
// One run of kov_plugin_tidy_libraries.
nev::Nev_status tidy();

}  // namespace plugin_test
