// The diagnostic file: bytes on disk, name templates and their running
// number, opening and closing, failures that only lose lines.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "diag_test_support.h"
#include "kov/diag.h"
#include "nev/system.h"

namespace {

using diag_test::header_line;
using diag_test::marker_line;
using diag_test::read_bytes;
using diag_test::read_lines;
using diag_test::Scratch_dir;
using diag_test::utf16le;
using diag_test::widen;

std::uint32_t this_thread() { return nev::nev_current_thread_id(); }

TEST(DiagFile, DefaultConstructorWritesHeaderMarkerAndLineByteForByte) {
  Scratch_dir dir;
  ::setenv("DGN_FILEPATH", dir.path().c_str(), 1);
  ::setenv("DGN_FILENAME", "run.dgn", 1);
  ::unsetenv("DGN_TRACELEVEL");
  {
    kov::Kov_diag_main diag;
    EXPECT_EQ(diag.level(), 0);
    EXPECT_EQ(diag.path(), dir.wpath());
    EXPECT_EQ(diag.name(), u"run.dgn");
    EXPECT_FALSE(std::filesystem::exists(dir.file("run.dgn"))) << "construction opens nothing";
    diag.write(u"first line");
    diag.write(u"caf\u00e9 \u20ac");
  }
  const std::string expected = utf16le(header_line() + "\r\n" + marker_line(this_thread()) + "\r\n" +
                                       "first line\r\n") +
                               utf16le(std::u16string(u"caf\u00e9 \u20ac\r\n"));
  EXPECT_EQ(read_bytes(dir.file("run.dgn")), expected);
}

TEST(DiagFile, EnvironmentDefaultsAndLevelText) {
  Scratch_dir dir;
  std::filesystem::current_path(dir.path());
  ::unsetenv("DGN_FILEPATH");
  ::unsetenv("DGN_FILENAME");
  const struct {
    const char* text;  // null: unset
    std::uint16_t level;
  } cases[] = {{nullptr, 0}, {"5", 5}, {"65537", 1}, {"abc", 0}, {"", 0}, {"12x", 12}};
  for (const auto& c : cases) {
    c.text ? ::setenv("DGN_TRACELEVEL", c.text, 1) : ::unsetenv("DGN_TRACELEVEL");
    kov::Kov_diag_main diag;
    EXPECT_EQ(diag.level(), c.level) << (c.text ? c.text : "(unset)");
    EXPECT_EQ(diag.path(), u".");
    EXPECT_EQ(diag.name(), u"default.dgn");
  }
  // Level 0, yet a direct write makes default.dgn in the working directory.
  ::unsetenv("DGN_TRACELEVEL");
  kov::Kov_diag_main().write(u"x");
  EXPECT_EQ(read_lines(dir.file("default.dgn")),
            (std::vector<std::string>{header_line(), marker_line(this_thread()), "x"}));
}

// Writes one line per file `files` times through `name`, closing in between,
// and lists the directory's file names in creation order.
std::vector<std::string> files_made(const std::u16string& name, int files) {
  Scratch_dir dir;
  kov::Kov_diag_main diag;
  diag.reset(dir.wpath(), name, 1);
  std::vector<std::string> made;
  for (int i = 0; i < files; ++i) {
    diag.write(u"line");
    diag.close();
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
      const std::string file = entry.path().filename().string();
      if (std::find(made.begin(), made.end(), file) == made.end()) made.push_back(file);
    }
  }
  return made;
}

