// The interface that host and plug-in share: its type identifier, its
// version, and the one method a host calls.
#pragma once

#include <string>

#include "gan/plugin.h"

// Names the type "greeter" in the registry and in every call.
inline constexpr _GUID GREETER_TYPE = {0x2C9E4B71u, 0x5A3Du, 0x4F08u, {0xB6u, 0x1Eu, 0x70u, 0x9Au, 0x42u, 0xC8u, 0x15u, 0xD3u}};
// Interface version 1.0: major in the high 16 bits, minor in the low.
inline constexpr unsigned GREETER_VERSION = 0x10000;

// What a greeter object offers beyond every plug-in object's basics.
class Greeter : public gan::Gan_base {
 public:
  // A greeting for `name`.
  virtual std::u16string greet(const std::u16string& name) const = 0;

 protected:
  ~Greeter() = default;
};
