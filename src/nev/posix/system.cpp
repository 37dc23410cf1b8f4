// Environment, thread ids and the console on POSIX. The console is standard
// output: text goes out as UTF-8, and "allocating" or "freeing" it leaves the
// descriptors alone.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string>

#include "nev/text_units.h"
#include "nev/posix/posix_platform.h"
#include "nev/strings.h"
#include "nev/system.h"

namespace nev::platform {

namespace {

// The console handle is the descriptor number itself; standard output is 1,
// so a valid handle is never null.
int console_descriptor(Nev_console console) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(console));
}

// Blocks SIGPIPE in the calling thread while it lives, so that a write to a
// pipe whose reader has gone fails with EPIPE instead of ending the process.
// A SIGPIPE raised meanwhile is taken away again before the old mask returns,
// so nothing of this shows outside; no process-wide handler is touched.
class Sigpipe_guard {
 public:
  Sigpipe_guard() noexcept {
    sigemptyset(&m_pipe);
    sigaddset(&m_pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &m_pipe, &m_old_mask);
    sigset_t pending;
    sigpending(&pending);
    m_was_pending = sigismember(&pending, SIGPIPE) == 1;
  }
  ~Sigpipe_guard() {
    if (m_broken && !m_was_pending) {
      const timespec no_wait{0, 0};
      while (sigtimedwait(&m_pipe, nullptr, &no_wait) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &m_old_mask, nullptr);
  }
  Sigpipe_guard(const Sigpipe_guard&) = delete;
  Sigpipe_guard& operator=(const Sigpipe_guard&) = delete;

  void broken_pipe() noexcept { m_broken = true; }

 private:
  sigset_t m_pipe;
  sigset_t m_old_mask;
  bool m_was_pending = false;
  bool m_broken = false;
};

// Writes all of `bytes` to `fd`; returns how many got out.
std::size_t write_all(int fd, const std::string& bytes) {
  Sigpipe_guard guard;
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (count > 0) {
      done += static_cast<std::size_t>(count);
    } else if (count < 0 && errno == EINTR) {
      continue;
    } else {
      // EPIPE, a full non-blocking output, a write that takes nothing: give up
      // rather than wait for a reader that may never come back.
      if (count < 0 && errno == EPIPE) guard.broken_pipe();
      break;
    }
  }
  return done;
}

}  // namespace

bool Posix_platform::environment_variable(const std::u16string& name, std::u16string& value) {
  // In a program that runs with rights its caller lacks (set-user-ID,
  // set-group-ID, file capabilities) every variable counts as unset: the
  // caller's environment must not choose where such a program writes.
#if defined(__linux__)
  const char* text = ::secure_getenv(nev_to_utf8(name).c_str());
#else
  const char* text = std::getenv(nev_to_utf8(name).c_str());
#endif
  if (text == nullptr) return false;
  value = nev_from_utf8(text);
  return true;
}

bool Posix_platform::set_environment_variable(const std::u16string& name, const std::u16string& value) {
  return ::setenv(nev_to_utf8(name).c_str(), nev_to_utf8(value).c_str(), 1) == 0;
}

namespace {

// The calling thread's id once asked; 0 before. Asking is a system call and
// the diagnostics ask on every line, while a thread's id never changes. A
// forked child starts with the forking thread's copy, which the fork
// handler clears.
thread_local std::uint32_t cached_thread_id = 0;

void forget_thread_id() noexcept { cached_thread_id = 0; }

}  // namespace

std::uint32_t Posix_platform::thread_id() noexcept {
  if (cached_thread_id == 0) {
    static const int registered = pthread_atfork(nullptr, nullptr, forget_thread_id);
    static_cast<void>(registered);
    cached_thread_id = static_cast<std::uint32_t>(gettid());
  }
  return cached_thread_id;
}

bool Posix_platform::console_alloc() noexcept { return true; }

Nev_console Posix_platform::console_std_output() noexcept {
  return reinterpret_cast<Nev_console>(static_cast<std::intptr_t>(STDOUT_FILENO));
}

bool Posix_platform::console_write(Nev_console console, const char16_t* text, std::uint32_t count,
                   std::uint32_t& written) noexcept {
  written = 0;
  try {
    const std::string bytes = nev_to_utf8(std::u16string(text, count));
    const std::size_t done = write_all(console_descriptor(console), bytes);
    written = done == bytes.size() ? count : detail::units_in_utf8_prefix(text, count, done);
    return done > 0;
  } catch (...) {
    return false;  // no memory for the converted text
  }
}

bool Posix_platform::console_free() noexcept { return true; }

}  // namespace nev::platform

namespace nev::platform {

Platform& default_platform() noexcept {
  static auto* platform = new Posix_platform;  // used until the process's last moment
  return *platform;
}

}  // namespace nev::platform

namespace nev {

// POSIX hands the arguments over as the bytes they are: UTF-8.
Nev_utf8_arguments::Nev_utf8_arguments(int argc, char** argv) {
  for (int i = 0; i < argc; ++i) m_words.emplace_back(argv[i] != nullptr ? argv[i] : "");
  for (std::string& word : m_words) m_pointers.push_back(word.data());
  m_pointers.push_back(nullptr);
}

}  // namespace nev
