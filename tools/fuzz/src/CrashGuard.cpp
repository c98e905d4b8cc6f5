#include "CrashGuard.hpp"

#include <csignal>
#include <cstring>

namespace fuzz {
namespace {

// The filter and the signal handler have no other way to the state than a global.
SharedState* g_state = nullptr;

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* info) {
    const EXCEPTION_RECORD& record = *info->ExceptionRecord;
    if (g_state != nullptr) DieRecorded(*g_state, record.ExceptionCode, record.ExceptionAddress);
    return EXCEPTION_CONTINUE_SEARCH;
}

void OnAbort(int) {
    if (g_state != nullptr) DieRecorded(*g_state, kAbortCode, nullptr);
}

}  // namespace

void DieRecorded(SharedState& state, DWORD code, const void* address) {
    state.exceptionCode = code;
    state.exceptionOffset = 0;
    state.exceptionModule[0] = 0;
    HMODULE module = nullptr;
    if (address != nullptr &&
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           static_cast<LPCWSTR>(address), &module)) {
        wchar_t path[MAX_PATH];
        const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
        const wchar_t* name = path;
        for (DWORD i = 0; i < length; ++i) {
            if (path[i] == L'\\' || path[i] == L'/') name = path + i + 1;
        }
        lstrcpynW(state.exceptionModule, name, static_cast<int>(sizeof state.exceptionModule / sizeof(wchar_t)));
        state.exceptionOffset =
            static_cast<uint64_t>(static_cast<const char*>(address) - reinterpret_cast<const char*>(module));
    } else if (address != nullptr) {
        state.exceptionOffset = reinterpret_cast<uint64_t>(address);
    }
    FlushViewOfFile(&state, 0);
    TerminateProcess(GetCurrentProcess(), code);
    for (;;) Sleep(INFINITE);
}

CrashGuard::CrashGuard(SharedState& state, DWORD hangMilliseconds)
    : state_(state), hangMilliseconds_(hangMilliseconds) {
    g_state = &state;
    // No dialog and no debugger: the process is to end at once.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    SetUnhandledExceptionFilter(OnUnhandledException);
    std::signal(SIGABRT, OnAbort);
    // The filter of a thread that overflowed its stack needs stack of its own.
    ULONG reserve = 64 * 1024;
    SetThreadStackGuarantee(&reserve);
    stop_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (hangMilliseconds_ != 0 && stop_ != nullptr) thread_ = CreateThread(nullptr, 0, &Watch, this, 0, nullptr);
}

CrashGuard::~CrashGuard() {
    if (thread_ != nullptr) {
        SetEvent(stop_);
        WaitForSingleObject(thread_, INFINITE);
        CloseHandle(thread_);
    }
    if (stop_ != nullptr) CloseHandle(stop_);
    SetUnhandledExceptionFilter(nullptr);
    g_state = nullptr;
}

void CrashGuard::Begin(uint64_t iteration, uint64_t seedIndex, const std::string& input, uint64_t exerciseRng) {
    state_.current = iteration;
    state_.seedIndex = seedIndex;
    state_.exerciseRng = exerciseRng;
    state_.inputLength = input.size() < sizeof state_.input ? input.size() : sizeof state_.input;
    std::memcpy(state_.input, input.data(), static_cast<size_t>(state_.inputLength));
    state_.startTick = GetTickCount64();
    MemoryBarrier();
    state_.inProgress = 1;
}

void CrashGuard::End() {
    state_.inProgress = 0;
    MemoryBarrier();
}

DWORD WINAPI CrashGuard::Watch(void* self) {
    auto* guard = static_cast<CrashGuard*>(self);
    while (WaitForSingleObject(guard->stop_, 500) == WAIT_TIMEOUT) {
        const SharedState& s = guard->state_;
        if (s.inProgress != 0 && GetTickCount64() - s.startTick > guard->hangMilliseconds_) {
            // A filter that recorded its exception and then got stuck (a stack overflow
            // under Wine can leave it so) keeps what it recorded.
            if (s.exceptionCode != 0) TerminateProcess(GetCurrentProcess(), s.exceptionCode);
            DieRecorded(guard->state_, kHangCode, nullptr);
        }
    }
    return 0;
}

}  // namespace fuzz
