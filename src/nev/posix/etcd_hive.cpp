// The etcd hive: location parsing, the mirror and its watch, transactions,
// and the registry operations on the layout described in etcd_hive.h.
#include "nev/posix/etcd_hive.h"

#include <pthread.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstdio>
#include <new>
#include <set>

#include "nev/codes.h"
#include "nev/registry_names.h"
#include "nev/strings.h"

namespace nev::detail {

namespace {

const char HEAD[] = "h";
const char HEAD_TAG[] = "nevhive 1";
const char NEXT[] = "n";
const char LAST_WRITE[] = "w";
// How many ids a process takes from `n` at once.
constexpr Key_id ID_BLOCK = 1024;
// The number of header bytes of a value record.
constexpr std::size_t RECORD_HEADER = 12;
// Keys asked for per range request when the mirror is loaded.
constexpr std::int64_t LOAD_PAGE = 5000;

using Clock = std::chrono::steady_clock;

std::string hex_id(Key_id id) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(id));
  return std::string(text, 16);
}

Key_id id_of(const std::string& text) {
  return text.size() < 16 ? NO_KEY : static_cast<Key_id>(std::stoull(text.substr(0, 16), nullptr, 16));
}

std::string key_entry(Key_id parent, const std::u16string& name) { return "k/" + hex_id(parent) + "/" + folded_bytes(name); }
std::string value_entry(Key_id key, const std::u16string& name) { return "v/" + hex_id(key) + "/" + folded_bytes(name); }

void put_u32(std::string& bytes, std::uint32_t n) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>((n >> shift) & 0xFF);
}

std::uint32_t u32_at(const std::string& bytes, std::size_t at) {
  std::uint32_t n = 0;
  for (std::size_t i = 0; i < 4; ++i) n = n << 8 | static_cast<unsigned char>(bytes[at + i]);
  return n;
}

std::string record(std::uint32_t sequence, const Nev_reg_value& value) {
  const std::vector<std::uint8_t> name = nev_to_utf16le(value.name, false);
  std::string bytes;
  bytes.reserve(RECORD_HEADER + name.size() + value.data.size());
  put_u32(bytes, sequence);
  put_u32(bytes, value.type);
  put_u32(bytes, static_cast<std::uint32_t>(name.size()));
  bytes.append(name.begin(), name.end());
  bytes.append(reinterpret_cast<const char*>(value.data.data()), value.data.size());
  return bytes;
}

Nev_reg_value value_of(const std::string& bytes) {
  Nev_reg_value value;
  if (bytes.size() < RECORD_HEADER) return value;
  value.type = u32_at(bytes, 4);
  const std::size_t name_size = std::min<std::size_t>(u32_at(bytes, 8), bytes.size() - RECORD_HEADER);
  value.name = nev_from_utf16le(bytes.data() + RECORD_HEADER, name_size, false);
  value.data.assign(bytes.begin() + static_cast<std::ptrdiff_t>(RECORD_HEADER + name_size), bytes.end());
  return value;
}

// The cache key of `path` below `base`: the id as four units, then the
// folded names joined by one backslash.
std::u16string cache_key(Key_id base, const std::u16string& path) {
  std::u16string key;
  for (int shift = 48; shift >= 0; shift -= 16) key += static_cast<char16_t>((base >> shift) & 0xFFFF);
  for (const std::u16string& name : reg_split_path(path)) key += u'\\' + reg_fold(name);
  return key;
}

bool starts_with(const std::string& text, const std::string& prefix) {
  return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

// ---- fork handling: every etcd hive of the process -------------------------------

struct Hive_list {
  std::mutex mutex;
  std::set<Etcd_hive*> hives;
};

Hive_list& hive_list() {
  static auto* list = new Hive_list;  // outlives every static user
  return *list;
}

void before_fork() {
  hive_list().mutex.lock();
  for (Etcd_hive* hive : hive_list().hives) hive->lock_for_fork();
}

void after_fork_in_parent() {
  for (Etcd_hive* hive : hive_list().hives) hive->unlock_after_fork(false);
  hive_list().mutex.unlock();
}

void after_fork_in_child() {
  for (Etcd_hive* hive : hive_list().hives) hive->unlock_after_fork(true);
  hive_list().mutex.unlock();
}

}  // namespace

