// Vectors of pointers.
//
// Nev_ptrvec_impl is an untyped, growable array of pointers. It owns its
// array but never what the pointers point at: clear() and erase() only drop
// pointers. Nev_object_vector<T> sits on it and owns its elements: erase(),
// clear() and the destructor delete them.
//
//   nev::Nev_object_vector<std::u16string> names;
//   names.push_back(new std::u16string(u"alpha"));   // the vector owns it now
//   for (std::u16string* name : names) { ... }
//
// Neither class takes a lock; a caller that shares one guards it.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <utility>

#include "nev/export.h"

namespace nev {

class NEV_EXPORT Nev_ptrvec_impl {
 public:
  // An empty vector with room for `capacity` pointers.
  explicit Nev_ptrvec_impl(unsigned capacity = 8);
  ~Nev_ptrvec_impl();
  Nev_ptrvec_impl(const Nev_ptrvec_impl&) = delete;
  Nev_ptrvec_impl& operator=(const Nev_ptrvec_impl&) = delete;
  // Takes the other's array; the other is left empty.
  Nev_ptrvec_impl(Nev_ptrvec_impl&& other) noexcept;
  Nev_ptrvec_impl& operator=(Nev_ptrvec_impl&& other) noexcept;

  unsigned size() const noexcept { return m_size; }
  bool empty() const noexcept { return m_size == 0; }
  unsigned capacity() const noexcept { return m_capacity; }

  // First slot and the slot behind the last.
  void** begin() noexcept { return m_data_p; }
  void** end() noexcept { return m_data_p + m_size; }
  void* const* begin() const noexcept { return m_data_p; }
  void* const* end() const noexcept { return m_data_p + m_size; }

  // The slot at `index`; std::out_of_range when `index` is not below size().
  void*& at(unsigned index);
  void* at(unsigned index) const;

  // Appends `item`, growing the array when needed.
  void push_back(void* item);
  // Removes the slot at `index` and closes the gap, keeping the order of the
  // rest; std::out_of_range when `index` is not below size().
  void erase(unsigned index);
  // Makes room for at least `capacity` pointers; never shrinks.
  void reserve(unsigned capacity);
  // Empties the vector; the pointed-at objects are left alone.
  void clear() noexcept { m_size = 0; }
  // Swaps contents with `other`.
  void swap(Nev_ptrvec_impl& other) noexcept;

 private:
  // `m_data_p` holds `m_capacity` slots, of which the first `m_size` are used.
  void** m_data_p;
  unsigned m_size;
  unsigned m_capacity;
};

template <class T>
class Nev_object_vector {
 public:
  // An empty vector with room for `capacity` elements.
  explicit Nev_object_vector(unsigned capacity = 8) : m_impl(capacity) {}
  // Deletes every element.
  ~Nev_object_vector() { clear(); }
  // A deep copy: every element copied with T's copy constructor.
  Nev_object_vector(const Nev_object_vector& other) : m_impl(other.size()) {
    for (const T* item : other) push_back(new T(*item));
  }
  Nev_object_vector& operator=(const Nev_object_vector& other) {
    if (this != &other) {
      Nev_object_vector copy(other);
      m_impl.swap(copy.m_impl);
    }
    return *this;
  }
  Nev_object_vector(Nev_object_vector&& other) noexcept : m_impl(std::move(other.m_impl)) {}
  Nev_object_vector& operator=(Nev_object_vector&& other) noexcept {
    if (this != &other) {
      clear();
      m_impl = std::move(other.m_impl);
    }
    return *this;
  }

  unsigned size() const noexcept { return m_impl.size(); }
  bool empty() const noexcept { return m_impl.empty(); }

  T** begin() noexcept { return reinterpret_cast<T**>(m_impl.begin()); }
  T** end() noexcept { return reinterpret_cast<T**>(m_impl.end()); }
  T* const* begin() const noexcept { return reinterpret_cast<T* const*>(m_impl.begin()); }
  T* const* end() const noexcept { return reinterpret_cast<T* const*>(m_impl.end()); }

  // The element at `index`; std::out_of_range when out of range.
  T* at(unsigned index) const { return static_cast<T*>(m_impl.at(index)); }
  // The element at `index` by reference.
  T& operator[](unsigned index) const { return *at(index); }

  // Appends `item`; the vector owns it from now on, even when growing fails:
  // the item is then deleted and the exception passes on, so a caller's
  // push_back(new T(...)) never leaks.
  void push_back(T* item) {
    try {
      m_impl.push_back(item);
    } catch (...) {
      delete item;
      throw;
    }
  }
  // Deletes the element at `index` and closes the gap.
  void erase(unsigned index) {
    T* item = at(index);
    m_impl.erase(index);
    delete item;
  }
  // Removes the element at `index` without deleting it; the caller owns it.
  T* release(unsigned index) {
    T* item = at(index);
    m_impl.erase(index);
    return item;
  }
  void reserve(unsigned capacity) { m_impl.reserve(capacity); }
  // Deletes every element and empties the vector.
  void clear() noexcept {
    for (T* item : *this) delete item;
    m_impl.clear();
  }

  // The untyped vector beneath, for interfaces that take one.
  Nev_ptrvec_impl& impl() noexcept { return m_impl; }

 private:
  Nev_ptrvec_impl m_impl;
};

}  // namespace nev
