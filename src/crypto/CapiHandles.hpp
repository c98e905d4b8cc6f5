#pragma once
// Owning wrappers for the CryptoAPI handles of the crypto provider classes. Each one is
// move-only and releases its handle in its destructor; a null handle is 0.
#include "base/WinApi.hpp"

#include <wincrypt.h>

#include <utility>

namespace crypto {

template <typename Handle, typename Traits>
class CapiHandle {
public:
    CapiHandle() noexcept = default;
    explicit CapiHandle(Handle h) noexcept : h_(h) {}
    CapiHandle(const CapiHandle&) = delete;
    CapiHandle& operator=(const CapiHandle&) = delete;
    CapiHandle(CapiHandle&& other) noexcept : h_(std::exchange(other.h_, Handle())) {}
    CapiHandle& operator=(CapiHandle&& other) noexcept {
        if (this != &other) reset(std::exchange(other.h_, Handle()));
        return *this;
    }
    ~CapiHandle() { reset(); }

    Handle get() const noexcept { return h_; }
    explicit operator bool() const noexcept { return h_ != Handle(); }
    // The address to hand to an API that creates the handle; releases any held one first.
    Handle* put() noexcept {
        reset();
        return &h_;
    }
    Handle release() noexcept { return std::exchange(h_, Handle()); }
    void reset(Handle h = Handle()) noexcept {
        if (h_ != Handle()) Traits::Close(h_);
        h_ = h;
    }

private:
    Handle h_ = Handle();
};

struct ProvTraits {
    static void Close(HCRYPTPROV h) noexcept { CryptReleaseContext(h, 0); }
};
struct KeyTraits {
    static void Close(HCRYPTKEY h) noexcept { CryptDestroyKey(h); }
};
struct HashTraits {
    static void Close(HCRYPTHASH h) noexcept { CryptDestroyHash(h); }
};
struct CertTraits {
    static void Close(PCCERT_CONTEXT h) noexcept { CertFreeCertificateContext(h); }
};

using ProvHandle = CapiHandle<HCRYPTPROV, ProvTraits>;
using KeyHandle = CapiHandle<HCRYPTKEY, KeyTraits>;
using HashHandle = CapiHandle<HCRYPTHASH, HashTraits>;
using CertHandle = CapiHandle<PCCERT_CONTEXT, CertTraits>;

// A second reference to a provider context someone else holds (CryptContextAddRef):
// released by its own ProvHandle, so a key object never outlives its provider. 0 stays 0.
inline ProvHandle ShareProv(HCRYPTPROV prov) noexcept {
    if (prov == 0 || !CryptContextAddRef(prov, nullptr, 0)) return ProvHandle();
    return ProvHandle(prov);
}

}  // namespace crypto
