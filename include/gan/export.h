// Export macro for plug-in libraries: put GAN_EXPORT on the two entry points
// so that they are found by their plain names.
#pragma once

#if defined(_WIN32)
#  define GAN_EXPORT __declspec(dllexport)
#else
#  define GAN_EXPORT __attribute__((visibility("default")))
#endif
