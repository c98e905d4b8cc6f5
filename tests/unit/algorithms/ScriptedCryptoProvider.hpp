#pragma once
#include <set>
#include <utility>

#include <xsec/enc/XSECCryptoProvider.hpp>

#include "crypto/SignatureFamilySupport.hpp"

namespace testing_support {

// A crypto provider that computes nothing and answers the hash-type query from a set the
// test gives it, as xml-security-c's own providers would: it cannot tell signature families.
class HashOnlyCryptoProvider : public XSECCryptoProvider {
public:
    explicit HashOnlyCryptoProvider(std::set<unsigned> hashTypes) : hashTypes_(std::move(hashTypes)) {}

    bool algorithmSupported(XSECCryptoHash::HashType alg) const override { return hashTypes_.count(alg) != 0; }

    unsigned int getMaxHashSize() const override { return 64; }
    XSECCryptoHash* hash(XSECCryptoHash::HashType) const override { return nullptr; }
    XSECCryptoHash* HMAC(XSECCryptoHash::HashType) const override { return nullptr; }
    XSECCryptoKeyHMAC* keyHMAC() const override { return nullptr; }
    XSECCryptoBase64* base64() const override { return nullptr; }
    XSECCryptoKeyDSA* keyDSA() const override { return nullptr; }
    XSECCryptoKeyRSA* keyRSA() const override { return nullptr; }
    XSECCryptoKeyEC* keyEC() const override { return nullptr; }
    XSECCryptoKey* keyDER(const char*, unsigned long, bool) const override { return nullptr; }
    XSECCryptoX509* X509() const override { return nullptr; }
    bool algorithmSupported(XSECCryptoSymmetricKey::SymmetricKeyType) const override { return false; }
    XSECCryptoSymmetricKey* keySymmetric(XSECCryptoSymmetricKey::SymmetricKeyType) const override { return nullptr; }
    unsigned int getRandom(unsigned char*, unsigned int) const override { return 0; }
    const XMLCh* getProviderName() const override { return L"scripted"; }

private:
    std::set<unsigned> hashTypes_;
};

// The same, also answering the signature-family query from a second set.
class ScriptedCryptoProvider : public HashOnlyCryptoProvider, public crypto::SignatureFamilySupport {
public:
    ScriptedCryptoProvider(std::set<unsigned> hashTypes, std::set<unsigned> families)
        : HashOnlyCryptoProvider(std::move(hashTypes)), families_(std::move(families)) {}

    bool signatureFamilySupported(unsigned family) const override { return families_.count(family) != 0; }

private:
    std::set<unsigned> families_;
};

}  // namespace testing_support
