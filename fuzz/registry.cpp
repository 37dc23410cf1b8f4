// The registry driven by a stream of operations against a fresh tree, each
// result compared with an in-memory model of the same semantics: names
// case-insensitive and case-preserving, subkeys in case-insensitive order,
// values in creation order (an overwrite keeps the stored name and place),
// batches all-or-nothing. At the end the whole tree is walked and compared.
//
// The hive is a file of its own in a temporary folder; every input starts
// by deleting the tree below one key of HKEY_CURRENT_USER.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <vector>

#include "fuzz_support.h"
#include "nev/registry.h"

using nev::Nev_reg_value;

namespace {

const std::u16string BASE = u"KovFuzz";

// Names are made of these units: letters with their case partners in
// ASCII, Latin-1 and Greek, a letter without an upper-case form, a blank.
constexpr char16_t ALPHABET[] = {u'a', u'A', u'b', u'B', 0xE9, 0xC9, 0x3C3, 0x3A3, 0xDF, u' '};

char16_t fold_unit(char16_t unit) {
  if (unit >= u'a' && unit <= u'z') return static_cast<char16_t>(unit - 32);
  if (unit >= 0xE0 && unit <= 0xFE && unit != 0xF7) return static_cast<char16_t>(unit - 32);
  if (unit == 0x3C3) return 0x3A3;
  return unit;
}

std::u16string fold(const std::u16string& name) {
  std::u16string out;
  for (const char16_t unit : name) out += fold_unit(unit);
  return out;
}

struct Node {
  std::u16string name;
  std::map<std::u16string, std::unique_ptr<Node>> children;  // by folded name: the enumeration order
  std::vector<Nev_reg_value> values;

  std::unique_ptr<Node> copy() const {
    auto out = std::make_unique<Node>();
    out->name = name;
    out->values = values;
    for (const auto& [folded, child] : children) out->children[folded] = child->copy();
    return out;
  }
  Nev_reg_value* value(const std::u16string& wanted) {
    for (Nev_reg_value& held : values) {
      if (fold(held.name) == fold(wanted)) return &held;
    }
    return nullptr;
  }
};

// A path below the base: its pieces, and its text with stray backslashes
// that the registry skips.
struct Path {
  std::vector<std::u16string> pieces;
  std::u16string text;
};

class Driver {
 public:
  explicit Driver(fuzz::Reader& input) : m_in(input), m_root(std::make_unique<Node>()) { m_root->name = BASE; }

  void run();

 private:
  std::u16string name(bool may_be_empty) {
    const unsigned length = m_in.byte() % 3 + (may_be_empty ? 0 : 1);
    std::u16string out;
    for (unsigned i = 0; i < length; ++i) out += ALPHABET[m_in.byte() % (sizeof ALPHABET / sizeof ALPHABET[0])];
    return out;
  }
  Path path() {
    Path out;
    const std::uint8_t shape = m_in.byte();
    out.text = BASE;
    const unsigned depth = 1 + shape % 3;
    for (unsigned i = 0; i < depth; ++i) {
      out.pieces.push_back(name(false));
      out.text += (shape & 0x40) != 0 && i == 0 ? u"\\\\" : u"\\";
      out.text += out.pieces.back();
    }
    if ((shape & 0x80) != 0) out.text += u"\\";
    return out;
  }
  Nev_reg_value value_of_input() {
    Nev_reg_value value;
    value.name = name(true);
    constexpr std::uint32_t TYPES[] = {nev::NEV_REG_NONE,  nev::NEV_REG_SZ,       nev::NEV_REG_EXPAND_SZ,
                                       nev::NEV_REG_BINARY, nev::NEV_REG_DWORD, nev::NEV_REG_MULTI_SZ,
                                       nev::NEV_REG_QWORD, 0x12345678u};
    value.type = TYPES[m_in.byte() % 8];
    const std::string bytes = m_in.bytes(m_in.byte() % 12);
    value.data.assign(bytes.begin(), bytes.end());
    return value;
  }

