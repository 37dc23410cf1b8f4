// Sample plug-in "no_unload": a library that lacks "gan_can_unload_now". It
// makes objects of INCOMPLETE_TYPE.
#include <cstring>

#include "gan/plugin.h"
#include "sample_support.h"
#include "sample_types.h"

namespace {

constexpr const char* LIBRARY = "no_unload";
const kovsample::Library_events events(LIBRARY);

class Stub final : public gan::Gan_base {
 public:
  Stub() { ++kovsample::live_objects; }
  const _GUID& type() const override { return kovsample::INCOMPLETE_TYPE; }
  unsigned interface_version() const override { return 0x10000; }
  unsigned implementation_version() const override { return 0x10000; }
  const char16_t* description() const override { return u"a stub"; }
  void deallocate() override {
    delete this;
    --kovsample::live_objects;
  }

 private:
  ~Stub() = default;
};

class Stub_factory final : public gan::Gan_factory {
 public:
  const _GUID& type() const override { return kovsample::INCOMPLETE_TYPE; }
  unsigned interface_version() const override { return 0x10000; }
  unsigned implementation_version() const override { return 0x10000; }
  gan::Gan_base* create_instance() override { return new Stub(); }
};

Stub_factory factory;

}  // namespace

extern "C" GAN_EXPORT gan::Gan_factory* gan_get_factory(const char16_t* /*plugin_name*/, const _GUID& type) {
  return std::memcmp(&type, &kovsample::INCOMPLETE_TYPE, sizeof type) == 0 ? &factory : nullptr;
}
