// Reading and writing the .reg text format; see reg_file.h.
#include "reg_file.h"

#include <array>

#include "nev/strings.h"

namespace kovreg {

using nev::Nev_reg_change;
using nev::Nev_reg_value;

namespace {

// Written lines, the backslash of a continuation included, end before this column.
constexpr std::size_t LINE_LIMIT = 79;

const char16_t* const VERSION5_HEADER = u"Windows Registry Editor Version 5.00";
const char16_t* const VERSION4_HEADER = u"REGEDIT4";


bool is_blank(char16_t unit) { return unit == u' ' || unit == u'\t'; }

std::u16string trim(const std::u16string& text) {
  std::size_t start = 0;
  std::size_t end = text.size();
  while (start < end && is_blank(text[start])) ++start;
  while (end > start && is_blank(text[end - 1])) --end;
  return text.substr(start, end - start);
}

bool starts_with_nc(const std::u16string& text, std::size_t at, const std::u16string& prefix) {
  return text.size() - at >= prefix.size() && nev::nev_string_equal_nc(text.substr(at, prefix.size()), prefix);
}

// Reads 1 to `max_digits` hex digits that make up all of `text`.
bool parse_hex_number(const std::u16string& text, std::size_t max_digits, std::uint64_t& number) {
  if (text.empty() || text.size() > max_digits) return false;
  number = 0;
  for (const char16_t unit : text) {
    const int digit = nev::nev_hex_digit(unit);
    if (digit < 0) return false;
    number = number * 16 + static_cast<unsigned>(digit);
  }
  return true;
}

std::vector<std::u16string> split_lines(const std::u16string& text) {
  std::vector<std::u16string> lines;
  std::u16string line;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (unit == u'\r' || unit == u'\n') {
      lines.push_back(std::move(line));
      line.clear();
      if (unit == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n') ++i;
    } else {
      line += unit;
    }
  }
  if (!line.empty()) lines.push_back(std::move(line));
  return lines;
}

bool valid_utf8(const std::string& bytes) {
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const std::size_t length = lead < 0x80 ? 1 : (lead >> 5) == 6 ? 2 : (lead >> 4) == 14 ? 3 : (lead >> 3) == 30 ? 4 : 0;
    if (length == 0 || i + length > bytes.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(bytes[i + k]) >> 6) != 2) return false;
    }
    i += length;
  }
  return true;
}

// ---- Windows-1252 ---------------------------------------------------------------

// The characters of the bytes 0x80 to 0x9F in Windows-1252. The five bytes
// the code page leaves undefined stand for the control characters of the
// same number, so that every byte reads and writes back unchanged.
constexpr std::array<char16_t, 32> CP1252_HIGH = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char16_t from_cp1252(std::uint8_t byte) { return byte >= 0x80 && byte <= 0x9F ? CP1252_HIGH[byte - 0x80] : byte; }

// The Windows-1252 byte of `unit`; false when the code page has none.
bool to_cp1252(char16_t unit, std::uint8_t& byte) {
  if (unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF)) {
    byte = static_cast<std::uint8_t>(unit);
    return true;
  }
  for (std::size_t i = 0; i < CP1252_HIGH.size(); ++i) {
    if (CP1252_HIGH[i] == unit) {
      byte = static_cast<std::uint8_t>(0x80 + i);
      return true;
    }
  }
  return false;
}

bool fits_cp1252(const std::u16string& text) {
  std::uint8_t byte = 0;
  for (const char16_t unit : text) {
    if (!to_cp1252(unit, byte)) return false;
  }
  return true;
}

// True when every surrogate of `text` is one half of a pair, which is what
// UTF-8 can carry.
bool fits_utf8(const std::u16string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      ++i;
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      return false;
    }
  }
  return true;
}

std::u16string cp1252_text(const std::string& bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) text += from_cp1252(static_cast<std::uint8_t>(byte));
  return text;
}

