// Nev_status (the code stack, argument copies, text) and Nev_messages_list
// (file format, inserts, failures, the global list).
#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

#include "nev/codes.h"
#include "nev/messages.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "scratch_dir.h"

namespace nev {
namespace {

constexpr std::uint32_t INNER = 0xC2000009;
constexpr std::uint32_t OUTER = 0xC2010905;
constexpr std::uint32_t INFO = 0x42010903;
constexpr std::uint32_t WARNING = 0x82010001;

// The whole stack as "code(argument,argument) ", outermost first.
std::string dump(const Nev_status& status) {
  std::ostringstream out;
  for (unsigned level = 0; level < status.depth(); ++level) {
    out << std::hex << status.code(level) << '(';
    for (unsigned i = 0; i < status.argument_count(level); ++i) out << (i ? "," : "") << nev_to_utf8(status.argument(level, i));
    out << ") ";
  }
  return out.str();
}

TEST(Status, ClearStatusAndOkRule) {
  // Success and informational codes are ok, warnings and errors are not.
  Nev_status status;
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(dump(status), "");
  const std::pair<std::uint32_t, bool> cases[] = {{0x00000001, true}, {INFO, true}, {WARNING, false}, {INNER, false}, {OUTER, false}};
  for (const auto& [code, ok] : cases) {
    status = code;
    EXPECT_EQ(status.ok(), ok) << std::hex << code;
    EXPECT_TRUE(status == code);
    EXPECT_EQ(status.depth(), 1u);
  }
  status = 0u;
  EXPECT_EQ(status.depth(), 0u);
}

TEST(Status, AssignReplacesAndPushKeeps) {
  Nev_status status;
  status.assign(INNER, Nev_wstring_status_arg(u"/lib/x.so"), Nev_wstring_status_arg(u"not found"));
  status.push(OUTER, Nev_wstring_status_arg(u"Plug"));
  EXPECT_EQ(dump(status), "c2010905(Plug) c2000009(/lib/x.so,not found) ");
  EXPECT_EQ(status.code(), OUTER);
  // Levels and arguments beyond the stack read as nothing.
  EXPECT_EQ(status.code(2), 0u);
  EXPECT_EQ(status.argument(1, 2), u"");
  EXPECT_EQ(status.argument(5, 0), u"");

  // A push on a clear status, and on a bare code without arguments.
  Nev_status pushed;
  pushed.push(INNER);
  pushed.push(OUTER, Nev_int_status_arg(7, true));
  EXPECT_EQ(dump(pushed), "c2010905(7) c2000009() ");

  status.assign(WARNING);
  EXPECT_EQ(dump(status), "82010001() ");
  status.assign(0);
  EXPECT_EQ(status.depth(), 0u);
  status.push(0);
  EXPECT_EQ(status.depth(), 0u);
}

TEST(Status, ArgumentsStopAtTheFirstNullAndRenderByKind) {
  Nev_status status;
  status.assign(INNER, Nev_int_status_arg(-42, true), Nev_null_status_arg::NULL_ARGUMENT,
                Nev_wstring_status_arg(u"hidden"));
  EXPECT_EQ(status.argument_count(0), 1u);

  status.assign(INNER, Nev_int_status_arg(INT_MIN, true), Nev_int_status_arg(-1, false),
                Nev_uint_status_arg(4294967295u, true), Nev_uint_status_arg(0xABCu, false),
                Nev_bool_status_arg(true), Nev_bool_status_arg(false), Nev_wstring_status_arg(u""),
                Nev_wstring_status_arg(u"eighth"));
  const char16_t* expected[] = {u"-2147483648", u"0xFFFFFFFF", u"4294967295", u"0x00000ABC",
                                u"true",        u"false",      u"",           u"eighth"};
  ASSERT_EQ(status.argument_count(0), 8u);
  for (unsigned i = 0; i < 8; ++i) EXPECT_EQ(status.argument(0, i), expected[i]) << i;
}

TEST(Status, CopiesAreIndependentAndMovesEmpty) {
  Nev_status original;
  {
    std::u16string temporary = u"path";
    original.assign(INNER, Nev_wstring_status_arg(temporary));
    temporary = u"changed";
  }
  original.push(OUTER);
  const std::string two_levels = "c2010905() c2000009(path) ";
  Nev_status copy(original);
  original.push(WARNING, Nev_wstring_status_arg(u"later"));
  EXPECT_EQ(dump(copy), two_levels);
  EXPECT_EQ(original.depth(), 3u);

  Nev_status assigned;
  assigned = copy;
  copy.clear();
  EXPECT_EQ(dump(assigned), two_levels);
  assigned = assigned;  // self-assignment keeps everything
  EXPECT_EQ(dump(assigned), two_levels);

  Nev_status moved(std::move(assigned));
  EXPECT_EQ(dump(moved), two_levels);
  EXPECT_TRUE(assigned.ok() && assigned.depth() == 0);  // NOLINT(bugprone-use-after-move)
  Nev_status target;
  target = INFO;
  target = std::move(moved);
  EXPECT_EQ(dump(target), two_levels);
}

const std::filesystem::path source_root = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();

TEST(Messages, GlobalListKnowsEveryShippedCode) {
  // Every code declared in the two code headers and every line of the two
  // shipped files must have a text, and the text of the file.
  const std::regex declared("= (0x[0-9A-F]{8});");
  for (const char* header : {"include/nev/codes.h", "include/kov/codes.h"}) {
    const std::string text = test::read_file((source_root / header).u16string());
    int count = 0;
    for (std::sregex_iterator it(text.begin(), text.end(), declared), end; it != end; ++it, ++count) {
      std::u16string message;
      EXPECT_TRUE(Nev_messages_list::m_global_messages.lookup(std::stoul((*it)[1], nullptr, 16), message))
          << header << " " << (*it)[1];
      EXPECT_FALSE(message.empty());
    }
    EXPECT_GT(count, 10) << header;
  }
  const std::regex line("^(0x[0-9A-Fa-f]{1,8}) (.*)$");
  for (const char* file : {"messages/nev.msg", "messages/kov.msg"}) {
    std::istringstream lines(test::read_file((source_root / file).u16string()));
    for (std::string text; std::getline(lines, text);) {
      std::smatch match;
      if (!std::regex_match(text, match, line)) continue;
      std::u16string message;
      ASSERT_TRUE(Nev_messages_list::m_global_messages.lookup(std::stoul(match[1], nullptr, 16), message));
      EXPECT_EQ(message, nev_from_utf8(match[2]));
    }
  }
}

TEST(Messages, FormatInsertsArguments) {
  Nev_messages_list list;
  Nev_status status;
  list.add_text("0x00000001 %2 before %1, %1 again; %9 and %0 and 100% stay\n"
                "0x00000002 eight: %1%2%3%4%5%6%7%8\n"
                "0x00000003 trailing %\n",
                u"inline", status);
  ASSERT_TRUE(status.ok()) << std::string(nev_to_utf8(nev_status_text(status)));
  EXPECT_EQ(list.size(), 3u);
  EXPECT_EQ(list.format(1, {u"A", u"B"}), u"B before A, A again; %9 and %0 and 100% stay");
  EXPECT_EQ(list.format(1, {}), u" before ,  again; %9 and %0 and 100% stay");
  EXPECT_EQ(list.format(2, {u"1", u"2", u"3", u"4", u"5", u"6", u"7", u"8", u"9"}), u"eight: 12345678");
  EXPECT_EQ(list.format(3, {u"x"}), u"trailing %");
  EXPECT_EQ(list.format(0xC2FF0001, {}), u"0xC2FF0001");
  EXPECT_EQ(list.format(0x4, {u"a", u"b"}), u"0x00000004 (a, b)");

  Nev_status held;
  EXPECT_EQ(list.text(held), u"");
  held.assign(2, Nev_wstring_status_arg(u"x"));
  held.push(1, Nev_wstring_status_arg(u"p"), Nev_wstring_status_arg(u"q"));
  EXPECT_EQ(list.text(held), u"q before p, p again; %9 and %0 and 100% stay\neight: x");
  // The text of a status comes from the global list.
  held.assign(NEV_E_LIBRARY_LOAD, Nev_wstring_status_arg(u"/p/a.so"), Nev_wstring_status_arg(u"gone"));
  held.push(0xC2FF0001, Nev_int_status_arg(3, true), Nev_wstring_status_arg(u"x"));
  EXPECT_EQ(nev_status_text(held), u"0xC2FF0001 (3, x)\nThe library /p/a.so could not be loaded: gone");
}

TEST(Messages, FileFormatAndReplacement) {
  test::Scratch_dir dir;
  const std::u16string file = dir.file(u"ok.msg");
  test::write_file(file,
                 "\xEF\xBB\xBF# comment\r\n"
                 "; another comment\n"
                 "   \n"
                 "\n"
                 "0x42010903 first\r\n"
                 "0x42010903 second, with \xC3\xA9 and %1\n"
                 "0xc2ff0007 lower-case hex\n"
                 "0x7 short code with empty text next\n"
                 "0x8 ");
  Nev_messages_list list;
  Nev_status status;
  status = 0xC2000001u;
  list.add(file, status);
  ASSERT_EQ(status.depth(), 0u) << nev_to_utf8(nev_status_text(status));  // cleared first
  EXPECT_EQ(list.size(), 4u);
  EXPECT_EQ(list.format(0x42010903, {u"x"}), u"second, with \u00E9 and x");
  EXPECT_EQ(list.format(0xC2FF0007, {}), u"lower-case hex");
  std::u16string text;
  EXPECT_TRUE(list.lookup(8, text));
  EXPECT_EQ(text, u"");
}

TEST(Messages, BadFilesAddNothing) {
  struct Case { const char* name; std::string content; int line; };
  const Case cases[] = {
      {"no_blank", "0x1 fine\n0x00000002text\n", 2},  {"no_prefix", "C2000001 text\n", 1},
      {"no_digits", "0x text\n", 1},                   {"too_long", "0x1 a\n# c\n0x123456789 nine digits\n", 3},
      {"bad_digit", "0x12G4 text\n", 1},               {"code_only", "0x1 a\n0x2", 2},
      {"leading_blank", " 0x1 text\n", 1},             {"tab", "0x1\ttext\n", 1},
      {"truncated_prefix", "0", 1},
  };
  test::Scratch_dir dir;
  for (const Case& c : cases) {
    const std::u16string file = dir.file(nev_stow(c.name));
    test::write_file(file, c.content);
    Nev_messages_list list;
    Nev_status status;
    list.add_text("0x1 kept\n", u"base", status);
    list.add(file, status);
    EXPECT_TRUE(status == NEV_E_MESSAGE_LINE) << c.name;
    EXPECT_EQ(status.argument(0, 0), file) << c.name;
    EXPECT_EQ(status.argument(0, 1), nev_stow(std::to_string(c.line))) << c.name;
    EXPECT_EQ(list.size(), 1u) << c.name;
    std::u16string text;
    EXPECT_TRUE(list.lookup(1, text));
    EXPECT_EQ(text, u"kept") << c.name;
  }

  Nev_messages_list list;
  Nev_status status;
  list.add(u"/nonexistent/folder/none.msg", status);
  EXPECT_TRUE(status == NEV_E_MESSAGE_FILE);
  EXPECT_EQ(status.argument(0, 0), u"/nonexistent/folder/none.msg");
  EXPECT_FALSE(status.argument(0, 1).empty());
  list.add(std::filesystem::temp_directory_path().u16string(), status);
  EXPECT_TRUE(status == NEV_E_MESSAGE_FILE);
  list.add(u"/tmp/lone\xD800surrogate.msg", status);
  EXPECT_TRUE(status == NEV_E_MESSAGE_FILE);
  EXPECT_EQ(list.size(), 0u);
}

TEST(Messages, ConcurrentAddAndLookup) {
  Nev_messages_list list;
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 4; ++t) {
    threads.emplace_back([&list, t] {
      for (unsigned i = 0; i < 200; ++i) {
        const std::uint32_t code = t * 1000 + i + 1;
        Nev_status status;
        list.add_text("0x" + std::to_string(code) + " text\n", u"thread", status);  // decimal digits read as hex
        EXPECT_EQ(list.format(std::stoul(std::to_string(code), nullptr, 16), {}), u"text");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(list.size(), 800u);
}

}  // namespace
}  // namespace nev