TEST(DiagFile, NameTemplates) {
  struct Case {
    std::u16string name;
    int files;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {u"trace%2", 2, {"trace00", "trace01"}},
      {u"%2.log", 1, {"00.log"}},
      {u"svc%3.dgn", 2, {"svc000.dgn", "svc001.dgn"}},
      {u"a%b.dgn", 2, {"a%b.dgn"}},
      {u"a%0.dgn", 2, {"a%0.dgn"}},
      {u"a%03.dgn", 1, {"a000.dgn"}},
      {u"a%2b%3c", 2, {"a00b%3c", "a01b%3c"}},
      {u"plain.dgn", 3, {"plain.dgn"}},
      {u"end%", 1, {"end%"}},
      {u"x%1.dgn", 11, {"x0.dgn", "x1.dgn", "x2.dgn", "x3.dgn", "x4.dgn", "x5.dgn", "x6.dgn", "x7.dgn", "x8.dgn",
                        "x9.dgn"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(files_made(c.name, c.files), c.expected) << std::string(c.name.begin(), c.name.end());
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
  EXPECT_TRUE(std::filesystem::exists(dir.file("a00")));
  EXPECT_TRUE(std::filesystem::exists(dir.file("a01")));
  EXPECT_TRUE(std::filesystem::exists(dir.file("b02")));

  // Every failed opening uses up a number: run the counter up to 65535
  // against a directory that does not exist.
  diag.reset(dir.wpath() + u"/missing", u"w%5", 1);
  for (int i = 3; i < 65535; ++i) diag.write(u"lost");
  diag.path(dir.wpath());
  diag.write(u"last");
  diag.close();
  diag.write(u"wrapped");
  EXPECT_EQ(read_lines(dir.file("w65535")).back(), "last");
  EXPECT_EQ(read_lines(dir.file("w00000")).back(), "wrapped");
}

TEST(DiagFile, ClosingAndReconfiguring) {
  Scratch_dir dir;
  Scratch_dir other;
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

  const std::string header = header_line();
  const std::string marker = marker_line(this_thread());
  EXPECT_EQ(read_lines(dir.file("f.dgn")), (std::vector<std::string>{header, marker, "a", "b", header, marker, "d"}));
  EXPECT_EQ(read_lines(other.file("f.dgn")), (std::vector<std::string>{header, marker, "c"}));
  EXPECT_EQ(diag.level(), 3);
}

TEST(DiagFile, TwoThreadsTakingTurnsEachGetAMarker) {
  Scratch_dir dir;
  kov::Kov_diag_main diag;
  diag.reset(dir.wpath(), u"t.dgn", 1);
  std::uint32_t other_id = 0;
  diag.write(u"main 1");
  diag.write(u"main 2");
  std::thread([&] {
    other_id = nev::nev_current_thread_id();
    diag.write(u"other 1");
  }).join();
  diag.write(u"main 3");
  ASSERT_NE(other_id, this_thread());
  const std::string mine = marker_line(this_thread());
  const std::string theirs = marker_line(other_id);
  EXPECT_EQ(read_lines(dir.file("t.dgn")),
            (std::vector<std::string>{header_line(), mine, "main 1", "main 2", theirs, "other 1", mine, "main 3"}));
}

TEST(DiagFile, UnusableDirectoryLosesLinesOnly) {
  Scratch_dir dir;
  const std::string locked = dir.file("locked");
  std::filesystem::create_directory(locked);
  std::filesystem::permissions(locked, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  const bool root = ::geteuid() == 0;  // root writes anywhere

  std::vector<std::u16string> targets = {widen(dir.file("no/such/dir")), widen(dir.file("plain"))};
  if (!root) targets.push_back(widen(locked));
  std::ofstream(dir.file("plain")) << "a file where a directory should be";
  int index = 0;
  for (const std::u16string& target : targets) {
    const std::u16string name = u"lost" + widen(std::to_string(index++)) + u".dgn";
    kov::Kov_diag_main diag;
    diag.reset(target, name, 1);
    kov::Kov_diag_trace scope(u"scope", 1, diag);
    for (int i = 0; i < 100; ++i) EXPECT_NO_THROW(scope.trace(u"line %d", i));
    // The next write tries again: a usable directory brings lines back.
    diag.path(dir.wpath());
    diag.write(u"back");
    diag.close();
    EXPECT_EQ(read_lines(dir.file(std::string(name.begin(), name.end()))),
              (std::vector<std::string>{header_line(), marker_line(this_thread()), "back"}));
  }
  EXPECT_FALSE(std::filesystem::exists(dir.file("no")));
  if (!root) {
    EXPECT_TRUE(std::filesystem::is_empty(locked));
  }
}

TEST(DiagFile, ExistingFileIsAppendedTo) {
  Scratch_dir dir;
  std::ofstream(dir.file("old.dgn"), std::ios::binary) << utf16le(std::string("earlier\r\n"));
  {
    kov::Kov_diag_main diag;
    diag.reset(dir.wpath(), u"old.dgn", 1);
    diag.write(u"later");
  }
  EXPECT_EQ(read_lines(dir.file("old.dgn")),
            (std::vector<std::string>{"earlier", header_line(), marker_line(this_thread()), "later"}));
}

}  // namespace