// True when the first line that is not blank is the version 4 header.
bool version4_header(const std::string& bytes) {
  const std::size_t start = bytes.find_first_not_of(" \t\r\n");
  if (start == std::string::npos || bytes.compare(start, 8, "REGEDIT4") != 0) return false;
  const std::size_t after = bytes.find_first_not_of(" \t", start + 8);
  return after == std::string::npos || bytes[after] == '\r' || bytes[after] == '\n';
}

// ---- reading --------------------------------------------------------------------

// The state of reading one file.
class Parser {
 public:
  Parser(const std::vector<std::u16string>& lines, std::vector<File_change>& changes, File_error& error)
      : m_lines(lines), m_changes(changes), m_error(error) {}

  bool run() {
    std::size_t first = 0;
    while (first < m_lines.size() && trim(m_lines[first]).empty()) ++first;
    const std::u16string header = first < m_lines.size() ? trim(m_lines[first]) : std::u16string();
    if (header == VERSION5_HEADER) {
      m_version4 = false;
    } else if (header == VERSION4_HEADER) {
      m_version4 = true;
    } else {
      m_line = first;
      return fail(u"the file does not begin with \"Windows Registry Editor Version 5.00\" or \"REGEDIT4\"");
    }
    for (m_line = first + 1; m_line < m_lines.size(); ++m_line) {
      const std::u16string line = trim(m_lines[m_line]);
      if (line.empty() || line.front() == u';') continue;
      const bool good = line.front() == u'['                      ? section(line)
                        : line.front() == u'"' || line.front() == u'@' ? value(line)
                                                                     : fail(u"the line is no section, value or comment");
      if (!good) return false;
    }
    return true;
  }

 private:
  bool fail(const std::u16string& reason) {
    m_error.line = m_line + 1;
    m_error.reason = reason;
    return false;
  }

  bool section(const std::u16string& line) {
    const std::size_t close = line.find(u']');
    if (close == std::u16string::npos) return fail(u"the section name has no closing \"]\"");
    const std::u16string rest = trim(line.substr(close + 1));
    if (!rest.empty() && rest.front() == u']') return fail(u"a key name cannot hold \"]\"");
    if (!rest.empty() && rest.front() != u';') return fail(u"there is text after the section name");
    const bool deleting = line.size() > 1 && line[1] == u'-';
    const std::u16string name = line.substr(deleting ? 2 : 1, close - (deleting ? 2 : 1));
    if (name.find(u'\0') != std::u16string::npos) return fail(u"a key name holds a NUL character");
    int root = 0;
    std::u16string path;
    if (!split_key(name, false, root, path)) {
      const std::u16string first = name.substr(0, name.find(u'\\'));
      return fail(u"\"" + first + u"\" is no registry root held here");
    }
    for (std::size_t start = 0; start <= path.size();) {
      std::size_t end = path.find(u'\\', start);
      if (end == std::u16string::npos) end = path.size();
      if (end - start > nev::NEV_REG_MAX_KEY_NAME) return fail(u"a key name is longer than 255 characters");
      start = end + 1;
    }
    if (deleting && path.find_first_not_of(u'\\') == std::u16string::npos) {
      return fail(u"a registry root cannot be deleted");
    }
    m_in_section = true;
    m_deleting = deleting;
    m_root = root;
    m_key = path;
    File_change change;
    change.kind = deleting ? Nev_reg_change::DELETE_TREE : Nev_reg_change::CREATE_KEY;
    change.root = root;
    change.key = path;
    m_changes.push_back(std::move(change));
    return true;
  }

