#include "crypto/GostAlgorithmHandler.hpp"

#include <cstring>
#include <cwchar>

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

bool OneOf(const XMLCh* uri, const XMLCh* const (&list)[2]) noexcept {
    if (uri == nullptr) return false;
    for (const XMLCh* known : list) {
        if (std::wcscmp(uri, known) == 0) return true;
    }
    return false;
}

const DigestUri* FindDigest(const XMLCh* uri) noexcept {
    if (uri == nullptr) return nullptr;
    for (const DigestUri& known : kDigests) {
        if (std::wcscmp(uri, known.uri) == 0) return &known;
    }
    return nullptr;
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

void Register() {
    const GostAlgorithmHandler handler;
    for (const DigestUri& digest : kDigests) XSECPlatformUtils::registerAlgorithmHandler(digest.uri, handler);
    for (const XMLCh* uri : kSignatures) XSECPlatformUtils::registerAlgorithmHandler(uri, handler);
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
                                                    unsigned int /*outputLength*/, safeBuffer& result) const {
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
                                                 unsigned int /*outputLength*/, const XSECCryptoKey* key) const {
    if (!gostAlgorithms::IsGostSignatureUri(uri)) gostAlgorithms::Refuse("not a GOST signature method");
    const WinCAPICryptoKeyGOST& gost = gostAlgorithms::GostKey(key);
    unsigned char hash[64];
    const unsigned int hashLen = gostAlgorithms::ReadDigest(inputBytes, hash);
    return gost.verifyBase64Signature(hash, hashLen, sig, static_cast<unsigned int>(std::strlen(sig)));
}

bool GostAlgorithmHandler::appendSignatureHashTxfm(TXFMChain* inputBytes, const XMLCh* uri,
                                                   const XSECCryptoKey* /*key*/) const {
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
