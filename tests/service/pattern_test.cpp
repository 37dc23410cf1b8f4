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

// Bytes at offsets [base, base + size), zeros below them, the end behind
// them. Records the offset of every read_at, can fail at one offset with a
// code of its own, and counts calls of the operations the check must not use.
class Counting_stream final : public nev::Nev_istream {
 public:
  Counting_stream(std::uint64_t base, std::vector<std::uint8_t> bytes) : m_base(base), m_bytes(std::move(bytes)) {}

  void fail_at(std::uint64_t offset, std::uint32_t code) {
    m_fail_offset = offset;
    m_fail_code = code;
  }
  const Offsets& reads() const { return m_reads; }
  int other_calls() const { return m_other_calls; }

  std::uint64_t size(nev::Nev_status&) override {
    ++m_other_calls;
    return end();
  }
  std::uint64_t position() const override {
    ++m_other_calls;
    return 0;
  }
  void seek(std::uint64_t, nev::Nev_status&) override { ++m_other_calls; }
  std::uint32_t read(void*, std::uint32_t, nev::Nev_status&) override {
    ++m_other_calls;
    return 0;
  }

  std::uint32_t read_at(std::uint64_t offset, std::uint32_t count, void* destination,
                        nev::Nev_status& status) override {
    status.clear();
    m_reads.push_back(offset);
    if (count != 1) ADD_FAILURE() << "read of " << count << " bytes";
    if (m_fail_code != 0 && offset == m_fail_offset) {
      status.assign(m_fail_code, nev::Nev_wstring_status_arg(u"device gone"));
      return 0;
    }
    if (offset >= end()) {
      status = nev::NEV_END_OF_STREAM;
      return 0;
    }
    *static_cast<std::uint8_t*>(destination) = offset < m_base ? 0 : m_bytes[offset - m_base];
    return 1;
  }

 private:
  std::uint64_t end() const { return m_base + m_bytes.size(); }

  std::uint64_t m_base;
  std::vector<std::uint8_t> m_bytes;
  std::uint64_t m_fail_offset = 0;
  std::uint32_t m_fail_code = 0;
  Offsets m_reads;
  mutable int m_other_calls = 0;
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
      {"whole match", 0, {1, 0, 3, 4}, 0, {1, 0, 3, 4}, true, {0, 1, 2, 3}},
      {"match inside", 0, {9, 9, 0, 0, 7}, 2, {0, 0, 7}, true, {2, 3, 4}},
      {"empty pattern", 0, {1}, 55, {}, true, {}},
      {"first byte differs", 0, {1, 2, 3}, 0, {2, 2, 3}, false, {0}},
      {"third byte differs", 0, {1, 2, 3, 4}, 0, {1, 2, 4, 4}, false, {0, 1, 2}},
      {"ends inside the pattern", 0, {1, 2, 3}, 1, {2, 3, 4}, false, {1, 2, 3}},
      {"offset at the end", 0, {1, 2, 3}, 3, {1}, false, {3}},
      {"offset behind the end", 0, {1, 2, 3}, 1000, {1}, false, {1000}},
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
    EXPECT_EQ(stream.reads(), c.reads) << c.what;
    EXPECT_EQ(stream.other_calls(), 0) << c.what;
  }
}

TEST(PatternTest, AReadFailureStaysBeneathTheToolboxCode) {
  for (std::uint64_t failing = 0; failing < 3; ++failing) {
    Counting_stream stream(0, {1, 2, 3});
    stream.fail_at(failing, nev::NEV_E_FILE_READ);
    const std::uint8_t pattern[] = {1, 2, 3};
    nev::Nev_status status;
    EXPECT_FALSE(kov::kov_check_for_pattern(stream, 0, pattern, 3, status));
    ASSERT_EQ(status.depth(), 2u);
    EXPECT_EQ(status.code(0), kov::KOV_E_PATTERN_READ);
    EXPECT_EQ(status.argument_count(0), 0u);
    EXPECT_EQ(status.code(1), nev::NEV_E_FILE_READ);
    EXPECT_EQ(status.argument(1, 0), u"device gone");
    EXPECT_EQ(stream.reads().size(), failing + 1);  // no read after the failure
  }
}

TEST(PatternTest, WorksOverTheFoundationsMemoryStream) {
  nev::Nev_memory_istream stream(std::vector<std::uint8_t>{'P', 'K', 3, 4, 0, 0});
  const std::uint8_t magic[] = {'P', 'K', 3, 4};
  const std::uint8_t tail[] = {0, 0, 0};
  nev::Nev_status status;
  EXPECT_TRUE(kov::kov_check_for_pattern(stream, 0, magic, 4, status));
  EXPECT_TRUE(status.ok());
  EXPECT_FALSE(kov::kov_check_for_pattern(stream, 1, magic, 4, status));
  EXPECT_TRUE(kov::kov_check_for_pattern(stream, 4, tail, 2, status));
  EXPECT_FALSE(kov::kov_check_for_pattern(stream, 4, tail, 3, status));  // one byte past the end
  EXPECT_EQ(status.depth(), 0u);
  EXPECT_FALSE(kov::kov_check_for_pattern(stream, 0x100000000, magic, 1, status));
  EXPECT_EQ(status.depth(), 0u);
}

}  // namespace
