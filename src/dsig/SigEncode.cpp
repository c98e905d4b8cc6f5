// A new signature: opening it over an optional source document, attaching its references
// and objects, and writing the document through the caller's callback.
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xsec/framework/XSECProvider.hpp>

#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "base/XsecErrors.hpp"
#include "base/TextConvert.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"

namespace {

constexpr char kConstructor[] = "SigContext::SigContext";
constexpr char kAddObject[] = "SigContext::AddObject";
constexpr DWORD kReferencesMax = CRYPT_XML_REFERENCES_MAX - 1;  // one below the published maximum
constexpr DWORD kObjectsMax = CRYPT_XML_OBJECTS_MAX - 1;        // one below the published maximum
constexpr ULONG kWriteChunk = 1024;

bool HasData(const CRYPT_XML_BLOB* blob) { return blob != nullptr && blob->pbData != nullptr && blob->cbData != 0; }

bool IsSignedOrFailed(const CRYPT_XML_STATUS& status) {
    return ((status.dwInfoStatus | status.dwErrorStatus) & CRYPT_XML_STATUS_SIGNATURE_VALID) != 0;
}

// Registered context of the expected kind, or the argument error of `function`.
template <class T>
void CheckNewChild(const char* function, T* child, const std::vector<T*>& list) {
    if (child == nullptr || !registry::ContextExists(child)) errors::Raise<hr::kInvalidArg>(function);
    for (const T* existing : list) {
        if (existing == child) errors::Raise<hr::kInvalidArg>(function, "already exists.");
    }
}

}  // namespace

SigContext::SigContext(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* pConfig, DWORD flags, const wchar_t* wszId,
                       const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty, const CRYPT_XML_BLOB* pEncoded)
    : BaseContext(flags, false),
      uriResolver_(this),
      parentDocContext_(nullptr),
      provider_(std::make_unique<XSECProvider>()),
      parser_(std::make_unique<xercesc::XercesDOMParser>()) {
    // A signature inside an existing document has to be told where it goes.
    if (HasData(pEncoded) && (rgProperty == nullptr || cProperty == 0)) errors::Raise<hr::kInvalidArg>(kConstructor);
    hmacSecret_ = nullptr;
    hmacSecretLength_ = 0;
    if (pConfig != nullptr) errors::Raise<hr::kNotImpl>("SigContext::InitTransforms");
    CheckIdLimits(wszId, flags);
    sigStruct_.SetId(wszId);
    location_.clear();
    docDeclaration_ = false;
    ApplyProperties(rgProperty, cProperty);
    parser_->setDoNamespaces(true);
    InitSourceXml(pEncoded);
    sigStruct_.SetHandle(this);
    SetStatus({sizeof(CRYPT_XML_STATUS), 0, CRYPT_XML_STATUS_OPENED_TO_ENCODE});
}

void SigContext::ApplyProperties(const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty) {
    if (rgProperty == nullptr) return;
    for (ULONG i = 0; i < cProperty; ++i) {
        const CRYPT_XML_PROPERTY& property = rgProperty[i];
        if (property.pvValue == nullptr) continue;
        if (property.dwPropId == CRYPT_XML_PROPERTY_SIGNATURE_LOCATION) {
            const wchar_t* location = *static_cast<const LPCWSTR*>(property.pvValue);
            location_ = location != nullptr ? location : L"";
        } else if (property.dwPropId == CRYPT_XML_PROPERTY_DOC_DECLARATION) {
            docDeclaration_ = *static_cast<const BOOL*>(property.pvValue) != FALSE;
        }
    }
}

void SigContext::InitSourceXml(const CRYPT_XML_BLOB* blob) {
    if (!HasData(blob)) return;
    if (blob->cbData > CRYPT_XML_BLOB_MAX) {
        errors::Raise<hr::kLarge>("SigContext::InitSourceXml",
                                  "the length of source xml is exceeded CRYPT_XML_BLOB_MAX.");
    }
    const xercesc::DOMElement* root = xmlBlob::CreateDomStructure(*parser_, *blob);
    sourceIds_.clear();
    CollectSourceIds(root);
}

// Iterative on purpose: a deeply nested source document must not exhaust the stack.
void SigContext::CollectSourceIds(const xercesc::DOMElement* element) {
    const xercesc::DOMNode* node = element;
    while (node != nullptr) {
        if (node->getNodeType() == xercesc::DOMNode::ELEMENT_NODE) {
            const wchar_t* id = dsigDom::Attribute(static_cast<const xercesc::DOMElement*>(node), L"Id");
            if (id != nullptr && *id != L'\0') sourceIds_.insert(id);
        }
        if (node->getFirstChild() != nullptr) {
            node = node->getFirstChild();
            continue;
        }
        while (node != nullptr && node != element && node->getNextSibling() == nullptr) node = node->getParentNode();
        node = (node == nullptr || node == element) ? nullptr : node->getNextSibling();
    }
}

