// The etcd hive: the keys and values of one machine's registry under a
// prefix of an etcd cluster, at the location
// `etcd://HOST:PORT[,HOST:PORT...]/PREFIX`.
//
// Layout under PREFIX/ (ids as 16 lower-case hex digits, `fold` the name
// upper-cased by nev_to_upper as big-endian UTF-16, so that byte order is
// the case-insensitive order of names):
//   h                  the head, "nevhive 1" (format 1): written when the hive
//                      is created, its presence is what makes the hive exist.
//   n                  the next key id not yet handed out to any process.
//   w                  rewritten by every write that deletes: a deletion
//                      leaves no key whose mod revision would show it.
//   i/ID               a key: its parent's id then its folded name. The five
//                      predefined roots are the ids 1 to 5, parent 0.
//   k/PARENT/FOLD      a subkey of PARENT: its id then its name (UTF-16LE).
//                      Listing k/PARENT/ in key order lists subkeys in
//                      case-insensitive order.
//   v/ID/FOLD          a value of ID: sequence (4 bytes), type (4 bytes),
//                      name length in bytes (4 bytes, all big-endian), the
//                      name (UTF-16LE) and the data. Values list in the
//                      order of their etcd create revision, then of the
//                      sequence among those created by one transaction.
// Each process takes ids in blocks from `n` (by compare-and-put) and never
// gives one out twice, so a handle to a deleted key never reaches a key
// created later.
//
// Reads are served from a mirror of the whole prefix, loaded once and kept
// current by a watch on the prefix (a thread per hive). A read waits, at
// most the timeout, until the watch is established and the mirror holds at
// least every write this process saw acknowledged; a broken watch makes
// reads wait until it is established again (from the mirror's revision, or
// with a fresh load when that was compacted away).
//
// A write runs its body against the mirror, collecting its changes, and
// sends them as one transaction on the condition that every key the body
// read still has the mod revision it read (absent keys still absent; found
// subkey entries through the key they lead to, see collect_compares) and
// that no key of a range it listed changed after the mirror's revision. A
// write in between on what the body read makes the transaction fail; the
// body then runs again once the mirror shows that write (the newest mod
// revision of what the conditions name, or of `w`). On success
// the changes reach the mirror through the watch like everyone's, and the
// next read waits for them: a write is also a barrier, after which this
// process sees every write committed before it.
//
// Thread contract: as for every hive (hive.h). A child process after fork()
// starts afresh: new connections, a new watch, the mirror loaded again.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "nev/posix/etcd_client.h"
#include "nev/posix/hive.h"

namespace nev::detail {

class Etcd_hive final : public Hive {
 public:
  // The hive at the etcd `location`; null with NEV_E_REG_HIVE in `status`
  // when the location is malformed. Nothing is contacted yet.
  static std::shared_ptr<Etcd_hive> open(const std::string& location, std::chrono::milliseconds timeout,
                                         Nev_status& status);
  Etcd_hive(std::string location, std::vector<std::string> endpoints, std::string prefix,
            std::chrono::milliseconds timeout);
  ~Etcd_hive() override;
  Etcd_hive(const Etcd_hive&) = delete;
  Etcd_hive& operator=(const Etcd_hive&) = delete;

  // Whether the hive exists in the cluster (its head key is there), asked
  // of the cluster itself; false with NEV_E_REG_HIVE in `status` when the
  // cluster does not answer.
  bool exists(Nev_status& status);

  const std::string& location() const noexcept override { return m_location; }
  bool read(Hive_body body, Nev_status& status) override;
  bool write(Hive_body body, Nev_status& status) override;
  // Stops the watch (every watcher costs the cluster work on each write);
  // the next read or write starts it again.
  void retire() noexcept override;
  Key_id find_key(Key_id base, const std::u16string& path) override;
  bool find_value(Key_id key, const std::u16string& name, Nev_reg_value& value) override;
  bool key_exists(Key_id key) override;
  const Value_list& values(Key_id key) override;
  const std::vector<std::u16string>& subkeys(Key_id key) override;
  Key_id create_key(Key_id base, const std::u16string& path) override;
  void put_value(Key_id key, const Nev_reg_value& value) override;
  bool remove_value(Key_id key, const std::u16string& name) override;
  void remove_tree(Key_id key) override;

