// Sample plug-in "tally": counters. The same source is built as three
// libraries (tally_a, tally_b, tally_c), told apart by TALLY_LIBRARY, so that
// programs can load several libraries of one kind.
#include <cstring>

#include "gan/plugin.h"
#include "sample_support.h"
#include "sample_types.h"

#ifndef TALLY_LIBRARY
#  error "TALLY_LIBRARY names the library"
#endif

namespace {

constexpr const char* LIBRARY = TALLY_LIBRARY;
const kovsample::Library_events events(LIBRARY);

class Tally final : public gan::Gan_base {
 public:
  Tally() { ++kovsample::live_objects; }
  const _GUID& type() const override { return kovsample::TALLY_TYPE; }
  unsigned interface_version() const override { return 0x20001; }
  unsigned implementation_version() const override { return 0x10000; }
  const char16_t* description() const override { return u"a tally"; }
  void deallocate() override {
    delete this;
    --kovsample::live_objects;
  }

 private:
  ~Tally() = default;
};

class Tally_factory final : public gan::Gan_factory {
 public:
  const _GUID& type() const override { return kovsample::TALLY_TYPE; }
  unsigned interface_version() const override { return 0x20001; }
  unsigned implementation_version() const override { return 0x10000; }
  gan::Gan_base* create_instance() override {
    kovsample::log_event("create", LIBRARY);
    return new Tally();
  }
};

Tally_factory factory;

}  // namespace

extern "C" GAN_EXPORT gan::Gan_factory* gan_get_factory(const char16_t* /*plugin_name*/, const _GUID& type) {
  return std::memcmp(&type, &kovsample::TALLY_TYPE, sizeof type) == 0 ? &factory : nullptr;
}

extern "C" GAN_EXPORT bool gan_can_unload_now() { return kovsample::can_unload_now(LIBRARY); }
