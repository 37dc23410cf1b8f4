// Reading diagnostic files for people: UTF-16LE bytes in, whole lines out,
// optionally only one thread's lines, and the name of the numbered file that
// follows a given one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kovdiag {

// Turns the bytes of a diagnostic file, fed in pieces of any size, into its
// lines (without CR LF). A line is given out only once its CR LF has
// arrived, so a file that is still being written never shows half a line.
class Line_decoder {
 public:
  // Adds bytes and appends every line they complete to `lines`.
  void feed(const std::uint8_t* bytes, std::size_t count, std::vector<std::u16string>& lines);
  // The text held back after the last CR LF, for a file that has ended.
  std::u16string rest() const { return m_pending; }

 private:
  std::u16string m_pending;
  std::optional<std::uint8_t> m_odd_byte;
};

// Keeps the lines of one thread: the lines that follow a marker
// "**** Switch to thread <id> ****" with that id, up to the next marker or
// header. Markers and headers themselves are dropped. Without a thread,
// every line is kept.
class Thread_filter {
 public:
  explicit Thread_filter(std::optional<std::uint32_t> thread) : m_thread(thread) {}
  // True when `line` is to be shown.
  bool keep(const std::u16string& line);

 private:
  std::optional<std::uint32_t> m_thread;
  bool m_inside = false;
};

// The thread id of a marker line, if `line` is one.
std::optional<std::uint32_t> marker_thread(const std::u16string& line);

// The name that the library gives to the file after `path` when its name
// template has a number field: the last run of decimal digits in the file
// name (not the directory) holds the number; the next name holds the number
// plus one (65535 wraps to 0) in a field of the same width. Empty when the
// file name has no digits.
std::string next_numbered_path(const std::string& path);

}  // namespace kovdiag
