// The signing key of a new signature, chosen by its signature method: its key family
// makes the key (the borrowed HMAC secret, or the caller's CryptoAPI container key) and
// writes the KeyValue of that key when the caller asks for it.
#include <cwchar>

#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoKey.hpp>

#include "algorithms/AlgorithmCatalog.hpp"
#include "base/CryptXmlException.hpp"
#include "dsig/SigContext.hpp"
#include "keys/KeyFamily.hpp"

namespace {

bool IsEcdsaUri(const wchar_t* uri) { return uri != nullptr && std::wcsstr(uri, L"#ecdsa-") != nullptr; }

}  // namespace

void SigContext::SetupSigningKey(HCRYPTPROV hProv, DWORD dwKeySpec, bool addKeyValue) {
    static const char* const kFunction = "SigContext::SetupSigningKey";
    if (xsecSig_ == nullptr) errors::Raise<hr::kInvalidOperation>(kFunction);
    const wchar_t* uri = xsecSig_->getAlgorithmURI();
    if (IsEcdsaUri(uri))
        errors::Raise<hr::kAlgorithm>(kFunction, "SIGNATURE_ECDSA == sigMethod. ECDSA is not supported.");
    const CRYPT_XML_ALGORITHM_INFO* entry = uri != nullptr ? algInfo::FindAlgInfoByURI(uri) : nullptr;
    const keys::KeyFamily* family = entry != nullptr ? algInfo::FamilyOf(*entry) : nullptr;
    if (family == nullptr) errors::Raise<hr::kInvalidOperation>(kFunction);

    const keys::SigningRequest request{hProv, dwKeySpec, algInfo::LinkOf(*entry).xsecHashType, hmacSecret_,
                                       hmacSecretLength_};
    keys::SigningKey made = family->MakeSigningKey(request);
    hProv_ = std::move(made.reopened);
    XSECCryptoKey& key = *made.key;
    xsecSig_->setSigningKey(made.key.release());  // the signature owns it from here on
    if (addKeyValue) family->AppendKeyValue(*xsecSig_, key);
}
