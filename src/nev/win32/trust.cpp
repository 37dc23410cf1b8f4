// Whether a plug-in library may be loaded: its path is absolute, and neither
// the file nor its folder can be changed by anybody but the user the process
// runs as, the administrators or the system. On Windows "changed by" is read
// from the owner and the access list: the owner must be one of those, and
// no allowing entry of the list may give anybody else a right to write the
// data, the list or the owner. Denying entries are not weighed (an allowing
// entry that a deny would cancel still counts as a way in).
#include <aclapi.h>
#include <sddl.h>

#include <string>

#include "nev/win32/win32_platform.h"
#include "nev/win32/win32_text.h"

namespace nev::platform {

namespace {

constexpr DWORD WRITE_RIGHTS = FILE_WRITE_DATA | FILE_APPEND_DATA | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE |
                               GENERIC_ALL | DELETE;

// A drive path ("C:\\x"), a UNC path ("\\\\host\\x") or a path from the root of
// the current drive ("\\x", "/x"), as PathIsRelativeW sees it: nothing of the
// current folder enters. ("C:x", relative to a drive's current folder, does.)
bool is_absolute(const std::u16string& path) {
  const auto separator = [](char16_t unit) { return unit == u'\\' || unit == u'/'; };
  if (path.size() >= 3 && path[1] == u':' && separator(path[2])) return true;
  return !path.empty() && separator(path[0]);
}

// The SID the process runs as, kept for the process.
PSID process_user() {
  static PSID user = [] {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return PSID{nullptr};
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    auto* info = static_cast<TOKEN_USER*>(LocalAlloc(LPTR, size));  // kept for the process
    PSID sid = nullptr;
    if (info != nullptr && GetTokenInformation(token, TokenUser, info, size, &size)) sid = info->User.Sid;
    CloseHandle(token);
    return sid;
  }();
  return user;
}

bool is_well_known(PSID sid, WELL_KNOWN_SID_TYPE type) { return IsWellKnownSid(sid, type) != FALSE; }

// The user the process runs as, the administrators, the system, or the
// installer's own account.
bool may_write(PSID sid) {
  if (sid == nullptr) return false;
  const PSID user = process_user();
  if (user != nullptr && EqualSid(sid, user)) return true;
  if (is_well_known(sid, WinLocalSystemSid) || is_well_known(sid, WinBuiltinAdministratorsSid) ||
      is_well_known(sid, WinCreatorOwnerSid)) {
    return true;
  }
  wchar_t* text = nullptr;
  bool installer = false;
  if (ConvertSidToStringSidW(sid, &text)) {
    installer = std::wstring(text).rfind(L"S-1-5-80-956008885-", 0) == 0;  // TrustedInstaller
    LocalFree(text);
  }
  return installer;
}

// Why `path` is open to others; empty when it is not. A missing file
// (`missing_ok`) is no reason: loading it fails with the loader's own text.
std::u16string open_to_others(const std::u16string& path, bool missing_ok) {
  PSID owner = nullptr;
  PACL dacl = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD error = GetNamedSecurityInfoW(wide(path), SE_FILE_OBJECT,
                                            OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr,
                                            &dacl, nullptr, &descriptor);
  if (missing_ok && error == ERROR_FILE_NOT_FOUND) return {};
  if (error != ERROR_SUCCESS) return u"it cannot be examined: " + error_text(error);
  std::u16string why;
  if (!may_write(owner)) why = u"it is owned by another user";
  else if (dacl == nullptr) why = u"it has no access list: everybody may change it";
  for (DWORD i = 0; why.empty() && i < dacl->AceCount; ++i) {
    void* entry = nullptr;
    if (!GetAce(dacl, i, &entry)) continue;
    auto* header = static_cast<ACE_HEADER*>(entry);
    if (header->AceType != ACCESS_ALLOWED_ACE_TYPE || (header->AceFlags & INHERIT_ONLY_ACE) != 0) continue;
    auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    if ((allowed->Mask & WRITE_RIGHTS) != 0 && !may_write(reinterpret_cast<PSID>(&allowed->SidStart))) {
      why = u"other users may change it";
    }
  }
  LocalFree(descriptor);
  return why;
}

std::u16string folder_of(const std::u16string& path) {
  const std::size_t last = path.find_last_of(u"\\/");
  if (last == std::u16string::npos) return {};
  // The root keeps its separator: "C:\\" and "\\", not "C:" and "".
  const bool root = last == 0 || (last == 2 && path[1] == u':');
  return path.substr(0, root ? last + 1 : last);
}

}  // namespace

bool Win32_platform::library_trusted(const std::u16string& path, std::u16string& reason) {
  if (!is_absolute(path) || path.find(u'\0') != std::u16string::npos) {
    reason = path + u": the path is not absolute";
    return false;
  }
  for (const std::u16string& checked : {folder_of(path), path}) {
    const std::u16string why = open_to_others(checked, checked == path);
    if (!why.empty()) {
      reason = checked + u": " + why;
      return false;
    }
  }
  return true;
}

}  // namespace nev::platform
