#include "diag_reader.h"

#include <cstdio>

#include "nev/strings.h"

namespace kovdiag {

namespace {

const std::u16string MARKER_OPENING = u"**** Switch to thread ";
const std::u16string MARKER_CLOSING = u" ****";
const std::u16string HEADER_OPENING = u"**** Diagnostic file created: ";

bool starts_with(const std::u16string& text, const std::u16string& prefix) {
  return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}


}  // namespace

void Line_decoder::feed(const std::uint8_t* bytes, std::size_t count, std::vector<std::u16string>& lines) {
  std::size_t i = 0;
  if (m_odd_byte && count > 0) {
    m_pending.push_back(static_cast<char16_t>(*m_odd_byte | (bytes[0] << 8)));
    m_odd_byte.reset();
    i = 1;
  }
  m_pending += nev::nev_from_utf16le(bytes + i, count - i, false);
  if ((count - i) % 2 != 0) m_odd_byte = bytes[count - 1];

  std::size_t start = 0;
  for (std::size_t end = m_pending.find(u"\r\n"); end != std::u16string::npos; end = m_pending.find(u"\r\n", start)) {
    lines.push_back(m_pending.substr(start, end - start));
    start = end + 2;
  }
  m_pending.erase(0, start);
}

std::optional<std::uint32_t> marker_thread(const std::u16string& line) {
  if (!starts_with(line, MARKER_OPENING) || line.size() <= MARKER_OPENING.size() + MARKER_CLOSING.size()) {
    return std::nullopt;
  }
  if (line.compare(line.size() - MARKER_CLOSING.size(), MARKER_CLOSING.size(), MARKER_CLOSING) != 0) {
    return std::nullopt;
  }
  std::uint64_t id = 0;
  for (std::size_t i = MARKER_OPENING.size(); i < line.size() - MARKER_CLOSING.size(); ++i) {
    const int digit = nev::nev_hex_digit(line[i]);
    if (digit < 0 || id > 0xFFFFFFFFu) return std::nullopt;
    id = id * 16 + static_cast<unsigned>(digit);
  }
  if (id > 0xFFFFFFFFu) return std::nullopt;
  return static_cast<std::uint32_t>(id);
}

bool Thread_filter::keep(const std::u16string& line) {
  if (!m_thread) return true;
  if (const auto id = marker_thread(line)) {
    m_inside = *id == *m_thread;
    return false;
  }
  if (starts_with(line, HEADER_OPENING)) {
    m_inside = false;
    return false;
  }
  return m_inside;
}

std::string next_numbered_path(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  const std::size_t name_start = slash == std::string::npos ? 0 : slash + 1;
  const std::size_t last_digit = path.find_last_of("0123456789");
  if (last_digit == std::string::npos || last_digit < name_start) return {};
  std::size_t first_digit = last_digit;
  while (first_digit > name_start && path[first_digit - 1] >= '0' && path[first_digit - 1] <= '9') --first_digit;

  const std::size_t width = last_digit - first_digit + 1;
  unsigned long number = 0;
  for (std::size_t i = first_digit; i <= last_digit && number <= 65535; ++i) number = number * 10 + (path[i] - '0');
  const unsigned next = number >= 65535 ? 0 : static_cast<unsigned>(number + 1);

  // The number padded to the width, or its leading digits when wider, as
  // the library forms its field.
  std::string digits = std::to_string(next);
  std::string field = digits.size() >= width ? digits.substr(0, width) : std::string(width - digits.size(), '0') + digits;
  return path.substr(0, first_digit) + field + path.substr(last_digit + 1);
}

}  // namespace kovdiag
