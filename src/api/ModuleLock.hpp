#pragma once
#include "api/WinApi.hpp"

// A recursive lock held in a static object for the life of the loaded DLL. A
// CRITICAL_SECTION rather than a static std::recursive_mutex: libstdc++ never destroys a
// statically initialised mutex, so with the posix thread model its winpthreads storage,
// and the event it creates the first time two threads contend, stayed behind on every
// unload. DeleteCriticalSection at static destruction hands both back.
class ModuleLock {
public:
    ModuleLock() noexcept { InitializeCriticalSection(&section_); }
    ~ModuleLock() { DeleteCriticalSection(&section_); }
    ModuleLock(const ModuleLock&) = delete;
    ModuleLock& operator=(const ModuleLock&) = delete;

    void lock() noexcept { EnterCriticalSection(&section_); }
    void unlock() noexcept { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};
