// Environment, thread ids, the console on standard output, the name services
// of the sockets layer, and the recursive locks.
#include <gtest/gtest.h>
#include "portable.h"

#include <cstring>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>
#include <vector>

#include "test_platform.h"
#include "nev/locks.h"
#include "nev/system.h"

namespace nev {
namespace {

TEST(NevSystem, EnvironmentAndThreadIds) {
  kov_test::set_env("NEV_TEST_VARIABLE", "Gr\xC3\xBC\xC3\x9F" "e \xF0\x9F\x98\x80");
  std::u16string value;
  EXPECT_TRUE(nev_getenv(u"NEV_TEST_VARIABLE", value));
  EXPECT_EQ(value, u"Gr\u00FC\u00DFe \U0001F600");
  // nev_setenv replaces the value, and what it sets is seen in UTF-8 by the
  // C library, so programs started afterwards inherit it.
  EXPECT_TRUE(nev_setenv(u"NEV_TEST_VARIABLE", u"\u00E9t\u00E9"));
  EXPECT_TRUE(nev_getenv(u"NEV_TEST_VARIABLE", value));
  EXPECT_EQ(value, u"\u00E9t\u00E9");
  EXPECT_EQ(kov_test::c_library_env("NEV_TEST_VARIABLE"), "\xC3\xA9t\xC3\xA9");
  EXPECT_FALSE(nev_setenv(u"NEV=BROKEN", u"x"));
  kov_test::unset_env("NEV_TEST_VARIABLE");
  EXPECT_FALSE(nev_getenv(u"NEV_TEST_VARIABLE", value));

  const std::uint32_t mine = nev_current_thread_id();
  std::uint32_t other = 0;
  std::thread([&other] { other = nev_current_thread_id(); }).join();
  EXPECT_NE(mine, 0u);
  EXPECT_NE(other, 0u);
  EXPECT_NE(other, mine);
}

using kov_test::Captured_stdout;

TEST(NevConsole, WritesUtf16AsUtf8ToStandardOutput) {
  const std::tuple<std::u16string, std::uint32_t, std::string> cases[] = {
      {u"Gr\u00FC\u00DFe \u65E5\u672C \U0001F600\r\n", 13, "Gr\xC3\xBC\xC3\x9F" "e \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80\r\n"},
      {u"abcdef", 3, "abc"},
      {std::u16string(1, char16_t(0xD800)) + u"x", 2, "\xEF\xBF\xBDx"},  // a lone surrogate
  };
  EXPECT_TRUE(nev_alloc_console());
  for (const auto& [text, count, bytes] : cases) {
    Captured_stdout capture;
    std::uint32_t written = 12345;
    const bool ok = nev_write_console(nev_get_std_output(), text.data(), count, &written);
    EXPECT_EQ(capture.take(), bytes);
    EXPECT_TRUE(ok);
    EXPECT_EQ(written, count);
  }
  EXPECT_FALSE(nev_write_console(nullptr, u"x", 1, nullptr));
  EXPECT_TRUE(nev_free_console());
  EXPECT_TRUE(kov_test::stdout_open());  // standard output stays open
}

TEST(NevConsole, FullOrClosedOutputsEndTheWrite) {
  std::uint32_t written = 0;
  // A pipe without reader fails; no SIGPIPE ends the process or stays pending.
  Captured_stdout closed(false);
  const bool closed_ok = nev_write_console(nev_get_std_output(), u"lost", 4, &written);
  closed.take();
  EXPECT_FALSE(closed_ok);
  EXPECT_EQ(written, 0u);
  EXPECT_FALSE(kov_test::sigpipe_pending());

  // A full non-blocking pipe takes what fits; the cut falls inside a
  // three-byte character, which does not count as written.
  const std::u16string text(200'000, u'\u20AC');
  Captured_stdout full;
  if (!kov_test::make_stdout_nonblocking()) GTEST_SKIP() << "no pipe here takes part of a write";
  const bool ok = nev_write_console(nev_get_std_output(), text.data(), static_cast<std::uint32_t>(text.size()), &written);
  const std::string out = full.take();
  EXPECT_TRUE(ok);
  ASSERT_LT(out.size(), text.size() * 3);
  EXPECT_EQ(written, out.size() / 3);
}

int refusing_startup(std::uint16_t) { return 10091; }
int fixed_error() { return 10093; }

TEST(NevSockets, ReplacedCallsAndHostName) {
  EXPECT_EQ(nev_socket_startup(0x0101), 0);
  char name[100];
  {
    Test_platform platform;
    platform.startup = &refusing_startup;
    platform.last_error = &fixed_error;
    EXPECT_EQ(nev_socket_startup(0x0101), 10091);
    EXPECT_EQ(nev_socket_last_error(), 10093);
    EXPECT_EQ(nev_gethostname(name, sizeof name), 0);  // not replaced: the platform's
  }
  EXPECT_EQ(nev_socket_startup(0x0101), 0);

  const int length = static_cast<int>(std::strlen(name));
  char exact[100];
  EXPECT_EQ(nev_gethostname(exact, length + 1), 0);
  EXPECT_STREQ(exact, name);
  EXPECT_EQ(nev_gethostname(exact, length), -1);  // no room for the NUL
  EXPECT_NE(nev_socket_last_error(), 0);
}

TEST(NevSockets, ResolvesThroughTheSystemResolver) {
  // The first IPv4 line of /etc/hosts: its name and address need no DNS.
  std::ifstream hosts("/etc/hosts");
  std::string line, address, official;
  while (std::getline(hosts, line)) {
    std::istringstream words(line.substr(0, line.find('#')));
    if (words >> address >> official && nev_inet_addr(address.c_str()) != 0xFFFFFFFF) break;
    official.clear();
  }
  ASSERT_FALSE(official.empty()) << "/etc/hosts names no IPv4 host";
  Nev_host_entry entry;
  ASSERT_TRUE(nev_gethostbyname(official.c_str(), entry));
  EXPECT_TRUE(entry.has_name);
  EXPECT_EQ(entry.name, official);
  ASSERT_FALSE(entry.addresses.empty());
  EXPECT_EQ(entry.addresses.front(), nev_inet_addr(address.c_str()));

  ASSERT_TRUE(nev_gethostbyname("1.2.3.4", entry));
  EXPECT_EQ(entry.addresses, std::vector<std::uint32_t>{0x04030201});
  EXPECT_FALSE(nev_gethostbyname("nev-no-such-host.invalid", entry));
  EXPECT_TRUE(entry.addresses.empty() && !entry.has_name);
  EXPECT_NE(nev_socket_last_error(), 0);

  const std::pair<const char*, std::uint32_t> numbers[] = {
      {"1.2.3.4", 0x04030201}, {"255.255.255.255", 0xFFFFFFFF}, {"1.2.3", 0x03000201}, {"0x7f.1", 0x0100007F},
      {"256.1.1.1", 0xFFFFFFFF}, {"1.2.3.4.5", 0xFFFFFFFF}, {"", 0xFFFFFFFF}, {nullptr, 0xFFFFFFFF}};
  for (const auto& [text, number] : numbers) EXPECT_EQ(nev_inet_addr(text), number) << (text ? text : "(null)");
}

template <class Lock>
bool free_for_another_thread(Lock& lock) {
  return std::async(std::launch::async, [&lock] {
           const bool taken = lock.try_lock();
           if (taken) lock.unlock();
           return taken;
         }).get();
}

template <class Lock>
void check_recursion_and_exclusion(Lock& lock) {
  lock.lock();
  lock.lock();  // the holder takes it again without blocking
  EXPECT_TRUE(lock.try_lock());
  lock.unlock();
  lock.unlock();
  EXPECT_FALSE(free_for_another_thread(lock));  // still held once
  lock.unlock();
  EXPECT_TRUE(free_for_another_thread(lock));

  // Increments under the lock are never lost.
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10000; ++i) {
        std::lock_guard<Lock> outer(lock);
        std::lock_guard<Lock> inner(lock);
        ++counter;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, 40000);
}

TEST(Locks, CriticalIsRecursiveAndExclusive) {
  Nev_critical lock(false);
  check_recursion_and_exclusion(lock);
  Nev_critical spinning(true);
  check_recursion_and_exclusion(spinning);
}

TEST(Locks, MutexIsRecursiveAndMayStartOwned) {
  Nev_mutex lock(false, nullptr);
  check_recursion_and_exclusion(lock);

  Nev_mutex owned(true);
  owned.lock();
  owned.unlock();
  EXPECT_FALSE(free_for_another_thread(owned));
  owned.unlock();
  EXPECT_TRUE(free_for_another_thread(owned));

  int attributes = 0;
  EXPECT_THROW(Nev_mutex(false, &attributes), std::invalid_argument);
}

}  // namespace
}  // namespace nev
