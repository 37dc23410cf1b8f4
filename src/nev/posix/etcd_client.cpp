// The etcd client over the JSON gateway: request bodies, retries over the
// endpoints within the timeout, and the watch stream.
#include "nev/posix/etcd_client.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <thread>

namespace nev::detail {

namespace {

using Json = nlohmann::json;
using Clock = std::chrono::steady_clock;

// gRPC status codes that another endpoint or a second try may mend:
// cancelled, unknown, deadline exceeded, resource exhausted, aborted, unavailable.
bool retryable(int code) { return code == 1 || code == 2 || code == 4 || code == 8 || code == 10 || code == 14; }

const char BASE64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string encode(const std::string& bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    const unsigned n = static_cast<unsigned char>(bytes[i]) << 16 | static_cast<unsigned char>(bytes[i + 1]) << 8 |
                       static_cast<unsigned char>(bytes[i + 2]);
    text += {BASE64[n >> 18], BASE64[(n >> 12) & 63], BASE64[(n >> 6) & 63], BASE64[n & 63]};
  }
  if (i + 1 == bytes.size()) {
    const unsigned n = static_cast<unsigned char>(bytes[i]) << 16;
    text += {BASE64[n >> 18], BASE64[(n >> 12) & 63], '=', '='};
  } else if (i + 2 == bytes.size()) {
    const unsigned n = static_cast<unsigned char>(bytes[i]) << 16 | static_cast<unsigned char>(bytes[i + 1]) << 8;
    text += {BASE64[n >> 18], BASE64[(n >> 12) & 63], BASE64[(n >> 6) & 63], '='};
  }
  return text;
}

std::string decode(const std::string& text) {
  static const auto table = [] {
    std::array<int, 256> t{};
    t.fill(-1);
    for (int i = 0; i < 64; ++i) t[static_cast<unsigned char>(BASE64[i])] = i;
    return t;
  }();
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  unsigned n = 0;
  int bits = 0;
  for (const char c : text) {
    const int digit = table[static_cast<unsigned char>(c)];
    if (digit < 0) continue;  // padding
    n = n << 6 | static_cast<unsigned>(digit);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes += static_cast<char>((n >> bits) & 0xFF);
    }
  }
  return bytes;
}

// A 64-bit field: the gateway writes them as strings, and leaves out zeros.
std::int64_t number(const Json& object, const char* name) {
  const auto found = object.find(name);
  if (found == object.end()) return 0;
  return found->is_string() ? std::stoll(found->get<std::string>()) : found->get<std::int64_t>();
}

std::string bytes_of(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found == object.end() ? std::string() : decode(found->get<std::string>());
}

Etcd_kv kv_of(const Json& object) {
  return Etcd_kv{bytes_of(object, "key"), bytes_of(object, "value"), number(object, "create_revision"),
                 number(object, "mod_revision")};
}

std::int64_t revision_of(const Json& reply) {
  const auto header = reply.find("header");
  return header == reply.end() ? 0 : number(*header, "revision");
}

void curl_once() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

std::size_t append(char* data, std::size_t size, std::size_t count, void* target) {
  static_cast<std::string*>(target)->append(data, size * count);
  return size * count;
}

struct Header_list {
  curl_slist* list = nullptr;
  Header_list() {
    list = curl_slist_append(list, "Content-Type: application/json");
    list = curl_slist_append(list, "Expect:");
  }
  ~Header_list() { curl_slist_free_all(list); }
};

// Sets up `curl` for a POST of `body` to `url`, the reply going to `reply`.
void prepare(CURL* curl, const std::string& url, const std::string& body, std::string& reply, long timeout_ms,
             const Header_list& headers) {
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.list);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, timeout_ms);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, timeout_ms);
}

std::string join(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : ",") + part;
  return text;
}

}  // namespace

std::string etcd_prefix_end(const std::string& prefix) {
  std::string end = prefix;
  while (!end.empty()) {
    if (static_cast<unsigned char>(end.back()) < 0xFF) {
      end.back() = static_cast<char>(static_cast<unsigned char>(end.back()) + 1);
      return end;
    }
    end.pop_back();
  }
  return std::string(1, '\0');  // every key
}

Etcd_client::Etcd_client(std::vector<std::string> endpoints, std::chrono::milliseconds timeout)
    : m_endpoints(std::move(endpoints)), m_endpoint_list(join(m_endpoints)), m_timeout(timeout) {
  curl_once();
}