  Node* find(const Path& path) { return find_in(*m_root, path); }
  static Node* find_in(Node& top, const Path& path) {
    Node* node = &top;
    for (const std::u16string& piece : path.pieces) {
      const auto found = node->children.find(fold(piece));
      if (found == node->children.end()) return nullptr;
      node = found->second.get();
    }
    return node;
  }
  Node* create(Node& top, const Path& path) {
    Node* node = &top;
    for (const std::u16string& piece : path.pieces) {
      auto& slot = node->children[fold(piece)];
      if (!slot) {
        slot = std::make_unique<Node>();
        slot->name = piece;
      }
      node = slot.get();
    }
    return node;
  }
  static void put(Node& node, const Nev_reg_value& value) {
    if (Nev_reg_value* held = node.value(value.name)) {
      held->type = value.type;
      held->data = value.data;
    } else {
      node.values.push_back(value);
    }
  }
  static bool remove_value(Node* node, const std::u16string& name) {
    if (node == nullptr) return false;
    const auto held = std::find_if(node->values.begin(), node->values.end(),
                                   [&](const Nev_reg_value& v) { return fold(v.name) == fold(name); });
    if (held == node->values.end()) return false;
    node->values.erase(held);
    return true;
  }
  static bool remove_tree(Node& top, const Path& path) {
    Node* parent = &top;
    for (std::size_t i = 0; i + 1 < path.pieces.size(); ++i) {
      const auto found = parent->children.find(fold(path.pieces[i]));
      if (found == parent->children.end()) return false;
      parent = found->second.get();
    }
    return parent->children.erase(fold(path.pieces.back())) != 0;
  }

  void op_create();
  void op_set();
  void op_get();
  void op_delete_value();
  void op_enum_keys();
  void op_enum_values();
  void op_delete_tree();
  void op_batch();

