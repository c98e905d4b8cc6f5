// Signing a new signature: the Signature element at its place in the document, the
// xml-security-c objects and references, the key, the KeyInfo the caller asked for, the
// signature value, and the structures read back.
#include <cwchar>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/framework/XSECProvider.hpp>

#include "algorithms/AlgorithmCatalog.hpp"
#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "base/XsecErrors.hpp"
#include "base/TextConvert.hpp"
#include "document/Base64.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"
#include "dsig/SignatureLocation.hpp"

namespace {

constexpr char kSign[] = "SigContext::Sign";
constexpr char kCreateSigNode[] = "SigContext::CreateSigNode";
constexpr char kCreateReferences[] = "SigContext::CreateReferences";
constexpr DWORD kSignatureValueMax = CRYPT_XML_SIGNATURE_VALUE_MAX;
constexpr DWORD kCngKeySpec = CERT_NCRYPT_KEY_SPEC;

bool IsSignedOrFailed(const CRYPT_XML_STATUS& status) {
    return ((status.dwInfoStatus | status.dwErrorStatus) & CRYPT_XML_STATUS_SIGNATURE_VALID) != 0;
}

bool HasEncodedOnly(const CRYPT_XML_ALGORITHM& alg) {
    return alg.wszAlgorithm == nullptr && alg.Encoded.pbData != nullptr;
}

bool EncodedPresent(const CRYPT_XML_BLOB& blob) { return blob.pbData != nullptr && blob.cbData != 0; }

// A transform as a signing request must hand it in: named by URI, or carried as its element.
bool TransformIsWellFormed(const CRYPT_XML_ALGORITHM& tfm) {
    if (tfm.cbSize != sizeof(CRYPT_XML_ALGORITHM)) return false;
    const bool hasUri = tfm.wszAlgorithm != nullptr && *tfm.wszAlgorithm != L'\0';
    if (hasUri) return !EncodedPresent(tfm.Encoded);
    return tfm.wszAlgorithm == nullptr && EncodedPresent(tfm.Encoded) &&
           tfm.Encoded.dwCharset <= CRYPT_XML_CHARSET_UTF16BE;
}

}  // namespace

void SigContext::Sign(HCRYPTPROV hProv, DWORD dwKeySpec, DWORD dwFlags, DWORD dwKeyInfoSpec, const void* pvKeyInfoSpec,
                      const CRYPT_XML_ALGORITHM* pSignatureMethod, const CRYPT_XML_ALGORITHM* pCanonicalization) {
    if (IsSignedOrFailed(Status()) || !IsOpenedToEncode()) errors::Raise<hr::kOperation>(kSign);
    if (hProv == 0 && hmacSecret_ == nullptr) {
        errors::Raise<hr::kSignFailed>(kSign, "NULL == hProv and HMAC secret is not specified.");
    }
    if (dwKeySpec == kCngKeySpec) errors::Raise<hr::kInvalidArg>(kSign, "CNG keys support is not implemented.");
    // Null algorithms and algorithms given only as elements are refused by CreateSigNode.
    if (pSignatureMethod != nullptr && !HasEncodedOnly(*pSignatureMethod) &&
        !algInfo::HashOrSigAlgIsAvailable(pSignatureMethod->wszAlgorithm)) {
        errors::Raise<hr::kAlgorithm>(kSign, "pSignatureMethod");
    }
    if (pCanonicalization != nullptr && !HasEncodedOnly(*pCanonicalization) &&
        !algInfo::CanonAlgIsAvailable(pCanonicalization->wszAlgorithm)) {
        errors::Raise<hr::kTransform>(kSign, "pCanonicalization");
    }
    try {
        SignSteps(hProv, dwKeySpec, dwFlags, dwKeyInfoSpec, pvKeyInfoSpec, pSignatureMethod, pCanonicalization);
    } catch (const CryptXmlException&) {
        // The source document stays: the signature, its objects and the caller's later
        // Encode still use its nodes.
        hProv_.reset();
        throw;
    } catch (...) {
        hProv_.reset();
        xsecErrors::RethrowAtSigning(kSign);
    }
}

void SigContext::SignSteps(HCRYPTPROV hProv, DWORD dwKeySpec, DWORD dwFlags, DWORD dwKeyInfoSpec,
                           const void* pvKeyInfoSpec, const CRYPT_XML_ALGORITHM* pSignatureMethod,
                           const CRYPT_XML_ALGORITHM* pCanonicalization) {
    CreateSigNode(pSignatureMethod, pCanonicalization);
    CreateObjects();
    CreateReferences();
    SetupSigningKey(hProv, dwKeySpec, (dwFlags & CRYPT_XML_SIGN_ADD_KEYVALUE) != 0);
    AddKeyInfoSpec(dwKeyInfoSpec, pvKeyInfoSpec);
    // Manifests are not part of xml-security-c's signing: their digests go in first, so
    // that the references to their objects digest the final Manifest elements.
    for (ObjContext* obj : objContexts_) obj->HashManifest();
    xsecSig_->sign();
    // The key has done its one job: dropping it hands back its share of the provider (and
    // the copy of an HMAC secret) now rather than when the signature is closed.
    xsecSig_->setSigningKey(nullptr);
    CheckSignedSizes();
    hProv_.reset();
    CRYPT_XML_STATUS status = Status();
    status.dwInfoStatus |= CRYPT_XML_STATUS_SIGNATURE_VALID;
    SetStatus(status);
    LoadKeyInfo(sigElement_);
}

