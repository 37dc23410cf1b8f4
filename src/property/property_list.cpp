// Kov_property_list and kov_extract_list.
#include "kov/property_list.h"

#include <cstddef>
#include <stdexcept>
#include <utility>
#include <vector>

#include "folded_names.h"
#include "nev/strings.h"

namespace kov {

namespace {

constexpr unsigned INITIAL_CAPACITY = 8;

Kov_property* entry_at(const nev::Nev_ptrvec_impl& entries, unsigned index) {
  return static_cast<Kov_property*>(entries.at(index));
}

// Fills `target` with copies of the entries of `source`. If a copy fails,
// the copies made so far are deleted and the failure passes on, so that
// nothing leaks.
void copy_entries(const nev::Nev_ptrvec_impl& source, nev::Nev_ptrvec_impl& target) {
  const unsigned count = source.size();
  target.reserve(target.size() + count);
  const unsigned first_new = target.size();
  try {
    for (unsigned i = 0; i < count; ++i) target.push_back(new Kov_property(*entry_at(source, i)));
  } catch (...) {
    while (target.size() > first_new) {
      delete entry_at(target, target.size() - 1);
      target.erase(target.size() - 1);
    }
    throw;
  }
}

// Deletes the entries and empties the vector.
void delete_entries(nev::Nev_ptrvec_impl& entries) noexcept {
  for (void* entry : entries) delete static_cast<Kov_property*>(entry);
  entries.clear();
}

// Appends `entry`, which `entries` owns from now on. The entry is built by
// the caller before this is called, so a property or a name taken from the
// list itself is read before the vector can grow.
void append(nev::Nev_ptrvec_impl& entries, Kov_property* entry) {
  try {
    entries.push_back(entry);
  } catch (...) {
    delete entry;
    throw;
  }
}

// The entry that add overwrites for `name`, or null when add appends.
Kov_property* add_target(Kov_property_list& list, const std::u16string& name) {
  return list.allow_duplicates() ? nullptr : list.find(name);
}

// add by name and value: the match keeps its stored name and takes the type
// and value; otherwise a new entry is appended.
template <class Value>
void add_named(Kov_property_list& list, nev::Nev_ptrvec_impl& entries, const std::u16string& name,
               const Value& value) {
  if (Kov_property* match = add_target(list, name)) {
    match->value(value);
  } else {
    append(entries, new Kov_property(name, value));
  }
}

// ---- extraction ---------------------------------------------------------

constexpr unsigned NO_RANK = ~0u;

// The names of an extraction, each with the index of its first occurrence:
// the turn in which a search per name would take its entries.
using Name_ranks = detail::Folded_name_table<unsigned>;

Name_ranks rank_names(const nev::Nev_object_vector<std::u16string>& names) {
  Name_ranks ranks(names.size());
  unsigned rank = 0;
  for (const std::u16string* name : names) ranks.insert(*name, rank++);
  return ranks;
}

// The rank of each entry of `list`, by slot: NO_RANK for an entry that no
// name matches.
std::vector<unsigned> rank_entries(Kov_property_list& list, const Name_ranks& ranks) {
  std::vector<unsigned> rank_of(list.size());
  const Kov_property_list::position slots = list.begin();
  for (std::size_t i = 0; i < rank_of.size(); ++i) {
    const unsigned* rank = ranks.find(slots[i]->name());
    rank_of[i] = rank != nullptr ? *rank : NO_RANK;
  }
  return rank_of;
}

// The slots of the ranked entries by rank, and within one rank in slot
// order: a counting sort over the `rank_count` possible ranks.
std::vector<unsigned> order_by_rank(const std::vector<unsigned>& rank_of, unsigned rank_count) {
  std::vector<std::size_t> next(static_cast<std::size_t>(rank_count) + 1, 0);
  for (unsigned rank : rank_of) {
    if (rank != NO_RANK) ++next[rank + 1];
  }
  for (std::size_t rank = 1; rank < next.size(); ++rank) next[rank] += next[rank - 1];
  std::vector<unsigned> order(next.back());
  for (std::size_t slot = 0; slot < rank_of.size(); ++slot) {
    if (rank_of[slot] != NO_RANK) order[next[rank_of[slot]]++] = static_cast<unsigned>(slot);
  }
  return order;
}

// Deletes the entries of `list` that have a rank and closes the gaps,
// keeping the order of the rest. The kept entries slide to the front by
// swapping slots, which leaves the ranked ones behind them, still owned
// once each; those then go from the back, where a removal moves nothing.
void drop_ranked(Kov_property_list& list, const std::vector<unsigned>& rank_of) noexcept {
  const Kov_property_list::position slots = list.begin();
  std::size_t kept = 0;
  for (std::size_t slot = 0; slot < rank_of.size(); ++slot) {
    if (rank_of[slot] == NO_RANK) std::swap(slots[kept++], slots[slot]);
  }
  while (list.size() > kept) list.remove(list.end() - 1);
}

}  // namespace

Kov_property_list::Kov_property_list(bool allow_duplicates)
    : m_entries(INITIAL_CAPACITY), m_allow_duplicates(allow_duplicates) {}

Kov_property_list::Kov_property_list(const Kov_property_list& other)
    : m_entries(other.size()), m_allow_duplicates(other.m_allow_duplicates) {
  copy_entries(other.m_entries, m_entries);
}

Kov_property_list::~Kov_property_list() { delete_entries(m_entries); }

Kov_property_list& Kov_property_list::operator=(const Kov_property_list& other) {
  if (this == &other) return *this;
  // The copies are made before the old entries go, so that a failure part
  // way leaves this list as it was.
  nev::Nev_ptrvec_impl copies(other.size());
  copy_entries(other.m_entries, copies);
  delete_entries(m_entries);
  m_entries.swap(copies);
  m_allow_duplicates = other.m_allow_duplicates;
  return *this;
}

// The source may be this list: the count is taken first and the source is
// read by index, so the loop ends and no slot is read after the vector has
// grown.
Kov_property_list& Kov_property_list::operator+=(const Kov_property_list& other) {
  if (other.m_allow_duplicates) m_allow_duplicates = true;
  const unsigned count = other.size();
  m_entries.reserve(size() + count);
  for (unsigned i = 0; i < count; ++i) m_entries.push_back(new Kov_property(*entry_at(other.m_entries, i)));
  return *this;
}

Kov_property_list& Kov_property_list::transfer(Kov_property_list& other) {
  if (this == &other || other.m_entries.empty()) return *this;
  m_entries.reserve(size() + other.size());
  for (void* entry : other.m_entries) m_entries.push_back(entry);
  other.m_entries.clear();
  return *this;
}

unsigned int Kov_property_list::size() const { return m_entries.size(); }

bool Kov_property_list::allow_duplicates() const { return m_allow_duplicates; }

Kov_property_list::position Kov_property_list::begin() { return reinterpret_cast<position>(m_entries.begin()); }

Kov_property_list::position Kov_property_list::end() { return reinterpret_cast<position>(m_entries.end()); }

Kov_property_list::const_position Kov_property_list::begin() const {
  return reinterpret_cast<const_position>(m_entries.begin());
}

Kov_property_list::const_position Kov_property_list::end() const {
  return reinterpret_cast<const_position>(m_entries.end());
}

Kov_property* const& Kov_property_list::operator[](unsigned int index) const {
  if (index >= size()) throw std::invalid_argument("Invalid position given to Kov_property_list::operator[]()");
  return begin()[index];
}

Kov_property* Kov_property_list::find(const std::u16string& name) {
  position pos = begin();
  return find(name, pos);
}

const Kov_property* Kov_property_list::find(const std::u16string& name) const {
  const_position pos = begin();
  return find(name, pos);
}

Kov_property* Kov_property_list::find(const std::u16string& name, position& pos) {
  const position last = end();
  for (; pos != last; ++pos) {
    if (nev::nev_string_equal_nc((*pos)->name(), name)) return *pos++;
  }
  return nullptr;
}

const Kov_property* Kov_property_list::find(const std::u16string& name, const_position& pos) const {
  const const_position last = end();
  for (; pos != last; ++pos) {
    if (nev::nev_string_equal_nc((*pos)->name(), name)) return *pos++;
  }
  return nullptr;
}

void Kov_property_list::add(const Kov_property& property) {
  if (Kov_property* match = add_target(*this, property.name())) {
    *match = property;
  } else {
    append(m_entries, new Kov_property(property));
  }
}

void Kov_property_list::add(const std::u16string& name, const std::u16string& value) {
  add_named(*this, m_entries, name, value);
}

void Kov_property_list::add(const std::u16string& name, const char16_t* value) {
  add(name, value != nullptr ? std::u16string(value) : std::u16string());
}

void Kov_property_list::add(const std::u16string& name, int value) {
  add_named(*this, m_entries, name, value);
}

void Kov_property_list::add(const std::u16string& name, bool value) {
  add_named(*this, m_entries, name, value);
}

void Kov_property_list::add(const std::u16string& name, const nev::Nev_date_and_time& value) {
  add_named(*this, m_entries, name, value);
}

void Kov_property_list::add(const std::u16string& name, const nev::Nev_time_period& value) {
  add_named(*this, m_entries, name, value);
}

void Kov_property_list::remove(unsigned int index) {
  if (index >= size()) throw std::invalid_argument("Invalid position given to Kov_property_list::remove()");
  delete entry_at(m_entries, index);
  m_entries.erase(index);
}

void Kov_property_list::remove(int index) {
  if (index < 0) throw std::invalid_argument("Invalid position given to Kov_property_list::remove()");
  remove(static_cast<unsigned int>(index));
}

void Kov_property_list::remove(Kov_property& property) {
  for (position pos = begin(); pos != end(); ++pos) {
    if (*pos == &property) {
      remove(pos);
      return;
    }
  }
}

Kov_property_list::position Kov_property_list::remove(const position& pos) {
  const auto index = static_cast<unsigned>(pos - begin());
  delete *pos;
  m_entries.erase(index);
  return begin() + index;
}

void Kov_property_list::clear() { delete_entries(m_entries); }

void Kov_property_list::clear(bool allow_duplicates) {
  delete_entries(m_entries);
  m_allow_duplicates = allow_duplicates;
}

// One pass over the source ranks every entry by the first name it matches,
// a counting sort puts the matches in the order of the names (the source's
// order within one name), the adds run in that order, and one compaction
// drops what was added. Everything that allocates happens before the first
// add, so a failing add leaves the source without the entries added so far
// and with every other entry, in order.
void kov_extract_list(Kov_property_list& source, Kov_property_list& destination,
                      const nev::Nev_object_vector<std::u16string>& names) {
  if (&source == &destination || names.empty() || source.size() == 0) return;
  const Name_ranks ranks = rank_names(names);
  std::vector<unsigned> rank_of = rank_entries(source, ranks);
  const std::vector<unsigned> order = order_by_rank(rank_of, names.size());
  const Kov_property_list::position slots = source.begin();
  std::size_t added = 0;
  try {
    for (; added < order.size(); ++added) destination.add(*slots[order[added]]);
  } catch (...) {
    for (std::size_t rest = added; rest < order.size(); ++rest) rank_of[order[rest]] = NO_RANK;
    drop_ranked(source, rank_of);
    throw;
  }
  drop_ranked(source, rank_of);
}

}  // namespace kov
