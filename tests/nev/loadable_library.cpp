// A tiny library that the loading tests open, look into and close.
#define NEV_LOADABLE_EXPORT extern "C" __attribute__((visibility("default")))

// A fixed answer, to prove that the entry point found is the right one.
NEV_LOADABLE_EXPORT int nev_loadable_answer() { return 42; }

// Counts its calls since the library was loaded, to show whether an unload
// really took the library out of the process.
NEV_LOADABLE_EXPORT int nev_loadable_count() {
  static int calls = 0;
  return ++calls;
}
