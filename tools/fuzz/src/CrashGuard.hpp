#pragma once
// Keeps what a crash would destroy. Before each input runs, the input goes into the mapped
// state file (a copy in memory, nothing written through the file system); if the process
// then dies — an access violation, a stack overflow, abort(), or an input that runs longer
// than the hang limit — the exception code and where it happened are stored there too and
// the process ends at once with that code. The driver starts the next process, which finds
// the unfinished input in the state and saves it as a crash.
#include <windows.h>

#include <string>

#include "State.hpp"

namespace fuzz {

// Exit codes of the deaths that are no exception of their own.
constexpr DWORD kHangCode = 0xE0000001;
constexpr DWORD kAbortCode = 0xE0000003;

class CrashGuard {
public:
    CrashGuard(SharedState& state, DWORD hangMilliseconds);
    ~CrashGuard();
    CrashGuard(const CrashGuard&) = delete;
    CrashGuard& operator=(const CrashGuard&) = delete;

    // The input about to run, the iteration it belongs to and its generator's state.
    void Begin(uint64_t iteration, uint64_t seedIndex, const std::string& input, uint64_t exerciseRng);
    void End();

private:
    static DWORD WINAPI Watch(void* self);

    SharedState& state_;
    DWORD hangMilliseconds_;
    HANDLE stop_ = nullptr;
    HANDLE thread_ = nullptr;
};

// Records `code` (and the module and offset of `address`, when known) in the state and ends
// the process with that code.
[[noreturn]] void DieRecorded(SharedState& state, DWORD code, const void* address);

}  // namespace fuzz
