// Environment, thread ids, the console on standard output and the name
// services of the sockets layer.
#include "nev/system.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "nev/strings.h"

namespace nev {
namespace {

TEST(NevSystem, EnvironmentIsConvertedFromUtf8) {
  setenv("NEV_TEST_VARIABLE", "Gr\xC3\xBC\xC3\x9F" "e \xF0\x9F\x98\x80", 1);
  std::u16string value = u"old";
  EXPECT_TRUE(nev_getenv(u"NEV_TEST_VARIABLE", value));
  EXPECT_EQ(value, u"Gr\u00FC\u00DFe \U0001F600");

  setenv("NEV_TEST_VARIABLE", "", 1);
  EXPECT_TRUE(nev_getenv(u"NEV_TEST_VARIABLE", value));
  EXPECT_EQ(value, u"");

  unsetenv("NEV_TEST_VARIABLE");
  value = u"kept";
  EXPECT_FALSE(nev_getenv(u"NEV_TEST_VARIABLE", value));
  EXPECT_EQ(value, u"kept");
}

TEST(NevSystem, ThreadIdsAreNonZeroAndDistinct) {
  const std::uint32_t mine = nev_current_thread_id();
  EXPECT_NE(mine, 0u);
  EXPECT_EQ(nev_current_thread_id(), mine);

  // Both threads stay alive until every id is taken, so none can be reused.
  constexpr int THREADS = 4;
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  std::vector<std::promise<std::uint32_t>> ids(THREADS);
  std::vector<std::thread> threads;
  for (auto& id : ids) {
    threads.emplace_back([&id, released] {
      id.set_value(nev_current_thread_id());
      released.wait();
    });
  }
  std::vector<std::uint32_t> seen = {mine};
  for (auto& id : ids) seen.push_back(id.get_future().get());
  release.set_value();
  for (auto& thread : threads) thread.join();
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_NE(seen[i], 0u);
    for (std::size_t j = i + 1; j < seen.size(); ++j) EXPECT_NE(seen[i], seen[j]);
  }
}

// Points standard output at a pipe while it lives; the old output comes back
// at the end. Nothing may print through gtest in between.
class Captured_stdout {
 public:
  Captured_stdout() {
    std::fflush(stdout);
    m_saved = dup(STDOUT_FILENO);
    EXPECT_EQ(pipe(m_pipe), 0);
    dup2(m_pipe[1], STDOUT_FILENO);
  }
  ~Captured_stdout() {
    restore();
    if (m_pipe[0] >= 0) close(m_pipe[0]);
  }
  // Ends the capture and gives what was written.
  std::string take() {
    restore();
    std::string text;
    char buffer[256];
    ssize_t count;
    while ((count = read(m_pipe[0], buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<std::size_t>(count));
    return text;
  }
  // Closes the reading end: writes now meet a pipe with no reader.
  void close_reader() {
    close(m_pipe[0]);
    m_pipe[0] = -1;
  }

 private:
  void restore() {
    if (m_saved < 0) return;
    dup2(m_saved, STDOUT_FILENO);
    close(m_saved);
    close(m_pipe[1]);
    m_saved = -1;
  }

  int m_saved = -1;
  int m_pipe[2] = {-1, -1};
};

TEST(NevConsole, WritesUtf16AsUtf8ToStandardOutput) {
  struct Case {
    std::u16string text;
    std::uint32_t count;
    std::string bytes;
  };
  const Case cases[] = {
      {u"plain\r\n", 7, "plain\r\n"},
      {u"Gr\u00FC\u00DFe \u65E5\u672C \U0001F600", 11, "Gr\xC3\xBC\xC3\x9F" "e \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80"},
      {u"abcdef", 3, "abc"},                            // only `count` units
      {std::u16string(1, char16_t(0xD800)) + u"x", 2, "\xEF\xBF\xBDx"},  // a lone surrogate
  };
  EXPECT_TRUE(nev_alloc_console());
  const Nev_console console = nev_get_std_output();
  ASSERT_NE(console, nullptr);
  for (const Case& c : cases) {
    Captured_stdout capture;
    std::uint32_t written = 12345;
    const bool ok = nev_write_console(console, c.text.data(), c.count, &written);
    const std::string out = capture.take();
    EXPECT_TRUE(ok);
    EXPECT_EQ(written, c.count);
    EXPECT_EQ(out, c.bytes);
  }
  std::uint32_t written = 7;
  EXPECT_FALSE(nev_write_console(nullptr, u"x", 1, &written));
  EXPECT_EQ(written, 0u);
  EXPECT_TRUE(nev_write_console(console, u"", 0, nullptr));

  // Freeing the console leaves standard output open.
  EXPECT_TRUE(nev_free_console());
  EXPECT_NE(fcntl(STDOUT_FILENO, F_GETFD), -1);
}

TEST(NevConsole, AFullOutputReportsTheUnitsThatGotOut) {
  // A non-blocking pipe takes what fits and refuses the rest; three-byte
  // characters make the cut fall inside one of them.
  const std::u16string text(200'000, u'\u20AC');
  bool ok = false;
  std::uint32_t written = 0;
  std::string out;
  {
    Captured_stdout capture;
    fcntl(STDOUT_FILENO, F_SETFL, fcntl(STDOUT_FILENO, F_GETFL) | O_NONBLOCK);
    ok = nev_write_console(nev_get_std_output(), text.data(), static_cast<std::uint32_t>(text.size()), &written);
    out = capture.take();
  }
  EXPECT_TRUE(ok);
  ASSERT_LT(out.size(), text.size() * 3);
  EXPECT_EQ(written, out.size() / 3);
}

TEST(NevConsole, AClosedPipeFailsWithoutEndingTheProcess) {
  struct sigaction before {};
  sigaction(SIGPIPE, nullptr, &before);
  bool ok = true;
  std::uint32_t written = 99;
  {
    Captured_stdout capture;
    capture.close_reader();
    ok = nev_write_console(nev_get_std_output(), u"nobody reads this", 17, &written);
  }
  EXPECT_FALSE(ok);
  EXPECT_EQ(written, 0u);
  // No SIGPIPE is left waiting and the process-wide handling is untouched.
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
  struct sigaction after {};
  sigaction(SIGPIPE, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
}

// Hooks that stand in for the sockets layer.
int refusing_startup(std::uint16_t) { return 10091; }
int fixed_error() { return 10093; }
int failing_gethostname(char*, int) { return -1; }
bool two_address_lookup(const char*, Nev_host_entry& entry) {
  entry.has_name = true;
  entry.name = "hooked";
  entry.addresses = {0x0100007F, 0x04030201};
  return true;
}

TEST(NevSockets, HooksReplaceThePlatformCalls) {
  EXPECT_EQ(nev_socket_startup(0x0101), 0);

  Nev_socket_hooks hooks;
  hooks.startup = &refusing_startup;
  hooks.last_error = &fixed_error;
  hooks.gethostname = &failing_gethostname;
  hooks.gethostbyname = &two_address_lookup;
  nev_set_socket_hooks(&hooks);
  hooks.startup = nullptr;  // the foundation keeps its own copy
  char name[100];
  Nev_host_entry entry;
  entry.name = "earlier";
  EXPECT_EQ(nev_socket_startup(0x0101), 10091);
  EXPECT_EQ(nev_socket_last_error(), 10093);
  EXPECT_EQ(nev_gethostname(name, sizeof name), -1);
  EXPECT_TRUE(nev_gethostbyname("anything", entry));
  EXPECT_EQ(entry.name, "hooked");
  EXPECT_EQ(entry.addresses, (std::vector<std::uint32_t>{0x0100007F, 0x04030201}));

  // Only the members given are replaced.
  Nev_socket_hooks partial;
  partial.last_error = &fixed_error;
  nev_set_socket_hooks(&partial);
  EXPECT_EQ(nev_socket_startup(0x0101), 0);
  EXPECT_EQ(nev_gethostname(name, sizeof name), 0);

  nev_set_socket_hooks(nullptr);
  EXPECT_EQ(nev_socket_startup(0x0101), 0);
  EXPECT_FALSE(nev_gethostbyname("nev-no-such-host.invalid", entry));
  EXPECT_NE(nev_socket_last_error(), 10093);
}

TEST(NevSockets, HostNameMustFitTheBuffer) {
  char name[100];
  std::memset(name, 'x', sizeof name);
  ASSERT_EQ(nev_gethostname(name, sizeof name), 0);
  const std::size_t length = std::strlen(name);
  ASSERT_GT(length, 0u);
  ASSERT_LT(length, sizeof name);

  char exact[100];
  EXPECT_EQ(nev_gethostname(exact, static_cast<int>(length + 1)), 0);
  EXPECT_STREQ(exact, name);
  EXPECT_EQ(nev_gethostname(exact, static_cast<int>(length)), -1);  // no room for the NUL
  EXPECT_NE(nev_socket_last_error(), 0);
  EXPECT_EQ(nev_gethostname(exact, 0), -1);
  EXPECT_EQ(nev_gethostname(nullptr, 100), -1);
}

// The names of /etc/hosts with IPv4 addresses: each name with the addresses
// of the lines that hold it, in the file's order, and the official name (the
// first name of its first line).
struct Hosts_name {
  std::string name;
  std::string official;
  std::vector<std::uint32_t> addresses;
};

std::vector<Hosts_name> ipv4_names_of_hosts_file() {
  std::vector<Hosts_name> names;
  std::ifstream hosts("/etc/hosts");
  std::string line;
  while (std::getline(hosts, line)) {
    line = line.substr(0, line.find('#'));
    std::istringstream words(line);
    std::string address, official, alias;
    if (!(words >> address >> official)) continue;
    const std::uint32_t number = nev_inet_addr(address.c_str());
    if (number == 0xFFFFFFFF || address.find(':') != std::string::npos) continue;
    std::vector<std::string> line_names = {official};
    while (words >> alias) line_names.push_back(alias);
    for (const std::string& name : line_names) {
      auto known = std::find_if(names.begin(), names.end(), [&](const Hosts_name& h) { return h.name == name; });
      if (known == names.end()) names.push_back({name, official, {number}});
      else known->addresses.push_back(number);
    }
  }
  return names;
}

TEST(NevSockets, ResolvesNamesOfTheHostsFileAndNumbers) {
  const std::vector<Hosts_name> names = ipv4_names_of_hosts_file();
  ASSERT_FALSE(names.empty()) << "/etc/hosts names no IPv4 host";
  for (const Hosts_name& expected : names) {
    SCOPED_TRACE(expected.name);
    Nev_host_entry entry;
    ASSERT_TRUE(nev_gethostbyname(expected.name.c_str(), entry));
    EXPECT_TRUE(entry.has_name);
    EXPECT_EQ(entry.name, expected.official);
    ASSERT_FALSE(entry.addresses.empty());
    EXPECT_EQ(entry.addresses.front(), expected.addresses.front());
    for (std::uint32_t address : entry.addresses) {
      EXPECT_NE(std::find(expected.addresses.begin(), expected.addresses.end(), address), expected.addresses.end());
    }
  }

  Nev_host_entry entry;
  ASSERT_TRUE(nev_gethostbyname("1.2.3.4", entry));
  EXPECT_EQ(entry.addresses, std::vector<std::uint32_t>{0x04030201});

  EXPECT_FALSE(nev_gethostbyname("nev-no-such-host.invalid", entry));
  EXPECT_TRUE(entry.addresses.empty());
  EXPECT_FALSE(entry.has_name);
  EXPECT_NE(nev_socket_last_error(), 0);
  EXPECT_FALSE(nev_gethostbyname(nullptr, entry));
}

TEST(NevSockets, InetAddrReadsDottedText) {
  struct Case {
    const char* text;
    std::uint32_t number;
  };
  const Case cases[] = {
      {"1.2.3.4", 0x04030201},         {"127.0.0.1", 0x0100007F}, {"0.0.0.0", 0},
      {"255.255.255.255", 0xFFFFFFFF}, {"10.0.0.255", 0xFF00000A}, {"1.2.3", 0x03000201},
      {"0x7f.1", 0x0100007F},          {"256.1.1.1", 0xFFFFFFFF}, {"1.2.3.4.5", 0xFFFFFFFF},
      {"abc", 0xFFFFFFFF},             {"", 0xFFFFFFFF},          {nullptr, 0xFFFFFFFF},
  };
  for (const Case& c : cases) EXPECT_EQ(nev_inet_addr(c.text), c.number) << (c.text ? c.text : "(null)");
}

}  // namespace
}  // namespace nev
