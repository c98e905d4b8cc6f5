#include "dsig/SigContext.hpp"

#include <cwchar>

#include <xsec/dsig/DSIGKeyInfoList.hpp>
#include <xsec/dsig/DSIGKeyInfoValue.hpp>
#include <xsec/dsig/DSIGKeyInfoX509.hpp>
#include <xsec/dsig/DSIGObject.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGReferenceList.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/framework/XSECProvider.hpp>

#include "algorithms/AlgorithmCatalog.hpp"
#include "keys/KeyFamilies.hpp"
#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "base/StatusMerge.hpp"
#include "base/TextConvert.hpp"
#include "base/Trace.hpp"
#include "document/Base64.hpp"
#include "dsig/DocContext.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "base/XsecErrors.hpp"

namespace {

constexpr char kConstructor[] = "SigContext::SigContext";

bool IsCatalogSignatureMethod(const wchar_t* uri) {
    if (uri == nullptr || *uri == L'\0') return false;
    const CRYPT_XML_ALGORITHM_INFO* entry = algInfo::FindAlgInfoByURI(uri);
    return entry != nullptr && entry->dwGroupId == CRYPT_XML_GROUP_ID_SIGN;
}

bool IsKnownX509Child(const xercesc::DOMElement* e) {
    for (const wchar_t* name : {L"X509IssuerSerial", L"X509SKI", L"X509SubjectName", L"X509Certificate", L"X509CRL"}) {
        if (dsigDom::IsDsig(e, name)) return true;
    }
    return false;
}

}  // namespace

