// Shared set-up of the plug-in hosting tests: a fresh hive and event log per
// test, the sample plug-ins registered as a user would register them, and
// checks of whole status stacks.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "nev/status.h"
#include "nev/types.h"

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

// Imports the sample plug-ins' .reg files with kovreg.
void import_samples();

// A fresh hive holding the sample plug-ins.
class Sample_hive : public Fresh_hive {
 protected:
  void SetUp() override {
    Fresh_hive::SetUp();
    import_samples();
  }
};
// Runs a command line through the shell; gives its exit code and output.
int run_command(const std::string& command, std::string* output = nullptr);
// The lines the sample plug-ins have logged so far in this test.
std::vector<std::string> events();
// How many logged lines equal `line`.
int count_events(const std::string& line);

// Writes one value of a type key below the plug-in root.
void set_plugin_string(const std::u16string& subkey, const std::u16string& name, const std::u16string& value);
void set_plugin_uint(const std::u16string& subkey, const std::u16string& name, std::uint32_t value);
void delete_plugin_value(const std::u16string& subkey, const std::u16string& name);
// The text form of a type, as it stands in key paths.
std::u16string type_text(const _GUID& type);
// A u16 string from 8-bit text (paths and the like).
std::u16string wide(const std::string& text);

}  // namespace plugin_test
