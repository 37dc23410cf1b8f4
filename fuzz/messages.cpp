// Message files: any bytes through Nev_messages_list::add_text, checked
// against a model of the documented grammar (per line "0x", one to eight
// hexadecimal digits, one blank, the text; blank, "#" and ";" lines skipped;
// a later text replaces an earlier one; one bad line adds nothing).
#include <map>
#include <vector>

#include "fuzz_support.h"
#include "nev/messages.h"
#include "nev/strings.h"

namespace {

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// One line; false for a line that is neither skipped nor a message.
bool model_line(std::string line, std::map<std::uint32_t, std::string>& texts) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (line.find_first_not_of(" \t") == std::string::npos || line[0] == '#' || line[0] == ';') return true;
  if (line.size() < 3 || line[0] != '0' || (line[1] != 'x' && line[1] != 'X')) return false;
  std::size_t at = 2;
  std::uint32_t code = 0;
  while (at < line.size() && hex_digit(line[at]) >= 0) {
    if (at - 2 == 8) return false;
    code = code << 4 | static_cast<std::uint32_t>(hex_digit(line[at]));
    ++at;
  }
  if (at == 2 || at >= line.size() || line[at] != ' ') return false;
  texts[code] = line.substr(at + 1);
  return true;
}

bool model(const std::string& content, std::map<std::uint32_t, std::string>& texts) {
  std::size_t start = content.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
  while (start < content.size()) {
    std::size_t end = content.find('\n', start);
    if (end == std::string::npos) end = content.size();
    if (!model_line(content.substr(start, end - start), texts)) return false;
    start = end + 1;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  std::map<std::uint32_t, std::string> expected;
  const bool good = model(content, expected);

  nev::Nev_messages_list list;
  nev::Nev_status status;
  list.add_text(content, u"fuzz.msg", status);
  FUZZ_CHECK(status.ok() == good);
  if (!good) {
    FUZZ_CHECK(list.size() == 0);
    (void)nev::Nev_messages_list::m_global_messages.text(status);
    return 0;
  }
  FUZZ_CHECK(list.size() == expected.size());
  const std::vector<std::u16string> arguments = {u"one", u"%2", u"", u"four"};
  for (const auto& [code, text] : expected) {
    std::u16string held;
    FUZZ_CHECK(list.lookup(code, held));
    FUZZ_CHECK(held == nev::nev_from_utf8(text));
    const std::u16string formatted = list.format(code, arguments);
    if (held.find(u'%') == std::u16string::npos) FUZZ_CHECK(formatted == held);
  }
  return 0;
}
