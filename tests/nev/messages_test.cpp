// Nev_messages_list: file format, inserts, failures, the global list.
#include "nev/messages.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include "nev/codes.h"
#include "nev/strings.h"

namespace {

using nev::Nev_messages_list;
using nev::Nev_status;

const std::filesystem::path source_root = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();

std::string read_all(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Writes `content` to a file of this test's own and removes it at the end.
struct Temp_file {
  std::filesystem::path path;
  Temp_file(const std::string& name, const std::string& content)
      : path(std::filesystem::temp_directory_path() /
             (name + "." + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + ".msg")) {
    std::ofstream(path, std::ios::binary) << content;
  }
  ~Temp_file() { std::filesystem::remove(path); }
  std::u16string wide() const { return path.u16string(); }
};

TEST(Messages, GlobalListKnowsEveryShippedCode) {
  // Every code declared in the two code headers and every line of the two
  // shipped files must have a text, and the text of the file.
  const std::regex declared("= (0x[0-9A-F]{8});");
  for (const char* header : {"include/nev/codes.h", "include/kov/codes.h"}) {
    const std::string text = read_all(source_root / header);
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
    std::istringstream lines(read_all(source_root / file));
    for (std::string text; std::getline(lines, text);) {
      std::smatch match;
      if (!std::regex_match(text, match, line)) continue;
      std::u16string message;
      ASSERT_TRUE(Nev_messages_list::m_global_messages.lookup(std::stoul(match[1], nullptr, 16), message));
      EXPECT_EQ(message, nev::nev_from_utf8(match[2]));
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
  ASSERT_TRUE(status.ok()) << std::string(nev::nev_to_utf8(nev::nev_status_text(status)));
  EXPECT_EQ(list.size(), 3u);
  EXPECT_EQ(list.format(1, {u"A", u"B"}), u"B before A, A again; %9 and %0 and 100% stay");
  EXPECT_EQ(list.format(1, {}), u" before ,  again; %9 and %0 and 100% stay");
  EXPECT_EQ(list.format(2, {u"1", u"2", u"3", u"4", u"5", u"6", u"7", u"8", u"9"}), u"eight: 12345678");
  EXPECT_EQ(list.format(3, {u"x"}), u"trailing %");
  EXPECT_EQ(list.format(0xC2FF0001, {}), u"0xC2FF0001");
  EXPECT_EQ(list.format(0x4, {u"a", u"b"}), u"0x00000004 (a, b)");

  Nev_status held;
  held.assign(2, nev::Nev_wstring_status_arg(u"x"));
  held.push(1, nev::Nev_wstring_status_arg(u"p"), nev::Nev_wstring_status_arg(u"q"));
  EXPECT_EQ(list.text(held), u"q before p, p again; %9 and %0 and 100% stay\neight: x");
}

TEST(Messages, FileFormatAndReplacement) {
  Temp_file file("nev_messages_ok",
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
  list.add(file.wide(), status);
  ASSERT_TRUE(status.ok()) << std::string(nev::nev_to_utf8(nev::nev_status_text(status)));
  EXPECT_EQ(status.depth(), 0u);
  EXPECT_EQ(list.size(), 4u);
  EXPECT_EQ(list.format(0x42010903, {u"x"}), u"second, with \u00E9 and x");
  EXPECT_EQ(list.format(0xC2FF0007, {}), u"lower-case hex");
  std::u16string text;
  EXPECT_TRUE(list.lookup(8, text));
  EXPECT_EQ(text, u"");
}

TEST(Messages, BadFilesAddNothing) {
  struct Case {
    const char* name;
    std::string content;
    int line;
  };
  const Case cases[] = {
      {"no_blank", "0x1 fine\n0x00000002text\n", 2},
      {"no_prefix", "C2000001 text\n", 1},
      {"no_digits", "0x text\n", 1},
      {"too_long", "0x1 a\n# c\n0x123456789 nine digits\n", 3},
      {"bad_digit", "0x12G4 text\n", 1},
      {"code_only", "0x1 a\n0x2", 2},
      {"leading_blank", " 0x1 text\n", 1},
      {"tab", "0x1\ttext\n", 1},
      {"truncated_prefix", "0", 1},
  };
  for (const Case& c : cases) {
    Temp_file file(c.name, c.content);
    Nev_messages_list list;
    Nev_status status;
    list.add_text("0x1 kept\n", u"base", status);
    list.add(file.wide(), status);
    EXPECT_TRUE(status == nev::NEV_E_MESSAGE_LINE) << c.name;
    EXPECT_EQ(status.argument(0, 0), file.wide()) << c.name;
    EXPECT_EQ(status.argument(0, 1), nev::nev_stow(std::to_string(c.line))) << c.name;
    EXPECT_EQ(list.size(), 1u) << c.name;
    std::u16string text;
    EXPECT_TRUE(list.lookup(1, text));
    EXPECT_EQ(text, u"kept") << c.name;
  }

  Nev_messages_list list;
  Nev_status status;
  list.add(u"/nonexistent/folder/none.msg", status);
  EXPECT_TRUE(status == nev::NEV_E_MESSAGE_FILE);
  EXPECT_EQ(status.argument(0, 0), u"/nonexistent/folder/none.msg");
  EXPECT_FALSE(status.argument(0, 1).empty());
  list.add(std::filesystem::temp_directory_path().u16string(), status);
  EXPECT_TRUE(status == nev::NEV_E_MESSAGE_FILE);
  list.add(u"/tmp/lone\xD800surrogate.msg", status);
  EXPECT_TRUE(status == nev::NEV_E_MESSAGE_FILE);
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
