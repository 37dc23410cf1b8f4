// Type identifiers: the text form, and reading it exactly as the C library's
// wide scanf reads the format, checked side by side with swscanf itself.
// Also the version rule and the wide-string value object.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <random>
#include <stdexcept>

#include "kov/codes.h"
#include "kov/type_id.h"
#include "kov/wstring.h"
#include "plugin_test_support.h"

namespace {

using namespace std::string_literals;

bool same_bytes(const _GUID& a, const _GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// What swscanf makes of `text` with the reading format, in the layout that
// kov_string_to_type promises: all eleven numbers, or all zeros.
_GUID reference_scan(const std::u16string& text) {
  const std::wstring wide(text.begin(), std::find(text.begin(), text.end(), u'\0'));
  unsigned n[11] = {};
  const int count = std::swscanf(wide.c_str(), L"{%8X-%4X-%4X-%2X%2X-%2X%2X%2X%2X%2X%2X}", &n[0], &n[1], &n[2],
                                 &n[3], &n[4], &n[5], &n[6], &n[7], &n[8], &n[9], &n[10]);
  _GUID guid{};
  if (count == 11) {
    guid.Data1 = n[0];
    guid.Data2 = static_cast<std::uint16_t>(n[1]);
    guid.Data3 = static_cast<std::uint16_t>(n[2]);
    for (int i = 0; i < 8; ++i) guid.Data4[i] = static_cast<std::uint8_t>(n[3 + i]);
  }
  return guid;
}

void expect_as_swscanf(const std::u16string& text) {
  _GUID ours{};
  std::memset(&ours, 0xA5, sizeof ours);  // every byte must be written
  kov::kov_string_to_type(text, ours);
  const _GUID reference = reference_scan(text);
  EXPECT_TRUE(same_bytes(ours, reference)) << ::testing::PrintToString(text);
}

TEST(TypeIdentifier, TextFormIsUpperCaseAndFixedWidth) {
  const std::pair<_GUID, const char16_t*> cases[] = {
      {kov::Kov_wstring::TYPE, u"{5AE48720-05EB-11D3-BF61-5E0703000000}"},
      {_GUID{0xFFFFFFFF, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255}},
       u"{FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}"},
      {_GUID{0x1, 0x2, 0x3, {4, 5, 6, 7, 8, 9, 0xA, 0xB}}, u"{00000001-0002-0003-0405-060708090A0B}"},
  };
  for (const auto& [guid, expected] : cases) {
    std::u16string text = u"old content";
    kov::kov_type_to_string(guid, text);
    EXPECT_EQ(text, expected);
  }
}

TEST(TypeIdentifier, EqualityComparesAllSixteenBytes) {
  const _GUID base = kov::Kov_wstring::TYPE;
  EXPECT_TRUE(kov::kov_is_equal_type(base, base));
  for (std::size_t byte = 0; byte < sizeof(_GUID); ++byte) {
    _GUID other = base;
    reinterpret_cast<unsigned char*>(&other)[byte] ^= 0x01;
    EXPECT_FALSE(kov::kov_is_equal_type(base, other)) << "byte " << byte;
    EXPECT_FALSE(kov::kov_is_equal_type(other, base)) << "byte " << byte;
  }
}

TEST(TypeIdentifier, ReadingAgreesWithSwscanf) {
  KOV_SKIP_ON_WINDOWS("the MinGW C library's swscanf takes other characters for blanks than glibc's, so it is no reference");
  // Texts that random edits seldom make: two signs, and "0x" after a sign
  // and a zero that fill the last number.
  for (const char16_t* text : {u"{+-1-05EB-11D3-BF61-5E0703000000}", u"{5AE48720-05EB-11D3-BF61-5E07030000-0x1}"})
    expect_as_swscanf(text);
  // Random identifiers read back from their text form; random edits of their texts read as
  // swscanf reads them. The edits use units that matter to the scan (digits,
  // letters, the literals, signs, the prefix letter, white space, NUL), units
  // that only look like spaces, digits or hyphens, and a few that matter to
  // nothing.
  const std::u16string alphabet = u"0123456789abcdefABCDEFxXgG{}-+ \t\n\v\f\r\0;_\u001c\u00a0\u3000\u2028\uFF15\u2013"s;
  std::mt19937 random(2024);
  auto pick = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };
  std::u16string base;
  for (int round = 0; round < 20000; ++round) {
    _GUID guid{};
    auto* raw = reinterpret_cast<unsigned char*>(&guid);
    for (std::size_t b = 0; b < sizeof guid; ++b) raw[b] = static_cast<unsigned char>(random());
    kov::kov_type_to_string(guid, base);
    _GUID back{};
    kov::kov_string_to_type(base, back);
    ASSERT_TRUE(same_bytes(back, guid)) << ::testing::PrintToString(base);
    std::u16string text = base;
    const std::size_t edits = 1 + pick(4);
    for (std::size_t e = 0; e < edits; ++e) {
      const std::size_t at = text.empty() ? 0 : pick(text.size() + 1);
      const char16_t unit = alphabet[pick(alphabet.size())];
      const std::size_t kind = pick(3);  // insert, replace or delete
      if (kind == 0)
        text.insert(text.begin() + static_cast<std::ptrdiff_t>(at), unit);
      else if (at < text.size() && kind == 1)
        text[at] = unit;
      else if (at < text.size())
        text.erase(at, 1);
    }
    expect_as_swscanf(text);
    if (HasFailure()) break;
  }
}


