#pragma once
// HMAC over a CryptoAPI hash: CALG_HMAC with HMAC_INFO, a key imported as a PLAINTEXTKEYBLOB
// with CRYPT_IPSEC_HMAC_KEY. Keys longer than the hash's block are hashed first (RFC 2104);
// the secret is folded into HMAC_INFO's inner and outer strings, which are as long as the
// block (128 bytes for SHA-384/512), so any key length works whatever the CSP's key limit.
#include "crypto/CapiHandles.hpp"

#include <xsec/enc/XSECCryptoHash.hpp>

#include <vector>

class WinCAPICryptoHashHMAC : public XSECCryptoHash {
public:
    // prov: a context offering the hash (a reference is kept). Throws XSECCryptoException
    // (MDError) for a type without a CryptoAPI algorithm.
    WinCAPICryptoHashHMAC(HCRYPTPROV prov, HashType type);
    ~WinCAPICryptoHashHMAC() override;

    void reset() override;
    void hash(unsigned char* data, unsigned int length) override;
    unsigned int finish(unsigned char* hash, unsigned int maxLength) override;
    HashType getHashType() const override { return type_; }
    // key must be a KEY_HMAC key; starts a new computation.
    void setKey(const XSECCryptoKey* key) override;

private:
    void start();

    HCRYPTPROV prov_;
    crypto::ProvHandle provRef_;
    HashType type_;
    ALG_ID algId_;
    unsigned int blockSize_;
    std::vector<unsigned char> innerPad_;
    std::vector<unsigned char> outerPad_;
    crypto::KeyHandle key_;
    crypto::HashHandle hash_;
};
