// Value objects: the chain node Tud and the wide string Kov_wstring.
#include "kov/wstring.h"

#include <stdexcept>

namespace tud {

Tud::Tud() : m_parent_p(nullptr) {}

Tud::~Tud() = default;

Tud* Tud::parent() const {
  if (m_parent_p == nullptr) throw std::runtime_error("Tud::parent() called when no parent exists");
  return m_parent_p;
}

void Tud::parent(Tud* parent) { m_parent_p = parent; }

Tud* Tud::root() {
  Tud* node = this;
  while (node->m_parent_p != nullptr) node = node->m_parent_p;
  return node;
}

const std::u16string& Tud::name() const { return m_name; }

void Tud::name(const std::u16string& name) { m_name = name; }

void Tud::collect(std::uintptr_t /*what*/, nev::Nev_ptrvec_impl& items) { items.clear(); }

std::uintptr_t Tud::lookup(std::uintptr_t /*what*/, std::uintptr_t /*key*/) { return 0; }

}  // namespace tud

namespace kov {

// {5AE48720-05EB-11D3-BF61-5E0703000000}
const _GUID Kov_wstring::TYPE = {0x5AE48720u, 0x05EBu, 0x11D3u, {0xBFu, 0x61u, 0x5Eu, 0x07u, 0x03u, 0x00u, 0x00u, 0x00u}};

Kov_wstring::Kov_wstring(const std::u16string& value) : m_value(value) {}

Kov_wstring::~Kov_wstring() = default;

const _GUID& Kov_wstring::type() const { return TYPE; }

std::uint32_t Kov_wstring::interface_version() const { return VERSION; }

std::uint32_t Kov_wstring::implementation_version() const { return VERSION; }

void Kov_wstring::value(const std::u16string& value) { m_value = value; }

const std::u16string& Kov_wstring::value() const { return m_value; }

}  // namespace kov
