// Where a service keeps its diagnostic parameters in the registry: under
// HKEY_LOCAL_MACHINE, SERVICES_KEY followed by the service's name, subkey
// PARAMETERS_SUBKEY.
#pragma once

namespace kov::detail {

inline const char16_t* const SERVICES_KEY = u"SYSTEM\\CurrentControlSet\\Services\\";
inline const char16_t* const PARAMETERS_SUBKEY = u"Parameters";
inline const char16_t* const PATH_VALUE_NAME = u"DiagFilePath";
inline const char16_t* const NAME_VALUE_NAME = u"DiagFileName";
inline const char16_t* const LEVEL_VALUE_NAME = u"DiagTraceLevel";
// Read only by the service constructor; exactly 1 gives the object a console.
inline const char16_t* const CONSOLE_VALUE_NAME = u"DiagEnableConsole";

}  // namespace kov::detail
