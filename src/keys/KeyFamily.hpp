#pragma once
// One kind of key, everything about it in one place: how a signing key is made from a
// caller's container, the KeyValue written for it, the key object over a caller's
// CryptoAPI key, how a KeyValue read from a document is published, how a published
// CRYPT_XML_KEY_VALUE and a certificate's key are imported, and the ids that name it.
// The families are listed once, in KeyFamilies.cpp; nothing else asks what kind a key is.
#include <exception>
#include <memory>

#include "base/WinApi.hpp"
#include "crypto/CapiHandles.hpp"

class DSIGKeyInfo;
class DSIGSignature;
class KeyValueStructWrap;
class XSECCryptoKey;

namespace keys {

// What a new signature hands its family to make the signing key.
struct SigningRequest {
    HCRYPTPROV prov;
    DWORD keySpec;
    unsigned hashType;   // XSECCryptoHash::HashType of the signature method
    const BYTE* secret;  // the borrowed HMAC secret, or null
    ULONG secretLength;
};

// A signing key, and the provider opened for it when the caller's could not serve it;
// the provider must outlive the key.
struct SigningKey {
    std::unique_ptr<XSECCryptoKey> key;
    crypto::ProvHandle reopened;
};

// A key imported for verification; the caller's to keep.
struct ImportedKey {
    crypto::ProvHandle prov;
    crypto::KeyHandle key;
};

// A failure that was traced where it happened; whoever catches it only answers its code.
class TracedFailure : public std::exception {
public:
    explicit TracedFailure(HRESULT code) noexcept : code_(code) {}
    const char* what() const noexcept override { return "traced"; }
    HRESULT hr() const noexcept { return code_; }

private:
    HRESULT code_;
};

class KeyFamily {
public:
    // The family's number as the crypto provider and the catalog count it.
    virtual unsigned SignatureFamily() const noexcept = 0;
    // A shared secret instead of a key pair: the caller's HMAC secret signs and verifies.
    virtual bool UsesSecret() const noexcept { return false; }
    // Which keys are this family's: a CryptoAPI key by its KP_ALGID, a CRYPT_XML_KEY_VALUE
    // by its dwType, a KeyInfo item by its xml-security-c type, a certificate key by OID.
    virtual bool HoldsAlgId(ALG_ID) const noexcept { return false; }
    virtual bool HoldsKeyValueType(DWORD) const noexcept { return false; }
    virtual bool HoldsKeyInfoType(int) const noexcept { return false; }
    virtual bool HoldsCertificateOid(const char*) const noexcept { return false; }

    // Signing. The KeyValue is appended to the signature's KeyInfo, for the key that
    // MakeSigningKey made; a family without a public key writes none.
    virtual SigningKey MakeSigningKey(const SigningRequest& request) const = 0;
    virtual void AppendKeyValue(DSIGSignature& signature, XSECCryptoKey& key) const;

    // Verification with a caller's key (one HoldsAlgId accepted).
    virtual std::unique_ptr<XSECCryptoKey> WrapKey(HCRYPTPROV prov, HCRYPTKEY key) const;

    // Decoding: a KeyValue item (one HoldsKeyInfoType accepted) as CRYPT_XML_KEY_VALUE.
    virtual void PublishKeyValue(const DSIGKeyInfo& item, CRYPT_XML_CHARSET charset, KeyValueStructWrap& out) const;

    // Import of a CRYPT_XML_KEY_VALUE (one HoldsKeyValueType accepted). Throws; the
    // failure text is traced under ImportRoutine(). The out values are set as the
    // exported import documents: see keyImport::ImportPublicKeyCAPI.
    virtual const char* ImportRoutine() const noexcept { return "ImportPublicKeyCAPI"; }
    virtual void ImportKeyValue(const CRYPT_XML_KEY_VALUE& value, HCRYPTPROV* phProv, HCRYPTKEY* phKey) const;

    // Import of a certificate's key (one HoldsCertificateOid accepted). Throws.
    virtual ImportedKey ImportCertificateKey(const CERT_PUBLIC_KEY_INFO& info) const;

protected:
    ~KeyFamily() = default;
};

}  // namespace keys
