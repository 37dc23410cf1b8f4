// Helpers of the diagnostics tests: scratch directories, reading a
// diagnostic file back, and the texts the file format prescribes, formed
// independently of the library.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <unistd.h>

#include "nev/strings.h"

namespace diag_test {

// A fresh directory, removed with everything in it at the end of the test.
class Scratch_dir {
 public:
  Scratch_dir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kovdiag-XXXXXX").string();
    m_path = ::mkdtemp(pattern.data());
  }
  ~Scratch_dir() {
    std::error_code ignored;
    std::filesystem::permissions(m_path, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(m_path, ignored);
  }
  Scratch_dir(const Scratch_dir&) = delete;
  Scratch_dir& operator=(const Scratch_dir&) = delete;

  const std::string& path() const { return m_path; }
  std::u16string wpath() const { return std::u16string(m_path.begin(), m_path.end()); }
  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

// 16-bit text as UTF-8, for messages.
inline std::string narrow(const std::u16string& text) { return nev::nev_to_utf8(text); }

// ASCII text widened unit by unit.
inline std::u16string widen(const std::string& text) { return std::u16string(text.begin(), text.end()); }

// The file's raw bytes; empty when it does not exist.
inline std::string read_bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// `text` as the file holds it: each unit low byte first.
inline std::string utf16le(const std::u16string& text) {
  std::string bytes;
  for (char16_t unit : text) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}
inline std::string utf16le(const std::string& ascii) { return utf16le(widen(ascii)); }

// The file decoded from UTF-16LE (an odd last byte is ignored).
inline std::u16string read_units(const std::string& path) {
  const std::string bytes = read_bytes(path);
  std::u16string units;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                          (static_cast<unsigned char>(bytes[i + 1]) << 8)));
  }
  return units;
}

// The file split at CR LF, as narrow text (units above 0xFF become "?");
// the text after the last CR LF, if any, is the last element.
inline std::vector<std::string> read_lines(const std::string& path) {
  const std::u16string units = read_units(path);
  std::vector<std::string> lines;
  std::string current;
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (units[i] == u'\r' && i + 1 < units.size() && units[i + 1] == u'\n') {
      lines.push_back(current);
      current.clear();
      ++i;
    } else {
      current.push_back(units[i] < 0x100 ? static_cast<char>(units[i]) : '?');
    }
  }
  if (!current.empty()) lines.push_back(current);
  return lines;
}

// The creation header for today, without its CR LF.
inline std::string header_line() {
  static const char* const days[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
  static const char* const months[] = {"January", "February", "March",     "April",   "May",      "June",
                                       "July",    "August",   "September", "October", "November", "December"};
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  char text[96];
  std::snprintf(text, sizeof text, "**** Diagnostic file created: %s %02d %s %d ****", days[local.tm_wday],
                local.tm_mday, months[local.tm_mon], local.tm_year + 1900);
  return text;
}

// The thread marker for `id`, without its CR LF.
inline std::string marker_line(std::uint32_t id) {
  char text[64];
  std::snprintf(text, sizeof text, "**** Switch to thread %.4x ****", id);
  return text;
}

}  // namespace diag_test
