#pragma once
// xml-security-c's crypto provider over Windows CryptoAPI. At construction it acquires
// verification contexts (CRYPT_VERIFYCONTEXT) of PROV_RSA_AES (hashes, HMAC, RSA, random),
// PROV_DSS (DSA) and, when they are registered, a GOST provider (type 75, else 2) and the
// GOST R 34.10-2012 providers (type 80 for Streebog-256, type 81 for Streebog-512). A
// missing provider is remembered, never thrown from the support queries.
// getMaxHashSize() is 64 (SHA-512, Streebog-512).
#include "crypto/CapiHandles.hpp"
#include "crypto/SignatureFamilySupport.hpp"

#include <xsec/enc/XSECCryptoProvider.hpp>

class WinCAPICryptoProvider : public XSECCryptoProvider, public crypto::SignatureFamilySupport {
public:
    WinCAPICryptoProvider();
    ~WinCAPICryptoProvider() override;

    unsigned int getMaxHashSize() const override;
    XSECCryptoHash* hash(XSECCryptoHash::HashType type) const override;
    XSECCryptoHash* HMAC(XSECCryptoHash::HashType type) const override;
    XSECCryptoKeyHMAC* keyHMAC() const override;
    XSECCryptoBase64* base64() const override;
    XSECCryptoKeyDSA* keyDSA() const override;
    XSECCryptoKeyRSA* keyRSA() const override;
    // Not offered: throws XSECCryptoException (UnsupportedError).
    XSECCryptoKeyEC* keyEC() const override;
    // Not offered: throws XSECCryptoException (UnsupportedError).
    XSECCryptoKey* keyDER(const char* buf, unsigned long buflen, bool base64) const override;
    XSECCryptoX509* X509() const override;
    // No symmetric cipher is offered.
    bool algorithmSupported(XSECCryptoSymmetricKey::SymmetricKeyType alg) const override;
    // SHA-1, MD5, SHA-256/384/512 with the RSA-AES provider; 7 (GOST R 34.11-94) with a GOST
    // provider; 8 (Streebog-256) with a type 80 provider, 9 (Streebog-512) with a type 81
    // provider. Never throws.
    bool algorithmSupported(XSECCryptoHash::HashType alg) const override;
    // Throws XSECCryptoException (UnsupportedError).
    XSECCryptoSymmetricKey* keySymmetric(XSECCryptoSymmetricKey::SymmetricKeyType alg) const override;
    unsigned int getRandom(unsigned char* buffer, unsigned int numOctets) const override;
    const XMLCh* getProviderName() const override;

    // 1 RSA, 2 DSA, 3 HMAC, 5 GOST R 34.10-2001. Never throws.
    bool signatureFamilySupported(unsigned family) const override;

    // The verification contexts (0 when unavailable).
    HCRYPTPROV getProviderRSA() const { return rsa_.get(); }
    HCRYPTPROV getProviderDSS() const { return dss_.get(); }
    HCRYPTPROV getProviderGOST() const { return gost_.get(); }
    HCRYPTPROV getProviderGOST2012_256() const { return gost2012_256_.get(); }
    HCRYPTPROV getProviderGOST2012_512() const { return gost2012_512_.get(); }

private:
    // The context computing a hash type, 0 when none.
    HCRYPTPROV providerFor(XSECCryptoHash::HashType type) const;

    crypto::ProvHandle rsa_;
    crypto::ProvHandle dss_;
    crypto::ProvHandle gost_;
    crypto::ProvHandle gost2012_256_;
    crypto::ProvHandle gost2012_512_;
};