// The version rule and the wide-string value object.
using plugin_test::Frame;

TEST(VersionRule, MajorMustMatchMinorIsReported) {
  const std::tuple<std::uint32_t, std::uint32_t, std::vector<Frame>> cases[] = {
      {0x40000, 0x40000, {}},
      {0x40007, 0x40002, {{kov::KOV_I_MINOR_VERSION, {u"P", u"7", u"2"}}}},
      {0x50003, 0x40009, {{kov::KOV_E_MAJOR_VERSION, {u"P", u"5", u"4"}}}},
      {0xFFFFFFFF, 0x0000FFFF, {{kov::KOV_E_MAJOR_VERSION, {u"P", u"65535", u"0"}}}},
  };
  for (const auto& [requested, registered, stack] : cases) {
    nev::Nev_status status;
    status = kov::KOV_E_NO_INSTANCE;  // cleared first
    kov::kov_plugin_check_version(u"P", requested, registered, status);
    plugin_test::expect_stack(status, stack);
    EXPECT_EQ(status.ok(), stack.empty() || stack[0].code == kov::KOV_I_MINOR_VERSION);
  }
}

TEST(ValueObject, HoldsItsValueAndFollowsParentLinksToTheRoot) {
  kov::Kov_wstring a(u"north door");
  const jor::Jor_base& face = a;
  EXPECT_TRUE(kov::kov_is_equal_type(face.type(), kov::Kov_wstring::TYPE));
  EXPECT_EQ(&face.type(), &kov::Kov_wstring(u"other").type());
  EXPECT_EQ(face.interface_version(), 0x40000u);
  EXPECT_EQ(face.implementation_version(), 0x40000u);
  // Setting from its own current value keeps it.
  a.value(a.value());
  EXPECT_EQ(a.value(), u"north door");
  EXPECT_EQ(a.name(), u"");
  // Alone, it is its own root and has no parent.
  tud::Tud& node = a;
  EXPECT_EQ(node.root(), &node);
  EXPECT_THAT([&] { (void)node.parent(); }, ::testing::ThrowsMessage<std::runtime_error>(
                                                ::testing::StrEq("Tud::parent() called when no parent exists")));
  kov::Kov_wstring b(u"b");
  kov::Kov_wstring c(u"c");
  a.parent(&b);
  b.parent(&c);
  EXPECT_EQ(a.parent(), &b);
  EXPECT_EQ(a.root(), static_cast<tud::Tud*>(&c));
  b.parent(nullptr);
  EXPECT_EQ(a.root(), static_cast<tud::Tud*>(&b));
  // It collects and finds nothing, and deletes none of the items.
  int first = 1;
  nev::Nev_ptrvec_impl items;
  items.push_back(&first);
  a.collect(42, items);
  EXPECT_TRUE(items.empty());
  EXPECT_EQ(a.lookup(7, ~std::uintptr_t{0}), 0u);
}

}  // namespace
