// Sample plug-in "no_factory": a library that lacks "gan_get_factory".
#include "gan/plugin.h"
#include "sample_support.h"

namespace {
constexpr const char* LIBRARY = "no_factory";
const kovsample::Library_events events(LIBRARY);
}  // namespace

extern "C" GAN_EXPORT bool gan_can_unload_now() { return kovsample::can_unload_now(LIBRARY); }
