#include "dll/UnloadRelease.hpp"
#include "base/WinApi.hpp"

// Loading does no XML work; the stack starts with the first document or handle call and
// stops only in CryptXmlCleanup, never on detach.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) ::DisableThreadLibraryCalls(instance);
    // A non-null reserved on detach means the process is ending, not FreeLibrary.
    if (reason == DLL_PROCESS_DETACH) runtime::NoteDetach(reserved != nullptr);
    return TRUE;
}
