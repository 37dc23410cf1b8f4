// The .reg format of kovreg: any bytes through decode_file and parse_file
// (UTF-16LE after its mark, UTF-8, or 8-bit text). A file that parses is
// written back with encode_file in each dialect the data fits, read again,
// and must give the same keys and values: every section as a key creation
// with its values, the default value first. Inputs that begin with 0xFE
// instead build keys and values directly (any names, types and data the
// registry could hold) and check the same round trip from the writer's side.
#include <vector>

#include "fuzz_support.h"
#include "reg_file.h"

using kovreg::Dialect;
using kovreg::File_change;
using nev::Nev_reg_change;

namespace {

bool string_type(std::uint32_t type) {
  return type == nev::NEV_REG_SZ || type == nev::NEV_REG_EXPAND_SZ || type == nev::NEV_REG_MULTI_SZ;
}

std::u16string units_of(const std::vector<std::uint8_t>& data) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < data.size(); i += 2) text += static_cast<char16_t>(data[i] | data[i + 1] << 8);
  return text;
}

bool latin1(const std::u16string& text) {
  for (const char16_t unit : text) {
    if (unit > 0xFF) return false;
  }
  return true;
}

// Whether writing `dialect` can carry every name and every datum exactly.
bool fits(const std::vector<kovreg::Export_key>& keys, Dialect dialect) {
  for (const kovreg::Export_key& key : keys) {
    std::vector<std::u16string> texts = {key.name};
    for (const nev::Nev_reg_value& value : key.values) {
      texts.push_back(value.name);
      if (string_type(value.type)) texts.push_back(units_of(value.data));
      // 8-bit text holds string data as one byte a unit: whole units only.
      if (dialect == Dialect::version4 && string_type(value.type) && value.data.size() % 2 != 0) return false;
    }
    for (const std::u16string& text : texts) {
      if (dialect == Dialect::version4 && !latin1(text)) return false;
    }
  }
  return true;
}

// The sections of `changes` as keys to write.
void sections(const std::vector<File_change>& changes, std::vector<kovreg::Export_key>& keys) {
  bool in_key = false;
  for (const File_change& change : changes) {
    if (change.kind == Nev_reg_change::CREATE_KEY) {
      keys.push_back({kovreg::root_name(change.root) + (change.key.empty() ? u"" : u"\\" + change.key), {}});
      in_key = true;
    } else if (change.kind == Nev_reg_change::DELETE_TREE) {
      in_key = false;
    } else if (change.kind == Nev_reg_change::SET_VALUE) {
      FUZZ_CHECK(in_key);
      keys.back().values.push_back(change.value);
    }
  }
}

// The changes that reading a file written from `keys` must give: each key
// created, then its default value, then its other values in order.
void expected_of(const std::vector<kovreg::Export_key>& keys, std::vector<File_change>& expected) {
  for (const kovreg::Export_key& key : keys) {
    File_change create;
    kovreg::split_key(key.name, false, create.root, create.key);
    expected.push_back(create);
    for (int pass = 0; pass < 2; ++pass) {
      for (const nev::Nev_reg_value& value : key.values) {
        if (value.name.empty() != (pass == 0)) continue;
        File_change set = create;
        set.kind = Nev_reg_change::SET_VALUE;
        set.value = value;
        expected.push_back(set);
      }
    }
  }
}

bool same(const File_change& a, const File_change& b) {
  return a.kind == b.kind && a.root == b.root && a.key == b.key && a.value.name == b.value.name &&
         a.value.type == b.value.type && a.value.data == b.value.data;
}

void check_round_trip(const std::vector<kovreg::Export_key>& keys, const std::vector<File_change>& expected,
                      Dialect dialect) {
  std::string bytes;
  std::u16string refusal;
  // What the dialect has no exact form for is refused whole, with a reason.
  if (!kovreg::encode_file(keys, dialect, bytes, refusal)) {
    FUZZ_CHECK(!refusal.empty());
    return;
  }
  std::vector<File_change> again;
  kovreg::File_error error;
  std::u16string text;
  FUZZ_CHECK(kovreg::decode_file(bytes, text, error));
  FUZZ_CHECK(kovreg::parse_file(text, again, error));
  FUZZ_CHECK(again.size() == expected.size());
  for (std::size_t i = 0; i < again.size(); ++i) FUZZ_CHECK(same(again[i], expected[i]));
}

// 16-bit text of `length` units, two input bytes a unit.
std::u16string units_of_input(fuzz::Reader& input, std::size_t length) {
  std::u16string text;
  for (std::size_t i = 0; i < length && !input.empty(); ++i) {
    const char16_t low = input.byte();
    text += static_cast<char16_t>(low | input.byte() << 8);
  }
  return text;
}

// A name as the registry holds it: a key name holds no backslash.
std::u16string name_of_input(fuzz::Reader& input, std::size_t length, bool key) {
  std::u16string name = units_of_input(input, length);
  for (char16_t& unit : name) {
    if (key && unit == u'\\') unit = u'x';
  }
  return name;
}

// Keys and values as the registry could hold them, from the input: the
// writer's side of the round trip.
std::vector<kovreg::Export_key> keys_of_input(fuzz::Reader& input) {
  std::vector<kovreg::Export_key> keys(1 + input.byte() % 3);
  for (kovreg::Export_key& key : keys) {
    key.name = kovreg::root_name(input.byte() % 5);
    for (unsigned depth = input.byte() % 3; depth > 0; --depth) {
      key.name += u"\\" + name_of_input(input, 1 + input.byte() % 6, true);
    }
    for (unsigned count = input.byte() % 4; count > 0; --count) {
      nev::Nev_reg_value value;
      value.name = name_of_input(input, input.byte() % 5, false);
      const std::uint8_t type = input.byte();
      value.type = type < 12 ? type : input.u32();
      const std::string data = input.bytes(input.byte() % 24);
      value.data.assign(data.begin(), data.end());
      key.values.push_back(std::move(value));
    }
  }
  return keys;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<kovreg::Export_key> keys;
  std::vector<File_change> expected;
  if (size > 0 && data[0] == 0xFE) {
    fuzz::Reader input(data + 1, size - 1);
    keys = keys_of_input(input);
    expected_of(keys, expected);
    for (const Dialect dialect : {Dialect::version5_utf16, Dialect::version5_utf8, Dialect::version4}) {
      if (fits(keys, dialect)) check_round_trip(keys, expected, dialect);
    }
    return 0;
  }
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::vector<File_change> changes;
  kovreg::File_error error;
  std::u16string text;
  if (!kovreg::decode_file(bytes, text, error) || !kovreg::parse_file(text, changes, error)) {
    FUZZ_CHECK(error.line >= 1 && !error.reason.empty());
    return 0;
  }
  sections(changes, keys);
  expected_of(keys, expected);
  for (const Dialect dialect : {Dialect::version5_utf16, Dialect::version5_utf8, Dialect::version4}) {
    if (fits(keys, dialect)) check_round_trip(keys, expected, dialect);
  }
  return 0;
}