// ---- life cycle --------------------------------------------------------------------

std::shared_ptr<Etcd_hive> Etcd_hive::open(const std::string& location, std::chrono::milliseconds timeout,
                                           Nev_status& status) {
  const std::string scheme = "etcd://";
  const std::size_t slash = location.find('/', scheme.size());
  std::string prefix = slash == std::string::npos ? std::string() : location.substr(slash + 1);
  while (!prefix.empty() && prefix.back() == '/') prefix.pop_back();
  std::vector<std::string> endpoints;
  const std::string hosts = location.substr(scheme.size(), slash - scheme.size());
  for (std::size_t start = 0; start <= hosts.size();) {
    const std::size_t comma = std::min(hosts.find(',', start), hosts.size());
    if (comma > start) endpoints.push_back(hosts.substr(start, comma - start));
    start = comma + 1;
  }
  const bool ports = std::all_of(endpoints.begin(), endpoints.end(),
                                 [](const std::string& e) { return e.find(':') != std::string::npos; });
  if (endpoints.empty() || !ports || prefix.empty()) {
    status.assign(NEV_E_REG_HIVE, Nev_wstring_status_arg(nev_from_utf8(location)),
                  Nev_wstring_status_arg(u"an etcd location reads etcd://HOST:PORT[,HOST:PORT...]/PREFIX"));
    return nullptr;
  }
  static std::once_flag fork_handlers;
  std::call_once(fork_handlers, [] { pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child); });
  return std::make_shared<Etcd_hive>(location, std::move(endpoints), prefix + "/", timeout);
}

Etcd_hive::Etcd_hive(std::string location, std::vector<std::string> endpoints, std::string prefix,
                     std::chrono::milliseconds timeout)
    : m_location(std::move(location)), m_prefix(std::move(prefix)), m_client(std::move(endpoints), timeout) {
  std::lock_guard<std::mutex> lock(hive_list().mutex);
  hive_list().hives.insert(this);
}