  // A quoted string from `at` (the opening quote); `at` ends behind the
  // closing quote. "\\" and "\"" stand for themselves, "\n" for a line
  // feed and "\r" for a carriage return; a backslash before anything else
  // is taken as it stands.
  bool quoted(const std::u16string& line, std::size_t& at, std::u16string& text) {
    text.clear();
    for (std::size_t i = at + 1; i < line.size(); ++i) {
      if (line[i] == u'"') {
        at = i + 1;
        return true;
      }
      const char16_t next = i + 1 < line.size() ? line[i + 1] : u'\0';
      if (line[i] == u'\\' && (next == u'\\' || next == u'"' || next == u'n' || next == u'r')) {
        ++i;
        text += next == u'n' ? u'\n' : next == u'r' ? u'\r' : next;
      } else {
        text += line[i];
      }
    }
    return fail(u"a string is not terminated by \"");
  }

  bool value(const std::u16string& line) {
    if (!m_in_section) return fail(u"a value stands outside any section");
    File_change change;
    change.root = m_root;
    change.key = m_key;
    std::size_t at = 0;
    if (line.front() == u'@') {
      at = 1;
    } else if (!quoted(line, at, change.value.name)) {
      return false;
    }
    if (change.value.name.size() > nev::NEV_REG_MAX_VALUE_NAME) return fail(u"a value name is longer than 16383 characters");
    if (change.value.name.find(u'\0') != std::u16string::npos) return fail(u"a value name holds a NUL character");
    while (at < line.size() && is_blank(line[at])) ++at;
    if (at >= line.size() || line[at] != u'=') return fail(u"\"=\" is missing after the value name");
    ++at;
    while (at < line.size() && is_blank(line[at])) ++at;
    if (!data(line, at, change)) return false;
    if (!m_deleting) m_changes.push_back(std::move(change));  // values of a deleted key are ignored
    return true;
  }

  bool data(const std::u16string& line, std::size_t at, File_change& change) {
    change.kind = Nev_reg_change::SET_VALUE;
    if (at < line.size() && line[at] == u'-') {
      change.kind = Nev_reg_change::DELETE_VALUE;
      return rest_is_comment(line, at + 1);
    }
    if (at < line.size() && line[at] == u'"') {
      std::u16string text;
      if (!quoted(line, at, text)) return false;
      change.value.type = nev::NEV_REG_SZ;
      change.value.data = string_bytes(text);
      return rest_is_comment(line, at);
    }
    if (starts_with_nc(line, at, u"dword:")) {
      const std::u16string digits = trim(line.substr(at + 6, line.find(u';', at) - (at + 6)));
      std::uint64_t number = 0;
      if (!parse_hex_number(digits, 8, number)) return fail(u"a dword needs 1 to 8 hexadecimal digits");
      change.value.type = nev::NEV_REG_DWORD;
      for (int shift = 0; shift < 32; shift += 8) change.value.data.push_back(static_cast<std::uint8_t>(number >> shift));
      return true;
    }
    if (starts_with_nc(line, at, u"hex")) return hex(line, at + 3, change);
    return fail(u"the data is no string, dword, hex data or \"-\"");
  }

  bool rest_is_comment(const std::u16string& line, std::size_t at) {
    const std::u16string rest = trim(line.substr(at));
    return rest.empty() || rest.front() == u';' ? true : fail(u"there is text after the data");
  }

