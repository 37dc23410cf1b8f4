// Nev_tokeniser: separators, quotes, terminators, escapes, empties, trim.
#include "nev/tokeniser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using Pieces = std::vector<std::u16string>;

struct Settings {
  std::u16string separators;
  std::u16string quotes;
  std::u16string terminators;
  std::u16string escapes;
  bool keep_empty;
  bool trim;
};

Pieces split(const Settings& s, const std::u16string& text) {
  nev::Nev_tokeniser tokeniser(s.separators, s.quotes, s.terminators, s.escapes, s.keep_empty, s.trim);
  nev::Nev_object_vector<std::u16string> pieces;
  tokeniser.tokenise(text, pieces);
  Pieces out;
  for (const std::u16string* piece : pieces) out.push_back(*piece);
  return out;
}

std::string show(const Pieces& pieces) {
  std::string out;
  for (const auto& piece : pieces) out += "[" + std::string(piece.begin(), piece.end()) + "]";
  return out;
}

TEST(Tokeniser, SplitsAsConfigured) {
  const Settings keys{u";", u"", u"\n", u"", false, false};       // ordered registry keys
  const Settings messages{u";", u"", u"", u"", false, false};     // service message files
  const Settings kept{u";,", u"", u"", u"", true, false};
  const Settings trimmed{u";", u"", u"", u"", false, true};
  const Settings quoted{u";", u"\"'", u"#", u"\\", false, true};
  struct Case {
    const Settings& settings;
    std::u16string text;
    Pieces expected;
  };
  const Case cases[] = {
      {keys, u"a;b;;c", {u"a", u"b", u"c"}},
      {keys, u";a;", {u"a"}},
      {keys, u"", {}},
      {keys, u";;;", {}},
      {keys, u"one;two\nthree;four", {u"one", u"two"}},
      {keys, u"\nignored", {}},
      {keys, u" a ; b ", {u" a ", u" b "}},
      {messages, u"c:\\m\\one.msg;two.msg\n", {u"c:\\m\\one.msg", u"two.msg\n"}},
      {kept, u"a;b;;c", {u"a", u"b", u"", u"c"}},
      {kept, u";a,", {u"", u"a", u""}},
      {kept, u"", {u""}},
      {kept, u"x\0y"s, {u"x\0y"s}},
      {trimmed, u" \ta b\t ; ;c", {u"a b", u"c"}},
      {quoted, u"\"a;b\";c", {u"a;b", u"c"}},
      {quoted, u"  ' x ' ; y", {u" x ", u"y"}},
      {quoted, u"\"a#b\"c;d#e;f", {u"a#bc", u"d"}},
      {quoted, u"a\"b;c\"", {u"a\"b", u"c\""}},   // a quote inside a piece is plain
      {quoted, u"\"open;to the end", {u"open;to the end"}},
      {quoted, u"\"\";x", {u"x"}},
      {quoted, u"a\\;b;c\\", {u"a;b", u"c\\"}},
      {quoted, u"\"q\\\"q\"", {u"q\"q"}},
      {quoted, u"\\ x\\ ", {u" x "}},              // escaped blanks are not trimmed
      {quoted, u"\\#a#b", {u"#a"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(split(c.settings, c.text), c.expected) << show({c.text}) << " gave " << show(split(c.settings, c.text));
  }
}

TEST(Tokeniser, AppendsToWhatIsThere) {
  nev::Nev_tokeniser tokeniser(u";", u"", u"", u"", false, false);
  nev::Nev_object_vector<std::u16string> pieces;
  pieces.push_back(new std::u16string(u"first"));
  tokeniser.tokenise(u"a;b", pieces);
  tokeniser.tokenise(u"c", pieces);
  ASSERT_EQ(pieces.size(), 4u);
  EXPECT_EQ(pieces[0], u"first");
  EXPECT_EQ(pieces[3], u"c");
}

}  // namespace
