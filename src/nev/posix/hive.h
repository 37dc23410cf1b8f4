// A hive: the keys and values of one machine's registry, in a store of the
// foundation's own. Two kinds exist: a SQLite database file (sqlite_hive.h)
// and a prefix of an etcd cluster; both keep the registry's semantics, which
// the operations of registry_posix.cpp build on:
// - keys are found by path below a base key; key and value names are
//   case-insensitive and case-preserving;
// - subkeys list in case-insensitive name order, values in creation order;
// - everything done inside one `write` is one transaction, committed only
//   when the body's status is still good.
//
// Keys are named by ids that the hive gives out; an id names one key for as
// long as the key lives, and is never given to another key afterwards, so a
// handle that holds the id of a deleted key finds it gone (key_exists).
//
// The operations between "inside read or write" may be used only inside the
// body of `read` or `write` of the same hive. A hive object is shared by every
// thread of the process; `read` and `write` serialise the bodies.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "nev/registry.h"
#include "nev/status.h"

namespace nev::detail {

using Key_id = std::int64_t;
// The id no key has: "not found".
constexpr Key_id NO_KEY = 0;

// The id of the predefined root `index` (0 to 4) in every hive.
constexpr Key_id root_key_id(int index) { return index + 1; }

// The values of one key in creation order, with an index by folded name.
struct Value_list {
  std::vector<Nev_reg_value> values;
  std::unordered_map<std::u16string, std::size_t> by_fold;

  // The value whose folded name is `fold`; null when there is none.
  const Nev_reg_value* find(const std::u16string& fold) const;
};

// A reference to a callable, cheap to pass: the body of a transaction.
class Hive_body {
 public:
  template <class F>
    requires(!std::is_same_v<std::remove_cv_t<F>, Hive_body>)
  Hive_body(F& body) : m_object(&body), m_call([](void* object) { (*static_cast<F*>(object))(); }) {}
  void operator()() const { m_call(m_object); }

 private:
  void* m_object;
  void (*m_call)(void*);
};

// What a hive has done and holds, for tests and measurements: the entries
// of its read caches, and the rows (or records) it has read from its store.
struct Hive_counters {
  std::size_t cached = 0;
  std::uint64_t rows_read = 0;
};

// `name` upper-cased by nev_to_upper, as big-endian UTF-16 bytes: byte order
// is then the case-insensitive order of names, so a store that sorts bytes
// lists subkeys in the registry's order.
std::string folded_bytes(const std::u16string& name);

class Hive {
 public:
  // Inline, so that the class has no key function: a test in another module
  // can derive from it without the library exporting it.
  virtual ~Hive() = default;

  // The counters so far; a kind that keeps none answers zeros. Any thread.
  virtual Hive_counters counters() const noexcept { return {}; }

  // Called once the hive is no longer the one at its location (the
  // locations were resolved again). Handles may still reach it, so it
  // stays usable; a hive that keeps a resource for readers only (a watch)
  // releases it here and takes it again on its next use. Any thread.
  virtual void retire() noexcept {}

  // Where the hive lies, as its location names it (for messages).
  virtual const std::string& location() const noexcept = 0;

  // Runs `body` for reading: the operations below that read may be used in
  // it. A hive that does not exist yet reads as empty. False, with
  // NEV_E_REG_HIVE in `status`, when the hive failed; `body` reports its own
  // failures in `status` and may be run more than once.
  virtual bool read(Hive_body body, Nev_status& status) = 0;
  // The same for writing: the hive is created when missing, and everything
  // `body` does is one transaction, committed when `status` is still good
  // afterwards and rolled back otherwise.
  virtual bool write(Hive_body body, Nev_status& status) = 0;

  // ---- inside read or write ------------------------------------------------
  // The key at `path` below the key `base`; NO_KEY when it does not exist.
  virtual Key_id find_key(Key_id base, const std::u16string& path) = 0;
  // The value of `key` named `name` (any case) into `value`; false when
  // there is none. Reads that one value, not the key's others.
  virtual bool find_value(Key_id key, const std::u16string& name, Nev_reg_value& value) = 0;
  // Whether the key `key` still exists (a handle's key may have been
  // deleted since the handle was made).
  virtual bool key_exists(Key_id key) = 0;
  // The values of `key`, in creation order. The reference stays valid until
  // the next call on the hive.
  virtual const Value_list& values(Key_id key) = 0;
  // The names of the subkeys of `key`, in case-insensitive order; valid
  // until the next call on the hive.
  virtual const std::vector<std::u16string>& subkeys(Key_id key) = 0;

  // ---- inside write --------------------------------------------------------
  // The most data bytes a value named `name` can hold in this hive; a
  // larger one is refused before it is written. Unbounded by default.
  virtual std::size_t value_capacity(const std::u16string& /*name*/) const noexcept { return SIZE_MAX; }
  // The key at `path` below `base`, created with every missing key on its way.
  virtual Key_id create_key(Key_id base, const std::u16string& path) = 0;
  // Writes `value` in `key`; an existing value of that name keeps its place
  // and its name's spelling.
  virtual void put_value(Key_id key, const Nev_reg_value& value) = 0;
  // Deletes the value of `key` named `name` (any case); false when none.
  virtual bool remove_value(Key_id key, const std::u16string& name) = 0;
  // Deletes `key` with all its subkeys and values.
  virtual void remove_tree(Key_id key) = 0;
};

}  // namespace nev::detail
