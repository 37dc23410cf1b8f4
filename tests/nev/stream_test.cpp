// Both streams must behave alike: each case runs on a memory stream and on a
// file stream over the same bytes.
#include "nev/stream.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>

#include "nev/codes.h"
#include "scratch_dir.h"

namespace nev {
namespace {

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
  struct Case {
    std::uint64_t offset;
    std::uint32_t count;
    std::string bytes;
    std::uint32_t code;
  };
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

}  // namespace
}  // namespace nev
