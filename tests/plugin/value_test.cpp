// The version rule and the wide-string value object.
#include <stdexcept>

#include "kov/codes.h"
#include "kov/plugin.h"
#include "kov/wstring.h"
#include "plugin_test_support.h"

namespace {

using plugin_test::expect_stack;
using plugin_test::Frame;

TEST(VersionRule, MajorMustMatchMinorIsReported) {
  struct Case {
    std::uint32_t requested;
    std::uint32_t registered;
    std::vector<Frame> stack;
  };
  const Case cases[] = {
      {0x40000, 0x40000, {}},
      {0x40000, 0x40001, {{kov::KOV_I_MINOR_VERSION, {u"P", u"0", u"1"}}}},
      {0x40007, 0x40002, {{kov::KOV_I_MINOR_VERSION, {u"P", u"7", u"2"}}}},
      {0x40000, 0x50000, {{kov::KOV_E_MAJOR_VERSION, {u"P", u"4", u"5"}}}},
      {0x50000, 0x40000, {{kov::KOV_E_MAJOR_VERSION, {u"P", u"5", u"4"}}}},
      {0x50003, 0x40009, {{kov::KOV_E_MAJOR_VERSION, {u"P", u"5", u"4"}}}},
      {0xFFFFFFFF, 0x0000FFFF, {{kov::KOV_E_MAJOR_VERSION, {u"P", u"65535", u"0"}}}},
  };
  for (const Case& c : cases) {
    nev::Nev_status status;
    status = kov::KOV_E_NO_INSTANCE;  // cleared first
    kov::kov_plugin_check_version(u"P", c.requested, c.registered, status);
    expect_stack(status, c.stack);
    EXPECT_EQ(status.ok(), c.stack.empty() || c.stack[0].code == kov::KOV_I_MINOR_VERSION);
  }
}

TEST(ValueObject, StartsWithItsValueAloneInItsChain) {
  for (const char16_t* text : {u"north door", u""}) {
    kov::Kov_wstring object(text);
    tud::Tud& node = object;
    EXPECT_EQ(object.value(), text);
    EXPECT_EQ(node.root(), &node);
    EXPECT_EQ(node.name(), u"");
    try {
      (void)node.parent();
      ADD_FAILURE() << "parent() did not raise";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "Tud::parent() called when no parent exists");
    }
    const jor::Jor_base& face = object;
    EXPECT_TRUE(kov::kov_is_equal_type(face.type(), kov::Kov_wstring::TYPE));
    EXPECT_EQ(&face.type(), &kov::Kov_wstring(u"other").type());
    EXPECT_EQ(face.interface_version(), 0x40000u);
    EXPECT_EQ(face.implementation_version(), 0x40000u);
    object.value(object.value());
    object.name(object.name());
    EXPECT_EQ(object.value(), text);
    EXPECT_EQ(object.name(), u"");
    object.value(u"changed");
    object.name(u"label");
    EXPECT_EQ(object.value(), u"changed");
    EXPECT_EQ(node.name(), u"label");
  }
}

TEST(ValueObject, ChainsFollowParentLinksToTheRoot) {
  kov::Kov_wstring a(u"a");
  kov::Kov_wstring b(u"b");
  kov::Kov_wstring c(u"c");
  a.parent(&b);
  b.parent(&c);
  EXPECT_EQ(a.parent(), &b);
  EXPECT_EQ(a.root(), static_cast<tud::Tud*>(&c));
  EXPECT_EQ(b.root(), static_cast<tud::Tud*>(&c));
  EXPECT_EQ(c.root(), static_cast<tud::Tud*>(&c));
  b.parent(nullptr);
  EXPECT_EQ(a.root(), static_cast<tud::Tud*>(&b));
  EXPECT_THROW((void)b.parent(), std::runtime_error);
  // Destroyed through its Tud side.
  tud::Tud* owned = new kov::Kov_wstring(u"owned");
  owned->parent(&a);
  EXPECT_EQ(owned->root(), static_cast<tud::Tud*>(&b));
  delete owned;
}

TEST(ValueObject, CollectsAndFindsNothing) {
  kov::Kov_wstring object(u"x");
  int first = 1;
  int second = 2;
  nev::Nev_ptrvec_impl items;
  items.push_back(&first);
  items.push_back(&second);
  object.collect(42, items);
  EXPECT_TRUE(items.empty());
  EXPECT_EQ(first + second, 3);  // the elements are untouched
  EXPECT_EQ(object.lookup(0, 0), 0u);
  EXPECT_EQ(object.lookup(7, ~std::uintptr_t{0}), 0u);
}

}  // namespace