Etcd_client::~Etcd_client() {
  if (m_curl != nullptr) curl_easy_cleanup(static_cast<CURL*>(m_curl));
}

void Etcd_client::forget_connection() noexcept {
  // The parent's handle holds the parent's socket: left alone, not cleaned up.
  m_curl = nullptr;
}

std::string Etcd_client::call(const char* path, const std::string& body) {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (m_curl == nullptr) m_curl = curl_easy_init();
  if (m_curl == nullptr) throw Etcd_error{"no HTTP connection could be made"};
  CURL* curl = static_cast<CURL*>(m_curl);
  const Header_list headers;
  const Clock::time_point deadline = Clock::now() + m_timeout;
  std::string last_error = "no answer";
  for (std::size_t attempt = 1;; ++attempt) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
      throw Etcd_error{"the etcd cluster at " + m_endpoint_list + " did not answer within " +
                       std::to_string(m_timeout.count()) + " ms (" + last_error + ")"};
    }
    const std::string& endpoint = m_endpoints[m_current % m_endpoints.size()];
    std::string reply;
    prepare(curl, "http://" + endpoint + path, body, reply, static_cast<long>(left), headers);
    const CURLcode code = curl_easy_perform(curl);
    long http = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &http);
    if (code == CURLE_OK && http == 200) return reply;
    if (code == CURLE_OK) {
      const Json error = Json::parse(reply, nullptr, false);
      const int grpc = error.is_object() ? static_cast<int>(number(error, "code")) : 14;
      const std::string message = error.is_object() && error.contains("message")
                                      ? error["message"].get<std::string>()
                                      : "HTTP status " + std::to_string(http);
      if (!retryable(grpc)) throw Etcd_error{"the etcd cluster at " + endpoint + " refused a request: " + message};
      last_error = endpoint + ": " + message;
    } else {
      last_error = endpoint + ": " + curl_easy_strerror(code);
    }
    ++m_current;
    // Once every endpoint failed, wait a little before the next round.
    if (attempt % m_endpoints.size() == 0) {
      const auto pause = std::min<std::int64_t>(50 * static_cast<std::int64_t>(attempt / m_endpoints.size()), 250);
      std::this_thread::sleep_for(std::chrono::milliseconds(std::min<std::int64_t>(pause, left)));
    }
  }
}

std::int64_t Etcd_client::range(const std::string& key, const std::string& range_end, std::vector<Etcd_kv>& kvs,
                                std::int64_t revision, std::int64_t limit, bool* more) {
  Json request = {{"key", encode(key)}};
  if (!range_end.empty()) request["range_end"] = encode(range_end);
  if (revision != 0) request["revision"] = std::to_string(revision);
  if (limit != 0) request["limit"] = std::to_string(limit);
  const Json reply = Json::parse(call("/v3/kv/range", request.dump()));
  const auto found = reply.find("kvs");
  if (found != reply.end()) {
    for (const Json& kv : *found) kvs.push_back(kv_of(kv));
  }
  if (more != nullptr) *more = reply.value("more", false);
  return revision_of(reply);
}

bool Etcd_client::txn(const std::vector<Etcd_compare>& compares, const std::vector<Etcd_op>& ops,
                      std::int64_t& revision) {
  Json compare = Json::array();
  for (const Etcd_compare& c : compares) {
    Json one = {{"key", encode(c.key)},
                {"target", "MOD"},
                {"result", c.range_end.empty() ? "EQUAL" : "LESS"},
                {"mod_revision", std::to_string(c.mod_revision)}};
    if (!c.range_end.empty()) one["range_end"] = encode(c.range_end);
    compare.push_back(std::move(one));
  }
  Json success = Json::array();
  for (const Etcd_op& op : ops) {
    if (op.put) {
      success.push_back({{"request_put", {{"key", encode(op.key)}, {"value", encode(op.value)}}}});
    } else {
      success.push_back({{"request_delete_range", {{"key", encode(op.key)}}}});
    }
  }
  const Json request = {{"compare", compare}, {"success", success}};
  const Json reply = Json::parse(call("/v3/kv/txn", request.dump()));
  if (!reply.value("succeeded", false)) return false;
  revision = revision_of(reply);
  return true;
}

