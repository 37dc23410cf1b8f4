// A fresh empty folder for one test, removed with everything in it at the end.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "nev/strings.h"

namespace nev::test {

class Scratch_dir {
 public:
  Scratch_dir() {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string("nev-") + test->test_suite_name() + "-" + test->name() + "-" +
                             std::to_string(std::random_device()());
    m_path = std::filesystem::temp_directory_path() / name;
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
  }
  ~Scratch_dir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  Scratch_dir(const Scratch_dir&) = delete;
  Scratch_dir& operator=(const Scratch_dir&) = delete;

  // The path of `name` in the folder, as the foundation takes it.
  std::u16string file(const std::u16string& name) const {
    return nev_from_utf8(m_path.string()) + u"/" + name;
  }
  const std::filesystem::path& path() const { return m_path; }

 private:
  std::filesystem::path m_path;
};

// The whole content of a file, read past the foundation.
inline std::string read_file(const std::u16string& path) {
  std::ifstream in(nev_to_utf8(path), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void write_file(const std::u16string& path, const std::string& content) {
  std::ofstream(nev_to_utf8(path), std::ios::binary) << content;
}

}  // namespace nev::test
