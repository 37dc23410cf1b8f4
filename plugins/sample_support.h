// What the sample plug-ins share: an event log for the programs that test
// them, a count of live objects, and the answer to "may I be unloaded?".
//
// Every event is one line "<event> <library>" appended to the file named by
// the environment variable KOVSAMPLE_LOG, when it is set:
//   load, unload               the library was mapped or is being unmapped
//   unload-live                it is being unmapped with objects alive
//   ask-yes, ask-no            gan_can_unload_now answered
//   create                     an object was made
// A library refuses to be unloaded while it has live objects, and always
// when its name appears in the environment variable KOVSAMPLE_REFUSE_UNLOAD.
#pragma once

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace kovsample {

inline void log_event(const char* event, const char* library) {
  static std::mutex lock;
  const char* path = std::getenv("KOVSAMPLE_LOG");
  if (path == nullptr || *path == '\0') return;
  const std::lock_guard<std::mutex> hold(lock);
  if (std::FILE* file = std::fopen(path, "a")) {
    std::fprintf(file, "%s %s\n", event, library);
    std::fclose(file);
  }
}

// Live objects of this library.
inline std::atomic<int> live_objects{0};

// Logs the library's load and unload; one static instance per library.
struct Library_events {
  explicit Library_events(const char* library) : m_library(library) { log_event("load", m_library); }
  ~Library_events() {
    if (live_objects.load() != 0) log_event("unload-live", m_library);
    log_event("unload", m_library);
  }
  Library_events(const Library_events&) = delete;
  Library_events& operator=(const Library_events&) = delete;
  const char* m_library;
};

// True when `library` is named in KOVSAMPLE_REFUSE_UNLOAD.
inline bool told_to_stay(const char* library) {
  const char* names = std::getenv("KOVSAMPLE_REFUSE_UNLOAD");
  return names != nullptr && std::strstr(names, library) != nullptr;
}

// The answer of gan_can_unload_now, logged.
inline bool can_unload_now(const char* library) {
  const bool yes = live_objects.load() == 0 && !told_to_stay(library);
  log_event(yes ? "ask-yes" : "ask-no", library);
  return yes;
}

}  // namespace kovsample
