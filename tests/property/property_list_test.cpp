// Kov_property_list: overwrite-or-append, search, removal, bulk operations,
// ownership, kov_extract_list, and filling templates from lists with
// kov_replace_tokens.
#include <gtest/gtest.h>

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "expect_message.h"
#include "kov/property_list.h"
#include "kov/tokens.h"
#include "nev/strings.h"

namespace {

using kov::Kov_property;
using kov::Kov_property_list;

// The duplicates flag, then "name=persistent" of every entry in order, as in
// "dup: a=$I1 a=$I2" or "unique: a=$I1".
std::u16string describe(const Kov_property_list& list) {
  std::u16string out = list.allow_duplicates() ? u"dup:" : u"unique:";
  for (const Kov_property* p : list) out += u" " + p->name() + u"=" + p->get_persistent_string();
  return out;
}

// A list of the given entries, added in order.
Kov_property_list list_of(bool allow_duplicates, std::initializer_list<Kov_property> entries) {
  Kov_property_list list(allow_duplicates);
  for (const Kov_property& entry : entries) list.add(entry);
  return list;
}

TEST(PropertyList, AddOverwritesOrAppends) {
  Kov_property_list unique, duplicates(true);
  for (Kov_property_list* list : {&unique, &duplicates}) {
    list->add(u"Size", 1);
    list->add(u"size", u"x");
  }
  EXPECT_EQ(describe(unique), u"unique: Size=$Sx");  // stored name kept, type changed
  EXPECT_EQ(describe(duplicates), u"dup: Size=$I1 size=$Sx");
  EXPECT_EQ(duplicates.find(u"SIZE"), duplicates[0]);
  unique.add(Kov_property(u"SIZE", true));
  EXPECT_EQ(describe(unique), u"unique: SIZE=$Btrue");  // a whole property brings its name

  // A unique list can come to hold two entries of one name; add overwrites
  // the first only.
  Kov_property_list mixed;
  mixed.transfer(duplicates);
  mixed.add(u"size", 9);
  EXPECT_EQ(describe(mixed), u"unique: Size=$I9 size=$Sx");

  const nev::Nev_date_and_time when(nev::Nev_date(5, 7, 1999), nev::Nev_time(13, 4, 9, 250),
                                    nev::Nev_time_zone::local());
  Kov_property_list typed;
  typed.add(u"a", u"literal");
  typed.add(u"b", std::u16string(u"text"));
  typed.add(u"c", false);
  typed.add(u"d", when);
  typed.add(u"e", nev::Nev_time_period(3, 2, 1, 0, 500000));
  typed.add(u"A", when);  // overwrite through value: type changes
  EXPECT_EQ(describe(typed),
            u"unique: a=$D000250:09:04:13:05:07:1999 b=$Stext c=$Bfalse d=$D000250:09:04:13:05:07:1999 "
            u"e=$T500000:00:01:02:0000000003");
}

TEST(PropertyList, FindWalksEntriesOfOneName) {
  Kov_property_list list(true);
  for (int i = 0; i < 5; ++i) list.add(i % 2 == 0 ? u"even" : u"odd", i);
  std::vector<int> found;
  Kov_property_list::position pos = list.begin();
  while (Kov_property* p = list.find(u"EVEN", pos)) found.push_back(p->int_value());
  EXPECT_EQ(found, (std::vector<int>{0, 2, 4}));
  EXPECT_EQ(pos, list.end());
  EXPECT_EQ(list.find(u"even", pos), nullptr);

  const Kov_property_list& view = list;
  Kov_property_list::const_position cpos = view.begin();
  EXPECT_EQ(view.find(u"odd", cpos)->int_value(), 1);
  EXPECT_EQ(cpos, view.begin() + 2);
  EXPECT_EQ(view.find(u"none"), nullptr);
  EXPECT_EQ(Kov_property_list().find(u""), nullptr);
}

TEST(PropertyList, PositionsAreChecked) {
  const std::string index_text = "Invalid position given to Kov_property_list::operator[]()";
  const std::string remove_text = "Invalid position given to Kov_property_list::remove()";
  Kov_property_list list;
  for (int filled = 0; filled < 2; ++filled) {
    for (unsigned index : {0u + filled * 2u, 1u + filled * 2u, 100u}) {  // empty: every index; else size and on
      expect_message<std::invalid_argument>([&] { (void)list[index]; }, index_text);
      expect_message<std::invalid_argument>([&] { list.remove(index); }, remove_text);
    }
    list.add(u"a", 1);
    list.add(u"b", 2);
  }
  expect_message<std::invalid_argument>([&] { list.remove(-1); }, remove_text);
  list.remove(0);
  EXPECT_EQ(describe(list), u"unique: b=$I2");
}

TEST(PropertyList, RemoveByObjectAndByPosition) {
  Kov_property_list list = list_of(true, {{u"a", 1}, {u"b", 2}, {u"c", 3}});
  Kov_property lookalike(*list[1]);
  list.remove(lookalike);  // equal, but another object
  EXPECT_EQ(list.size(), 3u);
  list.remove(*list[1]);
  EXPECT_EQ(describe(list), u"dup: a=$I1 c=$I3");

  Kov_property_list::position next = list.remove(list.begin());
  EXPECT_EQ((*next)->name(), u"c");
  next = list.remove(next);
  EXPECT_EQ(next, list.end());
  EXPECT_EQ(list.size(), 0u);
}

// Copies and appended entries are new objects; the flag comes with a copy or
// an assignment, and a true one with an append.
TEST(PropertyList, CopyAssignAndAppend) {
  const Kov_property_list source = list_of(true, {{u"a", 1}, {u"a", 2}});
  Kov_property_list copy(source), target = list_of(false, {{u"old", 0}});
  target = source;
  EXPECT_EQ(describe(copy), u"dup: a=$I1 a=$I2");
  EXPECT_EQ(describe(target), u"dup: a=$I1 a=$I2");
  EXPECT_NE(copy[0], source[0]);
  EXPECT_NE(target[1], source[1]);
  target = Kov_property_list(false);
  EXPECT_EQ(describe(target), u"unique:");
  Kov_property_list& alias = copy;
  copy = alias;
  copy += Kov_property_list(false);  // a false flag appended leaves a true one
  EXPECT_EQ(describe(copy), u"dup: a=$I1 a=$I2");

  Kov_property_list strict = list_of(false, {{u"a", 0}});
  strict += Kov_property_list(false);
  EXPECT_EQ(describe(strict), u"unique: a=$I0");
  strict += source;
  EXPECT_EQ(describe(strict), u"dup: a=$I0 a=$I1 a=$I2");
  EXPECT_NE(strict[1], source[0]);

  // Appending a list to itself doubles it once, whatever its capacity.
  for (int i = 0; i < 7; ++i) strict.add(u"x", i);
  strict += strict;
  EXPECT_EQ(strict.size(), 20u);
  EXPECT_EQ(strict[10]->int_value(), 0);
  EXPECT_EQ(strict[19]->int_value(), 6);
}

// transfer moves the objects themselves and leaves both flags; clear deletes
// the entries and keeps the flag, or sets it when given.
TEST(PropertyList, TransferAndClear) {
  Kov_property_list source = list_of(true, {{u"a", 1}, {u"b", 2}});
  Kov_property* entry = source[0];
  Kov_property_list target = list_of(false, {{u"A", 0}});
  target.transfer(source);
  EXPECT_EQ(describe(source), u"dup:");
  EXPECT_EQ(describe(target), u"unique: A=$I0 a=$I1 b=$I2");
  EXPECT_EQ(target[1], entry);
  target.transfer(target);
  target.transfer(source);
  EXPECT_EQ(target.size(), 3u);

  target.clear(true);
  target.add(u"a", 1);
  target.add(u"a", 2);
  EXPECT_EQ(describe(target), u"dup: a=$I1 a=$I2");
  target.clear();
  EXPECT_EQ(describe(target), u"dup:");
}

TEST(PropertyList, ExtractMovesNamedEntriesInNameOrder) {
  Kov_property_list source = list_of(true, {{u"x", 1}, {u"keep", 0}, {u"y", 2}, {u"X", 3}}), unique;
  nev::Nev_object_vector<std::u16string> names;
  for (const char16_t* name : {u"y", u"missing", u"x", u"x"}) names.push_back(new std::u16string(name));
  kov::kov_extract_list(source, unique, names);
  EXPECT_EQ(describe(source), u"dup: keep=$I0");
  EXPECT_EQ(describe(unique), u"unique: y=$I2 X=$I3");  // second "x" overwrote the first

  Kov_property_list from = list_of(true, {{u"x", 1}, {u"x", 2}}), all(true);
  kov::kov_extract_list(from, all, names);
  EXPECT_EQ(describe(from), u"dup:");
  EXPECT_EQ(describe(all), u"dup: x=$I1 x=$I2");
  kov::kov_extract_list(all, all, names);  // one list on both sides: nothing happens
  EXPECT_EQ(all.size(), 2u);
}

// Resolves "greeting", and "empty" to nothing; writes into the replacement
// for every other name, then leaves the name to the lists.
bool resolve(const std::u16string& name, std::u16string& replacement) {
  if (name == u"empty") return true;  // the replacement as it came, empty
  replacement = name == u"greeting" ? u"hi" : u"dropped";
  return name == u"greeting";
}

bool refuse_by_throwing(const std::u16string&, std::u16string&) { throw std::runtime_error("callback failed"); }

TEST(Tokens, TemplatesFromTwoListsAndACallback) {
  const auto first = list_of(false, {{u"name", u"world"}, {u"pct", u"%x%"}, {u"count", 1234}, {u"flag", true}});
  const auto second = list_of(false, {{u"NAME", u"second"}, {u"other", u"from second"}, {u"greeting", u"from list"},
                                      {u"empty", u"from list"}, {u"", u"-"}});

  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"", u""},
      {u"no tokens", u"no tokens"},
      {u"50%", u"50%"},
      {u"a%b", u"a%b"},
      {u"hello %name%!", u"hello world!"},
      {u"hello %NAME%!", u"hello world!"},
      {u"%other%", u"from second"},
      {u"a%nothing%b", u"ab"},
      {u"100%% sure", u"100- sure"},  // a token of empty name, not an escape
      {u"5% of %name%", u"5name%"},
      {u"[%pct%]", u"[%x%]"},
      {u"%nothing%%name%", u"world"},
      {u"%count% %flag%", u"1,234 true"},
      {u"%greeting%/%empty%/%name%", u"hi//world"},
  };
  for (const auto& [text, expected] : cases) {
    std::u16string out = u"stale";
    nev::Nev_status status;
    status.assign(0xC2010907u);
    kov::kov_replace_tokens(text, first, second, out, status, resolve);
    EXPECT_EQ(out, expected) << nev::nev_to_utf8(text);
    EXPECT_EQ(status.code(), 0xC2010907u);  // left as the caller set it
  }
}

TEST(Tokens, OverloadsAndSharedString) {
  const Kov_property_list list = list_of(false, {{u"name", u"world"}}), second = list_of(false, {{u"greeting", u"!"}});
  nev::Nev_status status;
  std::u16string text = u"hello %name%%greeting%";
  kov::kov_replace_tokens(text, list, text, status);
  EXPECT_EQ(text, u"hello world");

  std::u16string out;
  kov::kov_replace_tokens(u"%greeting%%name%", Kov_property_list(), second, out, status);
  EXPECT_EQ(out, u"!");

  out.clear();
  EXPECT_THROW(kov::kov_replace_tokens(u"a %x% b", list, second, out, status, refuse_by_throwing), std::runtime_error);
  EXPECT_EQ(out, u"a %x% b");  // the work done so far
}

}  // namespace
