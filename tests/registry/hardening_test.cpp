// The registry against what it must not trust or let grow: hives and folders
// that others could change, the modes of what it creates, bounded caches and
// reads. (Deleted keys and deep paths: handles_test.cpp.)
#ifdef _WIN32
#include <gtest/gtest.h>

// These tests are about the hive files of the POSIX registry (their owner,
// mode, header and locks); Windows keeps the registry itself.
TEST(Hardening, HiveFilesExistOnlyOnPosix) {
  GTEST_SKIP() << "the registry on Windows is the system's: there are no hive files to harden";
}
#else
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "hive_faults.h"
#include "hive_fixture.h"
#include "nev/codes.h"
#include "nev/platform.h"
#include "nev/posix/hive.h"

using namespace nev;

namespace {

constexpr uid_t NOBODY = 65534;

// Puts itself in force and keeps the hive of this machine that the registry
// opens through it, and counts reads of the environment.
class Hive_capture : public platform::Platform_wrapper {
 public:
  Hive_capture() : Platform_wrapper(platform::default_platform()) { platform::install(this); }
  ~Hive_capture() override { platform::install(nullptr); }
  Hive_capture(const Hive_capture&) = delete;
  Hive_capture& operator=(const Hive_capture&) = delete;

  std::shared_ptr<detail::Hive> open_hive(const std::string& location, Nev_status& status) override {
    std::shared_ptr<detail::Hive> opened = Platform_wrapper::open_hive(location, status);
    hive = opened;
    return opened;
  }
  bool environment_variable(const std::u16string& name, std::u16string& value) override {
    ++environment_reads;
    return Platform_wrapper::environment_variable(name, value);
  }

