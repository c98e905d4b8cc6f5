#include "crypto/CapiKeySlot.hpp"

#include "crypto/CapiKeyOps.hpp"

#include <string>

namespace crypto {

CapiKeySlot CapiKeySlot::Container(HCRYPTPROV prov, DWORD keySpec, bool isPrivate, const char* kind, ErrorType type) {
    CapiKeySlot slot(prov, kind, type);
    slot.keySpec_ = keySpec;
    slot.isPrivate_ = isPrivate;
    return slot;
}

CapiKeySlot CapiKeySlot::Duplicate(HCRYPTPROV prov, HCRYPTKEY key, const char* kind, ErrorType type) {
    if (key == 0) throw XSECCryptoException(type, (std::string("WinCAPI: NULL ") + kind + " key handle").c_str());
    CapiKeySlot slot(prov, kind, type);
    slot.key_ = DuplicateKey(key, type);
    return slot;
}

CapiKeySlot CapiKeySlot::Empty(HCRYPTPROV prov, const char* kind, ErrorType type) {
    return CapiKeySlot(prov, kind, type);
}

HCRYPTKEY CapiKeySlot::handle() const {
    if (!key_ && keySpec_ != 0) {
        if (!CryptGetUserKey(prov_, keySpec_, key_.put())) ThrowLastError(type_, "CryptGetUserKey");
    }
    return key_.get();
}

HCRYPTKEY CapiKeySlot::require(const char* operation) const {
    HCRYPTKEY key = handle();
    if (key == 0) {
        std::string msg = std::string("WinCAPI: ") + kind_ + " " + operation + " with an empty key";
        throw XSECCryptoException(type_, msg.c_str());
    }
    return key;
}

}  // namespace crypto
