// What kovreg's commands share; see tool.h.
#include <algorithm>
#include <iostream>

#include "nev/codes.h"
#include "nev/file.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "tool.h"

using namespace nev;

namespace kovreg {

void print(const std::u16string& text) { std::cout << nev_to_utf8(text); }

// Through Nev_file, whose paths are UTF-16: on Windows a path in the ANSI
// code page could not name every file.
bool read_file(const std::string& path, std::string& bytes, Nev_status& status) {
  Nev_file file;
  file.open(nev_from_utf8(path), NEV_FILE_OPEN_EXISTING, NEV_FILE_READ, 0, NEV_FILE_SHARE_READ, status);
  bytes.clear();
  char buffer[1 << 16];
  while (status.ok()) {
    const std::uint32_t count = file.read(buffer, sizeof buffer, status);
    if (count == 0) break;
    bytes.append(buffer, count);
  }
  return status.ok();
}

bool write_file(const std::string& path, const std::string& bytes, Nev_status& status) {
  Nev_file file;
  file.open(nev_from_utf8(path), NEV_FILE_CREATE_ALWAYS, NEV_FILE_WRITE, 0, NEV_FILE_SHARE_READ, status);
  for (std::size_t done = 0; status.ok() && done < bytes.size();) {
    const auto chunk = static_cast<std::uint32_t>(std::min<std::size_t>(bytes.size() - done, 1u << 30));
    const std::uint32_t written = file.write(bytes.data() + done, chunk, status);
    if (status.ok() && written == 0) {
      status.assign(NEV_E_FILE_WRITE, Nev_wstring_status_arg(nev_from_utf8(path)),
                    Nev_wstring_status_arg(u"the file took no more bytes"));
    }
    done += written;
  }
  return status.ok();
}

bool file_exists(const std::string& path) {
  Nev_file file;
  Nev_status status;
  file.open(nev_from_utf8(path), NEV_FILE_OPEN_EXISTING, NEV_FILE_READ, 0, NEV_FILE_SHARE_READ_WRITE, status);
  return status.ok();
}

// A failure for people: every code of the status as its message.
int report(const Nev_status& status) {
  std::cerr << "kovreg: " << nev_to_utf8(nev_status_text(status)) << "\n";
  return 1;
}

namespace {

std::u16string type_name(std::uint32_t type) {
  switch (type) {
    case NEV_REG_NONE: return u"REG_NONE";
    case NEV_REG_SZ: return u"REG_SZ";
    case NEV_REG_EXPAND_SZ: return u"REG_EXPAND_SZ";
    case NEV_REG_BINARY: return u"REG_BINARY";
    case NEV_REG_DWORD: return u"REG_DWORD";
    case NEV_REG_MULTI_SZ: return u"REG_MULTI_SZ";
    case NEV_REG_QWORD: return u"REG_QWORD";
    default: {
      std::u16string number;
      nev_itow(type, number, 16, false);
      return u"REG_0x" + number;
    }
  }
}

}  // namespace

std::u16string units_of(const std::vector<std::uint8_t>& data) {
  return nev_from_utf16le(data.data(), data.size(), false);
}

namespace {

std::u16string data_text(const Nev_reg_value& value) {
  std::u16string text;
  if ((value.type == NEV_REG_SZ || value.type == NEV_REG_EXPAND_SZ) && value.data.size() % 2 == 0) {
    text = units_of(value.data);
    return text.substr(0, text.find(u'\0'));
  }
  if (value.type == NEV_REG_MULTI_SZ && value.data.size() % 2 == 0) {
    for (const char16_t unit : units_of(value.data)) text += unit == u'\0' ? std::u16string(u"\\0") : std::u16string(1, unit);
    while (text.size() >= 2 && text.compare(text.size() - 2, 2, u"\\0") == 0) text.resize(text.size() - 2);
    return text;
  }
  if ((value.type == NEV_REG_DWORD && value.data.size() == 4) || (value.type == NEV_REG_QWORD && value.data.size() == 8)) {
    std::uint64_t number = 0;
    for (std::size_t i = value.data.size(); i-- > 0;) number = number << 8 | value.data[i];
    static const char16_t lower_digits[] = u"0123456789abcdef";
    do {
      text.insert(text.begin(), lower_digits[number & 0xF]);
      number >>= 4;
    } while (number != 0);
    return u"0x" + text;
  }
  static const char16_t digits[] = u"0123456789ABCDEF";
  for (const std::uint8_t byte : value.data) {
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
  }
  return text;
}

}  // namespace

void print_value(const Nev_reg_value& value) {
  print(u"    " + (value.name.empty() ? std::u16string(u"(Default)") : value.name) + u"    " + type_name(value.type) +
        u"    " + data_text(value) + u"\n");
}

bool confirm(const std::string& question) {
  std::cout << question << " (Yes/No)? " << std::flush;
  std::string answer;
  if (!std::getline(std::cin, answer)) return false;
  return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES";
}

Registry::~Registry() = default;

Nev_hkey Registry::root(int index, Nev_status& status) {
  status.clear();
  const auto found = m_connected.find(index);
  if (found != m_connected.end()) return found->second->get();
  auto connection = std::make_unique<Nev_reg_connection>(nev_from_utf8(m_machine), root_handle(index), status);
  const Nev_hkey handle = connection->get();
  if (handle != nullptr) m_connected[index] = std::move(connection);
  return handle;
}

bool resolve_key(Registry& registry, const std::string& text, Key& key, Nev_status& status) {
  const std::u16string wide = nev_from_utf8(text);
  if (!kovreg::split_key(wide, true, key.root, key.path)) {
    status.assign(NEV_E_REG_BAD_ROOT, Nev_wstring_status_arg(wide.substr(0, wide.find(u'\\'))));
    return false;
  }
  key.handle = registry.root(key.root, status);
  return key.handle != nullptr;
}

}  // namespace kovreg
