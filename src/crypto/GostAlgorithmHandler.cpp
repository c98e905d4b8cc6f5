#include "crypto/GostAlgorithmHandler.hpp"

#include <cstring>
#include <cwchar>
#include <string>

#include <xsec/enc/XSECCryptoKey.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/transformers/TXFMChain.hpp>
#include <xsec/transformers/TXFMHash.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>
#include <xsec/utils/XSECSafeBuffer.hpp>

#include "crypto/CapiSupport.hpp"
#include "crypto/WinCAPICryptoKeyGOST.hpp"

namespace gostAlgorithms {
namespace {

// Each digest URI with the hash type the crypto provider computes it with.
struct DigestUri {
    const XMLCh* uri;
    XSECCryptoHash::HashType type;
};

constexpr DigestUri kDigests[] = {
    {L"http://www.w3.org/2001/04/xmldsig-more#gostr3411", crypto::kHashGost3411},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411", crypto::kHashGost3411},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256", crypto::kHashStreebog256},
    {L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-256", crypto::kHashStreebog256},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512", crypto::kHashStreebog512},
    {L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-512", crypto::kHashStreebog512},
};
constexpr const XMLCh* kSignatures[] = {L"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411",
                                        L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411"};

// Each HMAC signature URI with the Streebog hash type its HMAC runs on.
constexpr DigestUri kHmacs[] = {
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256", crypto::kHashStreebog256},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-512", crypto::kHashStreebog512},
};

bool OneOf(const XMLCh* uri, const XMLCh* const (&list)[2]) noexcept {
    if (uri == nullptr) return false;
    for (const XMLCh* known : list) {
        if (std::wcscmp(uri, known) == 0) return true;
    }
    return false;
}

template <size_t N>
const DigestUri* FindUri(const XMLCh* uri, const DigestUri (&list)[N]) noexcept {
    if (uri == nullptr) return nullptr;
    for (const DigestUri& known : list) {
        if (std::wcscmp(uri, known.uri) == 0) return &known;
    }
    return nullptr;
}

const DigestUri* FindDigest(const XMLCh* uri) noexcept { return FindUri(uri, kDigests); }
const DigestUri* FindHmac(const XMLCh* uri) noexcept { return FindUri(uri, kHmacs); }

// The HMAC of the canonical SignedInfo with the caller's secret, through the crypto
// provider's HMAC of the Streebog hash type (CryptoAPI's bytes as they come, no reversal).
// HMACOutputLength (bits) is treated as xml-security-c (patch 0006) treats it for the other
// HMACs: refused when unsafe (above the HMAC's length, under 80 bits or under half the
// HMAC), else the leftmost bits are kept.
unsigned int ComputeHmac(TXFMChain* chain, const DigestUri& hmac, const XSECCryptoKey* key, unsigned int outputLength,
                         unsigned char (&mac)[64]) {
    if (key == nullptr || key->getKeyType() != XSECCryptoKey::KEY_HMAC)
        Refuse("HMAC-GOSTR3411-2012 signature method with a key that is not an HMAC key");
    // The chain owns what is appended to it.
    chain->appendTxfm(new TXFMHash(chain->getLastTxfm()->getDocument(), hmac.type, key));
    const unsigned int macLen = chain->getLastTxfm()->readBytes(mac, sizeof(mac));
    if (outputLength > 0 && (outputLength > macLen * 8 || outputLength < 80 || outputLength < macLen * 8 / 2))
        Refuse("HMACOutputLength set to unsafe value.");
    return macLen;
}

// The bytes that carry the leftmost `bits` of an HMAC (all of it for 0), the bits beyond
// them in a partial last byte zero.
unsigned int Truncate(unsigned char (&mac)[64], unsigned int macLen, unsigned int bits) noexcept {
    if (bits == 0) return macLen;
    const unsigned int bytes = (bits + 7) / 8;
    if (bits % 8 != 0) mac[bytes - 1] &= static_cast<unsigned char>(0xFF << (8 - bits % 8));
    return bytes;
}

void AppendHash(TXFMChain* chain, XSECCryptoHash::HashType type) {
    // The chain owns what is appended to it.
    chain->appendTxfm(new TXFMHash(chain->getLastTxfm()->getDocument(), type));
}

}  // namespace

[[noreturn]] void Refuse(const char* what) { throw XSECException(XSECException::AlgorithmMapperError, what); }

const WinCAPICryptoKeyGOST& GostKey(const XSECCryptoKey* key) {
    const auto* gost = dynamic_cast<const WinCAPICryptoKeyGOST*>(key);
    if (gost == nullptr) Refuse("GOST R 34.10-2001 signature method with a key that is not a GOST key");
    return *gost;
}

void AppendGostHash(TXFMChain* chain) { AppendHash(chain, crypto::kHashGost3411); }

bool AppendHmacHash(TXFMChain* chain, const XMLCh* uri, const XSECCryptoKey* key) {
    const DigestUri* hmac = FindHmac(uri);
    if (hmac == nullptr) Refuse("not a GOST HMAC signature method");
    if (key == nullptr || key->getKeyType() != XSECCryptoKey::KEY_HMAC)
        Refuse("HMAC-GOSTR3411-2012 signature method with a key that is not an HMAC key");
    chain->appendTxfm(new TXFMHash(chain->getLastTxfm()->getDocument(), hmac->type, key));
    return true;
}

void AppendDigestHash(TXFMChain* chain, const XMLCh* uri) {
    const DigestUri* digest = FindDigest(uri);
    if (digest == nullptr) Refuse("not a GOST digest method");
    AppendHash(chain, digest->type);
}

// Sign and verify receive the canonical SignedInfo: hash it and read the 32-byte digest.
unsigned int ReadDigest(TXFMChain* chain, unsigned char (&hash)[64]) {
    AppendGostHash(chain);
    return chain->getLastTxfm()->readBytes(hash, sizeof(hash));
}

bool IsGostDigestUri(const XMLCh* uri) noexcept { return FindDigest(uri) != nullptr; }
bool IsGostSignatureUri(const XMLCh* uri) noexcept { return OneOf(uri, kSignatures); }
bool IsGostHmacUri(const XMLCh* uri) noexcept { return FindHmac(uri) != nullptr; }

void Register() {
    const GostAlgorithmHandler handler;
    for (const DigestUri& digest : kDigests) XSECPlatformUtils::registerAlgorithmHandler(digest.uri, handler);
    for (const XMLCh* uri : kSignatures) XSECPlatformUtils::registerAlgorithmHandler(uri, handler);
    for (const DigestUri& hmac : kHmacs) XSECPlatformUtils::registerAlgorithmHandler(hmac.uri, handler);
}

unsigned int SignHmac(TXFMChain* chain, const XMLCh* uri, const XSECCryptoKey* key, unsigned int outputLength,
                      safeBuffer& result) {
    const DigestUri* hmac = FindHmac(uri);
    if (hmac == nullptr) Refuse("not a GOST HMAC signature method");
    unsigned char mac[64];
    const unsigned int macLen = Truncate(mac, ComputeHmac(chain, *hmac, key, outputLength, mac), outputLength);
    const std::string base64 = crypto::EncodeBase64(mac, macLen);
    SecureZeroMemory(mac, sizeof(mac));
    result.sbStrcpyIn(base64.c_str());
    return static_cast<unsigned int>(base64.size());
}

bool VerifyHmac(TXFMChain* chain, const XMLCh* uri, const char* sig, unsigned int outputLength,
                const XSECCryptoKey* key) {
    const DigestUri* hmac = FindHmac(uri);
    if (hmac == nullptr) Refuse("not a GOST HMAC signature method");
    unsigned char mac[64];
    const unsigned int macLen = ComputeHmac(chain, *hmac, key, outputLength, mac);
    crypto::Bytes given = crypto::DecodeBase64(sig, static_cast<unsigned int>(std::strlen(sig)));
    // With HMACOutputLength the leftmost bits are compared (a longer value given is
    // accepted, as xml-security-c does for the other HMACs); without it the whole HMAC.
    unsigned int compared = macLen;
    unsigned char diff = 0;
    if (outputLength > 0) {
        compared = (outputLength + 7) / 8;
        if (given.size() < compared) diff = 1;
        if (outputLength % 8 != 0 && given.size() >= compared) {
            const auto mask = static_cast<unsigned char>(0xFF << (8 - outputLength % 8));
            diff |= static_cast<unsigned char>((mac[compared - 1] ^ given[compared - 1]) & mask);
            --compared;
        }
    } else if (given.size() != macLen) {
        diff = 1;
    }
    // Every byte is compared, whatever the first difference.
    for (unsigned int i = 0; i < compared && i < given.size(); ++i)
        diff |= static_cast<unsigned char>(mac[i] ^ given[i]);
    SecureZeroMemory(mac, sizeof(mac));
    return diff == 0;
}

}  // namespace gostAlgorithms

