// IP helpers: conversions, and the local host's name and addresses through
// replaced sockets calls and through the real resolver.
//
// The start-up test comes first: the sockets layer stays started for the
// rest of a process, and ctest runs every test in a process of its own.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "kov/codes.h"
#include "kov/ip.h"
#include "nev/strings.h"
#include "nev/system.h"

namespace {

using Names = nev::Nev_object_vector<std::u16string>;

std::vector<std::u16string> texts(const Names& names) {
  std::vector<std::u16string> out;
  for (const std::u16string* name : names) out.push_back(*name);
  return out;
}

// The state behind the replaced sockets calls.
struct Fake {
  int startup_result = 0;
  int startup_calls = 0;
  std::uint16_t version = 0;
  int last_error = 0;
  std::string host_name = "fakehost";
  std::string looked_up;
  bool known = true;
  nev::Nev_host_entry entry;
};
Fake fake;

int fake_startup(std::uint16_t version) {
  ++fake.startup_calls;
  fake.version = version;
  return fake.startup_result;
}
int fake_last_error() { return fake.last_error; }
int fake_gethostname(char* buffer, int length) {
  if (fake.host_name.size() + 1 > static_cast<std::size_t>(length)) {
    fake.last_error = 10014;
    return -1;
  }
  std::memcpy(buffer, fake.host_name.c_str(), fake.host_name.size() + 1);
  return 0;
}
bool fake_gethostbyname(const char* name, nev::Nev_host_entry& entry) {
  fake.looked_up = name;
  if (!fake.known) {
    fake.last_error = 11001;
    return false;
  }
  entry = fake.entry;
  return true;
}

class FakeSocketsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fake = Fake{};
    fake.entry.has_name = true;
    fake.entry.name = "fakehost.example";
    fake.entry.addresses = {0x0100007F};
    nev::Nev_socket_hooks hooks;
    hooks.startup = fake_startup;
    hooks.last_error = fake_last_error;
    hooks.gethostname = fake_gethostname;
    hooks.gethostbyname = fake_gethostbyname;
    nev::nev_set_socket_hooks(&hooks);
  }
  void TearDown() override { nev::nev_set_socket_hooks(nullptr); }

  // Both lookups with outputs that held something before.
  void look_up(std::vector<std::u16string>& addresses, nev::Nev_status& address_status, std::u16string& name,
               nev::Nev_status& name_status) {
    Names names;
    names.push_back(new std::u16string(u"left over"));
    kov::ip_get_local(names, address_status);
    addresses = texts(names);
    name = u"left over";
    kov::ip_get_host_name(name, name_status);
  }
};

TEST_F(FakeSocketsTest, AFailedStartUpIsTriedAgainByTheNextCall) {
  fake.startup_result = 10091;
  Names names;
  names.push_back(new std::u16string(u"left over"));
  nev::Nev_status status;
  kov::ip_get_local(names, status);
  if (fake.startup_calls == 0) GTEST_SKIP() << "the sockets layer was started earlier in this process";
  EXPECT_EQ(fake.version, 0x0101);
  EXPECT_EQ(status.code(), kov::KOV_E_SOCKETS);
  EXPECT_EQ(status.argument(0, 0), u"10091");
  EXPECT_TRUE(names.empty());
  std::u16string name = u"left over";
  kov::ip_get_host_name(name, status);
  EXPECT_EQ(status.code(), kov::KOV_E_SOCKETS);
  EXPECT_EQ(name, u"");
  EXPECT_EQ(fake.startup_calls, 2);

  fake.startup_result = 0;
  kov::ip_get_host_name(name, status);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(name, u"fakehost.example");
  kov::ip_get_local(names, status);
  EXPECT_EQ(texts(names), std::vector<std::u16string>{u"127.0.0.1"});
  EXPECT_EQ(fake.startup_calls, 3);  // started once, never again
}

TEST_F(FakeSocketsTest, SocketFailuresCarryThePlatformErrorAndLeaveOutputsEmpty) {
  struct Case {
    const char* what;
    std::size_t name_length;
    bool known;
    const char16_t* error;  // empty when the lookups succeed
  };
  const std::vector<Case> cases = {
      {"name of 99 bytes fits the buffer", 99, true, u""},
      {"name of 100 bytes has no room for its end", 100, true, u"10014"},
      {"name far too long", 300, true, u"10014"},
      {"host unknown to the resolver", 8, false, u"11001"},
  };
  for (const Case& c : cases) {
    fake.host_name = std::string(c.name_length, 'h');
    fake.known = c.known;
    std::vector<std::u16string> addresses;
    std::u16string name;
    nev::Nev_status address_status, name_status;
    look_up(addresses, address_status, name, name_status);
    if (*c.error == 0) {
      EXPECT_TRUE(address_status.ok()) << c.what;
      EXPECT_EQ(fake.looked_up, fake.host_name) << c.what;
      EXPECT_EQ(name, u"fakehost.example") << c.what;
      continue;
    }
    for (const nev::Nev_status* status : {&address_status, &name_status}) {
      EXPECT_EQ(status->code(), kov::KOV_E_SOCKETS) << c.what;
      EXPECT_EQ(status->depth(), 1u) << c.what;
      EXPECT_EQ(status->argument(0, 0), c.error) << c.what;
    }
    EXPECT_TRUE(addresses.empty()) << c.what;
    EXPECT_EQ(name, u"") << c.what;
  }
}