Etcd_hive::~Etcd_hive() {
  {
    std::lock_guard<std::mutex> lock(hive_list().mutex);
    hive_list().hives.erase(this);
  }
  if (m_watcher != nullptr) {
    m_watcher->stop = true;
    if (m_watcher->thread.joinable()) m_watcher->thread.join();
  }
  for (const auto& watcher : m_stopping) {
    while (!watcher->done) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void Etcd_hive::retire() noexcept {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (m_watcher == nullptr) return;
  try {
    m_stopping.reserve(m_stopping.size() + 1);
  } catch (const std::bad_alloc&) {
    return;  // no room to keep it until it is done: it keeps watching
  }
  m_watcher->stop = true;
  m_live = false;
  m_watcher->thread.detach();
  m_stopping.push_back(std::move(m_watcher));
}

void Etcd_hive::lock_for_fork() {
  m_mutex.lock();
  m_client.mutex().lock();
}

void Etcd_hive::unlock_after_fork(bool child) {
  if (child) {
    // The watch thread and the connections are the parent's: none of them
    // is used here, and the mirror is loaded again by a watch of our own.
    static_cast<void>(m_watcher.release());  // their thread objects must not be destroyed here
    for (auto& watcher : m_stopping) static_cast<void>(watcher.release());
    m_stopping.clear();
    m_client.forget_connection();
    m_loaded = m_live = false;
    m_mirror.clear();
    m_revision = 0;
    m_block_next = m_block_end = NO_KEY;  // the parent's ids are the parent's
    drop_derived();
    // The watch thread may have been inside notify_all(), holding the
    // condition's inner lock, when the parent forked; a copy of that lock
    // is never released here. Start from a fresh condition (its old storage
    // is reused without destruction: no thread of this process waits on it).
    new (&m_changed) std::condition_variable;
  }
  m_client.mutex().unlock();
  m_mutex.unlock();
}

bool Etcd_hive::exists(Nev_status& status) {
  try {
    std::vector<Etcd_kv> kvs;
    m_client.range(m_prefix + HEAD, std::string(), kvs);
    return !kvs.empty();
  } catch (const Etcd_error& error) {
    fail(error.what, status);
    return false;
  }
}

void Etcd_hive::fail(const std::string& reason, Nev_status& status) const {
  status.assign(NEV_E_REG_HIVE, Nev_wstring_status_arg(nev_from_utf8(m_location)),
                Nev_wstring_status_arg(nev_from_utf8(reason)));
}

// ---- the mirror and its watch ------------------------------------------------------

void Etcd_hive::start_watch() {
  if (m_watcher != nullptr) return;
  auto watcher = std::make_unique<Watcher>();
  watcher->thread = std::thread([this, self = watcher.get()] {
    watch_loop(*self);
    self->done = true;
  });
  m_watcher = std::move(watcher);
}

void Etcd_hive::watch_loop(const Watcher& self) {
  int failures = 0;
  while (!self.stop) {
    try {
      bool loaded = false;
      std::int64_t from = 0;
      {
        std::lock_guard<std::mutex> lock(m_mutex);
        loaded = m_loaded;
        from = m_revision + 1;
      }
      if (!loaded) {
        load(self);
        std::lock_guard<std::mutex> lock(m_mutex);
        from = m_revision + 1;
      }
      m_client.watch(m_prefix, etcd_prefix_end(m_prefix), from,
                     [this, &self, &failures](const Etcd_watch_message& message) {
                       failures = 0;
                       return take(self, message);
                     },
                     self.stop);
    } catch (const Etcd_error& error) {
      std::lock_guard<std::mutex> lock(m_mutex);
      if (!self.stop) m_watch_error = error.what;
    } catch (const std::exception& error) {
      std::lock_guard<std::mutex> lock(m_mutex);
      if (!self.stop) m_watch_error = std::string("a reply of the cluster could not be read: ") + error.what();
    }
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      if (self.stop) return;
      m_live = false;
    }
    m_changed.notify_all();
    failures = std::min(failures + 1, 10);
    std::this_thread::sleep_for(std::chrono::milliseconds(20 * failures));
  }
}

void Etcd_hive::load(const Watcher& self) {
  std::map<std::string, Entry> mirror;
  const std::string end = etcd_prefix_end(m_prefix);
  std::string from = m_prefix;
  std::int64_t revision = 0;
  for (bool more = true; more;) {
    std::vector<Etcd_kv> kvs;
    const std::int64_t at = m_client.range(from, end, kvs, revision, LOAD_PAGE, &more);
    if (revision == 0) revision = at;
    for (Etcd_kv& kv : kvs) {
      mirror[kv.key.substr(m_prefix.size())] = Entry{std::move(kv.value), kv.create_revision, kv.mod_revision};
    }
    if (kvs.empty()) break;
    from = kvs.back().key + '\0';
  }
  std::lock_guard<std::mutex> lock(m_mutex);
  if (self.stop) return;
  if (revision < m_revision) throw Etcd_error{"a member answered with an older revision"};
  m_mirror = std::move(mirror);
  m_revision = revision;
  m_loaded = true;
  drop_derived();
}

bool Etcd_hive::take(const Watcher& self, const Etcd_watch_message& message) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (self.stop) return false;
    if (message.compacted) {
      m_loaded = m_live = false;
      return false;
    }
    if (message.created) m_live = true;
    bool changed = false;
    // One transaction gives several events of one revision: compare with the
    // revision before this message.
    const std::int64_t shown = m_revision;
    for (const Etcd_event& event : message.events) {
      if (event.kv.mod_revision <= shown) continue;  // already in the loaded mirror
      const std::string key = event.kv.key.substr(m_prefix.size());
      if (event.put) {
        m_mirror[key] = Entry{event.kv.value, event.kv.create_revision, event.kv.mod_revision};
      } else {
        m_mirror.erase(key);
      }
      m_revision = std::max(m_revision, event.kv.mod_revision);
      changed = true;
    }
    if (changed) drop_derived();
  }
  m_changed.notify_all();
  return true;
}

