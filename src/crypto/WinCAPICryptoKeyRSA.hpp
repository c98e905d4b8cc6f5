#pragma once
// An RSA key held by a CryptoAPI provider. Three forms:
//  - (prov, keySpec, isPrivate): the key pair of a container, used for signing;
//  - (prov, key): an existing key handle, duplicated and owned, used for verifying;
//  - (prov): empty; loadPublic*Base64BigNums then importKey() build a public key.
// Signatures are PKCS#1 v1.5 in XML's big-endian order (CryptoAPI's reversed).
#include "crypto/CapiKeySlot.hpp"

#include <xsec/enc/XSECCryptoKeyRSA.hpp>

#include <vector>

class WinCAPICryptoKeyRSA : public XSECCryptoKeyRSA {
public:
    WinCAPICryptoKeyRSA(HCRYPTPROV prov, DWORD keySpec, bool isPrivate);
    WinCAPICryptoKeyRSA(HCRYPTPROV prov, HCRYPTKEY key);
    explicit WinCAPICryptoKeyRSA(HCRYPTPROV prov);
    ~WinCAPICryptoKeyRSA() override;

    const XMLCh* getProviderName() const override;
    XSECCryptoKey::KeyType getKeyType() const override;
    XSECCryptoKey* clone() const override;

    bool verifySHA1PKCS1Base64Signature(const unsigned char* hashBuf, unsigned int hashLen, const char* base64Signature,
                                        unsigned int sigLen, XSECCryptoHash::HashType type) const override;
    unsigned int signSHA1PKCS1Base64Signature(unsigned char* hashBuf, unsigned int hashLen, char* base64SignatureBuf,
                                              unsigned int base64SignatureBufLen,
                                              XSECCryptoHash::HashType type) const override;
    // Encryption is not offered: both throw XSECCryptoException (UnsupportedError).
    unsigned int privateDecrypt(const unsigned char* inBuf, unsigned char* plainBuf, unsigned int inLength,
                                unsigned int maxOutLength, PaddingType padding, const XMLCh* hashURI,
                                const XMLCh* mgfURI, unsigned char* params, unsigned int paramsLen) const override;
    unsigned int publicEncrypt(const unsigned char* inBuf, unsigned char* cipherBuf, unsigned int inLength,
                               unsigned int maxOutLength, PaddingType padding, const XMLCh* hashURI,
                               const XMLCh* mgfURI, unsigned char* params, unsigned int paramsLen) const override;

    // Modulus length in bytes.
    unsigned int getLength() const override;

    void loadPublicModulusBase64BigNums(const char* b64, unsigned int len) override;
    void loadPublicExponentBase64BigNums(const char* b64, unsigned int len) override;
    // Imports the loaded modulus and exponent as a PUBLICKEYBLOB; the key stays owned by
    // this object and is returned for the caller to use (or duplicate).
    HCRYPTKEY importKey();

    // Base64 of the big-endian modulus / public exponent, NUL-terminated in buf; the length
    // of the text is returned.
    unsigned int getModulusBase64BigNums(char* buf, unsigned int len);
    unsigned int getExponentBase64BigNums(char* buf, unsigned int len);

    HCRYPTPROV getProviderHandle() const { return slot_.prov(); }
    // The key handle (the container's public key for the first form), 0 when none.
    HCRYPTKEY getKeyHandle() const;

private:
    bool loaded() const;
    HCRYPTKEY requireKey(const char* operation) const;
    HCRYPTKEY importLoaded() const;
    // Reads modulus and exponent (big-endian) from the key.
    void exportPublic(std::vector<unsigned char>& modulus, std::vector<unsigned char>& exponent) const;

    crypto::CapiKeySlot slot_;
    std::vector<unsigned char> modulus_;   // loaded, big-endian
    std::vector<unsigned char> exponent_;  // loaded, big-endian
};
