// A fresh hive for every test: a new temporary folder, with NEV_REGISTRY and
// NEV_REGISTRY_MACHINES pointing into it. The registry reads both variables
// at every call, so setting them in SetUp is enough.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"

class Hive_test : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "nev-registry-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    m_folder = pattern;
    m_hive = m_folder + "/hive.db";
    ::setenv("NEV_REGISTRY", m_hive.c_str(), 1);
    ::setenv("NEV_REGISTRY_MACHINES", (m_folder + "/machines").c_str(), 1);
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }

  const std::string& folder() const { return m_folder; }
  const std::string& hive() const { return m_hive; }

 private:
  std::string m_folder;
  std::string m_hive;
};

// Asserts that `status` is good, showing its text when it is not.
#define EXPECT_STATUS_OK(status) EXPECT_TRUE((status).ok()) << nev::nev_to_utf8(nev::nev_status_text(status))
#define ASSERT_STATUS_OK(status) ASSERT_TRUE((status).ok()) << nev::nev_to_utf8(nev::nev_status_text(status))

// The string value `name` of root\key, expecting to read it.
inline std::u16string text_of(nev::Nev_hkey root, const std::u16string& key, const std::u16string& name) {
  nev::Nev_status status;
  std::u16string text;
  nev::nev_get_reg_string_value(root, key, u"", name, text, status);
  EXPECT_STATUS_OK(status);
  return text;
}