  bool hex(const std::u16string& line, std::size_t at, File_change& change) {
    change.value.type = nev::NEV_REG_BINARY;
    if (at < line.size() && line[at] == u'(') {
      const std::size_t close = line.find(u')', at);
      std::uint64_t type = 0;
      if (close == std::u16string::npos || !parse_hex_number(line.substr(at + 1, close - at - 1), 8, type)) {
        return fail(u"the type of hex(...) is no hexadecimal number");
      }
      change.value.type = static_cast<std::uint32_t>(type);
      at = close + 1;
    }
    if (at >= line.size() || line[at] != u':') return fail(u"\":\" is missing after hex");
    const std::size_t first_line = m_line;
    std::u16string text;
    if (!hex_text_of(line.substr(at + 1), text)) return false;
    std::vector<std::uint8_t> bytes;
    std::size_t start = 0;
    while (!text.empty() && start <= text.size()) {
      std::size_t end = text.find(u',', start);
      if (end == std::u16string::npos) end = text.size();
      const std::u16string piece = trim(text.substr(start, end - start));
      if (piece.empty() && end == text.size() && !bytes.empty()) break;  // a trailing comma
      std::uint64_t byte = 0;
      if (!parse_hex_number(piece, 2, byte)) {
        m_line = first_line;
        return fail(u"\"" + piece + u"\" is no hexadecimal byte");
      }
      bytes.push_back(static_cast<std::uint8_t>(byte));
      start = end + 1;
    }
    const std::uint32_t type = change.value.type;
    if (m_version4 && (type == nev::NEV_REG_EXPAND_SZ || type == nev::NEV_REG_MULTI_SZ)) {
      // Version 4 keeps this string data as Windows-1252 text; the hive
      // holds UTF-16LE. hex(1) is UTF-16LE in both versions.
      std::u16string decoded;
      decoded.reserve(bytes.size());
      for (const std::uint8_t byte : bytes) decoded += from_cp1252(byte);
      bytes = nev::nev_to_utf16le(decoded, false);
    }
    change.value.data = std::move(bytes);
    return true;
  }

  // The hex digits and commas of data that begins with `part` and goes on
  // over the lines that each line ending in "\" announces, comments and the
  // backslashes taken off. Each line is appended once, so the work grows with
  // the length of the data, not with its square.
  bool hex_text_of(std::u16string part, std::u16string& text) {
    for (;;) {
      part = trim(part.substr(0, part.find(u';')));
      const bool more = !part.empty() && part.back() == u'\\';
      if (more) part.pop_back();
      text += part;
      if (!more) return true;
      if (m_line + 1 >= m_lines.size()) return fail(u"hex data continues past the end of the file");
      part = m_lines[++m_line];
    }
  }

  static std::vector<std::uint8_t> string_bytes(const std::u16string& text) {
    return nev::nev_to_utf16le(text, true);
  }

  const std::vector<std::u16string>& m_lines;
  std::vector<File_change>& m_changes;
  File_error& m_error;
  std::size_t m_line = 0;
  bool m_version4 = false;
  bool m_in_section = false;
  bool m_deleting = false;
  int m_root = 0;
  std::u16string m_key;
};

// ---- writing -----------------------------------------------------------------------

std::u16string quote(const std::u16string& text) {
  std::u16string quoted = u"\"";
  for (const char16_t unit : text) {
    if (unit == u'\\' || unit == u'"') quoted += u'\\';
    quoted += unit;
  }
  return quoted + u"\"";
}

std::u16string units_of(const std::vector<std::uint8_t>& data) {
  return nev::nev_from_utf16le(data.data(), data.size(), false);
}

// True when the characters of `text` reach the reader unchanged through the
// file's encoding: UTF-16 carries every unit, UTF-8 no lone surrogate,
// Windows-1252 only its own characters.
bool fits_dialect(const std::u16string& text, Dialect dialect) {
  switch (dialect) {
    case Dialect::version5_utf16: return true;
    case Dialect::version5_utf8: return fits_utf8(text);
    case Dialect::version4: return fits_cp1252(text);
  }
  return false;
}

// The text of string data when the quoted form carries it exactly. Line
// breaks go out as hex(1), which every reader takes back unchanged.
bool plain_string(const Nev_reg_value& value, Dialect dialect, std::u16string& text) {
  if (value.type != nev::NEV_REG_SZ || value.data.size() < 2 || value.data.size() % 2 != 0) return false;
  text = units_of(value.data);
  if (text.back() != u'\0') return false;
  text.pop_back();
  for (const char16_t unit : text) {
    if (unit == u'\0' || unit == u'\r' || unit == u'\n') return false;
  }
  return fits_dialect(text, dialect);
}

// `number` in lower-case hexadecimal digits, at least `width` of them.
std::u16string hex_text(std::uint64_t number, unsigned width) {
  unsigned digits = 1;
  while (digits < 16 && (number >> (4 * digits)) != 0) ++digits;
  std::u16string text;
  nev::nev_append_hex(text, number, digits > width ? digits : width, false);
  return text;
}

