// The foundation's status codes (facility 0x200). Their texts are in
// messages/nev.msg and in the global message list from the start.
#pragma once

#include <cstdint>

namespace nev {

constexpr std::uint32_t NEV_E_NOT_AVAILABLE = 0xC2000001;       // %1 operation
constexpr std::uint32_t NEV_E_REG_KEY_NOT_FOUND = 0xC2000002;   // %1 key
constexpr std::uint32_t NEV_E_REG_VALUE_NOT_FOUND = 0xC2000003; // %1 key, %2 value name
constexpr std::uint32_t NEV_E_REG_WRONG_TYPE = 0xC2000004;      // %1 key, %2 value name, %3 type held, %4 type wanted
constexpr std::uint32_t NEV_E_REG_HIVE = 0xC2000005;            // %1 hive file, %2 reason
constexpr std::uint32_t NEV_E_REG_NO_MACHINE = 0xC2000006;      // %1 machine, %2 hive file looked for
constexpr std::uint32_t NEV_E_REG_NAME_TOO_LONG = 0xC2000007;   // %1 name, %2 length, %3 limit
constexpr std::uint32_t NEV_E_REG_BAD_ROOT = 0xC2000008;        // %1 root
constexpr std::uint32_t NEV_E_LIBRARY_LOAD = 0xC2000009;        // %1 path, %2 reason
constexpr std::uint32_t NEV_E_FUNCTION_NOT_FOUND = 0xC200000A;  // %1 name, %2 reason
constexpr std::uint32_t NEV_E_LIBRARY_UNLOAD = 0xC200000B;      // %1 reason
constexpr std::uint32_t NEV_E_FILE_OPEN = 0xC200000C;           // %1 path, %2 reason
constexpr std::uint32_t NEV_E_FILE_WRITE = 0xC200000D;          // %1 path, %2 reason
constexpr std::uint32_t NEV_E_FILE_READ = 0xC200000E;           // %1 path, %2 reason
constexpr std::uint32_t NEV_E_MESSAGE_FILE = 0xC200000F;        // %1 file, %2 reason
constexpr std::uint32_t NEV_E_MESSAGE_LINE = 0xC2000010;        // %1 file, %2 line number, %3 line
constexpr std::uint32_t NEV_E_INVALID_ARGUMENT = 0xC2000011;    // %1 operation
constexpr std::uint32_t NEV_E_REG_KEY_CREATE = 0xC2000012;      // %1 key, %2 reason
constexpr std::uint32_t NEV_E_UNTRUSTED_FILE = 0xC2000014;      // %1 file, %2 reason
constexpr std::uint32_t NEV_E_REG_PATH_TOO_DEEP = 0xC2000015;   // %1 path (its start), %2 levels, %3 limit
constexpr std::uint32_t NEV_E_REG_VALUE_TOO_LARGE = 0xC2000016; // %1 key, %2 value name, %3 bytes, %4 limit
constexpr std::uint32_t NEV_E_REG_KEY_DELETED = 0xC2000017;     // %1 key
constexpr std::uint32_t NEV_E_REG_FILE_LINE = 0xC2000018;       // %1 .reg file, %2 line number, %3 reason
constexpr std::uint32_t NEV_END_OF_STREAM = 0xC2000019;         // the end of a stream

}  // namespace nev
