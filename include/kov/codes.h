// The toolbox's status codes (facility 0x201). Their texts are in
// messages/kov.msg and in the global message list from the start.
#pragma once

#include <cstdint>

namespace kov {

constexpr std::uint32_t KOV_E_NO_INSTANCE = 0xC2010901;          // the factory created no object
constexpr std::uint32_t KOV_E_MAJOR_VERSION = 0xC2010902;        // %1 plug-in, %2 requested, %3 registered
constexpr std::uint32_t KOV_I_MINOR_VERSION = 0x42010903;        // %1 plug-in, %2 requested, %3 registered
constexpr std::uint32_t KOV_E_NO_FACTORY = 0xC2010904;           // %1 plug-in, %2 library path
constexpr std::uint32_t KOV_E_CREATE_INSTANCE = 0xC2010905;      // %1 plug-in
constexpr std::uint32_t KOV_E_TIDY_LIBRARY = 0xC2010906;         // %1 library path
constexpr std::uint32_t KOV_E_PATTERN_READ = 0xC2010907;         // no arguments
constexpr std::uint32_t KOV_E_DIAG_READ = 0xC201090D;            // %1 service
constexpr std::uint32_t KOV_E_DIAG_READ_MACHINE = 0xC201090E;    // %1 service, %2 machine
constexpr std::uint32_t KOV_E_DIAG_WRITE = 0xC201090F;           // %1 service
constexpr std::uint32_t KOV_E_DIAG_WRITE_MACHINE = 0xC2010910;   // %1 service, %2 machine
constexpr std::uint32_t KOV_E_IP_ADDRESS = 0xC2010912;           // no arguments
constexpr std::uint32_t KOV_E_SOCKETS = 0xC2010915;              // %1 platform error number
constexpr std::uint32_t KOV_E_DIAG_FILE_NAME = 0xC2010916;       // %1 file name

}  // namespace kov