void write_hex(std::u16string& out, std::u16string line, const std::vector<std::uint8_t>& bytes) {
  for (std::size_t k = 0; k < bytes.size(); ++k) {
    const bool last = k + 1 == bytes.size();
    const std::u16string piece = hex_text(bytes[k], 2) + (last ? u"" : u",");
    if (line.size() + piece.size() + (last ? 0 : 1) > LINE_LIMIT && line != u"  ") {
      out += line + u"\\\r\n";
      line = u"  ";
    }
    line += piece;
  }
  out += line + u"\r\n";
}

// Why a name cannot stand in a file of `dialect`; empty when it can.
std::u16string name_problem(const std::u16string& name, Dialect dialect) {
  if (name.find_first_of(std::u16string(u"\0\r\n", 3)) != std::u16string::npos) {
    return u"it holds a NUL character or a line break";
  }
  if (!fits_dialect(name, dialect)) {
    return dialect == Dialect::version4 ? u"Windows-1252 (a REGEDIT4 file) cannot hold all its characters"
                                        : u"it holds a lone surrogate, which UTF-8 cannot carry";
  }
  return {};
}

// The 8-bit data of a version 4 hex(2) or hex(7) value: one Windows-1252
// byte for each UTF-16 unit. False when the data is no whole number of
// units or holds a character the code page has not.
bool version4_string_bytes(const std::vector<std::uint8_t>& data, std::vector<std::uint8_t>& bytes) {
  if (data.size() % 2 != 0) return false;
  bytes.clear();
  for (const char16_t unit : units_of(data)) {
    std::uint8_t byte = 0;
    if (!to_cp1252(unit, byte)) return false;
    bytes.push_back(byte);
  }
  return true;
}

// Appends the line (or lines) of `value`; false with `problem` set when
// the file cannot carry it exactly.
bool write_value(std::u16string& out, const Nev_reg_value& value, Dialect dialect, std::u16string& problem) {
  problem = name_problem(value.name, dialect);
  if (!problem.empty()) return false;
  const std::u16string name = value.name.empty() ? u"@" : quote(value.name);
  std::u16string text;
  if (plain_string(value, dialect, text)) {
    out += name + u"=" + quote(text) + u"\r\n";
    return true;
  }
  if (value.type == nev::NEV_REG_DWORD && value.data.size() == 4) {
    const std::uint32_t number = value.data[0] | value.data[1] << 8 | value.data[2] << 16 |
                                 static_cast<std::uint32_t>(value.data[3]) << 24;
    out += name + u"=dword:" + hex_text(number, 8) + u"\r\n";
    return true;
  }
  std::vector<std::uint8_t> bytes = value.data;
  const bool eight_bit = value.type == nev::NEV_REG_EXPAND_SZ || value.type == nev::NEV_REG_MULTI_SZ;
  if (dialect == Dialect::version4 && eight_bit && !version4_string_bytes(value.data, bytes)) {
    problem = u"its string data holds characters that Windows-1252 (a REGEDIT4 file) cannot hold";
    return false;
  }
  const std::u16string kind = value.type == nev::NEV_REG_BINARY ? u"hex:" : u"hex(" + hex_text(value.type, 1) + u"):";
  write_hex(out, name + u"=" + kind, bytes);
  return true;
}

bool write_key(std::u16string& out, const Export_key& key, Dialect dialect, std::u16string& error) {
  std::u16string problem = name_problem(key.name, dialect);
  if (problem.empty() && key.name.find(u']') != std::u16string::npos) problem = u"it holds \"]\"";
  if (!problem.empty()) {
    error = u"the key " + key.name + u" cannot be written: " + problem;
    return false;
  }
  out += u"\r\n[" + key.name + u"]\r\n";
  for (const bool defaults : {true, false}) {
    for (const Nev_reg_value& value : key.values) {
      if (value.name.empty() != defaults) continue;
      if (!write_value(out, value, dialect, problem)) {
        error = u"the value \"" + value.name + u"\" of the key " + key.name + u" cannot be written: " + problem;
        return false;
      }
    }
  }
  return true;
}

