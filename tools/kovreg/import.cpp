// kovreg import: applies a .reg file, all of it or nothing.
#include <iostream>
#include <vector>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "tool.h"

using namespace nev;

namespace kovreg {

namespace {

// The changes the file at `path` asks for; false with the file, line and
// reason in `status` for a file that is not valid.
bool read_changes(const std::string& path, std::vector<File_change>& changes, Nev_status& status) {
  std::string bytes;
  if (!read_file(path, bytes, status)) return false;
  std::u16string text;
  File_error error;
  if (decode_file(bytes, text, error) && parse_file(text, changes, error)) return true;
  status.assign(NEV_E_REG_FILE_LINE, Nev_wstring_status_arg(nev_from_utf8(path)),
                Nev_uint_status_arg(static_cast<unsigned>(error.line), true), Nev_wstring_status_arg(error.reason));
  return false;
}

}  // namespace

int import(Registry& registry, const Options& options) {
  if (options.operands.size() != 1) throw Usage_error{"import takes one FILE"};
  Nev_status status;
  std::vector<File_change> parsed;
  if (!read_changes(options.operands[0], parsed, status)) return report(status);
  std::vector<Nev_reg_change> changes;
  for (File_change& change : parsed) {
    Nev_reg_change applied;
    applied.kind = change.kind;
    applied.root = registry.root(change.root, status);
    if (!status.ok()) return report(status);
    applied.key = std::move(change.key);
    applied.value = std::move(change.value);
    changes.push_back(std::move(applied));
  }
  nev_apply_reg_changes(changes, status);
  if (!status.ok()) return report(status);
  std::cout << "The operation completed successfully.\n";
  return 0;
}

}  // namespace kovreg
