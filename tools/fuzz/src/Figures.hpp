#pragma once
// What the process holds, for the leak checks: its handles and private bytes (as the leak
// tests measure them), the bytes its heaps have handed out and not taken back, and the
// CryptoAPI contexts, keys and hashes alive in the forwarding test provider, when the run
// is in a prefix where that provider stands in front of the real ones.
#include <windows.h>

#include <wincrypt.h>

#include <cstdint>
#include <string>

namespace fuzz {

struct ProcessFigures {
    DWORD handles = 0;
    SIZE_T privateBytes = 0;
    SIZE_T heapInUse = 0;
};

ProcessFigures MeasureProcess();

struct CspCounts {
    DWORD contexts = 0;
    DWORD keys = 0;
    DWORD hashes = 0;
    bool operator==(const CspCounts& o) const { return contexts == o.contexts && keys == o.keys && hashes == o.hashes; }
    bool operator!=(const CspCounts& o) const { return !(*this == o); }
    std::string Text() const;
};

// A context of the forwarding test provider, held to ask it for its counts.
class CspCounters {
public:
    CspCounters();
    ~CspCounters();
    CspCounters(const CspCounters&) = delete;
    CspCounters& operator=(const CspCounters&) = delete;

    // False when the provider of type 24 is not the forwarding test provider.
    bool available() const { return available_; }
    CspCounts Read() const;

private:
    DWORD Ask(DWORD param) const;

    HCRYPTPROV prov_ = 0;
    bool available_ = false;
};

}  // namespace fuzz
