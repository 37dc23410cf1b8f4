// List extraction: kov_extract_list between two lists built from the input,
// checked against a model that knows the names only by their case group.
// The model moves, for each asked name in turn, the matching source entries
// in source order; the destination appends them, or with duplicates
// refused overwrites the first entry of the same name (name and value).
#include <vector>

#include "fuzz_support.h"
#include "kov/property_list.h"

using kov::Kov_property;
using kov::Kov_property_list;

namespace {

struct Entry {
  std::size_t name;  // index into fuzz::NAMES
  int value;
};

void model_add(std::vector<Entry>& list, bool duplicates, const Entry& entry) {
  if (!duplicates) {
    for (Entry& held : list) {
      if (fuzz::NAMES[held.name].group == fuzz::NAMES[entry.name].group) {
        held = entry;
        return;
      }
    }
  }
  list.push_back(entry);
}

void fill(fuzz::Reader& input, Kov_property_list& list, std::vector<Entry>& model) {
  const unsigned count = input.byte() % 12;
  for (unsigned i = 0; i < count; ++i) {
    const Entry entry{input.byte() % fuzz::NAME_COUNT, static_cast<int>(input.byte())};
    list.add(Kov_property(fuzz::NAMES[entry.name].text, entry.value));
    model_add(model, list.allow_duplicates(), entry);
  }
}

void compare(const Kov_property_list& list, const std::vector<Entry>& model) {
  FUZZ_CHECK(list.size() == model.size());
  for (unsigned i = 0; i < list.size(); ++i) {
    FUZZ_CHECK(list[i]->name() == fuzz::NAMES[model[i].name].text);
    FUZZ_CHECK(list[i]->int_value() == model[i].value);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Reader input(data, size);
  const std::uint8_t flags = input.byte();
  Kov_property_list source((flags & 1) != 0);
  Kov_property_list destination((flags & 2) != 0);
  std::vector<Entry> source_model;
  std::vector<Entry> destination_model;
  fill(input, source, source_model);
  fill(input, destination, destination_model);

  nev::Nev_object_vector<std::u16string> names;
  std::vector<int> groups;
  const unsigned count = input.byte() % 6;
  for (unsigned i = 0; i < count; ++i) {
    const std::size_t name = input.byte() % fuzz::NAME_COUNT;
    names.push_back(new std::u16string(fuzz::NAMES[name].text));
    groups.push_back(fuzz::NAMES[name].group);
  }
  kov::kov_extract_list(source, destination, names);

  for (const int group : groups) {
    std::vector<Entry> kept;
    for (const Entry& entry : source_model) {
      if (fuzz::NAMES[entry.name].group == group) {
        model_add(destination_model, destination.allow_duplicates(), entry);
      } else {
        kept.push_back(entry);
      }
    }
    source_model = std::move(kept);
  }
  compare(source, source_model);
  compare(destination, destination_model);
  // Extracting a list into itself changes nothing.
  kov::kov_extract_list(source, source, names);
  compare(source, source_model);
  return 0;
}
