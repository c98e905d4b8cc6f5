#pragma once
// An X.509 certificate parsed by CryptoAPI (CertCreateCertificateContext over the DER).
#include "crypto/CapiHandles.hpp"

#include <xsec/enc/XSECCryptoX509.hpp>
#include <xsec/utils/XSECSafeBuffer.hpp>

class WinCAPICryptoX509 : public XSECCryptoX509 {
public:
    // rsaProv / dssProv: contexts into which clonePublicKey imports RSA / DSA keys (a
    // reference to each is kept; 0 when unavailable).
    WinCAPICryptoX509(HCRYPTPROV rsaProv, HCRYPTPROV dssProv);
    ~WinCAPICryptoX509() override;

    XSECCryptoKey::KeyType getPublicKeyType() const override;
    // A new WinCAPICryptoKeyRSA / WinCAPICryptoKeyDSA over the certificate's key; NULL for
    // other key kinds.
    XSECCryptoKey* clonePublicKey() const override;
    const XMLCh* getProviderName() const override;
    // Base64 of the DER certificate; throws XSECCryptoException (X509Error) when it does
    // not parse.
    void loadX509Base64Bin(const char* buf, unsigned int len) override;
    // The Base64 text as loaded (as xml-security-c's other providers keep it).
    safeBuffer& getDEREncodingSB() override { return base64_; }
    const safeBuffer& getDEREncodingSB() const override { return base64_; }

    PCCERT_CONTEXT getCertContext() const { return cert_.get(); }

private:
    const char* keyAlgorithmOid() const;
    XSECCryptoKey* cloneDsaKey() const;

    HCRYPTPROV rsaProv_;
    HCRYPTPROV dssProv_;
    crypto::ProvHandle rsaRef_;
    crypto::ProvHandle dssRef_;
    crypto::CertHandle cert_;
    safeBuffer base64_;
};
