// Plug-in libraries that others could change, or that the registry names by
// a relative path, are never loaded: not a line of their code runs.
#ifdef _WIN32
#include "portable.h"  // <windows.h> first
#include <aclapi.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <filesystem>
#include <string>

#include "kov/codes.h"
#include "nev/codes.h"
#include "nev/library.h"
#include "plugin_test_support.h"
#include "sample_types.h"

namespace {

using namespace plugin_test;
using namespace kovsample;

#ifndef _WIN32
constexpr uid_t NOBODY = 65534;
#endif

using Trust = Sample_hive;

TEST_F(Trust, LibrariesOthersCouldChangeOrNamedRelativelyAreNotLoaded) {
#ifdef _WIN32
  // Windows has no mode bits to open a copy to others with; the paths named
  // relatively are refused there as here (access lists: see design.md).
  for (const char* relative : {"kovsample_shapes.dll", ".\\plugins\\kovsample_shapes.dll"}) {
    SCOPED_TRACE(relative);
    set_string(plugin_key(u"Shapes", CIRCLE_TYPE), u"ImagePath", wide(relative));
    const Outcome outcome = create(u"Shapes", CIRCLE_TYPE);
    EXPECT_FALSE(outcome.created);
    expect_stack(outcome.status,
                 {{kov::KOV_E_CREATE_INSTANCE, {u"Shapes"}}, {nev::NEV_E_UNTRUSTED_FILE, {wide(relative), u"*"}}});
    if (outcome.status.depth() == 2) {
      const std::string reason = nev::nev_to_utf8(outcome.status.argument(1, 1));
      EXPECT_NE(reason.find("is not absolute"), std::string::npos) << reason;
    }
    EXPECT_EQ(events("load"), std::vector<std::string>()) << "the library's code ran";
  }
#else
  struct Case {
    const char* name;
    mode_t folder_mode;
    mode_t library_mode;
    uid_t library_owner;
    const char* image_path;  // null: the copy in the case's folder
    const char* why;
  };
  const uid_t me = ::geteuid();
  const Case cases[] = {
      {"open-folder", 0777, 0755, me, nullptr, "may be written by group or others (mode 0777)"},
      {"group-folder", 0775, 0755, me, nullptr, "may be written by group or others (mode 0775)"},
      {"open-library", 0755, 0666, me, nullptr, "may be written by group or others (mode 0666)"},
      {"foreign-library", 0755, 0755, NOBODY, nullptr, "is owned by user 65534"},
      {"bare", 0755, 0755, me, "libkovsample_shapes.so", "is not absolute"},
      {"relative", 0755, 0755, me, "./plugins/libkovsample_shapes.so", "is not absolute"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.library_owner != me && me != 0) continue;  // only root gives files away
    const std::string folder = work_dir() + "/" + c.name;
    const std::string copy = folder + "/libshapes.so";
    std::filesystem::create_directory(folder);
    std::filesystem::copy_file(SHAPES_PATH, copy);
    ASSERT_EQ(::chown(copy.c_str(), c.library_owner, static_cast<gid_t>(-1)), 0);
    ASSERT_EQ(::chmod(copy.c_str(), c.library_mode), 0);
    ASSERT_EQ(::chmod(folder.c_str(), c.folder_mode), 0);
    const std::string path = c.image_path != nullptr ? c.image_path : copy;
    set_string(plugin_key(u"Shapes", CIRCLE_TYPE), u"ImagePath", wide(path));
    const Outcome outcome = create(u"Shapes", CIRCLE_TYPE);
    EXPECT_FALSE(outcome.created);
    const std::string refused = c.folder_mode != 0755 ? folder : path;
    expect_stack(outcome.status, {{kov::KOV_E_CREATE_INSTANCE, {u"Shapes"}}, {nev::NEV_E_UNTRUSTED_FILE, {wide(path), u"*"}}});
    if (outcome.status.depth() == 2) {
      const std::string reason = nev::nev_to_utf8(outcome.status.argument(1, 1));
      EXPECT_NE(reason.find(c.why), std::string::npos) << reason;
      EXPECT_NE(reason.find(refused), std::string::npos) << reason;
    }
    EXPECT_EQ(events("load"), std::vector<std::string>()) << "the library's code ran";
  }
#endif
  // The library where it was built passes, and the same checks are offered
  // to hosts of their own.
  set_string(plugin_key(u"Shapes", CIRCLE_TYPE), u"ImagePath", wide(SHAPES_PATH));
  EXPECT_TRUE(create(u"Shapes", CIRCLE_TYPE).created);
  nev::Nev_status status;
  nev::nev_check_library(u"shapes.so", status);
  EXPECT_EQ(status.code(), nev::NEV_E_UNTRUSTED_FILE);
  nev::nev_check_library(wide(SHAPES_PATH), status);
  EXPECT_TRUE(status.ok());
}

#ifdef _WIN32
// Gives everybody the right to write `path`; false when the system keeps
// no access lists here.
bool open_to_everybody(const std::string& path) {
  EXPLICIT_ACCESS_W entry{};
  entry.grfAccessPermissions = FILE_GENERIC_WRITE;
  entry.grfAccessMode = GRANT_ACCESS;
  entry.Trustee.TrusteeForm = TRUSTEE_IS_NAME;
  entry.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
  wchar_t everyone[] = L"EVERYONE";
  entry.Trustee.ptstrName = everyone;
  PACL list = nullptr;
  if (SetEntriesInAclW(1, &entry, nullptr, &list) != ERROR_SUCCESS) return false;
  std::wstring wide_path = std::filesystem::path(path).wstring();
  const DWORD result = SetNamedSecurityInfoW(wide_path.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                             nullptr, list, nullptr);
  LocalFree(list);
  return result == ERROR_SUCCESS;
}

// A copy of the library, or its folder, that everybody may write is
// refused; the same copy in a folder of its own, untouched, passes.
TEST_F(Trust, LibrariesEverybodyMayWriteAreRefused) {
  for (const char* opened : {"", "library", "folder"}) {
    SCOPED_TRACE(*opened ? opened : "none");
    const std::string folder = work_dir() + "/open-" + (*opened ? opened : "none");
    const std::string copy = folder + "/shapes.dll";
    std::filesystem::create_directory(folder);
    std::filesystem::copy_file(SHAPES_PATH, copy);
    if (*opened && !open_to_everybody(std::string(opened) == "library" ? copy : folder)) {
      GTEST_SKIP() << "the system keeps no access lists for these files";
    }
    nev::Nev_status status;
    nev::nev_check_library(wide(copy), status);
    if (!*opened) {
      EXPECT_TRUE(status.ok()) << nev::nev_to_utf8(nev::nev_status_text(status));
      continue;
    }
    EXPECT_EQ(status.code(), nev::NEV_E_UNTRUSTED_FILE);
    EXPECT_NE(nev::nev_to_utf8(nev::nev_status_text(status)).find("other users may change it"), std::string::npos)
        << nev::nev_to_utf8(nev::nev_status_text(status));
  }
}
#endif

TEST_F(Trust, KovplugRegistersTheCanonicalAbsolutePath) {
  const std::string type = "{6F1C2A10-3B4D-4E5F-8A9B-0C1D2E3F4A01}";
  const std::filesystem::path library(SHAPES_PATH);
  const std::string relative = "../" + library.parent_path().filename().string() + "/./" + library.filename().string();
  std::string output;
  const std::string command = "cd " + library.parent_path().string() + " && " + KOVPLUG_PATH + " register Rings " +
                              type + " " + relative;
  ASSERT_EQ(run_command(command, &output), 0) << output;
  nev::Nev_status status;
  std::u16string stored;
  nev::nev_get_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, u"Rings\\" + wide(type),
                                u"ImagePath", stored, status);
  EXPECT_EQ(nev::nev_to_utf8(stored), std::filesystem::canonical(library).string());

  // A folder name that is not ASCII (on Windows the path goes as UTF-16).
  const std::filesystem::path folder = std::filesystem::path(work_dir()) / std::filesystem::path(u8"\u00e9t\u00e9 \u20ac");
  std::filesystem::create_directories(folder);
  std::filesystem::copy_file(library, folder / library.filename(), std::filesystem::copy_options::overwrite_existing);
  const std::u8string copy = (folder / library.filename()).u8string();
  ASSERT_EQ(run_command(std::string(KOVPLUG_PATH) + " register Accents " + type + " \"" +
                            std::string(copy.begin(), copy.end()) + "\"", &output), 0) << output;
  nev::nev_get_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, u"Accents\\" + wide(type),
                                u"ImagePath", stored, status);
  const std::u8string canonical = std::filesystem::canonical(folder / library.filename()).u8string();
  EXPECT_EQ(nev::nev_to_utf8(stored), std::string(canonical.begin(), canonical.end()));
  EXPECT_NE(run_command(std::string(KOVPLUG_PATH) + " register Rings " + type + " " + work_dir() + "/none.so", &output),
            0);
  EXPECT_NE(output.find("none.so"), std::string::npos) << output;
}

}  // namespace
