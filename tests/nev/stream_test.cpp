// Both streams of the foundation must behave alike; each case runs on a
// memory stream and on a file stream over the same bytes.
#include "nev/stream.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "nev/codes.h"
#include "nev/strings.h"
#include "scratch_dir.h"

namespace nev {
namespace {

const std::string CONTENT("0123456789\0abcdef", 17);

class NevStreams : public testing::TestWithParam<bool> {
 protected:
  // A stream over CONTENT: a file stream when the parameter is true.
  std::unique_ptr<Nev_istream> make_stream() {
    if (!GetParam()) return std::make_unique<Nev_memory_istream>(CONTENT.data(), CONTENT.size());
    const std::u16string path = m_dir.file(u"content.bin");
    test::write_file(path, CONTENT);
    auto stream = std::make_unique<Nev_file_istream>();
    Nev_status status;
    stream->open(path, status);
    EXPECT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
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
      {0, 4, "0123", 0},
      {10, 3, std::string("\0ab", 3), 0},
      {16, 1, "f", 0},
      {14, 10, "def", NEV_END_OF_STREAM},  // runs past the end: what is there
      {17, 1, "", NEV_END_OF_STREAM},      // at the end
      {18, 1, "", NEV_END_OF_STREAM},      // behind it
      {17, 0, "", NEV_END_OF_STREAM},
      {5, 0, "", 0},
      {0x100000000ull, 1, "", NEV_END_OF_STREAM},  // 64-bit offsets are not cut to 32 bits
      {0xFFFFFFFFFFFFFFFFull, 1, "", NEV_END_OF_STREAM},
  };
  auto stream = make_stream();
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "offset " << c.offset << ", count " << c.count);
    std::string buffer(c.count + 4, '#');
    Nev_status status;
    status = NEV_E_FILE_READ;  // read_at clears what was held
    const std::uint32_t read = stream->read_at(c.offset, c.count, buffer.data(), status);
    EXPECT_EQ(read, c.bytes.size());
    EXPECT_EQ(buffer.substr(0, read), c.bytes);
    EXPECT_EQ(buffer.substr(read), std::string(buffer.size() - read, '#'));  // nothing written beyond
    EXPECT_EQ(status.code(), c.code);
    EXPECT_EQ(status.depth(), c.code == 0 ? 0u : 1u);
  }
  EXPECT_EQ(stream->position(), 0u);  // read_at moves nothing
}

TEST_P(NevStreams, ReadMovesThePosition) {
  auto stream = make_stream();
  Nev_status status;
  EXPECT_EQ(stream->size(status), CONTENT.size());
  char buffer[8] = {};
  EXPECT_EQ(stream->read(buffer, 4, status), 4u);
  EXPECT_EQ(std::string(buffer, 4), "0123");
  EXPECT_EQ(stream->position(), 4u);
  stream->seek(14, status);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(stream->read(buffer, 8, status), 3u);
  EXPECT_EQ(status.code(), NEV_END_OF_STREAM);
  EXPECT_EQ(std::string(buffer, 3), "def");
  EXPECT_EQ(stream->position(), 17u);
  EXPECT_EQ(stream->read(buffer, 1, status), 0u);
  EXPECT_EQ(status.code(), NEV_END_OF_STREAM);
  stream->seek(1, status);
  EXPECT_EQ(stream->read(buffer, 2, status), 2u);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(std::string(buffer, 2), "12");
}

INSTANTIATE_TEST_SUITE_P(MemoryAndFile, NevStreams, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& param_info) {
                           return param_info.param ? std::string("File") : std::string("Memory");
                         });

TEST(NevFileIstream, OffsetsBeyondFourGigabytes) {
  test::Scratch_dir dir;
  const std::u16string path = dir.file(u"sparse.bin");
  constexpr std::uint64_t FAR = 0x100000000ull;
  {
    std::ofstream out(nev_to_utf8(path), std::ios::binary);
    out.seekp(static_cast<std::streamoff>(FAR));
    out << "XY";
  }
  Nev_file_istream stream;
  Nev_status status;
  stream.open(path, status);
  ASSERT_TRUE(status.ok());
  EXPECT_EQ(stream.size(status), FAR + 2);
  char bytes[3] = {};
  EXPECT_EQ(stream.read_at(FAR - 1, 3, bytes, status), 3u);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(std::string(bytes, 3), std::string("\0XY", 3));
  EXPECT_EQ(stream.read_at(FAR + 1, 2, bytes, status), 1u);
  EXPECT_EQ(status.code(), NEV_END_OF_STREAM);
  EXPECT_EQ(stream.read_at(FAR + 2, 1, bytes, status), 0u);
  EXPECT_EQ(status.code(), NEV_END_OF_STREAM);
}

TEST(NevFileIstream, FailuresOtherThanTheEnd) {
  test::Scratch_dir dir;
  Nev_file_istream stream;
  Nev_status status;
  const std::u16string missing = dir.file(u"missing.bin");
  stream.open(missing, status);
  EXPECT_FALSE(stream.is_open());
  EXPECT_EQ(status.code(), NEV_E_FILE_OPEN);
  EXPECT_EQ(status.argument(0, 0), missing);

  // Reading a stream that never opened is a read failure, not an end.
  char byte = 0;
  EXPECT_EQ(stream.read_at(0, 1, &byte, status), 0u);
  EXPECT_EQ(status.code(), NEV_E_FILE_READ);

  // A folder opens for reading but cannot be read.
  stream.open(nev_from_utf8(dir.path().string()), status);
  if (stream.is_open()) {
    EXPECT_EQ(stream.read_at(0, 1, &byte, status), 0u);
    EXPECT_EQ(status.code(), NEV_E_FILE_READ);
  }
}

TEST(NevMemoryIstream, OwnsACopyOfItsBytes) {
  std::vector<std::uint8_t> bytes = {1, 2, 3};
  Nev_memory_istream from_pointer(bytes.data(), bytes.size());
  Nev_memory_istream from_vector(bytes);
  bytes[0] = 9;
  Nev_status status;
  std::uint8_t first = 0;
  from_pointer.read_at(0, 1, &first, status);
  EXPECT_EQ(first, 1);
  from_vector.read_at(0, 1, &first, status);
  EXPECT_EQ(first, 1);

  Nev_memory_istream empty(nullptr, 0);
  EXPECT_EQ(empty.size(status), 0u);
  EXPECT_EQ(empty.read_at(0, 1, &first, status), 0u);
  EXPECT_EQ(status.code(), NEV_END_OF_STREAM);
}

}  // namespace
}  // namespace nev
