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

// A list of entries numbered in order, as in {u"a", u"b"}: a=1, b=2.
Kov_property_list numbered(bool allow_duplicates, std::initializer_list<const char16_t*> names) {
  Kov_property_list list(allow_duplicates);
  int number = 0;
  for (const char16_t* name : names) list.add(Kov_property(name, ++number));
  return list;
}

nev::Nev_object_vector<std::u16string> name_vector(const std::vector<std::u16string>& names) {
  nev::Nev_object_vector<std::u16string> vector;
  for (const std::u16string& name : names) vector.push_back(new std::u16string(name));
  return vector;
}

// Which entries move, where they go and what stays, for names that differ in
// case (non-ASCII letters included), repeat, or match nothing.
TEST(PropertyList, ExtractTakesEachEntryForTheFirstNameItMatches) {
  struct Case {
    const char* what;
    Kov_property_list destination;
    Kov_property_list source;
    std::vector<std::u16string> names;
    const char16_t* destination_after;
    const char16_t* source_after;
  };
  const Case cases[] = {
      {"names in their order, one name's entries in the source's order, the rest kept in order", Kov_property_list(true),
       numbered(true, {u"a", u"k", u"b", u"c", u"A", u"B", u"K", u"a"}), {u"b", u"a"},
       u"dup: b=$I3 B=$I6 a=$I1 A=$I5 a=$I8", u"dup: k=$I2 c=$I4 K=$I7"},
      {"a name given again, in any case, finds nothing more", Kov_property_list(true),
       numbered(true, {u"a", u"b", u"A"}), {u"A", u"b", u"a", u"B", u"a"}, u"dup: a=$I1 A=$I3 b=$I2", u"dup:"},
      {"names that match nothing are passed over", Kov_property_list(true), numbered(false, {u"a", u"b", u"bb"}),
       {u"zz", u"b ", u"", u"b", u"ab"}, u"dup: b=$I2", u"unique: a=$I1 bb=$I3"},
      {"the empty name is a name", Kov_property_list(true), numbered(true, {u"a", u""}), {u""}, u"dup: =$I2",
       u"dup: a=$I1"},
      {"no names", Kov_property_list(true), numbered(true, {u"a"}), {}, u"dup:", u"dup: a=$I1"},
      {"an empty source", numbered(false, {u"a"}), Kov_property_list(true), {u"a"}, u"unique: a=$I1", u"dup:"},
      {"every entry, in the reverse order", Kov_property_list(false), numbered(true, {u"a", u"b", u"c", u"d"}),
       {u"D", u"C", u"B", u"A"}, u"unique: d=$I4 c=$I3 b=$I2 a=$I1", u"dup:"},
      // add overwrites in place and a whole property brings its name: the
      // last entry of a name moved is the one left.
      {"a destination that keeps names unique", numbered(false, {u"Y", u"x", u"z"}),
       numbered(true, {u"y", u"z", u"y", u"Z", u"w"}), {u"y", u"z"}, u"unique: y=$I3 x=$I2 Z=$I4", u"dup: w=$I5"},
      // Dotless i and long s fold to ASCII, the micro sign to capital mu,
      // final sigma to capital sigma, y with diaeresis across blocks.
      {"letters folded beyond ASCII", Kov_property_list(true),
       numbered(true, {u"FILE", u"\u00b5s", u"\u03a3\u039f\u03a6\u0399\u0391", u"\u00ffes", u"Stra\u00dfe",
                       u"\u0416\u0423\u041a", u"\u0141\u00f3d\u017a", u"POS"}),
       {u"\u0416\u0443\u043a", u"f\u0131le", u"\u03bcS", u"\u03c2\u03bf\u03c6\u03b9\u03b1", u"\u0178ES",
        u"STRA\u00dfE", u"\u0141\u00d3D\u0179", u"po\u017f"},
       u"dup: \u0416\u0423\u041a=$I6 FILE=$I1 \u00b5s=$I2 \u03a3\u039f\u03a6\u0399\u0391=$I3 \u00ffes=$I4 "
       u"Stra\u00dfe=$I5 \u0141\u00f3d\u017a=$I7 POS=$I8",
       u"dup:"},
      // Letters whose case the list does not fold match only themselves.
      {"letters the list does not fold", Kov_property_list(true),
       numbered(true, {u"\u01c6", u"\uff41", u"\u00df", u"\u00e9"}),
       {u"\u01c4", u"\uff21", u"\u1e9e", u"SS", u"E", u"\u00c9"}, u"dup: \u00e9=$I4",
       u"dup: \u01c6=$I1 \uff41=$I2 \u00df=$I3"},
  };
  for (const Case& c : cases) {
    Kov_property_list destination(c.destination), source(c.source);
    kov::kov_extract_list(source, destination, name_vector(c.names));
    EXPECT_EQ(describe(destination), c.destination_after) << c.what;
    EXPECT_EQ(describe(source), c.source_after) << c.what;
  }
}

