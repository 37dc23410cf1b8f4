// kovreg export: writes a key with everything below it as a .reg file.
#include <cstdint>
#include <iostream>
#include <vector>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "tool.h"
#include "tree_walk.h"

using namespace nev;

namespace kovreg {

namespace {

bool gather(const Key& key, std::vector<Export_key>& keys, Nev_status& status) {
  return walk_tree(key.handle, key.path, key.name(), SIZE_MAX, status, [&](const Walked_key& walked) {
    Export_key entry;
    entry.name = walked.name;
    nev_enum_reg_values(walked.handle, u"", entry.values, status);
    if (!status.ok()) return false;
    keys.push_back(std::move(entry));
    return true;
  });
}

}  // namespace

int export_key(Registry& registry, const Options& options) {
  if (options.operands.size() != 2) throw Usage_error{"export takes a KEY and a FILE"};
  if (options.utf8 && options.regedit4) throw Usage_error{"--utf8 and --regedit4 exclude each other"};
  Nev_status status;
  Key key;
  if (!resolve_key(registry, options.operands[0], key, status)) return report(status);
  std::vector<Export_key> keys;
  if (!gather(key, keys, status)) return report(status);
  const Dialect dialect = options.regedit4 ? Dialect::version4
                          : options.utf8   ? Dialect::version5_utf8
                                           : Dialect::version5_utf16;
  const std::string& path = options.operands[1];
  std::string bytes;
  std::u16string problem;
  if (!encode_file(keys, dialect, bytes, problem)) {
    // Nothing is written: a file that reads back different is worse than none.
    status.assign(NEV_E_FILE_WRITE, Nev_wstring_status_arg(nev_from_utf8(path)), Nev_wstring_status_arg(problem));
    return report(status);
  }
  if (!options.force && file_exists(path) && !confirm("The file " + path + " exists, overwrite")) {
    std::cout << "The operation was cancelled.\n";
    return 1;
  }
  if (!write_file(path, bytes, status)) return report(status);
  std::cout << "The operation completed successfully.\n";
  return 0;
}

}  // namespace kovreg
