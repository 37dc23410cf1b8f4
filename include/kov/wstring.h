// Value objects: a wide string that says what it is.
//
// Jor_base is the interface side of a value object (a type identifier and two
// versions); Tud is its place in a chain of parents, with a name. Kov_wstring
// carries one wide string and stands wherever either is expected:
//
//   kov::Kov_wstring label(u"north door");
//   tud::Tud& node = label;            // no parent yet: node.root() == &node
//   label.value(u"south door");
//
// An object owns its value and its name, never its parent: whoever builds a
// chain sees to it that a parent outlives its children. Parent links must end
// in an object without a parent; root() does not look for cycles. None of the
// classes takes a lock.
#pragma once

#include <cstdint>
#include <string>

#include "kov/export.h"
#include "nev/types.h"
#include "nev/vector.h"

namespace jor {

// The interface side of a value object. It has no public destructor: an
// object is never deleted through a Jor_base pointer.
class KOV_EXPORT Jor_base {
 public:
  // The object's type identifier.
  virtual const _GUID& type() const = 0;
  // The version of the interface (major in the high 16 bits).
  virtual std::uint32_t interface_version() const = 0;
  // The version of the implementation.
  virtual std::uint32_t implementation_version() const = 0;

 protected:
  Jor_base() = default;
  Jor_base(const Jor_base&) = default;
  Jor_base& operator=(const Jor_base&) = default;
  ~Jor_base() = default;
};

}  // namespace jor

namespace tud {

// A node that knows its parent (not owned) and carries a name.
class KOV_EXPORT Tud {
 public:
  // No parent, an empty name.
  Tud();
  Tud(const Tud&) = delete;
  Tud& operator=(const Tud&) = delete;
  // Frees the name; the parent is not touched.
  virtual ~Tud();

  // The parent; std::runtime_error when there is none.
  virtual Tud* parent() const;
  // Replaces the parent link; null removes it. No other object is told.
  virtual void parent(Tud* parent);
  // The object at the top of the chain: this one when it has no parent.
  virtual Tud* root();
  // The name; valid until it is next set or the object goes.
  virtual const std::u16string& name() const;
  // Replaces the name by a copy of `name`.
  virtual void name(const std::u16string& name);
  // Empties `items` without deleting what they point at; a Tud has nothing
  // to collect. `what` is not looked at.
  virtual void collect(std::uintptr_t what, nev::Nev_ptrvec_impl& items);
  // Finds nothing: returns 0 whatever it is given.
  virtual std::uintptr_t lookup(std::uintptr_t what, std::uintptr_t key);

 private:
  Tud* m_parent_p;
  std::u16string m_name;
};

}  // namespace tud

namespace kov {

// A wide string as a value object.
class KOV_EXPORT Kov_wstring : public jor::Jor_base, public tud::Tud {
 public:
  // The type identifier of every Kov_wstring,
  // {5AE48720-05EB-11D3-BF61-5E0703000000}.
  static const _GUID TYPE;
  // The interface and implementation version, 4.0.
  static constexpr std::uint32_t VERSION = 0x40000;

  // No parent, an empty name, `value` as the value.
  explicit Kov_wstring(const std::u16string& value);
  Kov_wstring(const Kov_wstring&) = delete;
  Kov_wstring& operator=(const Kov_wstring&) = delete;
  ~Kov_wstring() override;

  // A reference to TYPE.
  const _GUID& type() const override;
  // VERSION.
  std::uint32_t interface_version() const override;
  // VERSION.
  std::uint32_t implementation_version() const override;
  // Replaces the value by a copy of `value`.
  virtual void value(const std::u16string& value);
  // The value, by reference.
  virtual const std::u16string& value() const;

 private:
  std::u16string m_value;
};

}  // namespace kov
