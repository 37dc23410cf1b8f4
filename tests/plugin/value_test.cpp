// The version rule and the wide-string value object.
#include <stdexcept>

#include "kov/codes.h"
#include "kov/wstring.h"
#include "plugin_test_support.h"

namespace {

using plugin_test::Frame;

TEST(VersionRule, MajorMustMatchMinorIsReported) {
  const std::tuple<std::uint32_t, std::uint32_t, std::vector<Frame>> cases[] = {
      {0x40000, 0x40000, {}},
      {0x40000, 0x40001, {{kov::KOV_I_MINOR_VERSION, {u"P", u"0", u"1"}}}},
      {0x40007, 0x40002, {{kov::KOV_I_MINOR_VERSION, {u"P", u"7", u"2"}}}},
      {0x40000, 0x50000, {{kov::KOV_E_MAJOR_VERSION, {u"P", u"4", u"5"}}}},
      {0x50000, 0x40000, {{kov::KOV_E_MAJOR_VERSION, {u"P", u"5", u"4"}}}},
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
  a.name(a.name());
  EXPECT_EQ(a.value(), u"north door");
  EXPECT_EQ(a.name(), u"");
  // Alone, it is its own root and has no parent.
  tud::Tud& node = a;
  EXPECT_EQ(node.root(), &node);
  try {
    (void)node.parent();
    ADD_FAILURE() << "parent() did not raise";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Tud::parent() called when no parent exists");
  }
  kov::Kov_wstring b(u"b");
  kov::Kov_wstring c(u"c");
  a.parent(&b);
  b.parent(&c);
  EXPECT_EQ(a.parent(), &b);
  EXPECT_EQ(a.root(), static_cast<tud::Tud*>(&c));
  b.parent(nullptr);
  EXPECT_EQ(a.root(), static_cast<tud::Tud*>(&b));
  EXPECT_THROW((void)b.parent(), std::runtime_error);
  // Destroyed through its Tud side.
  tud::Tud* owned = new kov::Kov_wstring(u"owned");
  owned->parent(&a);
  EXPECT_EQ(owned->root(), static_cast<tud::Tud*>(&b));
  delete owned;
  // It collects and finds nothing, and deletes none of the items.
  int first = 1;
  nev::Nev_ptrvec_impl items;
  items.push_back(&first);
  a.collect(42, items);
  EXPECT_TRUE(items.empty());
  EXPECT_EQ(a.lookup(7, ~std::uintptr_t{0}), 0u);
}

}  // namespace