  fuzz::Reader& m_in;
  std::unique_ptr<Node> m_root;
};

const auto ROOT = nev::NEV_HKEY_CURRENT_USER;

void Driver::op_create() {
  const Path where = path();
  nev::Nev_status status;
  nev::nev_create_reg_key(ROOT, where.text, status);
  FUZZ_CHECK(status.ok());
  create(*m_root, where);
  FUZZ_CHECK(nev::nev_reg_key_exists(ROOT, where.text, u""));
}

void Driver::op_set() {
  const Path where = path();
  const std::uint8_t how = m_in.byte() % 3;
  nev::Nev_status status;
  Nev_reg_value value;
  if (how == 0) {
    value = value_of_input();
    nev::nev_set_reg_value(ROOT, where.text, value.name, value.type, value.data, status);
  } else if (how == 1) {
    value.name = name(true);
    const std::u16string text = name(true) + name(true);
    value.type = nev::NEV_REG_SZ;
    for (const char16_t unit : text + u'\0') {
      value.data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
      value.data.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    nev::nev_set_reg_string_value(ROOT, BASE, where.text.substr(BASE.size() + 1), value.name, text, status);
  } else {
    value.name = name(true);
    const std::uint32_t number = m_in.u32();
    value.type = nev::NEV_REG_DWORD;
    for (int shift = 0; shift < 32; shift += 8) value.data.push_back(static_cast<std::uint8_t>(number >> shift));
    nev::nev_set_reg_uint_value(ROOT, where.text, u"", value.name, number, status);
  }
  FUZZ_CHECK(status.ok());
  put(*create(*m_root, where), value);
}

void Driver::op_get() {
  const Path where = path();
  const std::u16string wanted = name(true);
  Node* node = find(where);
  Nev_reg_value* held = node != nullptr ? node->value(wanted) : nullptr;
  Nev_reg_value got;
  nev::Nev_status status;
  nev::nev_get_reg_value(ROOT, where.text, wanted, got, status);
  FUZZ_CHECK(status.ok() == (held != nullptr));
  if (held == nullptr) return;
  FUZZ_CHECK(got.name == held->name && got.type == held->type && got.data == held->data);
  std::u16string text = u"unchanged";
  nev::nev_get_reg_string_value(ROOT, where.text, u"", wanted, text, status);
  const bool is_string = held->type == nev::NEV_REG_SZ || held->type == nev::NEV_REG_EXPAND_SZ;
  FUZZ_CHECK(status.ok() == is_string);
  if (is_string) {
    std::u16string expected;
    for (std::size_t i = 0; i + 1 < held->data.size() && (held->data[i] | held->data[i + 1]) != 0; i += 2) {
      expected += static_cast<char16_t>(held->data[i] | held->data[i + 1] << 8);
    }
    FUZZ_CHECK(text == expected);
  } else {
    FUZZ_CHECK(text == u"unchanged");
  }
  std::uint32_t number = 7;
  nev::nev_get_reg_uint_value(ROOT, where.text, u"", wanted, number, status);
  if (held->type != nev::NEV_REG_DWORD) FUZZ_CHECK(!status.ok() && number == 7);
  if (held->type == nev::NEV_REG_DWORD && held->data.size() == 4) {
    FUZZ_CHECK(status.ok());
    FUZZ_CHECK(number == (held->data[0] | held->data[1] << 8 | held->data[2] << 16 |
                          static_cast<std::uint32_t>(held->data[3]) << 24));
  }
}

void Driver::op_delete_value() {
  const Path where = path();
  const std::u16string wanted = name(true);
  const bool existed = remove_value(find(where), wanted);
  nev::Nev_status status;
  nev::nev_delete_reg_value(ROOT, where.text, wanted, status);
  FUZZ_CHECK(status.ok() == existed);
}

void compare_keys(const Node* node, const std::u16string& text) {
  nev::Nev_object_vector<std::u16string> keys;
  keys.push_back(new std::u16string(u"already there"));
  nev::Nev_status status;
  nev::nev_enum_reg_keys(ROOT, text, u"", keys, status);
  FUZZ_CHECK(status.ok() == (node != nullptr));
  FUZZ_CHECK(nev::nev_reg_key_exists(ROOT, text, u"") == (node != nullptr));
  if (node == nullptr) return;
  FUZZ_CHECK(keys.size() == node->children.size() + 1);
  std::size_t i = 1;
  for (const auto& [folded, child] : node->children) FUZZ_CHECK(*keys.at(static_cast<unsigned>(i++)) == child->name);
}

void compare_values(const Node* node, const std::u16string& text) {
  std::vector<Nev_reg_value> values(1);
  nev::Nev_status status;
  nev::nev_enum_reg_values(ROOT, text, values, status);
  FUZZ_CHECK(status.ok() == (node != nullptr));
  if (node == nullptr) {
    FUZZ_CHECK(values.size() == 1);
    return;
  }
  FUZZ_CHECK(values.size() == node->values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    FUZZ_CHECK(values[i].name == node->values[i].name && values[i].type == node->values[i].type &&
               values[i].data == node->values[i].data);
  }
}

void Driver::op_enum_keys() {
  const Path where = path();
  compare_keys(find(where), where.text);
}

void Driver::op_enum_values() {
  const Path where = path();
  compare_values(find(where), where.text);
}

void Driver::op_delete_tree() {
  const Path where = path();
  const bool existed = remove_tree(*m_root, where);
  nev::Nev_status status;
  nev::nev_delete_reg_tree(ROOT, where.text, status);
  FUZZ_CHECK(status.ok() == existed);
}

void Driver::op_batch() {
  std::vector<nev::Nev_reg_change> changes(1 + m_in.byte() % 4);
  std::unique_ptr<Node> next = m_root->copy();
  for (nev::Nev_reg_change& change : changes) {
    const Path where = path();
    change.root = ROOT;
    change.key = where.text;
    change.kind = static_cast<nev::Nev_reg_change::Kind>(m_in.byte() % 4);
    switch (change.kind) {
      case nev::Nev_reg_change::CREATE_KEY:
        create(*next, where);
        break;
      case nev::Nev_reg_change::DELETE_TREE:
        remove_tree(*next, where);
        break;
      case nev::Nev_reg_change::SET_VALUE:
        change.value = value_of_input();
        put(*create(*next, where), change.value);
        break;
      case nev::Nev_reg_change::DELETE_VALUE: {
        change.value.name = name(true);
        remove_value(find_in(*next, where), change.value.name);
        break;
      }
    }
  }
  nev::Nev_status status;
  nev::nev_apply_reg_changes(changes, status);
  FUZZ_CHECK(status.ok());
  m_root = std::move(next);
}

// Compares the whole tree below `node`, whose path is `text`.
void compare_tree(const Node& node, const std::u16string& text) {
  compare_keys(&node, text);
  compare_values(&node, text);
  for (const auto& [folded, child] : node.children) compare_tree(*child, text + u"\\" + child->name);
}

void Driver::run() {
  nev::Nev_status status;
  nev::nev_delete_reg_tree(ROOT, BASE, status);
  nev::nev_create_reg_key(ROOT, BASE, status);
  FUZZ_CHECK(status.ok());
  for (int steps = 0; steps < 64 && !m_in.empty(); ++steps) {
    switch (m_in.byte() % 8) {
      case 0: op_create(); break;
      case 1: op_set(); break;
      case 2: op_get(); break;
      case 3: op_delete_value(); break;
      case 4: op_enum_keys(); break;
      case 5: op_enum_values(); break;
      case 6: op_delete_tree(); break;
      default: op_batch(); break;
    }
  }
  compare_tree(*m_root, BASE);
}

std::string hive_folder;
std::string hive_path;

void remove_hive() {
  for (const char* suffix : {"", "-wal", "-shm", "-journal"}) ::unlink((hive_path + suffix).c_str());
  ::rmdir(hive_folder.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // A folder of this process's own (mkdtemp makes it 0700): the registry
  // refuses a hive in a folder that other users may write, such as /dev/shm.
  const char* folder = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::getenv("TMPDIR");
  std::string pattern = std::string(folder != nullptr ? folder : "/tmp") + "/kov-fuzz-registry-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  hive_folder = pattern;
  hive_path = hive_folder + "/hive.db";
  setenv("NEV_REGISTRY", hive_path.c_str(), 1);
  std::atexit(remove_hive);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Reader input(data, size);
  Driver(input).run();
  return 0;
}
