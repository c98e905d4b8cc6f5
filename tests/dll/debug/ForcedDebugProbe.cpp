#include "ForcedDebugProbe.hpp"

#include <windows.h>

#include <string>

#include "support/CryptXmlDll.hpp"

namespace testing_support {

int ForcedDebugProbeMain() {
    const CryptXmlDll& dll = CryptXmlDll::Get();
    const int atLoad = dll.DebuggingIsStarted() ? 1 : 0;
    dll.StopDebugging();
    const int afterStop = dll.DebuggingIsStarted() ? 1 : 0;
    dll.FindAlgorithmInfo(1, nullptr, 1, 0);
    const bool traced = !dll.LastMessage().empty();
    return 0x100 | atLoad | (afterStop << 1) | (traced ? 4 : 0);
}

ProbeResult RunForcedDebugProbe(const wchar_t* value) {
    ProbeResult result;
    wchar_t self[MAX_PATH];
    if (GetModuleFileNameW(nullptr, self, MAX_PATH) == 0) return result;
    std::wstring commandLine =
        L"\"" + std::wstring(self) + L"\" " + std::wstring(kProbeArgument, kProbeArgument + sizeof(kProbeArgument) - 1);

    // The child inherits this process's environment, changed for the time of the start.
    wchar_t previous[512];
    const DWORD hadPrevious = GetEnvironmentVariableW(kForcedDebugVariable, previous, 512);
    SetEnvironmentVariableW(kForcedDebugVariable, value);

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    const BOOL started =
        CreateProcessW(self, &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process);
    SetEnvironmentVariableW(kForcedDebugVariable, hadPrevious != 0 ? previous : nullptr);
    if (!started) return result;

    WaitForSingleObject(process.hProcess, 30000);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    if ((code & ~7u) != 0x100) return result;
    result.ran = true;
    result.startedAtLoad = code & 1;
    result.startedAfterStop = (code >> 1) & 1;
    result.traced = (code & 4) != 0;
    return result;
}

}  // namespace testing_support
