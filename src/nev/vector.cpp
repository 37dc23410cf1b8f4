// Nev_ptrvec_impl: the untyped pointer array beneath Nev_object_vector.
//
// The array doubles when full, so a run of push_back costs amortised
// constant time. A capacity of 0 is allowed; the first push_back makes room.
#include "nev/vector.h"

#include <algorithm>
#include <limits>
#include <string>

namespace nev {

namespace {

[[noreturn]] void throw_out_of_range(const char* operation, unsigned index, unsigned size) {
  throw std::out_of_range(std::string("Nev_ptrvec_impl::") + operation + ": index " + std::to_string(index) +
                          " is not below the size " + std::to_string(size));
}

}  // namespace

Nev_ptrvec_impl::Nev_ptrvec_impl(unsigned capacity)
    : m_data_p(capacity != 0 ? new void*[capacity] : nullptr), m_size(0), m_capacity(capacity) {}

Nev_ptrvec_impl::~Nev_ptrvec_impl() { delete[] m_data_p; }

Nev_ptrvec_impl::Nev_ptrvec_impl(Nev_ptrvec_impl&& other) noexcept
    : m_data_p(other.m_data_p), m_size(other.m_size), m_capacity(other.m_capacity) {
  other.m_data_p = nullptr;
  other.m_size = 0;
  other.m_capacity = 0;
}

Nev_ptrvec_impl& Nev_ptrvec_impl::operator=(Nev_ptrvec_impl&& other) noexcept {
  if (this != &other) {
    delete[] m_data_p;
    m_data_p = other.m_data_p;
    m_size = other.m_size;
    m_capacity = other.m_capacity;
    other.m_data_p = nullptr;
    other.m_size = 0;
    other.m_capacity = 0;
  }
  return *this;
}

void*& Nev_ptrvec_impl::at(unsigned index) {
  if (index >= m_size) throw_out_of_range("at", index, m_size);
  return m_data_p[index];
}

void* Nev_ptrvec_impl::at(unsigned index) const {
  if (index >= m_size) throw_out_of_range("at", index, m_size);
  return m_data_p[index];
}

void Nev_ptrvec_impl::push_back(void* item) {
  if (m_size == m_capacity) {
    constexpr unsigned limit = std::numeric_limits<unsigned>::max();
    if (m_capacity == limit) throw std::length_error("Nev_ptrvec_impl::push_back: the vector is full");
    reserve(m_capacity == 0 ? 8 : (m_capacity > limit / 2 ? limit : m_capacity * 2));
  }
  m_data_p[m_size++] = item;
}

void Nev_ptrvec_impl::erase(unsigned index) {
  if (index >= m_size) throw_out_of_range("erase", index, m_size);
  std::copy(m_data_p + index + 1, m_data_p + m_size, m_data_p + index);
  --m_size;
}

void Nev_ptrvec_impl::reserve(unsigned capacity) {
  if (capacity <= m_capacity) return;
  void** data = new void*[capacity];
  std::copy(m_data_p, m_data_p + m_size, data);
  delete[] m_data_p;
  m_data_p = data;
  m_capacity = capacity;
}

void Nev_ptrvec_impl::swap(Nev_ptrvec_impl& other) noexcept {
  std::swap(m_data_p, other.m_data_p);
  std::swap(m_size, other.m_size);
  std::swap(m_capacity, other.m_capacity);
}

}  // namespace nev