void Etcd_hive::drop_derived() noexcept {
  m_key_cache.clear();
  m_value_cache.clear();
  m_subkey_cache.clear();
}

bool Etcd_hive::wait_until_current(std::unique_lock<std::mutex>& lock, Nev_status& status) {
  start_watch();
  const auto timeout = m_client.timeout();
  const bool current = m_changed.wait_for(lock, timeout, [this] { return m_live && m_revision >= m_acked; });
  if (current) return true;
  fail("the etcd cluster at " + m_client.endpoint_list() + " did not answer within " +
           std::to_string(timeout.count()) + " ms" + (m_watch_error.empty() ? "" : " (" + m_watch_error + ")"),
       status);
  return false;
}

// ---- transactions ----------------------------------------------------------------------

bool Etcd_hive::read(Hive_body body, Nev_status& status) {
  std::unique_lock<std::mutex> lock(m_mutex);
  if (!wait_until_current(lock, status)) return false;
  m_writing = false;
  body();
  return true;
}

bool Etcd_hive::write(Hive_body body, Nev_status& status) {
  std::unique_lock<std::mutex> lock(m_mutex);
  const Clock::time_point deadline = Clock::now() + 4 * m_client.timeout();
  for (int attempt = 1;; ++attempt) {
    if (!wait_until_current(lock, status)) return false;
    m_writing = true;
    m_changes.clear();
    m_reads.clear();
    m_ranges.clear();
    m_creating = m_mirror.count(HEAD) == 0;
    m_next_id = root_key_id(REG_ROOT_COUNT - 1) + 1;
    m_next_sequence = 0;
    try {
      body();
    } catch (const Etcd_error& error) {
      fail(error.what, status);  // taking ids failed: nothing was sent
    } catch (...) {
      m_writing = false;
      m_changes.clear();
      throw;
    }
    m_writing = false;
    bool conflict = false;
    const bool done = status.ok() ? commit(status, conflict) : true;  // a failed body is rolled back
    m_changes.clear();
    if (!conflict) return done;
    if (Clock::now() > deadline) {
      fail("the write met a newer write of another process at every one of its attempts", status);
      return false;
    }
    // Others won the last rounds: let them through before trying again.
    lock.unlock();
    std::this_thread::sleep_for(std::chrono::microseconds(200 * std::min(attempt, 20) * (1 + std::rand() % 4)));
    lock.lock();
  }
}

// The conditions of the body's transaction. A subkey entry `k/P/NAME` that
// the body found is put once, when key C (its id) is created, and deleted
// only together with C's tree, which also deletes `i/C` and every key below
// C. So the condition "`i/C` unchanged" on the deepest key a path reached
// covers every found subkey entry along the path: those need none of their
// own. A found entry below C (a subkey, or a value, which keeps its own
// condition) covers `i/C` in turn. So rewriting a value four levels down has
// one condition, not six. Entries found missing keep theirs: a key or value
// created meanwhile must fail the transaction.
std::vector<Etcd_compare> Etcd_hive::collect_compares() const {
  std::map<std::string, std::int64_t> reads;
  std::set<Key_id> reached;
  std::set<Key_id> passed;  // keys with a found entry below them
  for (const auto& [key, revision] : m_reads) {
    const bool subkey = starts_with(key, "k/");
    if (revision != 0 && (subkey || starts_with(key, "v/"))) passed.insert(id_of(key.substr(2)));
    const auto found = revision == 0 || !subkey ? m_mirror.end() : m_mirror.find(key);
    if (found == m_mirror.end()) {
      reads.emplace(key, revision);
      continue;
    }
    reached.insert(id_of(found->second.value));
  }
  for (const Key_id id : reached) {
    if (passed.count(id) != 0) continue;
    const std::string record = "i/" + hex_id(id);
    const auto found = m_mirror.find(record);
    reads.emplace(record, found == m_mirror.end() ? 0 : found->second.mod_revision);
  }
  std::vector<Etcd_compare> compares;
  compares.reserve(reads.size() + m_ranges.size() + 1);
  if (m_creating) compares.push_back(Etcd_compare{m_prefix + HEAD, 0, {}});
  for (const auto& [key, revision] : reads) compares.push_back(Etcd_compare{m_prefix + key, revision, {}});
  for (const std::string& prefix : m_ranges) {
    compares.push_back(Etcd_compare{m_prefix + prefix, m_revision + 1, etcd_prefix_end(m_prefix + prefix)});
  }
  return compares;
}