bool GostAlgorithmHandler::encryptToSafeBuffer(TXFMChain*, XENCEncryptionMethod*, const XSECCryptoKey*,
                                               XERCES_CPP_NAMESPACE_QUALIFIER DOMDocument*, safeBuffer&) const {
    gostAlgorithms::Refuse("GOST algorithms do not encrypt here");
}

unsigned int GostAlgorithmHandler::decryptToSafeBuffer(TXFMChain*, XENCEncryptionMethod*, const XSECCryptoKey*,
                                                       XERCES_CPP_NAMESPACE_QUALIFIER DOMDocument*, safeBuffer&) const {
    gostAlgorithms::Refuse("GOST algorithms do not decrypt here");
}

bool GostAlgorithmHandler::appendDecryptCipherTXFM(TXFMChain*, XENCEncryptionMethod*, const XSECCryptoKey*,
                                                   XERCES_CPP_NAMESPACE_QUALIFIER DOMDocument*) const {
    gostAlgorithms::Refuse("GOST algorithms do not decrypt here");
}

unsigned int GostAlgorithmHandler::signToSafeBuffer(TXFMChain* inputBytes, const XMLCh* uri, const XSECCryptoKey* key,
                                                    unsigned int outputLength, safeBuffer& result) const {
    if (gostAlgorithms::IsGostHmacUri(uri)) return gostAlgorithms::SignHmac(inputBytes, uri, key, outputLength, result);
    if (!gostAlgorithms::IsGostSignatureUri(uri)) gostAlgorithms::Refuse("not a GOST signature method");
    const WinCAPICryptoKeyGOST& gost = gostAlgorithms::GostKey(key);
    unsigned char hash[64];
    const unsigned int hashLen = gostAlgorithms::ReadDigest(inputBytes, hash);
    char base64[512];
    const unsigned int length = gost.signBase64Signature(hash, hashLen, base64, sizeof(base64));
    result.sbStrcpyIn(base64);
    return length;
}

