// Trace scopes: the level rule, the line form (time stamp, indentation,
// prefixes), messages and hex dumps, read back from the file.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <thread>

#include "diag_test_support.h"
#include "kov/diag.h"
#include "nev/time.h"

namespace {

using diag_test::read_lines;
using diag_test::Scratch_dir;

// 10:15:30 UTC on 1 January 2024, plus the microseconds in `micros`.
std::int64_t fixed_micros = 0;
std::int64_t fixed_clock() { return (1704067200LL + 10 * 3600 + 15 * 60 + 30) * 1000000LL + fixed_micros; }

// A diagnostic object writing to its own file at a fixed time of day.
class Traced : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    fixed_micros = 250000;
    nev::nev_set_clock(&fixed_clock);
    diag.reset(dir.wpath(), u"trace.dgn", 5);
  }
  void TearDown() override { nev::nev_set_clock(nullptr); }

  // The lines after the header and the marker.
  std::vector<std::string> lines() {
    auto all = read_lines(dir.file("trace.dgn"));
    if (all.size() >= 2) all.erase(all.begin(), all.begin() + 2);
    return all;
  }

  Scratch_dir dir;
  kov::Kov_diag_main diag;
};

TEST_F(Traced, NestedScopesLineUp) {
  {
    kov::Kov_diag_trace outer(u"outer", 1, diag);
    outer.trace(u"a message of outer");
    {
      kov::Kov_diag_trace skipped(u"skipped", 6, diag);  // disabled: no lines, no indentation
      skipped.trace(u"never");
      skipped.trace(u"never", reinterpret_cast<const std::uint8_t*>("ab"), 2);
      kov::Kov_diag_trace inner(u"inner", 5, diag);
      inner.trace(u"a message of inner");
      kov::Kov_diag_trace third(u"third", 0, diag);
    }
  }
  EXPECT_EQ(lines(), (std::vector<std::string>{
                         "[10:15:30:25]  > outer",
                         "[10:15:30:25]    a message of outer",
                         "[10:15:30:25]    > inner",
                         "[10:15:30:25]      a message of inner",
                         "[10:15:30:25]      > third",
                         "[10:15:30:25]      < third",
                         "[10:15:30:25]    < inner",
                         "[10:15:30:25]  < outer",
                     }));
}

TEST_F(Traced, HundredthsAreTruncated) {
  const struct {
    std::int64_t micros;
    const char* stamp;
  } cases[] = {{0, "[10:15:30:00]"}, {9999, "[10:15:30:00]"}, {10000, "[10:15:30:01]"}, {999999, "[10:15:30:99]"}};
  kov::Kov_diag_trace scope(u"s", 1, diag);
  for (const auto& c : cases) {
    fixed_micros = c.micros;
    scope.trace(u"m");
  }
  const auto written = lines();
  ASSERT_EQ(written.size(), 5u);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(written[i + 1], std::string(cases[i].stamp) + "    m");
}

TEST(DiagTraceLevels, ScopeWritesWhenObjectLevelIsNonZeroAndHighEnough) {
  const struct {
    std::uint16_t object;
    std::uint16_t scope;
    bool writes;
  } cases[] = {{0, 0, false}, {0, 1, false}, {5, 0, true},         {5, 5, true},
               {5, 6, false}, {1, 1, true},  {65535, 65535, true}, {65534, 65535, false}};
  for (const auto& c : cases) {
    Scratch_dir dir;
    kov::Kov_diag_main diag;
    diag.reset(dir.wpath(), u"l.dgn", c.object);
    { kov::Kov_diag_trace scope(u"s", c.scope, diag); }
    EXPECT_EQ(std::filesystem::exists(dir.file("l.dgn")), c.writes) << c.object << " " << c.scope;
    EXPECT_EQ(kov::Kov_diag_trace::is_enabled(c.object, c.scope), c.writes);
  }
}

TEST_F(Traced, EnablementIsFixedAtEntry) {
  diag.level(0);
  {
    kov::Kov_diag_trace off(u"off", 1, diag);
    diag.level(5);
    off.trace(u"silent after the level rose");
  }
  EXPECT_FALSE(std::filesystem::exists(dir.file("trace.dgn")));
  {
    kov::Kov_diag_trace on(u"on", 1, diag);  // the depth stayed 0: this is depth 1
    diag.level(0);                            // closes the file
    on.trace(u"still writing");
  }
  // The lines after level(0) went to a fresh opening of the same name:
  // header (today by the same clock), marker, lines.
  const auto written = lines();
  ASSERT_EQ(written.size(), 5u);
  EXPECT_EQ(written[0], "[10:15:30:25]  > on");
  EXPECT_EQ(written[1], "**** Diagnostic file created: Monday 01 January 2024 ****");
  EXPECT_EQ(written[3], "[10:15:30:25]    still writing");
  EXPECT_EQ(written[4], "[10:15:30:25]  < on");
}

