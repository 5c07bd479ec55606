// Takes the place of Intel's encoding library: says that it was loaded and can do nothing.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) SetEnvironmentVariableW(L"VEYRIN_TEST_QSV_LIBRARY_LOADED", L"1");
  return TRUE;
}
