// Sample plug-in "shapes": circles and squares, plus a type whose factory
// never makes an object. Any other type gets no factory.
#include <cstring>

#include "gan/plugin.h"
#include "sample_support.h"
#include "sample_types.h"

namespace {

constexpr const char* LIBRARY = "shapes";
const kovsample::Library_events events(LIBRARY);

bool same_type(const _GUID& a, const _GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

class Shape final : public gan::Gan_base {
 public:
  Shape(const _GUID& type, const char16_t* description) : m_type(type), m_description(description) {
    ++kovsample::live_objects;
  }
  const _GUID& type() const override { return m_type; }
  unsigned interface_version() const override { return 0x10000; }
  unsigned implementation_version() const override { return 0x10002; }
  const char16_t* description() const override { return m_description; }
  void deallocate() override {
    delete this;
    --kovsample::live_objects;
  }

 private:
  ~Shape() = default;
  const _GUID& m_type;
  const char16_t* m_description;
};

class Shape_factory final : public gan::Gan_factory {
 public:
  Shape_factory(const _GUID& type, const char16_t* description) : m_type(type), m_description(description) {}
  const _GUID& type() const override { return m_type; }
  unsigned interface_version() const override { return 0x10000; }
  unsigned implementation_version() const override { return 0x10002; }
  gan::Gan_base* create_instance() override {
    if (m_description == nullptr) return nullptr;
    kovsample::log_event("create", LIBRARY);
    return new Shape(m_type, m_description);
  }

 private:
  const _GUID& m_type;
  const char16_t* m_description;
};

Shape_factory circle_factory(kovsample::CIRCLE_TYPE, u"a circle");
Shape_factory square_factory(kovsample::SQUARE_TYPE, u"a square");
Shape_factory blank_factory(kovsample::BLANK_TYPE, nullptr);

}  // namespace

extern "C" GAN_EXPORT gan::Gan_factory* gan_get_factory(const char16_t* /*plugin_name*/, const _GUID& type) {
  if (same_type(type, kovsample::CIRCLE_TYPE)) return &circle_factory;
  if (same_type(type, kovsample::SQUARE_TYPE)) return &square_factory;
  if (same_type(type, kovsample::BLANK_TYPE)) return &blank_factory;
  return nullptr;
}

extern "C" GAN_EXPORT bool gan_can_unload_now() { return kovsample::can_unload_now(LIBRARY); }
