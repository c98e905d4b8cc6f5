#pragma once
// A message digest computed by a CryptoAPI provider (CryptCreateHash / CryptHashData /
// CryptGetHashParam): SHA-1, SHA-256/384/512, MD5, and GOST R 34.11-94 on a GOST provider.
#include "crypto/CapiHandles.hpp"

#include <xsec/enc/XSECCryptoHash.hpp>

class WinCAPICryptoHash : public XSECCryptoHash {
public:
    // prov: a context offering the algorithm (a reference is kept). Throws
    // XSECCryptoException (MDError) for a type the provider cannot compute.
    WinCAPICryptoHash(HCRYPTPROV prov, HashType type);
    ~WinCAPICryptoHash() override = default;

    void reset() override;
    void hash(unsigned char* data, unsigned int length) override;
    unsigned int finish(unsigned char* hash, unsigned int maxLength) override;
    HashType getHashType() const override { return type_; }
    // A plain digest takes no key.
    void setKey(const XSECCryptoKey*) override {}

private:
    HCRYPTPROV prov_;
    crypto::ProvHandle provRef_;
    HashType type_;
    ALG_ID algId_;
    crypto::HashHandle hash_;
};
