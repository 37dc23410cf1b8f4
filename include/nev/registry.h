// The registry: a tree of keys under predefined roots, each key holding named,
// typed values.
//
// On Windows these functions call the system registry. On Linux the registry
// is a hive: one SQLite database file per machine. The local machine's hive
// is the file named by the environment variable NEV_REGISTRY (see
// docs/design.md for the default when it is unset); a named machine's hive is
// NEV_REGISTRY_MACHINES/<machine>.db. Either way the semantics are those of
// the Windows registry:
// - key and value names are case-insensitive and case-preserving;
// - subkeys enumerate in case-insensitive name order, values in the order
//   they were created; the default value has the empty name;
// - value types keep their Windows numbers (NEV_REG_SZ ...), string data is
//   UTF-16LE with its terminating NUL, a NEV_REG_DWORD is 4 bytes
//   little-endian;
// - key names are at most 255 units, value names at most 16,383, and a path
//   at most 512 key names deep (NEV_E_REG_PATH_TOO_DEEP); a value larger
//   than the hive can hold is refused (NEV_E_REG_VALUE_TOO_LARGE);
// - a handle from nev_reg_open_key whose key is deleted stays dead, even when
//   a key of that name is created again: calls through it fail with
//   NEV_E_REG_KEY_DELETED (or NEV_ERROR_KEY_DELETED).
// On Linux a hive, and its folder, must be owned by the effective user or
// root and not writable by group or others, or it is refused
// (NEV_E_UNTRUSTED_FILE under NEV_E_REG_HIVE).
// Several processes may read and write one hive at once; each write is one
// transaction; nev_apply_reg_changes makes several changes one transaction.
//
// Paths are built by plain concatenation: `key` and a non-empty `subkey` are
// joined by one backslash. Every function that takes a status clears it first
// and leaves its outputs alone on failure. All functions may be called from
// any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nev/export.h"
#include "nev/status.h"
#include "nev/vector.h"

namespace nev {

// A registry root or an open key; the predefined roots have the same values
// as on Windows.
using Nev_hkey = struct Nev_hkey_opaque*;

// The predefined roots.
NEV_EXPORT extern const Nev_hkey NEV_HKEY_CLASSES_ROOT;    // 0x80000000
NEV_EXPORT extern const Nev_hkey NEV_HKEY_CURRENT_USER;    // 0x80000001
NEV_EXPORT extern const Nev_hkey NEV_HKEY_LOCAL_MACHINE;   // 0x80000002
NEV_EXPORT extern const Nev_hkey NEV_HKEY_USERS;           // 0x80000003
NEV_EXPORT extern const Nev_hkey NEV_HKEY_CURRENT_CONFIG;  // 0x80000005

// Value types, with their Windows numbers.
enum : std::uint32_t {
  NEV_REG_NONE = 0,
  NEV_REG_SZ = 1,
  NEV_REG_EXPAND_SZ = 2,
  NEV_REG_BINARY = 3,
  NEV_REG_DWORD = 4,
  NEV_REG_MULTI_SZ = 7,
  NEV_REG_QWORD = 11,
};

// Results of the value enumeration functions, with their Windows numbers.
enum : long {
  NEV_ERROR_SUCCESS = 0,
  NEV_ERROR_FILE_NOT_FOUND = 2,
  NEV_ERROR_ACCESS_DENIED = 5,
  NEV_ERROR_INVALID_HANDLE = 6,
  NEV_ERROR_INVALID_PARAMETER = 87,
  NEV_ERROR_MORE_DATA = 234,
  NEV_ERROR_NO_MORE_ITEMS = 259,
  NEV_ERROR_KEY_DELETED = 1018,
};

// Access right to read values, for nev_reg_open_key.
constexpr std::uint32_t NEV_KEY_QUERY_VALUE = 1;

// Windows limits, in 16-bit units: one key name (one level of a path) and
// one value name.
constexpr std::size_t NEV_REG_MAX_KEY_NAME = 255;
constexpr std::size_t NEV_REG_MAX_VALUE_NAME = 16383;

// The key below HKEY_LOCAL_MACHINE that holds one key per service.
inline constexpr char16_t NEV_REG_SERVICES_KEY[] = u"SYSTEM\\CurrentControlSet\\Services";

// ---- names of the predefined roots ----------------------------------------------

// The long name of a predefined root ("HKEY_LOCAL_MACHINE"); empty for any
// other handle.
NEV_EXPORT std::u16string nev_reg_root_name(Nev_hkey root);
// The predefined root whose long or short name ("HKEY_LOCAL_MACHINE",
// "HKLM", "HKCR", "HKCU", "HKU", "HKCC") is `name`, in any case; null when
// there is none.
NEV_EXPORT Nev_hkey nev_reg_root_by_name(const std::u16string& name);

// ---- connection --------------------------------------------------------------

// `root` of the machine `machine`; an empty name is this machine and gives
// `root` itself. A machine without a hive fails, naming the machine.
NEV_EXPORT Nev_hkey nev_connect_reg_root(const std::u16string& machine, Nev_hkey root, Nev_status& status);
// Gives back a root that nev_connect_reg_root returned.
NEV_EXPORT void nev_disconnect_reg_root(Nev_hkey root, Nev_status& status);

// A root of a machine for as long as the object lives: connected by the
// constructor, given back by the destructor. One object per thread.
class NEV_EXPORT Nev_reg_connection {
 public:
  // Connects `root` of `machine` (empty: this machine, and `root` itself).
  // On failure `status` says why and get() is null.
  Nev_reg_connection(const std::u16string& machine, Nev_hkey root, Nev_status& status);
  ~Nev_reg_connection();
  Nev_reg_connection(const Nev_reg_connection&) = delete;
  Nev_reg_connection& operator=(const Nev_reg_connection&) = delete;