  std::shared_ptr<detail::Hive> hive;
  int environment_reads = 0;
};

// The counters of `hive`. The hive's class is internal to the foundation and
// its type information is not exported, so the sanitizer's check of the
// dynamic type of the object cannot be made from here.
__attribute__((no_sanitize("undefined"))) detail::Hive_counters counters_of(detail::Hive& hive) {
  return hive.counters();
}

std::u16string numbered(const char16_t* prefix, int number) { return prefix + nev_from_utf8(std::to_string(number)); }

mode_t mode_of(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

// Runs `work` in a child process; true when it exited with 0.
template <class Work>
bool in_child(Work work) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(work());
  int status = 0;
  return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Points this machine's hive at `path` from now on.
void use_hive(const std::string& path) {
  ::setenv("NEV_REGISTRY", path.c_str(), 1);
  platform::reset_hive_locations();
}

}  // namespace

TEST_F(Hive_test, HivesAndFoldersThatOthersCouldChangeAreRefused) {
  struct Case {
    const char* name;
    mode_t folder_mode;
    mode_t hive_mode;
    uid_t folder_owner;
    uid_t hive_owner;
    bool folder_named;  // the folder, else the hive, is the file refused
    const char* why;
  };
  const uid_t me = ::geteuid();
  const Case cases[] = {
      {"hive-0666", 0700, 0666, me, me, false, "may be written by group or others (mode 0666)"},
      {"hive-0620", 0700, 0620, me, me, false, "may be written by group or others"},
      {"folder-0777", 0777, 0600, me, me, true, "may be written by group or others (mode 0777)"},
      {"folder-1777", 01777, 0600, me, me, true, "may be written by group or others"},
      {"foreign-hive", 0700, 0600, me, NOBODY, false, "is owned by user 65534"},
      {"foreign-folder", 0755, 0644, NOBODY, me, true, "is owned by user 65534"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if ((c.folder_owner != me || c.hive_owner != me) && me != 0) continue;  // only root gives files away
    const std::string place = folder() + "/" + c.name;
    const std::string path = place + "/hive.db";
    ASSERT_EQ(::mkdir(place.c_str(), 0700), 0);
    const int fd = ::open(path.c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ::close(fd);
    ASSERT_EQ(::chown(path.c_str(), c.hive_owner, static_cast<gid_t>(-1)), 0);
    ASSERT_EQ(::chmod(path.c_str(), c.hive_mode), 0);
    ASSERT_EQ(::chown(place.c_str(), c.folder_owner, static_cast<gid_t>(-1)), 0);
    ASSERT_EQ(::chmod(place.c_str(), c.folder_mode), 0);
    use_hive(path);
    for (const bool writing : {false, true}) {
      Nev_status status;
      std::uint32_t number = 0;
      if (writing) {
        nev_set_reg_uint_value(HKLM, u"Software", u"", u"n", 1, status);
      } else {
        nev_get_reg_uint_value(HKLM, u"Software", u"", u"n", number, status);
      }
      ASSERT_EQ(status.depth(), 2u) << nev_to_utf8(nev_status_text(status));
      EXPECT_EQ(status.code(0), NEV_E_REG_HIVE);
      EXPECT_EQ(status.argument(0, 0), nev_from_utf8(path));
      EXPECT_EQ(status.code(1), NEV_E_UNTRUSTED_FILE);
      EXPECT_EQ(status.argument(1, 0), nev_from_utf8(c.folder_named ? place : path));
      EXPECT_NE(nev_to_utf8(status.argument(1, 1)).find(c.why), std::string::npos)
          << nev_to_utf8(status.argument(1, 1));
    }
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_size, 0) << "the refused hive was written";
  }
  // A missing hive is not created in a folder others may write.
  const std::string shared = folder() + "/shared";
  ASSERT_EQ(::mkdir(shared.c_str(), 0700), 0);
  ASSERT_EQ(::chmod(shared.c_str(), 0777), 0);
  use_hive(shared + "/hive.db");
  Nev_status status;
  nev_set_reg_uint_value(HKLM, u"Software", u"", u"n", 1, status);
  EXPECT_EQ(status.code(), NEV_E_REG_HIVE);
  EXPECT_EQ(status.code(1), NEV_E_UNTRUSTED_FILE);
  EXPECT_FALSE(std::filesystem::exists(shared + "/hive.db"));
}

TEST_F(Hive_test, NewHivesAndTheirFoldersAreTheUsersAlone) {
  const std::string top = folder() + "/new";
  const std::string path = top + "/deeper/hive.db";
  use_hive(path);
  put(u"Software", u"n", 1u);
  EXPECT_EQ(mode_of(top), 0700u);
  EXPECT_EQ(mode_of(top + "/deeper"), 0700u);
  for (const char* suffix : {"", "-wal", "-shm"}) EXPECT_EQ(mode_of(path + suffix), 0600u) << suffix;
}

TEST_F(Hive_test, AHiveTheUserMayOnlyReadIsReadWithNoWriterAlive) {
  SKIP_UNLESS_FILE_HIVE();
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as a second user";
  put(u"Software\\Shared", u"n", 7u);
  ASSERT_EQ(::chmod(folder().c_str(), 0755), 0);
  // Its owner lets others read it: the hive with its -wal and -shm files.
  for (const char* suffix : {"", "-wal", "-shm"}) ASSERT_EQ(::chmod((hive() + suffix).c_str(), 0644), 0) << suffix;
  // The fork closes this process's connection: the child is the only user.
  EXPECT_TRUE(in_child([] {
    if (::setgid(NOBODY) != 0 || ::setuid(NOBODY) != 0) return 1;
    Nev_status status;
    std::uint32_t number = 0;
    nev_get_reg_uint_value(HKLM, u"Software\\Shared", u"", u"n", number, status);
    if (!status.ok() || number != 7) return 2;
    nev_set_reg_uint_value(HKLM, u"Software\\Shared", u"", u"n", 8, status);
    if (status.code() != NEV_E_REG_HIVE) return 3;
    nev_get_reg_uint_value(HKLM, u"Software\\Shared", u"", u"n", number, status);
    return status.ok() && number == 7 ? 0 : 4;
  }));
  EXPECT_EQ(number_of(u"Software\\Shared", u"n"), 7u);
}

TEST_F(Hive_test, AUserWithoutHomeOrHiveVariableHasNoHive) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to become a user without a home";
  EXPECT_TRUE(in_child([] {
    if (::setuid(54321) != 0) return 1;  // a user the password database does not know
    for (const char* name : {"NEV_REGISTRY", "NEV_REGISTRY_MACHINES", "HOME", "XDG_DATA_HOME"}) ::unsetenv(name);
    platform::reset_hive_locations();
    Nev_status status;
    nev_set_reg_uint_value(HKLM, u"Software", u"", u"n", 1, status);
    if (status.code() != NEV_E_REG_HIVE) return 2;
    return nev_to_utf8(status.argument(0, 1)).find("no home folder") != std::string::npos ? 0 : 3;
  }));
}

TEST_F(Hive_test, ReadCachesStayWithinTheirLimitAndCallsReadNoEnvironment) {
  constexpr int KEYS = 2000;  // four cache entries each: twice the limit
  Hive_capture capture;
  std::vector<Nev_reg_change> changes;
  for (int i = 0; i < KEYS; ++i) changes.push_back(set_change(numbered(u"Many\\K", i), u"v", 1));
  Nev_status status;
  nev_apply_reg_changes(changes, status);
  ASSERT_STATUS_OK(status);
  ASSERT_NE(capture.hive, nullptr);
  const int environment_reads = capture.environment_reads;
  std::size_t most = 0;
  for (int i = 0; i < KEYS; ++i) {
    const std::u16string key = numbered(u"Many\\K", i);
    EXPECT_FALSE(nev_reg_key_exists(HKLM, key, u"Missing"));
    Nev_object_vector<std::u16string> names;
    nev_enum_reg_keys(HKLM, key, u"", names, status);
    std::vector<Nev_reg_value> values;
    nev_enum_reg_values(HKLM, key, values, status);
    EXPECT_EQ(values.size(), 1u);
    most = std::max(most, counters_of(*capture.hive).cached);
  }
  // The etcd hive keeps a copy of its whole prefix by design, and no counts.
  if (!etcd_backend()) {
    EXPECT_GT(most, 100u);
    EXPECT_LE(most, 4096u);
  }
  EXPECT_EQ(capture.environment_reads, environment_reads);
}

TEST_F(Hive_test, ReadingOneValueReadsOneRowNotTheKeysOthers) {
  constexpr int VALUES = 3000;
  Hive_capture capture;
  std::vector<Nev_reg_change> changes;
  for (int i = 0; i < VALUES; ++i) changes.push_back(set_change(u"Wide", numbered(u"v", i), i));
  Nev_status status;
  nev_apply_reg_changes(changes, status);
  ASSERT_STATUS_OK(status);
  const std::uint64_t before = counters_of(*capture.hive).rows_read;
  for (int i = 0; i < VALUES; i += 30) EXPECT_EQ(number_of(u"Wide", numbered(u"v", i)), static_cast<std::uint32_t>(i));
  EXPECT_LE(counters_of(*capture.hive).rows_read - before, 3u * (VALUES / 30));
}

TEST_F(Hive_test, AHiveOfTheFirstFormatIsCarriedOverWithItsKeys) {
  SKIP_UNLESS_FILE_HIVE();
  // The first format: key ids could be given again after a delete.
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(hive().c_str(), &db), SQLITE_OK);
  const auto bytes = [](const std::u16string& text, bool fold) {
    std::string out;
    for (char16_t unit : text) {
      if (fold && unit >= u'a' && unit <= u'z') unit = static_cast<char16_t>(unit - 32);
      const char low = static_cast<char>(unit & 0xFF);
      const char high = static_cast<char>(unit >> 8);
      out += fold ? std::string{high, low} : std::string{low, high};
    }
    return out;
  };
  const char* schema =
      "PRAGMA journal_mode = WAL;"
      "CREATE TABLE reg_key(id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, name BLOB NOT NULL, fold BLOB NOT NULL);"
      "CREATE UNIQUE INDEX reg_key_by_parent ON reg_key(parent, fold);"
      "CREATE TABLE reg_value(key INTEGER NOT NULL, fold BLOB NOT NULL, seq INTEGER NOT NULL, name BLOB NOT NULL,"
      "  type INTEGER NOT NULL, data BLOB NOT NULL, PRIMARY KEY(key, fold)) WITHOUT ROWID;"
      "CREATE INDEX reg_value_by_seq ON reg_value(key, seq);"
      "PRAGMA user_version = 1;";
  ASSERT_EQ(sqlite3_exec(db, schema, nullptr, nullptr, nullptr), SQLITE_OK);
  const std::u16string roots[] = {u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER", u"HKEY_LOCAL_MACHINE", u"HKEY_USERS",
                                  u"HKEY_CURRENT_CONFIG", u"Old"};
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO reg_key VALUES (?1, ?2, ?3, ?4)", -1, &insert, nullptr);
  for (int i = 0; i < 6; ++i) {
    const std::string name = bytes(roots[i], false);
    const std::string fold = bytes(roots[i], true);
    sqlite3_bind_int(insert, 1, i + 1);
    sqlite3_bind_int(insert, 2, i < 5 ? 0 : 3);
    sqlite3_bind_blob(insert, 3, name.data(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
    sqlite3_bind_blob(insert, 4, fold.data(), static_cast<int>(fold.size()), SQLITE_TRANSIENT);
    ASSERT_EQ(sqlite3_step(insert), SQLITE_DONE);
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_close(db);

  EXPECT_TRUE(nev_reg_key_exists(HKLM, u"old", u""));
  Nev_hkey key = nullptr;
  ASSERT_EQ(nev_reg_open_key(HKLM, u"Old", 0, NEV_KEY_QUERY_VALUE, &key), NEV_ERROR_SUCCESS);
  Nev_status status;
  nev_delete_reg_tree(HKLM, u"Old", status);
  ASSERT_STATUS_OK(status);
  put(u"New", u"n", 1u);  // would take the id 6 again in the first format
  std::vector<Nev_reg_value> values;
  nev_enum_reg_values(key, u"", values, status);
  EXPECT_EQ(status.code(), NEV_E_REG_KEY_DELETED);
  nev_reg_close_key(key);

  ASSERT_EQ(sqlite3_open(hive().c_str(), &db), SQLITE_OK);
  std::string found;
  const auto first = [](void* out, int, char** columns, char**) {
    *static_cast<std::string*>(out) += std::string(columns[0]) + ";";
    return 0;
  };
  sqlite3_exec(db, "PRAGMA user_version", first, &found, nullptr);
  sqlite3_exec(db, "SELECT sql FROM sqlite_master WHERE name = 'reg_key'", first, &found, nullptr);
  sqlite3_close(db);
  EXPECT_EQ(found.substr(0, 2), "2;");
  EXPECT_NE(found.find("AUTOINCREMENT"), std::string::npos) << found;
}

// A value larger than the hive can hold is refused, whole and with its
// size and the limit, by a single write and inside a batch (which then
// changes nothing); a value of exactly the limit is kept. The limit is
// made small here; the real one is what the store's rows can hold.
TEST_F(Hive_test, ValuesLargerThanTheHiveCanHoldAreRefused) {
  Faulty_hive_platform platform;
  Nev_status status;
  nev_set_reg_uint_value(HKLM, u"Big", u"", u"kept", 7, status);
  ASSERT_STATUS_OK(status);
  ASSERT_EQ(platform.hives.size(), 1u);
  platform.hives.begin()->second->capacity = 64;
  const std::vector<std::uint8_t> fits(64, 0xAB);
  const std::vector<std::uint8_t> too_big(65, 0xCD);
  nev_set_reg_value(HKLM, u"Big", u"edge", NEV_REG_BINARY, fits, status);
  EXPECT_STATUS_OK(status);
  const std::vector<std::function<void(Nev_status&)>> refused = {
      [&](Nev_status& s) { nev_set_reg_value(HKLM, u"Big", u"edge", NEV_REG_BINARY, too_big, s); },
      [&](Nev_status& s) {
        nev_apply_reg_changes({set_change(u"Big", u"kept", 8),
                               {Nev_reg_change::SET_VALUE, HKLM, u"Big", {u"edge", NEV_REG_BINARY, too_big}}},
                              s);
      },
  };
  for (const auto& call : refused) {
    call(status);
    EXPECT_EQ(status.code(), NEV_E_REG_VALUE_TOO_LARGE) << nev_to_utf8(nev_status_text(status));
    EXPECT_EQ(status.argument(0, 1), u"edge");
    EXPECT_EQ(status.argument(0, 2), u"65");
    EXPECT_EQ(status.argument(0, 3), u"64");
  }
  Nev_reg_value value;
  nev_get_reg_value(HKLM, u"Big", u"edge", value, status);
  EXPECT_EQ(value.data, fits);
  std::uint32_t kept = 0;
  nev_get_reg_uint_value(HKLM, u"Big", u"", u"kept", kept, status);
  EXPECT_EQ(kept, 7u);
}

#ifdef KOVREG_PATH
// A program that runs with rights its caller lacks (here set-user-ID to
// nobody, started by root) takes no hive location from its caller's
// environment: the same program started by nobody itself uses NEV_REGISTRY.
TEST_F(Hive_test, ASetUserIdProgramTakesNoHiveFromItsCallersEnvironment) {
  SKIP_UNLESS_FILE_HIVE();
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to make a set-user-ID program";
  char folder_template[] = "/tmp/nev-secure-XXXXXX";
  ASSERT_NE(::mkdtemp(folder_template), nullptr);
  const std::string folder = folder_template;
  const std::string program = folder + "/kovreg";
  std::filesystem::copy_file(KOVREG_PATH, program);
  ASSERT_EQ(::mkdir((folder + "/hives").c_str(), 0700), 0);
  for (const std::string& path : {folder, folder + "/hives", program}) {
    ASSERT_EQ(::chown(path.c_str(), NOBODY, NOBODY), 0) << path;
  }
  const std::string variable = "NEV_REGISTRY=" + folder + "/hives/hive.db";
  // Runs the copy as nobody (by switching first) or through its
  // set-user-ID bit; true when it created the hive NEV_REGISTRY names.
  const auto creates_hive = [&](bool set_user_id) {
    ASSERT_EQ(::chmod(program.c_str(), set_user_id ? 04755 : 0755), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      if (!set_user_id && (::setgid(NOBODY) != 0 || ::setuid(NOBODY) != 0)) ::_exit(126);
      const int null = ::open("/dev/null", O_WRONLY);
      ::dup2(null, 1);
      ::dup2(null, 2);
      char* const argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>("add"),
                            const_cast<char*>("HKLM\\Software\\Probe"), nullptr};
      char* const envp[] = {const_cast<char*>(variable.c_str()), const_cast<char*>("HOME=/nonexistent"), nullptr};
      ::execve(program.c_str(), argv, envp);
      ::_exit(127);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(std::filesystem::exists(folder + "/hives/hive.db"), !set_user_id) << "set-user-ID: " << set_user_id;
  };
  creates_hive(true);
  creates_hive(false);
  std::filesystem::remove_all(folder);
}
#endif
#endif
