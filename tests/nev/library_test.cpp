// Loading a small library built beside the tests, and the three ways loading
// can fail: no file, a file that is no library, no such entry point.
#include "nev/library.h"

#include <gtest/gtest.h>

#include "nev/codes.h"
#include "scratch_dir.h"

namespace nev {
namespace {

using Int_function = int (*)();
const std::u16string LIBRARY_PATH = nev_from_utf8(NEV_LOADABLE_LIBRARY);

Int_function lookup(Nev_library library, const std::string& name) {
  Nev_status status;
  void* address = nev_lookup_function(library, name, status);
  EXPECT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
  return reinterpret_cast<Int_function>(address);
}

TEST(NevLibrary, LoadsLooksUpAndUnloads) {
  Nev_status status;
  status = NEV_E_LIBRARY_LOAD;
  Nev_library library = nev_load_library(LIBRARY_PATH, status);
  ASSERT_NE(library, nullptr) << nev_to_utf8(nev_status_text(status));
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(lookup(library, "nev_loadable_answer")(), 42);

  // Two loads need two unloads; after the last one a new load starts afresh.
  Nev_library again = nev_load_library(LIBRARY_PATH, status);
  const Int_function count = lookup(library, "nev_loadable_count");
  EXPECT_EQ(count(), 1);
  nev_unload_library(library, status);
  EXPECT_EQ(count(), 2);
  nev_unload_library(again, status);
  EXPECT_EQ(status.code(), 0u);
  library = nev_load_library(LIBRARY_PATH, status);
  EXPECT_EQ(lookup(library, "nev_loadable_count")(), 1);

  EXPECT_EQ(nev_lookup_function(library, "gan_get_factory", status), nullptr);
  EXPECT_EQ(status.code(), NEV_E_FUNCTION_NOT_FOUND);
  EXPECT_EQ(status.argument(0, 0), u"gan_get_factory");
  EXPECT_NE(status.argument(0, 1).find(u"undefined symbol"), std::u16string::npos);
  // A null handle is no library, not the whole process.
  EXPECT_EQ(nev_lookup_function(nullptr, "nev_load_library", status), nullptr);
  EXPECT_EQ(status.code(), NEV_E_FUNCTION_NOT_FOUND);
  nev_unload_library(nullptr, status);
  EXPECT_EQ(status.code(), NEV_E_LIBRARY_UNLOAD);
  EXPECT_FALSE(status.argument(0, 0).empty());
  nev_unload_library(library, status);
  EXPECT_TRUE(status.ok());
}

TEST(NevLibrary, LoadFailuresCarryThePathAndTheLinkersReason) {
  test::Scratch_dir dir;
  const std::u16string text_file = dir.file(u"not-a-library.so");
  test::write_file(text_file, "this is text, not machine code\n");
  const std::pair<std::u16string, std::u16string> cases[] = {
      {dir.file(u"missing.so"), u"No such file"}, {text_file, u"not-a-library.so"}, {u"", u"No such file"}};
  for (const auto& [path, reason_part] : cases) {
    Nev_status status;
    EXPECT_EQ(nev_load_library(path, status), nullptr);
    EXPECT_EQ(status.code(), NEV_E_LIBRARY_LOAD);
    EXPECT_EQ(status.argument(0, 0), path);
    EXPECT_NE(status.argument(0, 1).find(reason_part), std::u16string::npos) << nev_to_utf8(status.argument(0, 1));
  }
}

}  // namespace
}  // namespace nev