  // The root to use.
  Nev_hkey get() const noexcept { return m_root; }

 private:
  Nev_hkey m_root;
  bool m_connected;
};

// ---- keys ------------------------------------------------------------------------

// True when key\subkey exists. Never fails: any trouble answers false.
NEV_EXPORT bool nev_reg_key_exists(Nev_hkey root, const std::u16string& key, const std::u16string& subkey);
// Appends the names of the subkeys of key\subkey to `keys`, in
// case-insensitive order. The status holds the outcome of this enumeration
// alone (it is cleared first).
NEV_EXPORT void nev_enum_reg_keys(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                                  Nev_object_vector<std::u16string>& keys, Nev_status& status);
// Creates `key` and every missing key on its way; an existing key is fine.
NEV_EXPORT void nev_create_reg_key(Nev_hkey root, const std::u16string& key, Nev_status& status);
// Deletes `key` with all its subkeys and values. A missing key fails.
NEV_EXPORT void nev_delete_reg_tree(Nev_hkey root, const std::u16string& key, Nev_status& status);

// ---- values --------------------------------------------------------------------

// Reads a NEV_REG_SZ or NEV_REG_EXPAND_SZ value (the text up to its first
// NUL). The empty value name is the key's default value.
NEV_EXPORT void nev_get_reg_string_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                                         const std::u16string& value_name, std::u16string& value, Nev_status& status);
// Reads a NEV_REG_DWORD value.
NEV_EXPORT void nev_get_reg_uint_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                                       const std::u16string& value_name, std::uint32_t& value, Nev_status& status);
// Writes a NEV_REG_SZ value, creating the key when it is missing.
NEV_EXPORT void nev_set_reg_string_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                                         const std::u16string& value_name, const std::u16string& value,
                                         Nev_status& status);
// Writes a NEV_REG_DWORD value, creating the key when it is missing.
NEV_EXPORT void nev_set_reg_uint_value(Nev_hkey root, const std::u16string& key, const std::u16string& subkey,
                                       const std::u16string& value_name, std::uint32_t value, Nev_status& status);

// The key that holds a service's parameters:
// SYSTEM\CurrentControlSet\Services\<service>\Parameters.
NEV_EXPORT std::u16string nev_reg_service_parameters_key(const std::u16string& service);
// A service's parameter: the value `value_name` of
// HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\<service>\Parameters.
NEV_EXPORT void nev_get_reg_string_parameter(const std::u16string& service, const std::u16string& value_name,
                                             std::u16string& value, Nev_status& status);
