// Nev_file and Nev_path against real files in a scratch folder.
#include "nev/file.h"

#include <gtest/gtest.h>

#include <string>

#include "nev/codes.h"
#include "scratch_dir.h"

namespace nev {
namespace {

using test::read_file;

std::uint32_t write_text(Nev_file& file, const std::string& text, Nev_status& status) {
  return file.write(text.data(), static_cast<std::uint32_t>(text.size()), status);
}

TEST(NevFile, OpenModesOnExistingAndMissingFiles) {
  struct Case {
    Nev_file_open open;
    bool exists, opens;
    std::string after;  // the content once "new" was written
  };
  const Case cases[] = {
      {NEV_FILE_OPEN_EXISTING, true, true, "new"},  {NEV_FILE_OPEN_EXISTING, false, false, ""},
      {NEV_FILE_CREATE_NEW, true, false, "old"},    {NEV_FILE_CREATE_NEW, false, true, "new"},
      {NEV_FILE_OPEN_ALWAYS, true, true, "oldnew"}, {NEV_FILE_OPEN_ALWAYS, false, true, "new"},
      {NEV_FILE_CREATE_ALWAYS, true, true, "new"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "open " << c.open << ", exists " << c.exists);
    test::Scratch_dir dir;
    const std::u16string path = dir.file(u"f.dgn");
    if (c.exists) test::write_file(path, "old");
    Nev_file file;
    Nev_status status;
    status = NEV_E_NOT_AVAILABLE;
    file.open(path, c.open, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_NONE, status);
    EXPECT_EQ(file.is_open(), c.opens);
    EXPECT_EQ(status.code(), c.opens ? 0u : NEV_E_FILE_OPEN);
    if (c.opens) {
      EXPECT_EQ(write_text(file, "new", status), 3u);
    }
    file.close();
    EXPECT_EQ(read_file(path), c.after);
  }
}

TEST(NevFile, FailuresNameThePathAndTheReason) {
  test::Scratch_dir dir;
  Nev_status status;
  Nev_file file;
  const std::u16string missing = dir.file(u"no-folder/x.dgn");
  file.open(missing, NEV_FILE_OPEN_ALWAYS, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_NONE, status);
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(status.code(), NEV_E_FILE_OPEN);
  EXPECT_EQ(status.argument(0, 0), missing);
  EXPECT_EQ(status.argument(0, 1), u"No such file or directory");

  const int security = 0;  // no security descriptors here
  file.open(dir.file(u"x"), NEV_FILE_OPEN_ALWAYS, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_NONE, status, &security);
  EXPECT_EQ(status.code(), NEV_E_FILE_OPEN);

  const std::u16string path = dir.file(u"read-only.txt");
  test::write_file(path, "abc");
  file.open(path, NEV_FILE_OPEN_EXISTING, NEV_FILE_READ, 0, NEV_FILE_SHARE_READ, status);
  EXPECT_EQ(write_text(file, "x", status), 0u);
  EXPECT_EQ(status.code(), NEV_E_FILE_WRITE);
  EXPECT_EQ(status.argument(0, 0), path);
  // A failed open closes the file that was open.
  file.open(missing, NEV_FILE_OPEN_EXISTING, NEV_FILE_READ, 0, NEV_FILE_SHARE_READ, status);
  EXPECT_FALSE(file.is_open());
  char byte = 0;
  EXPECT_EQ(file.read(&byte, 1, status), 0u);
  EXPECT_EQ(status.code(), NEV_E_FILE_READ);
}

TEST(NevFile, LargeWritesReadsAndUtf8Names) {
  test::Scratch_dir dir;
  const std::u16string path = dir.file(u"Gr\u00FC\u00DFe \u65E5\u672C.bin");
  std::string block(3 * 1024 * 1024 + 7, '\0');
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 31 + 7);
  Nev_status status;
  Nev_file file;
  file.open(path, NEV_FILE_CREATE_NEW, NEV_FILE_READ_WRITE, 0, NEV_FILE_SHARE_NONE, status);
  EXPECT_EQ(write_text(file, block, status), block.size());
  EXPECT_EQ(file.size(status), block.size());
  std::string back(block.size() + 10, '#');
  EXPECT_EQ(file.read_at(0, back.data(), static_cast<std::uint32_t>(back.size()), status), block.size());
  EXPECT_TRUE(status.ok());
  EXPECT_TRUE(back.substr(0, block.size()) == block);
  EXPECT_TRUE(read_file(path) == block);
}

TEST(NevPath, JoinsWithOneSeparator) {
  const std::u16string cases[][3] = {{u".", u"default.dgn", u"./default.dgn"},
                                     {u"/var/log/", u"a.dgn", u"/var/log/a.dgn"},
                                     {u"", u"default.dgn", u"default.dgn"},
                                     {u"/", u"x", u"/x"}};
  for (const auto& c : cases) {
    const Nev_path path(c[0], c[1]);
    const std::u16string& joined = path;
    EXPECT_EQ(joined, c[2]);
  }
  EXPECT_EQ(Nev_path::separator(), u'/');
}

}  // namespace
}  // namespace nev
