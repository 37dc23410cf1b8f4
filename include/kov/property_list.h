// Kov_property_list: an ordered list of properties, searched by name without
// regard to letter case.
//
// The list owns its entries: each is a heap copy of what it was given, and
// the list deletes it on remove, clear, assignment and destruction. Only
// transfer moves the objects themselves from one list to another. Entries
// keep the order in which they were added; nothing sorts.
//
//   kov::Kov_property_list settings;                 // names kept unique
//   settings.add(u"Retries", 3);
//   settings.add(u"RETRIES", 5);                     // overwrites: one entry
//   if (kov::Kov_property* retries = settings.find(u"retries")) { ... }
//
// With allow_duplicates false, add overwrites an entry of the same name in
// place; with it true, add always appends. operator+= and transfer append
// without looking at names.
//
// A position is a pointer to a slot: dereferenced it gives the entry. It is
// good until the next operation that adds, removes or reserves. A pointer to
// an entry stays good until that entry is removed or overwritten by whole-list
// assignment, or the list is cleared or destroyed.
//
// The class takes no lock: a caller that shares a list guards it.
#pragma once

#include <string>

#include "kov/export.h"
#include "kov/property.h"
#include "nev/time.h"
#include "nev/vector.h"

namespace kov {

class KOV_EXPORT Kov_property_list {
 public:
  // A slot of the list, and a slot of a const list.
  using position = Kov_property**;
  using const_position = Kov_property* const*;

  // An empty list with room for 8 entries.
  explicit Kov_property_list(bool allow_duplicates = false);
  // A copy of every entry, in order, and the same allow_duplicates.
  Kov_property_list(const Kov_property_list& other);
  // Deletes every entry.
  ~Kov_property_list();

  // Replaces the entries by copies of the source's and takes its
  // allow_duplicates; assigning a list to itself does nothing.
  Kov_property_list& operator=(const Kov_property_list& other);
  // Appends a copy of every entry of `other` (which may be this list);
  // allow_duplicates becomes true if the source's is true.
  Kov_property_list& operator+=(const Kov_property_list& other);
  // Moves the entries of `other` to the end of this list, the objects
  // themselves; `other` is left empty. Nothing happens for this list itself.
  Kov_property_list& transfer(Kov_property_list& other);

  // Number of entries.
  unsigned int size() const;
  // True when add always appends.
  bool allow_duplicates() const;

  // The first slot and the slot behind the last.
  position begin();
  position end();
  const_position begin() const;
  const_position end() const;

  // The slot at `index`; std::invalid_argument unless index < size().
  Kov_property* const& operator[](unsigned int index) const;

  // The first entry of that name, or null.
  Kov_property* find(const std::u16string& name);
  const Kov_property* find(const std::u16string& name) const;
  // The first entry of that name at or behind `pos`, or null. On a match
  // `pos` is left behind the match, so the next call finds the next one;
  // otherwise it is left at end().
  Kov_property* find(const std::u16string& name, position& pos);
  const Kov_property* find(const std::u16string& name, const_position& pos) const;

  // Stores a copy. Overwriting with a whole property gives the entry the
  // new name too; the other overloads keep the stored name.
  void add(const Kov_property& property);
  void add(const std::u16string& name, const std::u16string& value);
  // The same as the wide-string form; without it a literal would choose the
  // bool overload.
  void add(const std::u16string& name, const char16_t* value);
  void add(const std::u16string& name, int value);
  void add(const std::u16string& name, bool value);
  void add(const std::u16string& name, const nev::Nev_date_and_time& value);
  void add(const std::u16string& name, const nev::Nev_time_period& value);

  // Deletes the entry at `index`; std::invalid_argument unless
  // index < size().
  void remove(unsigned int index);
  // The same for a plain int, so that remove(0) is not taken for a null
  // position; a negative index is out of range.
  void remove(int index);
  // Deletes the entry that is this very object, if the list holds it.
  void remove(Kov_property& property);
  // Deletes the entry in slot `pos` (a good slot, not end()); returns the
  // slot now at that index: the next entry, or end().
  position remove(const position& pos);

  // Deletes every entry; allow_duplicates stays.
  void clear();
  // Deletes every entry and sets allow_duplicates.
  void clear(bool allow_duplicates);

 private:
  // Kov_property pointers, owned, in list order.
  nev::Nev_ptrvec_impl m_entries;
  bool m_allow_duplicates;
};

// Moves every entry of `source` whose name is in `names` to `destination`
// through destination.add, in the order of the names and, for one name, in
// the source's order. The two lists must differ; for one list nothing
// happens.
KOV_EXPORT void kov_extract_list(Kov_property_list& source, Kov_property_list& destination,
                                 const nev::Nev_object_vector<std::u16string>& names);

}  // namespace kov
