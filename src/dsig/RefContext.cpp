#include "dsig/RefContext.hpp"

#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGTransformBase64.hpp>
#include <xsec/dsig/DSIGTransformC14n.hpp>
#include <xsec/dsig/DSIGTransformEnvelope.hpp>
#include <xsec/dsig/DSIGTransformList.hpp>
#include <xsec/dsig/DSIGTransformXPath.hpp>
#include <xsec/dsig/DSIGTransformXPathFilter.hpp>

#include "algorithms/AlgorithmCatalog.hpp"
#include "base/CryptXmlException.hpp"
#include "base/TextConvert.hpp"
#include "base/Trace.hpp"
#include "document/Base64.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/SigContext.hpp"

namespace {

constexpr char kConstructor[] = "RefContext::RefContext";
constexpr char kInit[] = "RefContext::InitNewReference";
constexpr size_t kTransformsMax = 16;   // CRYPT_XML_TRANSFORM_MAX
constexpr size_t kDigestReadMax = 200;  // what is read of a DigestValue
constexpr ULONG kChunk = 4096;
constexpr wchar_t kManifestType[] = L"http://www.w3.org/2000/09/xmldsig#Manifest";
constexpr wchar_t kBase64Uri[] = L"http://www.w3.org/2000/09/xmldsig#base64";
constexpr wchar_t kEnvelopedUri[] = L"http://www.w3.org/2000/09/xmldsig#enveloped-signature";

bool IsCatalogDigest(const wchar_t* uri) {
    if (uri == nullptr || *uri == L'\0') return false;
    const CRYPT_XML_ALGORITHM_INFO* entry = algInfo::FindAlgInfoByURI(uri);
    return entry != nullptr && entry->dwGroupId == CRYPT_XML_GROUP_ID_HASH;
}

}  // namespace

