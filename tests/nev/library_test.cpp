// Loading a real library built beside the tests, and the three ways loading
// can fail: no file, a file that is no library, no such entry point.
#include "nev/library.h"

#include <gtest/gtest.h>

#include <string>

#include "nev/codes.h"
#include "nev/strings.h"
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
  status = NEV_E_LIBRARY_LOAD;  // success clears what was held
  Nev_library library = nev_load_library(LIBRARY_PATH, status);
  ASSERT_NE(library, nullptr) << nev_to_utf8(nev_status_text(status));
  EXPECT_EQ(status.code(), 0u);

  const Int_function answer = lookup(library, "nev_loadable_answer");
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(), 42);

  // A second load counts: the first unload leaves the library in place.
  Nev_library again = nev_load_library(LIBRARY_PATH, status);
  ASSERT_NE(again, nullptr);
  const Int_function count = lookup(library, "nev_loadable_count");
  EXPECT_EQ(count(), 1);
  nev_unload_library(library, status);
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(count(), 2);
  nev_unload_library(again, status);
  EXPECT_EQ(status.code(), 0u);

  // Gone for good: a new load starts with fresh statics.
  library = nev_load_library(LIBRARY_PATH, status);
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(lookup(library, "nev_loadable_count")(), 1);
  nev_unload_library(library, status);
  EXPECT_TRUE(status.ok());
}

TEST(NevLibrary, LoadFailuresCarryThePathAndTheLinkersReason) {
  test::Scratch_dir dir;
  const std::u16string not_a_library = dir.file(u"not-a-library.so");
  test::write_file(not_a_library, "this is text, not machine code\n");

  struct Case {
    std::u16string path;
    std::u16string reason_part;  // a piece of the dynamic linker's text
  };
  const Case cases[] = {
      {dir.file(u"missing.so"), u"No such file"},
      {not_a_library, u"not-a-library.so"},
      {dir.file(u""), u""},  // a folder
      {u"", u"No such file"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(nev_to_utf8(c.path));
    Nev_status status;
    EXPECT_EQ(nev_load_library(c.path, status), nullptr);
    EXPECT_EQ(status.code(), NEV_E_LIBRARY_LOAD);
    EXPECT_EQ(status.argument(0, 0), c.path);
    const std::u16string reason = status.argument(0, 1);
    EXPECT_FALSE(reason.empty());
    EXPECT_NE(reason.find(c.reason_part), std::u16string::npos) << nev_to_utf8(reason);
  }
}

TEST(NevLibrary, LookupAndUnloadFailures) {
  Nev_status status;
  Nev_library library = nev_load_library(LIBRARY_PATH, status);
  ASSERT_NE(library, nullptr);

  EXPECT_EQ(nev_lookup_function(library, "gan_get_factory", status), nullptr);
  EXPECT_EQ(status.code(), NEV_E_FUNCTION_NOT_FOUND);
  EXPECT_EQ(status.argument(0, 0), u"gan_get_factory");
  EXPECT_NE(status.argument(0, 1).find(u"undefined symbol"), std::u16string::npos)
      << nev_to_utf8(status.argument(0, 1));

  // A symbol of the process but not of this library is not found in it.
  EXPECT_EQ(nev_lookup_function(library, "nev_load_library", status), nullptr);
  EXPECT_EQ(status.code(), NEV_E_FUNCTION_NOT_FOUND);

  // No handle means no library, not "the whole process".
  EXPECT_EQ(nev_lookup_function(nullptr, "nev_loadable_answer", status), nullptr);
  EXPECT_EQ(status.code(), NEV_E_FUNCTION_NOT_FOUND);
  EXPECT_FALSE(status.argument(0, 1).empty());
  nev_unload_library(nullptr, status);
  EXPECT_EQ(status.code(), NEV_E_LIBRARY_UNLOAD);
  EXPECT_FALSE(status.argument(0, 0).empty());

  nev_unload_library(library, status);
  EXPECT_TRUE(status.ok());
}

}  // namespace
}  // namespace nev
