// Many threads creating plug-in objects at once while a thread tidies the
// cache beside them.
#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include "plugin_test_support.h"
#include "sample_types.h"

namespace {

using namespace plugin_test;

struct Source {
  const char16_t* plugin;
  _GUID type;
  const char16_t* description;
};
const Source SOURCES[] = {
    {u"Shapes", kovsample::CIRCLE_TYPE, u"a circle"}, {u"Shapes", kovsample::SQUARE_TYPE, u"a square"},
    {u"TallyA", kovsample::TALLY_TYPE, u"a tally"},   {u"TallyB", kovsample::TALLY_TYPE, u"a tally"},
    {u"TallyC", kovsample::TALLY_TYPE, u"a tally"},
};
const char* const LIBRARIES[] = {"shapes", "tally_a", "tally_b", "tally_c"};
constexpr int THREADS = 6;
constexpr int ROUNDS = 150;

// Ending an object runs the library's code until its deallocate returns,
// after the library may already answer that it can go. A program that tidies
// beside threads that end objects keeps the two apart, as this one does:
// endings share the gate, a tidy holds it alone.
std::shared_mutex ending_gate;

void end_object(const kov::Kov_plugin_deallocator& deallocator, gan::Gan_base* object) {
  const std::shared_lock<std::shared_mutex> hold(ending_gate);
  deallocator.deallocate(object);
}

// Each thread creates ROUNDS objects, cycling through the sources from its
// own starting point, keeps up to `thread % 3` of them alive and uses each
// before ending it, so that an object outliving its library would crash the
// test. Gives the number of objects that were wrong or missing.
int create_objects(int thread) {
  int failed = 0;
  std::vector<gan::Gan_base*> alive;
  const kov::Kov_plugin_deallocator deallocator;
  for (int round = 0; round < ROUNDS; ++round) {
    const Source& source = SOURCES[static_cast<std::size_t>(thread + round) % std::size(SOURCES)];
    gan::Gan_base* object = nullptr;
    nev::Nev_status status;
    kov::kov_plugin_create_instance(source.plugin, source.type, 0, 0, object, status);
    if (object == nullptr || !status.ok() || std::u16string(object->description()) != source.description) {
      ++failed;
      continue;
    }
    alive.push_back(object);
    if (alive.size() > static_cast<std::size_t>(thread % 3)) {
      if (alive.front()->interface_version() == 0) ++failed;  // calls into the library
      end_object(deallocator, alive.front());
      alive.erase(alive.begin());
    }
  }
  for (gan::Gan_base* object : alive) end_object(deallocator, object);
  return failed;
}

// Runs THREADS creating threads to their end; gives the failures of all.
int run_creators() {
  std::atomic<int> failed{0};
  std::vector<std::thread> creators;
  for (int t = 0; t < THREADS; ++t) creators.emplace_back([t, &failed] { failed += create_objects(t); });
  for (std::thread& creator : creators) creator.join();
  return failed.load();
}

using Threads = Sample_hive;

// A library loaded twice would stay mapped after the one unload of the
// cache's handle: its own log shows it loaded and unloaded exactly once.
TEST_F(Threads, ConcurrentCreationLoadsEachLibraryOnce) {
  EXPECT_EQ(run_creators(), 0);
  EXPECT_EQ(events("create ").size(), static_cast<std::size_t>(THREADS * ROUNDS));
  ASSERT_TRUE(tidy().ok());
  for (const char* library : LIBRARIES) {
    EXPECT_EQ(count_events(std::string("load ") + library), 1) << library;
    EXPECT_EQ(count_events(std::string("unload ") + library), 1) << library;
  }
}

TEST_F(Threads, TidyingBesideCreationNeverUnloadsALibraryInUse) {
  std::atomic<bool> done{false};
  int tidy_failures = 0;
  int tidy_runs = 0;
  std::thread tidier([&] {
    for (; !done.load(); ++tidy_runs, std::this_thread::yield()) {
      const std::unique_lock<std::shared_mutex> hold(ending_gate);
      tidy_failures += tidy().ok() ? 0 : 1;
    }
  });
  EXPECT_EQ(run_creators(), 0);
  done = true;
  tidier.join();
  EXPECT_EQ(tidy_failures, 0);
  EXPECT_GT(tidy_runs, 0);
  EXPECT_EQ(events("create ").size(), static_cast<std::size_t>(THREADS * ROUNDS));
  EXPECT_EQ(events("unload-live ").size(), 0u);
  // Every unload was preceded by its own load.
  for (const char* library : LIBRARIES) {
    const int loaded = count_events(std::string("load ") + library) - count_events(std::string("unload ") + library);
    EXPECT_TRUE(loaded == 0 || loaded == 1) << library;
  }
}

}  // namespace
