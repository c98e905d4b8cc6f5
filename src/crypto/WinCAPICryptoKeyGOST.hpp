#pragma once
// A GOST R 34.10-2001 key held by a CryptoAPI GOST provider: a container key for signing,
// or a public key for verifying (imported from a handle, or built from the parts of a
// GOSTKeyValue and imported as a PUBLICKEYBLOB). Signatures cross this class in the XML
// byte order (s || r, big-endian halves), which is CryptoAPI's reversed.
#include <string>

#include <xsec/enc/XSECCryptoKey.hpp>

#include "crypto/CapiHandles.hpp"
#include "crypto/GostPublicKeyBlob.hpp"

class WinCAPICryptoKeyGOST : public XSECCryptoKey {
public:
    // The key pair of a container, for signing (isPrivate) or verifying.
    WinCAPICryptoKeyGOST(HCRYPTPROV prov, DWORD keySpec, bool isPrivate);
    // A public key handle someone else holds; a duplicate is kept.
    WinCAPICryptoKeyGOST(HCRYPTPROV prov, HCRYPTKEY key);
    // Empty; fill with the setters, then importKey().
    explicit WinCAPICryptoKeyGOST(HCRYPTPROV prov);
    ~WinCAPICryptoKeyGOST() override = default;

    // The parts of a GOST key value as XML carries them (Base64 of raw X||Y, of its DER
    // OCTET STRING or of a SubjectPublicKeyInfo; OIDs with or without "urn:oid:").
    void setPublicKeyBase64(const wchar_t* base64);
    void setPublicKeyParamSetOID(const wchar_t* oid);
    void setDigestParamSetOID(const wchar_t* oid);
    void setEncryptionParamSetOID(const wchar_t* oid);
    // Imports the key built from the parts; returns the handle this object keeps.
    HCRYPTKEY importKey();

    // The public key for a KeyValue: Base64 of X||Y, and "urn:oid:" parameter sets
    // (the encryption set empty when the key has none).
    std::string getPublicKeyBase64() const;
    std::string getPublicKeyParamSetOID() const;
    std::string getDigestParamSetOID() const;
    std::string getEncryptionParamSetOID() const;

    // hash: a GOST R 34.11-94 digest in XML byte order. Writes Base64 of s || r.
    unsigned int signBase64Signature(const unsigned char* hash, unsigned int hashLen, char* out,
                                     unsigned int outLen) const;
    // false for a signature that does not match; throws only when it cannot check.
    bool verifyBase64Signature(const unsigned char* hash, unsigned int hashLen, const char* base64,
                               unsigned int base64Len) const;

    KeyType getKeyType() const override { return KEY_NONE; }
    const XMLCh* getProviderName() const override;
    XSECCryptoKey* clone() const override;

    HCRYPTPROV Provider() const noexcept { return prov_.get(); }
    HCRYPTKEY Key() const noexcept { return key_.get(); }
    bool IsPrivate() const noexcept { return isPrivate_; }

private:
    gostBlob::GostPublicKey Exported() const;
    crypto::HashHandle HashWithValue(const unsigned char* hash, unsigned int hashLen) const;

    crypto::ProvHandle prov_;
    crypto::KeyHandle key_;
    DWORD keySpec_ = 0;
    bool isPrivate_ = false;
    std::wstring pendingKey_;
    gostBlob::GostPublicKey pending_;
};
