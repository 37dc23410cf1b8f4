#include "plugin_test_support.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

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
  m_work_dir = std::string(TEST_WORK_DIR) + "/" + info->test_suite_name() + "." + info->name();
  std::filesystem::remove_all(m_work_dir);
  std::filesystem::create_directories(m_work_dir);
  ::setenv("NEV_REGISTRY", (m_work_dir + "/hive.db").c_str(), 1);
  ::setenv("KOVSAMPLE_LOG", (m_work_dir + "/events.log").c_str(), 1);
  ::unsetenv("KOVSAMPLE_REFUSE_UNLOAD");
}

void Sample_hive::SetUp() {
  Fresh_hive::SetUp();
  for (const char* file : {"shapes.reg", "tally.reg", "incomplete.reg"}) {
    std::string output;
    const int code = run_command(std::string(KOVREG_PATH) + " import " + SAMPLE_REG_DIR + "/" + file, &output);
    ASSERT_EQ(code, 0) << file << ": " << output;
  }
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

std::vector<std::string> events(const std::string& prefix) {
  std::vector<std::string> lines;
  std::ifstream in(std::getenv("KOVSAMPLE_LOG"));
  for (std::string line; std::getline(in, line);)
    if (line.rfind(prefix, 0) == 0) lines.push_back(line);
  return lines;
}

int count_events(const std::string& line) {
  int count = 0;
  for (const std::string& event : events(line)) count += event == line ? 1 : 0;
  return count;
}

void set_string(const std::u16string& key, const std::u16string& name, const std::u16string& value) {
  nev::Nev_status status;
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", name, value, status);
  ASSERT_TRUE(status.ok());
}

void set_uint(const std::u16string& key, const std::u16string& name, std::uint32_t value) {
  nev::Nev_status status;
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", name, value, status);
  ASSERT_TRUE(status.ok());
}

void delete_value(const std::u16string& key, const std::u16string& name) {
  nev::Nev_status status;
  nev::nev_delete_reg_value(nev::NEV_HKEY_LOCAL_MACHINE, key, name, status);
  ASSERT_TRUE(status.ok());
}

std::u16string plugin_key(const std::u16string& plugin, const _GUID& type) {
  return kov::PLUGIN_ROOT_KEY + (u"\\" + plugin + u"\\" + type_text(type));
}

std::u16string type_text(const _GUID& type) {
  std::u16string text;
  kov::kov_type_to_string(type, text);
  return text;
}

Outcome create(const std::u16string& plugin, const _GUID& type, std::uint32_t interface_version,
               std::uint32_t implementation_version) {
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

nev::Nev_status tidy() {
  nev::Nev_status status;
  kov::kov_plugin_tidy_libraries(status);
  return status;
}

}  // namespace plugin_test
