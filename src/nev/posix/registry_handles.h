// The handles of the registry on a hive: the predefined roots of this
// machine, roots of named machines from nev_connect_reg_root, and keys opened
// by nev_reg_open_key. Each handle stays with the hive it was made for, even
// when the locations change afterwards.
#pragma once

#include <cstdint>
#include <string>

#include "nev/posix/hive.h"
#include "nev/registry.h"
#include "nev/status.h"

namespace nev::detail {

// What a handle from nev_connect_reg_root or nev_reg_open_key stands for.
struct Handle_object {
  bool is_key = false;     // an open key, else a root of a named machine
  Hive* hive = nullptr;    // hives live until the process ends
  Key_id key = NO_KEY;
  int root_index = 0;
  std::u16string machine;  // empty for this machine
  std::u16string path;     // below the root, for an open key
  std::uint32_t access = 0;
};

// Where an operation on a handle takes place.
struct Target {
  Hive* hive = nullptr;
  Key_id base = NO_KEY;
  int root_index = 0;
  bool may_query = true;
  bool is_open_key = false;  // an open key, which may have been deleted since
  std::u16string machine;
  std::u16string path;

  // The full name of `below` under this target, for messages.
  std::u16string name_of(const std::u16string& below) const;
};

// Registers `object` (which the table then owns) and returns its handle.
Nev_hkey make_handle(Handle_object* object);
// Removes and deletes a handle of the given kind; false when there is no
// such handle.
bool drop_handle(Nev_hkey handle, bool is_key);
// The target of `handle`: NEV_E_REG_BAD_ROOT for a handle that is no root or
// open key of this registry, the hive's failure when this machine's hive
// cannot be found.
bool resolve(Nev_hkey handle, Target& target, Nev_status& status);

}  // namespace nev::detail
