// Test helpers for extended numbers: a number that owns its buffer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kov/ext_number.h"

namespace kov::test {

// A number of `size` bytes over a heap buffer that ends where the number
// ends (so that AddressSanitizer sees any access past it), placed `offset`
// bytes into the allocation to give it any alignment. Starts at `low_value`.
class Owned_number {
 public:
  explicit Owned_number(unsigned size, std::uint64_t low_value = 0, unsigned offset = 0)
      : m_storage(new unsigned char[size + offset]), m_offset(offset), m_size(size),
        m_number(size, m_storage.get() + offset) {
    for (unsigned i = 0; i < size; ++i) bytes()[i] = i < 8 ? static_cast<unsigned char>(low_value >> (8 * i)) : 0;
  }
  Owned_number(const Owned_number&) = delete;
  Owned_number& operator=(const Owned_number&) = delete;

  Kov_ext_number& operator*() { return m_number; }
  Kov_ext_number* operator->() { return &m_number; }
  unsigned size() const { return m_size; }
  unsigned char* bytes() { return m_storage.get() + m_offset; }

  // The text form, for readable expectations and failure messages.
  std::string text() {
    std::u16string wide;
    m_number.get_value_str(wide);
    return std::string(wide.begin(), wide.end());
  }
  // The low eight bytes as a number.
  std::uint64_t low() {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < size() && i < 8; ++i) value |= std::uint64_t{bytes()[i]} << (8 * i);
    return value;
  }

 private:
  std::unique_ptr<unsigned char[]> m_storage;
  unsigned m_offset;
  unsigned m_size;
  Kov_ext_number m_number;
};

}  // namespace kov::test