TEST_F(FakeSocketsTest, ReportsTheResolversEntry) {
  struct Case {
    const char* what;
    bool has_name;
    std::string name;
    std::vector<std::uint32_t> addresses;
    std::u16string expected_name;
    std::vector<std::u16string> expected_addresses;
  };
  const std::vector<Case> cases = {
      {"two addresses in list order", true, "official.example", {0x0A01A8C0, 0x0100007F},
       u"official.example", {u"192.168.1.10", u"127.0.0.1"}},
      {"no addresses", true, "bare", {}, u"bare", {}},
      {"no name", false, "", {0x04030201}, u"", {u"1.2.3.4"}},
      {"8-bit name taken byte by byte", true, "caf\xE9", {}, u"caf\u00E9", {}},
  };
  for (const Case& c : cases) {
    fake.entry.has_name = c.has_name;
    fake.entry.name = c.name;
    fake.entry.addresses = c.addresses;
    std::vector<std::u16string> addresses;
    std::u16string name;
    nev::Nev_status address_status, name_status;
    look_up(addresses, address_status, name, name_status);
    EXPECT_TRUE(address_status.ok() && name_status.ok()) << c.what;
    EXPECT_EQ(addresses, c.expected_addresses) << c.what;
    EXPECT_EQ(name, c.expected_name) << c.what;
    EXPECT_EQ(fake.looked_up, "fakehost") << c.what;
  }
}

TEST(IpConversionTest, BytesAndTextForms) {
  EXPECT_EQ(kov::ip_byte(0, 0x04030201), 1);
  EXPECT_EQ(kov::ip_byte(3, 0x04030201), 4);
  for (std::uint16_t bad : {std::uint16_t{4}, std::uint16_t{0xFFFF}}) {
    try {
      kov::ip_byte(bad, 0);
      ADD_FAILURE() << "no exception for byte " << bad;
    } catch (const std::invalid_argument& error) {
      EXPECT_STREQ(error.what(), "Invalid byte number.");
    }
  }

  struct Case {
    std::uint32_t number;
    std::uint16_t base;
    std::uint16_t separator;
    std::u16string text;
  };
  const std::vector<Case> cases = {
      {0, 10, u'.', u"0.0.0.0"},
      {0, 16, u'.', u"00.00.00.00"},
      {0x0100007F, 10, u'.', u"127.0.0.1"},
      {0x0100007F, 16, 0, u"7F000001"},
      {0x0000FF0A, 16, u':', u"0A:FF:00:00"},
      {0x04030201, 10, 0, u"1234"},
      {0x0800000A, 8, u'.', u"12.0.0.10"},
      {0x00000005, 2, u'-', u"101-0-0-0"},
  };
  for (const Case& c : cases) {
    std::u16string out = u"left over";
    kov::ip_num_to_string(c.number, out, c.base, c.separator);
    EXPECT_EQ(out, c.text) << std::hex << c.number << " base " << std::dec << c.base;
  }
}

TEST(IpConversionTest, ParsingKeepsTheStatusOnSuccess) {
  struct Case {
    std::u16string text;
    std::uint32_t number;
    bool valid;
  };
  const std::vector<Case> cases = {
      {u"1.2.3.4", 0x04030201, true},
      {u"127.0.0.1", 0x0100007F, true},
      {u"10.0.0.255", 0xFF00000A, true},
      {u"255.255.255.255", 0, false},
      {u"not an address", 0, false},
      {u"1.2.3.400", 0, false},
  };
  for (const Case& c : cases) {
    nev::Nev_status status;
    status.assign(kov::KOV_E_CREATE_INSTANCE, nev::Nev_wstring_status_arg(u"earlier"));
    std::uint32_t number = 12345;
    kov::ip_string_to_num(c.text, number, status);
    EXPECT_EQ(number, c.number);
    if (c.valid) {
      EXPECT_EQ(status.code(), kov::KOV_E_CREATE_INSTANCE);  // untouched
      EXPECT_EQ(status.argument(0, 0), u"earlier");
      std::u16string back;
      kov::ip_num_to_string(number, back, 10, u'.');
      EXPECT_EQ(back, c.text);
    } else {
      EXPECT_EQ(status.code(), kov::KOV_E_IP_ADDRESS);
      EXPECT_EQ(status.depth(), 1u);
      EXPECT_EQ(status.argument_count(0), 0u);
    }
  }
}

// The machine's own resolver (here the name resolves through /etc/hosts).
TEST(IpResolverTest, GivesTheLocalHostsNameAndAddresses) {
  char own_name[256] = {};
  ASSERT_EQ(nev::nev_gethostname(own_name, sizeof own_name), 0);
  nev::Nev_host_entry entry;
  ASSERT_TRUE(nev::nev_gethostbyname(own_name, entry)) << own_name;

  nev::Nev_status status;
  std::u16string name;
  kov::ip_get_host_name(name, status);
  ASSERT_TRUE(status.ok()) << std::string(nev::nev_to_utf8(nev::nev_status_text(status)));
  EXPECT_FALSE(name.empty());
  EXPECT_EQ(name, nev::nev_stow(entry.name));

  Names addresses;
  kov::ip_get_local(addresses, status);
  ASSERT_TRUE(status.ok());
  ASSERT_EQ(addresses.size(), entry.addresses.size());
  for (unsigned i = 0; i < addresses.size(); ++i) {
    std::uint32_t number = 0;
    kov::ip_string_to_num(addresses[i], number, status);
    EXPECT_TRUE(status.ok()) << std::string(nev::nev_wtos(addresses[i]));
    EXPECT_EQ(number, entry.addresses[i]);
  }
  kov::ip_get_local(addresses, status);  // a second call gives the same, not twice as many
  EXPECT_EQ(addresses.size(), entry.addresses.size());
}

}  // namespace
