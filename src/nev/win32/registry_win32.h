// Shared part of the Win32 registry layer: what the foundation knows of the
// handles it gave out (for the names in messages and for checking handles),
// and small wrappers of the Reg*W calls in the foundation's terms.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nev/registry.h"
#include "nev/status.h"
#include "nev/win32/win32_text.h"

namespace nev::detail {

// Where an operation on a handle takes place: the system's key, and the
// root, machine and path that name it in messages.
struct Win32_target {
  HKEY key = nullptr;
  int root_index = 0;
  std::u16string machine;  // empty: this machine
  std::u16string path;     // below the root, for an open key

  // The full name of `below` under this target, for messages.
  std::u16string name_of(const std::u16string& below) const;
};

// Notes a handle the foundation gave out: an open key (`is_key`) or a
// connected root, with the names that stand for it in messages.
void win32_remember(Nev_hkey handle, bool is_key, int root_index, const std::u16string& machine,
                    const std::u16string& path);
// Forgets a handle of the given kind; false when there is no such handle.
bool win32_forget(Nev_hkey handle, bool is_key);
// Resolves a predefined root, a connected root or an open key; false for
// anything else.
bool win32_resolve(Nev_hkey handle, Win32_target& target);
// Clears `status`, resolves `root` and checks the names; false with the
// reason in `status`.
bool win32_prepare(Nev_hkey root, const std::u16string& path, const std::u16string* value_name,
                   Win32_target& target, Nev_status& status);
// `path` without empty pieces: what the system's calls take.
std::u16string win32_clean_path(const std::u16string& path);
// Sets `status` for the failure `error` of an operation on target\path.
void win32_fail(const Win32_target& target, const std::u16string& path, LSTATUS error, Nev_status& status);

// A key opened (or created) for the lifetime of the object.
class Open_key {
 public:
  Open_key() = default;
  ~Open_key() { close(); }
  Open_key(const Open_key&) = delete;
  Open_key& operator=(const Open_key&) = delete;

  LSTATUS open(HKEY base, const std::u16string& path, REGSAM access);
  LSTATUS create(HKEY base, const std::u16string& path, REGSAM access, bool* created = nullptr);
  void close() noexcept;
  HKEY get() const noexcept { return m_key; }

 private:
  HKEY m_key = nullptr;
};

// Every value of an open key, in the system's order.
LSTATUS win32_read_values(HKEY key, std::vector<Nev_reg_value>& values);
// One value of an open key; ERROR_FILE_NOT_FOUND when it is missing.
LSTATUS win32_read_value(HKEY key, const std::u16string& name, Nev_reg_value& value);
// The value at `index` of an open key in the system's order, whole;
// ERROR_NO_MORE_ITEMS past the last.
LSTATUS win32_read_indexed_value(HKEY key, std::uint32_t index, Nev_reg_value& value);
// Writes one value to an open key.
LSTATUS win32_write_value(HKEY key, const Nev_reg_value& value);
// The names of the subkeys of an open key, in the system's order.
LSTATUS win32_read_subkeys(HKEY key, std::vector<std::u16string>& names);

}  // namespace nev::detail