// The value is only measured: SignatureValue of the structure stays as it was.
void SigContext::CheckSignedSizes() {
    std::vector<BYTE> value;
    const wchar_t* text = xsecSig_->getSignatureValue();
    if (text != nullptr) base64::Base64ToBin(text, value);
    if (value.size() > kSignatureValueMax)
        errors::Raise<hr::kLarge>(kSign, "CRYPT_XML_SIGNATURE_VALUE_MAX limit exceeded.");
    for (RefContext* ref : refContexts_) {
        if (!ref->HashSizeSatisfySizeLimit()) {
            errors::Raise<hr::kLarge>(kSign, "CRYPT_XML_SIGNATURE_VALUE_MAX limit exceeded.");
        }
        ref->MarkSigned();
    }
}

void SigContext::CreateSigNode(const CRYPT_XML_ALGORITHM* pSignatureMethod,
                               const CRYPT_XML_ALGORITHM* pCanonicalization) {
    if (xsecSig_ != nullptr) errors::Raise<hr::kInvalidOperation>(kCreateSigNode, "NULL != xsecSig_");
    if (pSignatureMethod == nullptr || pCanonicalization == nullptr) {
        errors::Raise<hr::kInvalidArg>(kCreateSigNode, "NULL == pSignatureMethod || NULL == pCanonicalization");
    }
    if (HasEncodedOnly(*pCanonicalization)) {
        errors::Raise<hr::kNotImpl>(kCreateSigNode, "pCanonicalization->Encoded processing is not implemented.");
    }
    if (HasEncodedOnly(*pSignatureMethod)) {
        errors::Raise<hr::kNotImpl>(kCreateSigNode, "pSignatureMethod->Encoded processing is not implemented.");
    }
    xercesc::DOMDocument* document = GetCurrentDocument();
    xsecSig_ = provider_->newSignature();
    xsecSig_->setPrettyPrint(false);
    xsecSig_->setURIResolver(&uriResolver_);
    xsecSig_->setDSIGNSPrefix(L"ds");
    // Same-document references name their targets by plain Id attributes.
    xsecSig_->setIdByAttributeName(true);
    sigElement_ =
        xsecSig_->createBlankSignature(document, pCanonicalization->wszAlgorithm, pSignatureMethod->wszAlgorithm);
    if (sigElement_ == nullptr) errors::RaiseFailure(kCreateSigNode, "Failed to create the signature node.");
    const wchar_t* id = sigStruct_.Get()->wszId;
    if (id != nullptr && *id != L'\0') sigElement_->setAttribute(L"Id", id);

    if (!location_.empty()) {
        xercesc::DOMElement* parent = sigLocation::FindSignatureLocationNode(document, location_);
        if (parent == nullptr) {
            errors::Raise<hr::kObjectFaulted>(
                kCreateSigNode, "signature location not found. Check the CRYPT_XML_PROPERTY_SIGNATURE_LOCATION");
        }
        parent->appendChild(sigElement_);
    } else if (document->getDocumentElement() != nullptr) {
        document->getDocumentElement()->appendChild(sigElement_);
    } else {
        document->appendChild(sigElement_);
    }
}

void SigContext::CreateObjects() {
    for (ObjContext* obj : objContexts_) {
        if (!registry::ContextExists(obj)) errors::RaiseFailure("SigContext::CreateObjects", "invalid objContext");
        obj->CreateXsecObject();
    }
}

void SigContext::CreateReferences() {
    if (refContexts_.empty()) errors::Raise<hr::kInvalidOperation>(kCreateReferences, "no references is specified.");
    for (RefContext* ref : refContexts_) {
        if (!registry::ContextExists(ref)) errors::RaiseFailure(kCreateReferences, "invalid refContext");
        const CRYPT_XML_REFERENCE* refStruct = ref->GetReferenceStruct();
        for (ULONG i = 0; i < refStruct->cTransform; ++i) {
            const CRYPT_XML_ALGORITHM& tfm = refStruct->rgTransform[i];
            if (!TransformIsWellFormed(tfm)) {
                const wchar_t* uri = tfm.wszAlgorithm != nullptr ? tfm.wszAlgorithm : L"";
                errors::Raise<hr::kTransform>(kCreateReferences, textConvert::ToAnsi(uri).c_str());
            }
        }
    }
    for (RefContext* ref : refContexts_) ref->CreateXsecRef();
}