bool GostAlgorithmHandler::verifyBase64Signature(TXFMChain* inputBytes, const XMLCh* uri, const char* sig,
                                                 unsigned int outputLength, const XSECCryptoKey* key) const {
    if (gostAlgorithms::IsGostHmacUri(uri)) return gostAlgorithms::VerifyHmac(inputBytes, uri, sig, outputLength, key);
    if (!gostAlgorithms::IsGostSignatureUri(uri)) gostAlgorithms::Refuse("not a GOST signature method");
    const WinCAPICryptoKeyGOST& gost = gostAlgorithms::GostKey(key);
    unsigned char hash[64];
    const unsigned int hashLen = gostAlgorithms::ReadDigest(inputBytes, hash);
    return gost.verifyBase64Signature(hash, hashLen, sig, static_cast<unsigned int>(std::strlen(sig)));
}

bool GostAlgorithmHandler::appendSignatureHashTxfm(TXFMChain* inputBytes, const XMLCh* uri,
                                                   const XSECCryptoKey* key) const {
    if (gostAlgorithms::IsGostHmacUri(uri)) return gostAlgorithms::AppendHmacHash(inputBytes, uri, key);
    if (!gostAlgorithms::IsGostSignatureUri(uri)) gostAlgorithms::Refuse("not a GOST signature method");
    gostAlgorithms::AppendGostHash(inputBytes);
    return true;
}

bool GostAlgorithmHandler::appendHashTxfm(TXFMChain* inputBytes, const XMLCh* uri) const {
    gostAlgorithms::AppendDigestHash(inputBytes, uri);
    return true;
}

XSECCryptoKey* GostAlgorithmHandler::createKeyForURI(const XMLCh*, const unsigned char*, unsigned int) const {
    return nullptr;  // GOST keys come from a CryptoAPI provider, never from raw bytes
}

XSECAlgorithmHandler* GostAlgorithmHandler::clone() const { return new GostAlgorithmHandler(*this); }
