// Benchmarks of the typed properties.
//
//   build/release/bin/bench_property
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "kov/property.h"
#include "kov/property_list.h"
#include "kov/tokens.h"
#include "nev/strings.h"

namespace {

using kov::Kov_property;
using kov::Kov_property_list;

Kov_property sample(int kind) {
  switch (kind) {
    case 0:
      return Kov_property(u"Text", u"retry later");
    case 1:
      return Kov_property(u"Number", -1234567);
    case 2:
      return Kov_property(u"Flag", true);
    case 3:
      return Kov_property(u"When", nev::Nev_date_and_time(nev::Nev_date(5, 7, 1999), nev::Nev_time(13, 4, 9, 250),
                                                          nev::Nev_time_zone::local()));
    default:
      return Kov_property(u"Span", nev::Nev_time_period(3, 2, 1, 0, 500000));
  }
}

const char* const KIND_NAMES[] = {"STRING", "INTEGER", "BOOLEAN", "DATE_AND_TIME", "TIME_PERIOD"};

// Writes the stored text of a value and restores a property from it.
void BM_stored_text_round_trip(benchmark::State& state) {
  const Kov_property original = sample(static_cast<int>(state.range(0)));
  state.SetLabel(KIND_NAMES[state.range(0)]);
  for (auto _ : state) {
    Kov_property restored(original.name(), original.get_persistent_string());
    benchmark::DoNotOptimize(restored.convert_from_persistent_string());
  }
}
BENCHMARK(BM_stored_text_round_trip)->DenseRange(0, 4);

// "Setting00042": names of one length, so that every comparison of a search
// reads the whole name.
std::u16string entry_name(int index) {
  std::u16string digits;
  nev::nev_itow(index, digits, 10, false);
  return u"Setting" + std::u16string(5 - digits.size(), u'0') + digits;
}

Kov_property_list filled_list(int count) {
  Kov_property_list list(true);
  for (int i = 0; i < count; ++i) list.add(entry_name(i), i);
  return list;
}

// Builds a list of distinct names with allow_duplicates false: every add
// searches the list, so the cost grows with the square of the size.
void BM_add_unique_names(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    Kov_property_list list;
    for (int i = 0; i < count; ++i) list.add(entry_name(i), i);
    benchmark::DoNotOptimize(list.size());
  }
  state.SetComplexityN(count);
}
BENCHMARK(BM_add_unique_names)->RangeMultiplier(4)->Range(16, 1024)->Complexity();

// Finds the last entry, without regard to case.
void BM_find_last(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const Kov_property_list list = filled_list(count);
  const std::u16string name = u"SETTING" + entry_name(count - 1).substr(7);
  for (auto _ : state) benchmark::DoNotOptimize(list.find(name));
  state.SetComplexityN(count);
}
BENCHMARK(BM_find_last)->RangeMultiplier(4)->Range(16, 4096)->Complexity();

