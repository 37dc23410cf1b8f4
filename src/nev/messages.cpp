// Nev_messages_list: parsing message files and formatting status texts.
//
// A file is parsed completely into a map of its own before the list is
// touched, so a file with one bad line adds nothing, and the exclusive lock
// is held only for the merge.
#include "nev/messages.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <sstream>
#include <system_error>

#include "nev/codes.h"
#include "nev/strings.h"

namespace nev {

namespace detail {
// The texts of the message files compiled into the library (generated).
extern const char* const default_messages;
}  // namespace detail

namespace {

using Text_map = std::map<std::uint32_t, std::u16string>;

constexpr unsigned MAX_INSERT = 8;

bool is_blank_line(const std::string& line) {
  return line.find_first_not_of(" \t") == std::string::npos;
}

// Reads "0x" + one to eight hexadecimal digits + one blank + the text.
bool parse_message_line(const std::string& line, std::uint32_t& code, std::string& text) {
  if (line.size() < 3 || line[0] != '0' || (line[1] != 'x' && line[1] != 'X')) return false;
  std::size_t pos = 2;
  std::uint32_t value = 0;
  while (pos < line.size() && nev_hex_digit(static_cast<unsigned char>(line[pos])) >= 0) {
    if (pos - 2 == 8) return false;  // more than 32 bits
    value = (value << 4) | static_cast<std::uint32_t>(nev_hex_digit(static_cast<unsigned char>(line[pos])));
    ++pos;
  }
  if (pos == 2 || pos >= line.size() || line[pos] != ' ') return false;
  code = value;
  text = line.substr(pos + 1);
  return true;
}

// Parses `content` into `texts`; on the first bad line reports it in
// `status` and returns false.
bool parse_messages(const std::string& content, const std::u16string& origin, Text_map& texts,
                    Nev_status& status) {
  std::size_t start = 0;
  int line_number = 0;
  // A byte-order mark is allowed in front of the first line.
  if (content.compare(0, 3, "\xEF\xBB\xBF") == 0) start = 3;
  while (start < content.size()) {
    std::size_t end = content.find('\n', start);
    if (end == std::string::npos) end = content.size();
    std::string line = content.substr(start, end - start);
    start = end + 1;
    ++line_number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (is_blank_line(line) || line[0] == '#' || line[0] == ';') continue;
    std::uint32_t code = 0;
    std::string text;
    if (!parse_message_line(line, code, text)) {
      status.assign(NEV_E_MESSAGE_LINE, Nev_wstring_status_arg(origin), Nev_int_status_arg(line_number, true),
                    Nev_wstring_status_arg(nev_from_utf8(line)));
      return false;
    }
    texts[code] = nev_from_utf8(text);
  }
  return true;
}

// Reads the whole file at `path`; on failure returns false with the reason.
bool read_file(const std::u16string& path, std::string& content, std::u16string& reason) {
  // Through UTF-8 rather than the UTF-16 constructor: that one throws on a
  // lone surrogate, and a bad name must come back as a status.
  const std::string utf8 = nev_to_utf8(path);
  const std::filesystem::path file(std::u8string(utf8.begin(), utf8.end()));
  std::error_code error;
  const auto state = std::filesystem::status(file, error);
  if (error) {
    reason = nev_from_utf8(error.message());
    return false;
  }
  if (!std::filesystem::is_regular_file(state)) {
    reason = u"it is not a regular file";
    return false;
  }
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    reason = u"it cannot be opened";
    return false;
  }
  std::ostringstream buffer;
  buffer << in.rdbuf();
  if (in.bad()) {
    reason = u"reading it failed";
    return false;
  }
  content = buffer.str();
  return true;
}

std::u16string hex_code(std::uint32_t code) {
  std::u16string text = u"0x";
  nev_append_hex(text, code, 8, true);
  return text;
}

// The text of an unknown code: its number and its arguments.
std::u16string bare_code_text(std::uint32_t code, const std::vector<std::u16string>& arguments) {
  std::u16string out = hex_code(code);
  if (arguments.empty()) return out;
  out += u" (";
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (i != 0) out += u", ";
    out += arguments[i];
  }
  out += u')';
  return out;
}

std::u16string expand_inserts(const std::u16string& pattern, const std::vector<std::u16string>& arguments) {
  std::u16string out;
  out.reserve(pattern.size() + 16);
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char16_t unit = pattern[i];
    if (unit == u'%' && i + 1 < pattern.size() && pattern[i + 1] >= u'1' &&
        pattern[i + 1] <= static_cast<char16_t>(u'0' + MAX_INSERT)) {
      const std::size_t index = pattern[i + 1] - u'1';
      if (index < arguments.size()) out += arguments[index];
      ++i;
    } else {
      out += unit;
    }
  }
  return out;
}

}  // namespace

struct Nev_messages_list::State {
  std::shared_mutex lock;
  std::map<std::uint32_t, std::u16string> texts;
};

Nev_messages_list Nev_messages_list::m_global_messages{Nev_messages_list::Builtin{}};

Nev_messages_list::Nev_messages_list() : m_state(new State) {}

Nev_messages_list::~Nev_messages_list() { delete m_state; }

Nev_messages_list::Nev_messages_list(Builtin) : Nev_messages_list() {
  Nev_status ignored;
  add_text(detail::default_messages, u"(built in)", ignored);
}

void Nev_messages_list::add(const std::u16string& path, Nev_status& status) {
  status.clear();
  std::string content;
  std::u16string reason;
  if (!read_file(path, content, reason)) {
    status.assign(NEV_E_MESSAGE_FILE, Nev_wstring_status_arg(path), Nev_wstring_status_arg(reason));
    return;
  }
  add_text(content, path, status);
}

void Nev_messages_list::add_text(const std::string& text, const std::u16string& origin, Nev_status& status) {
  status.clear();
  Text_map parsed;
  if (!parse_messages(text, origin, parsed, status)) return;
  std::unique_lock hold(m_state->lock);
  for (auto& entry : parsed) m_state->texts[entry.first] = std::move(entry.second);
}

bool Nev_messages_list::lookup(std::uint32_t code, std::u16string& text) const {
  std::shared_lock hold(m_state->lock);
  const auto found = m_state->texts.find(code);
  if (found == m_state->texts.end()) return false;
  text = found->second;
  return true;
}

std::u16string Nev_messages_list::format(std::uint32_t code, const std::vector<std::u16string>& arguments) const {
  std::u16string pattern;
  if (!lookup(code, pattern)) return bare_code_text(code, arguments);
  return expand_inserts(pattern, arguments);
}

std::u16string Nev_messages_list::text(const Nev_status& status) const {
  std::u16string out;
  const unsigned depth = status.depth();
  for (unsigned level = 0; level < depth; ++level) {
    std::vector<std::u16string> arguments;
    const unsigned count = status.argument_count(level);
    for (unsigned index = 0; index < count; ++index) arguments.push_back(status.argument(level, index));
    if (level != 0) out += u'\n';
    out += format(status.code(level), arguments);
  }
  return out;
}

std::size_t Nev_messages_list::size() const {
  std::shared_lock hold(m_state->lock);
  return m_state->texts.size();
}

}  // namespace nev
