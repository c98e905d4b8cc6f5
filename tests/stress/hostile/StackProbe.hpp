#pragma once
// How much stack a piece of work takes: it runs on a thread of its own whose stack is first
// painted with a pattern; afterwards the deepest byte no longer holding the pattern marks
// how far the work went. The same thread with a small stack shows that the work fits.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <functional>

namespace hostile {

class StackProbe {
public:
    // Runs work on a new thread with `reserve` bytes of stack and waits for it. A work that
    // overflows ends the process, as it would in an application.
    static size_t Run(size_t reserve, const std::function<void()>& work) {
        StackProbe probe(work);
        HANDLE thread =
            ::CreateThread(nullptr, reserve, &StackProbe::Main, &probe, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
        if (thread == nullptr) return 0;
        ::WaitForSingleObject(thread, INFINITE);
        ::CloseHandle(thread);
        return probe.used_;
    }

private:
    static constexpr unsigned char kPattern = 0xA5;
    static constexpr unsigned long long kWord = 0xA5A5A5A5A5A5A5A5ull;
    static constexpr size_t kMargin = 64 * 1024;  // left unpainted above the guard pages

    explicit StackProbe(const std::function<void()>& work) : work_(work) {}

    static DWORD WINAPI Main(void* self) {
        static_cast<StackProbe*>(self)->Measure();
        return 0;
    }

    __attribute__((noinline)) void Measure() {
        MEMORY_BASIC_INFORMATION region = {};
        ::VirtualQuery(__builtin_frame_address(0), &region, sizeof(region));
        const uintptr_t bottom = reinterpret_cast<uintptr_t>(region.AllocationBase) + kMargin;
        auto* lowest = reinterpret_cast<unsigned char*>(Grow(bottom));
        unsigned char* sp = nullptr;
        asm volatile("mov %%rsp, %0" : "=r"(sp));
        // Below the stack pointer everything is free (the x64 convention has no red zone).
        // Word by word through a volatile pointer, so that no library call runs on the
        // memory being painted.
        auto* word = reinterpret_cast<volatile unsigned long long*>(reinterpret_cast<uintptr_t>(lowest + 7) &
                                                                    ~static_cast<uintptr_t>(7));
        auto* end = reinterpret_cast<volatile unsigned long long*>(sp - 64);
        while (word < end) *word++ = kWord;
        work_();
        const unsigned char* p = lowest;
        while (p < sp - 64 && *p == kPattern) ++p;
        used_ = static_cast<size_t>(sp - p);
    }

    // Recursion rather than one long write: the stack grows page by page past its guard.
    // Answers the lowest address reached.
    __attribute__((noinline)) static uintptr_t Grow(uintptr_t bottom) {
        volatile unsigned char block[4096];
        block[0] = 0;
        uintptr_t lowest = reinterpret_cast<uintptr_t>(&block[0]);
        if (lowest - sizeof(block) > bottom) lowest = Grow(bottom);
        block[sizeof(block) - 1] = 0;  // keeps the call from becoming a jump that reuses this frame
        return lowest;
    }

    const std::function<void()>& work_;
    size_t used_ = 0;
};

}  // namespace hostile
