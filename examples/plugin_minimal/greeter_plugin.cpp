// A complete plug-in library: one type, its factory, and the two entry
// points every plug-in library exports.
#include <atomic>
#include <cstring>
#include <new>

#include "greeter.h"

namespace {

// Objects alive right now: the library may be unloaded only at 0.
std::atomic<int> live_objects{0};

class Hello_greeter final : public Greeter {
 public:
  Hello_greeter() { ++live_objects; }
  const _GUID& type() const override { return GREETER_TYPE; }
  unsigned interface_version() const override { return GREETER_VERSION; }
  unsigned implementation_version() const override { return 0x10000; }
  const char16_t* description() const override { return u"a friendly greeter"; }
  // The host ends objects through this, never with delete.
  void deallocate() override { delete this; }
  std::u16string greet(const std::u16string& name) const override { return u"Hello, " + name + u"!"; }

 private:
  ~Hello_greeter() { --live_objects; }
};

class Greeter_factory final : public gan::Gan_factory {
 public:
  const _GUID& type() const override { return GREETER_TYPE; }
  unsigned interface_version() const override { return GREETER_VERSION; }
  unsigned implementation_version() const override { return 0x10000; }
  // Null, not an exception, when no object can be made.
  gan::Gan_base* create_instance() override { return new (std::nothrow) Hello_greeter; }
};

// The factory belongs to the library and lives as long as it is loaded.
Greeter_factory factory;

}  // namespace

// The factory for `type`, or null for a type this library does not offer.
extern "C" GAN_EXPORT gan::Gan_factory* gan_get_factory(const char16_t* /*plugin_name*/, const _GUID& type) {
  return std::memcmp(&type, &GREETER_TYPE, sizeof type) == 0 ? &factory : nullptr;
}

// Asked before the host unloads the library: only while no object is alive.
extern "C" GAN_EXPORT bool gan_can_unload_now() { return live_objects.load() == 0; }
