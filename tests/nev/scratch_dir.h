// A fresh folder for one test, removed with its content at the end, and
// plain file access that bypasses the foundation.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "nev/strings.h"

namespace nev::test {

class Scratch_dir {
 public:
  Scratch_dir() : m_path(std::filesystem::temp_directory_path() / ("nev-" + std::to_string(std::random_device()()))) {
    std::filesystem::create_directories(m_path);
  }
  ~Scratch_dir() { std::filesystem::remove_all(m_path); }
  // The path of `name` in the folder, as the foundation takes it.
  std::u16string file(const std::u16string& name) const { return nev_from_utf8(m_path.string() + "/") + name; }

 private:
  std::filesystem::path m_path;
};

inline std::string read_file(const std::u16string& path) {
  std::ifstream in(std::filesystem::path(path), std::ios::binary);  // wide on Windows
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void write_file(const std::u16string& path, const std::string& content) {
  std::ofstream(std::filesystem::path(path), std::ios::binary) << content;
}

}  // namespace nev::test
