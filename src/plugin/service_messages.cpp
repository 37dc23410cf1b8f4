// A service's own message files, named in its "Messages" parameter.
#include "entry/statics.h"
#include "kov/plugin.h"
#include "nev/messages.h"
#include "nev/registry.h"
#include "nev/tokeniser.h"

namespace kov {

void kov_load_service_messages(const std::u16string& service_name, nev::Nev_status& status) {
  std::u16string files;
  nev::nev_get_reg_string_parameter(service_name, detail::messages_parameter_name, files, status);
  if (!status.ok()) {
    // A service without message files of its own is the ordinary case.
    status.clear();
    return;
  }
  const nev::Nev_tokeniser split(u";", u"", u"", u"", false, false);
  nev::Nev_object_vector<std::u16string> names(8);
  split.tokenise(files, names);
  // One status serves every file and is never cleared in between, so the
  // first failure is the one that reaches the caller.
  nev::Nev_status file_status;
  for (const std::u16string* name : names) {
    nev::Nev_messages_list::m_global_messages.add(*name, file_status);
    if (!file_status.ok() && status.ok()) status = file_status;
  }
}

}  // namespace kov
