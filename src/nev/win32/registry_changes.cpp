// nev_apply_reg_changes on Windows: several changes, all or none.
//
// Where the system has transacted registry calls (a KTM transaction from
// CreateTransaction, RegCreateKeyTransactedW and its siblings), the changes
// are made inside one transaction: other processes see none of them before
// the commit and all of them after. Where it has not (Wine answers
// ERROR_CALL_NOT_IMPLEMENTED), each change is made directly, after noting in
// an undo log what it replaces; a failing change undoes every earlier one in
// reverse order. Other processes may then see the changes one by one, and an
// undo puts back what this call found, over anything written meanwhile.
#include <functional>
#include <memory>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/registry_names.h"
#include "nev/win32/registry_win32.h"

#include <ktmw32.h>  // after <windows.h>, which registry_win32.h brings

namespace nev {

namespace {

using detail::Win32_target;

// A key and everything below it, as it was before a deletion.
struct Tree {
  std::vector<Nev_reg_value> values;
  std::vector<std::pair<std::u16string, Tree>> subkeys;
};

// How keys are opened, created and deleted: inside a transaction, or not.
class Key_calls {
 public:
  explicit Key_calls(HANDLE transaction) : m_transaction(transaction) {}

  LSTATUS open(HKEY base, const std::u16string& path, REGSAM access, HKEY& key) const {
    const std::u16string clean = detail::win32_clean_path(path);
    if (m_transaction == nullptr) return RegOpenKeyExW(base, platform::wide(clean), 0, access, &key);
    return RegOpenKeyTransactedW(base, platform::wide(clean), 0, access, &key, m_transaction, nullptr);
  }
  LSTATUS create(HKEY base, const std::u16string& path, REGSAM access, HKEY& key) const {
    const std::u16string clean = detail::win32_clean_path(path);
    if (m_transaction == nullptr) {
      return RegCreateKeyExW(base, platform::wide(clean), 0, nullptr, 0, access, nullptr, &key, nullptr);
    }
    return RegCreateKeyTransactedW(base, platform::wide(clean), 0, nullptr, 0, access, nullptr, &key, nullptr,
                                   m_transaction, nullptr);
  }
  // Deletes base\path with everything below it.
  LSTATUS delete_tree(HKEY base, const std::u16string& path) const {
    const std::u16string clean = detail::win32_clean_path(path);
    if (m_transaction == nullptr) return RegDeleteTreeW(base, platform::wide(clean));
    HKEY key = nullptr;
    LSTATUS result = open(base, clean, KEY_ALL_ACCESS, key);
    if (result != ERROR_SUCCESS) return result;
    result = RegDeleteTreeW(key, nullptr);  // on a transacted handle: part of the transaction
    RegCloseKey(key);
    if (result != ERROR_SUCCESS) return result;
    return RegDeleteKeyTransactedW(base, platform::wide(clean), 0, 0, m_transaction, nullptr);
  }

 private:
  HANDLE m_transaction;
};

// Closes a key when it goes.
struct Key_closer {
  HKEY key = nullptr;
  ~Key_closer() {
    if (key != nullptr) RegCloseKey(key);
  }
};

LSTATUS snapshot(HKEY key, Tree& tree) {
  LSTATUS result = detail::win32_read_values(key, tree.values);
  std::vector<std::u16string> names;
  if (result == ERROR_SUCCESS) result = detail::win32_read_subkeys(key, names);
  for (std::size_t i = 0; i < names.size() && result == ERROR_SUCCESS; ++i) {
    Key_closer child;
    result = RegOpenKeyExW(key, platform::wide(names[i]), 0, KEY_READ, &child.key);
    tree.subkeys.emplace_back(names[i], Tree{});
    if (result == ERROR_SUCCESS) result = snapshot(child.key, tree.subkeys.back().second);
  }
  return result;
}

LSTATUS restore(HKEY base, const std::u16string& path, const Tree& tree) {
  Key_closer key;
  LSTATUS result = Key_calls(nullptr).create(base, path, KEY_ALL_ACCESS, key.key);
  for (std::size_t i = 0; i < tree.values.size() && result == ERROR_SUCCESS; ++i) {
    result = detail::win32_write_value(key.key, tree.values[i]);
  }
  for (std::size_t i = 0; i < tree.subkeys.size() && result == ERROR_SUCCESS; ++i) {
    result = restore(key.key, tree.subkeys[i].first, tree.subkeys[i].second);
  }
  return result;
}

// Applies the changes one by one, noting in `undo` how to take each back.
class Change_run {
 public:
  Change_run(const Key_calls& calls, std::vector<std::function<void()>>& undo) : m_calls(calls), m_undo(undo) {}

