// The ownership and mode test of files and folders (see trust.h).
#include "nev/posix/trust.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace nev::platform {

namespace {

std::string octal(mode_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
  return text;
}

}  // namespace

bool is_trusted(const std::string& path, std::string& reason, bool missing_ok) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) {
    if (missing_ok && errno == ENOENT) return true;
    reason = path + " cannot be examined: " + std::strerror(errno);
    return false;
  }
  const char* what = S_ISDIR(info.st_mode) ? "the folder " : "the file ";
  const uid_t user = ::geteuid();
  if (info.st_uid != user && info.st_uid != 0) {
    reason = what + path + " is owned by user " + std::to_string(info.st_uid) + ", neither this user (" +
             std::to_string(user) + ") nor root";
    return false;
  }
  if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    reason = what + path + " may be written by group or others (mode " + octal(info.st_mode) + ")";
    return false;
  }
  return true;
}

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? std::string("/") : path.substr(0, slash);
}

bool is_trusted_with_folder(const std::string& path, std::string& reason) {
  if (path.empty() || path.front() != '/') {
    reason = "the path \"" + path + "\" is not absolute";
    return false;
  }
  return is_trusted(folder_of(path), reason) && is_trusted(path, reason, true);
}

}  // namespace nev::platform
