// Whether the installed crypto provider can compute a catalog algorithm, and whether
// xml-security-c knows a canonicalisation method.
#include <xsec/enc/XSECCryptoProvider.hpp>
#include <xsec/utils/XSECAlgorithmSupport.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "algorithms/AlgorithmCatalog.hpp"
#include "base/CryptXmlException.hpp"
#include "crypto/SignatureFamilySupport.hpp"

namespace algInfo {

bool AlgCanBeUsed(const CRYPT_XML_ALGORITHM_INFO* alg) {
    static const char* const kFunction = "algInfo::AlgCanBeUsed";
    if (alg == nullptr) errors::Raise<hr::kInvalidArg>(kFunction, "alg == NULL");
    const XSECCryptoProvider* provider = XSECPlatformUtils::g_cryptoProvider;
    if (provider == nullptr) {
        errors::Raise<hr::kObjectFaulted>(kFunction, "XSECPlatformUtils::g_cryptoProvider == NULL");
    }
    if (alg->wszAlgorithmURI == nullptr) errors::Raise<hr::kInvalidArg>(kFunction, "alg->wszAlgorithmURI");

    // A record copied by the host is judged by the catalog's own entry.
    const CRYPT_XML_ALGORITHM_INFO* entry = FindAlgInfoByURI(alg->wszAlgorithmURI);
    if (entry == nullptr) return false;
    const ProviderLink& link = LinkOf(*entry);
    if (!provider->algorithmSupported(static_cast<XSECCryptoHash::HashType>(link.xsecHashType))) return false;
    if (link.sigFamily == kDigest) return true;
    const auto* families = dynamic_cast<const crypto::SignatureFamilySupport*>(provider);
    return families != nullptr && families->signatureFamilySupported(link.sigFamily);
}

bool HashOrSigAlgIsAvailable(const wchar_t* uri) {
    if (uri == nullptr) errors::Raise<hr::kInvalidArg>("algInfo::HashOrSigAlgIsAvailable", "NULL==algorithm");
    const CRYPT_XML_ALGORITHM_INFO* entry = FindAlgInfoByURI(uri);
    return entry != nullptr && AlgCanBeUsed(entry);
}

bool CanonAlgIsAvailable(const wchar_t* uri) {
    if (uri == nullptr) errors::Raise<hr::kInvalidArg>("algInfo::CanonAlgIsAvailable", "NULL==algorithm");
    bool exclusive = false;
    bool comments = false;
    bool onedotone = false;
    return XSECAlgorithmSupport::evalCanonicalizationMethod(uri, exclusive, comments, onedotone);
}

}  // namespace algInfo
