#include "plugin_test_support.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "kov/plugin.h"
#include "nev/registry.h"
#include "nev/strings.h"

namespace plugin_test {

std::u16string wide(const std::string& text) { return nev::nev_from_utf8(text); }

void expect_stack(const nev::Nev_status& status, const std::vector<Frame>& frames) {
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

void Fresh_hive::SetUp() {
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  const std::string name = std::string(info->test_suite_name()) + "." + info->name();
  m_work_dir = std::string(TEST_WORK_DIR) + "/" + name;
  std::filesystem::remove_all(m_work_dir);
  std::filesystem::create_directories(m_work_dir);
  ::setenv("NEV_REGISTRY", (m_work_dir + "/hive.db").c_str(), 1);
  ::setenv("KOVSAMPLE_LOG", (m_work_dir + "/events.log").c_str(), 1);
  ::unsetenv("KOVSAMPLE_REFUSE_UNLOAD");
}

int run_command(const std::string& command, std::string* output) {
  std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return -1;
  std::string text;
  char buffer[512];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) text += buffer;
  const int status = ::pclose(pipe);
  if (output != nullptr) *output = text;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}


void import_samples() {
  for (const char* file : {"shapes.reg", "tally.reg", "incomplete.reg"}) {
    std::string output;
    const int code = run_command(std::string(KOVREG_PATH) + " import " + SAMPLE_REG_DIR + "/" + file, &output);
    ASSERT_EQ(code, 0) << file << ": " << output;
  }
}

std::vector<std::string> events() {
  std::vector<std::string> lines;
  const char* path = std::getenv("KOVSAMPLE_LOG");
  std::ifstream in(path == nullptr ? "" : path);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

int count_events(const std::string& line) {
  int count = 0;
  for (const std::string& event : events()) count += event == line ? 1 : 0;
  return count;
}

void set_plugin_string(const std::u16string& subkey, const std::u16string& name, const std::u16string& value) {
  nev::Nev_status status;
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, subkey, name, value, status);
  ASSERT_TRUE(status.ok());
}

void set_plugin_uint(const std::u16string& subkey, const std::u16string& name, std::uint32_t value) {
  nev::Nev_status status;
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, subkey, name, value, status);
  ASSERT_TRUE(status.ok());
}

void delete_plugin_value(const std::u16string& subkey, const std::u16string& name) {
  nev::Nev_status status;
  nev::nev_delete_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY + (u"\\" + subkey), name, status);
  ASSERT_TRUE(status.ok());
}

std::u16string type_text(const _GUID& type) {
  std::u16string text;
  kov::kov_type_to_string(type, text);
  return text;
}

}  // namespace plugin_test
