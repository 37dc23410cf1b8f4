// Nev_file and Nev_path against real files in a scratch folder.
#include "nev/file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "nev/codes.h"
#include "nev/strings.h"
#include "scratch_dir.h"

namespace nev {
namespace {

using test::read_file;
using test::Scratch_dir;
using test::write_file;

void write_text(Nev_file& file, const std::string& text) {
  Nev_status status;
  EXPECT_EQ(file.write(text.data(), static_cast<std::uint32_t>(text.size()), status), text.size());
  EXPECT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
}

TEST(NevFile, OpenAlwaysForWritingAppendsToAnExistingFile) {
  Scratch_dir dir;
  const std::u16string path = dir.file(u"default.dgn");
  for (const char* line : {"first run\n", "second run\n"}) {
    Nev_file file;
    Nev_status status;
    file.open(path, NEV_FILE_OPEN_ALWAYS, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_NONE, status);
    ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
    ASSERT_TRUE(file.is_open());
    write_text(file, line);
  }
  EXPECT_EQ(read_file(path), "first run\nsecond run\n");
}

TEST(NevFile, OpenModesOnExistingAndMissingFiles) {
  struct Case {
    Nev_file_open open;
    bool file_exists;
    bool opens;
    std::string content_after;  // what the file holds after "new" was written
  };
  const Case cases[] = {
      {NEV_FILE_OPEN_EXISTING, true, true, "new"},  // written over from the start
      {NEV_FILE_OPEN_EXISTING, false, false, ""},
      {NEV_FILE_CREATE_NEW, true, false, "old"},
      {NEV_FILE_CREATE_NEW, false, true, "new"},
      {NEV_FILE_OPEN_ALWAYS, true, true, "oldnew"},
      {NEV_FILE_OPEN_ALWAYS, false, true, "new"},
      {NEV_FILE_CREATE_ALWAYS, true, true, "new"},
      {NEV_FILE_CREATE_ALWAYS, false, true, "new"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "open " << c.open << ", exists " << c.file_exists);
    Scratch_dir dir;
    const std::u16string path = dir.file(u"file.bin");
    if (c.file_exists) write_file(path, "old");
    Nev_file file;
    Nev_status status;
    status = NEV_E_NOT_AVAILABLE;  // cleared by a successful open
    file.open(path, c.open, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_NONE, status);
    EXPECT_EQ(file.is_open(), c.opens);
    if (c.opens) {
      EXPECT_EQ(status.code(), 0u);
      write_text(file, "new");
      file.close();
      EXPECT_FALSE(file.is_open());
      EXPECT_EQ(read_file(path), c.content_after);
    } else {
      EXPECT_EQ(status.code(), NEV_E_FILE_OPEN);
      EXPECT_EQ(status.argument(0, 0), path);
      EXPECT_FALSE(status.argument(0, 1).empty());
      EXPECT_EQ(read_file(path), c.content_after);
    }
  }
}

TEST(NevFile, FailuresNameThePathAndTheReason) {
  Scratch_dir dir;
  Nev_status status;
  Nev_file file;

  const std::u16string missing = dir.file(u"no-such-folder/x.dgn");
  file.open(missing, NEV_FILE_OPEN_ALWAYS, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_NONE, status);
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(status.code(), NEV_E_FILE_OPEN);
  EXPECT_EQ(status.argument(0, 0), missing);
  EXPECT_EQ(status.argument(0, 1), u"No such file or directory");
  EXPECT_NE(nev_status_text(status).find(missing), std::u16string::npos);

  // A security descriptor has no meaning here and is refused.
  const int descriptor = 0;
  file.open(dir.file(u"x"), NEV_FILE_OPEN_ALWAYS, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_NONE, status, &descriptor);
  EXPECT_EQ(status.code(), NEV_E_FILE_OPEN);
  EXPECT_FALSE(file.is_open());

  // Writing through a handle opened for reading, and through a closed one.
  const std::u16string path = dir.file(u"read-only.txt");
  write_file(path, "abc");
  file.open(path, NEV_FILE_OPEN_EXISTING, NEV_FILE_READ, 0, NEV_FILE_SHARE_READ, status);
  ASSERT_TRUE(file.is_open());
  EXPECT_EQ(file.write("x", 1, status), 0u);
  EXPECT_EQ(status.code(), NEV_E_FILE_WRITE);
  EXPECT_EQ(status.argument(0, 0), path);
  file.close();
  file.close();  // a second close does nothing
  EXPECT_EQ(file.write("x", 1, status), 0u);
  EXPECT_EQ(status.code(), NEV_E_FILE_WRITE);
  char byte = 0;
  EXPECT_EQ(file.read(&byte, 1, status), 0u);
  EXPECT_EQ(status.code(), NEV_E_FILE_READ);
  EXPECT_EQ(read_file(path), "abc");
}

TEST(NevFile, ReadingSizeAndLargeWrites) {
  Scratch_dir dir;
  const std::u16string path = dir.file(u"data.bin");
  std::vector<char> block(3 * 1024 * 1024 + 7);
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 31 + 7);

