#pragma once
#include "api/WinApi.hpp"

// The recursive lock of one context. A CRITICAL_SECTION rather than a
// std::recursive_mutex: with the posix thread model of MinGW's libstdc++, a recursive
// mutex that was ever locked leaves its storage behind when it is destroyed, about 60
// bytes for every context a process opens and closes.
class ContextLock {
public:
    ContextLock() noexcept { InitializeCriticalSection(&section_); }
    ~ContextLock() { DeleteCriticalSection(&section_); }
    ContextLock(const ContextLock&) = delete;
    ContextLock& operator=(const ContextLock&) = delete;

    void lock() noexcept { EnterCriticalSection(&section_); }
    void unlock() noexcept { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};
