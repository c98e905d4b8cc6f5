#pragma once
// What a process holds, for leak checks that must work under Wine as on Windows.
#include <windows.h>

#include <psapi.h>

namespace testing_support {

// Private bytes, read as PagefileUsage when PrivateUsage is 0: Windows fills both with
// the process's commit charge, Wine 8 fills only PagefileUsage.
inline SIZE_T PrivateBytes() {
    PROCESS_MEMORY_COUNTERS_EX counters = {};
    counters.cb = sizeof(counters);
    if (!GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                              sizeof(counters))) {
        return 0;
    }
    return counters.PrivateUsage != 0 ? counters.PrivateUsage : counters.PagefileUsage;
}

// Handles the process holds. Wine 8 answers GetProcessHandleCount with 0; a process always
// holds some, so 0 means the count is missing and the handle table is probed instead: every
// value a handle can take (a multiple of 4) below kHandleProbeLimit is asked for its flags.
// The table hands out the lowest free slot first, so leaked handles fill the range below
// the limit before any lies above it: a leak larger than the margin always shows.
constexpr ULONG_PTR kHandleProbeLimit = 0x10000;

inline DWORD Handles() {
    DWORD count = 0;
    if (GetProcessHandleCount(GetCurrentProcess(), &count) && count != 0) return count;
    for (ULONG_PTR value = 4; value < kHandleProbeLimit; value += 4) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
    }
    return count;
}

}  // namespace testing_support