std::vector<Etcd_op> Etcd_hive::collect_ops() {
  // Deleting what does not exist needs no operation.
  for (auto it = m_changes.begin(); it != m_changes.end();) {
    it = it->second.deleted && m_mirror.count(it->first) == 0 ? m_changes.erase(it) : std::next(it);
  }
  if (m_creating) {
    for (int index = 0; index < REG_ROOT_COUNT; ++index) {
      put("i/" + hex_id(root_key_id(index)), hex_id(NO_KEY) + folded_bytes(reg_root_name(index)));
    }
    put(HEAD, HEAD_TAG);
    put(NEXT, std::to_string(m_next_id));
  }
  // A deletion leaves no key whose mod revision a failed transaction could
  // read back: `w` records it.
  const bool deletes = std::any_of(m_changes.begin(), m_changes.end(), [](const auto& c) { return c.second.deleted; });
  if (deletes) put(LAST_WRITE, std::string());
  std::vector<Etcd_op> ops;
  ops.reserve(m_changes.size());
  for (const auto& [key, change] : m_changes) ops.push_back(Etcd_op{!change.deleted, m_prefix + key, change.value});
  return ops;
}

bool Etcd_hive::commit(Nev_status& status, bool& conflict) {
  if (m_changes.empty() && !m_creating) return true;  // nothing to do
  const std::vector<Etcd_compare> compares = collect_compares();
  const std::vector<Etcd_op> ops = collect_ops();
  std::int64_t revision = 0;
  try {
    if (!m_client.txn(compares, ops, revision)) {
      // Wait for the newer write first: the newest change to what the
      // conditions name, or `w` for a deletion. Conditions beyond etcd's
      // default limit of operations per transaction (128) are covered by
      // the newest key of the whole hive instead.
      std::vector<Etcd_span> changed = {Etcd_span{m_prefix + LAST_WRITE, {}}};
      if (compares.size() < 120) {
        for (const Etcd_compare& compare : compares) changed.push_back(Etcd_span{compare.key, compare.range_end});
      } else {
        changed.push_back(Etcd_span{m_prefix, etcd_prefix_end(m_prefix)});
      }
      m_acked = std::max(m_acked, m_client.newest(changed));  // may throw: then no conflict but a failure
      conflict = true;
      return false;
    }
  } catch (const Etcd_error& error) {
    fail(error.what, status);
    return false;
  }
  // The mirror takes the changes from the watch, in revision order with
  // every other process's: applying them here and moving the mirror's
  // revision on would skip those of others that the watch has not brought
  // yet. Reads wait until the watch has brought this revision, except when
  // this write came right after the mirror's revision: then nothing else
  // can lie between, and the mirror takes it at once (the watch's copy of
  // it is skipped as already shown).
  if (m_live && revision == m_revision + 1) take_own_write(revision);
  m_acked = std::max(m_acked, revision);
  return true;
}

void Etcd_hive::take_own_write(std::int64_t revision) {
  for (const auto& [key, change] : m_changes) {
    if (change.deleted) {
      m_mirror.erase(key);
      continue;
    }
    const auto found = m_mirror.find(key);
    const std::int64_t created = found == m_mirror.end() ? revision : found->second.create_revision;
    m_mirror[key] = Entry{change.value, created, revision};
  }
  m_revision = revision;
  drop_derived();
}

// ---- access through the changes of a write body ----------------------------------------

