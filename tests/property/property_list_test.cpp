// Kov_property_list: overwrite-or-append, search, removal, bulk operations,
// ownership, and kov_extract_list.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "expect_message.h"
#include "kov/property_list.h"

namespace {

using kov::Kov_property;
using kov::Kov_property_list;

// "name=persistent" of every entry, in order.
std::vector<std::u16string> contents(const Kov_property_list& list) {
  std::vector<std::u16string> out;
  for (const Kov_property* p : list) out.push_back(p->name() + u"=" + p->get_persistent_string());
  return out;
}

using Contents = std::vector<std::u16string>;

TEST(PropertyList, AddOverwritesOrAppends) {
  Kov_property_list unique;
  unique.add(u"Size", 1);
  unique.add(u"size", u"x");
  EXPECT_EQ(contents(unique), (Contents{u"Size=$Sx"}));  // stored name kept, type changed
  unique.add(Kov_property(u"SIZE", true));
  EXPECT_EQ(contents(unique), (Contents{u"SIZE=$Btrue"}));  // a whole property brings its name

  Kov_property_list duplicates(true);
  duplicates.add(u"Size", 1);
  duplicates.add(u"size", u"x");
  EXPECT_EQ(contents(duplicates), (Contents{u"Size=$I1", u"size=$Sx"}));
  EXPECT_EQ(duplicates.find(u"SIZE"), duplicates[0]);

  // A list that holds two entries of one name: add overwrites the first only.
  Kov_property_list mixed, moved(duplicates);
  mixed.transfer(moved);
  mixed.add(u"size", 9);
  EXPECT_EQ(contents(mixed), (Contents{u"Size=$I9", u"size=$Sx"}));

  const nev::Nev_date_and_time when(nev::Nev_date(5, 7, 1999), nev::Nev_time(13, 4, 9, 250),
                                    nev::Nev_time_zone::local());
  Kov_property_list typed;
  typed.add(u"a", u"literal");
  typed.add(u"b", std::u16string(u"text"));
  typed.add(u"c", false);
  typed.add(u"d", when);
  typed.add(u"e", nev::Nev_time_period(3, 2, 1, 0, 500000));
  typed.add(u"A", when);  // overwrite through value: type changes
  EXPECT_EQ(contents(typed), (Contents{u"a=$D000250:09:04:13:05:07:1999", u"b=$Stext", u"c=$Bfalse",
                                       u"d=$D000250:09:04:13:05:07:1999", u"e=$T500000:00:01:02:0000000003"}));
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
  EXPECT_EQ(list.size(), 2u);
  list.remove(0);
  EXPECT_EQ(list[0]->name(), u"b");
}

TEST(PropertyList, RemoveByObjectAndByPosition) {
  Kov_property_list list(true);
  list.add(u"a", 1);
  list.add(u"b", 2);
  list.add(u"c", 3);
  Kov_property lookalike(*list[1]);
  list.remove(lookalike);  // equal, but another object
  EXPECT_EQ(list.size(), 3u);
  list.remove(*list[1]);
  EXPECT_EQ(contents(list), (Contents{u"a=$I1", u"c=$I3"}));

  Kov_property_list::position next = list.remove(list.begin());
  EXPECT_EQ((*next)->name(), u"c");
  next = list.remove(next);
  EXPECT_EQ(next, list.end());
  EXPECT_EQ(list.size(), 0u);
}

TEST(PropertyList, CopyAssignAndAppend) {
  Kov_property_list source(true);
  source.add(u"a", 1);
  source.add(u"a", 2);
  Kov_property_list copy(source);
  EXPECT_TRUE(copy.allow_duplicates());
  EXPECT_EQ(contents(copy), contents(source));
  EXPECT_NE(copy[0], source[0]);  // deep

  Kov_property_list target(false);
  target.add(u"old", u"x");
  target = source;
  EXPECT_EQ(contents(target), contents(source));
  EXPECT_TRUE(target.allow_duplicates());
  target = Kov_property_list(false);
  EXPECT_FALSE(target.allow_duplicates());
  Kov_property_list& alias = copy;
  copy = alias;
  EXPECT_EQ(contents(copy), contents(source));

  Kov_property_list strict(false);
  strict.add(u"a", 0);
  strict += Kov_property_list(false);
  EXPECT_FALSE(strict.allow_duplicates());
  strict += source;
  EXPECT_TRUE(strict.allow_duplicates());
  EXPECT_EQ(contents(strict), (Contents{u"a=$I0", u"a=$I1", u"a=$I2"}));

  // Appending a list to itself doubles it once, whatever its capacity.
  for (int i = 0; i < 7; ++i) strict.add(u"x", i);
  strict += strict;
  EXPECT_EQ(strict.size(), 20u);
  EXPECT_EQ(strict[10]->int_value(), 0);
  EXPECT_EQ(strict[19]->int_value(), 6);
}

TEST(PropertyList, TransferMovesTheObjectsThemselves) {
  Kov_property_list source(true);
  source.add(u"a", 1);
  source.add(u"b", 2);
  Kov_property* entry = source[0];
  Kov_property_list target(false);
  target.add(u"A", 0);
  target.transfer(source);
  EXPECT_EQ(source.size(), 0u);
  EXPECT_FALSE(target.allow_duplicates());
  EXPECT_TRUE(source.allow_duplicates());
  EXPECT_EQ(contents(target), (Contents{u"A=$I0", u"a=$I1", u"b=$I2"}));
  EXPECT_EQ(target[1], entry);  // the same object, now owned by the target
  entry->value(5);
  EXPECT_EQ(target[1]->int_value(), 5);

  target.transfer(target);
  target.transfer(source);
  EXPECT_EQ(target.size(), 3u);
}

TEST(PropertyList, ClearKeepsOrSetsTheFlag) {
  Kov_property_list list(false);
  list.add(u"a", 1);
  list.clear(true);
  EXPECT_EQ(list.size(), 0u);
  EXPECT_TRUE(list.allow_duplicates());
  list.add(u"a", 1);
  list.add(u"a", 2);
  EXPECT_EQ(list.size(), 2u);  // appended: duplicates are allowed now
  list.clear();
  EXPECT_EQ(list.size(), 0u);
  EXPECT_TRUE(list.allow_duplicates());
}

TEST(PropertyList, ExtractMovesNamedEntriesInNameOrder) {
  Kov_property_list source(true);
  source.add(u"x", 1);
  source.add(u"keep", 0);
  source.add(u"y", 2);
  source.add(u"X", 3);
  nev::Nev_object_vector<std::u16string> names;
  for (const char16_t* name : {u"y", u"missing", u"x", u"x"}) names.push_back(new std::u16string(name));

  Kov_property_list unique(false);
  kov::kov_extract_list(source, unique, names);
  EXPECT_EQ(contents(source), (Contents{u"keep=$I0"}));
  EXPECT_EQ(contents(unique), (Contents{u"y=$I2", u"X=$I3"}));  // second "x" overwrote the first

  Kov_property_list from(true), all(true);
  from.add(u"x", 1);
  from.add(u"x", 2);
  kov::kov_extract_list(from, all, names);
  EXPECT_EQ(contents(all), (Contents{u"x=$I1", u"x=$I2"}));
  EXPECT_EQ(from.size(), 0u);
  kov::kov_extract_list(all, all, names);  // one list on both sides: nothing happens
  EXPECT_EQ(all.size(), 2u);
}

}  // namespace
