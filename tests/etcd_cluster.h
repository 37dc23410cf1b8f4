// A real etcd cluster for tests: `etcd` processes on 127.0.0.1 with free
// ports and a temporary data folder (in /dev/shm when there is one, so that
// fsync is cheap), started by the constructor, waited for until they answer,
// and killed with their data at the end. Members can be killed, stopped and
// started again to test faults.
//
// Only the process that made the cluster stops it: a forked child that runs
// static destructors leaves it alone.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace test_support {

class Etcd_cluster {
 public:
  // `flags` go to every member besides the ones the cluster needs.
  explicit Etcd_cluster(int members = 1, std::vector<std::string> flags = {})
      : m_owner(::getpid()), m_flags(std::move(flags)) {
    const std::filesystem::path base =
        std::filesystem::exists("/dev/shm") ? std::filesystem::path("/dev/shm") : std::filesystem::temp_directory_path();
    std::string pattern = (base / "nev-etcd-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder for etcd");
    m_folder = pattern;
    for (int i = 0; i < members; ++i) m_members.push_back(Member{free_port(), free_port(), -1});
    for (int i = 0; i < members; ++i) start(i);
    for (int i = 0; i < members; ++i) {
      if (!wait_ready(i, std::chrono::seconds(30))) throw std::runtime_error("etcd did not start: see " + m_folder);
    }
  }
  ~Etcd_cluster() {
    if (::getpid() != m_owner) return;
    for (int i = 0; i < static_cast<int>(m_members.size()); ++i) kill(i);
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }
  Etcd_cluster(const Etcd_cluster&) = delete;
  Etcd_cluster& operator=(const Etcd_cluster&) = delete;

  int size() const { return static_cast<int>(m_members.size()); }
  std::string endpoint(int i) const { return "127.0.0.1:" + std::to_string(m_members[i].client); }
  // Every member's endpoint, joined by commas.
  std::string endpoints() const {
    std::string text;
    for (int i = 0; i < size(); ++i) text += (i ? "," : "") + endpoint(i);
    return text;
  }
  // The registry location of the hive under `prefix`.
  std::string location(const std::string& prefix) const { return "etcd://" + endpoints() + "/" + prefix; }

  // Kills member `i` with SIGKILL, or stops it with SIGTERM, and reaps it.
  void kill(int i, int signal = SIGKILL) {
    Member& member = m_members[i];
    if (member.pid <= 0) return;
    ::kill(member.pid, signal);
    ::waitpid(member.pid, nullptr, 0);
    member.pid = -1;
  }
  // Sends `signal` to member `i` (SIGSTOP to hang it, SIGCONT to resume it).
  // A stop is waited for until every thread of the member has stopped.
  void signal(int i, int signal) const {
    const pid_t pid = m_members[i].pid;
    if (pid <= 0) return;
    ::kill(pid, signal);
    while (signal == SIGSTOP && state_of(pid) != 'T') std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  // Starts member `i` again on its data, and waits until it answers.
  bool restart(int i) {
    start(i);
    return wait_ready(i, std::chrono::seconds(30));
  }
  // The member that leads now; -1 when none answers as leader.
  int leader() const {
    for (int i = 0; i < size(); ++i) {
      if (m_members[i].pid <= 0) continue;
      const std::string reply = http(m_members[i].client, "POST", "/v3/maintenance/status", "{}");
      const std::string member = field(reply, "\"member_id\":\"");
      if (!member.empty() && member == field(reply, "\"leader\":\"")) return i;
    }
    return -1;
  }
  // How many watches member `i` serves now (from its metrics); -1 when it
  // does not answer.
  int watchers(int i) const { return static_cast<int>(metric(i, "etcd_debugging_mvcc_watcher_total")); }

  // The value of metric `name` (its whole name with labels, as member `i`
  // prints it); -1 when the member does not answer or has no such metric.
  double metric(int i, const std::string& name) const {
    const std::string reply = http(m_members[i].client, "GET", "/metrics", "");
    const std::size_t at = reply.find("\n" + name + " ");
    return at == std::string::npos ? -1 : std::atof(reply.c_str() + at + name.size() + 2);
  }

  // Whether member `i` answers and sees a leader.
  bool healthy(int i) const {
    return http(m_members[i].client, "GET", "/health", "").find("\"health\":\"true\"") != std::string::npos;
  }
  bool wait_ready(int i, std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < deadline) {
      if (healthy(i)) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
  }

 private:
  struct Member {
    int client;
    int peer;
    pid_t pid;
  };

  // The state letter of process `pid` (R, S, T, ...); '?' when unknown.
  static char state_of(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const std::size_t end = text.rfind(')');
    return end != std::string::npos && end + 2 < text.size() ? text[end + 2] : '?';
  }

  static int free_port() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(fd);
    return ntohs(address.sin_port);
  }

  static std::string field(const std::string& text, const std::string& prefix) {
    const std::size_t at = text.find(prefix);
    if (at == std::string::npos) return {};
    const std::size_t start = at + prefix.size();
    return text.substr(start, text.find('"', start) - start);
  }

  // One HTTP/1.0 request to 127.0.0.1:port; the whole reply, or empty.
  static std::string http(int port, const char* method, const std::string& path, const std::string& body) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    timeval limit{1, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string reply;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
      const std::string request = std::string(method) + " " + path + " HTTP/1.0\r\nContent-Type: application/json\r\n" +
                                  "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
      if (::send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size())) {
        char buffer[4096];
        for (ssize_t n; (n = ::recv(fd, buffer, sizeof buffer, 0)) > 0;) reply.append(buffer, static_cast<std::size_t>(n));
      }
    }
    ::close(fd);
    return reply;
  }

  void start(int i) {
    std::string cluster;
    for (int j = 0; j < size(); ++j) {
      cluster += (j ? "," : "") + ("m" + std::to_string(j)) + "=http://127.0.0.1:" + std::to_string(m_members[j].peer);
    }
    const Member& member = m_members[i];
    const std::string client = "http://127.0.0.1:" + std::to_string(member.client);
    const std::string peer = "http://127.0.0.1:" + std::to_string(member.peer);
    std::vector<std::string> arguments = {"etcd",
                                          "--name=m" + std::to_string(i),
                                          "--data-dir=" + m_folder + "/m" + std::to_string(i),
                                          "--listen-client-urls=" + client,
                                          "--advertise-client-urls=" + client,
                                          "--listen-peer-urls=" + peer,
                                          "--initial-advertise-peer-urls=" + peer,
                                          "--initial-cluster=" + cluster,
                                          "--initial-cluster-state=new",
                                          "--initial-cluster-token=nev-test",
                                          "--heartbeat-interval=50",
                                          "--election-timeout=500",
                                          "--max-txn-ops=1000000",
                                          "--max-request-bytes=67108864",
                                          "--quota-backend-bytes=4294967296",
                                          "--log-level=warn"};
    arguments.insert(arguments.end(), m_flags.begin(), m_flags.end());
    const std::string log = m_folder + "/m" + std::to_string(i) + ".log";
    const pid_t pid = ::fork();
    if (pid == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlives the test
      const int fd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
      ::dup2(fd, 1);
      ::dup2(fd, 2);
      std::vector<char*> argv;
      for (std::string& a : arguments) argv.push_back(a.data());
      argv.push_back(nullptr);
      ::execvp("etcd", argv.data());
      ::_exit(127);
    }
    m_members[i].pid = pid;
  }

  pid_t m_owner;
  std::vector<std::string> m_flags;  // more flags for every member
  std::string m_folder;
  std::vector<Member> m_members;
};

}  // namespace test_support
