#pragma once
#include <windows.h>

#include <wincrypt.h>

#include "Outcome.hpp"

namespace verifyVectors {

// A CryptoAPI verification key and the context that holds it, released in that order.
class VerifyKey {
public:
    VerifyKey() = default;
    VerifyKey(const VerifyKey&) = delete;
    VerifyKey& operator=(const VerifyKey&) = delete;
    ~VerifyKey();

    HCRYPTPROV prov() const { return prov_; }
    HCRYPTKEY key() const { return key_; }

    // The key of a DER certificate, of a DER SubjectPublicKeyInfo, or of a decoded one.
    // S_OK, or the HRESULT of the CryptoAPI call that failed.
    HRESULT FromCertificate(const Bytes& der);
    HRESULT FromPublicKeyInfo(const Bytes& der);
    HRESULT FromPublicKeyInfo(const CERT_PUBLIC_KEY_INFO& info);

private:
    void Release();

    HCRYPTPROV prov_ = 0;
    HCRYPTKEY key_ = 0;
};

}  // namespace verifyVectors
