#include "Figures.hpp"

#include <cstdio>
#include <vector>

#include "support/ProcessFigures.hpp"

namespace fuzz {
namespace {

// The forwarding test provider's own parameters (tools/faulty-csp/README.md).
constexpr DWORD kPpLiveContexts = 0x54410001;
constexpr DWORD kPpLiveKeys = 0x54410002;
constexpr DWORD kPpLiveHashes = 0x54410003;

// Bytes in busy blocks of every heap of the process: unlike private bytes, it does not
// move with fragmentation or with memory a heap keeps for later.
SIZE_T HeapInUse() {
    std::vector<HANDLE> heaps(64);
    DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    if (count > heaps.size()) {
        heaps.resize(count);
        count = GetProcessHeaps(count, heaps.data());
    }
    SIZE_T total = 0;
    for (DWORD i = 0; i < count && i < heaps.size(); ++i) {
        if (!HeapLock(heaps[i])) continue;
        PROCESS_HEAP_ENTRY entry = {};
        while (HeapWalk(heaps[i], &entry)) {
            if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) total += entry.cbData;
        }
        HeapUnlock(heaps[i]);
    }
    return total;
}

}  // namespace

ProcessFigures MeasureProcess() {
    ProcessFigures f;
    f.heapInUse = HeapInUse();
    f.privateBytes = testing_support::PrivateBytes();
    f.handles = testing_support::Handles();
    return f;
}

std::string CspCounts::Text() const {
    char text[96];
    std::snprintf(text, sizeof text, "contexts %lu keys %lu hashes %lu", static_cast<unsigned long>(contexts),
                  static_cast<unsigned long>(keys), static_cast<unsigned long>(hashes));
    return text;
}

CspCounters::CspCounters() {
    if (!CryptAcquireContextW(&prov_, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT)) {
        prov_ = 0;
        return;
    }
    DWORD count = 0, size = sizeof count;
    available_ = CryptGetProvParam(prov_, kPpLiveContexts, reinterpret_cast<BYTE*>(&count), &size, 0) &&
                 CryptGetProvParam(prov_, kPpLiveKeys, reinterpret_cast<BYTE*>(&count), &size, 0);
}

CspCounters::~CspCounters() {
    if (prov_ != 0) CryptReleaseContext(prov_, 0);
}

DWORD CspCounters::Ask(DWORD param) const {
    DWORD count = 0, size = sizeof count;
    return CryptGetProvParam(prov_, param, reinterpret_cast<BYTE*>(&count), &size, 0) ? count : ~0u;
}

CspCounts CspCounters::Read() const {
    CspCounts c;
    if (!available_) return c;
    c.contexts = Ask(kPpLiveContexts);
    c.keys = Ask(kPpLiveKeys);
    c.hashes = Ask(kPpLiveHashes);
    return c;
}

}  // namespace fuzz