NEV_EXPORT void nev_get_reg_uint_parameter(const std::u16string& service, const std::u16string& value_name,
                                           std::uint32_t& value, Nev_status& status);

// A value as raw bytes with its type.
struct Nev_reg_value {
  std::u16string name;
  std::uint32_t type = NEV_REG_NONE;
  std::vector<std::uint8_t> data;
};

// Writes a value of any type from raw bytes, creating the key when missing.
NEV_EXPORT void nev_set_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                                  std::uint32_t type, const std::vector<std::uint8_t>& data, Nev_status& status);
// Reads a value with its type.
NEV_EXPORT void nev_get_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                                  Nev_reg_value& value, Nev_status& status);
// Replaces `values` with every value of `key`, in creation order.
NEV_EXPORT void nev_enum_reg_values(Nev_hkey root, const std::u16string& key, std::vector<Nev_reg_value>& values,
                                    Nev_status& status);
// Deletes one value. A missing value fails.
NEV_EXPORT void nev_delete_reg_value(Nev_hkey root, const std::u16string& key, const std::u16string& value_name,
                                     Nev_status& status);

// ---- several changes as one transaction -------------------------------------

// One step of nev_apply_reg_changes.
struct Nev_reg_change {
  enum Kind : std::uint8_t {
    CREATE_KEY,    // creates `key` and the keys on its way
    DELETE_TREE,   // deletes `key` with everything below it
    SET_VALUE,     // writes `value` (name, type, data), creating `key`
    DELETE_VALUE,  // deletes the value named `value.name`
  };
  Kind kind = CREATE_KEY;   // what to do
  Nev_hkey root = nullptr;  // a predefined root or one from nev_connect_reg_root
  std::u16string key;       // the key's path below `root`
  Nev_reg_value value;      // the value to write, or to delete by its name
};

// Applies `changes` in order as one transaction: either every change is
// made or none is. All roots must lie in one hive (one machine). Deleting a
// key or value that does not exist is no failure here.
NEV_EXPORT void nev_apply_reg_changes(const std::vector<Nev_reg_change>& changes, Nev_status& status);

// ---- reading all values of a key with caller-sized buffers ---------------------
// These follow the Windows calls RegOpenKeyExW, RegEnumValueW and RegCloseKey
// and return their result codes (NEV_ERROR_...), not a status.

// Opens root\path for reading values; `options` is 0, `access` includes
// NEV_KEY_QUERY_VALUE. NEV_ERROR_FILE_NOT_FOUND for a missing key,
// NEV_ERROR_KEY_DELETED when `root` is an open key that was deleted.
NEV_EXPORT long nev_reg_open_key(Nev_hkey root, const std::u16string& path, std::uint32_t options,
                                 std::uint32_t access, Nev_hkey* key);
// The value at `index` (creation order). `name_count` holds the capacity of
// `name` in units on entry; `data_count` the capacity of `data` in bytes
// (`data` and `data_count` may be null to ask for name and type alone).
//   name does not fit (with its NUL): NEV_ERROR_MORE_DATA, name_count
//     unchanged, data_count = bytes needed, type set, nothing written;
//   name fits, data does not: NEV_ERROR_MORE_DATA, name written,
//     name_count = its length without NUL, data_count = bytes needed;
//   both fit: NEV_ERROR_SUCCESS, both written, name_count = name length,
//     data_count = bytes written (a string's NUL included);
//   index past the last value: NEV_ERROR_NO_MORE_ITEMS, nothing changed;
//   the key deleted since it was opened: NEV_ERROR_KEY_DELETED.
NEV_EXPORT long nev_reg_enum_value(Nev_hkey key, std::uint32_t index, char16_t* name, std::uint32_t* name_count,
                                   std::uint32_t* reserved, std::uint32_t* type, std::uint8_t* data,
                                   std::uint32_t* data_count);
// Closes a key opened by nev_reg_open_key.
NEV_EXPORT long nev_reg_close_key(Nev_hkey key);

}  // namespace nev