SigContext::SigContext(DocContext* parentDocContext, xercesc::DOMElement* domSigNode, DWORD flags)
    : BaseContext(flags, true),
      uriResolver_(this),
      parentDocContext_(parentDocContext),
      provider_(std::make_unique<XSECProvider>()) {
    if (domSigNode == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == domSigNode");
    try {
        Decode(domSigNode);
    } catch (...) {
        DisposeChildren();
        ReleaseSignature();
        xsecErrors::Rethrow(L"SigContext::SigContext");
    }
}

SigContext::~SigContext() {
    DisposeChildren();
    ReleaseSignature();
    ReleaseDocuments();
}

void SigContext::Decode(xercesc::DOMElement* domSigNode) {
    const wchar_t* id = dsigDom::Attribute(domSigNode, L"Id");
    CheckIdLimits(id, GetFlags());

    CheckIssuerSerials(domSigNode);
    xsecSig_ = provider_->newSignatureFromDOM(domSigNode->getOwnerDocument(), domSigNode);
    // Same-document references name their targets by Id attributes the parser knows
    // nothing about.
    xsecSig_->setIdByAttributeName(true);
    // External references are digested from what the caller fed them, also before any
    // verification of the signature value.
    xsecSig_->setURIResolver(&uriResolver_);
    xsecSig_->load();

    sigStruct_.SetId(id);
    sigStruct_.SetHandle(this);
    LoadSignedInfo(domSigNode);
    LoadSignatureValue();
    LoadKeyInfo(domSigNode);
    LoadObjects(GetFlags());  // before the references, which look their objects up
    LoadReferences(domSigNode, GetFlags());
    if (!refContexts_.empty()) {
        CRYPT_XML_STATUS status = Status();
        status.dwErrorStatus |= CRYPT_XML_STATUS_ERROR_NOT_RESOLVED;  // until verified
        SetStatus(status);
    }
}

void SigContext::LoadSignedInfo(const xercesc::DOMElement* /*domSigNode*/) {
    sigStruct_.SetCanonicalizationURI(
        xmlBlob::GetCanonURI(xmlBlob::CanonMethodOf(xsecSig_->getCanonicalizationMethod())));
    const wchar_t* method = xsecSig_->getAlgorithmURI();
    if (!IsCatalogSignatureMethod(method)) {
        errors::Raise<hr::kAlgorithm>(kConstructor, textConvert::ToAnsiOrNull(method).c_str());
    }
    sigStruct_.SetSignatureMethodURI(method);
}

void SigContext::LoadSignatureValue() {
    std::vector<BYTE> value;
    const wchar_t* text = xsecSig_->getSignatureValue();
    if (text != nullptr) base64::Base64ToBin(text, value);
    if (value.empty()) errors::RaiseFailure(kConstructor, "failed to convert the signature from b64Coder to bin.");
    sigStruct_.SetSigValue(static_cast<DWORD>(value.size()), value.data());
}

void SigContext::LoadKeyInfo(const xercesc::DOMElement* domSigNode) {
    const xercesc::DOMElement* keyInfo = dsigDom::FirstChild(domSigNode, L"KeyInfo");
    if (keyInfo == nullptr) return;
    const wchar_t* id = dsigDom::Attribute(keyInfo, L"Id");
    if (id != nullptr && *id != L'\0') sigStruct_.KeyInfo().SetId(id);

    const DSIGKeyInfoList* list = xsecSig_->getKeyInfoList();
    if (list == nullptr || list->getSize() == 0) return;  // nothing recognised: not published
    for (DSIGKeyInfoList::size_type i = 0; i < list->getSize(); ++i) {
        const DSIGKeyInfo* item = list->item(i);
        if (item == nullptr) errors::Raise<hr::kObjectFaulted>("SigContext::LoadKeyInfo", "NULL == ki");
        AddKeyInfoItem(item);
    }
    for (const xercesc::DOMElement* method : dsigDom::Children(keyInfo, L"RetrievalMethod")) {
        std::vector<BYTE> bytes;
        xmlBlob::EncodeNode(method, false, SerialCharset(), bytes);
        sigStruct_.KeyInfo().AddRetrivalMethodNode(SerialCharset(), bytes);
    }
    sigStruct_.PublishKeyInfo();
}

void SigContext::AddKeyInfoItem(const DSIGKeyInfo* item) {
    KeyInfoStructWrap& keyInfo = sigStruct_.KeyInfo();
    const int type = item->getKeyInfoType();
    if (type == DSIGKeyInfo::KEYINFO_X509) {
        if (static_cast<const DSIGKeyInfoX509*>(item)->getRawRetrievalURI() == nullptr) LoadX509Data(item);
        return;
    }
    if (type == DSIGKeyInfo::KEYINFO_NAME) {
        if (item->getKeyName() != nullptr) keyInfo.AddKeyNameNode(item->getKeyName());
        return;
    }
    if (const keys::KeyFamily* family = keyFamilies::ForKeyInfoType(type)) {
        auto keyValue = std::make_unique<KeyValueStructWrap>();
        family->PublishKeyValue(*item, static_cast<CRYPT_XML_CHARSET>(SerialCharset()), *keyValue);
        keyInfo.AddKeyValueNode(std::move(keyValue));
        return;
    }
    std::vector<BYTE> bytes;
    xmlBlob::EncodeNode(item->getKeyInfoDOMNode(), false, SerialCharset(), bytes);
    keyInfo.AddCustomDataNode(SerialCharset(), bytes);
}

void SigContext::LoadX509Data(const DSIGKeyInfo* item) {
    static const char* const kFunction = "SigContext::LoadX509Data";
    if (item == nullptr) errors::Raise<hr::kInvalidArg>(kFunction);
    const auto* x509 = static_cast<const DSIGKeyInfoX509*>(item);
    auto data = std::make_unique<X509DataStructWrap>();
    for (int i = 0; i < x509->getCertificateListSize(); ++i) {
        if (x509->getCertificateItem(i) != nullptr) data->AddCert(x509->getCertificateItem(i));
    }
    for (int i = 0; i < x509->getX509CRLListSize(); ++i) {
        if (x509->getX509CRLItem(i) != nullptr) data->AddCRL(x509->getX509CRLItem(i));
    }
    if (x509->getX509SubjectName() != nullptr) data->SetSubjectName(x509->getX509SubjectName());
    const wchar_t* issuer = x509->getX509IssuerName();
    const wchar_t* serial = x509->getX509IssuerSerialNumber();
    if (issuer != nullptr && serial == nullptr)
        errors::Raise<hr::kUnexpectedXml>(kFunction, "issuerName && !issuerSerial");
    if (issuer == nullptr && serial != nullptr)
        errors::Raise<hr::kUnexpectedXml>(kFunction, "!issuerName && issuerSerial");
    if (issuer != nullptr) data->SetIssuerNameAndSerial(issuer, serial);
    if (x509->getX509SKI() != nullptr) data->SetSKI(x509->getX509SKI());
    const auto* element = static_cast<const xercesc::DOMElement*>(item->getKeyInfoDOMNode());
    for (const xercesc::DOMElement* child : dsigDom::Children(element)) {
        if (IsKnownX509Child(child)) continue;
        std::vector<BYTE> bytes;
        xmlBlob::EncodeNode(child, false, SerialCharset(), bytes);
        data->AddCustom(static_cast<int>(SerialCharset()), bytes);
    }
    sigStruct_.KeyInfo().AddX509DataNode(std::move(data));
}

// xml-security-c refuses an incomplete X509IssuerSerial while loading, with a generic
// error; the pairing rule is checked here first so that it gets its own code.
void SigContext::CheckIssuerSerials(const xercesc::DOMElement* domSigNode) const {
    static const char* const kFunction = "SigContext::LoadX509Data";
    for (const xercesc::DOMElement* data :
         dsigDom::Children(dsigDom::FirstChild(domSigNode, L"KeyInfo"), L"X509Data")) {
        for (const xercesc::DOMElement* pair : dsigDom::Children(data, L"X509IssuerSerial")) {
            const bool name = dsigDom::FirstChild(pair, L"X509IssuerName") != nullptr;
            const bool serial = dsigDom::FirstChild(pair, L"X509SerialNumber") != nullptr;
            if (name && !serial) errors::Raise<hr::kUnexpectedXml>(kFunction, "issuerName && !issuerSerial");
            if (!name && serial) errors::Raise<hr::kUnexpectedXml>(kFunction, "!issuerName && issuerSerial");
        }
    }
}

void SigContext::LoadObjects(DWORD flags) {
    static const char* const kFunction = "SigContext::LoadObjects";
    if (xsecSig_ == nullptr) errors::Raise<hr::kInvalidOperation>(kFunction);
    const int count = xsecSig_->getObjectLength();
    if (count < 0) errors::Raise<hr::kObjectFaulted>(kFunction, "numObjects < 0");
    objContexts_.reserve(static_cast<size_t>(count));
    objPointers_.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        auto obj = std::make_unique<ObjContext>(this, xsecSig_->getObjectItem(i), flags);
        registry::AddContext(obj.get());
        objPointers_.push_back(obj->GetObjectStruct());
        objContexts_.push_back(obj.release());
    }
    sigStruct_.SetObjects(objPointers_);
}

