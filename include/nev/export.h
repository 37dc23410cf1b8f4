// Symbol export for the nev library.
//
// Every class and free function of the public interface carries NEV_EXPORT;
// everything else stays hidden, so the export list is deliberate and can be
// checked with `nm -D --defined-only`.
#pragma once

#if defined(_WIN32)
#  if defined(NEV_BUILDING)
#    define NEV_EXPORT __declspec(dllexport)
#  else
#    define NEV_EXPORT __declspec(dllimport)
#  endif
#else
#  define NEV_EXPORT __attribute__((visibility("default")))
#endif