xercesc::DOMDocument* SigContext::SourceDocument() const {
    return parser_ != nullptr ? parser_->getDocument() : nullptr;
}

bool SigContext::IsOpenedToEncode() const noexcept {
    return (Status().dwInfoStatus & CRYPT_XML_STATUS_OPENED_TO_ENCODE) != 0;
}

void SigContext::AddReference(RefContext* refContext) {
    static const char* const kFunction = "SigContext::AddReference";
    CheckNewChild(kFunction, refContext, refContexts_);
    if (refContexts_.size() >= kReferencesMax) {
        errors::Raise<hr::kLarge>(kFunction, "CRYPT_XML_REFERENCES_MAX limit exceeded.");
    }
    refContexts_.push_back(refContext);
    refPointers_.push_back(refContext->GetReferenceStruct());
    sigStruct_.SetReferences(refPointers_);
    if (sigStruct_.Get()->SignedInfo.cReference == 0) {
        errors::Raise<hr::kObjectFaulted>(kFunction, "0 == sigStruct_.SignedInfo.cReference");
    }
}

void SigContext::AddObject(ObjContext* objContext) {
    CheckNewChild(kAddObject, objContext, objContexts_);
    if (objContexts_.size() >= kObjectsMax)
        errors::Raise<hr::kLarge>(kAddObject, "CRYPT_XML_OBJECTS_MAX limit exceeded.");
    AppendObjectPointer(objContext);
}

void SigContext::AppendObjectPointer(ObjContext* obj) {
    objContexts_.push_back(obj);
    objPointers_.push_back(obj->GetObjectStruct());
    sigStruct_.SetObjects(objPointers_);
    if (sigStruct_.Get()->cObject == 0) errors::Raise<hr::kObjectFaulted>(kAddObject, "0 == sigStruct_.cObject");
}

// The caller's Object element, parsed and moved into this signature's document. No object
// bound applies on this path.
const CRYPT_XML_OBJECT* SigContext::AddObject(const CRYPT_XML_BLOB* encodedBlob) {
    if (IsSignedOrFailed(Status()) || !IsOpenedToEncode()) errors::Raise<hr::kOperation>(kAddObject);
    if (encodedBlob == nullptr) errors::Raise<hr::kInvalidArg>(kAddObject, "NULL==encodedBlob");
    if (!HasData(encodedBlob))
        errors::Raise<hr::kInvalidArg>(kAddObject, "!encodedBlob->cbData || !encodedBlob->pbData");
    if (encodedBlob->dwCharset > CRYPT_XML_CHARSET_UTF16BE) {
        errors::Raise<hr::kInvalidArg>(kAddObject, "encodedBlob->dwCharset has an invalid value.");
    }
    try {
        xercesc::XercesDOMParser parser;
        const xercesc::DOMElement* root = xmlBlob::CreateDomStructure(parser, *encodedBlob);
        xercesc::DOMElement* imported = xmlBlob::ImportElem(GetCurrentDocument(), root);
        auto obj = std::make_unique<ObjContext>(this, imported, GetFlags());
        registry::AddContext(obj.get());
        ObjContext* added = obj.release();
        try {
            AppendObjectPointer(added);
        } catch (...) {
            registry::CloseIfRegistered(added);
            throw;
        }
        return added->GetObjectStruct();
    } catch (const CryptXmlException&) {
        throw;
    } catch (...) {
        xsecErrors::RethrowAsInvalidFormat(kAddObject);
    }
}

void SigContext::Encode(DWORD dwCharset, const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty, void* pvCallbackState,
                        PFN_CRYPT_XML_WRITE_CALLBACK pfnWrite) {
    static const char* const kFunction = "SigContext::Encode";
    xercesc::DOMDocument* document = GetCurrentDocument();
    if (dwCharset < CRYPT_XML_CHARSET_UTF8 || dwCharset > CRYPT_XML_CHARSET_UTF16BE) {
        errors::Raise<hr::kInvalidArg>(kFunction, "dwCharset");
    }
    if (pvCallbackState == nullptr || pfnWrite == nullptr) errors::Raise<hr::kInvalidArg>(kFunction);
    ApplyProperties(rgProperty, cProperty);  // what is not given keeps its value from the open
    std::vector<BYTE> bytes;
    xmlBlob::EncodeNode(document, docDeclaration_, dwCharset, bytes);
    for (size_t offset = 0; offset < bytes.size(); offset += kWriteChunk) {
        const ULONG piece =
            static_cast<ULONG>(bytes.size() - offset < kWriteChunk ? bytes.size() - offset : kWriteChunk);
        if (FAILED(pfnWrite(pvCallbackState, bytes.data() + offset, piece))) {
            errors::RaiseFailure(kFunction, "pfnWrite() failed");
        }
    }
}