void SigContext::LoadReferences(const xercesc::DOMElement* domSigNode, DWORD flags) {
    static const char* const kFunction = "SigContext::LoadReferences";
    if (xsecSig_ == nullptr) errors::Raise<hr::kInvalidOperation>(kFunction);
    DSIGReferenceList* list = xsecSig_->getReferenceList();
    const auto elements = dsigDom::Children(dsigDom::FirstChild(domSigNode, L"SignedInfo"), L"Reference");
    const size_t count = list != nullptr ? list->getSize() : 0;
    if (count != elements.size())
        errors::Raise<hr::kObjectFaulted>(kFunction, "references do not match their elements");
    refContexts_.reserve(count);
    refPointers_.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        auto ref = std::make_unique<RefContext>(this, list->item(i), elements[i], flags);
        registry::AddContext(ref.get());
        refPointers_.push_back(ref->GetReferenceStruct());
        refContexts_.push_back(ref.release());
    }
    sigStruct_.SetReferences(refPointers_);
}

void SigContext::DisposeChildren() noexcept {
    try {
        for (RefContext* ref : refContexts_) registry::CloseIfRegistered(ref);
        for (ObjContext* obj : objContexts_) registry::CloseIfRegistered(obj);
    } catch (const std::exception& e) {
        trace::TraceA("SigContext::~SigContext", e.what());
    } catch (...) {
        trace::TraceA("SigContext::~SigContext", "Unexpected error!");
    }
    refContexts_.clear();
    objContexts_.clear();
    refPointers_.clear();
    objPointers_.clear();
}

void SigContext::ReleaseDocuments() noexcept {
    try {
        if (ownedDocument_ != nullptr) ownedDocument_->release();
    } catch (...) {
        trace::TraceA("SigContext::~SigContext", "Unexpected error!");
    }
    ownedDocument_ = nullptr;
}

void SigContext::ReleaseSignature() noexcept {
    if (xsecSig_ == nullptr) return;
    try {
        provider_->releaseSignature(xsecSig_);
    } catch (...) {
        trace::TraceA("SigContext::~SigContext", "Unexpected error!");
    }
    xsecSig_ = nullptr;
}

DWORD SigContext::OutputCharset() const noexcept {
    return parentDocContext_ != nullptr ? parentDocContext_->OutputCharset()
                                        : static_cast<DWORD>(CRYPT_XML_CHARSET_UTF8);
}

DWORD SigContext::SerialCharset() const noexcept {
    const DWORD charset = OutputCharset();
    const bool known = charset >= CRYPT_XML_CHARSET_UTF8 && charset <= CRYPT_XML_CHARSET_UTF16BE;
    return known ? charset : static_cast<DWORD>(CRYPT_XML_CHARSET_UTF8);
}

bool SigContext::IdIsUnique(const wchar_t* id) const {
    if (id == nullptr || *id == L'\0') return true;
    for (const ObjContext* obj : objContexts_) {
        if (obj->HoldsId(id)) return false;
    }
    for (const RefContext* ref : refContexts_) {
        if (ref->Id() != nullptr && std::wcscmp(ref->Id(), id) == 0) return false;
    }
    return sourceIds_.count(id) == 0;
}

ObjContext* SigContext::FindObjContextByRefURI(const wchar_t* refURI) const {
    static const char* const kFunction = "SigContext::FindObjContextByRefURI";
    if (refURI == nullptr) errors::Raise<hr::kInvalidArg>(kFunction, "NULL == refURI");
    if (std::wcslen(refURI) < 2) return nullptr;
    for (ObjContext* obj : objContexts_) {
        if (obj == nullptr) errors::Raise<hr::kObjectFaulted>(kFunction, "NULL == *iter");
        if (obj->Id() != nullptr && std::wcscmp(obj->Id(), refURI + 1) == 0) return obj;
    }
    return nullptr;
}

void SigContext::GetStatus(CRYPT_XML_STATUS* out) const {
    BaseContext::GetStatus(out);
    statusMerge::Merge(out, refContexts_, CRYPT_XML_STATUS_DIGEST_VALID, ~0u, "SigContext::GetStatus");
}