RefContext::RefContext(SigContext* parentSigContext, DSIGReference* xsecRef, const xercesc::DOMElement* refElement,
                       DWORD flags)
    : BaseContext(flags, true), parentSigContext_(parentSigContext) {
    if (parentSigContext == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == parentSigContext");
    InitNewReference(xsecRef, refElement);
    LinkPointee();
}

RefContext::RefContext(ObjContext* parentObjContext, DSIGReference* xsecRef, const xercesc::DOMElement* refElement,
                       DWORD flags)
    : BaseContext(flags, true), parentObjContext_(parentObjContext) {
    if (parentObjContext == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == parentObjContext");
    InitNewReference(xsecRef, refElement);
}

RefContext::~RefContext() = default;

void RefContext::InitNewReference(DSIGReference* xsecRef, const xercesc::DOMElement* refElement) {
    if (xsecRef == nullptr || refElement == nullptr) errors::Raise<hr::kInvalidArg>(kInit, "NULL == xsecRef");
    const wchar_t* digestUri = xsecRef->getAlgorithmURI();
    if (!IsCatalogDigest(digestUri)) errors::Raise<hr::kAlgorithm>(kInit, textConvert::ToAnsiOrNull(digestUri).c_str());
    xsecRef_ = xsecRef;
    refStructWrap_.SetHandle(this);
    refStructWrap_.SetDigestMethod(digestUri);
    refStructWrap_.SetUri(xsecRef->getURI());
    refStructWrap_.SetId(dsigDom::Attribute(refElement, L"Id"));
    refStructWrap_.SetType(dsigDom::Attribute(refElement, L"Type"));
    LoadDigestValue(refElement);
    LoadTransforms(refElement);
    MarkResolution();
}

// Same-document references are digested with their signature and are marked so, which
// keeps a caller from feeding them; the others wait for the caller's data.
void RefContext::MarkResolution() {
    const wchar_t* uri = refStructWrap_.Get()->wszUri;
    CRYPT_XML_STATUS status = Status();
    if (uri != nullptr && (*uri == L'\0' || *uri == L'#')) {
        status.dwInfoStatus |= CRYPT_XML_STATUS_INTERNAL_REFERENCE;
    } else {
        status.dwErrorStatus |= CRYPT_XML_STATUS_ERROR_NOT_RESOLVED;
    }
    SetStatus(status);
}

// xml-security-c's readHash needs a crypto provider for its Base64 step; the DigestValue
// text is decoded here directly. A DigestValue without text leaves the digest empty.
void RefContext::LoadDigestValue(const xercesc::DOMElement* refElement) {
    const xercesc::DOMElement* digest = dsigDom::FirstChild(refElement, L"DigestValue");
    const wchar_t* text = dsigDom::Text(digest);
    std::vector<BYTE> bytes;
    if (text != nullptr && *text != L'\0') base64::Base64ToBin(text, bytes);
    if (bytes.size() > kDigestReadMax) bytes.resize(kDigestReadMax);
    refStructWrap_.SetDigestValue(std::move(bytes));
}

void RefContext::LoadTransforms(const xercesc::DOMElement* refElement) {
    const DSIGTransformList* list = xsecRef_->getTransforms();
    if (list == nullptr || list->getSize() == 0) return;
    if (list->getSize() > kTransformsMax) errors::Raise<hr::kTooManyTransforms>(kInit);
    const auto elements = dsigDom::Children(dsigDom::FirstChild(refElement, L"Transforms"), L"Transform");
    for (DSIGTransformList::size_type i = 0; i < list->getSize(); ++i) {
        const DSIGTransform* tfm = list->item(i);
        if (tfm == nullptr) errors::Raise<hr::kObjectFaulted>(kInit, "NULL == tfm");
        if (dynamic_cast<const DSIGTransformBase64*>(tfm) != nullptr) {
            refStructWrap_.AddTransform(kBase64Uri, 0, {});
        } else if (const auto* c14n = dynamic_cast<const DSIGTransformC14n*>(tfm)) {
            const wchar_t* uri = xmlBlob::GetCanonURI(xmlBlob::CanonMethodOf(c14n->getCanonicalizationMethod()));
            refStructWrap_.AddTransform(uri, 0, {});
        } else if (dynamic_cast<const DSIGTransformEnvelope*>(tfm) != nullptr) {
            refStructWrap_.AddTransform(kEnvelopedUri, 0, {});
        } else if (dynamic_cast<const DSIGTransformXPath*>(tfm) != nullptr ||
                   dynamic_cast<const DSIGTransformXPathFilter*>(tfm) != nullptr) {
            // Kept as the element itself, the form a signing request hands back.
            if (parentSigContext_ == nullptr) errors::Raise<hr::kObjectFaulted>(kInit, "NULL == parentSigContext_");
            const DWORD charset = parentSigContext_->SerialCharset();
            std::vector<BYTE> encoded;
            xmlBlob::EncodeNode(i < elements.size() ? elements[i] : nullptr, false, charset, encoded);
            refStructWrap_.AddTransform(nullptr, charset, std::move(encoded));
        } else {
            errors::Raise<hr::kTransform>(kInit, "unknown cxTfm");
        }
    }
}

void RefContext::LinkPointee() {
    const CRYPT_XML_REFERENCE* ref = refStructWrap_.Get();
    if (ref->wszType == nullptr || std::wcscmp(ref->wszType, kManifestType) != 0) return;
    if (ref->wszUri == nullptr) errors::Raise<hr::kObjectFaulted>(kConstructor, "NULL == refStructWrap_.wszUri");
    pointeeObjContext_ = parentSigContext_->FindObjContextByRefURI(ref->wszUri);
    if (pointeeObjContext_ == nullptr) trace::TraceA(kConstructor, "pointee object could not be found.");
}

bool RefContext::VerifyHash() {
    if (xsecRef_ == nullptr) errors::Raise<hr::kInvalidOperation>("RefContext::VerifyHash", "NULL == xsecRef_");
    CRYPT_XML_STATUS status = Status();
    const bool valid = xsecRef_->checkHash();
    if (valid) {
        status.dwErrorStatus = 0;
        status.dwInfoStatus |= CRYPT_XML_STATUS_DIGEST_VALID;
    } else {
        // A digest that was good before (the data fed again since) is no longer.
        status.dwErrorStatus = CRYPT_XML_STATUS_ERROR_DIGEST_INVALID;
        status.dwInfoStatus &= ~static_cast<DWORD>(CRYPT_XML_STATUS_DIGEST_VALID);
    }
    SetStatus(status);
    return valid;
}

bool RefContext::HashSizeSatisfySizeLimit() const {
    if (xsecRef_ == nullptr) {
        errors::Raise<hr::kObjectFaulted>("RefContext::HashSizeSatisfySizeLimit", "NULL == xsecRef_");
    }
    constexpr unsigned int kBound = 128;  // CRYPT_XML_DIGEST_VALUE_MAX
    XMLByte digest[kBound + 1];
    try {
        return xsecRef_->readHash(digest, kBound + 1) <= kBound;
    } catch (...) {
        // What cannot be read here is refused later, where it is used.
        return true;
    }
}

void RefContext::GetManifestRefs(std::vector<RefContext*>& list) const {
    if (pointeeObjContext_ == nullptr) errors::Raise<hr::kInvalidOperation>("RefContext::GetManifestRefs");
    const std::vector<RefContext*>& refs = pointeeObjContext_->GetManifestRefs();
    list.insert(list.end(), refs.begin(), refs.end());
}

void RefContext::Resolve(DWORD /*dwFlags*/, const CRYPT_XML_DATA_PROVIDER* pDataProvider) {
    static const char* const kFunction = "RefContext::Resolve";
    if (pDataProvider == nullptr || pDataProvider->pfnRead == nullptr || pDataProvider->pvCallbackState == nullptr) {
        errors::Raise<hr::kInvalidArg>(kFunction);
    }
    resolvedData_.clear();
    BYTE chunk[kChunk];
    for (;;) {
        ULONG read = 0;
        if (FAILED(pDataProvider->pfnRead(pDataProvider->pvCallbackState, chunk, kChunk, &read))) {
            errors::Raise<hr::kUnresolvedReference>(kFunction);
        }
        if (read == 0) break;
        // A provider answering more than it was given room for is believed only up to the room.
        resolvedData_.insert(resolvedData_.end(), chunk, chunk + (read < kChunk ? read : kChunk));
    }
    CRYPT_XML_STATUS status = Status();
    status.dwInfoStatus |= CRYPT_XML_STATUS_DIGEST_VALID;
    status.dwErrorStatus &= ~static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_NOT_RESOLVED);
    SetStatus(status);
}
