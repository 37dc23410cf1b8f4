// The library's entry routine on Windows: thread notifications are switched
// off at attach, and every notification reports success. The work of the
// detach notification (unloading cached plug-in libraries) is done by the
// destructors of statics.cpp, which the runtime runs at detach.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
