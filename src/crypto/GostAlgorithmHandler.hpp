#pragma once
// Makes the GOST digest URIs (GOST R 34.11-94, GOST R 34.11-2012 256 and 512) and the
// GOST R 34.10-2001 signature URIs of both families (the cpxmlsec URNs and the
// xmldsig-more URIs) known to xml-security-c: digests through the crypto provider's hash
// types 7, 8 and 9, signatures through WinCAPICryptoKeyGOST; and the two HMAC-Streebog
// signature URIs (cpxmlsec URNs hmac-gostr34112012-256 / -512), computed with an HMAC key
// through the crypto provider's HMAC of hash types 8 and 9.
#include <xsec/framework/XSECAlgorithmHandler.hpp>

class TXFMChain;
class WinCAPICryptoKeyGOST;
class XSECCryptoKey;
class safeBuffer;

namespace gostAlgorithms {

// Registers the handler for the ten URIs. Call after XSECPlatformUtils::Initialise, each
// time the XML stack starts: Terminate forgets registered handlers.
void Register();

bool IsGostDigestUri(const XMLCh* uri) noexcept;
bool IsGostSignatureUri(const XMLCh* uri) noexcept;
bool IsGostHmacUri(const XMLCh* uri) noexcept;

// Shared by the handler's operations.
[[noreturn]] void Refuse(const char* what);
const WinCAPICryptoKeyGOST& GostKey(const XSECCryptoKey* key);
void AppendGostHash(TXFMChain* chain);
// Appends the hash of a GOST digest URI; refuses (AlgorithmMapperError) any other URI.
void AppendDigestHash(TXFMChain* chain, const XMLCh* uri);
unsigned int ReadDigest(TXFMChain* chain, unsigned char (&hash)[64]);
// The HMAC-Streebog methods: refuse (AlgorithmMapperError) another URI, a key that is not
// an HMAC key and an unsafe HMACOutputLength (as xml-security-c does for the other HMACs).
bool AppendHmacHash(TXFMChain* chain, const XMLCh* uri, const XSECCryptoKey* key);
unsigned int SignHmac(TXFMChain* chain, const XMLCh* uri, const XSECCryptoKey* key, unsigned int outputLength,
                      safeBuffer& result);
bool VerifyHmac(TXFMChain* chain, const XMLCh* uri, const char* sig, unsigned int outputLength,
                const XSECCryptoKey* key);

}  // namespace gostAlgorithms

class GostAlgorithmHandler : public XSECAlgorithmHandler {
public:
    bool encryptToSafeBuffer(TXFMChain*, XENCEncryptionMethod*, const XSECCryptoKey*,
                             XERCES_CPP_NAMESPACE_QUALIFIER DOMDocument*, safeBuffer&) const override;
    unsigned int decryptToSafeBuffer(TXFMChain*, XENCEncryptionMethod*, const XSECCryptoKey*,
                                     XERCES_CPP_NAMESPACE_QUALIFIER DOMDocument*, safeBuffer&) const override;
    bool appendDecryptCipherTXFM(TXFMChain*, XENCEncryptionMethod*, const XSECCryptoKey*,
                                 XERCES_CPP_NAMESPACE_QUALIFIER DOMDocument*) const override;
    unsigned int signToSafeBuffer(TXFMChain* inputBytes, const XMLCh* uri, const XSECCryptoKey* key,
                                  unsigned int outputLength, safeBuffer& result) const override;
    bool verifyBase64Signature(TXFMChain* inputBytes, const XMLCh* uri, const char* sig, unsigned int outputLength,
                               const XSECCryptoKey* key) const override;
    bool appendSignatureHashTxfm(TXFMChain* inputBytes, const XMLCh* uri, const XSECCryptoKey* key) const override;
    bool appendHashTxfm(TXFMChain* inputBytes, const XMLCh* uri) const override;
    XSECCryptoKey* createKeyForURI(const XMLCh* uri, const unsigned char* keyBuffer,
                                   unsigned int keyLen) const override;
    XSECAlgorithmHandler* clone() const override;
};
