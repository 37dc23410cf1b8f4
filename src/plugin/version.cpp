// The plug-in version rule: equal major halves are required, a differing
// minor half is reported but lets work go on.
#include "kov/codes.h"
#include "kov/plugin.h"

namespace kov {

void kov_plugin_check_version(const std::u16string& plugin_name, std::uint32_t requested, std::uint32_t registered,
                              nev::Nev_status& status) {
  status.clear();
  const std::uint32_t requested_major = requested >> 16;
  const std::uint32_t registered_major = registered >> 16;
  if (requested_major != registered_major) {
    status.assign(KOV_E_MAJOR_VERSION, nev::Nev_wstring_status_arg(plugin_name),
                  nev::Nev_uint_status_arg(requested_major, true), nev::Nev_uint_status_arg(registered_major, true));
    return;
  }
  const std::uint32_t requested_minor = requested & 0xFFFFu;
  const std::uint32_t registered_minor = registered & 0xFFFFu;
  if (requested_minor != registered_minor) {
    status.assign(KOV_I_MINOR_VERSION, nev::Nev_wstring_status_arg(plugin_name),
                  nev::Nev_uint_status_arg(requested_minor, true), nev::Nev_uint_status_arg(registered_minor, true));
  }
}

}  // namespace kov
