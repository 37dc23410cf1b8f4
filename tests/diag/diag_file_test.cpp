// The diagnostic file and trace scopes: bytes on disk, name templates and
// their running number, opening and closing, several writers, failures that
// only lose lines; the level rule, the line form (time stamp, indentation,
// prefixes), messages and hex dumps, read back from the file.
#include <gtest/gtest.h>
#include "portable.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <map>
#include <set>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "test_platform.h"
#include "diag_test_support.h"
#include "kov/diag.h"
#include "nev/time.h"

namespace {

using namespace diag_test;
namespace fs = std::filesystem;

TEST(DiagFile, EnvironmentAndBytesOnDisk) {
  Scratch_dir dir;
  fs::current_path(dir.path());
  kov_test::unset_env("DGN_FILEPATH");
  kov_test::unset_env("DGN_FILENAME");
  const struct { const char* text; std::uint16_t level; } cases[] =  // text null: unset
      {{"5", 5}, {"65537", 1}, {"abc", 0}, {"", 0}, {"12x", 12}, {nullptr, 0}};
  for (const auto& c : cases) {
    c.text ? kov_test::set_env("DGN_TRACELEVEL", c.text) : kov_test::unset_env("DGN_TRACELEVEL");
    kov::Kov_diag_main diag;
    EXPECT_EQ(diag.level(), c.level) << (c.text ? c.text : "(unset)");
    EXPECT_EQ(diag.path() + u"/" + diag.name(), u"./default.dgn");
  }
  // Level 0, yet a direct write makes default.dgn in the working directory.
  kov::Kov_diag_main().write(u"x");
  EXPECT_EQ(read_lines(dir.file("default.dgn")), opened({"x"}));

  // Header, marker and lines in UTF-16LE with CR LF, no byte-order mark.
  Scratch_dir other;
  kov_test::set_env("DGN_FILEPATH", other.path().c_str());
  kov_test::set_env("DGN_FILENAME", "run.dgn");
  {
    kov::Kov_diag_main diag;
    EXPECT_EQ(diag.path() + u"/" + diag.name(), other.wpath() + u"/run.dgn");
    EXPECT_FALSE(fs::exists(other.file("run.dgn"))) << "construction opens nothing";
    diag.write(u"first line");
    diag.write(u"caf\u00e9 \u20ac");
  }
  EXPECT_EQ(read_bytes(other.file("run.dgn")),
            utf16le(widen(header_line() + "\r\n" + marker_line() + "\r\nfirst line\r\n") + u"caf\u00e9 \u20ac\r\n"));
}

TEST(DiagFile, NameTemplates) {
  const struct { std::u16string name; int files; Lines made; } cases[] = {
      {u"trace%2", 2, {"trace00", "trace01"}},        {u"%2.log", 1, {"00.log"}},
      {u"svc%3.dgn", 2, {"svc000.dgn", "svc001.dgn"}}, {u"x%1.dgn", 2, {"x0.dgn", "x1.dgn"}},
      {u"a%b.dgn", 2, {"a%b.dgn"}},                   {u"a%0.dgn", 2, {"a%0.dgn"}},
      {u"a%03.dgn", 1, {"a000.dgn"}},                 {u"a%2b%3c", 2, {"a00b%3c", "a01b%3c"}},
      {u"plain.dgn", 3, {"plain.dgn"}},               {u"end%", 1, {"end%"}},
  };
  for (const auto& c : cases) {
    // One line per file, closing in between.
    Scratch_dir dir;
    kov::Kov_diag_main diag;
    diag.reset(dir.wpath(), c.name, 1);
    for (int i = 0; i < c.files; ++i) {
      diag.write(u"line");
      diag.close();
    }
    Lines made;
    for (const auto& entry : fs::directory_iterator(dir.path())) made.push_back(entry.path().filename().string());
    std::sort(made.begin(), made.end());
    EXPECT_EQ(made, c.made) << std::string(c.name.begin(), c.name.end());
  }
}

TEST(DiagFile, RunningNumberSurvivesNewTemplateAndWraps) {
  Scratch_dir dir;
  kov::Kov_diag_main diag;
  diag.reset(dir.wpath(), u"a%b.dgn", 1);  // no digits: uses up no number
  diag.write(u"0");
  diag.name(u"a%2");
  diag.write(u"1");
  diag.close();
  diag.write(u"2");
  diag.name(u"b%2");
  diag.write(u"3");
  for (const char* made : {"a00", "a01", "b02"}) EXPECT_TRUE(fs::exists(dir.file(made))) << made;

  // Every failed opening uses up a number: run the counter up to 65535
  // against a directory that does not exist. A number wider than its field
  // keeps its leading digits.
  diag.reset(dir.wpath() + u"/missing", u"w%4", 1);
  for (int i = 3; i < 65535; ++i) diag.write(u"lost");
  diag.path(dir.wpath());
  diag.write(u"last");
  diag.close();
  diag.write(u"wrapped");
  EXPECT_EQ(read_lines(dir.file("w6553")), opened({"last"}));
  EXPECT_EQ(read_lines(dir.file("w0000")), opened({"wrapped"}));
}

TEST(DiagFile, ClosingReconfiguringAndAppending) {
  Scratch_dir dir;
  Scratch_dir other;
  std::ofstream(dir.file("f.dgn"), std::ios::binary) << utf16le(u"earlier\r\n");
  kov::Kov_diag_main diag;
  diag.close();  // never wrote: nothing happens
  diag.reset(dir.wpath(), u"f.dgn", 4);
  diag.write(u"a");
  diag.path(other.wpath());  // the open file stays open
  diag.write(u"b");
  diag.name(u"f.dgn");  // the same template still closes
  diag.close();
  diag.close();
  diag.write(u"c");  // opens again, now in the other directory
  diag.level(0);     // closes
  diag.level(3);     // opens nothing
  diag.path(dir.wpath());
  diag.write(u"d");  // appended to the first file after a new header

  EXPECT_EQ(read_lines(dir.file("f.dgn")),
            (Lines{"earlier", header_line(), marker_line(), "a", "b", header_line(), marker_line(), "d"}));
  EXPECT_EQ(read_lines(other.file("f.dgn")), opened({"c"}));
  EXPECT_EQ(diag.level(), 3);
}

// Four threads trace through one object at once: every line reaches the
// file once, whole and in order, behind the marker of the thread that wrote
// it, and a marker stands only where the writer changes.
TEST(DiagFile, FourThreadsOfTenThousandLines) {
  constexpr int THREADS = 4, LINES = 10000;
  Scratch_dir dir;
  kov::Kov_diag_main diag;
  diag.reset(dir.wpath(), u"load.dgn", 2);
  std::atomic<int> ready{0};
  std::vector<std::string> markers(THREADS);
  std::vector<std::thread> threads;
  for (int t = 0; t < THREADS; ++t) {
    threads.emplace_back([&, t] {
      markers[t] = marker_line();
      for (++ready; ready.load() < THREADS;) std::this_thread::yield();
      kov::Kov_diag_trace scope(u"worker", 1, diag);
      for (int i = 0; i < LINES; ++i) scope.trace(u"thread %d line %05d %s", t, i, u"payload-payload-payload");
    });
  }
  for (auto& thread : threads) thread.join();
  std::map<std::string, int> thread_of_marker;
  for (int t = 0; t < THREADS; ++t) thread_of_marker[markers[t]] = t;
  ASSERT_EQ(thread_of_marker.size(), static_cast<std::size_t>(THREADS)) << "thread ids must differ";

  const auto lines = read_lines(dir.file("load.dgn"));
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], header_line());
  std::vector<int> next(THREADS, 0);
  int writer = -1, scope_lines = 0;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const auto marker = thread_of_marker.find(lines[i]);
    const std::string body = lines[i].substr(std::min<std::size_t>(13, lines[i].size()));  // after the stamp
    int t = -1, n = -1, end = 0;
    if (marker != thread_of_marker.end()) {
      EXPECT_NE(marker->second, writer) << "a marker without a change of writer, line " << i;
      writer = marker->second;
    } else if (body == "  > worker" || body == "  < worker") {
      ++scope_lines;
    } else {
      std::sscanf(lines[i].c_str(), "[%*2d:%*2d:%*2d:%*2d]    thread %d line %5d payload-payload-payload%n", &t, &n,
                  &end);
      ASSERT_EQ(end, static_cast<int>(lines[i].size())) << "line " << i << ": " << lines[i];
      ASSERT_EQ(t, writer) << "line " << i << " stands under another thread's marker";
      ASSERT_EQ(n, next[t]++) << "line " << i << " lost, doubled or out of order";
    }
  }
  for (int t = 0; t < THREADS; ++t) EXPECT_EQ(next[t], LINES) << "thread " << t;
  EXPECT_EQ(scope_lines, 2 * THREADS);
}

