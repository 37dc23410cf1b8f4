// kov_check_for_pattern over a stream that counts its reads, and over the
// foundation's memory stream.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "kov/codes.h"
#include "kov/pattern.h"
#include "nev/codes.h"
#include "nev/stream.h"

namespace {

using Offsets = std::vector<std::uint64_t>;

// Bytes at offsets [base, base + size) with zeros below them. Records the
// offset of every read_at and can fail at one offset; the other operations
// must not be called.
class Counting_stream final : public nev::Nev_istream {
 public:
  Counting_stream(std::uint64_t base, std::vector<std::uint8_t> bytes) : m_base(base), m_bytes(std::move(bytes)) {}

  std::uint64_t fail_offset = 0;
  std::uint32_t fail_code = 0;
  Offsets reads;

  std::uint64_t size(nev::Nev_status&) override { return unexpected(); }
  std::uint64_t position() const override { return unexpected(); }
  void seek(std::uint64_t, nev::Nev_status&) override { unexpected(); }
  std::uint32_t read(void*, std::uint32_t, nev::Nev_status&) override { return unexpected(); }

  std::uint32_t read_at(std::uint64_t offset, std::uint32_t count, void* destination,
                        nev::Nev_status& status) override {
    status.clear();
    reads.push_back(offset);
    EXPECT_EQ(count, 1u);
    if (fail_code != 0 && offset == fail_offset) {
      status.assign(fail_code, nev::Nev_wstring_status_arg(u"device gone"));
    } else if (offset >= m_base + m_bytes.size()) {
      status = nev::NEV_END_OF_STREAM;
    } else {
      *static_cast<std::uint8_t*>(destination) = offset < m_base ? 0 : m_bytes[offset - m_base];
    }
    return status.ok() ? 1 : 0;
  }

 private:
  static std::uint32_t unexpected() {
    ADD_FAILURE() << "an operation other than read_at was called";
    return 0;
  }
  std::uint64_t m_base;
  std::vector<std::uint8_t> m_bytes;
};

TEST(PatternTest, ComparesOneReadPerByteAndStopsAtTheFirstDifference) {
  struct Case {
    const char* what;
    std::uint64_t base;
    std::vector<std::uint8_t> stream;
    std::uint64_t offset;
    std::vector<std::uint8_t> pattern;
    bool expected;
    Offsets reads;
  };
  const std::uint64_t high = 0xFFFFFFFF;
  const std::vector<Case> cases = {
      {"match inside, zero bytes too", 0, {9, 9, 0, 0, 7}, 2, {0, 0, 7}, true, {2, 3, 4}},
      {"empty pattern", 0, {1}, 55, {}, true, {}},
      {"first byte differs", 0, {1, 2, 3}, 0, {2, 2, 3}, false, {0}},
      {"third byte differs", 0, {1, 2, 3, 4}, 0, {1, 2, 4, 4}, false, {0, 1, 2}},
      {"ends inside the pattern", 0, {1, 2, 3}, 1, {2, 3, 4}, false, {1, 2, 3}},
      {"offset at the end", 0, {1, 2, 3}, 3, {1}, false, {3}},
      {"across 4 GiB", high, {0xAB, 0xCD}, high, {0xAB, 0xCD}, true, {high, high + 1}},
      {"above 4 GiB", 0x123456789, {5}, 0x123456789, {5}, true, {0x123456789}},
  };
  for (const Case& c : cases) {
    Counting_stream stream(c.base, c.stream);
    nev::Nev_status status;
    status = kov::KOV_E_SOCKETS;  // whatever the status held is cleared
    EXPECT_EQ(kov::kov_check_for_pattern(stream, c.offset, c.pattern.data(),
                                         static_cast<std::uint32_t>(c.pattern.size()), status),
              c.expected)
        << c.what;
    EXPECT_EQ(status.depth(), 0u) << c.what;
    EXPECT_EQ(stream.reads, c.reads) << c.what;
  }
}

TEST(PatternTest, AReadFailureStaysBeneathTheToolboxCode) {
  for (std::uint64_t failing = 0; failing < 3; ++failing) {
    Counting_stream stream(0, {1, 2, 3});
    stream.fail_offset = failing;
    stream.fail_code = nev::NEV_E_FILE_READ;
    const std::uint8_t pattern[] = {1, 2, 3};
    nev::Nev_status status;
    EXPECT_FALSE(kov::kov_check_for_pattern(stream, 0, pattern, 3, status));
    ASSERT_EQ(status.depth(), 2u);
    EXPECT_EQ(status.code(0), kov::KOV_E_PATTERN_READ);
    EXPECT_EQ(status.argument_count(0), 0u);
    EXPECT_EQ(status.code(1), nev::NEV_E_FILE_READ);
    EXPECT_EQ(status.argument(1, 0), u"device gone");
    EXPECT_EQ(stream.reads.size(), failing + 1);  // no read after the failure
  }
}

TEST(PatternTest, WorksOverTheFoundationsMemoryStream) {
  nev::Nev_memory_istream stream(std::vector<std::uint8_t>{'P', 'K', 3, 4, 0, 0});
  const std::uint8_t magic[] = {'P', 'K', 3, 4}, tail[] = {0, 0, 0};
  nev::Nev_status status;
  EXPECT_TRUE(kov::kov_check_for_pattern(stream, 0, magic, 4, status));
  EXPECT_FALSE(kov::kov_check_for_pattern(stream, 1, magic, 4, status));
  EXPECT_TRUE(kov::kov_check_for_pattern(stream, 4, tail, 2, status));
  EXPECT_FALSE(kov::kov_check_for_pattern(stream, 4, tail, 3, status));  // one byte past the end
  EXPECT_FALSE(kov::kov_check_for_pattern(stream, 0x100000000, magic, 1, status));
  EXPECT_EQ(status.depth(), 0u);
}

}  // namespace