const std::string* Etcd_hive::lookup(const std::string& key) const {
  if (m_writing) {
    const auto changed = m_changes.find(key);
    if (changed != m_changes.end()) return changed->second.deleted ? nullptr : &changed->second.value;
  }
  const auto found = m_mirror.find(key);
  if (m_writing) m_reads.emplace(key, found == m_mirror.end() ? 0 : found->second.mod_revision);
  return found == m_mirror.end() ? nullptr : &found->second.value;
}

// Visits every key that starts with `prefix`, in key order:
// visit(key, value, create revision), a new key having revision LLONG_MAX.
template <class F>
void Etcd_hive::each(const std::string& prefix, F&& visit) const {
  if (m_writing) m_ranges.push_back(prefix);
  auto mirror = m_mirror.lower_bound(prefix);
  auto change = m_writing ? m_changes.lower_bound(prefix) : m_changes.end();
  auto mirror_in = [&] { return mirror != m_mirror.end() && starts_with(mirror->first, prefix); };
  auto change_in = [&] { return change != m_changes.end() && starts_with(change->first, prefix); };
  while (mirror_in() || change_in()) {
    const bool from_change = change_in() && (!mirror_in() || change->first <= mirror->first);
    if (!from_change) {
      visit(mirror->first, mirror->second.value, mirror->second.create_revision);
      ++mirror;
      continue;
    }
    const bool same = mirror_in() && mirror->first == change->first;
    if (!change->second.deleted) {
      visit(change->first, change->second.value, same ? mirror->second.create_revision : LLONG_MAX);
    }
    if (same) ++mirror;
    ++change;
  }
}

void Etcd_hive::put(const std::string& key, std::string value) { m_changes[key] = Change{false, std::move(value)}; }

void Etcd_hive::erase(const std::string& key) { m_changes[key] = Change{true, std::string()}; }

// A new key id: while the hive is being created, the ids after the roots;
// afterwards, from the process's block.
Key_id Etcd_hive::next_id() {
  if (m_creating) return m_next_id++;
  if (m_block_next == m_block_end) reserve_ids();
  return m_block_next++;
}

// Takes the next block of ids from `n` in the cluster itself.
void Etcd_hive::reserve_ids() {
  const Clock::time_point deadline = Clock::now() + m_client.timeout();
  while (Clock::now() < deadline) {
    std::vector<Etcd_kv> kvs;
    m_client.range(m_prefix + NEXT, std::string(), kvs);
    const Key_id next = kvs.empty() ? root_key_id(REG_ROOT_COUNT - 1) + 1 : std::stoll(kvs[0].value);
    const std::int64_t seen = kvs.empty() ? 0 : kvs[0].mod_revision;
    std::int64_t revision = 0;
    if (m_client.txn({Etcd_compare{m_prefix + NEXT, seen, {}}}, {Etcd_op{true, m_prefix + NEXT, std::to_string(next + ID_BLOCK)}},
                     revision)) {
      m_block_next = next;
      m_block_end = next + ID_BLOCK;
      return;
    }
  }
  throw Etcd_error{"no key ids could be taken from the cluster at " + m_client.endpoint_list()};
}

// ---- reading ----------------------------------------------------------------------------

Key_id Etcd_hive::find_child(Key_id parent, const std::u16string& name) const {
  const std::string* entry = lookup(key_entry(parent, name));
  return entry == nullptr ? NO_KEY : id_of(*entry);
}

Key_id Etcd_hive::find_key(Key_id base, const std::u16string& path) {
  if (path.find_first_not_of(u'\\') == std::u16string::npos) return base;
  std::u16string cached;
  if (!m_writing) {
    cached = cache_key(base, path);
    const auto found = m_key_cache.find(cached);
    if (found != m_key_cache.end()) return found->second;
  }
  Key_id id = base;
  for (const std::u16string& name : reg_split_path(path)) {
    id = find_child(id, name);
    if (id == NO_KEY) break;
  }
  if (!m_writing) m_key_cache.emplace(std::move(cached), id);
  return id;
}

bool Etcd_hive::find_value(Key_id key, const std::u16string& name, Nev_reg_value& value) {
  const std::string* entry = lookup(value_entry(key, name));
  if (entry == nullptr) return false;
  value = value_of(*entry);
  return true;
}