std::string encoded(const std::u16string& text, Dialect dialect) {
  switch (dialect) {
    case Dialect::version5_utf16: {
      const std::vector<std::uint8_t> units = nev::nev_to_utf16le(text, false);
      std::string bytes = "\xFF\xFE";
      bytes.append(units.begin(), units.end());
      return bytes;
    }
    case Dialect::version5_utf8:
      return nev::nev_to_utf8(text);
    case Dialect::version4: {
      std::string bytes;
      bytes.reserve(text.size());
      for (const char16_t unit : text) {
        std::uint8_t byte = '?';  // never used: every character was checked
        to_cp1252(unit, byte);
        bytes += static_cast<char>(byte);
      }
      return bytes;
    }
  }
  return {};
}

}  // namespace

nev::Nev_hkey root_handle(int index) {
  static const nev::Nev_hkey roots[] = {nev::NEV_HKEY_CLASSES_ROOT, nev::NEV_HKEY_CURRENT_USER,
                                        nev::NEV_HKEY_LOCAL_MACHINE, nev::NEV_HKEY_USERS,
                                        nev::NEV_HKEY_CURRENT_CONFIG};
  return roots[index];
}

int root_index(const std::u16string& name, bool short_names) {
  const nev::Nev_hkey root = nev::nev_reg_root_by_name(name);
  if (root == nullptr || (!short_names && !nev::nev_string_equal_nc(name, nev::nev_reg_root_name(root)))) return -1;
  int index = 0;
  while (root_handle(index) != root) ++index;
  return index;
}

std::u16string root_name(int index) { return nev::nev_reg_root_name(root_handle(index)); }

bool split_key(const std::u16string& text, bool short_names, int& root, std::u16string& path) {
  const std::size_t slash = text.find(u'\\');
  root = root_index(text.substr(0, slash), short_names);
  if (root < 0) return false;
  path = slash == std::u16string::npos ? std::u16string() : text.substr(slash + 1);
  while (!path.empty() && path.back() == u'\\') path.pop_back();
  return true;
}

bool decode_file(const std::string& bytes, std::u16string& text, File_error& error) {
  text.clear();
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF && static_cast<unsigned char>(bytes[1]) == 0xFE) {
    text = nev::nev_from_utf16le(bytes.data() + 2, bytes.size() - 2, false);
    if (bytes.size() % 2 != 0) {
      error.line = split_lines(text).size() + (text.empty() || text.back() == u'\n' || text.back() == u'\r' ? 1 : 0);
      error.reason = u"the file is UTF-16 but has an odd number of bytes: its last byte is half a character";
      return false;
    }
    return true;
  }
  if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) {
    text = nev::nev_from_utf8(bytes.substr(3));
  } else if (!version4_header(bytes) && valid_utf8(bytes)) {
    text = nev::nev_from_utf8(bytes);
  } else {
    text = cp1252_text(bytes);
  }
  return true;
}

bool parse_file(const std::u16string& text, std::vector<File_change>& changes, File_error& error) {
  const std::vector<std::u16string> lines = split_lines(text);
  return Parser(lines, changes, error).run();
}

bool encode_file(const std::vector<Export_key>& keys, Dialect dialect, std::string& bytes, std::u16string& error) {
  std::u16string text = dialect == Dialect::version4 ? VERSION4_HEADER : VERSION5_HEADER;
  text += u"\r\n";
  for (const Export_key& key : keys) {
    if (!write_key(text, key, dialect, error)) return false;
  }
  text += u"\r\n";
  bytes = encoded(text, dialect);
  return true;
}

}  // namespace kovreg
