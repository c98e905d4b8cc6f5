#pragma once
#include "base/WinApi.hpp"

// The library's recursive lock, for each context and for the module's static state. A
// CRITICAL_SECTION rather than a std::recursive_mutex: with the posix thread model of
// MinGW's libstdc++ a recursive mutex that was ever locked leaves its winpthreads storage
// behind when destroyed (about 60 bytes per context), a static one is never destroyed at
// all, and the event it creates the first time two threads contend stayed behind on every
// unload. DeleteCriticalSection hands everything back.
class RecursiveLock {
public:
    RecursiveLock() noexcept { InitializeCriticalSection(&section_); }
    ~RecursiveLock() { DeleteCriticalSection(&section_); }
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    void lock() noexcept { EnterCriticalSection(&section_); }
    bool try_lock() noexcept { return TryEnterCriticalSection(&section_) != FALSE; }
    void unlock() noexcept { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};
