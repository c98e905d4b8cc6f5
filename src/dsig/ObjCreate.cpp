// Objects of a signature being created: new ones (named by a reference, with a Manifest
// and custom content) and ones over a caller's Object element.
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xsec/dsig/DSIGObject.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGReferenceList.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/framework/XSECEnv.hpp>

#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "base/StructText.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"
#include "base/XsecErrors.hpp"

namespace {

constexpr char kConstructor[] = "ObjContext::ObjContext";
constexpr char kCreate[] = "ObjContext::CreateXsecObject";
constexpr wchar_t kDsigNs[] = L"http://www.w3.org/2000/09/xmldsig#";
constexpr ULONG kReferencesMax = CRYPT_XML_REFERENCES_MAX - 1;  // one below the published maximum

}  // namespace

ObjContext::ObjContext(SigContext* parentSigContext, const wchar_t* wszId, DWORD flags)
    : BaseContext(flags, true), parentSigContext_(parentSigContext) {
    InitStruct();
    if (parentSigContext == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == parentSigContext");
    CheckIdLimits(wszId, flags);
    if (!parentSigContext->IdIsUnique(wszId)) errors::Raise<hr::kNonUniqueId>(kConstructor);
    structText::Set(id_, objStruct_.wszId, wszId);
}

ObjContext::ObjContext(SigContext* parentSigContext, xercesc::DOMElement* objectElement, DWORD flags)
    : BaseContext(flags, true), parentSigContext_(parentSigContext), imported_(true) {
    InitStruct();
    if (parentSigContext == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == parentSigContext");
    if (objectElement == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == xsecObject");
    try {
        objectEnv_ = std::make_unique<XSECEnv>(objectElement->getOwnerDocument());
        objectEnv_->setIdByAttributeName(true);
        ownedObject_ = std::make_unique<DSIGObject>(objectEnv_.get(), objectElement);
        ownedObject_->load();
        xsecObj_ = ownedObject_.get();
        const wchar_t* id = xsecObj_->getId();
        CheckIdLimits(id, flags);
        if (!parentSigContext->IdIsUnique(id)) errors::Raise<hr::kNonUniqueId>(kConstructor);
        structText::Set(id_, objStruct_.wszId, id);
        structText::Set(mimeType_, objStruct_.wszMimeType, xsecObj_->getMimeType());
        structText::Set(encoding_, objStruct_.wszEncoding, xsecObj_->getEncoding());
        std::vector<BYTE> element;
        xmlBlob::EncodeNode(objectElement, false, parentSigContext->SerialCharset(), element);
        PublishEncoded(element, parentSigContext->SerialCharset());
        LoadReferences(flags);
    } catch (...) {
        DisposeManifestRefs();
        xsecErrors::Rethrow(L"ObjContext::ObjContext");
    }
}

void ObjContext::AddReference(RefContext* refContext) {
    static const char* const kFunction = "ObjContext::AddReference";
    if (refContext == nullptr || !registry::ContextExists(refContext)) errors::Raise<hr::kInvalidArg>(kFunction);
    for (const RefContext* existing : manifestRefs_) {
        if (existing == refContext) errors::Raise<hr::kInvalidArg>(kFunction, "already exists.");
    }
    if (objStruct_.Manifest.cReference >= kReferencesMax) {
        errors::Raise<hr::kLarge>(kFunction, "CRYPT_XML_REFERENCES_MAX limit exceeded.");
    }
    manifestRefs_.push_back(refContext);
    manifestPointers_.push_back(refContext->GetReferenceStruct());
    objStruct_.Manifest.cReference = static_cast<ULONG>(manifestPointers_.size());
    objStruct_.Manifest.rgpReference = manifestPointers_.data();
    if (objStruct_.Manifest.cReference == 0) {
        errors::Raise<hr::kObjectFaulted>(kFunction, "0 == objStruct_.Manifest.cReference.");
    }
}

// Without CRYPT_XML_FLAG_ADD_OBJECT_CREATE_COPY the caller's bytes are used as they are
// when signing, so they must outlive the object.
void ObjContext::SetCustomContent(DWORD dwFlags, const CRYPT_XML_BLOB* encodedBlob) {
    static const char* const kFunction = "ObjContext::SetCustomContent";
    if (encodedBlob == nullptr) errors::Raise<hr::kInvalidArg>(kFunction, "NULL==encodedBlob");
    if (encodedBlob->cbData == 0 || encodedBlob->pbData == nullptr) {
        errors::Raise<hr::kInvalidArg>(kFunction, "!encodedBlob->cbData || !encodedBlob->pbData");
    }
    if (encodedBlob->cbData > CRYPT_XML_BLOB_MAX) {
        errors::Raise<hr::kInvalidArg>(kFunction, "encodedBlob->cbData > CRYPT_XML_BLOB_MAX");
    }
    if (encodedBlob->dwCharset > CRYPT_XML_CHARSET_UTF16BE) {
        errors::Raise<hr::kInvalidFormat>(kFunction, "encodedBlob->dwCharset has an invalid value.");
    }
    if ((dwFlags & CRYPT_XML_FLAG_ADD_OBJECT_CREATE_COPY) != 0) {
        encoded_.assign(encodedBlob->pbData, encodedBlob->pbData + encodedBlob->cbData);
        objStruct_.Encoded.pbData = encoded_.data();
    } else {
        encoded_.clear();
        objStruct_.Encoded.pbData = encodedBlob->pbData;
    }
    objStruct_.Encoded.cbData = encodedBlob->cbData;
    objStruct_.Encoded.dwCharset = encodedBlob->dwCharset;
}

void ObjContext::CreateXsecObject() {
    if (parentSigContext_ == nullptr) errors::Raise<hr::kObjectFaulted>(kCreate, "NULL == parentSigContext_");
    DSIGSignature* sig = parentSigContext_->XsecSignature();
    if (sig == nullptr) errors::Raise<hr::kObjectFaulted>(kCreate, "NULL == xsecSig");
    if (imported_) {
        // The caller's element goes in as it is, last in the Signature element.
        parentSigContext_->SignatureElement()->appendChild(const_cast<xercesc::DOMElement*>(xsecObj_->getElement()));
        CreateManifestXsecRefs();
        return;
    }
    xsecObj_ = sig->appendObject();
    if (objStruct_.wszId != nullptr) xsecObj_->setId(objStruct_.wszId);
    if (objStruct_.wszEncoding != nullptr) xsecObj_->setEncoding(objStruct_.wszEncoding);
    if (objStruct_.wszMimeType != nullptr) xsecObj_->setMimeType(objStruct_.wszMimeType);
    CreateManifestXsecRefs();
    if (objStruct_.Encoded.pbData != nullptr && objStruct_.Encoded.cbData != 0) CreateCustomXmlContent();
}

void ObjContext::CreateManifestXsecRefs() {
    for (RefContext* ref : manifestRefs_) {
        if (!registry::ContextExists(ref)) errors::RaiseFailure(kCreate, "invalid refContext");
        if (ref->XsecReference() != nullptr) continue;  // loaded with the caller's element
        ref->CreateXsecRef();
        if (ref->XsecReference() == nullptr) errors::RaiseFailure(kCreate, "NULL == newXsecRef");
    }
}

DSIGReference* ObjContext::CreateManifestReference(const wchar_t* uri, const wchar_t* digestUri, const wchar_t* type) {
    if (xsecObj_ == nullptr)
        errors::Raise<hr::kObjectFaulted>("ObjContext::CreateManifestReference", "NULL == xsecObj_");
    if (manifestElement_ == nullptr) manifestElement_ = dsigDom::FirstChild(xsecObj_->getElement(), L"Manifest");
    if (manifestElement_ == nullptr) {
        xercesc::DOMDocument* doc = xsecObj_->getElement()->getOwnerDocument();
        manifestElement_ = doc->createElementNS(kDsigNs, L"ds:Manifest");
        const_cast<xercesc::DOMElement*>(xsecObj_->getElement())->appendChild(manifestElement_);
    }
    auto ref = std::make_unique<DSIGReference>(&ManifestEnv());
    manifestElement_->appendChild(ref->createBlankReference(uri, digestUri, type));
    if (createdManifest_ == nullptr) createdManifest_ = std::make_unique<DSIGReferenceList>();
    DSIGReference* created = ref.get();
    createdManifest_->addReference(ref.release());
    return created;
}

void ObjContext::HashManifest() {
    if (createdManifest_ == nullptr || createdManifest_->getSize() == 0) return;
    DSIGReference::hashReferenceList(createdManifest_.get(), true);
    // The new manifest references now carry digests of what they name, as the signature's
    // own references do after signing.
    for (RefContext* ref : manifestRefs_) {
        if (ref->IsOpenedToEncode()) ref->MarkSigned();
    }
}

void ObjContext::CreateCustomXmlContent() {
    static const char* const kFunction = "ObjContext::CreateCustomXmlContent";
    if (xsecObj_ == nullptr) errors::Raise<hr::kObjectFaulted>(kFunction, "NULL == xsecObj_");
    xercesc::XercesDOMParser parser;
    const xercesc::DOMElement* root = xmlBlob::CreateDomStructure(parser, objStruct_.Encoded);
    const xercesc::DOMElement* objElem = xsecObj_->getElement();
    if (objElem == nullptr) errors::Raise<hr::kObjectFaulted>(kFunction, "NULL == objElem");
    xercesc::DOMDocument* doc = objElem->getOwnerDocument();
    if (doc == nullptr) errors::Raise<hr::kObjectFaulted>(kFunction, "NULL == doc");
    xercesc::DOMNode* imported = doc->importNode(root, true);
    if (imported == nullptr) errors::Raise<hr::kObjectFaulted>(kFunction, "failed to import a node.");
    xsecObj_->appendChild(imported);
}