  // For fork handling (see etcd_hive.cpp).
  void lock_for_fork();
  void unlock_after_fork(bool child);

 private:
  struct Entry {
    std::string value;
    std::int64_t create_revision = 0;
    std::int64_t mod_revision = 0;
  };
  // A change collected by a write body: the new value, or a deletion.
  struct Change {
    bool deleted = false;
    std::string value;
  };

  // A watch thread and the flag that ends it. A thread whose flag is set
  // changes nothing in the hive any more (checked under m_mutex); `done` is
  // its last act.
  struct Watcher {
    std::atomic<bool> stop{false};
    std::atomic<bool> done{false};
    std::thread thread;
  };

  void start_watch();
  void watch_loop(const Watcher& self);
  void load(const Watcher& self);
  bool take(const Watcher& self, const Etcd_watch_message& message);
  bool wait_until_current(std::unique_lock<std::mutex>& lock, Nev_status& status);
  void fail(const std::string& reason, Nev_status& status) const;
  bool commit(Nev_status& status, bool& conflict);
  std::vector<Etcd_compare> collect_compares() const;
  std::vector<Etcd_op> collect_ops();
  // Puts this process's committed changes (m_changes, at `revision`) into
  // the mirror; only when the mirror stood at the revision just before.
  void take_own_write(std::int64_t revision);
  void drop_derived() noexcept;

  const std::string* lookup(const std::string& key) const;
  template <class F>
  void each(const std::string& prefix, F&& visit) const;
  void put(const std::string& key, std::string value);
  void erase(const std::string& key);
  Key_id find_child(Key_id parent, const std::u16string& name) const;
  Key_id next_id();
  void reserve_ids();

  std::string m_location;
  std::string m_prefix;  // PREFIX followed by '/'
  Etcd_client m_client;

  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::map<std::string, Entry> m_mirror;  // by key without m_prefix
  std::int64_t m_revision = 0;            // the revision the mirror shows
  std::int64_t m_acked = 0;               // the newest write this process saw acknowledged
  bool m_loaded = false;
  bool m_live = false;
  std::string m_watch_error;
  std::unique_ptr<Watcher> m_watcher;
  // Watchers told to stop by retire(), their threads detached (a watch
  // notices its flag only at curl's next progress call, up to a second on
  // an idle stream, and a retired hive is seldom destroyed to join them);
  // the destructor waits until each is done.
  std::vector<std::unique_ptr<Watcher>> m_stopping;

  // Derived from the mirror, dropped whenever it changes.
  std::unordered_map<std::u16string, Key_id> m_key_cache;
  std::unordered_map<Key_id, Value_list> m_value_cache;
  std::unordered_map<Key_id, std::vector<std::u16string>> m_subkey_cache;

  // The write body in progress.
  bool m_writing = false;
  std::map<std::string, Change> m_changes;
  // What the body read from the mirror: keys with the mod revision seen (0:
  // absent), and prefixes of ranges it listed.
  mutable std::map<std::string, std::int64_t> m_reads;
  mutable std::vector<std::string> m_ranges;
  bool m_creating = false;       // the hive does not exist yet
  Key_id m_next_id = NO_KEY;     // while creating: ids given out from 6 on
  Key_id m_block_next = NO_KEY;  // the process's block of ids [next, end)
  Key_id m_block_end = NO_KEY;
  std::uint32_t m_next_sequence = 0;
  Value_list m_scratch_values;
  std::vector<std::u16string> m_scratch_subkeys;
};

}  // namespace nev::detail