bool Etcd_hive::key_exists(Key_id key) { return key != NO_KEY && lookup("i/" + hex_id(key)) != nullptr; }

const Value_list& Etcd_hive::values(Key_id key) {
  if (!m_writing) {
    const auto found = m_value_cache.find(key);
    if (found != m_value_cache.end()) return found->second;
  }
  struct Held {
    std::int64_t revision;
    std::uint32_t sequence;
    Nev_reg_value value;
  };
  std::vector<Held> held;
  each("v/" + hex_id(key) + "/", [&](const std::string&, const std::string& bytes, std::int64_t revision) {
    held.push_back(Held{revision, bytes.size() >= 4 ? u32_at(bytes, 0) : 0u, value_of(bytes)});
  });
  std::stable_sort(held.begin(), held.end(), [](const Held& a, const Held& b) {
    return a.revision != b.revision ? a.revision < b.revision : a.sequence < b.sequence;
  });
  Value_list& list = m_writing ? m_scratch_values : m_value_cache[key];
  list = Value_list{};
  for (Held& h : held) {
    list.by_fold.emplace(reg_fold(h.value.name), list.values.size());
    list.values.push_back(std::move(h.value));
  }
  return list;
}

const std::vector<std::u16string>& Etcd_hive::subkeys(Key_id key) {
  if (!m_writing) {
    const auto found = m_subkey_cache.find(key);
    if (found != m_subkey_cache.end()) return found->second;
  }
  std::vector<std::u16string>& names = m_writing ? m_scratch_subkeys : m_subkey_cache[key];
  names.clear();
  each("k/" + hex_id(key) + "/", [&](const std::string&, const std::string& entry, std::int64_t) {
    names.push_back(nev_from_utf16le(entry.data() + 16, entry.size() - 16, false));
  });
  return names;
}

// ---- writing ----------------------------------------------------------------------------

Key_id Etcd_hive::create_key(Key_id base, const std::u16string& path) {
  Key_id id = base;
  for (const std::u16string& name : reg_split_path(path)) {
    const Key_id child = find_child(id, name);
    if (child != NO_KEY) {
      id = child;
      continue;
    }
    const Key_id created = next_id();
    const std::vector<std::uint8_t> spelling = nev_to_utf16le(name, false);
    put(key_entry(id, name), hex_id(created) + std::string(spelling.begin(), spelling.end()));
    put("i/" + hex_id(created), hex_id(id) + folded_bytes(name));
    id = created;
  }
  return id;
}

void Etcd_hive::put_value(Key_id key, const Nev_reg_value& value) {
  const std::string entry = value_entry(key, value.name);
  const std::string* existing = lookup(entry);
  if (existing == nullptr || existing->size() < RECORD_HEADER) {
    put(entry, record(m_next_sequence++, value));
    return;
  }
  Nev_reg_value kept = value;
  kept.name = value_of(*existing).name;  // the first spelling stays
  put(entry, record(u32_at(*existing, 0), kept));
}

bool Etcd_hive::remove_value(Key_id key, const std::u16string& name) {
  const std::string entry = value_entry(key, name);
  if (lookup(entry) == nullptr) return false;
  erase(entry);
  return true;
}

void Etcd_hive::remove_tree(Key_id key) {
  const std::string* self = lookup("i/" + hex_id(key));
  if (self == nullptr) return;
  erase("k/" + self->substr(0, 16) + "/" + self->substr(16));
  std::vector<Key_id> pending = {key};
  while (!pending.empty()) {
    const Key_id id = pending.back();
    pending.pop_back();
    std::vector<std::string> doomed;
    each("k/" + hex_id(id) + "/", [&](const std::string& k, const std::string& entry, std::int64_t) {
      pending.push_back(id_of(entry));
      doomed.push_back(k);
    });
    each("v/" + hex_id(id) + "/", [&](const std::string& k, const std::string&, std::int64_t) { doomed.push_back(k); });
    for (const std::string& k : doomed) erase(k);
    erase("i/" + hex_id(id));
  }
}

}  // namespace nev::detail
