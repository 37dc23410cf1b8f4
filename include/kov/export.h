// Symbol export for the kov library.
//
// Every class and free function of the public interface carries KOV_EXPORT;
// everything else stays hidden, so the export list is deliberate and can be
// checked with `nm -D --defined-only`.
#pragma once

#if defined(_WIN32)
#  if defined(KOV_BUILDING)
#    define KOV_EXPORT __declspec(dllexport)
#  else
#    define KOV_EXPORT __declspec(dllimport)
#  endif
#else
#  define KOV_EXPORT __attribute__((visibility("default")))
#endif
