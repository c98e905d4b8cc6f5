#include "dsig/ObjContext.hpp"

#include <cstring>

#include <xsec/dsig/DSIGObject.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGReferenceList.hpp>
#include <xsec/framework/XSECEnv.hpp>
#include <xsec/framework/XSECException.hpp>

#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "base/XsecErrors.hpp"
#include "base/StatusMerge.hpp"
#include "base/StructText.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"

namespace {
constexpr char kConstructor[] = "ObjContext::ObjContext";
}

ObjContext::ObjContext(SigContext* parentSigContext, DSIGObject* xsecObject, DWORD flags)
    : BaseContext(flags, true), parentSigContext_(parentSigContext) {
    InitStruct();
    if (parentSigContext == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == parentSigContext");
    if (xsecObject == nullptr) errors::Raise<hr::kInvalidArg>(kConstructor, "NULL == xsecObject");
    xsecObj_ = xsecObject;

    const wchar_t* id = xsecObject->getId();
    CheckIdLimits(id, flags);
    if (!parentSigContext->IdIsUnique(id)) errors::Raise<hr::kNonUniqueId>(kConstructor);
    structText::Set(id_, objStruct_.wszId, id);
    structText::Set(mimeType_, objStruct_.wszMimeType, xsecObject->getMimeType());
    structText::Set(encoding_, objStruct_.wszEncoding, xsecObject->getEncoding());

    // The Object element itself, so that a caller can read what it carries.
    std::vector<BYTE> element;
    xmlBlob::EncodeNode(xsecObject->getElement(), false, parentSigContext->SerialCharset(), element);
    PublishEncoded(element, parentSigContext->SerialCharset());

    try {
        LoadReferences(flags);
    } catch (...) {
        DisposeManifestRefs();
        throw;
    }
}

ObjContext::~ObjContext() { DisposeManifestRefs(); }

void ObjContext::InitStruct() {
    std::memset(&objStruct_, 0, sizeof(objStruct_));
    objStruct_.cbSize = sizeof(CRYPT_XML_OBJECT);
    objStruct_.hObject = this;
}

void ObjContext::PublishEncoded(const std::vector<BYTE>& bytes, DWORD charset) {
    encoded_ = bytes;
    objStruct_.Encoded.dwCharset = static_cast<CRYPT_XML_CHARSET>(charset);
    objStruct_.Encoded.cbData = static_cast<ULONG>(encoded_.size());
    objStruct_.Encoded.pbData = encoded_.empty() ? nullptr : encoded_.data();
}

void ObjContext::DisposeManifestRefs() noexcept {
    for (RefContext* ref : manifestRefs_) {
        try {
            registry::CloseIfRegistered(ref);
        } catch (...) {
            // Closing a registered child cannot fail short of a broken registry; nothing
            // more can be done for it here.
        }
    }
    manifestRefs_.clear();
    manifestPointers_.clear();
    objStruct_.Manifest.cReference = 0;
    objStruct_.Manifest.rgpReference = nullptr;
}

bool ObjContext::HoldsId(const wchar_t* id) const {
    if (objStruct_.wszId != nullptr && std::wcscmp(objStruct_.wszId, id) == 0) return true;
    for (const RefContext* ref : manifestRefs_) {
        if (ref->Id() != nullptr && std::wcscmp(ref->Id(), id) == 0) return true;
    }
    return false;
}

void ObjContext::LoadReferences(DWORD flags) {
    static const char* const kFunction = "ObjContext::LoadReferences";
    if (xsecObj_ == nullptr) errors::Raise<hr::kObjectFaulted>(kFunction, "NULL == xsecObj_");
    const xercesc::DOMElement* manifest = dsigDom::FirstChild(xsecObj_->getElement(), L"Manifest");
    const auto elements = dsigDom::Children(manifest, L"Reference");
    if (elements.empty()) return;
    LoadManifestList(manifest);
    if (manifestList_->getSize() != elements.size()) {
        errors::Raise<hr::kObjectFaulted>(kFunction, "manifest references do not match their elements");
    }

    manifestRefs_.reserve(manifestList_->getSize());
    manifestPointers_.reserve(manifestList_->getSize());
    for (DSIGReferenceList::size_type i = 0; i < manifestList_->getSize(); ++i) {
        auto ref = std::make_unique<RefContext>(this, manifestList_->item(i), elements[i], flags);
        registry::AddContext(ref.get());
        manifestPointers_.push_back(ref->GetReferenceStruct());
        manifestRefs_.push_back(ref.release());
    }
    objStruct_.Manifest.cReference = static_cast<ULONG>(manifestPointers_.size());
    objStruct_.Manifest.rgpReference = manifestPointers_.data();
}

void ObjContext::LoadManifestList(const xercesc::DOMElement* manifest) {
    try {
        manifestList_.reset(
            DSIGReference::loadReferenceListFromXML(&ManifestEnv(), dsigDom::FirstChild(manifest, L"Reference")));
    } catch (...) {
        xsecErrors::RethrowAsFailure("ObjContext::LoadReferences");
    }
}

// A Manifest is not part of xml-security-c's object model: its references live in an
// environment of our own over the object's document.
XSECEnv& ObjContext::ManifestEnv() {
    if (manifestEnv_ == nullptr) {
        auto env =
            std::make_unique<XSECEnv>(const_cast<xercesc::DOMDocument*>(xsecObj_->getElement()->getOwnerDocument()));
        env->setIdByAttributeName(true);
        env->setPrettyPrintFlag(false);
        env->setDSIGNSPrefix(L"ds");
        // Manifest references to outside data are digested from what the caller fed them.
        env->setURIResolver(parentSigContext_->GetUriResolver());
        manifestEnv_ = std::move(env);
    }
    return *manifestEnv_;
}

void ObjContext::GetStatus(CRYPT_XML_STATUS* out) const {
    BaseContext::GetStatus(out);
    statusMerge::Merge(out, manifestRefs_, CRYPT_XML_STATUS_DIGEST_VALID, ~0u, "ObjContext::GetStatus");
}
