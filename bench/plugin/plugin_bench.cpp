// Creating a plug-in object from a cached library, against the floor: the
// same factory called directly through an entry point looked up once. A
// single registry read is measured beside them, since creation reads the
// registry on every call (one value, or three with both version tests).
//
// The hive is NEV_REGISTRY when set, else a fresh file in the temporary
// folder. Run with repetitions and compare the medians:
//   bench_plugin --benchmark_repetitions=10 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "kov/plugin.h"
#include "nev/library.h"
#include "nev/registry.h"
#include "nev/strings.h"
#include "sample_types.h"

namespace {

const std::u16string PLUGIN = u"BenchShapes";

void register_sample() {
  std::u16string type_text;
  kov::kov_type_to_string(kovsample::CIRCLE_TYPE, type_text);
  const std::u16string key = kov::kov_make_path(kov::PLUGIN_ROOT_KEY, PLUGIN, type_text);
  nev::Nev_status status;
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"ImagePath", nev::nev_from_utf8(SHAPES_PATH),
                                status);
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"InterfaceVersion", 0x10000, status);
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"ImplementationVersion", 0x10002, status);
  nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"LibraryVersion", 0x40000, status);
  if (!status.ok()) {
    std::fprintf(stderr, "cannot register the sample: %s\n", nev::nev_to_utf8(nev::nev_status_text(status)).c_str());
    std::exit(1);
  }
}

// Creation through the registry and the cache; `versions` asks for both
// version tests (three registry reads instead of one).
void create_instance(benchmark::State& state, bool versions) {
  const std::uint32_t interface_version = versions ? 0x10000 : 0;
  const std::uint32_t implementation_version = versions ? 0x10002 : 0;
  const kov::Kov_plugin_deallocator deallocator;
  nev::Nev_status status;
  for (auto _ : state) {
    gan::Gan_base* object = nullptr;
    kov::kov_plugin_create_instance(PLUGIN, kovsample::CIRCLE_TYPE, interface_version, implementation_version, object,
                                    status);
    if (object == nullptr) {
      state.SkipWithError("creation failed");
      break;
    }
    deallocator.deallocate(object);
  }
}

void BM_create_instance(benchmark::State& state) { create_instance(state, false); }
void BM_create_instance_with_versions(benchmark::State& state) { create_instance(state, true); }

// The floor: the factory entry point looked up once, then called directly.
void BM_factory_floor(benchmark::State& state) {
  nev::Nev_status status;
  nev::Nev_library library = nev::nev_load_library(nev::nev_from_utf8(SHAPES_PATH), status);
  void* entry = status.ok() ? nev::nev_lookup_function(library, "gan_get_factory", status) : nullptr;
  if (!status.ok()) {
    state.SkipWithError("cannot load the sample");
    return;
  }
  const auto get_factory = reinterpret_cast<Gan_get_factory_fn>(entry);
  for (auto _ : state) {
    gan::Gan_factory* factory = get_factory(PLUGIN.c_str(), kovsample::CIRCLE_TYPE);
    gan::Gan_base* object = factory->create_instance();
    benchmark::DoNotOptimize(object);
    object->deallocate();
  }
  nev::nev_unload_library(library, status);
}

// One registry read of "ImagePath", the share of the hive in each creation.
void BM_registry_read(benchmark::State& state) {
  std::u16string type_text;
  kov::kov_type_to_string(kovsample::CIRCLE_TYPE, type_text);
  const std::u16string subkey = PLUGIN + u"\\" + type_text;
  nev::Nev_status status;
  std::u16string path;
  for (auto _ : state) {
    nev::nev_get_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, kov::PLUGIN_ROOT_KEY, subkey, u"ImagePath", path,
                                  status);
    benchmark::DoNotOptimize(path.data());
  }
  if (!status.ok()) state.SkipWithError("read failed");
}

// Creation while N plug-ins are registered, each with a library file of its
// own (copies of the sample, made once): objects are created from each in
// turn, so the library cache holds N libraries. It should cost the same at
// 1 and at 100.
std::vector<std::u16string> registered_copies(long count) {
  static std::map<long, std::vector<std::u16string>> made;
  if (made.count(count)) return made[count];
  std::string folder = (std::filesystem::temp_directory_path() / "kov-bench-plugins-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) std::abort();
  std::u16string type_text;
  kov::kov_type_to_string(kovsample::CIRCLE_TYPE, type_text);
  std::vector<std::u16string> names;
  nev::Nev_status status;
  for (long i = 0; i < count; ++i) {
    const std::string copy = folder + "/shapes" + std::to_string(i) + ".so";
    std::filesystem::copy_file(SHAPES_PATH, copy);
    names.push_back(nev::nev_from_utf8("BenchCopy" + std::to_string(count) + "_" + std::to_string(i)));
    const std::u16string key = kov::kov_make_path(kov::PLUGIN_ROOT_KEY, names.back(), type_text);
    nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"ImagePath", nev::nev_from_utf8(copy),
                                  status);
    nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"LibraryVersion", 0x40000, status);
  }
  if (!status.ok()) std::abort();
  return made[count] = names;
}

void BM_create_among(benchmark::State& state) {
  const std::vector<std::u16string> names = registered_copies(state.range(0));
  const kov::Kov_plugin_deallocator deallocator;
  nev::Nev_status status;
  std::size_t next = 0;
  for (auto _ : state) {
    gan::Gan_base* object = nullptr;
    kov::kov_plugin_create_instance(names[next], kovsample::CIRCLE_TYPE, 0, 0, object, status);
    if (object == nullptr) {
      state.SkipWithError(nev::nev_to_utf8(nev::nev_status_text(status)).c_str());
      break;
    }
    deallocator.deallocate(object);
    next = next + 1 == names.size() ? 0 : next + 1;
  }
}

BENCHMARK(BM_factory_floor);
BENCHMARK(BM_registry_read);
BENCHMARK(BM_create_instance);
BENCHMARK(BM_create_instance_with_versions);
BENCHMARK(BM_create_among)->Arg(1)->Arg(100);

}  // namespace

int main(int argc, char** argv) {
  // A folder of this run's own: the hive may not lie in a folder that others
  // may write, such as /tmp itself.
  std::string folder;
  if (std::getenv("NEV_REGISTRY") == nullptr) {
    folder = (std::filesystem::temp_directory_path() / "kov-bench-plugin-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) return 1;
    ::setenv("NEV_REGISTRY", (folder + "/hive.db").c_str(), 1);
  }
  ::unsetenv("KOVSAMPLE_LOG");  // the sample's event log would dominate
  register_sample();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  if (!folder.empty()) std::filesystem::remove_all(folder);
  return 0;
}