  LSTATUS apply(const Win32_target& target, const Nev_reg_change& change) {
    switch (change.kind) {
      case Nev_reg_change::CREATE_KEY: {
        Key_closer key;
        return create(target.key, change.key, KEY_QUERY_VALUE, key.key);
      }
      case Nev_reg_change::SET_VALUE: return set_value(target.key, change.key, change.value);
      case Nev_reg_change::DELETE_VALUE: return delete_value(target.key, change.key, change.value.name);
      case Nev_reg_change::DELETE_TREE: return delete_tree(target.key, change.key);
    }
    return ERROR_INVALID_PARAMETER;
  }

 private:
  // Creates base\path, noting the first key on the way that did not exist.
  LSTATUS create(HKEY base, const std::u16string& path, REGSAM access, HKEY& key) {
    std::u16string prefix;
    for (const std::u16string& name : detail::reg_split_path(path)) {
      prefix += (prefix.empty() ? u"" : u"\\") + name;
      Key_closer probe;
      if (m_calls.open(base, prefix, KEY_QUERY_VALUE, probe.key) == ERROR_FILE_NOT_FOUND) {
        m_undo.emplace_back([base, prefix] { RegDeleteTreeW(base, platform::wide(prefix)); });
        break;
      }
    }
    return m_calls.create(base, path, access, key);
  }

  LSTATUS set_value(HKEY base, const std::u16string& path, const Nev_reg_value& value) {
    Key_closer key;
    LSTATUS result = create(base, path, KEY_QUERY_VALUE | KEY_SET_VALUE, key.key);
    if (result != ERROR_SUCCESS) return result;
    note_value(base, path, key.key, value.name);
    return detail::win32_write_value(key.key, value);
  }

