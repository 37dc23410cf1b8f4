// Many threads creating plug-in objects at once, with and without a thread
// that tidies the cache beside them.
#include <atomic>
#include <thread>
#include <vector>

#include "kov/plugin.h"
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
constexpr int THREADS = 6;
constexpr int ROUNDS = 150;

// Each thread creates ROUNDS objects, cycling through the sources from its
// own starting point, keeps up to `thread % 3` of them alive and uses each
// before ending it, so that an object outliving its library would crash the
// test.
void create_objects(int thread, std::atomic<int>& created, std::atomic<int>& failed) {
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
    ++created;
    alive.push_back(object);
    if (alive.size() > static_cast<std::size_t>(thread % 3)) {
      gan::Gan_base* oldest = alive.front();
      alive.erase(alive.begin());
      if (oldest->interface_version() == 0) ++failed;  // calls into the library
      deallocator.deallocate(oldest);
    }
  }
  for (gan::Gan_base* object : alive) deallocator.deallocate(object);
}

using Threads = Sample_hive;

TEST_F(Threads, ConcurrentCreationLoadsEachLibraryOnce) {
  std::atomic<int> created{0};
  std::atomic<int> failed{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < THREADS; ++t) threads.emplace_back(create_objects, t, std::ref(created), std::ref(failed));
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failed.load(), 0);
  EXPECT_EQ(created.load(), THREADS * ROUNDS);
  for (const char* library : {"shapes", "tally_a", "tally_b", "tally_c"})
    EXPECT_EQ(count_events(std::string("load ") + library), 1) << library;
  int creates = 0;
  for (const std::string& event : events()) creates += event.rfind("create ", 0) == 0 ? 1 : 0;
  EXPECT_EQ(creates, THREADS * ROUNDS);
}

TEST_F(Threads, TidyingBesideCreationNeverUnloadsALibraryInUse) {
  std::atomic<int> created{0};
  std::atomic<int> failed{0};
  std::atomic<bool> done{false};
  std::atomic<int> tidy_failures{0};
  std::atomic<int> tidy_runs{0};
  std::thread tidier([&] {
    while (!done.load()) {
      nev::Nev_status status;
      kov::kov_plugin_tidy_libraries(status);
      if (!status.ok()) ++tidy_failures;
      ++tidy_runs;
      std::this_thread::yield();
    }
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < THREADS; ++t) threads.emplace_back(create_objects, t, std::ref(created), std::ref(failed));
  for (std::thread& thread : threads) thread.join();
  done = true;
  tidier.join();
  EXPECT_EQ(failed.load(), 0);
  EXPECT_EQ(created.load(), THREADS * ROUNDS);
  EXPECT_EQ(tidy_failures.load(), 0);
  EXPECT_GT(tidy_runs.load(), 0);
  EXPECT_EQ(count_events("unload-live shapes") + count_events("unload-live tally_a") +
                count_events("unload-live tally_b") + count_events("unload-live tally_c"),
            0);
  // Every unload was preceded by its own load.
  for (const char* library : {"shapes", "tally_a", "tally_b", "tally_c"}) {
    const int loads = count_events(std::string("load ") + library);
    const int unloads = count_events(std::string("unload ") + library);
    EXPECT_GE(loads, 1) << library;
    EXPECT_TRUE(loads == unloads || loads == unloads + 1) << library;
  }
}

}  // namespace
