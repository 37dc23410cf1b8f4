// Platform-neutral helpers of the registry: the predefined roots, how paths
// are joined and split, and the limits on names. Shared by every platform's
// registry layer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nev/registry.h"
#include "nev/status.h"

namespace nev::detail {

// The most levels a key path may have below its root, as on Windows.
constexpr std::size_t REG_MAX_DEPTH = 512;

// How many predefined roots a hive holds.
constexpr int REG_ROOT_COUNT = 5;

// 0 to 4 for the predefined roots (classes root, current user, local
// machine, users, current config); -1 for any other handle.
int reg_root_index(Nev_hkey root) noexcept;
// The predefined root of `index` (0 to 4).
Nev_hkey reg_root_handle(int index) noexcept;
// The long name of the root of `index`, "HKEY_LOCAL_MACHINE" and so on.
const std::u16string& reg_root_name(int index);
// True when `root` has the form of a predefined Windows root (0x80000000 to
// 0x800000FF sign-extended), held here or not.
bool reg_is_predefined(Nev_hkey root) noexcept;
// The low 32 bits of a handle, as hexadecimal text for messages.
std::u16string reg_handle_text(Nev_hkey root);

// `key`, and `subkey` after one backslash when `subkey` is not empty.
std::u16string reg_join_path(const std::u16string& key, const std::u16string& subkey);
// The key names of `path`, split at backslashes. Empty pieces (a leading,
// trailing or doubled backslash) are skipped, so "" and "\" are the root.
std::vector<std::u16string> reg_split_path(const std::u16string& path);
// `text` with every unit upper-cased by nev_to_upper: the form in which
// names are compared.
std::u16string reg_fold(const std::u16string& text);

// Clears `status` and checks every key name of `path` against the limit
// and the number of names against REG_MAX_DEPTH; false with
// NEV_E_REG_NAME_TOO_LONG or NEV_E_REG_PATH_TOO_DEEP.
bool reg_check_key_path(const std::u16string& path, Nev_status& status);
// The same for one value name.
bool reg_check_value_name(const std::u16string& name, Nev_status& status);

// Hands `value` out through the caller-sized buffers of nev_reg_enum_value
// (the arguments as that function takes them, already checked): the name
// and its length in units, the type, the data and its length in bytes;
// NEV_ERROR_MORE_DATA, with the needed data size where it is asked for,
// when a buffer is too small.
long reg_fill_enumerated_value(const Nev_reg_value& value, char16_t* name, std::uint32_t* name_count,
                               std::uint32_t* type, std::uint8_t* data, std::uint32_t* data_count);


}  // namespace nev::detail
