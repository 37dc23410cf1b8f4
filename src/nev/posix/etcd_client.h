// A small client of an etcd cluster (version 3.4 or later), speaking the
// cluster's JSON gateway over HTTP: /v3/kv/range, /v3/kv/txn and /v3/watch,
// keys and values base64 in JSON. It serves the etcd hive (etcd_hive.h) and
// nothing else, so it offers exactly what that needs.
//
// Every request is bounded: it is tried on the endpoints in turn (the one
// that answered last first) until one answers or the client's timeout has
// passed, so a lost leader or a stopped member costs a retry on the next
// endpoint, and a stopped cluster an Etcd_error naming every endpoint after
// at most the timeout. Errors that retrying cannot mend (a request the
// cluster refuses as invalid or too large) fail at once.
//
// Thread contract: `range` and `txn` may be called from any thread; they
// share one connection, used by one request at a time. `watch` uses a
// connection of its own per call and blocks its caller.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace nev::detail {

// A failure to reach the cluster or a request it refused; `what` says which.
struct Etcd_error {
  std::string what;
};

struct Etcd_kv {
  std::string key;
  std::string value;
  std::int64_t create_revision = 0;
  std::int64_t mod_revision = 0;
};

// One operation of a transaction: put `value` at `key`, or delete `key`.
struct Etcd_op {
  bool put = true;
  std::string key;
  std::string value;
};

// One condition of a transaction: the mod revision of `key` equals
// `mod_revision` (0: the key does not exist); or, with a `range_end`, the mod
// revision of every key in [key, range_end) is below `mod_revision`.
struct Etcd_compare {
  std::string key;
  std::int64_t mod_revision = 0;
  std::string range_end;
};

// A key, or with a `range_end` every key in [key, range_end).
struct Etcd_span {
  std::string key;
  std::string range_end;
};

// One change that a watch reports.
struct Etcd_event {
  bool put = true;
  Etcd_kv kv;
};

// What a watch stream says in one message: created, events, or cancelled
// because the revision it started from was compacted away.
struct Etcd_watch_message {
  bool created = false;
  bool compacted = false;
  std::int64_t revision = 0;  // the cluster's revision when it was sent
  std::vector<Etcd_event> events;
};

class Etcd_client {
 public:
  // A client of the cluster at `endpoints` ("HOST:PORT" each), whose
  // requests give up after `timeout`.
  Etcd_client(std::vector<std::string> endpoints, std::chrono::milliseconds timeout);
  ~Etcd_client();
  Etcd_client(const Etcd_client&) = delete;
  Etcd_client& operator=(const Etcd_client&) = delete;

  // The keys in [key, range_end) (only `key` when range_end is empty), in
  // key order, appended to `kvs`; read at `revision` when it is not 0. At
  // most `limit` keys when it is not 0; `more` says whether some were left
  // out. Returns the cluster's revision.
  std::int64_t range(const std::string& key, const std::string& range_end, std::vector<Etcd_kv>& kvs,
                     std::int64_t revision = 0, std::int64_t limit = 0, bool* more = nullptr);
  // One transaction: when every compare holds, runs `ops` and returns true
  // with the revision it committed at in `revision`; otherwise runs nothing
  // and returns false.
  bool txn(const std::vector<Etcd_compare>& compares, const std::vector<Etcd_op>& ops, std::int64_t& revision);
  // The newest mod revision of any key in `spans` (0 when none exists), read
  // in one request.
  std::int64_t newest(const std::vector<Etcd_span>& spans);
  // Puts one key, unconditionally (for measurements and tests).
  std::int64_t put(const std::string& key, const std::string& value);

  // Watches [key, range_end) from `start_revision` on one endpoint, handing
  // every message to `on_message`, until the stream breaks (an Etcd_error),
  // `on_message` returns false, or `stop` becomes true.
  void watch(const std::string& key, const std::string& range_end, std::int64_t start_revision,
             const std::function<bool(const Etcd_watch_message&)>& on_message, const std::atomic<bool>& stop);

  // The endpoints, joined by commas (for messages).
  const std::string& endpoint_list() const noexcept { return m_endpoint_list; }
  std::chrono::milliseconds timeout() const noexcept { return m_timeout; }

  // Forgets the connection (in a child after fork(): it is the parent's).
  void forget_connection() noexcept;
  // The lock of the shared connection (held around fork()).
  std::mutex& mutex() noexcept { return m_mutex; }

 private:
  std::string call(const char* path, const std::string& body);

  std::vector<std::string> m_endpoints;
  std::string m_endpoint_list;
  std::chrono::milliseconds m_timeout;
  std::mutex m_mutex;
  void* m_curl = nullptr;
  std::size_t m_current = 0;
  std::atomic<std::size_t> m_watch_turn{0};
};

// The end of the range of every key that starts with `prefix`.
std::string etcd_prefix_end(const std::string& prefix);

}  // namespace nev::detail
