// Replaces the global allocation functions of this test program to count live blocks.
// Everything is linked statically, so the library, Xerces (its default memory manager
// allocates with ::operator new) and xml-security-c all allocate through these.
#include "CountingAllocator.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long long> liveBlocks{0};
std::atomic<long long> totalBlocks{0};

void* Allocate(std::size_t size) {
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) throw std::bad_alloc();
    ++liveBlocks;
    ++totalBlocks;
    return p;
}

void Release(void* p) noexcept {
    if (p == nullptr) return;
    --liveBlocks;
    std::free(p);
}
}  // namespace

namespace testing_support {
long long LiveBlocks() { return liveBlocks.load(); }
long long TotalBlocks() { return totalBlocks.load(); }
}  // namespace testing_support

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return Allocate(size);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* p) noexcept { Release(p); }
void operator delete[](void* p) noexcept { Release(p); }
void operator delete(void* p, std::size_t) noexcept { Release(p); }
void operator delete[](void* p, std::size_t) noexcept { Release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { Release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { Release(p); }
