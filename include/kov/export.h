// Symbol export for the kov library.
//
// Every class and free function of the public interface carries KOV_EXPORT;
// everything else stays hidden, so the export list is deliberate and can be
// checked with `nm -D --defined-only`.
#pragma once

// KOV_EXPORT_INLINE marks a member function that is defined in its class
// and still exported: on ELF targets inline members are hidden otherwise; on
// Windows the class's own export covers them.
#if defined(_WIN32)
#  if defined(KOV_BUILDING)
#    define KOV_EXPORT __declspec(dllexport)
#  else
#    define KOV_EXPORT __declspec(dllimport)
#  endif
#  define KOV_EXPORT_INLINE
#else
#  define KOV_EXPORT __attribute__((visibility("default")))
#  define KOV_EXPORT_INLINE __attribute__((visibility("default")))
#endif
