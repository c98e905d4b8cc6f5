#pragma once
// A DSA key held by a CryptoAPI DSS provider, in the same three forms as the RSA key:
// (prov, keySpec, isPrivate) for signing with a container key, (prov, key) for verifying
// with a duplicate of an existing handle, (prov) + load*Base64BigNums + importKey().
// Signatures are SHA-1 DSA, 40 bytes r || s, each half big-endian as XML wants.
#include "crypto/CapiKeySlot.hpp"

#include <xsec/enc/XSECCryptoKeyDSA.hpp>

#include <vector>

class WinCAPICryptoKeyDSA : public XSECCryptoKeyDSA {
public:
    WinCAPICryptoKeyDSA(HCRYPTPROV prov, DWORD keySpec, bool isPrivate);
    WinCAPICryptoKeyDSA(HCRYPTPROV prov, HCRYPTKEY key);
    explicit WinCAPICryptoKeyDSA(HCRYPTPROV prov);
    ~WinCAPICryptoKeyDSA() override;

    const XMLCh* getProviderName() const override;
    XSECCryptoKey::KeyType getKeyType() const override;
    XSECCryptoKey* clone() const override;

    bool verifyBase64Signature(unsigned char* hashBuf, unsigned int hashLen, char* base64Signature,
                               unsigned int sigLen) const override;
    unsigned int signBase64Signature(unsigned char* hashBuf, unsigned int hashLen, char* base64SignatureBuf,
                                     unsigned int base64SignatureBufLen) const override;

    void loadPBase64BigNums(const char* b64, unsigned int len) override;
    void loadQBase64BigNums(const char* b64, unsigned int len) override;
    void loadGBase64BigNums(const char* b64, unsigned int len) override;
    void loadYBase64BigNums(const char* b64, unsigned int len) override;
    // J is not needed by CryptoAPI; it is accepted and ignored.
    void loadJBase64BigNums(const char* b64, unsigned int len) override;
    // Imports P, Q, G, Y as a DSS PUBLICKEYBLOB (crypto/DssPublicKeyBlob.hpp); the key stays
    // owned by this object and is returned for the caller to use (or duplicate).
    HCRYPTKEY importKey();

    // Base64 of the big-endian parameter, NUL-terminated in buf; returns the text length.
    unsigned int getPBase64BigNums(char* buf, unsigned int len);
    unsigned int getQBase64BigNums(char* buf, unsigned int len);
    unsigned int getGBase64BigNums(char* buf, unsigned int len);
    unsigned int getYBase64BigNums(char* buf, unsigned int len);

    HCRYPTPROV getProviderHandle() const { return slot_.prov(); }
    HCRYPTKEY getKeyHandle() const;

private:
    struct PublicParts {
        std::vector<unsigned char> p, q, g, y;  // big-endian
    };
    bool loaded() const;
    HCRYPTKEY requireKey(const char* operation) const;
    HCRYPTKEY importLoaded() const;
    PublicParts exportPublic() const;
    unsigned int writeOut(const std::vector<unsigned char>& value, char* buf, unsigned int len) const;

    crypto::CapiKeySlot slot_;
    PublicParts loaded_;
};