  LSTATUS delete_value(HKEY base, const std::u16string& path, const std::u16string& name) {
    Key_closer key;
    LSTATUS result = m_calls.open(base, path, KEY_QUERY_VALUE | KEY_SET_VALUE, key.key);
    if (result == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    if (result != ERROR_SUCCESS) return result;
    note_value(base, path, key.key, name);
    result = RegDeleteValueW(key.key, platform::wide(name));
    return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
  }

  LSTATUS delete_tree(HKEY base, const std::u16string& path) {
    if (detail::reg_split_path(path).empty()) return ERROR_INVALID_PARAMETER;
    auto tree = std::make_shared<Tree>();
    {
      Key_closer key;
      LSTATUS result = m_calls.open(base, path, KEY_READ, key.key);
      if (result == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
      if (result == ERROR_SUCCESS) result = snapshot(key.key, *tree);
      if (result != ERROR_SUCCESS) return result;
    }
    m_undo.emplace_back([base, path, tree] { restore(base, path, *tree); });
    return m_calls.delete_tree(base, path);
  }

  // Notes how to put back the value `name` of the open key as it is now.
  void note_value(HKEY base, const std::u16string& path, HKEY key, const std::u16string& name) {
    Nev_reg_value old;
    if (detail::win32_read_value(key, name, old) == ERROR_SUCCESS) {
      m_undo.emplace_back([base, path, old] {
        Key_closer again;
        if (RegOpenKeyExW(base, platform::wide(detail::win32_clean_path(path)), 0, KEY_SET_VALUE, &again.key) ==
            ERROR_SUCCESS) {
          detail::win32_write_value(again.key, old);
        }
      });
    } else {
      m_undo.emplace_back([base, path, name] {
        Key_closer again;
        if (RegOpenKeyExW(base, platform::wide(detail::win32_clean_path(path)), 0, KEY_SET_VALUE, &again.key) ==
            ERROR_SUCCESS) {
          RegDeleteValueW(again.key, platform::wide(name));
        }
      });
    }
  }

  const Key_calls& m_calls;
  std::vector<std::function<void()>>& m_undo;
};

// Runs every change with `calls`; on failure the status names the change
// that failed and `failed` is the system's result.
LSTATUS run_changes(const std::vector<Nev_reg_change>& changes, const std::vector<Win32_target>& targets,
                    const Key_calls& calls, std::vector<std::function<void()>>& undo, Nev_status& status) {
  Change_run run(calls, undo);
  for (std::size_t i = 0; i < changes.size(); ++i) {
    const LSTATUS result = run.apply(targets[i], changes[i]);
    if (result == ERROR_INVALID_PARAMETER && changes[i].kind == Nev_reg_change::DELETE_TREE) {
      status.assign(NEV_E_INVALID_ARGUMENT, Nev_wstring_status_arg(u"nev_apply_reg_changes"));
      return result;
    }
    if (result != ERROR_SUCCESS) {
      detail::win32_fail(targets[i], changes[i].key, result, status);
      return result;
    }
  }
  return ERROR_SUCCESS;
}

// Tries the changes inside a transaction; false when the system has no
// transacted registry (nothing was changed then).
bool apply_transacted(const std::vector<Nev_reg_change>& changes, const std::vector<Win32_target>& targets,
                      Nev_status& status) {
  const HANDLE transaction = CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, nullptr);
  if (transaction == INVALID_HANDLE_VALUE) return false;
  // Wine makes the transaction, answers ERROR_CALL_NOT_IMPLEMENTED to a
  // transacted create and aborts the process in a transacted open: a create
  // of the root itself (which changes nothing) tells before anything else runs.
  HKEY probe = nullptr;
  const LSTATUS probed = Key_calls(transaction).create(targets[0].key, u"", KEY_QUERY_VALUE, probe);
  if (probe != nullptr) RegCloseKey(probe);
  if (probed != ERROR_SUCCESS) {
    RollbackTransaction(transaction);
    CloseHandle(transaction);
    return false;
  }
  std::vector<std::function<void()>> unused;
  const LSTATUS result = run_changes(changes, targets, Key_calls(transaction), unused, status);
  bool done = true;
  if (result == ERROR_CALL_NOT_IMPLEMENTED) {
    done = false;
    status.clear();
    RollbackTransaction(transaction);
  } else if (result != ERROR_SUCCESS) {
    RollbackTransaction(transaction);
  } else if (!CommitTransaction(transaction)) {
    status.assign(NEV_E_REG_HIVE, Nev_wstring_status_arg(targets[0].name_of(u"")),
                  Nev_wstring_status_arg(platform::error_text(GetLastError())));
  }
  CloseHandle(transaction);
  return done;
}

}  // namespace

void nev_apply_reg_changes(const std::vector<Nev_reg_change>& changes, Nev_status& status) {
  status.clear();
  if (changes.empty()) return;
  std::vector<Win32_target> targets(changes.size());
  for (std::size_t i = 0; i < changes.size(); ++i) {
    const Nev_reg_change& change = changes[i];
    const bool named = change.kind == Nev_reg_change::SET_VALUE || change.kind == Nev_reg_change::DELETE_VALUE;
    if (!detail::win32_prepare(change.root, change.key, named ? &change.value.name : nullptr, targets[i], status)) {
      return;
    }
    if (targets[i].machine != targets[0].machine) {
      status.assign(NEV_E_INVALID_ARGUMENT, Nev_wstring_status_arg(u"nev_apply_reg_changes"));
      return;
    }
  }
  if (apply_transacted(changes, targets, status)) return;
  std::vector<std::function<void()>> undo;
  if (run_changes(changes, targets, Key_calls(nullptr), undo, status) == ERROR_SUCCESS) return;
  for (auto step = undo.rbegin(); step != undo.rend(); ++step) (*step)();
}

}  // namespace nev