  Nev_status status;
  Nev_file file;
  file.open(path, NEV_FILE_CREATE_ALWAYS, NEV_FILE_READ_WRITE, 0, NEV_FILE_SHARE_NONE, status);
  ASSERT_TRUE(status.ok());
  EXPECT_EQ(file.write(block.data(), static_cast<std::uint32_t>(block.size()), status), block.size());
  EXPECT_EQ(file.size(status), block.size());
  EXPECT_TRUE(status.ok());

  // read_at leaves the position alone; read moves it and gives 0 at the end.
  char probe[4] = {};
  EXPECT_EQ(file.read_at(1000, probe, 4, status), 4u);
  EXPECT_EQ(std::string(probe, 4), std::string(block.data() + 1000, 4));
  EXPECT_EQ(file.read_at(block.size() - 2, probe, 4, status), 2u);
  EXPECT_TRUE(status.ok());
  file.close();

  file.open(path, NEV_FILE_OPEN_EXISTING, NEV_FILE_READ, 0, NEV_FILE_SHARE_READ, status);
  std::vector<char> back(block.size() + 10);
  EXPECT_EQ(file.read(back.data(), static_cast<std::uint32_t>(back.size()), status), block.size());
  back.resize(block.size());
  EXPECT_EQ(back, block);
  EXPECT_EQ(file.read(probe, 4, status), 0u);
  EXPECT_TRUE(status.ok());
}

TEST(NevFile, OpeningAgainClosesTheFileHeldAndNamesAreUtf8) {
  Scratch_dir dir;
  const std::u16string first = dir.file(u"Gr\u00FC\u00DFe \u65E5\u672C.txt");
  const std::u16string second = dir.file(u"second.txt");
  Nev_status status;
  Nev_file file;
  file.open(first, NEV_FILE_CREATE_NEW, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_NONE, status);
  ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
  write_text(file, "1");
  file.open(second, NEV_FILE_CREATE_NEW, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_NONE, status);
  write_text(file, "2");
  file.close();
  EXPECT_TRUE(std::filesystem::exists(dir.path() / "Gr\xC3\xBC\xC3\x9F" "e \xE6\x97\xA5\xE6\x9C\xAC.txt"));
  EXPECT_EQ(read_file(first), "1");
  EXPECT_EQ(read_file(second), "2");

  // A failed open leaves the file closed, even when one was open before.
  file.open(first, NEV_FILE_OPEN_EXISTING, NEV_FILE_READ, 0, NEV_FILE_SHARE_READ, status);
  ASSERT_TRUE(file.is_open());
  file.open(dir.file(u"missing"), NEV_FILE_OPEN_EXISTING, NEV_FILE_READ, 0, NEV_FILE_SHARE_READ, status);
  EXPECT_FALSE(file.is_open());
}

TEST(NevPath, JoinsWithOneSeparator) {
  struct Case {
    std::u16string directory, name, joined;
  };
  const Case cases[] = {
      {u".", u"default.dgn", u"./default.dgn"},
      {u"/var/log", u"svc000.dgn", u"/var/log/svc000.dgn"},
      {u"/var/log/", u"svc000.dgn", u"/var/log/svc000.dgn"},
      {u"", u"default.dgn", u"default.dgn"},
      {u"/", u"x", u"/x"},
      {u"a", u"", u"a/"},
  };
  for (const Case& c : cases) {
    const Nev_path path(c.directory, c.name);
    const std::u16string& text = path;
    EXPECT_EQ(text, c.joined);
    EXPECT_EQ(path.str(), c.joined);
  }
  EXPECT_EQ(Nev_path::separator(), u'/');
  EXPECT_EQ(Nev_path(u"as/it/is//").str(), u"as/it/is//");
}

}  // namespace
}  // namespace nev
