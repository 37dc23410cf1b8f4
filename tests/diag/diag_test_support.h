// Helpers of the diagnostics tests: scratch directories, reading a
// diagnostic file back, and the texts the file format prescribes, formed
// independently of the library.
#pragma once

#include <clocale>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>


#include "nev/system.h"

namespace diag_test {

using Lines = std::vector<std::string>;

// ASCII text widened unit by unit.
inline std::u16string widen(const std::string& text) { return std::u16string(text.begin(), text.end()); }

// A fresh directory, removed with everything in it at the end of the test.
class Scratch_dir {
 public:
  Scratch_dir() {
    m_path = kov_test::make_temp_dir("kovdiag");
  }
  ~Scratch_dir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  const std::string& path() const { return m_path; }
  std::u16string wpath() const { return widen(m_path); }
  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

// The file's raw bytes; empty when it does not exist.
inline std::string read_bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// `text` as the file holds it: each unit low byte first.
inline std::string utf16le(const std::u16string& text) {
  std::string bytes;
  for (char16_t unit : text) bytes += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
  return bytes;
}

// The file decoded from UTF-16LE and split at CR LF, as narrow text (units
// above 0xFF become "?"); text after the last CR LF is the last element.
inline Lines read_lines(const std::string& path) {
  const std::string bytes = read_bytes(path);
  std::string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) text.push_back(bytes[i + 1] ? '?' : bytes[i]);
  Lines lines;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
    lines.push_back(text.substr(start, end - start));
  }
  if (start < text.size()) lines.push_back(text.substr(start));
  return lines;
}

// The creation header for today, without its CR LF.
inline std::string header_line() {
  const std::time_t now = std::time(nullptr);
  const std::tm local = kov_test::local_time(now);
  std::setlocale(LC_TIME, "C");  // English day and month names
  char text[96];
  std::strftime(text, sizeof text, "**** Diagnostic file created: %A %d %B %Y ****", &local);
  return text;
}

// The thread marker for `id` (the calling thread's by default), without
// its CR LF.
inline std::string marker_line(std::uint32_t id = nev::nev_current_thread_id()) {
  char text[64];
  std::snprintf(text, sizeof text, "**** Switch to thread %.4x ****", id);
  return text;
}

// What a file opened by the calling thread holds: header, marker, `lines`.
inline Lines opened(Lines lines) {
  lines.insert(lines.begin(), {header_line(), marker_line()});
  return lines;
}

}  // namespace diag_test
