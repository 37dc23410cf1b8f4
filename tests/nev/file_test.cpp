// Files, paths, input streams and loadable libraries, against real files in
// a scratch folder. Library loading can fail three ways: no file, a file that
// is no library, no such entry point.
#include <gtest/gtest.h>
#include "portable.h"

#include <fstream>
#include <memory>
#include <string>

#include "nev/codes.h"
#include "nev/file.h"
#include "nev/library.h"
#include "nev/stream.h"
#include "scratch_dir.h"

namespace nev {
namespace {

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
    EXPECT_EQ(test::read_file(path), c.after);
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
  EXPECT_EQ(status.argument(0, 1), kov_test::missing_folder_text());

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

  // Asked for a regular file, a device is refused with that reason, and a
  // regular file (existing or made) opens for ordinary blocking writes.
#ifdef _WIN32
  const std::u16string device = u"NUL";
#else
  const std::u16string device = u"/dev/null";
#endif
  file.open(device, NEV_FILE_OPEN_ALWAYS, NEV_FILE_WRITE, NEV_FILE_REGULAR_ONLY, NEV_FILE_SHARE_NONE, status);
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(status.code(), NEV_E_FILE_OPEN);
  EXPECT_EQ(status.argument(0, 1), u"not a regular file");
  for (const std::u16string& name : {path, dir.file(u"made.txt")}) {
    file.open(name, NEV_FILE_OPEN_ALWAYS, NEV_FILE_WRITE, NEV_FILE_REGULAR_ONLY, NEV_FILE_SHARE_NONE, status);
    EXPECT_TRUE(status.ok());
    EXPECT_EQ(write_text(file, std::string(1 << 20, 'x'), status), 1u << 20);
  }
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
  file.close();  // opened without sharing: on Windows nobody else may read it meanwhile
  EXPECT_TRUE(test::read_file(path) == block);
}

TEST(NevPath, JoinsWithOneSeparator) {
  const std::u16string cases[][3] = {{u".", u"default.dgn", u"./default.dgn"}, {u"", u"default.dgn", u"default.dgn"},
                                     {u"/var/log/", u"a.dgn", u"/var/log/a.dgn"}, {u"/", u"x", u"/x"}};
  for (const auto& c : cases) {
    const Nev_path path(c[0], c[1]);
    const std::u16string& from_object = path;
    // Bound to a temporary: must stay valid beyond the statement (the
    // sanitizer build sees a dangling one).
    const std::u16string& from_temporary = Nev_path(c[0], c[1]);
    const std::u16string& from_text = Nev_path(c[0], c[1]).str();
    // The joint is the platform's separator; a trailing "/" counts as one.
    std::u16string joined = c[2];
    if (!c[0].empty() && c[0].back() != u'/') joined[c[0].size()] = kov_test::PATH_SEPARATOR;
    EXPECT_EQ(from_object, joined);
    EXPECT_EQ(from_temporary, joined);
    EXPECT_EQ(from_text, joined);
  }
  EXPECT_EQ(Nev_path(u"/only/one").str(), u"/only/one");
  EXPECT_EQ(Nev_path::separator(), kov_test::PATH_SEPARATOR);
}

const std::string CONTENT("0123456789\0abcdef", 17);

class NevStreams : public testing::TestWithParam<bool> {
 protected:
  std::unique_ptr<Nev_istream> make_stream() {
    if (!GetParam()) return std::make_unique<Nev_memory_istream>(CONTENT.data(), CONTENT.size());
    test::write_file(m_dir.file(u"s.bin"), CONTENT);
    auto stream = std::make_unique<Nev_file_istream>();
    Nev_status status;
    stream->open(m_dir.file(u"s.bin"), status);
    EXPECT_TRUE(status.ok());
    return stream;
  }
  test::Scratch_dir m_dir;
};

TEST_P(NevStreams, ReadAtReportsTheEndOfTheStream) {
  struct Case { std::uint64_t offset; std::uint32_t count; std::string bytes; std::uint32_t code; };
  const Case cases[] = {
      {10, 3, std::string("\0ab", 3), 0},   {16, 1, "f", 0},
      {14, 10, "def", NEV_END_OF_STREAM},   {17, 1, "", NEV_END_OF_STREAM},
      {18, 1, "", NEV_END_OF_STREAM},       {17, 0, "", NEV_END_OF_STREAM},
      {5, 0, "", 0},                        {0x100000000ull, 1, "", NEV_END_OF_STREAM},
      {~0ull, 1, "", NEV_END_OF_STREAM},
  };
  auto stream = make_stream();
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "offset " << c.offset << ", count " << c.count);
    std::string buffer(c.count + 4, '#');
    Nev_status status;
    status = NEV_E_FILE_READ;  // cleared by the read
    const std::uint32_t read = stream->read_at(c.offset, c.count, buffer.data(), status);
    EXPECT_EQ(buffer, c.bytes + std::string(buffer.size() - c.bytes.size(), '#'));
    EXPECT_EQ(read, c.bytes.size());
    EXPECT_EQ(status.code(), c.code);
    EXPECT_EQ(status.depth(), c.code == 0 ? 0u : 1u);
  }
  EXPECT_EQ(stream->position(), 0u);

  Nev_status status;
  char bytes[8];
  stream->seek(14, status);
  EXPECT_EQ(stream->read(bytes, 8, status), 3u);
  EXPECT_EQ(status.code(), NEV_END_OF_STREAM);
  EXPECT_EQ(stream->position(), 17u);
  stream->seek(1, status);
  EXPECT_EQ(stream->read(bytes, 2, status), 2u);
  EXPECT_EQ(std::string(bytes, 2), "12");
  EXPECT_TRUE(status.ok());
}

INSTANTIATE_TEST_SUITE_P(MemoryAndFile, NevStreams, testing::Bool());

TEST(NevFileIstream, OffsetsBeyondFourGigabytesAndFailures) {
  test::Scratch_dir dir;
  const std::u16string path = dir.file(u"sparse.bin");
  constexpr std::uint64_t FAR = 0x100000000ull;
  std::ofstream(nev_to_utf8(path), std::ios::binary).seekp(static_cast<std::streamoff>(FAR)) << "XY";
  Nev_file_istream stream;
  Nev_status status;
  stream.open(path, status);
  EXPECT_EQ(stream.size(status), FAR + 2);
  char bytes[3] = {};
  EXPECT_EQ(stream.read_at(FAR - 1, 3, bytes, status), 3u);
  EXPECT_EQ(std::string(bytes, 3), std::string("\0XY", 3));
  EXPECT_EQ(stream.read_at(FAR + 1, 2, bytes, status), 1u);
  EXPECT_EQ(status.code(), NEV_END_OF_STREAM);

  // A stream that did not open fails to read: that is no end of stream.
  stream.open(dir.file(u"missing"), status);
  EXPECT_EQ(status.code(), NEV_E_FILE_OPEN);
  EXPECT_EQ(stream.read_at(0, 1, bytes, status), 0u);
  EXPECT_EQ(status.code(), NEV_E_FILE_READ);
}

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
  EXPECT_NE(status.argument(0, 1).find(kov_test::system_text(127, u"undefined symbol")), std::u16string::npos);
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
      {dir.file(u"missing.so"), kov_test::system_text(126, u"No such file")},
      {text_file, kov_test::system_text(193, u"not-a-library.so")},
      {u"", kov_test::system_text(126, u"No such file")}};
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
