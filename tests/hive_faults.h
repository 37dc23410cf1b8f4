// Registry faults on demand, for the hives of the foundation's own store:
// a platform object whose hives forward to the real ones, except that a key
// can be made to vanish at the next lookup, a value's room can be made
// smaller than the real hive's, and something can be run inside the next
// write, under the hive's lock. Installed while it lives.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "nev/posix/hive.h"
#include "test_platform.h"

// A hive that forwards every call to `inner`; once `lose_keys_after_value_read`
// is set, every key lookup after the next value read finds nothing, as if
// another process had deleted the key between the two.
class Faulty_hive : public nev::detail::Hive {
 public:
  explicit Faulty_hive(std::shared_ptr<nev::detail::Hive> inner) : m_inner(std::move(inner)) {}

  bool lose_keys_after_value_read = false;
  // The most bytes a value may hold, when below what the real hive allows.
  std::size_t capacity = SIZE_MAX;
  // Run once, at the start of the next write's body (the hive's lock held).
  std::function<void()> inside_next_write;

  const std::string& location() const noexcept override { return m_inner->location(); }
  bool read(nev::detail::Hive_body body, nev::Nev_status& status) override { return m_inner->read(body, status); }
  bool write(nev::detail::Hive_body body, nev::Nev_status& status) override {
    auto hooked = [this, body] {
      if (inside_next_write) std::exchange(inside_next_write, nullptr)();
      body();
    };
    return m_inner->write(hooked, status);
  }
  nev::detail::Key_id find_key(nev::detail::Key_id base, const std::u16string& path) override {
    return m_lost ? nev::detail::NO_KEY : m_inner->find_key(base, path);
  }
  bool find_value(nev::detail::Key_id key, const std::u16string& name, nev::Nev_reg_value& value) override {
    m_lost = lose_keys_after_value_read;
    return m_inner->find_value(key, name, value);
  }
  bool key_exists(nev::detail::Key_id key) override { return !m_lost && m_inner->key_exists(key); }
  const nev::detail::Value_list& values(nev::detail::Key_id key) override { return m_inner->values(key); }
  const std::vector<std::u16string>& subkeys(nev::detail::Key_id key) override { return m_inner->subkeys(key); }
  nev::detail::Key_id create_key(nev::detail::Key_id base, const std::u16string& path) override {
    return m_inner->create_key(base, path);
  }
  void put_value(nev::detail::Key_id key, const nev::Nev_reg_value& value) override { m_inner->put_value(key, value); }
  bool remove_value(nev::detail::Key_id key, const std::u16string& name) override {
    return m_inner->remove_value(key, name);
  }
  void remove_tree(nev::detail::Key_id key) override { m_inner->remove_tree(key); }
  std::size_t value_capacity(const std::u16string& name) const noexcept override {
    return std::min(capacity, m_inner->value_capacity(name));
  }

 private:
  std::shared_ptr<nev::detail::Hive> m_inner;
  bool m_lost = false;
};

// The platform with every hive it opens wrapped in a Faulty_hive.
class Faulty_hive_platform : public Test_platform {
 public:
  std::shared_ptr<nev::detail::Hive> open_hive(const std::string& location, nev::Nev_status& status) override {
    auto inner = Test_platform::open_hive(location, status);
    if (!inner) return nullptr;
    auto hive = std::make_shared<Faulty_hive>(std::move(inner));
    hives[location] = hive;
    return hive;
  }

  std::map<std::string, std::shared_ptr<Faulty_hive>> hives;
};