TEST_F(Traced, MessagesAreFormattedAndBounded) {
  const std::u16string long_text(3000, u'y');
  {
    kov::Kov_diag_trace scope(u"100%d done", 1, diag);  // a name is no format
    scope.trace(u"%d items from %s, %u%% %c", 12, u"disk", 40u, u'!');
    scope.trace(u"%s", long_text.c_str());
    scope.trace(u"%%s stays");
    scope.trace(u"%d of %d", 0, 5);  // a literal 0 is an argument, not a dump's null pointer
  }
  const auto written = lines();
  ASSERT_EQ(written.size(), 6u);
  EXPECT_EQ(written[4], "[10:15:30:25]    0 of 5");
  EXPECT_EQ(written[0], "[10:15:30:25]  > 100%d done");
  EXPECT_EQ(written[1], "[10:15:30:25]    12 items from disk, 40% !");
  EXPECT_EQ(written[2], "[10:15:30:25]    " + std::string(1023, 'y')) << "cut at 1023 units";
  EXPECT_EQ(written[3], "[10:15:30:25]    %s stays");
  EXPECT_EQ(written[5], "[10:15:30:25]  < 100%d done");
}

TEST_F(Traced, DumpRowsHaveFixedColumns) {
  std::vector<std::uint8_t> bytes(65535);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(0x41 + i);
  const std::uint8_t mixed[] = {0x41, 0x42, 0x00, 0x25, 0x7F, 0xFF, 0x20, 0x7E};
  const std::string pre = "[10:15:30:25]    ";
  {
    kov::Kov_diag_trace scope(u"d", 1, diag);
    scope.trace(u"Received", mixed, 3);
    scope.trace(u"Empty 100%%", mixed, 0);
    scope.trace(u"Mixed", mixed, 8);
    scope.trace(u"Sixteen", bytes.data(), 16);
    scope.trace(u"Seventeen", bytes.data(), 17);
    scope.trace(u"Chars", "A%", 2);
  }
  EXPECT_EQ(lines(), (std::vector<std::string>{
                         "[10:15:30:25]  > d",
                         pre + "Received",
                         pre + "41 42 00" + std::string(40, ' ') + "AB.",
                         pre + "Empty 100%",
                         pre + "Mixed",
                         pre + "41 42 00 25 7f ff 20 7e " + std::string(24, ' ') + "AB.%.. ~",
                         pre + "Sixteen",
                         pre + "41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50 ABCDEFGHIJKLMNOP",
                         pre + "Seventeen",
                         pre + "41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50 ABCDEFGHIJKLMNOP",
                         pre + "51 " + std::string(45, ' ') + "Q",
                         pre + "Chars",
                         pre + "41 25 " + std::string(42, ' ') + "A%",
                         "[10:15:30:25]  < d",
                     }));
}

TEST_F(Traced, LargestDumpHas4096Rows) {
  std::vector<std::uint8_t> bytes(65535, 0x2E);
  { kov::Kov_diag_trace(u"big", 1, diag).trace(u"All", bytes.data(), 65535); }
  const auto written = lines();
  ASSERT_EQ(written.size(), 1 + 1 + 4096 + 1u);
  const std::string last = written[written.size() - 2];
  EXPECT_EQ(last.size(), 17 + 48 + 15u);
  EXPECT_EQ(last.substr(17 + 45), std::string(3, ' ') + std::string(15, '.'));
}

TEST_F(Traced, DepthBelongsToEachThread) {
  auto work = [this] {
    kov::Kov_diag_trace a(u"a", 1, diag);
    kov::Kov_diag_trace b(u"b", 1, diag);
  };
  std::thread(work).join();
  work();  // the first thread's depth does not leak into this one
  std::vector<std::string> written;
  for (const auto& line : lines()) {
    if (line.rfind("****", 0) != 0) written.push_back(line);
  }
  const std::vector<std::string> once = {"[10:15:30:25]  > a", "[10:15:30:25]    > b", "[10:15:30:25]    < b",
                                         "[10:15:30:25]  < a"};
  ASSERT_EQ(written.size(), 8u);
  EXPECT_EQ(std::vector<std::string>(written.begin(), written.begin() + 4), once);
  EXPECT_EQ(std::vector<std::string>(written.begin() + 4, written.end()), once);
}

}  // namespace

namespace {

TEST(DiagTraceStamp, LocalTimeOfDayAcrossSeconds) {
  ::setenv("TZ", "XYZ-05:30", 1);  // UTC+5:30, no zone files needed
  ::tzset();
  nev::nev_set_clock(&fixed_clock);
  Scratch_dir dir;
  kov::Kov_diag_main diag;
  diag.reset(dir.wpath(), u"z.dgn", 1);
  {
    kov::Kov_diag_trace scope(u"z", 1, diag);
    const std::int64_t steps[] = {120000, 130000, 1990000, 2000000, -5000000};
    for (std::int64_t micros : steps) {
      fixed_micros = micros;
      scope.trace(u"m");
    }
  }
  nev::nev_set_clock(nullptr);
  const auto lines = read_lines(dir.file("z.dgn"));
  ASSERT_EQ(lines.size(), 2 + 7u);
  const char* const expected[] = {"[15:45:30:12]    m", "[15:45:30:13]    m", "[15:45:31:99]    m",
                                  "[15:45:32:00]    m", "[15:45:25:00]    m"};
  for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(lines[3 + i], expected[i]);
}

}  // namespace
