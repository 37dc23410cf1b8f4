// IP helpers: conversions, and the local host's name and addresses through
// replaced sockets calls and through the real resolver. The start-up test
// comes first: the sockets layer stays started for the rest of a process
// (ctest runs every test in a process of its own).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "test_platform.h"
#include "kov/codes.h"
#include "kov/ip.h"
#include "nev/strings.h"
#include "nev/system.h"

namespace {

using ::testing::ThrowsMessage;
using Texts = std::vector<std::u16string>;

// What the replaced sockets calls answer.
struct Fake {
  int startup_result = 0;
  int startup_calls = 0;
  int last_error = 0;
  std::string host_name = "fakehost";
  std::string looked_up;
  bool known = true;
  nev::Nev_host_entry entry{true, "fakehost.example", {0x0100007F}};
} fake;

int fake_startup(std::uint16_t version) {
  ++fake.startup_calls;
  return version == 0x0101 ? fake.startup_result : -1;
}
int fake_last_error() { return fake.last_error; }
int fake_gethostname(char* buffer, int length) {
  if (fake.host_name.size() >= static_cast<std::size_t>(length)) {
    fake.last_error = 10014;
    return -1;
  }
  std::memcpy(buffer, fake.host_name.c_str(), fake.host_name.size() + 1);
  return 0;
}
bool fake_gethostbyname(const char* name, nev::Nev_host_entry& entry) {
  fake.looked_up = name;
  if (fake.known) entry = fake.entry;
  fake.last_error = fake.known ? 0 : 11001;
  return fake.known;
}

class FakeSocketsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fake = Fake{};
    platform.startup = fake_startup;
    platform.last_error = fake_last_error;
    platform.host_name = fake_gethostname;
    platform.host_by_name = fake_gethostbyname;
  }

  Test_platform platform;

  struct Lookup { Texts addresses; std::u16string name; nev::Nev_status address_status, name_status; };

  // Both lookups, into outputs that held something before; what they gave.
  static Lookup look_up() {
    Lookup got;
    nev::Nev_object_vector<std::u16string> vector;
    vector.push_back(new std::u16string(u"left over"));
    kov::ip_get_local(vector, got.address_status);
    for (const std::u16string* text : vector) got.addresses.push_back(*text);
    got.name = u"left over";
    kov::ip_get_host_name(got.name, got.name_status);
    return got;
  }
};

TEST_F(FakeSocketsTest, AFailedStartUpIsTriedAgainByTheNextCall) {
  fake.startup_result = 10091;
  const Lookup failed = look_up();
  if (fake.startup_calls == 0) GTEST_SKIP() << "the sockets layer was started earlier in this process";
  EXPECT_EQ(fake.startup_calls, 2);
  EXPECT_EQ(failed.address_status.code(), kov::KOV_E_SOCKETS);
  EXPECT_EQ(failed.name_status.argument(0, 0), u"10091");
  EXPECT_TRUE(failed.addresses.empty() && failed.name.empty());
  fake.startup_result = 0;
  look_up();
  const Lookup started = look_up();
  EXPECT_EQ(fake.startup_calls, 3);  // started once, never again
  EXPECT_EQ(started.addresses, Texts{u"127.0.0.1"});
  EXPECT_EQ(started.name, u"fakehost.example");
}

TEST_F(FakeSocketsTest, ReportsTheEntryOrThePlatformsError) {
  struct Case {
    std::size_t name_length;
    bool known;
    nev::Nev_host_entry entry;
    Texts addresses;
    std::u16string name, error;  // error: empty when the lookups succeed
  };
  const nev::Nev_host_entry two{true, "official.example", {0x0A01A8C0, 0x0100007F}};
  const std::vector<Case> cases = {
      {99, true, two, {u"192.168.1.10", u"127.0.0.1"}, u"official.example", u""},  // fits 100 bytes
      {8, true, {true, "bare", {}}, {}, u"bare", u""},
      {8, true, {false, "", {0x04030201}}, {u"1.2.3.4"}, u"", u""},
      {8, true, {true, "caf\xE9", {}}, {}, u"caf\u00E9", u""},  // 8-bit name taken byte by byte
      {100, true, two, {}, u"", u"10014"},                       // no room for the name's end
      {8, false, two, {}, u"", u"11001"},  // unknown to the resolver
  };
  for (const Case& c : cases) {
    fake.host_name = std::string(c.name_length, 'h');
    fake.known = c.known;
    fake.entry = c.entry;
    const Lookup got = look_up();
    EXPECT_EQ(got.addresses, c.addresses) << c.name_length;
    EXPECT_EQ(got.name, c.name) << c.name_length;
    for (const nev::Nev_status* status : {&got.address_status, &got.name_status}) {
      EXPECT_EQ(status->code(), c.error.empty() ? 0u : kov::KOV_E_SOCKETS) << c.name_length;
      EXPECT_EQ(status->argument(0, 0), c.error) << c.name_length;
    }
    if (c.error.empty()) {
      EXPECT_EQ(fake.looked_up, fake.host_name);
    }
  }
}