TEST(DiagFile, UnusableDirectoryLosesLinesOnly) {
  Scratch_dir dir;
  const std::string locked = dir.file("locked");
  fs::create_directory(locked);
  fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec);
  const bool root = kov_test::writes_anywhere();
  std::ofstream(dir.file("plain")) << "a file where a directory should be";

  std::vector<std::string> targets = {dir.file("no/such/dir"), dir.file("plain")};
  if (!root) targets.push_back(locked);
  for (std::size_t i = 0; i < targets.size(); ++i) {
    const std::string name = "lost" + std::to_string(i) + ".dgn";
    kov::Kov_diag_main diag;
    diag.reset(widen(targets[i]), widen(name), 1);
    kov::Kov_diag_trace scope(u"scope", 1, diag);
    for (int n = 0; n < 100; ++n) EXPECT_NO_THROW(scope.trace(u"line %d", n));
    // The next write tries again: a usable directory brings lines back.
    diag.path(dir.wpath());
    diag.write(u"back");
    diag.close();
    EXPECT_EQ(read_lines(dir.file(name)), opened({"back"}));
  }
  EXPECT_FALSE(fs::exists(dir.file("no")));
  EXPECT_TRUE(root || fs::is_empty(locked));
}

// The sink stays inside its folder: a name that holds a separator is
// refused, a symbolic link at the file's place is not followed (its target
// is neither written nor created), and a file it creates is not readable by
// others.
TEST(DiagFile, SinkNeitherLeavesItsFolderNorFollowsLinks) {
  Scratch_dir dir;
  Scratch_dir outside;
  const std::string folder = dir.file("folder");
  fs::create_directories(folder + "/sub");
  std::ofstream(outside.file("victim")) << "precious";
  std::error_code no_links;
  fs::create_symlink(outside.file("victim"), folder + "/link.dgn", no_links);
  if (no_links) GTEST_SKIP() << "symbolic links cannot be made here: " << no_links.message();
  fs::create_symlink(outside.file("absent"), folder + "/dangling.dgn");
  fs::create_symlink(outside.file("numbered"), folder + "/n00.dgn");
  const std::u16string refused[] = {u"link.dgn",  u"dangling.dgn", u"../x.dgn", u"..\\y.dgn",
                                    u"sub/z.dgn", u"../w%3",       u"/abs.dgn", u"sub\\v"};
  for (const auto& name : refused) {
    kov::Kov_diag_main diag;
    diag.reset(widen(folder), name, 1);
    {
      kov::Kov_diag_trace scope(u"scope", 1, diag);
      EXPECT_NO_THROW(scope.trace(u"lost"));
    }
    diag.write(u"lost too");
    EXPECT_EQ(diag.name(), name) << "the template itself is kept";
  }
  {
    // A failed opening uses up its number like any other: the next line
    // goes to the next name.
    kov::Kov_diag_main diag;
    diag.reset(widen(folder), u"n%2.dgn", 1);
    diag.write(u"lost");
    diag.write(u"next");
  }
  EXPECT_EQ(read_lines(folder + "/n01.dgn"), opened({"next"}));
  EXPECT_EQ(read_bytes(outside.file("victim")), "precious");
  EXPECT_FALSE(fs::exists(outside.file("absent")));
  EXPECT_FALSE(fs::exists(outside.file("numbered")));
  std::vector<std::string> tree;
  for (const auto& entry : fs::recursive_directory_iterator(dir.path())) {
    tree.push_back(entry.path().lexically_relative(dir.path()).string());
  }
  std::sort(tree.begin(), tree.end());
  EXPECT_EQ(tree, (Lines{"folder", "folder/dangling.dgn", "folder/link.dgn", "folder/n00.dgn", "folder/n01.dgn",
                         "folder/sub"}));
  for (const char* link : {"link.dgn", "dangling.dgn", "n00.dgn"}) {
    EXPECT_TRUE(fs::is_symlink(folder + "/" + link)) << link;
  }

  // A plain name still works, and its new file is rw-r----- whatever the
  // umask leaves to others.
  const mode_t old_mask = ::umask(0);
  kov::Kov_diag_main diag;
  diag.reset(widen(folder), u"ok.dgn", 1);
  diag.write(u"kept");
  ::umask(old_mask);
  EXPECT_EQ(read_lines(folder + "/ok.dgn"), opened({"kept"}));
  EXPECT_EQ(fs::status(folder + "/ok.dgn").permissions(),
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
}

#ifndef _WIN32
// A pipe at the file's place is neither waited on (no reader: opening it
// for writing would block for ever) nor written to (a reader would get the
// lines); the next numbered name is a plain file again.
TEST(DiagFile, PipesAtTheSinksPlaceAreNeitherWaitedOnNorWrittenTo) {
  Scratch_dir dir;
  ASSERT_EQ(::mkfifo(dir.file("p00.dgn").c_str(), 0600), 0);
  ASSERT_EQ(::mkfifo(dir.file("p01.dgn").c_str(), 0600), 0);
  const int reader = ::open(dir.file("p01.dgn").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  {
    kov::Kov_diag_main diag;
    diag.reset(dir.wpath(), u"p%2.dgn", 1);
    // A failed opening uses up its number: each line tries the next name.
    for (const char16_t* line : {u"lost at the pipe without a reader", u"lost at the pipe with one", u"kept"}) {
      diag.write(line);
    }
  }
  char byte = 0;
  EXPECT_LE(::read(reader, &byte, 1), 0) << "nothing reached the pipe's reader";
  ::close(reader);
  EXPECT_EQ(read_lines(dir.file("p02.dgn")), opened({"kept"}));
}
#endif

// The number field has at most five digits, enough for every value of the
// running number: however wide a template asks for, the name stays short,
// nothing is thrown and the lines reach the file.
TEST(DiagFile, NumberFieldIsExactUntilTheNameReachesTheLongestFileName) {
  const std::string widest(251, '0');  // 255 units with ".dgn"
  const struct { std::u16string name; std::string made; } cases[] = {
      {u"%4294967295.dgn", widest + ".dgn"},  {u"%30000000.dgn", widest + ".dgn"},
      {u"w%99999999999999999999999x", "w" + std::string(253, '0') + "x"},
      {u"%9.dgn", "000000000.dgn"},           {u"%5.dgn", "00000.dgn"},
      {u"%0000000000004.dgn", "0000.dgn"},
  };
  for (const auto& c : cases) {
    Scratch_dir dir;
    kov::Kov_diag_main diag;
    diag.reset(dir.wpath(), c.name, 1);
    EXPECT_NO_THROW({
      kov::Kov_diag_trace scope(u"s", 1, diag);
      scope.trace(u"m");
    });
    diag.close();
    EXPECT_EQ(diag.name(), c.name);
    Lines made;
    for (const auto& entry : fs::directory_iterator(dir.path())) made.push_back(entry.path().filename().string());
    ASSERT_EQ(made, Lines{c.made}) << std::string(c.name.begin(), c.name.end());
    const Lines lines = read_lines(dir.file(c.made));
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[4].substr(13), "  < s");
  }
}

// Writers on three threads while other threads change the level, the
// directory, the name template and all three at once, read the
// configuration back and close the file. Every direct line reaches one of
// the two directories exactly once (whatever the level, a direct write
// writes), no configuration is ever read half-written, and every line in
// the files is whole. Under ThreadSanitizer this is the check that the
// configuration is shared safely.
TEST(DiagFile, ReconfiguredWhileThreadsWrite) {
  constexpr int WRITERS = 3, LINES = 1500;
  Scratch_dir one;
  Scratch_dir two;
  const std::u16string paths[] = {one.wpath(), two.wpath()};
  const std::u16string names[] = {u"plain.dgn", u"n%2.dgn", u"t%3"};
  kov::Kov_diag_main diag;
  diag.reset(paths[0], names[0], 3);
  std::atomic<int> writing{WRITERS};
  std::atomic<int> bad_reads{0};
  // The writers wait for resets before they start and again half-way, so
  // that the writing spans reconfigurations however the threads are run.
  std::atomic<unsigned> resets{0};
  const auto wait_for_resets = [&](unsigned count) {
    while (resets.load() < count) std::this_thread::yield();
  };
  const auto configure = [&](int which) {
    for (unsigned i = 0; writing.load() > 0; ++i) {
      switch (which) {
        case 0: diag.level(static_cast<std::uint16_t>(i % 4)); break;
        case 1: diag.path(paths[i % 2]); break;
        case 2: diag.name(names[i % 3]); break;
        case 3:
          diag.reset(paths[(i / 2) % 2], names[i % 3], static_cast<std::uint16_t>(1 + i % 3));
          ++resets;
          break;
        default: {
          // The level is read beside the setters; the strings are handed
          // out by reference, which a reader orders with its setters itself.
          if (diag.level() > 3) ++bad_reads;
          if (i % 8 == 0) diag.close();
        }
      }
      std::this_thread::yield();
    }
  };
  std::vector<std::thread> threads;
  for (int which = 0; which < 5; ++which) threads.emplace_back(configure, which);
  for (int t = 0; t < WRITERS; ++t) {
    threads.emplace_back([&, t] {
      wait_for_resets(4);
      const unsigned at_start = resets.load();
      for (int i = 0; i < LINES; ++i) {
        if (i == LINES / 2) wait_for_resets(at_start + 4);
        diag.write(widen("direct " + std::to_string(t) + " " + std::to_string(i)));
        kov::Kov_diag_trace scope(u"scope", 1, diag);
        scope.trace(u"message %d %d", t, i);
      }
      --writing;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(bad_reads.load(), 0);

  std::map<std::string, int> direct;
  int files = 0;
  for (const Scratch_dir* dir : {&one, &two}) {
    for (const auto& entry : fs::directory_iterator(dir->path())) {
      ++files;
      const Lines lines = read_lines(entry.path().string());
      ASSERT_FALSE(lines.empty());
      EXPECT_EQ(lines[0], header_line()) << entry.path();
      for (const auto& line : lines) {
        int t = -1, n = -1, end = 0;
        if (line.rfind("direct ", 0) == 0) {
          ++direct[line];
        } else if (line != header_line() && line.rfind("**** Switch to thread ", 0) != 0) {
          std::sscanf(line.c_str(), "[%*2d:%*2d:%*2d:%*2d]    message %d %d%n", &t, &n, &end);
          const std::string body = line.substr(std::min<std::size_t>(13, line.size()));
          EXPECT_TRUE(end == static_cast<int>(line.size()) || body == "  > scope" || body == "  < scope")
              << entry.path() << ": " << line;
        }
      }
    }
  }
  EXPECT_GT(files, 1);
  EXPECT_EQ(direct.size(), static_cast<std::size_t>(WRITERS * LINES));
  for (const auto& [line, count] : direct) EXPECT_EQ(count, 1) << line;
}

// Trace scopes.

// 10:15:30 UTC on 1 January 2024, plus the microseconds in `fixed_micros`.
std::int64_t fixed_micros = 0;
std::int64_t fixed_clock() { return (1704067200LL + 10 * 3600 + 15 * 60 + 30) * 1000000LL + fixed_micros; }

// A diagnostic object writing to its own file at a fixed time of day.
class Traced : public ::testing::Test {
 protected:
  void SetUp() override {
    kov_test::set_env("TZ", "UTC");  // on Windows the script runs Wine in UTC
    tzset();
    fixed_micros = 250000;
    platform.clock = fixed_clock;
    diag.reset(dir.wpath(), u"trace.dgn", 5);
  }

  Test_platform platform;

  // The lines after the header and the marker.
  Lines lines() {
    auto all = read_lines(dir.file("trace.dgn"));
    if (all.size() >= 2) all.erase(all.begin(), all.begin() + 2);
    return all;
  }

  Scratch_dir dir;
  kov::Kov_diag_main diag;
};

const std::string AT = "[10:15:30:25]  ";  // a line at depth 0

// Entry, message and exit lines indent by the depth of enabled scopes; a
// name is no format, a message is cut at 1023 units.
TEST_F(Traced, NestedScopesAndMessages) {
  {
    kov::Kov_diag_trace outer(u"100%d done", 1, diag);
    outer.trace(u"%d items from %s, %u%% %c", 12, u"disk", 40u, u'!');
    outer.trace(u"%s", std::u16string(3000, u'y').c_str());
    outer.trace(u"%%s stays");
    outer.trace(u"%d of %d", 0, 5);  // a literal 0 is an argument, not a dump's null pointer
    {
      kov::Kov_diag_trace skipped(u"skipped", 6, diag);  // disabled: no lines, no indentation
      skipped.trace(u"never");
      skipped.trace(u"never", reinterpret_cast<const std::uint8_t*>("ab"), 2);
      kov::Kov_diag_trace inner(u"inner", 5, diag);
      inner.trace(u"a message of inner");
      kov::Kov_diag_trace third(u"third", 0, diag);
    }
  }
  EXPECT_EQ(lines(), (Lines{AT + "> 100%d done", AT + "  12 items from disk, 40% !", AT + "  " + std::string(1023, 'y'),
                            AT + "  %s stays", AT + "  0 of 5", AT + "  > inner", AT + "    a message of inner",
                            AT + "    > third", AT + "    < third", AT + "  < inner", AT + "< 100%d done"}));
}

// Local time of day, hundredths truncated, across seconds, in a zone of
// UTC+5:30 that needs no zone files.
TEST_F(Traced, StampIsLocalTimeWithTruncatedHundredths) {
  KOV_SKIP_ON_WINDOWS("the local zone is the system's time-zone setting, which TZ does not change");
  kov_test::set_env("TZ", "XYZ-05:30");
  tzset();
  const struct { std::int64_t micros; const char* stamp; } cases[] = {
      {0, "[15:45:30:00]"},      {9999, "[15:45:30:00]"},    {10000, "[15:45:30:01]"},   {120000, "[15:45:30:12]"},
      {999999, "[15:45:30:99]"}, {1990000, "[15:45:31:99]"}, {2000000, "[15:45:32:00]"}, {-5000000, "[15:45:25:00]"}};
  {
    kov::Kov_diag_trace scope(u"s", 1, diag);
    for (const auto& c : cases) {
      fixed_micros = c.micros;
      scope.trace(u"m");
    }
  }
  const auto written = lines();
  ASSERT_EQ(written.size(), std::size(cases) + 2);
  for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(written[i + 1], std::string(cases[i].stamp) + "    m");
}

// Every line is stamped in the zone in force when it is written, however
// often the zone changes within one second of a fixed clock: through TZ and
// tzset, and through the platform's zone.
TEST_F(Traced, EachLineIsStampedInTheZoneInForce) {
  const auto hour_ahead = [](std::int64_t, bool) -> std::int64_t { return 3600; };
  const struct {
    std::function<void()> change;
    const char* stamp;
  } steps[] = {
      {[] {}, "[10:15:30:25]"},
#ifdef _WIN32
      // TZ does not move the system's zone on Windows: the platform's
      // zone alone changes here (the script runs Wine in UTC).
      {[&] { platform.set_zone(hour_ahead); }, "[11:15:30:25]"},
      {[&] { platform.set_zone(nullptr); }, "[10:15:30:25]"},
      {[&] { platform.set_zone(hour_ahead); }, "[11:15:30:25]"},
      {[&] { platform.set_zone(nullptr); }, "[10:15:30:25]"},
#else
      {[] { kov_test::set_env("TZ", "XYZ-05:30"), ::tzset(); }, "[15:45:30:25]"},
      {[&] { platform.set_zone(hour_ahead); }, "[11:15:30:25]"},
      {[&] { platform.set_zone(nullptr); }, "[15:45:30:25]"},
      {[] { kov_test::set_env("TZ", "ABC+02"), ::tzset(); }, "[08:15:30:25]"},
      {[] { kov_test::set_env("TZ", "UTC"), ::tzset(); }, "[10:15:30:25]"},
#endif
  };
  {
    kov::Kov_diag_trace scope(u"s", 1, diag);
    for (const auto& step : steps) {
      step.change();
      scope.trace(u"m");
    }
  }
  const auto written = lines();
  ASSERT_EQ(written.size(), std::size(steps) + 2);
  for (std::size_t i = 0; i < std::size(steps); ++i) EXPECT_EQ(written[i + 1], std::string(steps[i].stamp) + "    m") << i;
}

// A clock that steps back and forth across a second boundary from one
// reading to the next: each line shows the fields and the hundredths of one
// and the same reading, never one second's fields with another's fraction.
// (The readings repeat in a cycle of seven, which meets a stamp made from
// two readings whatever number of other readings each line takes.)
TEST_F(Traced, AClockSteppingBackNeverMixesTwoSeconds) {
  const struct { int second; int hundredths; } readings[] = {{-1, 90}, {0, 70}, {0, 20}, {-1, 80},
                                                               {0, 80}, {-1, 10}, {0, 30}};
  std::set<std::string> stamps;
  for (const auto& r : readings) {
    stamps.insert("[10:15:" + std::to_string(30 + r.second) + ":" + std::to_string(r.hundredths) + "]");
  }
  fixed_micros = 0;
  std::size_t calls = 0;
  platform.clock = [&] {
    const auto& r = readings[calls++ % std::size(readings)];
    return fixed_clock() + r.second * 1000000LL + r.hundredths * 10000LL;
  };
  {
    kov::Kov_diag_trace scope(u"s", 1, diag);
    for (int i = 0; i < 12; ++i) scope.trace(u"m");
  }
  const auto written = lines();
  ASSERT_EQ(written.size(), 14u);
  for (const std::string& line : written) EXPECT_EQ(stamps.count(line.substr(0, 13)), 1u) << line;
}

// A scope is enabled when the object's level is not 0 and at least the
// scope's; each row also runs a scope against the object at that level.
TEST_F(Traced, ScopeEnabledWhenObjectLevelIsNonZeroAndHighEnough) {
  const struct { std::uint16_t object, scope; bool writes; } cases[] = {
      {0, 0, false}, {0, 1, false}, {5, 0, true}, {5, 5, true}, {5, 6, false}, {1, 1, true},
      {65535, 65535, true}, {65534, 65535, false}};
  std::size_t written = 0;
  for (const auto& c : cases) {
    EXPECT_EQ(kov::Kov_diag_trace::is_enabled(c.object, c.scope), c.writes) << c.object << " " << c.scope;
    diag.level(c.object);
    { kov::Kov_diag_trace scope(u"s", c.scope, diag); }
    const std::size_t now = read_lines(dir.file("trace.dgn")).size();
    EXPECT_EQ(now > written, c.writes) << c.object << " " << c.scope;
    written = now;
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
  EXPECT_EQ(lines(), (Lines{AT + "> on", "**** Diagnostic file created: Monday 01 January 2024 ****", marker_line(),
                            AT + "  still writing", AT + "< on"}));
}

TEST_F(Traced, DumpRowsHaveFixedColumns) {
  std::vector<std::uint8_t> bytes(65535);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(0x41 + i);
  const std::uint8_t mixed[] = {0x41, 0x42, 0x00, 0x25, 0x7F, 0xFF, 0x20, 0x7E};
  const std::string pre = AT + "  ";
  {
    kov::Kov_diag_trace scope(u"d", 1, diag);
    scope.trace(u"Received", mixed, 3);
    scope.trace(u"Empty 100%%", mixed, 0);
    scope.trace(u"Mixed", mixed, 8);
    scope.trace(u"Sixteen", bytes.data(), 16);
    scope.trace(u"Seventeen", bytes.data(), 17);
    scope.trace(u"Chars", "A%", 2);
    scope.trace(u"All", bytes.data(), 65535);  // the largest dump: 4096 rows, the last of 15 bytes
  }
  const std::string sixteen = pre + "41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50 ABCDEFGHIJKLMNOP";
  const Lines expected = {AT + "> d", pre + "Received", pre + "41 42 00" + std::string(40, ' ') + "AB.",
                          pre + "Empty 100%", pre + "Mixed",
                          pre + "41 42 00 25 7f ff 20 7e " + std::string(24, ' ') + "AB.%.. ~",
                          pre + "Sixteen", sixteen, pre + "Seventeen", sixteen, pre + "51 " + std::string(45, ' ') + "Q",
                          pre + "Chars", pre + "41 25 " + std::string(42, ' ') + "A%", pre + "All", sixteen};
  const auto written = lines();
  ASSERT_EQ(written.size(), expected.size() + 4095 + 1);
  EXPECT_EQ(Lines(written.begin(), written.begin() + expected.size()), expected);
  // Bytes 65520..65534 are 0x31..0x3f.
  EXPECT_EQ(written[written.size() - 2],
            pre + "31 32 33 34 35 36 37 38 39 3a 3b 3c 3d 3e 3f    123456789:;<=>?");
  EXPECT_EQ(written.back(), AT + "< d");
}

// A dump's heading is text: "%%" gives one "%", and every other "%" stands
// as it is, with no argument read for it. A heading is cut like a message.
TEST_F(Traced, DumpHeadingIsTextWithDoubledPercentOnly) {
  const std::uint8_t bytes[] = {0x41, 0x42, 0x43, 0x44};
  const struct { std::u16string heading; std::string written; } cases[] = {
      {u"heading %s%d%n", "heading %s%d%n"},
      {u"%s", "%s"},
      {u"100%%", "100%"},
      {u"%%%s%%%", "%%s%%"},
      {u"%ls %*d %.*s %p %x %", "%ls %*d %.*s %p %x %"},
      {u"%%%%", "%%"},
      {std::u16string(3000, u'y'), std::string(1023, 'y')},
      {std::u16string(1022, u'y') + u"%%z", std::string(1022, 'y') + "%"},
  };
  {
    kov::Kov_diag_trace scope(u"d", 1, diag);
    for (const auto& c : cases) scope.trace(c.heading.c_str(), bytes, 0);
    scope.trace(u"%s%d%n", bytes, 4);
  }
  Lines expected = {AT + "> d"};
  for (const auto& c : cases) expected.push_back(AT + "  " + c.written);
  expected.push_back(AT + "  %s%d%n");
  expected.push_back(AT + "  41 42 43 44 " + std::string(36, ' ') + "ABCD");
  expected.push_back(AT + "< d");
  EXPECT_EQ(lines(), expected);
}

TEST_F(Traced, DepthBelongsToEachThread) {
  auto work = [this] {
    kov::Kov_diag_trace a(u"a", 1, diag);
    kov::Kov_diag_trace b(u"b", 1, diag);
  };
  std::thread(work).join();
  work();  // the first thread's depth does not leak into this one
  Lines written = lines();
  std::erase_if(written, [](const std::string& line) { return line.rfind("****", 0) == 0; });  // markers
  const Lines once = {AT + "> a", AT + "  > b", AT + "  < b", AT + "< a"};
  EXPECT_EQ(written, (Lines{once[0], once[1], once[2], once[3], once[0], once[1], once[2], once[3]}));
}

}  // namespace
