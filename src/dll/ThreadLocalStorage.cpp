#include "dll/ThreadLocalStorage.hpp"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <malloc.h>

#include "base/WinApi.hpp"

// This code sits below the C++ runtime: throwing an exception calls into it, so it uses
// only the C heap and Win32, never throws, and aborts where libgcc's version aborts.
namespace {

// What GCC emits for every emulated thread-local variable (libgcc's __emutls_object).
struct EmutlsObject {
    std::uintptr_t size;
    std::uintptr_t align;
    union {
        std::uintptr_t index;  // 1-based once assigned; 0 before the first use
        void* ptr;
    } loc;
    const void* templ;  // initial bytes, or null for zero-filled variables
};

// One thread's variables, by index - 1.
struct ThreadBlock {
    std::uintptr_t count;
    void** vars;
};

SRWLOCK setupLock = SRWLOCK_INIT;  // needs no teardown: nothing to leave behind
std::uintptr_t indexCount = 0;
std::atomic<DWORD> slot{FLS_OUT_OF_INDEXES};

void FreeBlock(void* data) noexcept {
    auto* block = static_cast<ThreadBlock*>(data);
    if (block == nullptr) return;
    for (std::uintptr_t i = 0; i < block->count; ++i) _aligned_free(block->vars[i]);
    std::free(block->vars);
    std::free(block);
}

// Called by the system when a thread ends and, for every thread, when the slot is freed.
void WINAPI FreeBlockCallback(void* data) { FreeBlock(data); }

DWORD Slot() noexcept {
    DWORD current = slot.load(std::memory_order_acquire);
    if (current != FLS_OUT_OF_INDEXES) return current;
    AcquireSRWLockExclusive(&setupLock);
    current = slot.load(std::memory_order_relaxed);
    if (current == FLS_OUT_OF_INDEXES) {
        current = FlsAlloc(FreeBlockCallback);
        slot.store(current, std::memory_order_release);
    }
    ReleaseSRWLockExclusive(&setupLock);
    if (current == FLS_OUT_OF_INDEXES) std::abort();
    return current;
}

std::uintptr_t IndexOf(EmutlsObject& obj) noexcept {
    std::uintptr_t index = __atomic_load_n(&obj.loc.index, __ATOMIC_ACQUIRE);
    if (index != 0) return index;
    AcquireSRWLockExclusive(&setupLock);
    index = obj.loc.index;
    if (index == 0) {
        index = ++indexCount;
        __atomic_store_n(&obj.loc.index, index, __ATOMIC_RELEASE);
    }
    ReleaseSRWLockExclusive(&setupLock);
    return index;
}

// This thread's block, grown to hold index.
ThreadBlock& BlockFor(DWORD fls, std::uintptr_t index) noexcept {
    auto* block = static_cast<ThreadBlock*>(FlsGetValue(fls));
    if (block == nullptr) {
        block = static_cast<ThreadBlock*>(std::calloc(1, sizeof(ThreadBlock)));
        if (block == nullptr || !FlsSetValue(fls, block)) std::abort();
    }
    if (index > block->count) {
        // Room for the variables known so far, so that a thread rarely grows twice.
        const std::uintptr_t count = index + 16;
        auto* vars = static_cast<void**>(std::realloc(block->vars, count * sizeof(void*)));
        if (vars == nullptr) std::abort();
        std::memset(vars + block->count, 0, (count - block->count) * sizeof(void*));
        block->vars = vars;
        block->count = count;
    }
    return *block;
}

void* NewVariable(const EmutlsObject& obj) noexcept {
    const std::size_t align = obj.align > sizeof(void*) ? obj.align : sizeof(void*);
    void* var = _aligned_malloc(obj.size, align);
    if (var == nullptr) std::abort();
    if (obj.templ != nullptr)
        std::memcpy(var, obj.templ, obj.size);
    else
        std::memset(var, 0, obj.size);
    return var;
}

}  // namespace

// Replaces libgcc's definitions: the linker takes these and never pulls in libgcc's.
extern "C" void* __emutls_get_address(EmutlsObject* obj) {
    // Callers read GetLastError after code that touches thread-locals (a throw does);
    // the slot calls must not change it.
    const DWORD lastError = GetLastError();
    const std::uintptr_t index = IndexOf(*obj);
    ThreadBlock& block = BlockFor(Slot(), index);
    void*& var = block.vars[index - 1];
    if (var == nullptr) var = NewVariable(*obj);
    SetLastError(lastError);
    return var;
}

// For thread-local variables emitted as common symbols; same rules as libgcc's.
extern "C" void __emutls_register_common(EmutlsObject* obj, std::uintptr_t size, std::uintptr_t align,
                                         const void* templ) {
    if (obj->size < size) {
        obj->size = size;
        obj->templ = nullptr;
    }
    if (obj->align < align) obj->align = align;
    if (templ != nullptr && size == obj->size) obj->templ = templ;
}

namespace runtime {

void ReleaseThreadLocalStorage() noexcept {
    AcquireSRWLockExclusive(&setupLock);
    const DWORD fls = slot.exchange(FLS_OUT_OF_INDEXES, std::memory_order_acq_rel);
    ReleaseSRWLockExclusive(&setupLock);
    if (fls == FLS_OUT_OF_INDEXES) return;
    // This thread's block directly; FlsFree then runs the callback for every other thread
    // that still holds one.
    FreeBlock(FlsGetValue(fls));
    FlsSetValue(fls, nullptr);
    FlsFree(fls);
}

}  // namespace runtime