TEST(IpConversionTest, BytesAndTextForms) {
  EXPECT_EQ(kov::ip_byte(0, 0x04030201), 1);
  EXPECT_EQ(kov::ip_byte(3, 0x04030201), 4);
  for (std::uint16_t bad : {4, 0xFFFF}) {
    EXPECT_THAT([bad] { kov::ip_byte(bad, 0); }, ThrowsMessage<std::invalid_argument>("Invalid byte number.")) << bad;
  }
  const std::vector<std::tuple<std::uint32_t, std::uint16_t, std::uint16_t, std::u16string>> written = {
      {0, 10, u'.', u"0.0.0.0"},           {0, 16, u'.', u"00.00.00.00"},        {0x0100007F, 16, 0, u"7F000001"},
      {0x0000FF0A, 16, u':', u"0A:FF:00:00"}, {0x04030201, 10, 0, u"1234"},        {0x0800000A, 8, u'.', u"12.0.0.10"},
  };
  for (const auto& [number, base, separator, text] : written) {
    std::u16string out = u"left over";
    kov::ip_num_to_string(number, out, base, separator);
    EXPECT_EQ(out, text);
  }
  // Reading: the status is left exactly as it came on success.
  const std::vector<std::pair<std::u16string, std::uint32_t>> read = {
      {u"1.2.3.4", 0x04030201}, {u"10.0.0.255", 0xFF00000A}, {u"255.255.255.255", 0}, {u"no address", 0}};
  for (const auto& [text, number] : read) {
    nev::Nev_status status;
    status.assign(kov::KOV_E_CREATE_INSTANCE, nev::Nev_wstring_status_arg(u"earlier"));
    std::uint32_t out = 12345;
    kov::ip_string_to_num(text, out, status);
    EXPECT_EQ(out, number);
    EXPECT_EQ(status.code(), number != 0 ? kov::KOV_E_CREATE_INSTANCE : kov::KOV_E_IP_ADDRESS);
    EXPECT_EQ(status.argument(0, 0), number != 0 ? u"earlier" : u"");
    EXPECT_EQ(status.depth(), 1u);
  }
}

// The machine's own resolver: on the test machines the host's name resolves
// only through /etc/hosts.
TEST(IpResolverTest, GivesTheLocalHostsNameAndAddresses) {
  char own_name[256] = {};
  ASSERT_EQ(nev::nev_gethostname(own_name, sizeof own_name), 0);
  nev::Nev_host_entry entry;
  ASSERT_TRUE(nev::nev_gethostbyname(own_name, entry)) << own_name;
  nev::Nev_status status;
  std::u16string name;
  kov::ip_get_host_name(name, status);
  ASSERT_TRUE(status.ok()) << nev::nev_to_utf8(nev::nev_status_text(status));
  EXPECT_FALSE(name.empty());
  EXPECT_EQ(name, nev::nev_stow(entry.name));
  nev::Nev_object_vector<std::u16string> addresses;
  kov::ip_get_local(addresses, status);
  ASSERT_TRUE(status.ok());
  ASSERT_EQ(addresses.size(), entry.addresses.size());
  for (unsigned i = 0; i < addresses.size(); ++i) {
    std::uint32_t number = 0;
    kov::ip_string_to_num(addresses[i], number, status);
    EXPECT_EQ(number, entry.addresses[i]) << nev::nev_wtos(addresses[i]);
  }
}

}  // namespace
