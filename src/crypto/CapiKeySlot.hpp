#pragma once
// Where a key object's CryptoAPI key lives, in the three forms the key classes take: the key
// pair of a container (provider + dwKeySpec, opened on first use with CryptGetUserKey), a
// duplicate of a given key handle, or nothing yet (a key imported later). The provider
// context is shared (CryptContextAddRef) for the slot's lifetime.
#include "crypto/CapiHandles.hpp"

#include <xsec/enc/XSECCryptoException.hpp>

namespace crypto {

class CapiKeySlot {
public:
    using ErrorType = XSECCryptoException::XSECCryptoExceptionType;

    // kind names the key in messages ("RSA", "DSA"); errors throw XSECCryptoException(type).
    static CapiKeySlot Container(HCRYPTPROV prov, DWORD keySpec, bool isPrivate, const char* kind, ErrorType type);
    static CapiKeySlot Duplicate(HCRYPTPROV prov, HCRYPTKEY key, const char* kind, ErrorType type);
    static CapiKeySlot Empty(HCRYPTPROV prov, const char* kind, ErrorType type);

    CapiKeySlot(CapiKeySlot&&) noexcept = default;
    CapiKeySlot& operator=(CapiKeySlot&&) = delete;
    ~CapiKeySlot() { key_.reset(); }  // before the provider reference goes

    HCRYPTPROV prov() const noexcept { return prov_; }
    bool inContainer() const noexcept { return keySpec_ != 0; }
    DWORD keySpec() const noexcept { return keySpec_; }
    bool isPrivate() const noexcept { return isPrivate_; }
    // The key handle, 0 when there is none yet.
    HCRYPTKEY handle() const;
    // The key handle; throws "<kind> <operation> with an empty key" when there is none.
    HCRYPTKEY require(const char* operation) const;
    // Takes an imported key.
    void adopt(KeyHandle key) const { key_ = std::move(key); }

private:
    CapiKeySlot(HCRYPTPROV prov, const char* kind, ErrorType type)
        : prov_(prov), provRef_(ShareProv(prov)), kind_(kind), type_(type) {}

    HCRYPTPROV prov_;
    ProvHandle provRef_;
    const char* kind_;
    ErrorType type_;
    DWORD keySpec_ = 0;
    bool isPrivate_ = false;
    mutable KeyHandle key_;
};

}  // namespace crypto
