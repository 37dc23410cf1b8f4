// kov_replace_tokens: the template cases, the two lists and the callback.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "kov/tokens.h"
#include "nev/strings.h"

namespace {

using kov::Kov_property_list;

bool callback_knows_greeting(const std::u16string& name, std::u16string& replacement) {
  if (name == u"greeting") {
    replacement = u"hi";
    return true;
  }
  if (name == u"empty") return true;  // resolved, to nothing
  replacement = u"dropped";
  return false;
}

bool callback_throws(const std::u16string&, std::u16string&) { throw std::runtime_error("callback failed"); }

TEST(Tokens, TemplatesFromTwoListsAndACallback) {
  Kov_property_list first;
  first.add(u"name", u"world");
  first.add(u"pct", u"%x%");
  first.add(u"count", 1234);
  first.add(u"flag", true);
  Kov_property_list second;
  second.add(u"NAME", u"second");
  second.add(u"other", u"from second");
  second.add(u"greeting", u"from list");
  second.add(u"empty", u"from list");
  Kov_property_list blank;
  blank.add(u"", u"-");

  struct Case {
    const char16_t* text;
    const Kov_property_list& a;
    const char16_t* expected;
  };
  const Case cases[] = {
      {u"", first, u""},
      {u"no tokens", first, u"no tokens"},
      {u"50%", first, u"50%"},
      {u"a%b", first, u"a%b"},
      {u"hello %name%!", first, u"hello world!"},
      {u"hello %NAME%!", first, u"hello world!"},
      {u"%other%", first, u"from second"},
      {u"a%nothing%b", first, u"ab"},
      {u"100%% sure", first, u"100 sure"},
      {u"100%% sure", blank, u"100- sure"},
      {u"5% of %name%", first, u"5name%"},
      {u"[%pct%]", first, u"[%x%]"},
      {u"%nothing%%name%", first, u"world"},
      {u"%count% %flag%", first, u"1,234 true"},
      {u"%greeting%/%empty%/%name%", first, u"hi//world"},
  };
  for (const Case& c : cases) {
    std::u16string out = u"stale";
    nev::Nev_status status;
    status.assign(0xC2010907u);
    kov::kov_replace_tokens(c.text, c.a, second, out, status, callback_knows_greeting);
    EXPECT_EQ(out, c.expected) << nev::nev_to_utf8(c.text);
    EXPECT_EQ(status.code(), 0xC2010907u);  // left as the caller set it
  }
}

TEST(Tokens, OverloadsAndSharedString) {
  Kov_property_list list;
  list.add(u"name", u"world");
  nev::Nev_status status;
  std::u16string text = u"hello %name%%greeting%";
  kov::kov_replace_tokens(text, list, text, status);
  EXPECT_EQ(text, u"hello world");

  Kov_property_list second;
  second.add(u"greeting", u"!");
  std::u16string out;
  kov::kov_replace_tokens(u"%greeting%%name%", Kov_property_list(), second, out, status);
  EXPECT_EQ(out, u"!");

  out.clear();
  EXPECT_THROW(kov::kov_replace_tokens(u"a %x% b", list, second, out, status, callback_throws), std::runtime_error);
  EXPECT_EQ(out, u"a %x% b");  // the work done so far
}

}  // namespace
