// A fresh hive for every test: a new temporary folder, with NEV_REGISTRY and
// NEV_REGISTRY_MACHINES pointing into it. The registry reads both variables
// at every call, so setting them in SetUp is enough.
#pragma once

#include <gtest/gtest.h>
#include "support/test_platform.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"

class Hive_test : public ::testing::Test {
 protected:
  void SetUp() override {
    m_folder = kov_test::make_temp_dir("nev-registry");
    ASSERT_FALSE(m_folder.empty());
    kov_test::fresh_registry();  // Windows: the system's registry, emptied
    kov_test::set_env("NEV_REGISTRY", hive().c_str());
    kov_test::set_env("NEV_REGISTRY_MACHINES", (m_folder + "/machines").c_str());
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }

  const std::string& folder() const { return m_folder; }
  std::string hive() const { return m_folder + "/hive.db"; }

 private:
  std::string m_folder;
};

// Asserts that `status` is good, showing its text when it is not.
#define EXPECT_STATUS_OK(status) EXPECT_TRUE((status).ok()) << nev::nev_to_utf8(nev::nev_status_text(status))
#define ASSERT_STATUS_OK(status) ASSERT_TRUE((status).ok()) << nev::nev_to_utf8(nev::nev_status_text(status))

// The root most tests work in (the library is shared, so its roots are set
// before this).
inline const nev::Nev_hkey HKLM = nev::NEV_HKEY_LOCAL_MACHINE;

// Writes the string or DWORD value `name` of HKLM\key, expecting to succeed.
inline void put(const std::u16string& key, const std::u16string& name, const std::u16string& text) {
  nev::Nev_status status;
  nev::nev_set_reg_string_value(HKLM, key, u"", name, text, status);
  EXPECT_STATUS_OK(status);
}
inline void put(const std::u16string& key, const std::u16string& name, std::uint32_t number) {
  nev::Nev_status status;
  nev::nev_set_reg_uint_value(HKLM, key, u"", name, number, status);
  EXPECT_STATUS_OK(status);
}

// The string value `name` of root\key, expecting to read it.
inline std::u16string text_of(nev::Nev_hkey root, const std::u16string& key, const std::u16string& name) {
  nev::Nev_status status;
  std::u16string text;
  nev::nev_get_reg_string_value(root, key, u"", name, text, status);
  EXPECT_STATUS_OK(status);
  return text;
}

// The DWORD value `name` of HKLM\key, expecting to read it.
inline std::uint32_t number_of(const std::u16string& key, const std::u16string& name) {
  nev::Nev_status status;
  std::uint32_t number = 0;
  nev::nev_get_reg_uint_value(HKLM, key, u"", name, number, status);
  EXPECT_STATUS_OK(status);
  return number;
}
