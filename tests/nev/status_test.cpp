// Nev_status: the code stack, argument copies, inspection and text.
#include "nev/status.h"

#include <gtest/gtest.h>

#include <climits>
#include <utility>

#include "nev/codes.h"

namespace {

using nev::Nev_bool_status_arg;
using nev::Nev_int_status_arg;
using nev::Nev_status;
using nev::Nev_uint_status_arg;
using nev::Nev_wstring_status_arg;

constexpr std::uint32_t INNER = 0xC2000009;
constexpr std::uint32_t OUTER = 0xC2010905;
constexpr std::uint32_t INFO = 0x42010903;
constexpr std::uint32_t WARNING = 0x82010001;

TEST(Status, ClearStatusAndOkRule) {
  Nev_status status;
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(status.code(), 0u);
  EXPECT_EQ(status.depth(), 0u);
  EXPECT_EQ(status.code(0), 0u);
  EXPECT_EQ(status.argument(0, 0), u"");

  struct Case {
    std::uint32_t code;
    bool ok;
  };
  const Case cases[] = {{0x00000001, true}, {INFO, true}, {WARNING, false}, {INNER, false}, {OUTER, false}};
  for (const Case& c : cases) {
    status = c.code;
    EXPECT_EQ(status.ok(), c.ok) << std::hex << c.code;
    EXPECT_TRUE(status == c.code);
    EXPECT_EQ(status.depth(), 1u);
  }
  status = 0u;
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(status.depth(), 0u);
}

TEST(Status, AssignReplacesAndPushKeeps) {
  Nev_status status;
  status.assign(INNER, Nev_wstring_status_arg(u"/lib/x.so"), Nev_wstring_status_arg(u"not found"));
  status.push(OUTER, Nev_wstring_status_arg(u"Plug"));
  EXPECT_EQ(status.depth(), 2u);
  EXPECT_EQ(status.code(), OUTER);
  EXPECT_EQ(status.code(0), OUTER);
  EXPECT_EQ(status.code(1), INNER);
  EXPECT_EQ(status.code(2), 0u);
  EXPECT_EQ(status.argument_count(0), 1u);
  EXPECT_EQ(status.argument_count(1), 2u);
  EXPECT_EQ(status.argument(0, 0), u"Plug");
  EXPECT_EQ(status.argument(1, 0), u"/lib/x.so");
  EXPECT_EQ(status.argument(1, 1), u"not found");
  EXPECT_EQ(status.argument(1, 2), u"");
  EXPECT_EQ(status.argument(5, 0), u"");

  // A push on a clear status, and on a bare code without arguments.
  Nev_status pushed;
  pushed.push(INNER);
  pushed.push(OUTER, Nev_int_status_arg(7, true));
  EXPECT_EQ(pushed.depth(), 2u);
  EXPECT_EQ(pushed.code(1), INNER);
  EXPECT_EQ(pushed.argument_count(1), 0u);
  EXPECT_EQ(pushed.argument(0, 0), u"7");

  status.assign(WARNING);
  EXPECT_EQ(status.depth(), 1u);
  EXPECT_EQ(status.argument_count(0), 0u);
  status.assign(0);
  EXPECT_EQ(status.depth(), 0u);
  status.push(0);
  EXPECT_EQ(status.depth(), 0u);
}

TEST(Status, ArgumentsStopAtTheFirstNullAndRenderByKind) {
  Nev_status status;
  status.assign(INNER, Nev_int_status_arg(-42, true), nev::Nev_null_status_arg::NULL_ARGUMENT,
                Nev_wstring_status_arg(u"hidden"));
  EXPECT_EQ(status.argument_count(0), 1u);

  status.assign(INNER, Nev_int_status_arg(INT_MIN, true), Nev_int_status_arg(-1, false),
                Nev_uint_status_arg(4294967295u, true), Nev_uint_status_arg(0xABCu, false),
                Nev_bool_status_arg(true), Nev_bool_status_arg(false), Nev_wstring_status_arg(u""),
                Nev_wstring_status_arg(u"eighth"));
  const char16_t* expected[] = {u"-2147483648", u"0xFFFFFFFF", u"4294967295", u"0x00000ABC",
                                u"true",        u"false",      u"",           u"eighth"};
  ASSERT_EQ(status.argument_count(0), 8u);
  for (unsigned i = 0; i < 8; ++i) EXPECT_EQ(status.argument(0, i), expected[i]) << i;
}

TEST(Status, CopiesAreIndependentAndMovesEmpty) {
  Nev_status original;
  {
    std::u16string temporary = u"path";
    original.assign(INNER, Nev_wstring_status_arg(temporary));
    temporary = u"changed";
  }
  original.push(OUTER);
  Nev_status copy(original);
  original.push(WARNING, Nev_wstring_status_arg(u"later"));
  EXPECT_EQ(copy.depth(), 2u);
  EXPECT_EQ(copy.argument(1, 0), u"path");
  EXPECT_EQ(original.depth(), 3u);

  Nev_status assigned;
  assigned = copy;
  copy.clear();
  EXPECT_EQ(assigned.depth(), 2u);
  EXPECT_EQ(assigned.code(1), INNER);
  assigned = assigned;  // self-assignment keeps everything
  EXPECT_EQ(assigned.depth(), 2u);

  Nev_status moved(std::move(assigned));
  EXPECT_EQ(moved.depth(), 2u);
  EXPECT_EQ(assigned.depth(), 0u);  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(assigned.ok());
  Nev_status target;
  target = INFO;
  target = std::move(moved);
  EXPECT_EQ(target.code(), OUTER);
  EXPECT_EQ(target.argument(1, 0), u"path");
}

TEST(Status, TextListsEveryCodeOutermostFirst) {
  Nev_status status;
  EXPECT_EQ(nev::nev_status_text(status), u"");
  status.assign(nev::NEV_E_LIBRARY_LOAD, Nev_wstring_status_arg(u"/p/a.so"), Nev_wstring_status_arg(u"gone"));
  status.push(0xC2FF0001, Nev_int_status_arg(3, true), Nev_wstring_status_arg(u"x"));
  EXPECT_EQ(nev::nev_status_text(status),
            u"0xC2FF0001 (3, x)\nThe library /p/a.so could not be loaded: gone");
}

}  // namespace