// Thousands of names, so that many share a hash slot: every third entry of
// a long list moves, its names given backwards and each twice in two cases;
// the others stay, in order, the same objects as before.
TEST(PropertyList, ExtractManyNamesFromALongList) {
  const int count = 6000;
  Kov_property_list source(true), destination(true);
  std::vector<std::u16string> names;
  for (int i = 0; i < count; ++i) {
    std::u16string digits;
    nev::nev_itow(i, digits, 10, false);
    source.add(u"Entry" + digits, i);
  }
  for (int i = count - 1; i >= 0; i -= 3) {
    names.push_back(source[i]->name());
    names.push_back(u"ENTRY" + source[i]->name().substr(5));
  }
  const Kov_property* first_kept = source[0];
  kov::kov_extract_list(source, destination, name_vector(names));
  ASSERT_EQ(destination.size(), static_cast<unsigned>(count / 3));
  ASSERT_EQ(source.size(), static_cast<unsigned>(count - count / 3));
  for (unsigned i = 0; i < destination.size(); ++i) {
    EXPECT_EQ(destination[i]->int_value(), count - 1 - 3 * static_cast<int>(i)) << i;
  }
  for (unsigned i = 0; i < source.size(); ++i) EXPECT_EQ(source[i]->int_value(), static_cast<int>(i + i / 2)) << i;
  EXPECT_EQ(source[0], first_kept);  // kept entries are the same objects
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

// Tokens behind many others are looked up like the first few of a template:
// the first list before the second, the first entry of a name in list
// order, names matched as the list matches them, nothing for a name in
// neither list.
TEST(Tokens, ManyTokensResolveAsTheFirstFew) {
  const auto first = list_of(true, {{u"Name", u"first"}, {u"NAME", u"first again"}, {u"f\u0131le", u"dotless"},
                                    {u"\u00b5s", u"micro"}, {u"", u"empty"}, {u"pad", u"."}});
  const auto second = list_of(true, {{u"name", u"second"}, {u"other", u"other"}, {u"OTHER", u"other again"},
                                     {u"\u01c6", u"dz"}});
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"%name%", u"first"},  {u"%FILE%", u"dotless"}, {u"%\u03bcS%", u"micro"}, {u"%Other%", u"other"},
      {u"%%", u"empty"},      {u"%\u01c4%", u""},      {u"%missing%", u""},      {u"%nam%", u""},
      {u"%\u01c6%", u"dz"},
  };
  for (int padding : {0, 100}) {
    std::u16string pad, dots;
    for (int i = 0; i < padding; ++i) {
      pad += u"%PAD%";
      dots += u".";
    }
    for (const auto& [token, value] : cases) {
      std::u16string out;
      nev::Nev_status status;
      kov::kov_replace_tokens(pad + token, first, second, out, status);
      EXPECT_EQ(out, dots + value) << nev::nev_to_utf8(token) << " behind " << padding << " tokens";
    }
  }
}

Kov_property_list* g_changed_list = nullptr;

// Deletes the first entry of g_changed_list at the token "drop"; resolves
// nothing.
bool drop_first_entry(const std::u16string& name, std::u16string&) {
  if (name == u"drop") g_changed_list->remove(0);
  return false;
}

// A callback may change a list while a template is filled; the tokens after
// the change see it, however many tokens came before.
TEST(Tokens, ListsChangedByTheCallbackAreSeen) {
  for (int before : {1, 100}) {
    Kov_property_list first = list_of(false, {{u"x", u"one"}}), second = list_of(false, {{u"x", u"two"}});
    g_changed_list = &first;
    std::u16string text, expected;
    for (int i = 0; i < before; ++i) {
      text += u"%x%";
      expected += u"one";
    }
    std::u16string out;
    nev::Nev_status status;
    kov::kov_replace_tokens(text + u"%drop%%x%", first, second, out, status, drop_first_entry);
    EXPECT_EQ(out, expected + u"two") << before;
  }
  g_changed_list = nullptr;
}

}  // namespace
