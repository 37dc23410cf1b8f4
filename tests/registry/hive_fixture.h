// A fresh hive for every test: a new temporary folder, with NEV_REGISTRY and
// NEV_REGISTRY_MACHINES pointing into it, set in SetUp before the registry
// resolves its locations again.
//
// The same tests run on both kinds of hive: with NEV_TEST_BACKEND=etcd in the
// environment, the hives lie under a fresh prefix of an etcd cluster that the
// test process starts on 127.0.0.1 (one for the whole process) instead.
#pragma once

#include <gtest/gtest.h>
#include "portable.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include "nev/registry.h"
#include "nev/platform.h"
#include "nev/status.h"
#include "nev/strings.h"
#ifndef _WIN32
#include "etcd_cluster.h"
#endif

// Whether this run tests the etcd hive rather than the SQLite one (never on
// Windows, whose registry is the system's).
inline bool etcd_backend() {
  const char* backend = std::getenv("NEV_TEST_BACKEND");
  return backend != nullptr && std::string(backend) == "etcd";
}

#ifndef _WIN32
// The cluster of this test process, started on first use.
inline test_support::Etcd_cluster& test_cluster() {
  static test_support::Etcd_cluster cluster(1);
  return cluster;
}
#endif

class Hive_test : public ::testing::Test {
 protected:
  void SetUp() override {
    m_folder = kov_test::make_temp_dir("nev-registry");
    ASSERT_FALSE(m_folder.empty());
#ifndef _WIN32
    if (etcd_backend()) {
      static int tests = 0;
      m_store = test_cluster().location("t" + std::to_string(kov_test::process_id()) + "-" + std::to_string(++tests));
    }
#endif
    kov_test::fresh_registry();  // Windows: the system's registry, emptied
    kov_test::set_env("NEV_REGISTRY", hive().c_str());
    kov_test::set_env("NEV_REGISTRY_MACHINES", machines().c_str());
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }

  const std::string& folder() const { return m_folder; }
  // This machine's hive, and the location of named machines' hives.
  std::string hive() const { return m_store.empty() ? m_folder + "/hive.db" : m_store + "/local"; }
  std::string machines() const { return m_store.empty() ? m_folder + "/machines" : m_store + "/machines"; }
  // The hive of machine `name`.
  std::string machine_hive(const std::string& name) const {
    return machines() + "/" + name + (m_store.empty() ? ".db" : "");
  }

 private:
  std::string m_folder;
  std::string m_store;
};

// Skips a test about the files of the SQLite hive when the hives are in etcd.
#define SKIP_UNLESS_FILE_HIVE() \
  if (etcd_backend()) GTEST_SKIP() << "about hive files only"

// The sanitizers' runtimes cannot follow a child that a process forks while
// another of its threads runs, and the etcd hive's watch is such a thread:
// ThreadSanitizer ends the child (exit 66), and AddressSanitizer's allocator
// may be copied locked, so the child blocks at its next allocation. Tests
// that fork processes which use an etcd hive skip under either.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool UNDER_SANITIZER = true;
#else
constexpr bool UNDER_SANITIZER = false;
#endif
#define SKIP_FORKED_ETCD_UNDER_SANITIZERS() \
  if (UNDER_SANITIZER && etcd_backend())   \
  GTEST_SKIP() << "a sanitizer's runtime cannot follow a child forked beside the etcd hive's watch thread"

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

// A change that sets the DWORD value `name` of HKLM\\key to `number`.
inline nev::Nev_reg_change set_change(const std::u16string& key, const std::u16string& name, std::uint32_t number) {
  nev::Nev_reg_change change;
  change.kind = nev::Nev_reg_change::SET_VALUE;
  change.root = HKLM;
  change.key = key;
  change.value.name = name;
  change.value.type = nev::NEV_REG_DWORD;
  change.value.data = {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8), 0, 0};
  return change;
}

// The DWORD value `name` of HKLM\key, expecting to read it.
inline std::uint32_t number_of(const std::u16string& key, const std::u16string& name) {
  nev::Nev_status status;
  std::uint32_t number = 0;
  nev::nev_get_reg_uint_value(HKLM, key, u"", name, number, status);
  EXPECT_STATUS_OK(status);
  return number;
}