std::int64_t Etcd_client::newest(const std::vector<Etcd_span>& spans) {
  // Each span's newest key alone, without its value, as the reads of one
  // unconditional transaction.
  Json reads = Json::array();
  for (const Etcd_span& span : spans) {
    Json one = {{"key", encode(span.key)}, {"keys_only", true}, {"limit", "1"},
                {"sort_order", "DESCEND"}, {"sort_target", "MOD"}};
    if (!span.range_end.empty()) one["range_end"] = encode(span.range_end);
    reads.push_back({{"request_range", std::move(one)}});
  }
  const Json reply = Json::parse(call("/v3/kv/txn", Json{{"success", reads}}.dump()));
  std::int64_t revision = 0;
  const auto responses = reply.find("responses");
  if (responses == reply.end()) return revision;
  for (const Json& response : *responses) {
    const Json& range = response.value("response_range", Json::object());
    const auto kvs = range.find("kvs");
    if (kvs != range.end() && !kvs->empty()) revision = std::max(revision, number((*kvs)[0], "mod_revision"));
  }
  return revision;
}

std::int64_t Etcd_client::put(const std::string& key, const std::string& value) {
  const Json request = {{"key", encode(key)}, {"value", encode(value)}};
  return revision_of(Json::parse(call("/v3/kv/put", request.dump())));
}

namespace {

// The state of one watch stream while curl reads it.
struct Watch_stream {
  const std::function<bool(const Etcd_watch_message&)>* on_message;
  const std::atomic<bool>* stop;
  std::string pending;
  bool ended = false;
  std::string error;
};

Etcd_watch_message message_of(const Json& result) {
  Etcd_watch_message message;
  message.created = result.value("created", false);
  message.compacted = number(result, "compact_revision") != 0;
  message.revision = revision_of(result);
  const auto events = result.find("events");
  if (events != result.end()) {
    for (const Json& event : *events) {
      message.events.push_back(Etcd_event{event.value("type", std::string("PUT")) != "DELETE", kv_of(event["kv"])});
    }
  }
  return message;
}

std::size_t take_stream(char* data, std::size_t size, std::size_t count, void* target) {
  auto& stream = *static_cast<Watch_stream*>(target);
  stream.pending.append(data, size * count);
  for (std::size_t end = stream.pending.find('\n'); end != std::string::npos; end = stream.pending.find('\n')) {
    const std::string line = stream.pending.substr(0, end);
    stream.pending.erase(0, end + 1);
    const Json reply = Json::parse(line, nullptr, false);
    if (!reply.is_object()) continue;
    if (!reply.contains("result")) {
      stream.error = reply.contains("error") ? reply["error"].dump() : line;
      return 0;
    }
    if (!(*stream.on_message)(message_of(reply["result"]))) {
      stream.ended = true;
      return 0;
    }
  }
  return size * count;
}

int check_stop(void* target, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  auto& stream = *static_cast<Watch_stream*>(target);
  return stream.stop->load() ? 1 : 0;
}

}  // namespace

void Etcd_client::watch(const std::string& key, const std::string& range_end, std::int64_t start_revision,
                        const std::function<bool(const Etcd_watch_message&)>& on_message,
                        const std::atomic<bool>& stop) {
  CURL* curl = curl_easy_init();
  if (curl == nullptr) throw Etcd_error{"no HTTP connection could be made"};
  const std::string& endpoint = m_endpoints[m_watch_turn.fetch_add(1) % m_endpoints.size()];
  const Json request = {{"create_request",
                         {{"key", encode(key)},
                          {"range_end", encode(range_end)},
                          {"start_revision", std::to_string(start_revision)}}}};
  const std::string body = request.dump();
  const Header_list headers;
  std::string unused;
  Watch_stream stream{&on_message, &stop, {}, false, {}};
  prepare(curl, "http://" + endpoint + "/v3/watch", body, unused, 0L, headers);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_timeout.count()));
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, take_stream);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &stream);
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, check_stop);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &stream);
  curl_easy_setopt(curl, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(curl, CURLOPT_TCP_KEEPIDLE, 2L);
  curl_easy_setopt(curl, CURLOPT_TCP_KEEPINTVL, 1L);
  const CURLcode code = curl_easy_perform(curl);
  curl_easy_cleanup(curl);
  if (stream.ended || stop.load()) return;
  throw Etcd_error{"the watch on " + endpoint + " broke: " +
                   (!stream.error.empty() ? stream.error : std::string(curl_easy_strerror(code)))};
}

}  // namespace nev::detail
