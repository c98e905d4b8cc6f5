#pragma once

namespace testing_support {

constexpr wchar_t kForcedDebugVariable[] = L"talvoran-cryptxml-force-debug-mode";
constexpr char kProbeArgument[] = "--forced-debug-probe";

struct ProbeResult {
    bool ran = false;
    int startedAtLoad = -1;     // CryptXmlDebuggingIsStarted right after load
    int startedAfterStop = -1;  // ... after CryptXmlStopDebugging
    bool traced = false;        // a failing call left a trace line
};

// Starts this program again as a child with the variable set to `value` (unset for
// null) and reads what the child's DLL reports.
ProbeResult RunForcedDebugProbe(const wchar_t* value);

// The child's side: loads the DLL, probes, and encodes the result in its exit code.
int ForcedDebugProbeMain();

}  // namespace testing_support