// Copies a whole list: one reservation, one copy per entry.
void BM_copy_list(benchmark::State& state) {
  const Kov_property_list list = filled_list(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    Kov_property_list copy(list);
    benchmark::DoNotOptimize(copy.size());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_copy_list)->Range(16, 4096);

// Fills a template of about 300 units with 10 tokens from a list of 20.
void BM_replace_tokens(benchmark::State& state) {
  const Kov_property_list list = filled_list(20);
  std::u16string text;
  for (int i = 0; i < 10; ++i) text += u"The value of setting " + entry_name(i * 2) + u" is %" + entry_name(i * 2) + u"%. ";
  std::u16string out;
  nev::Nev_status status;
  for (auto _ : state) {
    kov::kov_replace_tokens(text, list, out, status);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}
BENCHMARK(BM_replace_tokens);

// A template of state.range(0) tokens, one in every four units, each
// replaced by a longer value: the work must grow linearly with the length
// (replacing in place moved the rest of the text at each token, 9.7 s at
// 1.2 million units).
void BM_replace_many_tokens(benchmark::State& state) {
  Kov_property_list list(false);
  list.add(u"v", u"value");
  std::u16string text;
  for (std::int64_t i = 0; i < state.range(0); ++i) text += u"%v% ";
  std::u16string out;
  nev::Nev_status status;
  for (auto _ : state) {
    kov::kov_replace_tokens(text, list, out, status);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetComplexityN(state.range(0));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}
BENCHMARK(BM_replace_many_tokens)->RangeMultiplier(4)->Range(1 << 12, 300000)->Complexity(benchmark::oN);

// ---- growth with the list ---------------------------------------------------

// Lists of 10, 1,000 and 100,000 properties: ten named entries moved to
// another list and back (kov_extract_list, one pass over the list), and a
// template of ten tokens filled from the list (kov_replace_tokens, a scan of
// the list per token while a template has few). Both grow linearly with
// the size of the list.
std::vector<std::u16string> ten_names(int count) {
  std::vector<std::u16string> names;
  for (int i = 0; i < 10; ++i) names.push_back(entry_name(static_cast<int>((static_cast<long>(count) * i) / 10)));
  return names;
}

void BM_extract_from_list(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  Kov_property_list source = filled_list(count);
  Kov_property_list taken(true);
  nev::Nev_object_vector<std::u16string> names;
  for (const std::u16string& name : ten_names(count)) names.push_back(new std::u16string(name));
  for (auto _ : state) {
    kov::kov_extract_list(source, taken, names);
    kov::kov_extract_list(taken, source, names);
  }
  if (source.size() != static_cast<std::size_t>(count)) state.SkipWithError("entries were lost");
  state.SetComplexityN(count);
}
BENCHMARK(BM_extract_from_list)->Arg(10)->Arg(1000)->Arg(100000)->Complexity(benchmark::oN);

// Moves many names at once: every tenth entry of the list (range(1) 10) or
// every entry (range(1) 1) to a list that allows duplicates, so that the
// adds append and the cost shown is the extraction's own, and back again.
// Extraction is one pass over the source, so this too grows linearly (a
// search per name and an erase per moved entry made it quadratic).
void BM_extract_many_names(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const int every = static_cast<int>(state.range(1));
  Kov_property_list source = filled_list(count);
  Kov_property_list taken(true);
  nev::Nev_object_vector<std::u16string> names;
  for (int i = 0; i < count; i += every) names.push_back(new std::u16string(entry_name(i)));
  for (auto _ : state) {
    kov::kov_extract_list(source, taken, names);
    kov::kov_extract_list(taken, source, names);
  }
  if (source.size() != static_cast<std::size_t>(count) || taken.size() != 0) state.SkipWithError("entries were lost");
  state.SetItemsProcessed(state.iterations() * 2 * ((count + every - 1) / every));
}
BENCHMARK(BM_extract_many_names)->ArgsProduct({{1000, 10000, 100000}, {10, 1}});

void BM_replace_tokens_from_list(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const Kov_property_list list = filled_list(count);
  std::u16string text;
  for (const std::u16string& name : ten_names(count)) text += u"The value of " + name + u" is %" + name + u"%. ";
  std::u16string out;
  nev::Nev_status status;
  for (auto _ : state) {
    kov::kov_replace_tokens(text, list, out, status);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetComplexityN(count);
}
BENCHMARK(BM_replace_tokens_from_list)->Arg(10)->Arg(1000)->Arg(100000)->Complexity(benchmark::oN);

// A template that names every entry of the list once, in reverse order: as
// many tokens as entries, so a scan of the list per token grows with the
// square of the size.
void BM_replace_every_name_from_list(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const Kov_property_list list = filled_list(count);
  std::u16string text;
  for (int i = count - 1; i >= 0; --i) {
    text += u'%';
    text += entry_name(i);
    text += u"% ";
  }
  std::u16string out;
  nev::Nev_status status;
  for (auto _ : state) {
    kov::kov_replace_tokens(text, list, out, status);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_replace_every_name_from_list)->Arg(100)->Arg(1000)->Arg(10000);

}  // namespace
